#include "transitions/Amplitudes.h"

#include <algorithm>

#include "hamiltonian/Levels.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"
#include "run/Simd.h"

namespace {

// Components of a step of the dot products: two partial sums of four lanes each, in fixed order.
constexpr int kDotStep = 8;

// Zeros before and after the components of a lower level: K'' = K' -+ 1 with K' up to J'' + 1.
constexpr int kPad = 3;

int RoundUp(int n) { return (n + kDotStep - 1) / kDotStep * kDotStep; }

struct DotRows {
    const double* Weights;
    const double* Rows;
    int Stride;
    std::span<const std::int32_t> Ranks;
    double* Out;  // by rank
};

KIV_INLINE void DotRowsBody(const DotRows& d) {
    const double* row = d.Rows;
    for (const std::int32_t rank : d.Ranks) {
        d.Out[rank] = DotProduct(d.Weights, row, d.Stride);
        row += d.Stride;
    }
}

void DotRowsBase(const DotRows& d) { DotRowsBody(d); }

#ifdef KIV_HAVE_AVX2
KIV_TARGET_AVX2 void DotRowsAvx2(const DotRows& d) { DotRowsBody(d); }
#endif

void ComputeDots(const DotRows& d) {
#ifdef KIV_HAVE_AVX2
    if (CpuHasAvx2()) return DotRowsAvx2(d);
#endif
    DotRowsBase(d);
}

int Take(KivArray<double>& arr, std::int64_t num, const char* what) {
    return ArrAlloc(arr, num) > 0 ? 1 : CoreFail(what);
}

}  // namespace

int AmplitudeCalc::Init() {
    Complex = Kiv.Cplx_Ham == 1;
    Kept = Kiv.Sym_Kept[ST_GND] & Kiv.Sym_Kept[ST_EXC];
    const std::int64_t n = 2 * std::int64_t{Kiv.Max_J} + 1;
    const std::int64_t row = n + kDotStep;
    for (KivArray<double>* arr : {&Factors.Level, &Factors.Up, &Factors.Down}) {
        if (!Take(*arr, n, "AmplitudeCalc()/Factors")) return 0;
    }
    const int parts = Complex ? 2 : 1;
    for (int part = 0; part < parts; ++part) {
        for (UpperLevels& upper : Upper) {
            KivArray<double>& rows = part == 0 ? upper.Real : upper.Imag;
            if (!Take(rows, n * row, "AmplitudeCalc()/Upper")) return 0;
        }
        if (!Take(part == 0 ? Lower_Real : Lower_Imag, n + 2 * kPad, "AmplitudeCalc()/Lower") ||
            !Take(part == 0 ? Weight_Real : Weight_Imag, row, "AmplitudeCalc()/Weight")) {
            return 0;
        }
        for (int type = 0; type < NUM_BANDS; ++type) {
            KivArray<double>& amp = part == 0 ? Amp.Real[type] : Amp.Imag[type];
            if (!Take(amp, n, "AmplitudeCalc()/Amp")) return 0;
        }
    }
    if (Complex && !Take(Cross, n, "AmplitudeCalc()/Cross")) return 0;
    for (UpperLevels& upper : Upper) {
        if (ArrAlloc(upper.Rank, n) < 0) return CoreFail("AmplitudeCalc()/Rank");
    }
    return 1;
}

void AmplitudeCalc::SetBranch(int J_lower, int J_upper) {
    Jl = J_lower;
    Ju = J_upper;
    FillBranch(Jl, Ju, Factors);
    Now = &Upper[Ju % 3];
    if (Now->J != Ju) PackUpper(*Now);
}

void AmplitudeCalc::PackUpper(UpperLevels& upper) {
    const int n = 2 * Ju + 1;
    const std::uint8_t* odd = Kiv.Sym_Vector[ST_EXC].Data() + static_cast<std::size_t>(Ju) * Ju;
    upper.J = Ju;
    upper.Num_Classes = MakeSymBlocks(Kept, Ju, upper.Class);
    int largest = 0;
    for (int c = 0; c < upper.Num_Classes; ++c) largest = std::max(largest, upper.Class[c].N);
    upper.Stride = RoundUp(largest);
    int row = 0;
    for (int c = 0; c < upper.Num_Classes; ++c) {
        const SymBlock& block = upper.Class[c];
        upper.First[c] = row;
        for (int rank = 0; rank < n; ++rank) {
            if ((odd[rank] & Kept) != block.Odd) continue;
            const std::int64_t vec = VecOffset(Ju) + std::int64_t{rank} * n + Ju;
            for (int part = 0; part < (Complex ? 2 : 1); ++part) {
                const double* v = part == 0 ? Kiv.HamErgReal_Vector[ST_EXC].Data() + vec
                                            : Kiv.HamErgImag_Vector[ST_EXC].Data() + vec;
                double* out = (part == 0 ? upper.Real : upper.Imag).Data() +
                              static_cast<std::size_t>(row) * upper.Stride;
                for (int m = 0; m < block.N; ++m) out[m] = v[block.K(m)];
                std::fill(out + block.N, out + upper.Stride, 0.0);
            }
            upper.Rank[row++] = rank;
        }
        upper.Num_Levels[c] = row - upper.First[c];
    }
}

void AmplitudeCalc::LoadLower(int rank) {
    const int n = 2 * Jl + 1;
    const std::int64_t vec = VecOffset(Jl) + std::int64_t{rank} * n;
    for (int part = 0; part < (Complex ? 2 : 1); ++part) {
        KivArray<double>& lower = part == 0 ? Lower_Real : Lower_Imag;
        const KivArray<double>& source =
            part == 0 ? Kiv.HamErgReal_Vector[ST_GND] : Kiv.HamErgImag_Vector[ST_GND];
        std::fill_n(lower.Data(), kPad, 0.0);
        std::copy_n(source.Data() + vec, n, lower.Data() + kPad);
        std::fill_n(lower.Data() + kPad + n, kPad, 0.0);
    }
    Lower_Odd = Kiv.Sym_Vector[ST_GND][static_cast<std::size_t>(Jl) * Jl + rank];
}

void AmplitudeCalc::FillWeights(BandType type, const SymBlock& block) {
    const double down_sign = type == BAND_B ? -1.0 : 1.0;
    for (int part = 0; part < (Complex ? 2 : 1); ++part) {
        // component K'' at [Jl + K''], read from -Jl-3 to Jl+3
        const double* lower = (part == 0 ? Lower_Real : Lower_Imag).Data() + kPad + Jl;
        double* weight = (part == 0 ? Weight_Real : Weight_Imag).Data();
        for (int m = 0; m < block.N; ++m) {
            const int K = block.K(m);
            const double w = type == BAND_A ? Factors.Level[K + Ju] * lower[K]
                                            : Factors.Up[K + Ju] * lower[K + 1] +
                                                  down_sign * (Factors.Down[K + Ju] * lower[K - 1]);
            weight[m] = block.Folded && K > 0 ? 2.0 * w : w;  // K' and -K' contribute the same
        }
        std::fill(weight + block.N, weight + Now->Stride, 0.0);
    }
}

void AmplitudeCalc::Dots(BandType type, int cls, int first, int last) {
    const std::int32_t* ranks = Now->Rank.Data() + Now->First[cls];
    const std::int32_t* end = ranks + Now->Num_Levels[cls];
    const std::int32_t* begin = std::lower_bound(ranks, end, first);
    const std::span<const std::int32_t> list(begin, std::lower_bound(begin, end, last));
    const std::size_t row = static_cast<std::size_t>(begin - Now->Rank.Data()) * Now->Stride;
    const auto dots = [&](const KivArray<double>& weight, const KivArray<double>& rows,
                          double* out) {
        ComputeDots({weight.Data(), rows.Data() + row, Now->Stride, list, out});
    };
    double* real = Amp.Real[type].Data();
    dots(Weight_Real, Now->Real, real);
    if (!Complex) return;
    // (x'' + i y'')(x' - i y'): the cross products go through one row of scratch
    double* imag = Amp.Imag[type].Data();
    double* cross = Cross.Data();
    dots(Weight_Imag, Now->Imag, cross);
    for (const std::int32_t rank : list) real[rank] += cross[rank];
    dots(Weight_Imag, Now->Real, imag);
    dots(Weight_Real, Now->Imag, cross);
    for (const std::int32_t rank : list) imag[rank] -= cross[rank];
    if (type != BAND_C) return;
    for (const std::int32_t rank : list) {
        const double re = real[rank];
        real[rank] = -imag[rank];
        imag[rank] = re;
    }
}

void AmplitudeCalc::Compute(int rank, int first, int last) {
    LoadLower(rank);
    for (int type = 0; type < NUM_BANDS; ++type) {
        std::fill(&Amp.Real[type][first], &Amp.Real[type][first] + (last - first), 0.0);
        if (Complex)
            std::fill(&Amp.Imag[type][first], &Amp.Imag[type][first] + (last - first), 0.0);
        if (Kiv.Band_Active[type] != 1) continue;
        const std::uint8_t odd = (Lower_Odd ^ kMomentOdd[type]) & Kept;
        for (int c = 0; c < Now->Num_Classes; ++c) {
            if (Now->Class[c].Odd != odd) continue;
            FillWeights(static_cast<BandType>(type), Now->Class[c]);
            Dots(static_cast<BandType>(type), c, first, last);
        }
    }
}
