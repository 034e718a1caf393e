#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <numeric>
#include <tuple>

#include "base/Failure.h"
#include "fit/FeatureFigures.h"
#include "fit/FeatureProblem.h"
#include "fit/FitList.h"
#include "fit/LinearProblem.h"
#include "fit/Rejection.h"
#include "kiv/feature_fit.h"
#include "levels/Solution.h"

namespace kiv {
namespace {

constexpr int kTrials = 16;        // steps that are tried in a cycle
constexpr double kShorter = 0.25;  // of a step that fails, the next one
constexpr double kSettled = 0.1;   // share of chi-square by which a settled fit still falls

Status CheckModel(const Model& model) {
    KIV_TRY(CheckFinite(model.lower()));
    if (!model.one_state) KIV_TRY(CheckFinite(model.upper()));
    if (std::isfinite(model.origin.value)) return {};
    return Error{ErrorCode::OutOfRange, "the origin is not a finite number", "origin"};
}

Model WithRotationalConstants(Model model) {
    for (State& state : model.states) {
        for (const Constant c : {Constant::A, Constant::B, Constant::C}) state.terms[c].on = true;
    }
    return model;
}

std::vector<FitParameter> ParametersOf(const FitList& list, const Model& model) {
    std::vector<FitParameter> parameters;
    for (int m = 1; m <= list.num_varied; ++m) {
        const int slot = list.order[m], c = list.constant[slot];
        FitParameter parameter;
        parameter.state = list.state[slot];
        if (c != kOrigin) parameter.constant = static_cast<Constant>(c);
        parameter.reduction = model.states[parameter.state].reduction;
        parameter.start = parameter.value = TermOf(model, list.state[slot], c).value;
        parameters.push_back(parameter);
    }
    return parameters;
}

// Which of constants that cannot be told apart are held: the higher ones first, then those of the
// lower state, which other measurements mostly know better.
std::vector<std::size_t> OrderOfHolding(const std::vector<FitParameter>& parameters) {
    std::vector<std::size_t> order(parameters.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    const auto key = [&](std::size_t m) {
        const FitParameter& p = parameters[m];
        return std::tuple(p.constant ? -static_cast<int>(*p.constant) : 1, p.state);
    };
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t i, std::size_t k) { return key(i) < key(k); });
    return order;
}

// One fit: a member function a step.
class FeatureFitter {
  public:
    FeatureFitter(const Model& model, const Settings& settings,
                  std::span<const LineFeature> features, const FeatureFitOptions& options,
                  Workspace& work, Report& report)
        : options_(options),
          work_(work),
          report_(report),
          model_(WithRotationalConstants(model)),
          features_(model_, settings, features, options),
          list_(MakeFitList(model_, options.data)),
          parameters_(ParametersOf(list_, model_)),
          to_hold_(OrderOfHolding(parameters_)) {}

    Status Begin();
    Status Fit();
    Status Judge();
    FeatureFit Ended() const;

  private:
    Status Linearise();
    Status CheckEnough() const;
    double Scale() const;
    bool IsSmall(const LinearProblem::Step& step) const;
    bool HasConverged() const;
    int Moved(const LinearProblem::Step& step, Model& model) const;
    Result<bool> Try(const LinearProblem::Step& step, bool is_small);
    Status MakeStep();
    Error Blocked() const;

    const FeatureFitOptions& options_;
    Workspace& work_;
    Report& report_;
    Model model_;
    FeatureProblem features_;
    FitList list_;
    std::vector<FitParameter> parameters_;
    std::vector<std::size_t> to_hold_;
    std::optional<Rejection> rejection_;
    std::vector<FeatureFate> fate_, last_fate_;  // of the equations
    LinearProblem problem_;
    double chi_squared_ = 0.0;
    int blocked_slot_ = 0;      // of A, B or C that a step of the last cycle made negative
    bool was_small_ = false;    // the last step
    bool has_settled_ = false;  // chi-square hardly fell
    bool is_stuck_ = false;     // no step lowers chi-square
    double last_chi_ = 0.0;     // root of chi-square
    bool converged_ = false;
    int cycles_ = 0;
};

Status FeatureFitter::Begin() {
    KIV_TRY(CheckModel(model_));
    KIV_TRY(features_.Begin(model_, parameters_, work_.memory()));
    rejection_.emplace(options_, features_.uniform());
    return features_.Solve(model_, work_, report_);
}

// The linear problem of the constants as they are, with the features that they do not reject.
Status FeatureFitter::Linearise() {
    if (has_settled_) rejection_->Advance();
    KIV_TRY(features_.FollowSymmetry(rejection_->phase() != FitPhase::Exact, work_));
    KIV_TRY(features_.Linearise(model_, work_));
    last_fate_ = std::move(fate_);
    fate_ = features_.open();
    rejection_->Select(features_.misfit(), features_.uncertainty(), fate_);
    chi_squared_ = features_.ChiSquared(fate_);
    const Result<bool> is_new = features_.Fill(fate_, work_.memory(), problem_);
    if (!is_new) return is_new.error();
    if (is_new.value()) return problem_.Decompose(to_hold_, work_.memory());
    problem_.Project();
    return {};
}

Status FeatureFitter::CheckEnough() const {
    const auto count = [&](FeatureFate fate) {
        return static_cast<std::size_t>(std::count(fate_.begin(), fate_.end(), fate));
    };
    const std::size_t used = count(FeatureFate::Used), rejected = count(FeatureFate::Rejected);
    if (used >= parameters_.size()) return {};
    std::string text = std::to_string(used) + " of " + std::to_string(features_.features().size()) +
                       " measured lines can be used for " + std::to_string(parameters_.size()) +
                       " constants to fit";
    if (rejected > 0) text += ", " + std::to_string(rejected) + " were rejected";
    return Error{ErrorCode::TooFewLines, text, ""};
}

// What the deviations of the constants are multiplied by in a judgement of their changes.
double FeatureFitter::Scale() const {
    const auto used = std::count(fate_.begin(), fate_.end(), FeatureFate::Used);
    const double free = static_cast<double>(used) - static_cast<double>(problem_.rank());
    if (!features_.uniform()) return 1.0;
    return free > 0.0 ? std::sqrt(chi_squared_ / free) : 0.0;
}

// True when every change is below a fraction of its standard error, or all of them together move
// the lines by less than rounding does.
bool FeatureFitter::IsSmall(const LinearProblem::Step& step) const {
    if (step.effect <= features_.Noise(fate_)) return true;
    const double most = options_.converged_change * Scale();
    for (std::size_t m = 0; m < parameters_.size(); ++m) {
        double variance = 0.0;
        for (std::size_t j = 0; j < problem_.rank(); ++j) {
            variance += problem_.Root(m, j) * problem_.Root(m, j);
        }
        if (std::fabs(step.change[m]) > most * std::sqrt(variance)) return false;
    }
    return true;
}

bool FeatureFitter::HasConverged() const {
    if (rejection_->phase() != FitPhase::Exact || fate_ != last_fate_ || !was_small_) return false;
    const double chi = std::sqrt(chi_squared_);
    return std::fabs(chi - last_chi_) <= options_.converged_change * chi + features_.Noise(fate_);
}

// The model after a step; the slot of A, B or C when that is not positive, else 0.
int FeatureFitter::Moved(const LinearProblem::Step& step, Model& model) const {
    double values[kMaxFitConstants + 1];
    GetFitValues(list_, model_, options_.data, values);
    for (int m = 1; m <= list_.num_varied; ++m) {
        values[list_.order[m]] += step.change[static_cast<std::size_t>(m - 1)];
    }
    model = model_;
    if (const int slot = SetFitValues(list_, values, options_.data, model)) return slot;
    for (int slot = 1; slot <= list_.num; ++slot) {
        const int c = list_.constant[slot];
        const double value = TermOf(model, list_.state[slot], c).value;
        const bool has_moved = value != TermOf(model_, list_.state[slot], c).value;
        if (c <= static_cast<int>(Constant::C) && has_moved && !(value > 0.0)) return slot;
    }
    return 0;
}

// Takes the step when it is small or lowers chi-square; false when it is too long.
Result<bool> FeatureFitter::Try(const LinearProblem::Step& step, bool is_small) {
    Model moved;
    if (const int slot = Moved(step, moved)) {
        blocked_slot_ = slot;
        return false;
    }
    if (!CheckModel(moved)) return false;
    KIV_TRY(features_.Solve(moved, work_, report_));
    const double chi_squared = features_.ChiSquared(fate_);
    const double most = std::sqrt(chi_squared_) + features_.Noise(fate_);
    if (!is_small && !(std::sqrt(chi_squared) <= most)) return false;
    has_settled_ = step.is_whole && chi_squared_ - chi_squared <= kSettled * chi_squared_;
    model_ = moved;
    return true;
}

// One step, shortened until it does what it should.
Status FeatureFitter::MakeStep() {
    blocked_slot_ = 0;
    has_settled_ = false;
    last_chi_ = std::sqrt(chi_squared_);
    double radius = std::numeric_limits<double>::infinity();
    for (int trial = 0; trial < kTrials; ++trial) {
        const LinearProblem::Step step = problem_.Solve(radius);
        was_small_ = step.is_whole && IsSmall(step);
        const Result<bool> taken = Try(step, was_small_);
        if (!taken) return taken.error();
        if (taken.value()) return {};
        radius = kShorter * step.length;
    }
    has_settled_ = rejection_->phase() != FitPhase::Exact;
    is_stuck_ = !has_settled_;
    return features_.Solve(model_, work_, report_);
}

Error FeatureFitter::Blocked() const {
    const auto constant = static_cast<Constant>(list_.constant[blocked_slot_]);
    const StateIndex state = list_.state[blocked_slot_];
    return {ErrorCode::NegativeConstant,
            std::string("the fit makes ") + NameOf(constant) + " of the " +
                (state == kLower ? "lower" : "upper") + " state negative",
            NameOf(constant)};
}

Status FeatureFitter::Fit() {
    KIV_TRY(features_.Linearise(model_, work_));
    rejection_->Begin(features_.misfit(), features_.uncertainty(), features_.open());
    KIV_TRY(Linearise());
    while (!parameters_.empty()) {
        KIV_TRY(CheckEnough());
        if (is_stuck_ || cycles_ == options_.max_cycles) break;
        KIV_TRY(MakeStep());
        ++cycles_;
        KIV_TRY(Tell(report_, Stage::FitCycle, cycles_, options_.max_cycles));
        KIV_TRY(Linearise());
        converged_ = HasConverged();
        if (converged_) return CheckEnough();
    }
    converged_ = parameters_.empty();
    if (!converged_ && blocked_slot_ != 0) return Blocked();
    if (rejection_->phase() == FitPhase::Exact) return {};
    rejection_->GoToLast();
    KIV_TRY(Linearise());
    return CheckEnough();
}

Status FeatureFitter::Judge() {
    rejection_->GoToLast();
    KIV_TRY(Linearise());
    converged_ = true;
    return {};
}

FeatureFit FeatureFitter::Ended() const {
    FeatureFit fit;
    fit.model = model_;
    fit.data = options_.data;
    fit.converged = converged_;
    fit.cycles = cycles_;
    SetFigures({features_, problem_, *rejection_, options_, parameters_, fate_}, fit);
    return fit;
}

}  // namespace

Result<FeatureFit> FitFeatures(const Model& model, const Settings& settings,
                               std::span<const LineFeature> features,
                               const FeatureFitOptions& options, Workspace& work,
                               Report& report) try {
    FeatureFitter fitter(model, settings, features, options, work, report);
    KIV_TRY(fitter.Begin());
    KIV_TRY(fitter.Fit());
    return fitter.Ended();
} catch (const std::bad_alloc&) {
    return NoMemory("");
}

Result<FeatureFit> JudgeFeatures(const Model& model, const Settings& settings,
                                 std::span<const LineFeature> features,
                                 const FeatureFitOptions& options, Workspace& work,
                                 Report& report) try {
    FeatureFitter fitter(model, settings, features, options, work, report);
    KIV_TRY(fitter.Begin());
    KIV_TRY(fitter.Judge());
    return fitter.Ended();
} catch (const std::bad_alloc&) {
    return NoMemory("");
}

}  // namespace kiv
