#include "lines/PairValues.h"

#include <cstring>

#include "base/Simd.h"

namespace kiv {
namespace {

using Float4 = float __attribute__((vector_size(16)));
using Char4 = char __attribute__((vector_size(4)));

template <class To, class From>
KIV_INLINE void StoreAs(void* to, const From& from) {
    const To converted = __builtin_convertvector(from, To);
    std::memcpy(to, &converted, sizeof converted);
}

// The amplitudes of a few pairs in single precision, a, b, c of one pair after the other.
KIV_INLINE void PutAmplitudes(const double* const (&amp)[kNumBands], int pair, const Vec4& scale,
                              const Float4& root, float* out) {
    Float4 scaled[kNumBands];
    for (int type = 0; type < kNumBands; ++type) {
        Vec4 x;
        LoadVec(x, amp[type] + pair);
        scaled[type] = __builtin_convertvector(scale * x, Float4) * root;
    }
    const auto& [a, b, c] = scaled;
    const Float4 ab_low = __builtin_shufflevector(a, b, 0, 4, 1, 5);         // a0 b0 a1 b1
    const Float4 ab_high = __builtin_shufflevector(a, b, 2, 6, 3, 7);        // a2 b2 a3 b3
    const Float4 bc = __builtin_shufflevector(b, c, 1, 5, 2, 6);             // b1 c1 b2 c2
    const Float4 first = __builtin_shufflevector(ab_low, c, 0, 1, 4, 2);     // a0 b0 c0 a1
    const Float4 second = __builtin_shufflevector(bc, ab_high, 0, 1, 4, 5);  // b1 c1 a2 b2
    const Float4 third = __builtin_shufflevector(c, ab_high, 2, 6, 7, 3);    // c2 a3 b3 c3
    std::memcpy(out, &first, sizeof first);
    std::memcpy(out + 4, &second, sizeof second);
    std::memcpy(out + 8, &third, sizeof third);
}

// Those of the real part, and of the imaginary one where there is one.
KIV_INLINE void PutAllAmplitudes(const PairRun& run, int pair, const Vec4& factor) {
    Vec4 scale = factor;
    if (run.scaled) {
        const Vec4 zero = {};
        scale = factor > 0.0 ? factor : zero;
        SqrtVec(scale);
    }
    Float4 root;
    std::memcpy(&root, run.spin_root + pair, sizeof root);
    PutAmplitudes(run.re, pair, scale, root, run.lines.amplitude_real + kNumBands * pair);
    if (run.is_complex) {
        PutAmplitudes(run.im, pair, scale, root, run.lines.amplitude_imag + kNumBands * pair);
    }
}

constexpr int kPairs = 4;  // evaluated together

template <class>
KIV_INLINE void EvaluateBody(const PairRun& run) {
    const double ma = run.projection[kBandA], mb = run.projection[kBandB],
                 mc = run.projection[kBandC];
    constexpr Long4 kPlace = {0, 1, 2, 3};
    Long4 any = {};
    for (int i = 0; i < run.num; i += kPairs) {
        const Long4 left = kPlace < static_cast<long long>(run.num - i);  // not behind the last one
        Vec4 a, b, c, energy, lower_energy, spin_weight, factor, raw;
        LoadVec(a, run.re[kBandA] + i);
        LoadVec(b, run.re[kBandB] + i);
        LoadVec(c, run.re[kBandC] + i);
        LoadVec(energy, run.energy + i);
        LoadVec(lower_energy, run.lower_energy + i);
        LoadVec(spin_weight, run.spin_weight + i);
        LoadVec(factor, run.boltzmann + i);
        a = ma * a, b = mb * b, c = mc * c;
        Vec4 sa = a * a, sb = b * b, sc = c * c;
        if (run.is_complex) {
            Vec4 ia, ib, ic;
            LoadVec(ia, run.im[kBandA] + i);
            LoadVec(ib, run.im[kBandB] + i);
            LoadVec(ic, run.im[kBandC] + i);
            ia = ma * ia, ib = mb * ib, ic = mc * ic;
            sa += ia * ia, sb += ib * ib, sc += ic * ic;
            const Vec4 re = a + b + c, im = ia + ib + ic;
            raw = re * re + im * im;
        } else {
            const Vec4 ab = a + b;
            raw = ab * ab + sc;
        }
        const Vec4 strength = raw * spin_weight * factor;
        const Vec4 position = run.origin + energy - lower_energy;
        StoreVec(run.raw + i, raw);
        StoreVec(run.strength + i, strength);
        StoreVec(run.lines.position + i, position);
        StoreAs<Float4>(run.lines.intensity + i, strength);
        const Long4 none = {};
        const Long4 letter = ((sa > sb) & (sa > sc)) != 0   ? none + 'A'
                             : ((sb > sa) & (sb > sc)) != 0 ? none + 'B'
                                                            : none + 'C';
        StoreAs<Char4>(run.lines.band + i, letter);
        if (run.lines.amplitude_real) PutAllAmplitudes(run, i, factor);
        Long4 dropped = run.scaled ? strength <= run.cutoff : strength == 0.0;
        if (run.skip_dark) dropped |= raw == 0.0;
        if (run.upward_only) dropped |= position < 0.0;
        if (run.is_ranged) dropped |= (position < run.lowest) | (position > run.highest);
        dropped &= left;
        std::memcpy(run.dropped + i, &dropped, sizeof dropped);
        any |= dropped;
    }
    *run.any_dropped = (any[0] | any[1] | any[2] | any[3]) != 0;
}

}  // namespace

KIV_KERNEL(Evaluate, PairRun)

}  // namespace kiv
