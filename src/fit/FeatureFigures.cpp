#include "fit/FeatureFigures.h"

#include <cmath>

#include "fit/FitList.h"
#include "fit/Gradient.h"

namespace kiv {
namespace {

Term& TermOf(const FitParameter& parameter, Model& model) {
    return parameter.constant ? model.states[parameter.state].terms[*parameter.constant]
                              : model.origin;
}

// sqrt(d C d) from the root F of C, which loses no digits to the correlations.
template <class Derivative>
double Deviation(std::size_t num, std::span<const double> root, const Derivative& derivative) {
    double sum = 0.0;
    for (std::size_t j = 0; j < num; ++j) {
        double product = 0.0;
        for (std::size_t m = 0; m < num; ++m) product += derivative(m) * root[m * num + j];
        sum += product * product;
    }
    return std::sqrt(sum);
}

void SetStatistics(const EndedFit& ended, FeatureFit& fit) {
    double sum = 0.0;
    for (std::size_t e = 0; e < ended.fate.size(); ++e) {
        if (ended.fate[e] != FeatureFate::Used) continue;
        sum += ended.features.misfit()[e] * ended.features.misfit()[e];
        ++fit.equations;
    }
    fit.uniform = ended.features.uniform();
    fit.varied = static_cast<int>(ended.problem.rank());
    fit.condition = ended.problem.condition();
    if (fit.equations == 0) return;
    const double chi_squared = ended.features.ChiSquared(ended.fate);
    fit.rms = std::sqrt(sum / fit.equations);
    fit.wrms = std::sqrt(chi_squared / fit.equations);
    if (fit.equations > fit.varied) {
        fit.reduced_chi_squared = chi_squared / (fit.equations - fit.varied);
        fit.scale = std::sqrt(fit.reduced_chi_squared);
    }
    const bool is_scaled = fit.uniform && ended.options.weights != FitWeights::Unscaled;
    fit.predictions = is_scaled ? fit.scale : 1.0;
}

void SetCovariance(const EndedFit& ended, FeatureFit& fit) {
    const std::size_t p = ended.parameters.size();
    fit.root.assign(p * p, 0.0);
    fit.covariance.assign(p * p, 0.0);
    for (std::size_t m = 0; m < p; ++m) {
        for (std::size_t j = 0; j < p; ++j) fit.root[m * p + j] = ended.problem.Root(m, j);
    }
    for (std::size_t m = 0; m < p; ++m) {
        for (std::size_t k = 0; k <= m; ++k) {
            double sum = 0.0;
            for (std::size_t j = 0; j < p; ++j) sum += fit.root[m * p + j] * fit.root[k * p + j];
            fit.covariance[m * p + k] = fit.covariance[k * p + m] = sum;
        }
    }
}

void SetParameters(const EndedFit& ended, FeatureFit& fit) {
    for (std::size_t m = 0; m < ended.parameters.size(); ++m) {
        FeatureParameter result;
        result.parameter = ended.parameters[m];
        Term& term = TermOf(result.parameter, fit.model);
        result.parameter.value = term.value;
        result.parameter.sd = std::sqrt(fit.covariance[m * ended.parameters.size() + m]);
        result.sd_scaled = result.parameter.sd * fit.scale;
        result.relative = fit.data == FitData::UpperAsDifference && result.parameter.constant &&
                          result.parameter.state == kUpper;
        term.sd = result.parameter.sd * fit.predictions;
        fit.parameters.push_back(std::move(result));
    }
    for (const LinearProblem::Held& held : ended.problem.held()) {
        FeatureParameter& result = fit.parameters[held.parameter];
        result.determined = false;
        for (const std::size_t m : held.tied_to) {
            result.tied_to.push_back(ended.parameters[m].Name());
        }
    }
}

void SetFates(const EndedFit& ended, FeatureFit& fit) {
    std::size_t row = 0;
    const std::vector<double> leverages = ended.problem.Leverages();
    std::vector<FeatureFate> fate(fit.residuals.size(), FeatureFate::Unmatched);
    for (std::size_t e = 0; e < ended.fate.size(); ++e) {
        const Equation& equation = ended.features.equation(e);
        const bool is_used = ended.fate[e] == FeatureFate::Used;
        const bool is_difference = equation.minus != Equation::kNone;
        const double leverage = is_used ? leverages[row++] : 0.0;
        for (const std::size_t i : {equation.plus, equation.minus}) {
            if (i == Equation::kNone) continue;
            fate[i] = std::min(fate[i], ended.fate[e]);
            fit.residuals[i].leverage += is_difference ? 0.5 * leverage : leverage;
        }
    }
    for (std::size_t i = 0; i < fate.size(); ++i) {
        FeatureResidual& residual = fit.residuals[i];
        residual.fate = fate[i];
        fit.used += fate[i] == FeatureFate::Used ? 1 : 0;
        fit.rejected += fate[i] == FeatureFate::Rejected ? 1 : 0;
        fit.unmatched += fate[i] == FeatureFate::Unmatched ? 1 : 0;
        if (fate[i] == FeatureFate::Rejected) residual.reason = ended.rejection.Reason();
        if (fate[i] != FeatureFate::Unmatched) continue;
        residual.reason = ended.features.Fault(i);
        if (residual.reason.empty()) residual.reason = "the lines that share its level have none";
    }
}

void SetResiduals(const EndedFit& ended, FeatureFit& fit) {
    const FeatureSet& features = ended.features.features();
    fit.residuals.resize(features.size());
    SetFates(ended, fit);
    const std::size_t p = ended.parameters.size();
    for (std::size_t i = 0; i < features.size(); ++i) {
        FeatureResidual& residual = fit.residuals[i];
        residual.observed = features.feature(i).frequency;
        residual.uncertainty = features.feature(i).uncertainty;
        if (residual.fate == FeatureFate::Unmatched) continue;
        residual.calculated = ended.features.calculated(i);
        if (features.Components(i).size() > 1) {
            residual.parts = ended.features.Parts(i, fit.model.origin.value);
        }
        const double* const derivatives = ended.features.Derivatives(i);
        residual.predicted_sd =
            fit.predictions * Deviation(p, fit.root, [&](std::size_t m) { return derivatives[m]; });
    }
}

const double* RecordOf(const Levels& levels, const LineLevel& level) {
    const std::size_t index = Levels::Index(level.J, level.J + level.Ka - level.Kc);
    return levels.derivative.data() + index * static_cast<std::size_t>(levels.num_derivatives);
}

}  // namespace

void SetFigures(const EndedFit& ended, FeatureFit& fit) {
    SetStatistics(ended, fit);
    SetCovariance(ended, fit);
    SetParameters(ended, fit);
    SetResiduals(ended, fit);
}

double FeatureFit::Correlation(std::size_t i, std::size_t k) const {
    if (i == k) return 1.0;
    const double sd = parameters[i].parameter.sd * parameters[k].parameter.sd;
    return sd > 0.0 ? Covariance(i, k) / sd : 0.0;
}

Predictor::Predictor(const FeatureFit& fit, const Levels& lower, const Levels& upper)
    : fit_(fit), levels_{&lower, &upper} {
    std::vector<FitParameter> parameters;
    for (const FeatureParameter& p : fit.parameters) parameters.push_back(p.parameter);
    for (const StateIndex state : {kLower, kUpper}) {
        place_[state] = PlacesOf(parameters, fit.data, state, *levels_[state]);
    }
}

double Predictor::Sd(const LineLevel& upper, const LineLevel& lower) const {
    const double* const of_upper = RecordOf(*levels_[upper.v], upper);
    const double* const of_lower = RecordOf(*levels_[lower.v], lower);
    const auto derivative = [&](std::size_t m) {
        if (!fit_.parameters[m].parameter.constant) return double(upper.v - lower.v);
        const int u = place_[upper.v][m], l = place_[lower.v][m];
        return (u < 0 ? 0.0 : of_upper[u]) - (l < 0 ? 0.0 : of_lower[l]);
    };
    return fit_.predictions * Deviation(fit_.parameters.size(), fit_.root, derivative);
}

}  // namespace kiv
