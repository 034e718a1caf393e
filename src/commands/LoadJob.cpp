#include "commands/LoadJob.h"

#include <utility>

#include "job/OldForm.h"
#include "job/OldReading.h"
#include "job/Physics.h"
#include "named/Text.h"
#include "system/TextFile.h"

namespace kiv {
namespace {

constexpr std::size_t kMaxInput = std::size_t{1} << 26;
constexpr std::size_t kMaxLines = std::size_t{1} << 30;

// Standard input has no name: old inputs say in their second line what they are.
bool IsNamed(const std::string& name, std::string_view text) {
    if (name != kStandardInput) return name.ends_with(".toml");
    return text.substr(0, 400).find("KIV INPUT FILE") == std::string_view::npos;
}

void ReadInput(const std::string& name, Job& job) {
    if (IsNamed(name, job.text)) {
        if (auto input = ReadNamed(job.text, job.file, job.findings)) job.input = std::move(*input);
        return;
    }
    job.form = InputForm::Old;
    if (auto reading = ReadOld(job.text, job.file, job.findings)) {
        job.input = NamedOf(reading->document);
        job.input.places = std::move(reading->places);
        job.old = std::move(reading->document);
    }
}

LineContext ContextOf(const Job& job) {
    LineContext context;
    context.two_states = job.input.two_states;
    context.unit = job.input.unit;
    const int max_J = job.input.spectrum.max_J, delta_K = job.input.spectrum.rules.delta_K;
    const auto is_known = [&](const char* path) {  // a truncated old input has no such record
        return job.IsSound(path) && (job.form == InputForm::Named || job.input.places.Has(path));
    };
    if (is_known("spectrum.J_max")) context.max_J = max_J;
    if (is_known("spectrum.delta_K") && delta_K < max_J) context.delta_K = delta_K;
    return context;
}

// A missing file is only wrong where something is fitted to it.
void TellMissing(const std::string& reason, Job& job) {
    const bool is_fit = job.is_fit();
    job.findings.Add({job.file, job.input.places.Of("fit.lines").line,
                      job.input.places.Of("fit.lines").column,
                      is_fit ? Severity::Error : Severity::Warning, FindingCode::NoSuchFile,
                      reason + (is_fit ? "; the fit needs this file of measured lines"
                                       : "; without it the lines have no observed values")});
}

void ReadLines(const std::string& name, Job& job) {
    if (job.input.fit.lines.empty()) return;
    const std::string file = JoinedTo(name, job.input.fit.lines);
    const auto format = job.form == InputForm::Old ? LineFormat::Asn : LineFormatOf(file);
    if (!format) return;  // told already
    JobLines& lines = job.lines.emplace();
    lines.file = file;
    lines.format = *format;
    Result<std::string> text = ReadTextFile(lines.file, kMaxLines);
    if (!text) return TellMissing(text.error().text, job);
    lines.is_there = true;
    lines.text = std::move(text).value();
    lines.features =
        ReadLineFile(lines.text, lines.format, ContextOf(job), lines.file, job.findings);
    if (!job.old || job.old->old_format == 0) return;
    for (LineFeature& feature : lines.features) feature.frequency *= job.old->energy_scale;
}

}  // namespace

std::string FolderOf(std::string_view file) {
    const std::size_t slash = file.rfind('/');
    return std::string(file.substr(0, slash == std::string_view::npos ? 0 : slash + 1));
}

std::string StemOf(std::string_view file) {
    const std::string_view name = file.substr(FolderOf(file).size());
    const std::size_t dot = name.rfind('.');
    return std::string(name.substr(0, dot == 0 ? std::string_view::npos : dot));
}

std::string JoinedTo(const std::string& file, const std::string& name) {
    return name.starts_with('/') ? name : FolderOf(file) + name;
}

Result<Job> LoadJob(const std::string& name) {
    Result<std::string> text = ReadTextFile(name, kMaxInput);
    if (!text) return text.error();
    Job job;
    job.file = name == kStandardInput ? kStandardInputName : name;
    job.text = std::move(text).value();
    ReadInput(name, job);
    ReadLines(name, job);
    CheckPhysics(job);
    job.findings.Sort();
    return job;
}

Result<LoadedLines> LoadLines(const std::string& name, LineFormat format) {
    const Result<std::string> text = ReadTextFile(name, kMaxLines);
    if (!text) return text.error();
    LoadedLines lines;
    lines.file = name;
    lines.format = format;
    LineContext context;
    context.two_states = true;
    lines.features = ReadLineFile(text.value(), format, context, name, lines.findings);
    lines.findings.Sort();
    return lines;
}

}  // namespace kiv
