#include "transitions/Amplitudes.h"

#include <algorithm>
#include <cstddef>

#include "run/KivRecord.h"
#include "run/KivTrace.h"

namespace {

constexpr double kSqrtTwo = 1.41421356237309504880;
constexpr double kSqrtHalf = 0.70710678118654752440;

int Take(KivArray<double>& arr, std::int64_t num, const char* what) {
    return ArrAlloc(arr, num) > 0 ? 1 : CoreFail(what);
}

// What the product of the components of two folded functions stands for: K' > 0 counts twice,
// since -K' contributes the same, and each K other than 0 brings a factor of 1/sqrt(2).
double FoldScale(const SymBlock& to, int K_upper, int K_lower) {
    if (!to.Folded) return 1.0;
    if (K_upper > 0) return K_lower != 0 ? 1.0 : kSqrtTwo;
    return K_lower != 0 ? kSqrtHalf : 1.0;
}

}  // namespace

int AmplitudeCalc::Init() {
    Complex = Kiv.Cplx_Ham == 1;
    Kept = Kiv.Sym_Kept[ST_GND] & Kiv.Sym_Kept[ST_EXC];
    if (!Lower.Init(ST_GND, Kept)) return 0;
    for (UpperLevels& upper : Upper) {
        if (!upper.Init(Kept)) return 0;
    }
    const std::int64_t n = 2 * std::int64_t{Kiv.Max_J} + 1;
    const std::int64_t room = RowLd(static_cast<int>(n)) + 3 * kVecStep;
    for (KivArray<double>* arr : {&Factors.Level, &Factors.Up, &Factors.Down}) {
        if (!Take(*arr, n, "AmplitudeCalc()/Factors")) return 0;
    }
    const char* const scratch = "AmplitudeCalc()/Weight";
    for (int l = 0; l < kLowers; ++l) {
        if (!Take(Weight_Real[l], room, scratch)) return 0;
        if (Complex && !Take(Weight_Imag[l], room, scratch)) return 0;
    }
    if (Complex && !Take(Cross, room, scratch)) return 0;
    for (int type = 0; type < NUM_BANDS; ++type) {
        if (Kiv.Band_Active[type] != 1) continue;
        for (Coupling& coupling : Couplings[type]) {
            if (!InitCoupling(static_cast<BandType>(type), coupling, room)) return 0;
        }
    }
    return 1;
}

int AmplitudeCalc::Init(Amplitudes& result) const {
    const int n = 2 * Kiv.Max_J + 1;
    for (int type = 0; type < NUM_BANDS; ++type) {
        if (!Take(result.Real[type], VecLd(n), "AmplitudeCalc()/Amp") ||
            (Complex && !Take(result.Imag[type], VecLd(n), "AmplitudeCalc()/Amp"))) {
            return 0;
        }
    }
    return 1;
}

int AmplitudeCalc::InitCoupling(BandType type, Coupling& coupling, std::int64_t room) {
    CoupleRun& run = coupling.Run;
    const char* const what = "AmplitudeCalc()/Coupling";
    if (!Take(coupling.Plus, room, what) || !Take(coupling.Minus, room, what)) return 0;
    for (int l = 0; l < kLowers; ++l) {
        if (!Take(coupling.Sum_Real[l], room, what)) return 0;
        if (Complex && !Take(coupling.Sum_Imag[l], room, what)) return 0;
        run.Re.Weight[l] = Weight_Real[l].Data();
        run.Im.Weight[l] = Weight_Imag[l].Data();
        run.Re.Sum[l] = coupling.Sum_Real[l].Data();
        run.Im.Sum[l] = coupling.Sum_Imag[l].Data();
    }
    run.Complex = Complex;
    run.Turn = type == BAND_C;
    run.Plus = coupling.Plus.Data();
    run.Cross = Cross.Data();
    return 1;
}

void AmplitudeCalc::SetBranch(int J_lower, int J_upper) {
    Ju = J_upper;
    FillBranch(J_lower, Ju, Factors);
    Lower.Load(J_lower);
    Now = &Upper[Ju % 3];
    Now->Load(Ju);
    for (int c = 0; c < Lower.NumClasses(); ++c) {
        Partner_Classes[c] = 0;
        for (int type = 0; type < NUM_BANDS; ++type) SetCoupling(static_cast<BandType>(type), c);
    }
}

void AmplitudeCalc::SetCoupling(BandType type, int lower_class) {
    Coupling& coupling = Couplings[type][lower_class];
    coupling.Upper_Class = -1;
    coupling.Num_Lowers = 0;
    if (Kiv.Band_Active[type] != 1) return;
    const SymBlock& from = Lower.Class(lower_class);
    const std::uint8_t odd = (from.Odd ^ kMomentOdd[type]) & Kept;
    const ClassLevels& upper = Now->Levels();
    for (int c = 0; c < upper.NumClasses(); ++c) {
        if (upper.Class(c).Odd != odd) continue;
        coupling.Upper_Class = c;
        Partner_Classes[lower_class] |= 1U << c;
        FillCoupling(type, from, upper.Class(c), coupling);
    }
}

void AmplitudeCalc::FillCoupling(BandType type, const SymBlock& from, const SymBlock& to,
                                 Coupling& coupling) {
    const int step = type == BAND_A ? 0 : 1;  // K'' - K' of Plus
    const double sign = type == BAND_B ? -1.0 : 1.0;
    const KivArray<double>& up = type == BAND_A ? Factors.Level : Factors.Up;
    coupling.Shift = (to.K0 + step - from.K0) / to.Step;
    CoupleRun& run = coupling.Run;
    run.Minus = step != 0 ? coupling.Minus.Data() : nullptr;
    run.Lower_Ld = VecLd(from.N);
    run.Num_Rows = to.N;
    run.Ld = RowLd(to.N);
    run.Back = 2 / to.Step;
    const auto takes_part = [&](int m) { return m >= 0 && m < from.N; };
    for (int m = 0; m < VecLd(to.N); ++m) {
        coupling.Plus[m] = coupling.Minus[m] = 0.0;
        if (m >= to.N) continue;
        const int K = to.K(m), k = K + Ju;
        if (takes_part(m + coupling.Shift)) coupling.Plus[m] = FoldScale(to, K, K + step) * up[k];
        if (step == 0) continue;
        if (to.Folded && K == 0) {  // K'' = -1 is the function of K'' = 1
            if (!takes_part(m + coupling.Shift)) continue;
            coupling.Plus[m] += sign * from.T(1) * FoldScale(to, K, 1) * Factors.Down[k];
        } else if (takes_part(m + coupling.Shift - run.Back)) {
            coupling.Minus[m] = sign * FoldScale(to, K, K - 1) * Factors.Down[k];
        }
    }
}

// The sums of a lower level, and of the next ones of its class, with upper levels first..last-1.
// Each of the next levels mostly needs one more of them.
void AmplitudeCalc::CoupleLevels(Coupling& coupling, int lower_class, int index, int first,
                                 int last) {
    constexpr int kMore = kLowers;
    const int c = coupling.Upper_Class;
    CoupleRun& run = coupling.Run;
    coupling.Lower = index;
    coupling.Num_Lowers = std::min(kLowers, Lower.Class(lower_class).N - index);
    coupling.First = first / kVecStep * kVecStep;  // vectors cross no cache line
    coupling.Last = std::min(last + kMore, Now->Levels().Class(c).N);
    run.Num_Lowers = coupling.Num_Lowers;
    run.Num = coupling.Last - coupling.First;
    run.Re.Lower = Lower.Real(lower_class, index) + coupling.Shift;
    run.Re.Rows = Now->Real(c) + coupling.First;
    if (Complex) {
        run.Im.Lower = Lower.Imag(lower_class, index) + coupling.Shift;
        run.Im.Rows = Now->Imag(c) + coupling.First;
    }
    Couple(run);
}

void AmplitudeCalc::Compute(int rank, const PartnerList& list, int first, int last,
                            Amplitudes& result) {
    const int c_lower = Lower.ClassOf(rank), index = Lower.IndexOf(rank);
    const int place = list.Below[first];
    const int num = VecLd(list.Below[last] - place);
    const ClassLevels& upper = Now->Levels();
    for (int type = 0; type < NUM_BANDS; ++type) {
        if (Kiv.Band_Active[type] != 1) continue;  // has never been anything but 0
        double *real = result.Real[type].Data(), *imag = result.Imag[type].Data();
        std::fill_n(real, num, 0.0);
        if (Complex) std::fill_n(imag, num, 0.0);
        Coupling& coupling = Couplings[type][c_lower];
        const int c = coupling.Upper_Class;
        if (c < 0) continue;
        const int j0 = upper.Below(c, first), j1 = upper.Below(c, last);
        if (j0 == j1) continue;
        if (!coupling.Holds(index, j0, j1)) CoupleLevels(coupling, c_lower, index, j0, j1);
        const std::int32_t* places = list.PlaceOf + upper.First(c);
        const auto put = [&](const KivArray<double>& sum, double* out) {
            const double* from = sum.Data() + (j0 - coupling.First);
            for (int j = j0; j < j1; ++j) out[places[j] - place] = *from++;
        };
        put(coupling.Sum_Real[index - coupling.Lower], real);
        if (Complex) put(coupling.Sum_Imag[index - coupling.Lower], imag);
    }
}
