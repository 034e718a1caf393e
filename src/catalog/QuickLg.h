// Absolute intensities from the intensities of a list alone, where these tell them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>

#include "base/BitCast.h"
#include "base/ExpFunc.h"
#include "kiv/catalog.h"

namespace kiv {

/// log10 of I of lines within one state whose intensities are those of the same temperature, kT'
/// = kT / (1 + d), where d is 0 or the difference between two values of the Boltzmann constant.
///
/// Frequency and stimulated emission are in both (see Boltzmann and AbsoluteIntensity), so that
/// with the lowest energy E0, x = (E' - E'')/kT, and d^2 left out
///
///     lg I = lg intensity + lg(1e4 * 4.16231e-5 MHz / Q) + lg e [E0/kT + d (E''/kT - x/(e^x - 1))]
class QuickLg {
  public:
    static constexpr double kError = 1e-9;  // see Tell

    QuickLg(const CatalogSource& source, const AbsoluteIntensity& absolute);

    /// Prepares a level, both of a line before Tell; threads may do so for different ones.
    void SetLevel(std::size_t level) {
        if (!levels_) return;
        const double E = energy_[level];
        levels_[level] = {E, ExpFunc(-E / kT_)};
    }

    static constexpr std::int32_t kLanes = 50;

    /// Lines that are looked at side by side.
    struct Run {
        double position[kLanes];
        float intensity[kLanes];
        std::size_t lower[kLanes], upper[kLanes];  // levels by their indices
        double lg[kLanes];                         // result
    };

    /// Finds lg of the first `lines` lines, which differs from that of Catalog::Line by less than
    /// kError; not a number where only that one tells it.
    void Tell(Run& run, std::size_t lines) const;

    /// log10 of a normal number within 1e-11: of x = m 2^e with m nearest to 1, and from
    /// s = (m - 1)/(m + 1), ln m = 2 (s + s^3/3 + ... + s^11/11).
    static double Log10(float x);

  private:
    struct Level {
        double energy;
        double factor;  // exp(-E/kT)
    };

    std::span<const double> energy_;
    double kT_;
    std::unique_ptr<Level[]> levels_;  // null: nothing is known
    double least_position_ = std::numeric_limits<double>::infinity();
    double shift_ = 0.0;
    double difference_ = 0.0;  // d lg e / kT
};

inline double QuickLg::Log10(float x) {
    constexpr double kLg2 = 0x1.34413509f79ffp-2;     // log10 of 2
    constexpr double kTwoLgE = 0x1.bcb7b1526e50ep-1;  // 2 log10 of e
    constexpr std::int32_t kRootHalf = 0x3f3504f3;    // bits of the least m
    const auto bits = BitCast<std::int32_t>(x);
    const std::int32_t exponent = (bits - kRootHalf) >> 23;
    const auto m = static_cast<double>(BitCast<float>(bits - exponent * (1 << 23)));
    const double s = (m - 1.0) / (m + 1.0), s2 = s * s, s4 = s2 * s2;
    const double sum = (1.0 + s2 * (1.0 / 3)) +
                       s4 * ((1.0 / 5 + s2 * (1.0 / 7)) + s4 * (1.0 / 9 + s2 * (1.0 / 11)));
    return exponent * kLg2 + kTwoLgE * s * sum;
}

}  // namespace kiv
