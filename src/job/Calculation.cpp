#include "job/Calculation.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <new>
#include <utility>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "base/Trace.h"
#include "console/Quirks.h"
#include "fit/FitList.h"
#include "fit/LeastSquares.h"
#include "io/AssignmentFile.h"
#include "io/TextLines.h"
#include "job/ObservedLines.h"
#include "job/OldForm.h"
#include "named/NamedInput.h"

namespace kiv {
namespace {

// Hears whether the last cycle of an old fit still changed its constants.
class LastChange final : public Report, private Trace {
  public:
    explicit LastChange(Report& outer) : outer_(outer) {}

    void Progress(Stage stage, int done, int all) override { outer_.Progress(stage, done, all); }
    bool Cancelled() override { return outer_.Cancelled(); }
    Trace* trace() override { return this; }

    bool settled() const { return settled_; }

  private:
    void CycleSolved(const FitCycleView& cycle, const FitStatistics& statistics) override {
        settled_ = true;
        for (int m = 1; m <= cycle.list->num_varied; ++m) {
            const int slot = cycle.list->order[m];
            const double change = cycle.new_values[slot] - cycle.old_values[slot];
            const double sd = cycle.deviations[slot] * statistics.scale;
            if (!(std::fabs(change) <= kConvergedChange * sd)) settled_ = false;
        }
    }

    Report& outer_;
    bool settled_ = true;
};

// A state that was turned by right angles keeps its constants exchanged: they are then those of the
// axes of the basis.
Model InOwnAxes(Model model, const PassRoom& room) {
    for (const StateIndex index : {kLower, kUpper}) {
        const TurnedState& turned = room.turned[index];
        const bool has_cross_term =
            std::any_of(turned.from_turn.values.begin(), turned.from_turn.values.end(),
                        [](bool from_turn) { return from_turn; });
        if (turned.is_turned && !has_cross_term) model.states[index].tilt = {};
    }
    return model;
}

class JobRun {
  public:
    JobRun(const Job& job, LineChoice choice, const CalculationNeeds& needs, Workspace& work,
           Report& report, Calculation& result)
        : job_(job), choice_(choice), needs_(needs), work_(work), report_(report), to_(result) {}

    Status Named();
    Status Old();
    Status FitAlone();
    Status Judge();

  private:
    PassTask Task(bool is_complex, bool exchanges_axes) const {
        return {&to_.model,
                to_.settings.max_J,
                &to_.settings.lines,
                &to_.assignments,
                choice_,
                is_complex,
                false,
                exchanges_axes,
                needs_.derivatives || job_.is_fit(),
                needs_.amplitudes || job_.is_fit()};
    }
    void BeginNamed();
    Status BeginOld(InputFile& file);
    Status FitNamed();
    void MarkRejected();
    Status ReadOldLines(InputFile& file);
    Status FitOld(const PassTask& pass, FitResult& fit);
    void SetHeader(const InputFile& file);
    Status KeepCovariance();

    const Job& job_;
    const LineChoice choice_;
    const CalculationNeeds needs_;
    Workspace& work_;
    Report& report_;
    Calculation& to_;
};

void JobRun::BeginNamed() {
    to_.model = ModelOf(job_.input);
    to_.settings = SettingsOf(job_.input);
    if (job_.lines) to_.features = job_.lines->features;
}

Status JobRun::FitNamed() {
    Result<FeatureFit> fit = FitFeatures(to_.model, to_.settings, to_.features,
                                         FitOptionsOf(job_, to_.settings), work_, report_);
    if (!fit) return fit.error();
    to_.fit = std::move(fit).value();
    to_.model = to_.fit->model;
    to_.settled = to_.fit->converged;
    return {};
}

// Letter R for the lines of features that a fit rejected, unless another feature of theirs is used.
void JobRun::MarkRejected() {
    std::map<std::pair<LineLevel, LineLevel>, bool> rejected;
    for (std::size_t i = 0; i < to_.features.size(); ++i) {
        const FeatureFate fate = to_.fit->residuals[i].fate;
        if (fate == FeatureFate::Unmatched) continue;
        for (const LineTransition& line : to_.features[i].transitions) {
            const auto [at, is_new] = rejected.try_emplace({line.upper, line.lower}, true);
            at->second = at->second && fate == FeatureFate::Rejected;
        }
    }
    LineList& lines = to_.room.lines;
    const int v_upper = to_.model.one_state ? 0 : 1;
    for (std::int32_t k = 0; k < lines.matched; ++k) {
        const std::int32_t n = lines.match_line[static_cast<std::size_t>(k)];
        const LineView view = lines.Line(n);
        const LineLevel upper{v_upper, view.upper.J, view.upper.Ka, view.upper.Kc};
        const LineLevel lower{0, view.lower.J, view.lower.Ka, view.lower.Kc};
        const auto found = rejected.find({upper, lower});
        if (found != rejected.end() && found->second) {
            lines.band[static_cast<std::size_t>(n)] = 'R';
        }
    }
}

void JobRun::SetHeader(const InputFile& file) {
    to_.header = HeaderOf(file, to_.model, to_.room.lines, &to_.assignments);
    to_.header.energy_per_kelvin = to_.settings.lines.energy_per_kelvin;
    for (const StateIndex state : {kLower, kUpper}) {
        for (int c = kNumFileConstants; c < kNumConstants; ++c) {
            to_.header.states[state].status[c] = to_.model.states[state].terms[c].on ? 1 : 0;
        }
    }
}

// In the form of the line set, which counts from 1.
Status JobRun::KeepCovariance() {
    const std::size_t P = to_.fit->parameters.size();
    const auto rows = static_cast<std::int64_t>(P) + 1;
    if (!to_.covariance.Take(work_.memory(), rows, rows)) return NoMemory(array_name::kCovariance);
    for (std::size_t i = 0; i < P; ++i) {
        for (std::size_t k = 0; k < P; ++k) {
            to_.covariance(i + 1, k + 1) = to_.fit->covariance[i * P + k];
        }
    }
    to_.header.num_fitted = static_cast<int>(P);
    to_.header.covariance = &to_.covariance;
    return {};
}

Status JobRun::Named() {
    BeginNamed();
    if (job_.is_fit()) {
        KIV_TRY(FitNamed());
        if (!to_.settled) return {};
    }
    Result<Assignments> assignments =
        ObservedLines(to_.features, to_.model.one_state, work_.memory());
    if (!assignments) return assignments.error();
    to_.assignments = std::move(assignments).value();
    const bool is_complex = NeedsComplex(to_.model.lower()) ||
                            (!to_.model.one_state && NeedsComplex(to_.model.upper()));
    const PassTask pass = Task(is_complex, false);
    KIV_TRY(to_.room.Reserve(pass, work_.memory()));
    to_.settings.lines.range = job_.input.spectrum.range;
    const Status found = RunPass(pass, work_, report_, to_.room);
    if (!found && found.error().code == ErrorCode::NoLines && to_.settings.lines.range) {
        return Error{ErrorCode::NoLines, "no line lies within the range of the input", ""};
    }
    KIV_TRY(found);
    if (to_.fit) MarkRejected();
    SetHeader(OldOf(job_.input));
    if (to_.fit) {
        to_.header.rms = to_.fit->rms;
        KIV_TRY(KeepCovariance());
    }
    return {};
}

// As `kiv FILE` reads them, which leaves out what is beyond the limits of the input.
Status JobRun::ReadOldLines(InputFile& file) {
    if (!job_.lines || !job_.lines->is_there) return {};
    const AssignmentLimits limits = LimitsOf(file);
    MemorySource source(job_.lines->text);
    TextLines lines(source);
    AssignmentListener silent;
    const double scale = file.old_format != 0 ? file.energy_scale : 1.0;
    Result<AssignmentReading> read =
        ReadAssignments(lines, {limits, scale, file.uniform}, work_.memory(), silent);
    if (!read) return read.error();
    to_.assignments = std::move(read.value().assignments);
    file.uniform = read.value().uniform;
    to_.settings.fit.weights = SettingsOf(file).fit.weights;
    const auto is_within = [&](const LineFeature& feature) {
        return std::all_of(feature.transitions.begin(), feature.transitions.end(),
                           [&](const LineTransition& line) {
                               return std::max(line.upper.J, line.lower.J) <= limits.J &&
                                      std::max(line.upper.Ka, line.lower.Ka) <= limits.Ka &&
                                      std::max(line.upper.Kc, line.lower.Kc) <= limits.Kc;
                           });
    };
    std::copy_if(job_.lines->features.begin(), job_.lines->features.end(),
                 std::back_inserter(to_.features), is_within);
    return {};
}

Status JobRun::FitOld(const PassTask& pass, FitResult& fit) {
    FitTask task{&to_.model, &to_.settings, &to_.assignments};
    task.is_complex = pass.is_complex;
    task.last = choice_;
    task.after_pass = LeaveTurned;
    task.exchanges_axes = true;
    LastChange listener(report_);
    const Model start = to_.model;
    KIV_TRY(RunFit(task, work_, listener, to_.room, fit));
    to_.settled = listener.settled();
    to_.model = fit.model;
    Result<FeatureFit> judged =
        JudgeFeatures(InOwnAxes(to_.model, to_.room), to_.settings, to_.features,
                      FitOptionsOf(job_, to_.settings), work_, report_);
    if (!judged) return judged.error();
    to_.fit = std::move(judged).value();
    to_.fit->converged = to_.settled;
    to_.fit->cycles = to_.settings.fit.cycles;
    for (FeatureParameter& varied : to_.fit->parameters) {
        FitParameter& parameter = varied.parameter;
        const int constant = parameter.constant ? static_cast<int>(*parameter.constant) : kOrigin;
        parameter.start = TermOf(start, parameter.state, constant).value;
    }
    return {};
}

Status JobRun::BeginOld(InputFile& file) {
    to_.model = ModelOf(file);
    to_.settings = SettingsOf(file);
    const Result<std::optional<ParityRule>> parity = ParityOf(file);
    if (!parity) return parity.error();
    to_.settings.lines.parity = parity.value();
    return ReadOldLines(file);
}

Status JobRun::Old() {
    InputFile file = *job_.old;
    KIV_TRY(BeginOld(file));
    const PassTask pass = Task(IsComplexRun(to_.model), true);
    for (const StateIndex index : {kLower, kUpper}) {
        EnterCrossTerms(to_.model.states[index], Turn(to_.model.states[index]));
    }
    KIV_TRY(to_.room.Reserve(pass, work_.memory()));
    FitResult fit;
    if (file.cycles > 0) {
        KIV_TRY(FitOld(pass, fit));
    } else {
        KIV_TRY(RunPass(pass, work_, report_, to_.room));
        LeaveTurned(to_.model, to_.room);
    }
    PutConstants(file, to_.model);
    SetHeader(file);
    to_.header.rms = fit.rms;
    to_.header.num_fitted = fit.marked;
    to_.covariance = std::move(fit.covariance);
    to_.header.covariance = &to_.covariance;
    to_.next_input = std::move(file);
    return {};
}

Status JobRun::FitAlone() {
    if (job_.form == InputForm::Old) return Old();
    BeginNamed();
    return FitNamed();
}

Status JobRun::Judge() {
    if (job_.form == InputForm::Named) {
        BeginNamed();
    } else {
        InputFile file = *job_.old;
        KIV_TRY(BeginOld(file));
    }
    to_.model.origin.fit = false;
    for (State& state : to_.model.states) {
        for (Term& term : state.terms.values) term.fit = false;
    }
    Result<FeatureFit> judged = JudgeFeatures(to_.model, to_.settings, to_.features,
                                              FitOptionsOf(job_, to_.settings), work_, report_);
    if (!judged) return judged.error();
    to_.fit = std::move(judged).value();
    return {};
}

// What is asked of a job, for all lines or for the measured ones alone.
Status Done(const Job& job, LineChoice choice, const CalculationNeeds& needs, Workspace& work,
            Report& report, Calculation& result, Status (JobRun::*what)()) try {
    JobRun run(job, choice, needs, work, report, result);
    return (run.*what)();
} catch (const std::bad_alloc&) {
    return NoMemory("");
}

}  // namespace

FeatureFitOptions FitOptionsOf(const Job& job, const Settings& settings) {
    FeatureFitOptions options;
    options.data = settings.fit.data;
    options.weights = settings.fit.weights;
    options.max_cycles = settings.fit.cycles;
    options.reject = job.input.fit.reject;
    options.reject_above = job.input.fit.reject_above;
    options.has_moment = job.input.moment.has_value();
    return options;
}

Status Calculate(const Job& job, Workspace& work, Report& report, Calculation& result,
                 const CalculationNeeds& needs) {
    const bool is_named = job.form == InputForm::Named;
    return Done(job, LineChoice::All, needs, work, report, result,
                is_named ? &JobRun::Named : &JobRun::Old);
}

Status FitAlone(const Job& job, Workspace& work, Report& report, Calculation& result) {
    return Done(job, LineChoice::Assigned, {}, work, report, result, &JobRun::FitAlone);
}

Status JudgeLines(const Job& job, Workspace& work, Report& report, Calculation& result) {
    return Done(job, LineChoice::Assigned, {}, work, report, result, &JobRun::Judge);
}

}  // namespace kiv
