// Sums of many profiles on grids whose steps double from one to the next.
//
// A profile is a sum of smooth pieces of finite reach, each twice as wide as the one before:
//
//     P(x) = [P(x) - W_1(x)] + [W_1(x) - W_2(x)] + ... + W_n(x)
//
// with its wings W_k(x) = Profile::Wing(x, 24 h_k) and steps h_k = 2^k h_0. A piece of size h_k is
// summed on the grid of that step: amounts are spread over twelve nodes around each line, on the
// next grid over nodes of that one, and values are interpolated between as many. Each grid costs
// half of the one before, whatever the number of lines. Source of the scheme: A. Brandt and A. A.
// Lubrecht, J. Comput. Phys. 90, 348 (1990).
#pragma once

#include <vector>

#include "kiv/spectrum.h"
#include "spectrum/LevelGrid.h"
#include "spectrum/Profile.h"

namespace kiv {

/// Radius of the wings that a grid sums, in its steps.
inline constexpr double kRadiusInSteps = 24.0;

/// Which part of a profile is summed.
enum class ProfilePart : bool {
    Whole,  // the step is that of the profile
    Wings   // Profile::Wing of 24 steps
};

class GridSum {
  public:
    /// For values from `from` to `to`; `step` is that of the finest grid. NoMemory.
    static Result<GridSum> Of(const Sticks& sticks, const Profile& profile, ProfilePart part,
                              double from, double to, double step, const Memory& memory);

    double At(double frequency) const { return level_[0].ValueAt((frequency - from_) * per_step_); }

  private:
    GridSum(double from, double step) : from_(from), per_step_(1.0 / step), step_(step) {}

    double StepOf(std::size_t level) const;
    double RadiusOf(std::size_t level) const { return kRadiusInSteps * StepOf(level); }
    void AddLevels(const Profile& profile, double width, double below, double above);
    void AddLines(const Sticks& sticks);
    Status Sum(const Profile& profile, ProfilePart part, const Memory& memory);

    double from_;  // origin of all grids
    double per_step_, step_;
    std::vector<LevelGrid> level_;
};

}  // namespace kiv
