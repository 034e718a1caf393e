// Derivatives of positions with respect to the constants that a fit varies.
#pragma once

#include <span>
#include <vector>

#include "fit/StateLevels.h"
#include "kiv/features.h"
#include "kiv/fit.h"

namespace kiv {

/// Where each parameter stands among the derivatives that a level of the state carries; -1 where
/// the level does not depend on it. With UpperAsDifference a level of the upper state depends on
/// the lower constants, too.
std::vector<int> PlacesOf(std::span<const FitParameter> parameters, FitData data, StateIndex state,
                          const Levels& levels);

/// Adds up derivatives of levels and of the origin.
class Gradient {
  public:
    Gradient(std::span<const FitParameter> parameters, FitData data, const StateLevels& levels);

    /// Adds `factor` times those of a level, given by state and level index, to `row`, and their
    /// sizes to `size`: what is left of a column of sums by cancellation alone is rounding.
    void AddLevel(int state, std::size_t level, double factor, double* row, double* size) const;
    void AddOrigin(double factor, double* row, double* size) const;

  private:
    const StateLevels& levels_;
    std::array<std::vector<int>, kNumStates> place_;
    int origin_ = -1;  // its parameter; -1: not varied
};

}  // namespace kiv
