#include "transitions/Amplitudes.h"

#include <algorithm>

#include "run/KivRecord.h"
#include "run/KivTrace.h"
#include "run/Simd.h"

namespace {

constexpr double kSqrtTwo = 1.41421356237309504880;
constexpr double kSqrtHalf = 0.70710678118654752440;

// Weights of all components: Plus c(m), and Minus c(m - Back) where there is a Minus.
struct WeightRun {
    const double* Plus;
    const double* Minus;  // null: none
    const double* Lower;
    int Back;
    int Num;  // filled up to whole vectors
    double* Weight;
};

template <class Vec>
KIV_INLINE void WeighBody(const WeightRun& run) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    for (int m = 0; m < run.Num; m += kWidth) {
        Vec plus, c;
        LoadVec(plus, run.Plus + m);
        LoadVec(c, run.Lower + m);
        Vec weight = plus * c;
        if (run.Minus) {
            Vec minus;
            LoadVec(minus, run.Minus + m);
            LoadVec(c, run.Lower + m - run.Back);
            weight += minus * c;
        }
        StoreVec(run.Weight + m, weight);
    }
}

KIV_KERNEL(Weigh, WeightRun)

// Out[j] = sum over m of Weight[m] Rows[m Ld + j], in ascending m.
struct SumRun {
    const double* Weight;
    const double* Rows;
    int Ld;
    int Num_Rows;
    int Num;  // levels; filled up to whole vectors
    double* Out;
};

template <class Vec, int W>
KIV_INLINE void SumColumns(const SumRun& run, int j) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    Vec sum[W] = {};
    const double* row = run.Rows + j;
    for (int m = 0; m < run.Num_Rows; ++m, row += run.Ld) {
        const double weight = run.Weight[m];
        for (int w = 0; w < W; ++w) {
            Vec x;
            LoadVec(x, row + kWidth * w);
            sum[w] += weight * x;
        }
    }
    for (int w = 0; w < W; ++w) StoreVec(run.Out + j + kWidth * w, sum[w]);
}

template <class Vec>
KIV_INLINE void SumRowsBody(const SumRun& run) {
    constexpr int kStep = kVecStep * sizeof(double) / sizeof(Vec);  // vectors of 8 levels
    int j = 0;
    for (; j + 3 * kVecStep < run.Num; j += 4 * kVecStep) SumColumns<Vec, 4 * kStep>(run, j);
    if (j + 2 * kVecStep < run.Num) return SumColumns<Vec, 3 * kStep>(run, j);
    if (j + kVecStep < run.Num) return SumColumns<Vec, 2 * kStep>(run, j);
    if (j < run.Num) SumColumns<Vec, kStep>(run, j);
}

KIV_KERNEL(SumRows, SumRun)

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
    for (auto& couplings : Couplings) {
        for (Coupling& coupling : couplings) {
            if (!Take(coupling.Plus, room, "AmplitudeCalc()/Coupling") ||
                !Take(coupling.Minus, room, "AmplitudeCalc()/Coupling")) {
                return 0;
            }
        }
    }
    const int parts = Complex ? 2 : 1;
    for (int part = 0; part < parts; ++part) {
        if (!Take(part == 0 ? Weight_Real : Weight_Imag, room, "AmplitudeCalc()/Weight") ||
            !Take(part == 0 ? Sum_Real : Sum_Imag, room, "AmplitudeCalc()/Sum")) {
            return 0;
        }
        for (int type = 0; type < NUM_BANDS; ++type) {
            KivArray<double>& amp = part == 0 ? Amp.Real[type] : Amp.Imag[type];
            if (!Take(amp, room, "AmplitudeCalc()/Amp")) return 0;
        }
    }
    return Complex ? Take(Cross, room, "AmplitudeCalc()/Cross") : 1;
}

void AmplitudeCalc::SetBranch(int J_lower, int J_upper) {
    Jl = J_lower;
    Ju = J_upper;
    FillBranch(Jl, Ju, Factors);
    Lower.Load(Jl);
    Now = &Upper[Ju % 3];
    Now->Load(Ju);
    for (int c = 0; c < Lower.NumClasses(); ++c) {
        Partner_Classes[c] = 0;
        for (int type = 0; type < NUM_BANDS; ++type) Couple(static_cast<BandType>(type), c);
    }
}

void AmplitudeCalc::Couple(BandType type, int lower_class) {
    Coupling& coupling = Couplings[type][lower_class];
    coupling.Upper_Class = -1;
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
    coupling.Back = 2 / to.Step;
    coupling.Has_Minus = step != 0;
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
        } else if (takes_part(m + coupling.Shift - coupling.Back)) {
            coupling.Minus[m] = sign * FoldScale(to, K, K - 1) * Factors.Down[k];
        }
    }
}

void AmplitudeCalc::FillWeights(const Coupling& coupling, int lower_class, int index) {
    const int num = VecLd(Now->Levels().Class(coupling.Upper_Class).N);
    for (int part = 0; part < (Complex ? 2 : 1); ++part) {
        const double* lower =
            part == 0 ? Lower.Real(lower_class, index) : Lower.Imag(lower_class, index);
        Weigh({coupling.Plus.Data(), coupling.Has_Minus ? coupling.Minus.Data() : nullptr,
               lower + coupling.Shift, coupling.Back, num,
               (part == 0 ? Weight_Real : Weight_Imag).Ptr.get()});
    }
}

// The amplitudes with levels first..last-1 of the upper class.
void AmplitudeCalc::SumComponents(const Coupling& coupling, int first, int last) {
    const int c = coupling.Upper_Class, N = Now->Levels().Class(c).N;
    const auto sum = [&](const KivArray<double>& weight, const double* rows, double* out) {
        SumRows({weight.Data(), rows + first, RowLd(N), N, last - first, out});
    };
    double* real = Sum_Real.Data();
    sum(Weight_Real, Now->Real(c), real);
    if (!Complex) return;
    // (x'' + i y'')(x' - i y')
    double* imag = Sum_Imag.Data();
    double* cross = Cross.Data();
    sum(Weight_Imag, Now->Imag(c), cross);
    for (int j = 0; j < last - first; ++j) real[j] += cross[j];
    sum(Weight_Imag, Now->Real(c), imag);
    sum(Weight_Real, Now->Imag(c), cross);
    for (int j = 0; j < last - first; ++j) imag[j] -= cross[j];
}

void AmplitudeCalc::Compute(int rank, const PartnerList& list, int first, int last) {
    const int c_lower = Lower.ClassOf(rank), place = list.Below[first];
    const int num = list.Below[last] - place;
    const ClassLevels& upper = Now->Levels();
    for (int type = 0; type < NUM_BANDS; ++type) {
        double* real = Amp.Real[type].Data();
        double* imag = Amp.Imag[type].Data();
        std::fill_n(real, num, 0.0);
        if (Complex) std::fill_n(imag, num, 0.0);
        const Coupling& coupling = Couplings[type][c_lower];
        const int c = coupling.Upper_Class;
        if (c < 0) continue;
        const int j0 = upper.Below(c, first), j1 = upper.Below(c, last);
        if (j0 == j1) continue;
        const std::int32_t* places = list.PlaceOf + upper.First(c);
        FillWeights(coupling, c_lower, Lower.IndexOf(rank));
        SumComponents(coupling, j0, j1);
        for (int j = j0; j < j1; ++j) {
            const int at = places[j] - place;
            if (!Complex) {
                real[at] = Sum_Real[j - j0];
            } else {
                real[at] = type == BAND_C ? -Sum_Imag[j - j0] : Sum_Real[j - j0];
                imag[at] = type == BAND_C ? Sum_Real[j - j0] : Sum_Imag[j - j0];
            }
        }
    }
}
