#include "lines/PairSelection.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "base/Simd.h"

namespace kiv {
namespace {

using Char8 = signed char __attribute__((vector_size(8)));

// Real amplitudes: a and b add coherently, c in quadrature; complex ones all coherently.
template <class Vec>
KIV_INLINE void FillRaw(const SelectionRun& run, const ClassSums& sums, int i, Vec& raw) {
    Vec ab = {}, c = {}, imag = {};
    const auto add = [&](const double* const* amplitude, int type, Vec& sum) {
        if (!amplitude[type]) return;
        Vec x;
        LoadVec(x, amplitude[type] + i);
        sum += run.projection[type] * x;
    };
    add(sums.real, kBandA, ab);
    add(sums.real, kBandB, ab);
    if (!run.is_complex) {
        add(sums.real, kBandC, c);
        raw = ab * ab + c * c;
        return;
    }
    add(sums.real, kBandC, ab);
    for (int type = 0; type < kNumBands; ++type) add(sums.imag, type, imag);
    raw = ab * ab + imag * imag;
}

template <class Vec>
KIV_INLINE void FillFactor(const SelectionRun& run, int lower, int i, Vec& factor) {
    const StrengthBound::Parts& bound = *run.bound;
    const double x1 = run.x1[lower], x2 = run.x2[lower];
    if (!bound.one_state) {
        factor = Vec{} + (x1 + x2);
        return;
    }
    Vec E;
    LoadVec(E, run.energy + i);
    const Vec dE = E - run.lower_energy[lower], one = Vec{} + 1.0;
    const Vec part1 = dE * bound.per_energy1 + kExpRounding;
    factor = x1 * (part1 < one ? part1 : one);
    if (x2 > 0.0) {
        const Vec part2 = dE * bound.per_energy2 + kExpRounding;
        factor += x2 * (part2 < one ? part2 : one);
    }
    factor *= dE * kFactorPerEnergy;
    const Vec zero = {};
    factor = dE > 0.0 ? factor : zero;
}

// Bit k for lane k. Eight lanes, which are those of x86 alone, are not taken one by one: a product
// brings the lowest bits of all bytes together in the highest byte.
template <class Mask>
KIV_INLINE unsigned BitsOf(const Mask& mask) {
    constexpr int kWidth = sizeof(Mask) / sizeof(long long);
    if constexpr (kWidth == 8) {
        constexpr std::uint64_t kLowest = 0x0101010101010101, kGather = 0x0102040810204080;
        const Char8 bytes = __builtin_convertvector(mask, Char8);
        std::uint64_t lanes = 0;
        std::memcpy(&lanes, &bytes, sizeof lanes);
        return static_cast<unsigned>((lanes & kLowest) * kGather >> 56);
    }
    long long lanes[kWidth];
    std::memcpy(lanes, &mask, sizeof mask);
    unsigned bits = 0;
    for (int k = 0; k < kWidth; ++k) bits |= static_cast<unsigned>(lanes[k] & 1) << k;
    return bits;
}

// Of one lower level; returns the end of what it selected. Each pair is written, only a selected
// one stays: which ones do so is no rule that a processor could foresee.
template <class Vec>
KIV_INLINE SelectedPair* SelectOfLevel(const SelectionRun& run, int lower, SelectedPair* selected) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    for (int i = 0; i < run.num; i += kWidth) {
        Vec raw, factor;
        FillRaw<Vec>(run, run.sums[lower], i, raw);
        FillFactor<Vec>(run, lower, i, factor);
        const typename MaskOf<Vec>::Type mask = raw * factor > run.bound->cutoff;
        const int left = run.num - i;
        unsigned bits = BitsOf(mask);
        if (left < kWidth) bits &= (1U << left) - 1;
        for (; bits != 0; bits &= bits - 1) *selected++ = {lower, i + std::countr_zero(bits)};
    }
    return selected;
}

template <class Vec>
KIV_INLINE void SelectPairsBody(const SelectionRun& run) {
    SelectedPair* selected = run.selected;
    for (int lower = 0; lower < kLowers; ++lower) {
        if (run.is_wanted[lower]) selected = SelectOfLevel<Vec>(run, lower, selected);
    }
    *run.num_selected = static_cast<int>(selected - run.selected);
}

}  // namespace

KIV_KERNEL(SelectPairs, SelectionRun)

}  // namespace kiv
