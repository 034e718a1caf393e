#include "output/LineSet.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>

#include "output/IndexSort.h"
#include "output/WholeFile.h"
#include "run/KivPhaseLog.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"
#include "run/LineDev.h"

namespace {

static_assert(std::endian::native == std::endian::little, "the binary file is little-endian");
static_assert(sizeof(float) == 4 && sizeof(double) == 8);

// Offsets in the header of the binary file. Bytes without an entry are zero.
// clang-format off
enum HeaderOffset : std::size_t {
    HDR_FORMAT      = 0,     // char[1316]     "QZS v1.6"
    HDR_PRM_STAT    = 1316,  // int32[2][50]   slots 0..21 of each state, 22 of the excited one
    HDR_TM_ANG      = 3008,  // double[3]      squared magnitude, theta, chi
    HDR_TEMP        = 3032,  // double[3]      T1, T2, weight of T2
    HDR_ERG_CONV    = 3056,  // double         energy units per kelvin
    HDR_NUM_PRM     = 3154,  // int32          22
    HDR_PRM_LBL     = 3158,  // char[50][10]   labels of slots 0..22
    HDR_PRM_VAL     = 3658,  // double[2][50]  as the switches
    HDR_PRM_SD      = 4458,  // double[2][50]  as the switches
    HDR_OMC_SD      = 5258,  // float          standard deviation of the fit
    HDR_NUM_TRS     = 5262,  // int32          lines, N
    HDR_NUM_READ    = 5266,  // int32          assignments read
    HDR_NUM_ASN     = 5270,  // int32          of these with a calculated line
    HDR_NUM_REJ     = 5274,  // int32          of these without one
    HDR_ASN_SPLIT   = 5278,  // int32          assignments of the first set
    HDR_HAS_DEV     = 5282,  // int32          1: derivatives are in the file
    HDR_HAS_ERG     = 5286,  // int32          1: level energies are in the file
    HDR_NUM_DEV     = 5294,  // int32          derivatives a line, K
    HDR_NUM_FIT     = 5298,  // int32          fitted constants, P
    HDR_NUM_COV     = 5302,  // int32          P * P
    HDR_NUM_ERG     = 5306,  // int32          levels a state, L
    HDR_HAS_AMP     = 5318,  // int32          1: amplitudes are in the file
    HDR_HAS_AMP_2   = 5322,  // int32          the same again
    HDR_CPLX        = 5326,  // int32          1: complex Hamiltonians
    HDR_PROGRAM     = 5366,  // char[7944]     "KIV " and the version
    HDR_SIZE        = 13310
};
// clang-format on

constexpr int kHeaderSlots = 50;      // room for constants of a state
constexpr std::size_t kLblSize = 10;  // of a label
static_assert(HDR_PRM_LBL + kHeaderSlots * kLblSize == HDR_PRM_VAL);
static_assert(HDR_PRM_VAL + 2 * kHeaderSlots * sizeof(double) == HDR_PRM_SD);
static_assert(HDR_PRM_SD + 2 * kHeaderSlots * sizeof(double) == HDR_OMC_SD);
static_assert(HDR_PROGRAM + 7944 == HDR_SIZE);

using QZS_Header = std::array<char, HDR_SIZE>;

template <class T>
void SetField(QZS_Header& header, std::size_t offset, T value) {
    std::memcpy(&header[offset], &value, sizeof value);
}

void SetText(QZS_Header& header, std::size_t offset, const std::string& text) {
    std::memcpy(&header[offset], text.data(), text.size());
}

// One number for each constant of both states; the ground state has no origin.
template <class T>
void SetPrmTable(QZS_Header& header, std::size_t offset, const T (&table)[2][NUM_PRM]) {
    for (int state : {ST_GND, ST_EXC}) {
        const int slots = state == ST_GND ? NUM_HAM_PRM : NUM_PRM;
        const std::size_t first =
            offset + static_cast<std::size_t>(state * kHeaderSlots) * sizeof(T);
        std::memcpy(&header[first], table[state], static_cast<std::size_t>(slots) * sizeof(T));
    }
}

template <class T>
void SetTriple(QZS_Header& header, std::size_t offset, const T (&triple)[3]) {
    std::memcpy(&header[offset], triple, sizeof triple);
}

// Amplitudes are only written for pure or equally mixed moments.
bool HasAmplitudes() {
    for (double pct : Kiv.TM_Pct) {
        if (pct != 100.0 && pct != 0.0) return false;
    }
    return true;
}

int NumDevLine() { return Kiv.Num_Dev[ST_GND] + Kiv.Num_Dev[ST_EXC]; }

QZS_Header FillHeader() {
    QZS_Header header{};
    const auto set_int = [&header](std::size_t offset, std::int64_t value) {
        SetField(header, offset, static_cast<std::int32_t>(value));
    };
    SetText(header, HDR_FORMAT, "QZS v1.6");
    SetPrmTable(header, HDR_PRM_STAT, Kiv.Prm_Stat);
    SetTriple(header, HDR_TM_ANG, Kiv.TM_Ang);
    SetTriple(header, HDR_TEMP, Kiv.Temp);
    SetField(header, HDR_ERG_CONV, Kiv.Erg_Conv);
    set_int(HDR_NUM_PRM, NUM_HAM_PRM);
    for (int slot = 0; slot < NUM_PRM; ++slot) {
        SetText(header, HDR_PRM_LBL + static_cast<std::size_t>(slot) * kLblSize, Kiv.Prm_Lbl[slot]);
    }
    SetPrmTable(header, HDR_PRM_VAL, Kiv.Prm_Val);
    SetPrmTable(header, HDR_PRM_SD, Kiv.Prm_Sd);
    SetField(header, HDR_OMC_SD, static_cast<float>(Kiv.Omc_Std_Dev));
    set_int(HDR_NUM_TRS, Kiv.Num_Trs);
    set_int(HDR_NUM_READ, Kiv.Num_Asn_Read);
    set_int(HDR_NUM_ASN, Kiv.Num_Asn);
    set_int(HDR_NUM_REJ, Kiv.Num_Rej);
    set_int(HDR_ASN_SPLIT, Kiv.Asn_Split);
    set_int(HDR_HAS_DEV, Kiv.Dev_On == 1 ? 1 : 0);
    set_int(HDR_HAS_ERG, HasEnergies() ? 1 : 0);
    set_int(HDR_NUM_DEV, NumDevLine());
    set_int(HDR_NUM_FIT, Kiv.Num_Fit_Prm);
    set_int(HDR_NUM_COV, std::int64_t{Kiv.Num_Fit_Prm} * Kiv.Num_Fit_Prm);
    set_int(HDR_NUM_ERG, NumLevels());
    set_int(HDR_HAS_AMP, HasAmplitudes() ? 1 : 0);
    set_int(HDR_HAS_AMP_2, HasAmplitudes() ? 1 : 0);
    set_int(HDR_CPLX, Kiv.Cplx_Ham);
    SetText(header, HDR_PROGRAM, std::string("KIV ") + Kiv.Version);
    return header;
}

// The work arrays of one line set.
struct LineWork {
    KivArray<std::int32_t> Index;  // ascending order of the frequencies, lines from 1
    KivArray<double> Obs;          // observed frequency a line, 0 when it has none
    KivArray<float> Unc;           // its uncertainty
};

From1<const std::int32_t> SortIndex(const LineWork& work) { return {work.Index.Data()}; }

// Bring one per-line array into the order of the files; r as in csi6sfdrsort.
bool SortChars(const LineWork& work, KivArray<char>& arr) {
    return csi6sfdrsort(Kiv.Num_Trs, SortIndex(work), {arr.Data()}, {}, {}, {}, {}, {}, 0) == 1;
}
bool SortLongs(const LineWork& work, KivArray<std::int32_t>& arr) {
    return csi6sfdrsort(Kiv.Num_Trs, SortIndex(work), {}, {}, {arr.Data()}, {}, {}, {}, 0) == 1;
}
bool SortSextuples(const LineWork& work, KivArray<std::int16_t>& arr) {
    return csi6sfdrsort(Kiv.Num_Trs, SortIndex(work), {}, {}, {}, {arr.Data()}, {}, {}, 0) == 1;
}
bool SortFloats(const LineWork& work, KivArray<float>& arr, int r) {
    return csi6sfdrsort(Kiv.Num_Trs, SortIndex(work), {}, {}, {}, {}, {arr.Data()}, {}, r) == 1;
}
bool SortDoubles(const LineWork& work, KivArray<double>& arr, int r) {
    return csi6sfdrsort(Kiv.Num_Trs, SortIndex(work), {}, {}, {}, {}, {}, {arr.Data()}, r) == 1;
}

template <class T>
void PutArray(WholeFile& file, const KivArray<T>& arr, std::int64_t n) {
    if (n > 0) file.Put(arr.Data(), static_cast<std::size_t>(n) * sizeof(T));
}

// Calls put(line, assignment) for every assignment that has a calculated line.
template <class Place>
void ForEachMatch(Place place) {
    for (std::int32_t k = 0; k < Kiv.Num_Asn; ++k) {
        const std::int32_t line = Kiv.FI_AsnLn_Idx[k];
        const std::int32_t asn = Kiv.FI_Asn_Idx[k];
        if (line >= 0 && line < Kiv.Num_Trs && asn >= 0 && asn < Kiv.Num_Asn_Read) place(line, asn);
    }
}

int PutFrequencies(WholeFile& file, LineWork& work) {
    const std::int32_t n = Kiv.Num_Trs;
    if (ArrAlloc(work.Index, n) < 0) return CoreFailLog("TrsConvert()/idx_ary");
    KivIndexSort(n, {Kiv.FI_Sim_Erg.Data()}, {work.Index.Data()});
    if (!SortDoubles(work, Kiv.FI_Sim_Erg, 0)) return 0;
    PutArray(file, Kiv.FI_Sim_Erg, n);
    return 1;
}

int PutObserved(WholeFile& file, LineWork& work) {
    if (ArrAlloc(work.Obs, Kiv.Num_Trs) < 0) return CoreFailLog("TrsConvert()/td_ary");
    ForEachMatch(
        [&work](std::int32_t line, std::int32_t asn) { work.Obs[line] = Kiv.AsnErg_Vector[asn]; });
    if (Kiv.Num_Asn > 0 && !SortDoubles(work, work.Obs, 0)) return 0;
    PutArray(file, work.Obs, Kiv.Num_Trs);
    return 1;
}

int PutUncertainties(WholeFile& file, LineWork& work) {
    if (ArrAlloc(work.Unc, Kiv.Num_Trs) < 0) return CoreFailLog("TrsConvert()/tf_ary");
    ForEachMatch([&work](std::int32_t line, std::int32_t asn) {
        work.Unc[line] = static_cast<float>(Kiv.AsnUnc_Vector[asn]);
    });
    if (Kiv.Num_Asn > 0 && !SortFloats(work, work.Unc, 0)) return 0;
    PutArray(file, work.Unc, Kiv.Num_Trs);
    ArrFree(work.Unc);
    return 1;
}

// Sorted whether they are written or not, so that the store stays one table.
int PutAmplitudes(WholeFile& file, const LineWork& work) {
    if (!SortFloats(work, Kiv.FI_ABC_RealAmp, 3)) return 0;
    if (!SortFloats(work, Kiv.FI_ABC_ImagAmp, 3)) return 0;
    if (!HasAmplitudes()) return 1;
    const std::int64_t n = std::int64_t{3} * Kiv.Num_Trs;
    PutArray(file, Kiv.FI_ABC_RealAmp, n);
    if (Kiv.Cplx_Ham == 1) PutArray(file, Kiv.FI_ABC_ImagAmp, n);
    return 1;
}

constexpr std::size_t kDevBlock = std::size_t{1} << 14;  // doubles for one write

void PutDerivatives(WholeFile& file) {
    const auto record = static_cast<std::size_t>(NumDevLine());
    if (Kiv.Dev_On != 1 || record < 1) return;
    double block[kDevBlock];
    const std::size_t room = kDevBlock / record;
    const auto num = static_cast<std::size_t>(Kiv.Num_Trs);
    for (std::size_t first = 0; first < num; first += room) {
        const std::size_t count = std::min(room, num - first);
        for (std::size_t i = 0; i < count; ++i) LineDerivatives(first + i, block + i * record);
        file.Put(block, count * record * sizeof(double));
    }
}

int PutEnergies(WholeFile& file, const LineWork& work) {
    for (int state : {ST_GND, ST_EXC}) {
        if (!SortLongs(work, Kiv.FI_Erg_Idx[state])) return 0;
        const bool in_file = state == ST_GND || Kiv.Gnd_Only == 1;
        if (!HasEnergies() || !in_file || Kiv.FI_Erg_Idx[state].IsNull()) continue;
        PutArray(file, Kiv.HamErg_Vector[state], NumLevels());
        PutArray(file, Kiv.FI_Erg_Idx[state], Kiv.Num_Trs);
    }
    return 1;
}

// Rows and columns 1..P; zeros where no fit left a matrix of that size.
void PutCovariance(WholeFile& file) {
    const auto num = static_cast<std::size_t>(Kiv.Num_Fit_Prm > 0 ? Kiv.Num_Fit_Prm : 0);
    const auto& matrix = Kiv.RC_CovarianceMat;
    const bool whole = !matrix.IsNull() && matrix.Rows > num && matrix.Cols > num;
    constexpr double kZero = 0.0;
    for (std::size_t row = 1; row <= num; ++row) {
        if (whole) {
            file.Put(&matrix(row, 1), num * sizeof(double));
        } else {
            for (std::size_t col = 1; col <= num; ++col) file.Put(&kZero, sizeof kZero);
        }
    }
}

// Bytes behind the header, the covariance apart.
std::size_t BodySize() {
    const std::size_t amplitudes = HasAmplitudes() ? (Kiv.Cplx_Ham == 1 ? 24 : 12) : 0;
    const std::size_t derivatives =
        Kiv.Dev_On == 1 ? static_cast<std::size_t>(NumDevLine()) * sizeof(double) : 0;
    const std::size_t states = !HasEnergies() ? 0 : Kiv.Gnd_Only == 1 ? 2 : 1;
    return static_cast<std::size_t>(Kiv.Num_Trs) * (37 + amplitudes + derivatives + 4 * states) +
           states * static_cast<std::size_t>(NumLevels()) * sizeof(double);
}

int PutLines(WholeFile& file, LineWork& work) {
    const QZS_Header header = FillHeader();
    file.Expect(BodySize() + header.size());
    file.Put(header.data(), header.size());
    if (!PutFrequencies(file, work)) return 0;
    if (!PutObserved(file, work)) return 0;
    if (!PutUncertainties(file, work)) return 0;
    if (!SortFloats(work, Kiv.FI_Sim_Itn, 0)) return 0;
    PutArray(file, Kiv.FI_Sim_Itn, Kiv.Num_Trs);
    if (!PutAmplitudes(file, work)) return 0;
    if (!SortChars(work, Kiv.FI_BT_Lbl)) return 0;
    PutArray(file, Kiv.FI_BT_Lbl, Kiv.Num_Trs);
    if (!SortSextuples(work, Kiv.FI_JKK_Lbl)) return 0;
    PutArray(file, Kiv.FI_JKK_Lbl, std::int64_t{6} * Kiv.Num_Trs);
    PutDerivatives(file);
    if (!PutEnergies(file, work)) return 0;
    PutCovariance(file);
    return 1;
}

}  // namespace

bool HasEnergies() { return Kiv.Temp[0] <= 0.0; }

std::int64_t NumLevels() { return (Kiv.Max_J + std::int64_t{2}) * Kiv.Max_J + 1; }

int TrsConvert(const char* base) {
    TraceEnter("TrsConvert");
    KivPhaseLog(PHASE_LINESET, 0);
    const std::string name = std::string(base) + ".QZS";
    WholeFile file;
    LineWork work;
    if (!file.Open(name)) {
        return LogFail("FAILED TO CREATE BINARY FREQUENCY FILE [%s] FOR WRITING!\n", name.c_str());
    }
    if (!PutLines(file, work)) return 0;
    if (!file.Keep()) {
        return LogFail("FAILED TO CREATE BINARY FREQUENCY FILE [%s] FOR WRITING!\n", name.c_str());
    }
    ArrFree(work.Index);
    if (Kiv.Asn_Ka_Max >= -1 || Kiv.Asn_Kc_Max >= -1) PrntTrsQZS(base, work.Obs.Data());
    return TraceExit("TrsConvert");
}
