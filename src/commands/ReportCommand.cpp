// kiv report
#include <algorithm>
#include <cstdint>
#include <iterator>

#include "commands/Commands.h"
#include "commands/LoadJob.h"
#include "commands/Products.h"
#include "commands/PutProduct.h"
#include "commands/Refits.h"
#include "commands/ReportText.h"
#include "commands/RunParts.h"
#include "job/Understood.h"
#include "named/Text.h"
#include "system/TextFile.h"

namespace kiv {
namespace {

enum class ReportFormat : std::uint8_t { Text, Csv, Latex, Json };

struct FormatName {
    const char* word;
    ReportFormat format;
};

constexpr FormatName kFormats[] = {{"text", ReportFormat::Text},
                                   {"csv", ReportFormat::Csv},
                                   {"latex", ReportFormat::Latex},
                                   {"json", ReportFormat::Json}};

Error Wrong(const std::string& text) { return {ErrorCode::BadChoice, text, ""}; }

Result<ReportFormat> FormatOf(const Request& request) {
    if (request.correlations && *request.correlations != "all") {
        return Wrong("--correlations takes the word all, not " + Quoted(*request.correlations));
    }
    if (!request.format) return request.json ? ReportFormat::Json : ReportFormat::Text;
    const auto* const found =
        std::find_if(std::begin(kFormats), std::end(kFormats),
                     [&](const FormatName& row) { return *request.format == row.word; });
    if (found == std::end(kFormats)) {
        return Wrong("--format knows no " + Quoted(*request.format) +
                     ", it takes text, csv, latex or json");
    }
    if (request.json && found->format != ReportFormat::Json) {
        return Wrong("--json and --format " + *request.format + " ask for two formats");
    }
    return found->format;
}

class ReportOfJob {
  public:
    ReportOfJob(const Request& request, ReportFormat format, Terminal& terminal, const Job& job)
        : request_(request),
          format_(format),
          terminal_(terminal),
          job_(job),
          work_(WorkspaceFor(job_, request)),
          outcome_(job) {}

    int Go();

  private:
    Status Prepare();
    void CalculateAll();
    void FitLines();
    void LayBeside();
    bool IsDone() const;
    std::string FitPage();
    std::string Page();
    int Put(const std::string& text, int status) {
        const int put = PutProduct(request_, text, WholeFile::Kind::Product, terminal_);
        return put == kDone ? status : put;
    }
    int Fail(const Error& error, int status) {
        terminal_.Fail(error.text);
        return status;
    }

    const Request& request_;
    const ReportFormat format_;
    Terminal& terminal_;
    const Job& job_;
    std::vector<Refit> refits_;
    Workspace work_;
    Calculation calculation_;  // of the lines, or of the fit alone
    Calculation beside_;       // measured lines beside constants that are not fitted
    RunOutcome outcome_;
};

Status ReportOfJob::Prepare() {
    if (request_.output && *request_.output != kStandardInput) {
        std::vector<std::string> inputs{request_.arguments.front()};
        if (job_.lines) inputs.push_back(job_.lines->file);
        KIV_TRY(CheckOutputs({*request_.output}, inputs));
    }
    Result<std::vector<Refit>> refits = RefitsOf(request_, job_);
    if (!refits) return refits.error();
    refits_ = std::move(refits).value();
    if (refits_.empty() || format_ == ReportFormat::Text) return {};
    return Wrong("--omit, --add and --trials are parts of the text, leave --format out");
}

void ReportOfJob::CalculateAll() {
    ShownProgress progress(terminal_, request_.verbose);
    outcome_.status = Calculate(job_, work_, progress, calculation_);
    if (outcome_.has_result()) SumLevels(calculation_, work_, outcome_);
}

void ReportOfJob::FitLines() {
    ShownProgress progress(terminal_, request_.verbose);
    outcome_.status = FitAlone(job_, work_, progress, calculation_);
}

// The constants of an input that has no fit, or whose fit has no result, with its measured lines.
void ReportOfJob::LayBeside() {
    ShownProgress progress(terminal_, request_.verbose);
    if (!JudgeLines(job_, work_, progress, beside_)) beside_.fit.reset();
    outcome_.calculation = &beside_;
}

bool ReportOfJob::IsDone() const {
    if (!outcome_.status) return false;
    if (format_ == ReportFormat::Json) return outcome_.has_result();
    if (job_.is_fit()) return job_.form == InputForm::Old || calculation_.fit->converged;
    return format_ != ReportFormat::Text || calculation_.has_lines();
}

// What a person reads of a fit, or of measured lines beside a calculation.
std::string ReportOfJob::FitPage() {
    const bool all = request_.correlations.has_value();
    std::string text = FitReportText(outcome_, all);
    if (!refits_.empty()) {
        ShownProgress progress(terminal_, request_.verbose);
        text += RefitsText(refits_, outcome_, work_, progress);
    }
    return text + "\n" + LinesReportText(outcome_);
}

std::string ReportOfJob::Page() {
    std::string text = ConventionsText(job_) + "\n";
    if (!job_.is_fit()) {
        const std::string summary = SummaryText(outcome_);
        text += "Nothing is fitted.\n" + summary.substr(summary.find('\n') + 1) + "\n";
    } else if (!IsDone()) {
        text += "no result: " + WhyNoResult(outcome_) + "\n\n";
    }
    if (!calculation_.fit) LayBeside();
    if (!outcome_.calculation->fit) return text;
    if (!calculation_.fit && !beside_.features.empty()) {
        text += "The measured lines beside the constants of the input:\n\n";
    }
    return text + FitPage();
}

int ReportOfJob::Go() {
    terminal_.Show(job_.findings);
    outcome_.findings = job_.findings;
    const bool is_json = format_ == ReportFormat::Json;
    if (!job_.usable()) {
        return is_json ? Put(SummaryJson(outcome_), kUnusableInput) : kUnusableInput;
    }
    const Status prepared = Prepare();
    if (!prepared) return Fail(prepared.error(), kWrongUse);
    if (request_.verbose) NoteRead(job_, terminal_);
    outcome_.calculation = &calculation_;
    if (is_json || (!job_.is_fit() && format_ == ReportFormat::Text)) {
        CalculateAll();
    } else if (job_.is_fit()) {
        FitLines();
    }
    TellUnsettled(terminal_, outcome_);
    const std::string why = IsDone() ? "" : WhyNoResult(outcome_);
    std::string text;
    if (is_json) {
        text = SummaryJson(outcome_);
    } else if (format_ == ReportFormat::Text) {
        text = Page();
    } else {
        if (!calculation_.fit) LayBeside();
        text = format_ == ReportFormat::Csv ? LinesCsv(outcome_) : ConstantsLatex(outcome_);
    }
    const int status = Put(text, why.empty() ? kDone : kNoResult);
    if (!why.empty()) terminal_.Fail(job_.file + ": " + why);
    return status;
}

}  // namespace

int MakeReport(const Request& request, Terminal& terminal) {
    const Result<ReportFormat> format = FormatOf(request);
    if (!format) {
        terminal.Fail(format.error().text);
        return kWrongUse;
    }
    const Result<Job> job = LoadJob(request.arguments.front());
    if (!job) {
        terminal.Fail(job.error().text);
        return kFileFailed;
    }
    return ReportOfJob(request, format.value(), terminal, job.value()).Go();
}

}  // namespace kiv
