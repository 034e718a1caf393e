// kiv export csv, cat, egy and q
#include <algorithm>
#include <utility>

#include "commands/ExportOptions.h"
#include "commands/Exports.h"
#include "commands/LineProducts.h"
#include "commands/ProductSink.h"
#include "commands/RunOutcome.h"
#include "commands/RunParts.h"
#include "job/LineRange.h"

namespace kiv {
namespace {

constexpr double kUsualTemperatures[] = {300.0, 225.0, 150.0, 75.0, 37.5, 18.75, 9.375};

// What the exports have in common.
class Export {
  public:
    explicit Export(const ExportTask& task)
        : request_(task.request),
          terminal_(task.terminal),
          job_(task.job),
          work_(WorkspaceFor(job_, task.request)),
          outcome_(job_) {}

    int Lines(bool makes_cat);
    int Levels();
    int Partitions();

  private:
    bool ReadOptions();
    bool CalculateLines();
    bool FitModel(Model& model);
    bool HasResult();
    int Finish(ProductSink& sink);
    int Fail(const std::string& text, int status) {
        terminal_.Fail(text);
        return status;
    }
    int NoResultBy(const Error& error) { return Fail(job_.file + ": " + error.text, kNoResult); }

    const Request& request_;
    Terminal& terminal_;
    Job& job_;
    ExportOptions options_;
    Workspace work_;
    Calculation calculation_;
    RunOutcome outcome_;
};

bool Export::ReadOptions() {
    Result<ExportOptions> options = ReadExportOptions(request_, job_);
    if (!options) {
        terminal_.Fail(options.error().text);
        return false;
    }
    options_ = std::move(options).value();
    if (options_.range) job_.input.spectrum.range = options_.range;
    if (request_.verbose) NoteRead(job_, terminal_);
    return true;
}

// Says why there is none.
bool Export::HasResult() {
    TellUnsettled(terminal_, outcome_);
    const bool is_fitted = outcome_.status && (!calculation_.fit || calculation_.settled ||
                                               job_.form == InputForm::Old);
    if (!is_fitted) terminal_.Fail(job_.file + ": " + WhyNoResult(outcome_));
    return is_fitted;
}

bool Export::CalculateLines() {
    outcome_.calculation = &calculation_;
    {
        ShownProgress progress(terminal_, request_.verbose);
        outcome_.status = Calculate(job_, work_, progress, calculation_, kLinesAlone);
    }
    if (outcome_.status && job_.form == InputForm::Old && options_.range) {
        CutToRange(*options_.range, calculation_.room.lines);
        if (!calculation_.has_lines()) {
            outcome_.status = Error{ErrorCode::NoLines, "no line lies within the range", ""};
        }
    }
    // The lines within a state need the levels alone.
    if (!outcome_.status && options_.lines.within &&
        outcome_.status.error().code == ErrorCode::NoLines) {
        outcome_.status = {};
    }
    return HasResult();
}

// The model with the fitted constants; no line but the measured ones is calculated.
bool Export::FitModel(Model& model) {
    outcome_.calculation = &calculation_;
    if (job_.is_fit()) {
        ShownProgress progress(terminal_, request_.verbose);
        outcome_.status = FitAlone(job_, work_, progress, calculation_);
        if (!HasResult()) return false;
    } else {
        calculation_.model =
            job_.form == InputForm::Named ? ModelOf(job_.input) : ModelOf(*job_.old);
        calculation_.settings =
            job_.form == InputForm::Named ? SettingsOf(job_.input) : SettingsOf(*job_.old);
    }
    model = SummedModel(job_, calculation_);
    return true;
}

int Export::Finish(ProductSink& sink) {
    // to give the memory back takes as long as to remove an old file
    const auto release = [this] { calculation_.room = PassRoom(); };
    const Status kept = sink.Keep(&work_.threads(), release);
    if (!kept) return Fail(kept.error().text, kFileFailed);
    if (request_.verbose && request_.output) terminal_.Note("written: " + *request_.output);
    return kDone;
}

int Export::Lines(bool makes_cat) {
    if (!ReadOptions()) return kWrongUse;
    if (!CalculateLines()) return kNoResult;
    ShownProgress progress(terminal_, false);
    LineProducts products(job_, calculation_, options_.lines, work_, progress);
    Status prepared = products.PrepareLines(makes_cat);
    if (prepared) prepared = products.PrepareFit();
    if (!prepared) return NoResultBy(prepared.error());
    terminal_.Show(products.Doubts());
    ProductSink sink(request_, terminal_);
    const Result<std::int32_t> written =
        makes_cat ? products.WriteCat(sink) : products.WriteCsv(sink);
    if (!written) return NoResultBy(written.error());
    if (written.value() == 0) {
        return NoResultBy(
            {ErrorCode::NoLines, "no line is as intense as --min-lgint asks for", ""});
    }
    return Finish(sink);
}

int Export::Levels() {
    if (!ReadOptions()) return kWrongUse;
    Model model;
    if (!FitModel(model)) return kNoResult;
    kiv::Levels levels[kNumStates];
    for (const StateIndex state : {kLower, kUpper}) {
        if (state == kUpper && model.one_state) continue;
        const int max_J = calculation_.settings.max_J;
        Result<kiv::Levels> solved =  // uncertainties need derivatives
            calculation_.fit ? SolveLevels(model.states[state], max_J, work_)
                             : SolveEnergies(model.states[state], max_J, work_);
        if (!solved) return NoResultBy(solved.error());
        levels[state] = std::move(solved).value();
    }
    const kiv::Levels& upper = levels[model.one_state ? kLower : kUpper];
    std::optional<Predictor> predictor;
    if (calculation_.fit) predictor.emplace(*calculation_.fit, levels[kLower], upper);
    ProductSink sink(request_, terminal_);
    WriteLevels(sink, job_, model, levels[kLower], upper, calculation_.settings.lines,
                predictor ? &*predictor : nullptr);
    return Finish(sink);
}

int Export::Partitions() {
    if (!ReadOptions()) return kWrongUse;
    Model model;
    if (!FitModel(model)) return kNoResult;
    std::vector<double> temperatures(std::begin(kUsualTemperatures), std::end(kUsualTemperatures));
    for (const double kelvin : options_.temperatures) {
        if (std::find(temperatures.begin(), temperatures.end(), kelvin) == temperatures.end()) {
            temperatures.push_back(kelvin);
        }
    }
    std::vector<PartitionRow> rows;
    for (const double kelvin : temperatures) {
        const Settings settings = SummedSettings(job_, calculation_.settings, kelvin);
        const Result<Partition> sum = SumPartition(model, settings, work_);
        if (!sum) return NoResultBy(sum.error());
        const Partition& Q = sum.value();
        rows.push_back({kelvin, Q.Q, Q.last_J});
        if (Q.turned_over || Q.cut_short) {
            terminal_.Show(DoubtsOf(job_, Q, settings.max_J, kelvin));
        }
    }
    ProductSink sink(request_, terminal_);
    WritePartitionTable(sink, rows);
    return Finish(sink);
}

}  // namespace

int ExportCsv(const ExportTask& task) { return Export(task).Lines(false); }
int ExportCat(const ExportTask& task) { return Export(task).Lines(true); }
int ExportEgy(const ExportTask& task) { return Export(task).Levels(); }
int ExportQ(const ExportTask& task) { return Export(task).Partitions(); }

}  // namespace kiv
