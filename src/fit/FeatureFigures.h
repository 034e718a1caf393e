// The figures by which a fit to features is judged.
#pragma once

#include <span>

#include "fit/FeatureProblem.h"
#include "fit/LinearProblem.h"
#include "fit/Rejection.h"
#include "kiv/feature_fit.h"

namespace kiv {

/// A fit that has ended: the linear problem is that of the last constants.
struct EndedFit {
    const FeatureProblem& features;
    const LinearProblem& problem;
    const Rejection& rejection;
    const FeatureFitOptions& options;
    std::span<const FitParameter> parameters;
    std::span<const FeatureFate> fate;  // of the equations
};

/// Sets statistics, parameters and residuals of `fit`, whose model and data are set, and the
/// deviations in the model.
void SetFigures(const EndedFit& ended, FeatureFit& fit);

}  // namespace kiv
