#include "lines/PairSelection.h"

#include <bit>
#include <cstring>

#include "base/Simd.h"

namespace kiv {
namespace {

using Long4 = long long __attribute__((vector_size(32)));
using Long8 = long long __attribute__((vector_size(64)));

template <class Vec>
struct MaskOf;
template <>
struct MaskOf<Vec4> {
    using Type = Long4;
};
template <>
struct MaskOf<Vec8> {
    using Type = Long8;
};

// Real amplitudes: a and b add coherently, c in quadrature; complex ones all coherently.
template <class Vec>
KIV_INLINE void FillRaw(const SelectionRun& run, int i, Vec& raw) {
    Vec ab = {}, c = {}, imag = {};
    const auto add = [&](const double* const* amplitude, int type, Vec& sum) {
        if (!amplitude[type]) return;
        Vec x;
        LoadVec(x, amplitude[type] + i);
        sum += run.projection[type] * x;
    };
    add(run.re, kBandA, ab);
    add(run.re, kBandB, ab);
    if (!run.is_complex) {
        add(run.re, kBandC, c);
        raw = ab * ab + c * c;
        return;
    }
    add(run.re, kBandC, ab);
    for (int type = 0; type < kNumBands; ++type) add(run.im, type, imag);
    raw = ab * ab + imag * imag;
}

template <class Vec>
KIV_INLINE void FillFactor(const StrengthBound::Parts& bound, const double* energy, Vec& factor) {
    if (!bound.one_state) {
        factor = Vec{} + (bound.x1 + bound.x2);
        return;
    }
    Vec E;
    LoadVec(E, energy);
    const Vec dE = E - bound.lower_energy, one = Vec{} + 1.0;
    const Vec part1 = dE * bound.per_energy1 + kExpRounding;
    factor = bound.x1 * (part1 < one ? part1 : one);
    if (bound.x2 > 0.0) {
        const Vec part2 = dE * bound.per_energy2 + kExpRounding;
        factor += bound.x2 * (part2 < one ? part2 : one);
    }
    factor *= dE * kFactorPerEnergy;
    const Vec zero = {};
    factor = dE > 0.0 ? factor : zero;
}

// Bit k for lane k.
template <class Mask>
KIV_INLINE unsigned BitsOf(const Mask& mask) {
    constexpr int kWidth = sizeof(Mask) / sizeof(long long);
    long long lanes[kWidth];
    std::memcpy(lanes, &mask, sizeof mask);
    unsigned bits = 0;
    for (int k = 0; k < kWidth; ++k) bits |= static_cast<unsigned>(lanes[k] & 1) << k;
    return bits;
}

template <class Vec>
KIV_INLINE void SelectPairsBody(const SelectionRun& run) {
    using Mask = typename MaskOf<Vec>::Type;
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    int num = 0;
    for (int i = 0; i < run.num; i += kWidth) {
        Vec raw, factor;
        FillRaw<Vec>(run, i, raw);
        FillFactor<Vec>(*run.bound, run.energy + i, factor);
        const Mask chosen = raw * factor > run.bound->cutoff;
        const int left = run.num - i;
        unsigned bits = BitsOf(chosen);
        if (left < kWidth) bits &= (1U << left) - 1;
        for (; bits != 0; bits &= bits - 1) run.chosen[num++] = i + std::countr_zero(bits);
    }
    *run.num_chosen = num;
}

}  // namespace

KIV_KERNEL(SelectPairs, SelectionRun)

}  // namespace kiv
