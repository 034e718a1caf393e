// kiv export lin, kiv export par
#include <algorithm>
#include <string>
#include <vector>

#include "commands/Exports.h"
#include "commands/PutProduct.h"
#include "exchange/WriteParameters.h"
#include "job/Calculation.h"
#include "job/OldForm.h"
#include "named/Text.h"

namespace kiv {
namespace {

int Refuse(const ExportTask& task, const std::string& why) {
    task.terminal.Fail(Printable(task.job.file) + " cannot be exported as " +
                       task.request.arguments.front() + ": " + why);
    return kUnusableInput;
}

bool LacksWeights(const LineFeature& feature) {
    const auto& parts = feature.transitions;
    return parts.size() > 1 && !parts.front().weight;
}

// The parts of a blend without weights count by their calculated intensities, in the suite
// equally: the weights of the fit are written.
Status FillWeights(const Job& job, std::vector<LineFeature>& features) {
    if (std::none_of(features.begin(), features.end(), LacksWeights)) return {};
    Workspace work;
    Report report;
    Calculation result;
    KIV_TRY(job.is_fit() ? FitAlone(job, work, report, result)
                         : JudgeLines(job, work, report, result));
    for (std::size_t i = 0; i < features.size(); ++i) {
        if (!LacksWeights(features[i])) continue;
        const std::vector<BlendPart>& parts = result.fit->residuals[i].parts;
        if (parts.size() != features[i].transitions.size()) {
            return Error{ErrorCode::BadInput,
                         "the blend in line " +
                             std::to_string(features[i].transitions.front().line) +
                             " has no weights, and none can be calculated: one of its lines is "
                             "not among the calculated ones",
                         ""};
        }
        for (std::size_t k = 0; k < parts.size(); ++k) {
            features[i].transitions[k].weight = parts[k].weight;
        }
    }
    return {};
}

struct LineCounts {
    int rows = 0, highest_J = 0;
};

LineCounts CountLines(const Job& job) {
    LineCounts counts;
    if (!job.lines) return counts;
    for (const LineFeature& feature : job.lines->features) {
        for (const LineTransition& line : feature.transitions) {
            ++counts.rows;
            counts.highest_J = std::max({counts.highest_J, line.upper.J, line.lower.J});
        }
    }
    return counts;
}

}  // namespace

int ExportLin(const ExportTask& task) {
    const Job& job = task.job;
    if (!job.lines || !job.lines->is_there) {
        return Refuse(task, "it names no measured lines, [fit] lines = \"...\" does");
    }
    std::vector<LineFeature> features = job.lines->features;
    const Status filled = FillWeights(job, features);
    if (!filled) return Refuse(task, filled.error().text);
    LineContext context;
    context.two_states = job.input.two_states;
    context.unit = job.input.unit;
    const Result<std::string> text = WriteLineFile(features, LineFormat::Lin, context);
    if (!text) return Refuse(task, text.error().text);
    return PutProduct(task.request, text.value(), WholeFile::Kind::Product, task.terminal);
}

int ExportPar(const ExportTask& task) {
    const Job& job = task.job;
    const LineCounts lines = CountLines(job);
    const WrittenParameters written = WriteParameters(job.input, lines.rows, lines.highest_J);
    std::vector<std::string> refusals = written.refusals;
    if (job.old) {
        const Losses losses = LossesOf(*job.old);
        refusals.insert(refusals.end(), losses.refusals.begin(), losses.refusals.end());
    }
    for (const std::string& refusal : refusals) Refuse(task, refusal);
    if (!refusals.empty()) return kUnusableInput;
    return PutProduct(task.request, written.text, WholeFile::Kind::Product, task.terminal);
}

}  // namespace kiv
