#include "lines/Spread.h"

#include <cstddef>
#include <cstring>

#include "base/Simd.h"

namespace kiv {
namespace {

constexpr double kCancelled = 1e-12;  // of the second moment, in the width

constexpr int kTwo = 2;  // vectors of levels side by side

// Adds factor[m] times component k of the levels, which may lie outside.
template <class Vec>
KIV_INLINE void AddComponent(const SpreadRun& run, const double* factor, int m, int k, int level,
                             Vec (&v)[kTwo]) {
    if (k < 0 || k >= run.num_components) return;
    const double* row = run.rows + std::ptrdiff_t{k} * run.ld + level;
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    for (int i = 0; i < kTwo; ++i) {
        Vec c;
        LoadVec(c, row + kWidth * i);
        v[i] += factor[m] * c;
    }
}

template <class Vec>
KIV_INLINE void FillImage(const SpreadRun& run, int m, int level, Vec (&v)[kTwo]) {
    for (Vec& part : v) part = Vec{};
    if (m >= run.num) return;
    AddComponent(run, run.plus, m, m + run.shift, level, v);
    if (run.minus) AddComponent(run, run.minus, m, m + run.shift - run.back, level, v);
}

template <class Vec>
KIV_INLINE void FillFactor(const SpreadRun& run, int level, const Vec& dE, Vec& factor) {
    const StrengthBound::Parts& bound = run.bound;
    Vec x1, x2;
    LoadVec(x1, run.x1 + level);
    LoadVec(x2, run.x2 + level);
    if (!bound.one_state) {
        factor = x1 + x2;
        return;
    }
    const Vec one = Vec{} + 1.0;
    const Vec part1 = dE * bound.per_energy1 + kExpRounding;
    const Vec part2 = dE * bound.per_energy2 + kExpRounding;
    factor = x1 * (part1 < one ? part1 : one) + x2 * (part2 < one ? part2 : one);
    factor *= dE * kFactorPerEnergy;
}

template <class Vec, class Mask>
KIV_INLINE void Mark(const SpreadRun& run, int level, const Vec& size, const Vec& first,
                     const Vec& second) {
    const Vec zero = {};
    const Vec mean = first / size, square = second / size;
    const Vec rest = square - mean * mean;
    Vec width = (rest > zero ? rest : zero) + kCancelled * square;
    SqrtVec(width);
    const Vec dE = ((mean > zero ? mean : zero) + width + run.tolerance) * kBoundMargin;
    Vec factor;
    FillFactor<Vec>(run, level, dE, factor);
    const double scale = kBoundMargin * run.projection * run.projection;
    const Mask mark = scale * size * factor > run.bound.cutoff;  // false without any image
    std::memcpy(run.marks + level, &mark, sizeof mark);
}

// By what holds for all levels of the branch.
template <class Vec, class Mask>
KIV_INLINE bool MayHaveAny(const SpreadRun& run, int level) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    Vec most = {};
    for (int i = 0; i < kTwo; ++i) {
        const int at = level + kWidth * i;
        Vec energy, factor;
        LoadVec(energy, run.energy + at);
        const Vec dE = run.bound.highest - energy, zero = {};
        FillFactor<Vec>(run, at, dE > zero ? dE : zero, factor);
        const Vec bound = run.bound.raw * factor;
        most = bound > most ? bound : most;
    }
    const Mask any = most > run.bound.cutoff;
    long long flags[kWidth], sum = 0;
    std::memcpy(flags, &any, sizeof any);
    for (const long long flag : flags) sum |= flag;
    return sum != 0;
}

template <class Vec, class Mask>
KIV_INLINE void MarkTwo(const SpreadRun& run, int level) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    if (!MayHaveAny<Vec, Mask>(run, level)) {
        for (int i = 0; i < kTwo * kWidth; ++i) run.marks[level + i] = 0;
        return;
    }
    Vec energy[kTwo], before[kTwo] = {}, at[kTwo], behind[kTwo];
    Vec size[kTwo] = {}, first[kTwo] = {}, second[kTwo] = {};
    for (int i = 0; i < kTwo; ++i) LoadVec(energy[i], run.energy + level + kWidth * i);
    FillImage<Vec>(run, 0, level, at);
    double down = 0.0;
    for (int m = 0; m < run.num; ++m) {
        FillImage<Vec>(run, m + 1, level, behind);
        const double up = run.beside[m];
        for (int i = 0; i < kTwo; ++i) {
            const Vec w = (run.diagonal[m] - energy[i]) * at[i] + down * before[i] + up * behind[i];
            size[i] += at[i] * at[i];
            first[i] += at[i] * w;
            second[i] += w * w;
            before[i] = at[i];
            at[i] = behind[i];
        }
        down = up;
    }
    for (int i = 0; i < kTwo; ++i) {
        Mark<Vec, Mask>(run, level + kWidth * i, size[i], first[i], second[i]);
    }
}

template <class Vec>
KIV_INLINE void MarkLevelsBody(const SpreadRun& run) {
    using Mask = typename MaskOf<Vec>::Type;
    constexpr int kStep = kTwo * sizeof(Vec) / sizeof(double);
    for (int level = 0; level < run.num_levels; level += kStep) MarkTwo<Vec, Mask>(run, level);
}

}  // namespace

KIV_KERNEL(MarkLevels, SpreadRun)

}  // namespace kiv
