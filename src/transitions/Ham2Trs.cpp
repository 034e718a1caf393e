#include "transitions/Ham2Trs.h"

#include <algorithm>
#include <cstring>

#include "frames/EulerRot.h"
#include "hamiltonian/IHam.h"
#include "hamiltonian/RHam.h"
#include "run/KivPhaseLog.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"

namespace {

// Constants to restore when the rotation produced a cross term in their plane.
struct Plane {
    int Cross, First, Second;
};

constexpr Plane kPlanes[] = {
    {PRM_PXPY, PRM_B, PRM_C},
    {PRM_PXPZ, PRM_A, PRM_B},
    {PRM_PYPZ, PRM_A, PRM_C},
};

void RotateState(int state) {
    for (int prm = PRM_A; prm <= PRM_C; ++prm) {
        Kiv.Prm_Val_Save[state][prm] = Kiv.Prm_Val[state][prm];
    }
    if (!IsRotated(Kiv, state)) return;
    EulerGenMat(Kiv.Rot_Mat[state], Kiv.Euler_Phi[state], Kiv.Euler_Theta[state],
                Kiv.Euler_Chi[state]);
    SimTrans(state);
}

void RestoreState(int state) {
    for (const Plane& plane : kPlanes) {
        if (Kiv.XTerm_Flag[state][plane.Cross] != 1) continue;
        for (int prm : {plane.First, plane.Second}) {
            Kiv.Prm_Val[state][prm] = Kiv.Prm_Val_Save[state][prm];
        }
        Kiv.Prm_Val[state][plane.Cross] = 0.0;
    }
}

// A rotation can ask for complex states only when their arrays were taken for them.
bool HasComplexArrays() {
    return Kiv.Cplx_Ham != 1 ||
           (!Kiv.HamErgImag_Vector[ST_GND].IsNull() && !Kiv.HamErgImag_Vector[ST_EXC].IsNull() &&
            !Kiv.FI_ABC_ImagAmp.IsNull());
}

bool SameBits(const KivSolved& a, const KivSolved& b) {
    return a.Source == b.Source && a.Cplx_Ham == b.Cplx_Ham && a.Red_Stat == b.Red_Stat &&
           a.Max_J == b.Max_J && std::memcmp(a.Prm_Val, b.Prm_Val, sizeof a.Prm_Val) == 0 &&
           std::memcmp(a.Prm_Stat, b.Prm_Stat, sizeof a.Prm_Stat) == 0 &&
           std::memcmp(a.XTerm_Flag, b.XTerm_Flag, sizeof a.XTerm_Flag) == 0 &&
           std::memcmp(a.Rot_Mat, b.Rot_Mat, sizeof a.Rot_Mat) == 0;
}

// What the levels of `state` are made from. A ground-only run makes both states from the ground
// state's constants.
KivSolved InputsOf(int state) {
    const int source = Kiv.Gnd_Only == 1 ? ST_GND : state;
    KivSolved inputs;
    inputs.Source = source;
    inputs.Cplx_Ham = Kiv.Cplx_Ham;
    inputs.Red_Stat = Kiv.Red_Stat;
    inputs.Max_J = Kiv.Max_J;
    for (int prm = 0; prm < NUM_HAM_PRM; ++prm) {
        inputs.Prm_Val[prm] = Kiv.Prm_Val[source][prm];
        inputs.Prm_Stat[prm] = Kiv.Prm_Stat[source][prm];
        inputs.XTerm_Flag[prm] = Kiv.XTerm_Flag[source][prm];
    }
    std::copy_n(&Kiv.Rot_Mat[source][0][0], 9, inputs.Rot_Mat);
    return inputs;
}

bool IsListed(int min_J, int max_J) { return min_J <= max_J && max_J >= 0 && min_J <= Kiv.Max_J; }

// True when solving would show anything in the log.
bool ShowsLevels() {
    return DebugIsOn(DBG_ALL) || DebugIsOn(DBG_I) ||
           IsListed(Kiv.Erg_Print_J_Min, Kiv.Erg_Print_J_Max) ||
           IsListed(Kiv.Vec_Print_J_Min, Kiv.Vec_Print_J_Max);
}

int SolveState(int state) {
    const KivSolved inputs = InputsOf(state);
    if (ShowsLevels() || !SameBits(inputs, Kiv.Solved[state])) {
        Kiv.Solved[state] = KivSolved{};
        if (!(Kiv.Cplx_Ham == 1 ? IHamSoln(state) : RHamSoln(state))) return 0;
        Kiv.Solved[state] = inputs;
    }
    KivPhaseLog(1, state);
    return 1;
}

}  // namespace

int Ham2Trs(LineChoice choice) {
    TraceEnter("Ham2Trs");
    for (int state : {ST_GND, ST_EXC}) RotateState(state);
    if (!HasComplexArrays()) return 0;
    for (int state : {ST_GND, ST_EXC}) {
        if (!SolveState(state)) return 0;
    }
    KivPhaseLog(2, 0);
    if (!(Kiv.Cplx_Ham == 1 ? ITrsCalc(choice) : RTrsCalc(choice))) return 0;
    for (int state : {ST_GND, ST_EXC}) RestoreState(state);
    return TraceExit("Ham2Trs");
}
