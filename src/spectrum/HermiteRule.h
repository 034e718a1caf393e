// Integrals over a Gaussian by eight points:
//
//     int f(t) exp(-t^2/2) dt / sqrt(2 pi) = sum of weight (f(node) + f(-node)) over four nodes
//
// exact for polynomials up to degree 15. M. Abramowitz and I. A. Stegun, Handbook of Mathematical
// Functions, table 25.10.
#pragma once

namespace kiv {

inline constexpr int kHermiteSize = 4;
inline constexpr double kHermiteNodes[kHermiteSize] = {0.539079811351375108, 1.636519042435107999,
                                                       2.802485861287541781, 4.144547186125894334};
inline constexpr double kHermiteWeights[kHermiteSize] = {
    0.373012257679077350, 0.117239907661759022, 0.00963522012078826719, 0.000112614538375368250};

}  // namespace kiv
