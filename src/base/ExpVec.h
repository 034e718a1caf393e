// ExpFunc for the lanes of vector kernels.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/ExpFunc.h"
#include "base/Simd.h"

namespace kiv {

namespace exp_func {

template <class Vec>
struct BitsOf {
    using Type = std::uint64_t __attribute__((vector_size(32)));
};
template <>
struct BitsOf<Vec8> {
    using Type = std::uint64_t __attribute__((vector_size(64)));
};

}  // namespace exp_func

/// result[k] = ExpFunc(x[k]), bit for bit, where |x[k]| < exp_func::kMaxArgument; what other lanes
/// get means nothing.
template <class Vec>
KIV_INLINE void ExpVec(const Vec& x, Vec& result) {
    using namespace exp_func;
    constexpr std::size_t kWidth = sizeof(Vec) / sizeof(double);
    constexpr std::uint64_t kStepMask = 31;
    using Bits = typename BitsOf<Vec>::Type;
    const Vec shifted = x * kStepsPerUnit + kRoundShift;
    const Vec steps = shifted - kRoundShift;
    const Vec r = (x - steps * kStepHigh) - steps * kStepLow;
    const Vec r2 = r * r;
    const Vec tail =
        r2 * ((0.5 + r * (1.0 / 6)) + r2 * ((1.0 / 24 + r * (1.0 / 120)) + r2 * (1.0 / 720)));
    Bits count;  // of steps: the integer that the shift left in the low bits
    std::memcpy(&count, &shifted, sizeof count);
    count -= BitCast<std::uint64_t>(kRoundShift);
    const Bits step = count & kStepMask;
    Vec power;
    for (std::size_t k = 0; k < kWidth; ++k) power[k] = kPower[step[k]];
    const Bits exponent = ((count - step) << 47) + (std::uint64_t{1023} << 52);
    Vec scale;
    std::memcpy(&scale, &exponent, sizeof scale);
    result = (power + power * (r + tail)) * scale;
}

}  // namespace kiv
