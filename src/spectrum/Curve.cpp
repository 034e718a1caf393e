#include "spectrum/Curve.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace kiv {
namespace {

constexpr double kLargestFrequency = 1e30;

// So many values of a profile are added one by one before grids are worth it.
constexpr double kFewValues = 4e6;

// Grids of a whole profile have at most so many nodes, or so many a point. With larger ones the
// wings alone go on grids of at least twice the step, of so many nodes a point or at least so many.
constexpr double kFewNodes = 2e6, kNodesPerPoint = 8.0;
constexpr double kWingNodesPerPoint = 4.0, kLeastWingNodes = 2e5;

Error OutOfRange(const char* text) { return {ErrorCode::OutOfRange, text, ""}; }

bool IsUsable(double frequency) { return std::fabs(frequency) <= kLargestFrequency; }

Status CheckSticks(const Sticks& sticks) {
    if (sticks.position.size() != sticks.intensity.size()) {
        return OutOfRange("every line of a spectrum has a position and an intensity");
    }
    const bool good = std::all_of(sticks.position.begin(), sticks.position.end(), IsUsable) &&
                      std::all_of(sticks.intensity.begin(), sticks.intensity.end(),
                                  [](float intensity) { return std::isfinite(intensity); });
    if (!good) return OutOfRange("positions and intensities of lines are numbers up to 1e30");
    return {};
}

}  // namespace

Status Curve::MakeGrid(const Range& range, const Memory& memory) {
    const double width = range.to - range.from;
    const double near = std::min(1.0, 2.0 * profile_.reach() / width);  // part of the points
    const auto lines = static_cast<double>(sticks_.position.size());
    const double values = lines * range.points * (width > 0.0 ? near : 1.0);
    if (values * range.times <= kFewValues) return {};
    const bool is_whole =
        width / profile_.step() <= std::max(kFewNodes, kNodesPerPoint * range.points);
    if (!is_whole && !profile_.has_wings()) return {};
    const double nodes = std::max(kLeastWingNodes, kWingNodesPerPoint * range.points);
    const double step = is_whole ? profile_.step() : width / nodes;
    Result<GridSum> sum =
        GridSum::Of(sticks_, profile_, is_whole ? ProfilePart::Whole : ProfilePart::Wings,
                    range.from, range.to, step, memory);
    if (!sum) return sum.error();
    grid_ = std::move(sum).value();
    has_near_ = !is_whole;
    radius_ = kRadiusInSteps * step;
    return {};
}

Result<Curve> Curve::Of(const Sticks& sticks, const LineProfile& profile, const Range& range,
                        const Memory& memory) {
    KIV_TRY(CheckSticks(sticks));
    const Result<Profile> made = Profile::Of(profile);
    if (!made) return made.error();
    Curve curve(sticks, made.value());
    KIV_TRY(curve.MakeGrid(range, memory));
    return curve;
}

void Curve::AddNear(std::span<const double> frequencies, double shift,
                    std::span<double> values) const {
    const double reach = grid_ ? radius_ + profile_.blur() : profile_.reach();
    for (std::size_t n = 0; n < sticks_.position.size(); ++n) {
        const auto intensity = static_cast<double>(sticks_.intensity[n]);
        if (intensity == 0.0) continue;
        const double centre = sticks_.position[n] + shift, last = centre + reach;
        const auto first = std::lower_bound(frequencies.begin(), frequencies.end(), centre - reach);
        for (auto i = static_cast<std::size_t>(first - frequencies.begin());
             i < frequencies.size() && frequencies[i] <= last; ++i) {
            const double offset = frequencies[i] - centre;
            double value = profile_.At(offset);
            if (grid_) value -= profile_.Wing(offset, radius_);
            values[i] += intensity * value;
        }
    }
}

void Curve::At(std::span<const double> frequencies, double shift, std::span<double> values) const {
    for (std::size_t i = 0; i < frequencies.size(); ++i) {
        values[i] = grid_ ? grid_->At(frequencies[i] - shift) : 0.0;
    }
    if (has_near_) AddNear(frequencies, shift, values);
}

Status CheckFrequencies(std::span<const double> frequencies) {
    const bool good = std::is_sorted(frequencies.begin(), frequencies.end()) &&
                      std::all_of(frequencies.begin(), frequencies.end(), IsUsable);
    if (!good) return OutOfRange("the frequencies of a spectrum ascend and are numbers up to 1e30");
    return {};
}

}  // namespace kiv
