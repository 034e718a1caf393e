#include "run/KivCore.h"

#include <cstdint>
#include <cstring>
#include <limits>

#include "frames/EulerRot.h"
#include "hamiltonian/LevelVectors.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"
#include "transitions/DirCos.h"
#include "transitions/TrsStore.h"

namespace {

// A direction-cosine vector of a*Max_J + b doubles.
struct CosineVector {
    KivArray<double> KivRecord::*Vector;
    int PerJ;
    int Offset;
    const char* What;
};

// In the order of allocation.
// clang-format off
constexpr CosineVector kCosineVectors[] = {
    {&KivRecord::ap_cg_vec, 2, -1, "KivCoreAlloc()/ap_cg_vec"},
    {&KivRecord::bp_cg_vec, 4, -2, "KivCoreAlloc()/bp_cg_vec"},
    {&KivRecord::cp_cg_vec, 4, -2, "KivCoreAlloc()/cp_cg_vec"},
    {&KivRecord::aq_cg_vec, 2,  1, "KivCoreAlloc()/aq_cg_vec"},
    {&KivRecord::bq_cg_vec, 4,  0, "KivCoreAlloc()/bq_cg_vec"},
    {&KivRecord::cq_cg_vec, 4,  0, "KivCoreAlloc()/cq_cg_vec"},
    {&KivRecord::ar_cg_vec, 2,  1, "KivCoreAlloc()/ar_cg_vec"},
    {&KivRecord::br_cg_vec, 4,  2, "KivCoreAlloc()/br_cg_vec"},
    {&KivRecord::cr_cg_vec, 4,  2, "KivCoreAlloc()/cr_cg_vec"},
};
// clang-format on

// Levels of J = 0..max_J; -1 when they could not be indexed, which is also the answer to a
// negative max_J. Up to here the number of vector components fits 64 bits.
std::int64_t CountLevels(std::int64_t max_J) {
    const std::int64_t levels = (max_J + 2) * max_J + 1;
    const bool fits = max_J >= 0 && levels <= std::numeric_limits<std::int32_t>::max();
    return fits ? levels : -1;
}

// A term that only a complex Hamiltonian can hold.
bool HasComplexTerm(int state) {
    for (int slot : {PRM_PY, PRM_PXPY, PRM_PYPZ, PRM_PZ2PY}) {
        if (Kiv.Prm_Stat[state][slot] == 1) return true;
    }
    return false;
}

// Builds the frame of a rotated state and notes the cross terms that it brings; A, B, C keep
// their values.
void SetFrame(int state) {
    std::memcpy(Kiv.Prm_Val_Save[state], Kiv.Prm_Val[state], 3 * sizeof(double));
    if (IsRotated(Kiv, state)) {
        EulerGenMat(Kiv.Rot_Mat[state], Kiv.Euler_Phi[state], Kiv.Euler_Theta[state],
                    Kiv.Euler_Chi[state]);
        SimTrans(state);
    }
    if (Kiv.Euler_Phi[state] != 0.0 || Kiv.Euler_Chi[state] != 0.0 || HasComplexTerm(state)) {
        Kiv.Cplx_Ham = 1;
    }
    std::memcpy(Kiv.Prm_Val[state], Kiv.Prm_Val_Save[state], 3 * sizeof(double));
}

void SetFrames() {
    Kiv.Cplx_Ham = 0;
    for (int state : {ST_GND, ST_EXC}) SetFrame(state);
}

// Constants that carry a derivative; a ground-only run gives both states those of the ground.
void CountDerivatives(int state) {
    if (state == ST_EXC && Kiv.Gnd_Only == 1) {
        Kiv.Num_Dev[ST_EXC] = Kiv.Num_Dev[ST_GND];
        return;
    }
    Kiv.Num_Dev[state] = 0;
    for (int slot = 0; slot < NUM_HAM_PRM; ++slot) {
        if (Kiv.Prm_Stat[state][slot] == 1) ++Kiv.Num_Dev[state];
    }
}

int AllocDerivatives(int state, std::int64_t levels) {
    CountDerivatives(state);
    const std::int64_t size = Kiv.Num_Dev[state] * levels;
    if (ArrAlloc(Kiv.HamDev_Vector[state], size) < 0) {
        return CoreFail("KivCoreAlloc()/HamDev_Vector");
    }
    if (DebugIsOn(DBG_0)) {
        LogPut("DEV[%ld]=%ld SZ=%ld\n", static_cast<long>(state),
               static_cast<long>(Kiv.Num_Dev[state]), static_cast<long>(size));
    }
    return 1;
}

int AllocState(int state) {
    const std::int64_t levels = CountLevels(Kiv.Max_J);
    if (levels < 0 || ArrAlloc(Kiv.HamErg_Vector[state], levels) < 0) {
        return CoreFail("KivCoreAlloc()/HamErg_Vector");
    }
    ArrFree(Kiv.Ka_Vector[state]);
    ArrFree(Kiv.Kc_Vector[state]);
    if (ArrAlloc(Kiv.Ka_Vector[state], levels) < 0 || ArrAlloc(Kiv.Kc_Vector[state], levels) < 0 ||
        ArrAlloc(Kiv.Sym_Vector[state], levels) < 0) {
        return CoreFail("KivCoreAlloc()/Ka_Vector/Kc_Vector");
    }
    const std::int64_t components = VecLength(Kiv.Max_J);
    if (ArrAlloc(Kiv.HamErgReal_Vector[state], components) < 0) {
        return CoreFail("KivCoreAlloc()/HamErgReal_Vector");
    }
    if (Kiv.Cplx_Ham == 1 && ArrAlloc(Kiv.HamErgImag_Vector[state], components) < 0) {
        return CoreFail("KivCoreAlloc()/HamErgImag_Vector");
    }
    return Kiv.Dev_On == 1 ? AllocDerivatives(state, levels) : 1;
}

int AllocDirCos() {
    for (const CosineVector& row : kCosineVectors) {
        const std::int64_t size = std::int64_t{row.PerJ} * Kiv.Max_J + row.Offset;
        if (ArrAlloc(Kiv.*row.Vector, size) < 0) return CoreFail(row.What);
    }
    return CgMakeFile();
}

// 0 or 1 for the word that means it, -1 for any other.
std::int16_t TwoWords(const char* word, const char* zero, const char* one) {
    if (std::strcmp(word, zero) == 0) return 0;
    return std::strcmp(word, one) == 0 ? 1 : -1;
}

int SetParities() {
    Kiv.Parity_On = TwoWords(Kiv.Parity_Stat, "N", "Y");
    if (Kiv.Parity_On < 0) {
        return LogFail("PARITY SELECTION STATUS '%s' INCORRECT -> Y OR N ONLY !\n",
                       Kiv.Parity_Stat);
    }
    Kiv.Ka_Parity_Odd = TwoWords(Kiv.Gnd_Parity, "E", "O");
    if (Kiv.Ka_Parity_Odd < 0) {
        return LogFail("IMPROPER OVERALL KA PARITY '%s' !\n", Kiv.Gnd_Parity);
    }
    Kiv.Kc_Parity_Odd = TwoWords(Kiv.Exc_Parity, "E", "O");
    if (Kiv.Kc_Parity_Odd < 0) {
        return LogFail("IMPROPER OVERALL KC PARITY '%s' !\n", Kiv.Exc_Parity);
    }
    return 1;
}

void FreeState(int state) {
    ArrFree(Kiv.Ka_Vector[state]);
    ArrFree(Kiv.Kc_Vector[state]);
    ArrFree(Kiv.Sym_Vector[state]);
    ArrFree(Kiv.HamErg_Vector[state]);
    ArrFree(Kiv.HamErgReal_Vector[state]);
    ArrFree(Kiv.HamErgImag_Vector[state]);
    ArrFree(Kiv.HamDev_Vector[state]);
    Kiv.Solved[state] = KivSolved{};
}

void FreeStore() {
    ArrFree(Kiv.FI_Sim_Erg);
    ArrFree(Kiv.FI_Sim_Itn);
    ArrFree(Kiv.FI_ABC_RealAmp);
    ArrFree(Kiv.FI_ABC_ImagAmp);
    ArrFree(Kiv.FI_BT_Lbl);
    ArrFree(Kiv.FI_AsnLn_Idx);
    ArrFree(Kiv.FI_Asn_Idx);
    ArrFree(Kiv.FI_JKK_Lbl);
    for (auto& index : Kiv.FI_Erg_Idx) ArrFree(index);
}

void FreeAssignments() {
    ArrFree(Kiv.AsnQN_Vector);
    ArrFree(Kiv.AsnErg_Vector);
    ArrFree(Kiv.AsnUnc_Vector);
}

}  // namespace

int KivCoreAlloc() {
    TraceEnter("KivCoreAlloc");
    SetFrames();
    for (int state : {ST_GND, ST_EXC}) {
        if (!AllocState(state)) return 0;
    }
    if (!TrsOut(0)) return 0;
    if (!AllocDirCos()) return 0;
    if (!SetParities()) return 0;
    Kiv.Core_Alloc_Done = 1;
    return TraceExit("KivCoreAlloc");
}

void KivCoreFree() {
    TraceEnter("KivCoreFree");
    for (const CosineVector& row : kCosineVectors) ArrFree(Kiv.*row.Vector);
    ArrFree(Kiv.cg_vec);
    for (int state : {ST_GND, ST_EXC}) FreeState(state);
    FreeStore();
    FreeAssignments();
    TableFree(Kiv.RC_CovarianceMat);
    Kiv.Core_Alloc_Done = 0;
    TraceExit("KivCoreFree");
}
