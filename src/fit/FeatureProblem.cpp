#include "fit/FeatureProblem.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "fit/Gradient.h"

namespace kiv {
namespace {

// Rounding of an energy, as a fraction of the largest.
constexpr double kRounding = 16 * std::numeric_limits<double>::epsilon();

constexpr double kLeastUncertainty = 1e-140;  // whose inverse has a square

// Weights of a blend that can be normalised.
bool HasRightWeights(const LineFeature& feature) {
    double sum = 0.0;
    for (const LineTransition& transition : feature.transitions) {
        const double weight = transition.weight.value_or(0.0);
        if (!(weight >= 0.0)) return false;
        sum += weight;
    }
    return std::isfinite(sum);
}

}  // namespace

FeatureProblem::FeatureProblem(const Model& model, const Settings& settings,
                               std::span<const LineFeature> features,
                               const FeatureFitOptions& options)
    : rules_(settings.lines),
      options_(options),
      features_(model, settings, features, options.has_moment) {}

Status FeatureProblem::CheckFeatures() const {
    for (std::size_t i = 0; i < features_.size(); ++i) {
        const LineFeature& feature = features_.feature(i);
        const double u = feature.uncertainty;
        const bool is_right = std::isfinite(feature.frequency) && std::isfinite(u) &&
                              (u == 0.0 || u >= kLeastUncertainty);
        if (is_right && HasRightWeights(feature)) continue;
        return Error{ErrorCode::OutOfRange,
                     (is_right ? "a weight" : "frequency or uncertainty") +
                         std::string(" of measured line ") + std::to_string(i + 1) +
                         " is not a number that can be used",
                     "lines"};
    }
    return {};
}

Status FeatureProblem::MakeEquations() {
    equations_ = IsOfDifferences() ? EquationsOfDifferences(features_, options_.data)
                                   : EquationsOfFeatures(features_);
    if (IsOfDifferences() && equations_.list.empty()) {
        return Error{ErrorCode::NoDifferences, "no two measured lines share a level", ""};
    }
    for (const Equation& e : equations_.list) {
        double observed = features_.feature(e.plus).frequency;
        if (e.minus != Equation::kNone) observed -= features_.feature(e.minus).frequency;
        observed_.push_back(observed);
        const double given = features_.feature(e.source).uncertainty;
        uncertainty_.push_back(uniform_ ? 1.0 : given > 0.0 ? given : kNoUncertainty);
    }
    return {};
}

Status FeatureProblem::Begin(const Model& model, std::span<const FitParameter> parameters,
                             const Memory& memory) {
    KIV_TRY(CheckFeatures());
    parameters_.assign(parameters.begin(), parameters.end());
    uniform_ = true;
    for (std::size_t i = 0; i < features_.size(); ++i) {
        if (features_.feature(i).uncertainty > 0.0) uniform_ = false;
    }
    uniform_ = uniform_ || options_.weights != FitWeights::Uncertainties;
    KIV_TRY(MakeEquations());
    const auto n = static_cast<std::int64_t>(features_.size());
    const auto p = static_cast<std::int64_t>(parameters.size());
    if (!derivative_.Take(memory, n, p) || !term_size_.Take(memory, n, p)) {
        return NoMemory(array_name::kFitDerivatives);
    }
    if (features_.max_J() < 0) return {};
    return levels_.Reserve(model, features_.WantedLevels(), features_.max_J(), memory);
}

Status FeatureProblem::Solve(const Model& model, Workspace& work, Report& report) {
    const Result<bool> is_new = levels_.Solve(model, work, report);
    has_derivatives_ = has_derivatives_ && is_new && !is_new.value();
    if (!is_new) return is_new.error();
    SetMisfits(model.origin.value);
    has_misfits_ = true;
    return {};
}

Status FeatureProblem::FollowSymmetry(bool follow, Workspace& work) {
    const Result<bool> is_same = levels_.FollowSymmetry(follow, work);
    if (!is_same) return is_same.error();
    has_misfits_ = has_misfits_ && is_same.value();
    has_derivatives_ = has_derivatives_ && is_same.value();
    return {};
}

void FeatureProblem::SetMisfits(double origin) {
    calculated_.assign(features_.size(), 0.0);
    for (std::size_t i = 0; i < features_.size(); ++i) {
        if (!features_.Fault(i).empty()) continue;
        for (const Component& c : features_.Components(i)) {
            calculated_[i] += c.weight * c.Position(levels_, origin);
        }
    }
    misfit_.clear();
    for (std::size_t e = 0; e < size(); ++e) {
        double calculated = calculated_[equation(e).plus];
        if (equation(e).minus != Equation::kNone) calculated -= calculated_[equation(e).minus];
        misfit_.push_back(observed_[e] - calculated);
    }
}

Status FeatureProblem::Linearise(const Model& model, Workspace& work) {
    KIV_TRY(features_.WeighBlends(model, rules_, levels_, work));
    if (!has_misfits_ || features_.HasWeighedBlends()) SetMisfits(model.origin.value);
    has_misfits_ = true;
    has_line_.assign(features_.size(), false);
    for (std::size_t i = 0; i < features_.size(); ++i) {
        const auto components = features_.Components(i);
        has_line_[i] = features_.Fault(i).empty() &&
                       std::none_of(components.begin(), components.end(), [&](const Component& c) {
                           return !levels_.follows_symmetry() && c.within_state() &&
                                  c.Position(levels_, model.origin.value) < 0.0;
                       });
    }
    open_.clear();
    for (const Equation& e : equations_.list) {
        const bool has_lines =
            has_line_[e.plus] && (e.minus == Equation::kNone || has_line_[e.minus]);
        open_.push_back(has_lines ? FeatureFate::Used : FeatureFate::Unmatched);
    }
    if (!has_derivatives_) FillDerivatives();
    has_derivatives_ = true;
    return {};
}

void FeatureProblem::FillDerivatives() {
    filled_.reset();
    const Gradient gradient(parameters_, options_.data, levels_);
    const std::size_t p = parameters_.size();
    std::fill(derivative_.block().begin(), derivative_.block().end(), 0.0);
    std::fill(term_size_.block().begin(), term_size_.block().end(), 0.0);
    for (std::size_t i = 0; i < features_.size(); ++i) {
        if (!features_.Fault(i).empty()) continue;
        double* const row = derivative_.block().data() + i * p;
        double* const size = term_size_.block().data() + i * p;
        for (const Component& c : features_.Components(i)) {
            gradient.AddLevel(c.upper.state, c.upper.Index(levels_), c.weight, row, size);
            gradient.AddLevel(c.lower.state, c.lower.Index(levels_), -c.weight, row, size);
            gradient.AddOrigin(c.weight * c.origins(), row, size);
        }
    }
}

Result<bool> FeatureProblem::Fill(const std::vector<FeatureFate>& fate, const Memory& memory,
                                  LinearProblem& problem) {
    const bool has_rows = filled_ == fate;
    if (!has_rows) {
        filled_.reset();
        KIV_TRY(FillRows(fate, memory, problem));
        filled_ = fate;
    }
    std::size_t i = 0;
    for (std::size_t e = 0; e < size(); ++e) {
        if (fate[e] == FeatureFate::Used) problem.SetMisfit(i++, misfit_[e], uncertainty_[e]);
    }
    return !has_rows;
}

Status FeatureProblem::FillRows(const std::vector<FeatureFate>& fate, const Memory& memory,
                                LinearProblem& problem) const {
    const auto used = std::count(fate.begin(), fate.end(), FeatureFate::Used);
    const std::size_t p = parameters_.size();
    KIV_TRY(problem.Begin(memory, static_cast<std::size_t>(used), p));
    std::vector<double> row(p), term_size(p);
    std::size_t i = 0;
    for (std::size_t e = 0; e < size(); ++e) {
        if (fate[e] != FeatureFate::Used) continue;
        const Equation& of = equation(e);
        for (std::size_t m = 0; m < p; ++m) {
            row[m] = derivative_(of.plus, m);
            term_size[m] = term_size_(of.plus, m);
            if (of.minus == Equation::kNone) continue;
            row[m] -= derivative_(of.minus, m);
            term_size[m] += term_size_(of.minus, m);
        }
        problem.SetRow(i++, row.data(), term_size.data(), uncertainty_[e]);
    }
    return {};
}

double FeatureProblem::ChiSquared(std::span<const FeatureFate> fate) const {
    double sum = 0.0;
    for (std::size_t e = 0; e < size(); ++e) {
        const double r = misfit_[e] / uncertainty_[e];
        if (fate[e] == FeatureFate::Used) sum += r * r;
    }
    return sum;
}

double FeatureProblem::Noise(std::span<const FeatureFate> fate) const {
    const double rounding = kRounding * levels_.LargestEnergy();
    double sum = 0.0;
    for (std::size_t e = 0; e < size(); ++e) {
        const double r = rounding / uncertainty_[e];
        if (fate[e] == FeatureFate::Used) sum += r * r;
    }
    return std::sqrt(sum);
}

std::vector<BlendPart> FeatureProblem::Parts(std::size_t feature, double origin) const {
    std::vector<BlendPart> parts;
    for (const Component& c : features_.Components(feature)) {
        parts.push_back({c.Position(levels_, origin), c.weight});
    }
    return parts;
}

std::string FeatureProblem::Fault(std::size_t feature) const {
    if (!equations_.fault[feature].empty()) return equations_.fault[feature];
    return HasLine(feature) ? "" : "the calculated line goes down in energy";
}

}  // namespace kiv
