// kiv run
#include <algorithm>
#include <utility>

#include "commands/Commands.h"
#include "commands/LineProducts.h"
#include "commands/LoadJob.h"
#include "commands/Products.h"
#include "commands/RunOutcome.h"
#include "commands/RunParts.h"
#include "job/Understood.h"
#include "named/NumberText.h"
#include "system/OutputSet.h"
#include "system/TextFile.h"

namespace kiv {
namespace {

class RunOfJob {
  public:
    RunOfJob(const Request& request, Terminal& terminal, const Job& job)
        : request_(request),
          terminal_(terminal),
          job_(job),
          work_(WorkspaceFor(job_, request)),
          outcome_(job) {}

    int Go();

  private:
    Status Prepare();
    Status AddLines();
    Status AddTables(Sink* csv, Sink* cat, Sink* egy);
    std::string LogText(const std::string& summary) const;
    std::string ResultText();
    void AddFitted();
    std::string FittedNamed(const std::string& name) const;
    std::string FittedOld(const std::string& name) const;
    int PutResult(const std::string& text, int status);
    int Finish();
    int Fail(const Error& error, int status) {
        terminal_.Fail(error.text);
        return status;
    }

    const std::string& name() const { return request_.arguments.front(); }

    const Request& request_;
    Terminal& terminal_;
    const Job& job_;
    std::string base_;
    std::vector<Product> products_;
    Workspace work_;
    Calculation calculation_;
    RunOutcome outcome_;
    std::vector<std::string> planned_;  // names of the results
    std::string log_;
    OutputSet outputs_;
};

// Where everything goes; nothing is calculated before that is settled.
Status RunOfJob::Prepare() {
    Result<std::vector<Product>> products = ProductsOf(request_.products);
    if (!products) return products.error();
    products_ = std::move(products).value();
    base_ = BaseOf(job_, name(), request_.base);
    std::vector<std::string> inputs{name()};
    if (job_.lines) inputs.push_back(job_.lines->file);
    planned_ = FileNames(job_, base_, products_);
    if (request_.in_place && job_.is_fit()) planned_.pop_back();  // the fitted input
    KIV_TRY(CheckOutputs(planned_, inputs));
    if (request_.in_place && job_.is_fit()) {
        planned_.push_back(name() + ".bak");
        planned_.push_back(name());
    }
    return {};
}

// Those of lines and levels in the order of calculation.
Status RunOfJob::AddTables(Sink* csv, Sink* cat, Sink* egy) {
    if (!csv && !cat && !egy) return {};
    Report silent;
    const LineProductOptions options;
    LineProducts products(job_, calculation_, options, work_, silent);
    KIV_TRY(products.PrepareFit());
    if (egy) products.WriteEgy(*egy);
    if (!csv && !cat) return {};
    KIV_TRY(products.PrepareLines(cat != nullptr));
    terminal_.Show(products.Doubts());
    for (Sink* const sink : {csv, cat}) {
        if (!sink) continue;
        const auto written = sink == csv ? products.WriteCsv(*sink) : products.WriteCat(*sink);
        if (!written) return written.error();
    }
    return {};
}

Status RunOfJob::AddLines() {
    Sink* sinks[static_cast<std::size_t>(Product::Count)] = {};
    for (const Product product : products_) {
        Sink* const sink = outputs_.Open(NameOf(product, base_));
        if (!sink) return {};  // Keep says why
        sinks[static_cast<std::size_t>(product)] = sink;
    }
    const auto& [text, binary, csv, cat, egy] = sinks;
    KIV_TRY(AddTables(csv, cat, egy));
    const LineSource source{calculation_.room.lower(), calculation_.room.upper(),
                            &calculation_.assignments};
    const Result<SortedLines> sorted = WriteLineFiles(
        {binary, text}, calculation_.header, std::move(calculation_.room.lines), source, work_);
    return sorted ? Status() : sorted.error();
}

std::string RunOfJob::LogText(const std::string& summary) const {
    std::string text =
        std::string("kiv ") + kInputVersion + "\n\n" + UnderstoodText(job_, planned_) + "\n";
    for (const Finding& finding : outcome_.findings) text += TextOf(finding) + "\n";
    if (!outcome_.findings.empty()) text += "\n";
    text += summary;
    if (!outcome_.has_result()) text += "\nno result: " + WhyNoResult(outcome_) + "\n";
    if (calculation_.fit) text += "\nmeasured lines\n" + ResidualsText(outcome_);
    return text;
}

// The user's own text with the numbers that the fit changed.
std::string RunOfJob::FittedNamed(const std::string& name) const {
    const Model start = ModelOf(job_.input);
    std::vector<Replacement> replacements;
    const auto is_varied = [&](StateIndex state, std::optional<Constant> constant) {
        for (const FeatureParameter& varied : calculation_.fit->parameters) {
            if (varied.parameter.state == state && varied.parameter.constant == constant) {
                return true;
            }
        }
        return false;
    };
    for (const std::size_t i : ListedOrder(*calculation_.fit)) {
        const FeatureParameter& varied = calculation_.fit->parameters[i];
        const FitParameter& parameter = varied.parameter;
        double sd = calculation_.fit->uniform ? varied.sd_scaled : parameter.sd;
        if (varied.sd_scaled > 0.0) sd = std::min(sd, varied.sd_scaled);
        replacements.push_back({parameter.Name(), FittedText(parameter.value, sd)});
    }
    for (const StateIndex state : {kLower, kUpper}) {  // what follows the varied ones
        for (int c = 0; c < kNumConstants; ++c) {
            const auto constant = static_cast<Constant>(c);
            const State &old = start.states[state], &now = calculation_.model.states[state];
            if (is_varied(state, constant) || old.value(constant) == now.value(constant)) continue;
            replacements.push_back({std::string(state == kLower ? "lower." : "upper.") +
                                        kiv::NameOf(constant, now.reduction),
                                    RealText(now.value(constant))});
        }
    }
    const std::string lines = Relocated(job_.input.fit.lines, this->name(), name);
    if (lines != job_.input.fit.lines) replacements.push_back({"fit.lines", TomlString(lines)});
    return ReplaceNumbers(job_.text, replacements);
}

std::string RunOfJob::FittedOld(const std::string& name) const {
    InputFile file = *calculation_.next_input;
    file.assignment_file = Relocated(file.assignment_file, this->name(), name);
    file.out_base = Relocated(file.out_base, this->name(), name);
    StringSink text;
    WriteInputFile(text, file);
    return text.text();
}

void RunOfJob::AddFitted() {
    const std::string fitted = request_.in_place ? name() : FittedName(job_, base_);
    if (request_.in_place) {
        outputs_.Add(name() + ".bak", job_.text, WholeFile::Kind::Precious);
    }
    outputs_.Add(fitted, job_.form == InputForm::Named ? FittedNamed(fitted) : FittedOld(fitted),
                 WholeFile::Kind::Precious);
}

int RunOfJob::PutResult(const std::string& text, int status) {
    const Status put = terminal_.PutResult(text);
    return put ? status : Fail(put.error(), kFileFailed);
}

// What a person or a script reads; made while the lines are still there.
std::string RunOfJob::ResultText() {
    if (outcome_.has_result()) SumLevels(calculation_, work_, outcome_);
    const std::string summary = SummaryText(outcome_);
    log_ = LogText(summary);
    return request_.json ? SummaryJson(outcome_) : summary;
}

int RunOfJob::Finish() {
    const bool done = outcome_.has_result();
    outcome_.files = done ? planned_ : std::vector<std::string>{LogName(base_)};
    const std::string result = ResultText();
    outputs_.Add(LogName(base_), log_);
    if (done) {
        const Status added = AddLines();
        if (!added) return Fail(added.error(), kNoResult);
        if (calculation_.fit && job_.is_fit()) AddFitted();
    }
    const Status kept = outputs_.Keep(&work_.threads());
    if (!kept) return Fail(kept.error(), kFileFailed);
    if (request_.verbose) {
        for (const std::string& file : outputs_.names()) terminal_.Note("written: " + file);
    }
    if (done) return PutResult(result, kDone);
    const bool shown = request_.json || calculation_.fit;
    const int status = shown ? PutResult(result, kNoResult) : kNoResult;
    terminal_.Fail(job_.file + ": " + WhyNoResult(outcome_));
    return status;
}

int RunOfJob::Go() {
    terminal_.Show(job_.findings);
    outcome_.findings = job_.findings;
    if (!job_.usable()) {
        return request_.json ? PutResult(SummaryJson(outcome_), kUnusableInput) : kUnusableInput;
    }
    const Status prepared = Prepare();
    if (!prepared) return Fail(prepared.error(), kWrongUse);
    if (request_.verbose) NoteRead(job_, terminal_);
    outcome_.calculation = &calculation_;
    {
        ShownProgress progress(terminal_, request_.verbose);
        outcome_.status = Calculate(job_, work_, progress, calculation_);
    }
    TellUnsettled(terminal_, outcome_);
    return Finish();
}

Error CannotName(const Request& request) {
    if (request.output) {
        return {ErrorCode::BadChoice,
                "run writes several files, their names begin with BASE: --out BASE", "-o"};
    }
    return {ErrorCode::BadChoice,
            "an input from standard input has no name, say what results are called: --out BASE",
            "-"};
}

}  // namespace

int Run(const Request& request, Terminal& terminal) {
    const std::string& name = request.arguments.front();
    const bool is_stdin = name == kStandardInput;
    if (request.output || (is_stdin && (!request.base || request.in_place))) {
        terminal.Fail(CannotName(request).text);
        return kWrongUse;
    }
    const Result<Job> job = LoadJob(name);
    if (!job) {
        terminal.Fail(job.error().text);
        return kFileFailed;
    }
    return RunOfJob(request, terminal, job.value()).Go();
}

}  // namespace kiv
