#include "catalog/QuickLg.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

namespace kiv {
namespace {

constexpr double kLgE = 0x1.bcb7b1526e50ep-2;

// Below this part of kT, 1 - exp(-x) has lost more digits than kError stands for.
constexpr double kLeastShare = 0x1p-20;

// What d^2/2 adds is less than kError, too.
constexpr double kMostDifference = 2e-5;

// Between these no factor of an intensity leaves the range of doubles: with such a strength and
// frequency the Boltzmann factor of a line that single precision holds is above 1e-200.
constexpr double kLeastUsual = 1e-50, kMostUsual = 1e50;

bool IsUsual(double factor) { return factor > kLeastUsual && factor < kMostUsual; }

bool AreBelowMost(std::span<const double> values) {
    return std::all_of(values.begin(), values.end(),
                       [](double x) { return std::fabs(x) < kMostUsual; });
}

}  // namespace

QuickLg::QuickLg(const CatalogSource& source, const AbsoluteIntensity& absolute)
    : energy_(source.lower->energy.Part(0, source.lower->energy.size())), kT_(absolute.kT()) {
    const LineRules& rules = source.rules;
    const bool is_single = source.strength.empty() && source.one_state() &&
                           rules.temperature > 0.0 && !(rules.temperature2 > 0.0);
    if (!is_single || !IsUsual(kT_) || !IsUsual(absolute.factor())) return;
    const double d = kT_ / (rules.temperature * rules.energy_per_kelvin) - 1.0;
    if (!(std::fabs(d) < kMostDifference) || !AreBelowMost(source.moment) ||
        !AreBelowMost(energy_)) {
        return;
    }
    least_position_ = kLeastShare * kT_;
    shift_ =
        std::log10(1e4 * absolute.factor()) + (source.zero - source.origin[kLower]) / kT_ * kLgE;
    difference_ = d * kLgE / kT_;
    levels_.reset(new Level[energy_.size()]);
}

void QuickLg::Tell(Run& run, std::size_t lines) const {
    constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
    constexpr float kMost = std::numeric_limits<float>::max(),
                    kLeast = std::numeric_limits<float>::min();
    if (!levels_) {
        std::fill_n(run.lg, lines, kUnknown);
        return;
    }
    double low_energy[kLanes], low_factor[kLanes], high_energy[kLanes], high_factor[kLanes];
    for (std::size_t i = 0; i < lines; ++i) {
        const Level &low = levels_[run.lower[i]], &high = levels_[run.upper[i]];
        low_energy[i] = low.energy, low_factor[i] = low.factor;
        high_energy[i] = high.energy, high_factor[i] = high.factor;
    }
    // Without a look at what is known, so that lines go side by side.
    float normal[kLanes];
    double lg[kLanes];
    for (std::size_t i = 0; i < lines; ++i) normal[i] = std::max(kLeast, run.intensity[i]);
    for (std::size_t i = 0; i < lines; ++i) lg[i] = Log10(normal[i]);
    for (std::size_t i = 0; i < lines; ++i) {
        const double emitted = run.position[i] * high_factor[i] / (low_factor[i] - high_factor[i]);
        lg[i] += shift_ + difference_ * (low_energy[i] - emitted);
    }
    for (std::size_t i = 0; i < lines; ++i) {
        const double position = run.position[i];
        const bool is_known = (run.intensity[i] >= kLeast) & (run.intensity[i] <= kMost) &
                              (position > least_position_) &
                              (position == high_energy[i] - low_energy[i]);
        run.lg[i] = is_known ? lg[i] : kUnknown;
    }
}

}  // namespace kiv
