// Polynomial interpolation between twelve nodes of an equidistant grid, six on either side.
#pragma once

#include <array>
#include <cstddef>

namespace kiv {

inline constexpr int kInterNodes = 12;
inline constexpr int kInterBefore = 5;  // nodes before the one at or below a point

/// Weights of the nodes -5, -4, ... 6 at t, 0 <= t < 1, by Lagrange.
inline std::array<double, kInterNodes> InterpolationWeights(double t) {
    // 1 / prod (j - i) over i != j
    constexpr double kInverse[kInterNodes] = {-1.0 / 39916800, 1.0 / 3628800,  -1.0 / 725760,
                                              1.0 / 241920,    -1.0 / 120960,  1.0 / 86400,
                                              -1.0 / 86400,    1.0 / 120960,   -1.0 / 241920,
                                              1.0 / 725760,    -1.0 / 3628800, 1.0 / 39916800};
    std::array<double, kInterNodes> weights;
    double before = 1.0;
    for (int j = 0; j < kInterNodes; ++j) {
        weights[static_cast<std::size_t>(j)] = before * kInverse[j];
        before *= t - (j - kInterBefore);
    }
    double behind = 1.0;
    for (int j = kInterNodes; j-- > 0;) {
        weights[static_cast<std::size_t>(j)] *= behind;
        behind *= t - (j - kInterBefore);
    }
    return weights;
}

/// The same at t = 1/2: a node and its mirror image have the same weight, from the middle outwards.
inline constexpr int kHalfNodes = kInterNodes / 2;
inline constexpr double kHalfWeights[kHalfNodes] = {160083.0 / 262144, -38115.0 / 262144,
                                                    22869.0 / 524288,  -5445.0 / 524288,
                                                    847.0 / 524288,    -63.0 / 524288};

}  // namespace kiv
