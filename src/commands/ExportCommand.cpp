// kiv export
#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "commands/Commands.h"
#include "commands/Exports.h"
#include "commands/LoadJob.h"
#include "commands/Products.h"
#include "named/Text.h"
#include "system/TextFile.h"

namespace kiv {
namespace {

struct ExportFormat {
    const char* word;
    int (*run)(const ExportTask& task);
};

constexpr ExportFormat kFormats[] = {
    {"csv", ExportCsv}, {"cat", ExportCat}, {"egy", ExportEgy},           {"lin", ExportLin},
    {"par", ExportPar}, {"q", ExportQ},     {"spectrum", ExportSpectrum},
};

std::string Words() {
    std::string words;
    for (const ExportFormat& format : kFormats) {
        words += (words.empty() ? "" : ", ") + std::string(format.word);
    }
    return words;
}

// What the command reads is never what it writes.
Status CheckOutput(const Request& request, const Job& job) {
    if (!request.output || *request.output == kStandardInput) return {};
    std::vector<std::string> inputs{request.arguments.back()};
    if (job.lines) inputs.push_back(job.lines->file);
    if (request.measured) inputs.push_back(*request.measured);
    return CheckOutputs({*request.output}, inputs);
}

}  // namespace

int ExportProduct(const Request& request, Terminal& terminal) {
    const std::string& word = request.arguments.front();
    const auto* const format =
        std::find_if(std::begin(kFormats), std::end(kFormats),
                     [&](const ExportFormat& row) { return word == row.word; });
    if (format == std::end(kFormats)) {
        terminal.Fail("export knows no format " + Quoted(word) + ", it takes " + Words() +
                      ", as in: kiv export " + kFormats[0].word + " " + request.arguments.back());
        return kWrongUse;
    }
    Result<Job> job = LoadJob(request.arguments.back());
    if (!job) {
        terminal.Fail(job.error().text);
        return kFileFailed;
    }
    terminal.Show(job.value().findings);
    if (!job.value().usable()) return kUnusableInput;
    const Status output = CheckOutput(request, job.value());
    if (!output) {
        terminal.Fail(output.error().text);
        return kWrongUse;
    }
    return format->run({request, terminal, job.value()});
}

}  // namespace kiv
