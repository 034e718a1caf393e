// kiv export spectrum
#include <algorithm>
#include <charconv>
#include <optional>
#include <string>
#include <utility>

#include "commands/ExportOptions.h"
#include "commands/Exports.h"
#include "commands/ProductSink.h"
#include "commands/PutProduct.h"
#include "commands/RunOutcome.h"
#include "commands/RunParts.h"
#include "commands/SpectrumOptions.h"
#include "commands/SpectrumText.h"
#include "exchange/MeasuredSpectrum.h"
#include "named/Json.h"
#include "named/NumberText.h"
#include "system/TextFile.h"

namespace kiv {
namespace {

constexpr std::size_t kMaxSpectrum = std::size_t{1} << 31;

std::string Short(double value) {
    char text[64];
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 6);
    return {text, end.ptr};
}

std::string FromTo(double from, double to, EnergyUnit unit) {
    return "from " + Short(from) + " to " + Short(to) + " " + NameOf(unit);
}

class SpectrumExport {
  public:
    explicit SpectrumExport(const ExportTask& task)
        : request_(task.request),
          terminal_(task.terminal),
          job_(task.job),
          work_(WorkspaceFor(job_, task.request)),
          outcome_(job_) {}

    int Go();

  private:
    int ReadMeasured();
    bool TakeRange();
    int CalculateLines();
    int Simulate();
    int Compare();
    std::string WhyNotReached(const LineProfile& profile) const;
    void TellComparison(const LineProfile& profile, const Comparison& comparison) const;
    int PutJson(const Comparison& comparison);
    int Finish(ProductSink& sink);
    std::string WidthText(const LineProfile& profile) const;
    int Fail(const std::string& text, int status) {
        terminal_.Fail(text);
        return status;
    }

    const Request& request_;
    Terminal& terminal_;
    const Job& job_;
    SpectrumOptions options_;
    MeasuredSpectrum measured_;
    MeasuredPoints points_;  // those of the range
    Workspace work_;
    Calculation calculation_;
    RunOutcome outcome_;
    Sticks sticks_;
    double lowest_ = 0.0, highest_ = 0.0;  // positions of lines
};

// kDone when it can be used.
int SpectrumExport::ReadMeasured() {
    const Result<std::string> text = ReadTextFile(*request_.measured, kMaxSpectrum);
    if (!text) return Fail(text.error().text, kFileFailed);
    Findings findings;
    const std::string file =
        *request_.measured == kStandardInput ? kStandardInputName : *request_.measured;
    measured_ = ReadMeasuredSpectrum(text.value(), job_.input.unit, file, findings);
    terminal_.Show(findings);
    if (findings.has_errors()) return kUnusableInput;
    if (TakeRange()) return kDone;
    return Fail(
        "no point of " + file + " lies in the range; it reaches " +
            FromTo(measured_.frequency.front(), measured_.frequency.back(), job_.input.unit) +
            ", read as " + NameOf(measured_.unit),
        kNoResult);
}

// The measured points of the range; false when there are none.
bool SpectrumExport::TakeRange() {
    const std::vector<double>& all = measured_.frequency;
    const auto first =
        options_.from ? std::lower_bound(all.begin(), all.end(), *options_.from) : all.begin();
    const auto last = options_.to ? std::upper_bound(first, all.end(), *options_.to) : all.end();
    const auto begin = static_cast<std::size_t>(first - all.begin());
    const auto size = static_cast<std::size_t>(last - first);
    points_ = {std::span(all).subspan(begin, size),
               std::span(measured_.value).subspan(begin, size)};
    return size > 0;
}

int SpectrumExport::CalculateLines() {
    outcome_.calculation = &calculation_;
    {
        ShownProgress progress(terminal_, request_.verbose);
        outcome_.status = Calculate(job_, work_, progress, calculation_, kLinesAlone);
    }
    TellUnsettled(terminal_, outcome_);
    if (!outcome_.has_result()) {
        return Fail(job_.file + ": " + WhyNoResult(outcome_), kNoResult);
    }
    sticks_ = SticksOf(calculation_.room.lines);
    const auto [low, high] = std::minmax_element(sticks_.position.begin(), sticks_.position.end());
    lowest_ = *low;
    highest_ = *high;
    return kDone;
}

std::string SpectrumExport::WidthText(const LineProfile& profile) const {
    const std::string unit = std::string(" ") + NameOf(job_.input.unit);
    switch (profile.shape) {
        case LineShape::Gauss:
            return "gauss of full width " + Short(profile.gauss) + unit;
        case LineShape::Lorentz:
            return "lorentz of full width " + Short(profile.lorentz) + unit;
        case LineShape::Voigt:
            break;
    }
    return "voigt of full widths " + Short(profile.gauss) + " (gauss) and " +
           Short(profile.lorentz) + unit + " (lorentz)";
}

int SpectrumExport::Finish(ProductSink& sink) {
    const Status kept = sink.Keep();
    if (!kept) return Fail(kept.error().text, kFileFailed);
    if (request_.verbose && request_.output) terminal_.Note("written: " + *request_.output);
    return kDone;
}

int SpectrumExport::Simulate() {
    const double extent = options_.to.value_or(highest_) - options_.from.value_or(lowest_);
    const LineProfile profile = options_.ProfileFor(extent);
    const Result<FrequencyGrid> grid = GridOf(options_, WidthOf(profile), lowest_, highest_);
    if (!grid) return Fail(grid.error().text, kWrongUse);
    const Result<Array<double>> spectrum = Convolve(sticks_, profile, grid.value(), work_.memory());
    if (!spectrum) return Fail(job_.file + ": " + spectrum.error().text, kNoResult);
    const std::size_t size = spectrum.value().size();
    terminal_.Note(job_.file + ": " + WidthText(profile) + ", " + std::to_string(size) +
                   " points " +
                   FromTo(grid.value().first, grid.value()[size - 1], job_.input.unit));
    ProductSink sink(request_, terminal_);
    WriteSpectrum(sink, grid.value(), spectrum.value().Part(0, size));
    return Finish(sink);
}

// Where lines and points lie, and a unit of the points in which they would meet.
std::string SpectrumExport::WhyNotReached(const LineProfile& profile) const {
    const EnergyUnit unit = job_.input.unit;
    const double from = points_.frequency.front(), to = points_.frequency.back();
    std::string text = "the lines lie " + FromTo(lowest_, highest_, unit) +
                       ", the measured points " + FromTo(from, to, unit) + ", read as " +
                       NameOf(measured_.unit);
    const double given = UnitRatio(measured_.unit, unit), margin = WidthOf(profile);
    for (const SpectrumUnit other :
         {SpectrumUnit::MHz, SpectrumUnit::GHz, SpectrumUnit::Wavenumber}) {
        const double ratio = UnitRatio(other, unit) / given;
        const bool meets = from * ratio < highest_ + margin && to * ratio > lowest_ - margin;
        if (other == measured_.unit || !meets) continue;
        text += std::string("; if they are in ") + NameOf(other) +
                ", begin the file with the line # " + NameOf(other);
        break;
    }
    return text;
}

void SpectrumExport::TellComparison(const LineProfile& profile,
                                    const Comparison& comparison) const {
    const std::string unit = std::string(" ") + NameOf(job_.input.unit);
    terminal_.Note(*request_.measured + ": " + std::to_string(points_.value.size()) + " points " +
                   FromTo(points_.frequency.front(), points_.frequency.back(), job_.input.unit) +
                   ", read as " + NameOf(measured_.unit) + "; " + WidthText(profile));
    terminal_.Note("scale " + Short(comparison.scale) + ", offset " + Short(comparison.offset) +
                   ", shift " + Short(comparison.shift) + unit + ", correlation " +
                   Short(comparison.correlation) + ", residual rms " +
                   Short(comparison.residual_rms));
    if (comparison.shift_at_limit) {
        terminal_.Note("the shift is at its limit of one width; the best one may lie beyond");
    }
}

int SpectrumExport::PutJson(const Comparison& comparison) {
    JsonWriter json;
    json.Object().Member("scale", comparison.scale).Member("offset", comparison.offset);
    json.Member("shift", comparison.shift).Member("correlation", comparison.correlation);
    json.Member("residual_rms", comparison.residual_rms).End();
    return PutProduct(request_, json.text() + "\n", WholeFile::Kind::Product, terminal_);
}

int SpectrumExport::Compare() {
    const LineProfile profile =
        options_.ProfileFor(points_.frequency.back() - points_.frequency.front());
    std::optional<double> largest_shift;
    if (request_.shift) largest_shift = WidthOf(profile);
    const Result<Comparison> comparison =
        CompareSpectrum(sticks_, profile, points_, largest_shift, work_.memory());
    if (!comparison) {
        const Error& error = comparison.error();
        const bool is_apart = error.code == ErrorCode::NoLines;
        return Fail(*request_.measured + ": " + error.text +
                        (is_apart ? "; " + WhyNotReached(profile) : ""),
                    kNoResult);
    }
    TellComparison(profile, comparison.value());
    if (request_.json) return PutJson(comparison.value());
    ProductSink sink(request_, terminal_);
    WriteComparison(sink, points_, comparison.value());
    return Finish(sink);
}

int SpectrumExport::Go() {
    const Result<ExportOptions> uses = ReadExportOptions(request_, job_);
    if (!uses) return Fail(uses.error().text, kWrongUse);
    Result<SpectrumOptions> options = ReadSpectrumOptions(request_);
    if (!options) return Fail(options.error().text, kWrongUse);
    options_ = std::move(options).value();
    if (request_.verbose) NoteRead(job_, terminal_);
    if (request_.measured) {
        if (const int status = ReadMeasured(); status != kDone) return status;
    }
    if (const int status = CalculateLines(); status != kDone) return status;
    return request_.measured ? Compare() : Simulate();
}

}  // namespace

int ExportSpectrum(const ExportTask& task) { return SpectrumExport(task).Go(); }

}  // namespace kiv
