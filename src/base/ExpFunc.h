// Exponential function with the same digits on every processor and with every library.
#pragma once

#include <cmath>
#include <cstdint>

#include "base/BitCast.h"

namespace kiv {

namespace exp_func {

inline constexpr double kMaxArgument = 700.0;
inline constexpr double kStepsPerUnit = 0x1.71547652b82fep+5;  // 32 / ln 2
inline constexpr double kStepHigh = 0x1.62e4200000000p-6;      // ln 2 / 32, its low 32 bits zero
inline constexpr double kStepLow = 0x1.fdf473de6af28p-27;      // the rest of it
inline constexpr double kRoundShift = 0x1.8p52;                // adding it rounds to an integer

// 2^(i/32)
// clang-format off
inline constexpr double kPower[32] = {
    0x1.0000000000000p+0, 0x1.059b0d3158574p+0, 0x1.0b5586cf9890fp+0, 0x1.11301d0125b51p+0,
    0x1.172b83c7d517bp+0, 0x1.1d4873168b9aap+0, 0x1.2387a6e756238p+0, 0x1.29e9df51fdee1p+0,
    0x1.306fe0a31b715p+0, 0x1.371a7373aa9cbp+0, 0x1.3dea64c123422p+0, 0x1.44e086061892dp+0,
    0x1.4bfdad5362a27p+0, 0x1.5342b569d4f82p+0, 0x1.5ab07dd485429p+0, 0x1.6247eb03a5585p+0,
    0x1.6a09e667f3bcdp+0, 0x1.71f75e8ec5f74p+0, 0x1.7a11473eb0187p+0, 0x1.82589994cce13p+0,
    0x1.8ace5422aa0dbp+0, 0x1.93737b0cdc5e5p+0, 0x1.9c49182a3f090p+0, 0x1.a5503b23e255dp+0,
    0x1.ae89f995ad3adp+0, 0x1.b7f76f2fb5e47p+0, 0x1.c199bdd85529cp+0, 0x1.cb720dcef9069p+0,
    0x1.d5818dcfba487p+0, 0x1.dfc97337b9b5fp+0, 0x1.ea4afa2a490dap+0, 0x1.f50765b6e4540p+0,
};
// clang-format on

}  // namespace exp_func

/// exp(x) within 1 unit in the last place, from additions and multiplications alone.
///
/// x = (32 m + i) ln2/32 + r, |r| <= ln2/64: exp(x) = 2^m 2^(i/32) (1 + r + r^2/2 + ... + r^6/720).
/// Arguments beyond +-700 go to the library, which then returns 0, a subnormal, or infinity.
/// ExpFunc(1) = 2.718281828459045. Source: P. T. P. Tang, ACM Trans. Math. Softw. 15, 144 (1989).
inline double ExpFunc(double x) {
    using namespace exp_func;
    if (!(std::fabs(x) < kMaxArgument)) return std::exp(x);
    const double shifted = x * kStepsPerUnit + kRoundShift;
    const double steps = shifted - kRoundShift;
    const double r = (x - steps * kStepHigh) - steps * kStepLow;
    const double r2 = r * r;
    const double tail =
        r2 * ((0.5 + r * (1.0 / 6)) + r2 * ((1.0 / 24 + r * (1.0 / 120)) + r2 * (1.0 / 720)));
    const auto count = static_cast<std::int64_t>(steps);
    const double power = kPower[count & 31];
    const double scale = BitCast<double>(static_cast<std::uint64_t>((count >> 5) + 1023) << 52);
    return (power + power * (r + tail)) * scale;
}

}  // namespace kiv
