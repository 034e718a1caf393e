// Least-squares fits of the constants of a model to measured lines.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kiv/array.h"
#include "kiv/assignments.h"
#include "kiv/error.h"
#include "kiv/lines.h"
#include "kiv/model.h"
#include "kiv/report.h"
#include "kiv/settings.h"
#include "kiv/workspace.h"

namespace kiv {

/// A constant that was varied.
struct FitParameter {
    StateIndex state = kLower;
    std::optional<Constant> constant;    // none: the origin
    Reduction reduction = Reduction::A;  // of the state, which names the constant
    double start = 0.0;
    double value = 0.0;
    double sd = 0.0;  // root of its variance in FitResult::covariance

    /// "lower.A", "upper.d1", "upper.origin".
    std::string Name() const;
};

/// A measured line after the fit.
struct FitResidual {
    std::int32_t assignment = 0;  // index in Assignments
    double observed = 0.0;
    double calculated = 0.0;          // with the fitted constants
    bool rejected = false;            // |observed - calculated| reaches reject_above
    std::vector<double> derivatives;  // of the position with respect to the parameters
};

struct FitResult {
    Model model;  // with the fitted constants and their deviations
    std::vector<FitParameter> parameters;

    /// Covariance of parameters i and k, counted from 0, in the units of the constants.
    double Covariance(std::size_t i, std::size_t k) const { return covariance(i + 1, k + 1); }

    double rms = 0.0;       // root of the mean squared obs - calc of the lines used
    std::int32_t used = 0;  // lines, or differences, of the last cycle
    std::int32_t rejected = 0;
    std::vector<FitResidual> residuals;  // of the assignments with a line: the first set in the
                                         //   order of lines.match_line, then the second
    LineList lines;                      // of the last pass

    // How the solver keeps it: row and column 0 are not used; constants marked for the fit but not
    // present have rows of 0 at the end
    Table<double> covariance;
    int marked = 0;
    double scale = 1.0;  // of the standard deviations, see FitWeights
};

/// Runs `settings.fit.cycles` cycles, each with exact energies and derivatives and one linear fit,
/// and computes the lines of the fitted model, all or the assigned ones.
///
/// A position is a sum of constant times derivative, so a cycle solves for the constants
/// themselves. TooFewLines, NoLines, NoDifferences, NegativeConstant, NotConverged, BadChoice,
/// NoMemory, Cancelled.
Result<FitResult> RunFit(const Model& model, const Settings& settings,
                         const Assignments& assignments, LineChoice last, Workspace& work,
                         Report& report);
Result<FitResult> RunFit(const Model& model, const Settings& settings,
                         const Assignments& assignments, Workspace& work);

}  // namespace kiv
