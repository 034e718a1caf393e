// Least-squares fits to measured features, with everything by which a fit is judged.
//
// Equation: measured frequency minus the weighted mean of the calculated positions of a feature's
// transitions. The equations of fits to combination differences are differences of two features
// that share a level. All numbers are in the unit of the model.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kiv/error.h"
#include "kiv/features.h"
#include "kiv/fit.h"
#include "kiv/levels.h"
#include "kiv/model.h"
#include "kiv/report.h"
#include "kiv/settings.h"
#include "kiv/workspace.h"

namespace kiv {

struct FeatureFitOptions {
    /// What each line is, its levels say: OneState and TwoStates are the same here.
    FitData data = FitData::TwoStates;
    /// A feature without an uncertainty has no weight beside those that have one (its uncertainty
    /// counts as 1e20); when none has, all weights are 1.
    FitWeights weights = FitWeights::Uncertainties;
    int max_cycles = 20;
    double converged_change = 1e-4;      // of each standard error
    std::optional<double> reject;        // |o - c| above so many uncertainties, or times the rms
    std::optional<double> reject_above;  // |o - c| of this limit or more
    /// False: the model has no transition moment, so the transitions of a blend that has no weights
    /// count equally instead of by their calculated intensities.
    bool has_moment = true;
};

/// What became of a feature. One of combination differences is used when one of its differences
/// is.
enum class FeatureFate : std::uint8_t { Used, Rejected, Unmatched };

/// A transition of a blend in the calculation.
struct BlendPart {
    double position = 0.0;
    double weight = 0.0;  // those of a blend add up to 1
};

struct FeatureResidual {
    FeatureFate fate = FeatureFate::Used;
    std::string reason;                // of a feature that was not used, without a full stop
    std::optional<double> calculated;  // weighted mean of the positions; none: unmatched
    double observed = 0.0;
    double uncertainty = 0.0;   // as it was given
    double leverage = 0.0;      // diagonal of the hat matrix; 0 when not used; the two lines of a
                                //   difference share that of the difference
    double predicted_sd = 0.0;  // sqrt(d C d) of the calculated value, see FeatureFit::predictions
    std::vector<BlendPart> parts;  // of a blend with calculated lines, one for each transition
};

struct FeatureParameter {
    FitParameter parameter;  // with sd of the covariance for the given uncertainties
    double sd_scaled = 0.0;  // sd times FeatureFit::scale
    bool relative = false;   // sd is that of the difference to the lower constant
    bool determined = true;  // by the data; else it was held: sd and covariances are 0
    /// Of one that was held: the constants of which the data determine only a combination with it.
    std::vector<std::string> tied_to;
};

struct FeatureFit {
    Model model;  // with the fitted constants and their sd, the scaled one with uniform weights
    FitData data = FitData::TwoStates;
    bool uniform = false;  // all weights were 1
    bool converged = false;
    int cycles = 0;  // steps that were made
    std::vector<FeatureParameter> parameters;
    std::vector<double> covariance;             // C, row by row, one row for each parameter
    std::vector<double> root;                   // F with C = F F^T, in the same way
    std::vector<FeatureResidual> residuals;     // one for each feature
    int used = 0, rejected = 0, unmatched = 0;  // features
    int equations = 0;                          // n, those used; differences count here
    int varied = 0;                             // p, constants that were determined
    double rms = 0.0;                           // sqrt(sum r^2 / n)
    double wrms = 0.0;                          // sqrt(chi^2 / n)
    double reduced_chi_squared = 0.0;           // chi^2 / (n - p); 0 when n = p
    double scale = 1.0;                         // root of the reduced chi-square; 1 when n = p
    double predictions = 1.0;  // by which predicted deviations are scaled: `scale` with uniform
                               //   weights that are scaled, else 1
    double condition = 1.0;    // of the design matrix with columns of unit length

    double Covariance(std::size_t i, std::size_t k) const {
        return covariance[i * parameters.size() + k];
    }
    /// C_ik / (sd_i sd_k); 0 for a constant that was held, 1 on the diagonal.
    double Correlation(std::size_t i, std::size_t k) const;
};

/// Varies the constants of `model` that are marked and on until they converge.
///
/// A feature is unmatched when one of its transitions has no calculated line: a level above
/// max_J, a change of Ka beyond delta_K, the parity rule, within a state a line that goes down in
/// energy; forbidden ones of zero strength have a line. Combination differences are those of all
/// pairs of lines between the states that share the upper level (LowerDifferences) or the lower one
/// (UpperDifferences), each with the uncertainty of its first line; blends, repeats of one
/// transition and lines within a state make none.
///
/// Each cycle solves the levels exactly and makes one step of the linear problem, by singular
/// values of the weighted design matrix with columns of unit length. A step that raises chi-square
/// or makes A, B or C negative is shortened along the path of Levenberg and Marquardt. Constants of
/// which the data determine nothing, or only combinations with others, are held. Lines are rejected
/// anew in each cycle, and those that come and go stay out in the end. When most lines are far from
/// the calculation at first, nothing is rejected until the constants have settled, and levels are
/// found by symmetry, which is smooth where their order changes.
/// Source: J. J. More, in Numerical Analysis, Lecture Notes in Mathematics 630 (Springer, 1978).
///
/// Not having converged is no error. TooFewLines, NoDifferences, NegativeConstant, NotConverged
/// (derivatives that are not finite), OutOfRange, NoMemory, Cancelled.
Result<FeatureFit> FitFeatures(const Model& model, const Settings& settings,
                               std::span<const LineFeature> features,
                               const FeatureFitOptions& options, Workspace& work, Report& report);

/// The same figures for the constants as they are: nothing is varied, and fewer features than
/// constants leave some of these undetermined instead of being an error.
Result<FeatureFit> JudgeFeatures(const Model& model, const Settings& settings,
                                 std::span<const LineFeature> features,
                                 const FeatureFitOptions& options, Workspace& work, Report& report);

/// Standard deviations of calculated positions by the covariance of a fit.
class Predictor {
  public:
    /// `lower` and `upper` are the levels of fit.model, the same object twice for one state; all
    /// three must outlive it.
    Predictor(const FeatureFit& fit, const Levels& lower, const Levels& upper);

    /// sqrt(d C d) of a position, d its derivatives, times FeatureFit::predictions. The levels must
    /// exist in those given.
    double Sd(const LineLevel& upper, const LineLevel& lower) const;

  private:
    const FeatureFit& fit_;
    const Levels* levels_[kNumStates];
    std::vector<int> place_[kNumStates];  // among a level's derivatives, -1: none; by parameter
};

}  // namespace kiv
