// Which measurements a fit leaves out because they are too far from the calculation.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "fit/FeatureProblem.h"

namespace kiv {

/// How a fit goes on from poor starting values. One whose weights differ begins with Exact when the
/// median misfit is near: that of a normal scatter of which the limit is four deviations, or 10
/// uncertainties without a limit; one of uniform weights when there is an absolute limit above it.
enum class FitPhase : std::uint8_t {
    Coarse,  // limits are at least 100 times the median misfit, and levels are followed by symmetry
    Wide,  // limits are at least four robust deviations, median |misfit| / uncertainty over 0.6745,
           // or half of the largest misfit of what is used, if that is less
    Exact
};

class Rejection {
  public:
    Rejection(const FeatureFitOptions& options, bool uniform)
        : options_(options), uniform_(uniform) {}

    /// Chooses the first phase by misfits obs - calc.
    void Begin(std::span<const double> misfit, std::span<const double> uncertainty,
               std::span<const FeatureFate> fate);

    FitPhase phase() const { return phase_; }

    /// The constants have settled: goes on to the next phase, once the wide limits have come down
    /// to the exact ones.
    void Advance();
    void GoToLast() { phase_ = FitPhase::Exact; }

    /// Sets the fates of the equations that are not unmatched by their misfits obs - calc.
    ///
    /// With uniform weights `reject` counts multiples of the rms of what is used in the end: the
    /// largest set of which no member is further off. A set that comes back after others makes all
    /// stay out that they left out, and from then on whatever is rejected: a fit cannot go round in
    /// circles.
    void Select(std::span<const double> misfit, std::span<const double> uncertainty,
                std::span<FeatureFate> fate);

    /// Why a measurement was rejected.
    std::string Reason() const;

  private:
    // How far off the measurements are.
    struct Sizes {
        double typical = 0.0;  // median of all
        double worst = 0.0;    // largest of what is used
    };

    void SetSizes(std::span<const double> misfit, std::span<const double> uncertainty,
                  std::span<const FeatureFate> fate);
    double LeastLimit(const Sizes& sizes) const;
    static double Wide(const Sizes& sizes);
    bool IsNear() const;
    double Limit(double uncertainty) const;
    void RejectByRms(std::span<const double> misfit, std::span<FeatureFate> fate) const;
    void KeepOut(std::span<FeatureFate> fate);

    const FeatureFitOptions& options_;
    bool uniform_;
    FitPhase phase_ = FitPhase::Coarse;
    Sizes misfits_, ratios_;                         // of |misfit|, of |misfit| / uncertainty
    bool is_wide_ = false;                           // the wide limit is above the exact one
    std::vector<FeatureFate> last_;                  // the last selection
    std::vector<std::vector<FeatureFate>> earlier_;  // sets of the last phase
    std::vector<bool> out_;                          // stay so; empty: none yet
};

}  // namespace kiv
