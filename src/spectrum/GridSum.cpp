#include "spectrum/GridSum.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "base/Failure.h"
#include "spectrum/Interpolation.h"

namespace kiv {
namespace {

// A grid of so few nodes needs no coarser one.
constexpr double kFewNodes = 128.0;

std::int64_t NodesIn(double distance, double step) {
    return static_cast<std::int64_t>(std::ceil(distance / step));
}

}  // namespace

double GridSum::StepOf(std::size_t level) const {
    return std::ldexp(step_, static_cast<int>(level));
}

// Grids for values over `width`, lines reach so far below and above that.
void GridSum::AddLevels(const Profile& profile, double width, double below, double above) {
    NodeRange wanted{-kInterNodes, NodesIn(width, step_) + 2 * kInterNodes};
    for (bool more = true; more;) {
        const double step = StepOf(level_.size());
        std::int64_t reach = 0;
        more = profile.has_wings() && below + width + above > kFewNodes * step;
        if (more) {
            reach = NodesIn(2.0 * kRadiusInSteps * step + profile.blur(), step);
        } else if (profile.has_wings()) {
            reach = wanted.size + NodesIn(below, step) + NodesIn(above, step) + kInterNodes;
        } else {
            reach = NodesIn(profile.reach(), step);
        }
        level_.emplace_back(wanted, reach);
        wanted = level_.back().WantedAbove();
    }
}

// Each line enters the finest grid that holds it: it is beyond the reach of those before.
void GridSum::AddLines(const Sticks& sticks) {
    for (std::size_t n = 0; n < sticks.position.size(); ++n) {
        const auto amount = static_cast<double>(sticks.intensity[n]);
        double t = (sticks.position[n] - from_) * per_step_;
        for (LevelGrid& level : level_) {
            if (level.Holds(t)) {
                level.Add(t, amount);
                break;
            }
            t *= 0.5;
        }
    }
}

// Amounts go from the finest grid to the coarsest, values come back.
Status GridSum::Sum(const Profile& profile, ProfilePart part, const Memory& memory) {
    const std::size_t num = level_.size();
    for (std::size_t k = 1; k < num; ++k) level_[k].AddFrom(level_[k - 1]);
    Array<double> kernel;
    for (std::size_t k = num; k-- > 0;) {
        const std::int64_t reach = level_[k].reach();
        if (!kernel.Take(memory, reach + 1)) return NoMemory("the grids of the spectrum");
        const bool has_core = k == 0 && part == ProfilePart::Whole;
        for (std::size_t j = 0; j < kernel.size(); ++j) {
            const double offset = static_cast<double>(j) * StepOf(k);
            kernel[j] = has_core ? profile.At(offset) : profile.Wing(offset, RadiusOf(k));
            if (k + 1 < num) kernel[j] -= profile.Wing(offset, RadiusOf(k + 1));
        }
        KIV_TRY(level_[k].Sum({kernel.data(), kernel.size()}, memory));
        if (k + 1 < num) {
            level_[k].Refine(level_[k + 1]);
            level_.pop_back();
        }
    }
    return {};
}

Result<GridSum> GridSum::Of(const Sticks& sticks, const Profile& profile, ProfilePart part,
                            double from, double to, double step, const Memory& memory) {
    double lowest = from, highest = to;
    for (const double position : sticks.position) {
        lowest = std::min(lowest, position);
        highest = std::max(highest, position);
    }
    GridSum sum(from, step);
    sum.AddLevels(profile, to - from, from - lowest, highest - to);
    for (LevelGrid& level : sum.level_) KIV_TRY(level.TakeAmounts(memory));
    sum.AddLines(sticks);
    KIV_TRY(sum.Sum(profile, part, memory));
    return sum;
}

}  // namespace kiv
