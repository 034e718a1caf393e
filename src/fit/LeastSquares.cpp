#include "fit/LeastSquares.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <string>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "base/Trace.h"
#include "fit/CombinationDifferences.h"
#include "fit/FitList.h"
#include "fit/FitRows.h"
#include "levels/Solution.h"
#include "linalg/Svd.h"

namespace kiv {
namespace {

// Exactly one rejection cycle is run in each least-squares cycle; the next one starts from all
// lines again, with exact energies.
constexpr int kRejectionCycles = 1;

SvdMat View(Table<double>& table) {
    return {table.block().data(), static_cast<std::ptrdiff_t>(table.cols())};
}

class Fit {
  public:
    Fit(const FitTask& task, Workspace& work, Report& report, PassRoom& room, FitResult& result)
        : task_(task),
          options_(task.settings->fit),
          work_(work),
          report_(report),
          trace_(report.trace()),
          room_(room),
          result_(result),
          model_(result.model) {}

    Status Run();

  private:
    bool IsOfDifferences() const {
        return options_.data == FitData::LowerDifferences ||
               options_.data == FitData::UpperDifferences;
    }
    bool IsOneState() const { return options_.data == FitData::OneState || model_.one_state; }
    RowSource Source() const { return {task_.assignments, &options_, &list_}; }
    FitStatistics Statistics() const {
        return {result_.rms, result_.scale, rows_.num, result_.rejected};
    }

    Status CheckEnoughLines();
    Status TakeSolver();
    Status RunPassOf(LineChoice choice, bool within_lower);
    Status CalculateLines();
    Status SelectRows();
    void SetStatistics();
    Status CheckEnoughRows();
    Status SolveRows();
    double Predict(std::int32_t row);
    void DropOutliers();
    Status SetDeviations();
    Status RejectionCycles();
    Status StoreValues();
    Status Cycle(int cycle);
    void ScaleCovariance();
    void MarkRejected();

    const FitTask& task_;
    const FitOptions& options_;
    Workspace& work_;
    Report& report_;
    Trace* const trace_;
    PassRoom& room_;
    FitResult& result_;
    Model& model_;
    FitList list_;
    FitRows rows_;
    std::int32_t num_matched_ = 0;  // lines, or differences, before the rejection
    Table<double> vectors_;
    Array<double> singular_;
    double old_[kMaxFitConstants + 1] = {};  // by slot
    double now_[kMaxFitConstants + 1] = {};
    double sd_[kMaxFitConstants + 1] = {};
};

Status Fit::CheckEnoughLines() {
    result_.marked = CountMarked(model_, options_.data);
    const std::int32_t assigned = task_.assignments->size;
    if (result_.marked > assigned) {
        if (trace_) trace_->TooFewAssignments(assigned, result_.marked);
        return Error{ErrorCode::TooFewLines,
                     std::to_string(assigned) + " assigned lines for " +
                         std::to_string(result_.marked) + " constants to fit",
                     ""};
    }
    if (trace_) trace_->ConstantsCounted(result_.marked);
    return {};
}

Status Fit::TakeSolver() {
    const Memory& memory = work_.memory();
    const int M = list_.num_varied, P = result_.marked;
    result_.covariance.Clear();
    if (!vectors_.Take(memory, M + 1, M + 1)) return NoMemory(array_name::kFitVectors);
    if (!singular_.Take(memory, M + 1)) return NoMemory(array_name::kSingularValues);
    if (!result_.covariance.Take(memory, P + 1, P + 1)) return NoMemory(array_name::kCovariance);
    return {};
}

Status Fit::RunPassOf(LineChoice choice, bool within_lower) {
    KIV_TRY(RunPass(task_.Pass(model_, choice, within_lower), work_, report_, room_));
    if (task_.after_pass) task_.after_pass(model_, room_);
    return {};
}

// The pass or passes of a cycle and the lines they match. A pass overwrites the list, so the lines
// of the first set are gathered before the second pass.
Status Fit::CalculateLines() {
    const Assignments& assignments = *task_.assignments;
    rows_ = FitRows{};
    KIV_TRY(RunPassOf(task_.cycles, false));
    num_matched_ = room_.lines.matched;
    KIV_TRY(rows_.Begin(work_.memory(), list_, std::max(num_matched_, assignments.size)));
    if (IsOfDifferences()) return {};
    if (!assignments.two_sets) {
        GatherLines(Source(), room_, IsOneState(), rows_);
        return {};
    }
    // A run of one state sees the second set in both passes.
    if (!model_.one_state) GatherLines(Source(), room_, IsOneState(), rows_);
    KIV_TRY(RunPassOf(task_.cycles, true));
    GatherLines(Source(), room_, true, rows_);
    num_matched_ = rows_.num_lines;
    return {};
}

Status Fit::SelectRows() {
    if (IsOfDifferences()) {
        const Result<std::int32_t> found =
            SelectDifferences(Source(), room_, old_, work_.memory(), trace_, rows_);
        if (!found) return found.error();
        num_matched_ = found.value();
        return {};
    }
    if (options_.data < FitData::OneState || options_.data > FitData::UpperDifferences) {
        return Error{ErrorCode::BadChoice,
                     "there is no fit of kind " + std::to_string(static_cast<int>(options_.data)),
                     "fit"};
    }
    SelectLines(Source(), IsOneState(), trace_, rows_);
    return {};
}

// Unweighted deviation of the rows kept; the rest of the matched lines count as rejected.
void Fit::SetStatistics() {
    result_.used = rows_.num;
    result_.rejected = num_matched_ - rows_.num;
    if (rows_.num != 0) result_.rms = std::sqrt(rows_.sum_sq / rows_.num);
}

Status Fit::CheckEnoughRows() {
    if (rows_.num >= list_.num_varied) return {};
    if (trace_) trace_->TooFewRows(rows_.num, list_.num_varied);
    return Error{ErrorCode::TooFewLines,
                 std::to_string(rows_.num) + " lines for " + std::to_string(list_.num_varied) +
                     " constants to fit",
                 ""};
}

Status Fit::SolveRows() {
    const SvdMat u{rows_.solver_room.data(), static_cast<std::ptrdiff_t>(rows_.observed.size())};
    double chi_squared = 0.0;
    std::copy_n(old_, list_.num + 1, now_);
    return svdfit(rows_.observed.data(), rows_.num, now_, list_.num, list_.order, list_.num_varied,
                  u, View(vectors_), singular_.data(), &chi_squared, rows_.derivative.data(),
                  rows_.uncertainty.data(), work_.memory());
}

// Position of a row by the new constants and the derivatives of the old ones.
double Fit::Predict(std::int32_t row) {
    const double* derivatives = rows_.Derivatives(row);
    double position = 0.0;
    for (int slot = 1; slot <= list_.num; ++slot) position += now_[slot] * derivatives[slot];
    return position;
}

// Drops the rows that the new constants miss by the rejection level or more.
void Fit::DropOutliers() {
    const RowSource source = Source();
    const std::int32_t num = rows_.num;
    const bool told = trace_ && trace_->WantsPredictions();
    rows_.num = 0;
    rows_.sum_sq = 0.0;
    for (std::int32_t i = 1; i <= num; ++i) {
        if (told) {
            trace_->RowPredicted(i, rows_.observed[i], list_, now_, rows_.Derivatives(i));
        }
        const double misfit = rows_.observed[i] - Predict(i);
        if (!source.IsOutlier(misfit)) {
            rows_.Accept(i, misfit);
        } else if (rows_.num <= rows_.split) {
            --rows_.split;
        }
    }
}

Status Fit::SetDeviations() {
    const int M = list_.num_varied;
    const SvdMat covariance = View(result_.covariance);
    KIV_TRY(svdvar(View(vectors_), M, singular_.data(), covariance, work_.memory()));
    const bool scaled = options_.weights == FitWeights::Uniform && rows_.num > M;
    result_.scale = scaled ? std::sqrt(rows_.sum_sq / (rows_.num - M)) : 1.0;
    for (int m = 1; m <= M; ++m) sd_[list_.order[m]] = std::sqrt(std::fabs(covariance(m, m)));
    return {};
}

Status Fit::RejectionCycles() {
    for (int cycle = 1; cycle <= kRejectionCycles; ++cycle) {
        const std::int32_t num = rows_.num;
        KIV_TRY(CheckEnoughRows());
        KIV_TRY(SolveRows());
        DropOutliers();
        KIV_TRY(SetDeviations());
        if (trace_) trace_->CycleSolved({&list_, cycle, old_, now_, sd_}, Statistics());
        SetStatistics();
        if (trace_) trace_->CycleDone(Statistics(), rows_.num != num);
        if (rows_.num == num) break;
    }
    return {};
}

Status Fit::StoreValues() {
    const int slot = SetFitValues(list_, now_, options_.data, model_);
    if (slot == 0) return {};
    const auto constant = static_cast<Constant>(list_.constant[slot]);
    const double value = model_.states[list_.state[slot]].value(constant);
    if (trace_) trace_->NegativeConstant(list_.state[slot], constant, value);
    return Error{ErrorCode::NegativeConstant,
                 std::string("the fit makes ") + NameOf(constant) + " of the " +
                     (list_.state[slot] == kLower ? "lower" : "upper") + " state " +
                     std::to_string(value),
                 NameOf(constant)};
}

Status Fit::Cycle(int cycle) {
    if (trace_) trace_->CycleStarts(cycle);
    KIV_TRY(CalculateLines());
    GetFitValues(list_, model_, options_.data, old_);  // as the pass leaves them
    KIV_TRY(SelectRows());
    SetStatistics();
    if (trace_) trace_->RowsSelected(Statistics());
    KIV_TRY(RejectionCycles());
    KIV_TRY(StoreValues());
    return Tell(report_, Stage::FitCycle, cycle, options_.cycles);
}

void Fit::ScaleCovariance() {
    const double scale = result_.scale * result_.scale;
    for (double& x : result_.covariance.block()) x *= scale;
}

// Letter R for every matched line that the final constants miss by the rejection level or more.
void Fit::MarkRejected() {
    const RowSource source = Source();
    LineList& lines = room_.lines;
    for (std::int32_t k = 0; k < lines.matched; ++k) {
        const std::int32_t line = lines.match_line[k];
        const double observed = task_.assignments->frequency[lines.match_assignment[k]];
        if (source.IsOutlier(observed - lines.position[line])) lines.band[line] = 'R';
    }
}

Status Fit::Run() {
    if (trace_) trace_->Enter(Step::Fit);
    KIV_TRY(CheckEnoughLines());
    list_ = MakeFitList(model_, options_.data);
    KIV_TRY(TakeSolver());
    result_.scale = 1.0;
    if (trace_) trace_->FitStarts(list_, model_);
    for (int cycle = 1; cycle <= options_.cycles; ++cycle) KIV_TRY(Cycle(cycle));
    ScaleCovariance();
    if (trace_) trace_->FitDone(list_, model_, Statistics(), result_.covariance);
    SetFitDeviations(list_, result_.covariance, model_);
    rows_ = FitRows{};
    KIV_TRY(RunPassOf(task_.last, false));
    MarkRejected();
    if (trace_) trace_->Leave(Step::Fit);
    return {};
}

std::vector<FitParameter> ParametersOf(const FitList& list, const Model& start, const Model& now) {
    std::vector<FitParameter> parameters;
    for (int m = 1; m <= list.num_varied; ++m) {
        const int slot = list.order[m], c = list.constant[slot];
        const Term& term = TermOf(now, list.state[slot], c);
        FitParameter parameter;
        parameter.state = list.state[slot];
        if (c != kOrigin) parameter.constant = static_cast<Constant>(c);
        parameter.reduction = now.states[parameter.state].reduction;
        parameter.start = TermOf(start, list.state[slot], c).value;
        parameter.value = term.value;
        parameter.sd = term.sd;
        parameters.push_back(parameter);
    }
    return parameters;
}

// The matched lines of the last pass.
void AddResiduals(const RowSource& source, const PassRoom& room, bool within_lower,
                  std::vector<FitResidual>& residuals) {
    const DerivativeMap map(source, room, within_lower);
    const LineList& lines = room.lines;
    double row[kMaxFitConstants + 1];
    for (std::int32_t k = 0; k < lines.matched; ++k) {
        const std::int32_t line = lines.match_line[k];
        FitResidual residual;
        residual.assignment = lines.match_assignment[k];
        residual.observed = source.assignments->frequency[residual.assignment];
        residual.calculated = lines.position[line];
        residual.rejected = source.IsOutlier(residual.observed - residual.calculated);
        map.Fill(static_cast<std::size_t>(line), row);
        for (int m = 1; m <= source.list->num_varied; ++m) {
            residual.derivatives.push_back(row[source.list->order[m]]);
        }
        residuals.push_back(std::move(residual));
    }
}

}  // namespace

std::string FitParameter::Name() const {
    if (!constant) return "upper.origin";
    return std::string(state == kLower ? "lower." : "upper.") + NameOf(*constant, reduction);
}

PassTask FitTask::Pass(const Model& now, LineChoice choice, bool within_lower) const {
    return {&now,   settings->max_J, &settings->lines, assignments,
            choice, is_complex,      within_lower,     exchanges_axes};
}

Status RunFit(const FitTask& task, Workspace& work, Report& report, PassRoom& room,
              FitResult& result) {
    result.model = *task.model;
    return Fit(task, work, report, room, result).Run();
}

Result<FitResult> RunFit(const Model& start, const Settings& settings,
                         const Assignments& assignments, LineChoice last, Workspace& work,
                         Report& report) try {
    Model model = start;
    for (const StateIndex index : {kLower, kUpper}) {
        if (index == kUpper && model.one_state) continue;
        KIV_TRY(CheckFinite(model.states[index]));
        for (const Constant c : {Constant::A, Constant::B, Constant::C}) {
            model.states[index].terms[c].on = true;  // as they always are
        }
    }
    FitTask task{&model, &settings, &assignments};
    task.is_complex =
        NeedsComplex(model.lower()) || (!model.one_state && NeedsComplex(model.upper()));
    task.last = last;
    PassRoom room;
    FitResult result;
    const PassTask pass = task.Pass(model, last);
    KIV_TRY(room.Reserve(pass, work.memory()));
    KIV_TRY(RunFit(task, work, report, room, result));
    const FitList list = MakeFitList(model, settings.fit.data);
    const RowSource source{&assignments, &settings.fit, &list};
    result.parameters = ParametersOf(list, model, result.model);
    AddResiduals(source, room, model.one_state, result.residuals);
    result.lines = std::move(room.lines);
    if (assignments.two_sets && !model.one_state) {
        KIV_TRY(room.ReserveLines(pass, work.memory()));
        KIV_TRY(RunPass(task.Pass(result.model, LineChoice::Assigned, true), work, report, room));
        AddResiduals(source, room, true, result.residuals);
    }
    return result;
} catch (const std::bad_alloc&) {
    return NoMemory("");
}

Result<FitResult> RunFit(const Model& model, const Settings& settings,
                         const Assignments& assignments, Workspace& work) {
    Report silent;
    return RunFit(model, settings, assignments, LineChoice::All, work, silent);
}

}  // namespace kiv
