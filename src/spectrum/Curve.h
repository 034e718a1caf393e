// A calculated spectrum that can be evaluated at any frequency of a range.
#pragma once

#include <optional>
#include <span>

#include "kiv/spectrum.h"
#include "spectrum/GridSum.h"
#include "spectrum/Profile.h"

namespace kiv {

class Curve {
  public:
    struct Range {
        double from = 0.0, to = 0.0;
        double points = 0.0;  // that are evaluated at a time
        double times = 1.0;   // how often
    };

    /// Errors are those of Convolve. The sticks must outlive the curve.
    static Result<Curve> Of(const Sticks& sticks, const LineProfile& profile, const Range& range,
                            const Memory& memory);

    /// Values at ascending frequencies of the range, each less `shift`.
    void At(std::span<const double> frequencies, double shift, std::span<double> values) const;

  private:
    Curve(const Sticks& sticks, const Profile& profile) : sticks_(sticks), profile_(profile) {}

    Status MakeGrid(const Range& range, const Memory& memory);
    void AddNear(std::span<const double> frequencies, double shift, std::span<double> values) const;

    Sticks sticks_;
    Profile profile_;
    std::optional<GridSum> grid_;
    bool has_near_ = true;  // profiles are added one by one
    double radius_ = 0.0;   // of the wings that the grid has beside them; 0 without a grid
};

/// OutOfRange when frequencies do not ascend or cannot be calculated with.
Status CheckFrequencies(std::span<const double> frequencies);

}  // namespace kiv
