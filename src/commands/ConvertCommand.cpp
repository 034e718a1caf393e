// kiv convert
#include "commands/Commands.h"
#include "commands/LoadJob.h"
#include "commands/Products.h"
#include "commands/PutProduct.h"
#include "job/Convert.h"
#include "named/Text.h"
#include "system/OutputSet.h"
#include "system/TextFile.h"

namespace kiv {
namespace {

int Refuse(const std::string& text, Terminal& terminal) {
    terminal.Fail(text);
    return kWrongUse;
}

// The line file goes beside the input, so that standard output cannot take both.
int PutConverted(const Request& request, const Conversion& conversion, Terminal& terminal) {
    const std::string& out = *request.output;
    if (out == kStandardInput) {
        return PutProduct(request, conversion.input, WholeFile::Kind::Product, terminal);
    }
    const WholeFile::Kind how = request.force ? WholeFile::Kind::Precious : WholeFile::Kind::Fresh;
    OutputSet outputs;
    outputs.Add(out, conversion.input, how);
    if (!conversion.line_file.empty()) {
        outputs.Add(JoinedTo(out, conversion.line_file), conversion.lines, how);
    }
    for (const std::string& name : outputs.names()) {
        if (!MayWrite(request, name, terminal)) return kWrongUse;
    }
    const Status kept = outputs.Keep();
    if (kept) return kDone;
    terminal.Fail(kept.error().text);
    return kFileFailed;
}

}  // namespace

int Convert(const Request& request, Terminal& terminal) {
    const std::string& name = request.arguments.front();
    if (!request.output) {
        return Refuse("say what to make: kiv convert " + Printable(name) + " -o OUT.toml or OUT.in",
                      terminal);
    }
    const std::string& out = *request.output;
    const bool to_stdout = out == kStandardInput;
    if (!to_stdout && !out.ends_with(".toml") && !out.ends_with(".in")) {
        return Refuse(
            Quoted(out) + " should end in .toml for a named input or in .in for an old one",
            terminal);
    }
    const Result<Job> job = LoadJob(name);
    if (!job) {
        terminal.Fail(job.error().text);
        return kFileFailed;
    }
    terminal.Show(job.value().findings);
    if (!job.value().usable()) return kUnusableInput;
    const InputForm other =
        job.value().form == InputForm::Named ? InputForm::Old : InputForm::Named;
    const bool to_named = to_stdout ? other == InputForm::Named : out.ends_with(".toml");
    if (to_named != (other == InputForm::Named)) {
        return Refuse(Printable(name) + " is of that form already; OUT should end in " +
                          (to_named ? ".in" : ".toml"),
                      terminal);
    }
    const std::string stem = StemOf(to_stdout ? job.value().file : out);
    const Conversion conversion = ConvertJob(job.value(), other, stem);
    for (const std::string& note : conversion.notes) terminal.Note(name + ": note: " + note);
    for (const std::string& refusal : conversion.refusals) {
        terminal.Fail(Printable(name) + " cannot be converted: " + refusal);
    }
    if (!conversion.ok()) return kUnusableInput;
    std::vector<std::string> inputs{name}, outputs{out};
    if (job.value().lines) inputs.push_back(job.value().lines->file);
    if (!conversion.line_file.empty()) outputs.push_back(JoinedTo(out, conversion.line_file));
    const Status free = to_stdout ? Status() : CheckOutputs(outputs, inputs);
    if (!free) return Refuse(free.error().text, terminal);
    return PutConverted(request, conversion, terminal);
}

}  // namespace kiv
