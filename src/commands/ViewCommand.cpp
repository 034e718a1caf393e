// kiv view
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "commands/Commands.h"
#include "commands/LineProducts.h"
#include "commands/LoadJob.h"
#include "commands/ProductSink.h"
#include "commands/Products.h"
#include "commands/RunOutcome.h"
#include "commands/RunParts.h"
#include "exchange/MeasuredSpectrum.h"
#include "named/NumberWord.h"
#include "named/Text.h"
#include "page/Page.h"

namespace kiv {
namespace {

constexpr std::size_t kMaxSpectrum = std::size_t{1} << 31;
constexpr std::int64_t kUsualMaxLines = 1000000;
constexpr std::chrono::milliseconds kWatchStep{250};

struct ViewOptions {
    std::optional<double> min_intensity;
    std::int64_t max_lines = kUsualMaxLines;
};

Error WrongUse(const std::string& option, const std::string& word, const std::string& takes) {
    return {ErrorCode::BadChoice, option + " takes " + takes + ", not " + Quoted(word), option};
}

Result<ViewOptions> ReadOptions(const Request& request) {
    ViewOptions options;
    if (request.min_intensity) {
        const NumberWord number = ReadNumberWord(*request.min_intensity);
        if (number.fault != WordFault::None || number.value < 0.0) {
            return WrongUse("--min-intensity", *request.min_intensity, "a number from 0");
        }
        options.min_intensity = number.value;
    }
    if (request.max_lines) {
        const std::optional<int> number = ReadWholeWord(*request.max_lines);
        if (!number || *number < 1) {
            return WrongUse("--max-lines", *request.max_lines, "a whole number from 1");
        }
        options.max_lines = *number;
    }
    return options;
}

std::string NameWithoutFolder(const std::string& file) {
    return file.substr(FolderOf(file).size());
}

// Makes the page once.
class View {
  public:
    View(const Request& request, const ViewOptions& options, Terminal& terminal, Job job)
        : request_(request),
          options_(options),
          terminal_(terminal),
          job_(std::move(job)),
          work_(WorkspaceFor(job_, request)),
          outcome_(job_) {}

    int Go();

  private:
    Status CheckOutput();
    void TakeMinIntensity();
    int ReadSpectra();
    int CalculateLines();
    Status TakeLines(PageContent& content, Report& report);
    int Write(const PageContent& content);
    int Tell(const PageContent& content);
    int Fail(const std::string& text, int status) {
        terminal_.Fail(text);
        return status;
    }

    Request request_;
    const ViewOptions& options_;
    Terminal& terminal_;
    Job job_;
    std::vector<std::string> names_;  // of the spectra
    std::vector<PageSpectrum> spectra_;
    Workspace work_;
    Calculation calculation_;
    RunOutcome outcome_;
};

// The page lies beside the input, and is no file that was read for it.
Status View::CheckOutput() {
    const std::string& name = request_.arguments.front();
    if (!request_.output && name == kStandardInput) {
        return Error{ErrorCode::BadChoice,
                     "an input from standard input has no name, say what the page is called: "
                     "-o PAGE.html",
                     "-"};
    }
    if (!request_.output) request_.output = FolderOf(name) + StemOf(name) + ".html";
    if (*request_.output == kStandardInput) return {};
    std::vector<std::string> inputs{name};
    if (job_.lines) inputs.push_back(job_.lines->file);
    inputs.insert(inputs.end(), request_.spectra.begin(), request_.spectra.end());
    return CheckOutputs({*request_.output}, inputs);
}

void View::TakeMinIntensity() {
    if (!options_.min_intensity) return;
    job_.input.spectrum.rules.min_intensity = *options_.min_intensity;
    if (job_.old) job_.old->min_intensity = *options_.min_intensity;
}

// kDone when all can be used.
int View::ReadSpectra() {
    Findings findings;
    for (const std::string& name : request_.spectra) {
        const Result<std::string> text = ReadTextFile(name, kMaxSpectrum);
        if (!text) return Fail(text.error().text, kFileFailed);
        const std::string file = name == kStandardInput ? kStandardInputName : name;
        const MeasuredSpectrum spectrum =
            ReadMeasuredSpectrum(text.value(), job_.input.unit, file, findings);
        names_.push_back(NameWithoutFolder(file));
        spectra_.push_back(TakeSpectrum(spectrum));
    }
    terminal_.Show(findings);
    outcome_.findings.Append(findings);
    return findings.has_errors() ? kUnusableInput : kDone;
}

int View::CalculateLines() {
    outcome_.calculation = &calculation_;
    {
        ShownProgress progress(terminal_, request_.verbose);
        outcome_.status = Calculate(job_, work_, progress, calculation_, kLinesAlone);
    }
    TellUnsettled(terminal_, outcome_);
    if (outcome_.has_result()) return kDone;
    return Fail(job_.file + ": " + WhyNoResult(outcome_), kNoResult);
}

Status View::TakeLines(PageContent& content, Report& report) {
    const LineProductOptions band;
    LineProducts products(job_, calculation_, band, work_, report);
    KIV_TRY(products.PrepareLines(false));
    KIV_TRY(products.PrepareFit());
    const double origin = calculation_.model.origin.value;
    const Result<std::int32_t> taken =
        products.VisitLines(CatalogOrder::Calculated, [&](const LineTable& table) {
            content.zero = table.catalog.source().zero;
            content.has_moment = table.has_moment;
            content.lines = kiv::TakeLines(table, origin, options_.max_lines);
            return static_cast<std::int32_t>(content.lines.lower.size());
        });
    if (!taken) return taken.error();
    if (taken.value() > 0) return {};
    return Error{ErrorCode::NoLines, "no line has any intensity", ""};
}

int View::Write(const PageContent& content) {
    ProductSink sink(request_, terminal_);
    WritePage(sink, content);
    const Status kept = sink.Keep();
    return kept ? kDone : Fail(kept.error().text, kFileFailed);
}

int View::Tell(const PageContent& content) {
    if (*request_.output == kStandardInput) return kDone;
    std::string text = "written: " + *request_.output + ", " +
                       std::to_string(content.lines.lower.size()) + " lines\n";
    if (request_.json) {
        SumLevels(calculation_, work_, outcome_);
        outcome_.files = {*request_.output};
        text = SummaryJson(outcome_);
    }
    const Status put = terminal_.PutResult(text);
    return put ? kDone : Fail(put.error().text, kFileFailed);
}

int View::Go() {
    terminal_.Show(job_.findings);
    outcome_.findings = job_.findings;
    if (!job_.usable()) return kUnusableInput;
    const Status output = CheckOutput();
    if (!output) return Fail(output.error().text, kWrongUse);
    if (request_.verbose) NoteRead(job_, terminal_);
    TakeMinIntensity();
    if (const int read = ReadSpectra(); read != kDone) return read;
    if (const int calculated = CalculateLines(); calculated != kDone) return calculated;
    const std::string stem = StemOf(job_.file);
    const bool has_csv = job_.lines && job_.lines->format == LineFormat::Csv;
    PageContent content{job_,
                        calculation_,
                        0.0,
                        true,
                        NameWithoutFolder(job_.file),
                        stem,
                        has_csv ? NameWithoutFolder(job_.lines->file) : stem + ".csv",
                        {},
                        names_,
                        std::move(spectra_)};
    ShownProgress progress(terminal_, false);
    const Status taken = TakeLines(content, progress);
    if (!taken) return Fail(job_.file + ": " + taken.error().text, kNoResult);
    if (const int written = Write(content); written != kDone) return written;
    return Tell(content);
}

// ------------------------------------------------------------------------------------- --watch

struct Stamp {
    bool is_there = false;
    std::int64_t seconds = 0, nanoseconds = 0, size = 0;

    bool operator==(const Stamp&) const = default;
};

Stamp StampOf(const std::string& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) return {};
    return {true, status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_size};
}

// The files that a page is made from, as they were then.
class Sources {
  public:
    void Take(const std::vector<std::string>& files) {
        for (const std::string& file : files) stamps_.try_emplace(file, StampOf(file));
    }

    // True once when any of them is another one now.
    bool HaveChanged() {
        bool has_changed = false;
        for (auto& [file, stamp] : stamps_) {
            const Stamp now = StampOf(file);
            has_changed |= !(now == stamp);
            stamp = now;
        }
        return has_changed;
    }

  private:
    std::map<std::string, Stamp> stamps_;
};

// `sources` learns what is read before it is.
int MakePage(const Request& request, const ViewOptions& options, Terminal& terminal,
             Sources& sources) {
    const std::string& name = request.arguments.front();
    sources.Take({name});
    sources.Take(request.spectra);
    Result<Job> job = LoadJob(name);
    if (!job) {
        terminal.Fail(job.error().text);
        return kFileFailed;
    }
    if (job.value().lines) sources.Take({job.value().lines->file});
    return View(request, options, terminal, std::move(job).value()).Go();
}

// Until a signal ends it: whatever goes wrong with a change, the next one may mend it.
[[noreturn]] void Watch(const Request& request, const ViewOptions& options, Terminal& terminal,
                        Sources& sources) {
    terminal.Note("watching " + request.arguments.front() + "; Ctrl+C ends");
    while (true) {
        std::this_thread::sleep_for(kWatchStep);
        if (sources.HaveChanged()) MakePage(request, options, terminal, sources);
    }
}

}  // namespace

int ViewSpectrum(const Request& request, Terminal& terminal) {
    const Result<ViewOptions> options = ReadOptions(request);
    if (!options) {
        terminal.Fail(options.error().text);
        return kWrongUse;
    }
    const auto is_stream = [](const std::string& name) { return name == kStandardInput; };
    if (request.watch &&
        (is_stream(request.arguments.front()) || is_stream(request.output.value_or("")) ||
         std::any_of(request.spectra.begin(), request.spectra.end(), is_stream))) {
        terminal.Fail("--watch takes files alone, not standard input or output");
        return kWrongUse;
    }
    Sources sources;
    const int status = MakePage(request, options.value(), terminal, sources);
    if (!request.watch || status == kWrongUse) return status;
    Watch(request, options.value(), terminal, sources);
}

}  // namespace kiv
