// kiv check
#include <algorithm>

#include "commands/Commands.h"
#include "commands/FindingsJson.h"
#include "commands/LoadJob.h"
#include "commands/Products.h"
#include "commands/PutProduct.h"
#include "job/Understood.h"
#include "named/NumberText.h"

namespace kiv {
namespace {

std::string TextOf(const LoadedLines& lines) {
    std::size_t transitions = 0;
    double lowest = 0.0, highest = 0.0;
    for (const LineFeature& feature : lines.features) {
        transitions += feature.transitions.size();
        lowest = transitions == feature.transitions.size() ? feature.frequency
                                                           : std::min(lowest, feature.frequency);
        highest = std::max(highest, feature.frequency);
    }
    std::string text = lines.file + ": " + std::to_string(lines.features.size()) +
                       " measured lines with " + std::to_string(transitions) + " transitions";
    if (transitions > 0) {
        text += " from " + ShortestText(lowest) + " to " + ShortestText(highest);
    }
    return text + "\n";
}

// What is known of one file.
struct Checked {
    std::string understood;
    Findings findings;
};

Result<Checked> CheckFile(const std::string& name) {
    Checked checked;
    if (const auto format = LineFormatOf(name)) {
        const Result<LoadedLines> lines = LoadLines(name, *format);
        if (!lines) return lines.error();
        checked.understood = TextOf(lines.value());
        checked.findings = lines.value().findings;
        return checked;
    }
    const Result<Job> job = LoadJob(name);
    if (!job) return job.error();
    const std::string base = BaseOf(job.value(), name, {});
    checked.understood =
        UnderstoodText(job.value(), FileNames(job.value(), base, ProductsOf({}).value()));
    checked.findings = job.value().findings;
    return checked;
}

}  // namespace

int Check(const Request& request, Terminal& terminal) {
    if (request.output) {
        const Status free = CheckOutputs({*request.output}, request.arguments);
        if (!free) {
            terminal.Fail(free.error().text);
            return kWrongUse;
        }
    }
    int status = kDone;
    std::string understood;
    Findings all;
    for (const std::string& name : request.arguments) {
        const Result<Checked> checked = CheckFile(name);
        if (!checked) {
            terminal.Fail(checked.error().text);
            status = std::max<int>(status, kFileFailed);
            continue;
        }
        const Findings& findings = checked.value().findings;
        if (findings.has_errors()) status = std::max<int>(status, kUnusableInput);
        understood += (understood.empty() ? "" : "\n") + checked.value().understood;
        all.Append(findings);
    }
    JsonWriter json;
    PutFindings(all, json);
    terminal.Show(all);
    if (request.json && status == kFileFailed && request.arguments.size() == 1) return status;
    const int put = PutProduct(request, request.json ? json.text() + "\n" : understood,
                               WholeFile::Kind::Product, terminal);
    return std::max(put, status);
}

}  // namespace kiv
