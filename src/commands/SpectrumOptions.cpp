#include "commands/SpectrumOptions.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "named/NumberText.h"
#include "named/NumberWord.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr double kMostPoints = 1e7;
constexpr double kMarginInWidths = 5.0;
constexpr double kStepsPerWidth = 10.0;
constexpr double kUsualWidths = 2000.0;  // in the extent of a spectrum

// What rounding may take from the number of steps.
constexpr double kRounding = 1e-6;

struct ShapeWord {
    const char* word;
    LineShape shape;
};

constexpr ShapeWord kShapes[] = {
    {"gauss", LineShape::Gauss}, {"lorentz", LineShape::Lorentz}, {"voigt", LineShape::Voigt}};

Error WrongUse(const std::string& text) { return {ErrorCode::BadChoice, text, ""}; }

Result<double> NumberOf(const std::string& option, std::string_view word) {
    word = Trimmed(word);
    const NumberWord number = ReadNumberWord(word);
    if (number.fault == WordFault::None) return number.value;
    return WrongUse(option + ": " + Explain(word, number));
}

Status ReadReal(const char* option, const std::optional<std::string>& word,
                std::optional<double>& to) {
    if (!word) return {};
    const Result<double> number = NumberOf(option, *word);
    if (!number) return number.error();
    to = number.value();
    return {};
}

Status ReadShape(const std::string& word, SpectrumOptions& to) {
    const auto* const found = std::find_if(std::begin(kShapes), std::end(kShapes),
                                           [&](const ShapeWord& row) { return word == row.word; });
    if (found == std::end(kShapes)) {
        return WrongUse("--shape knows no " + Quoted(word) + ", it takes gauss, lorentz or voigt");
    }
    to.shape = found->shape;
    return {};
}

Status ReadWidths(const std::string& text, SpectrumOptions& to) {
    const bool is_voigt = to.shape == LineShape::Voigt;
    const std::size_t comma = is_voigt ? text.find(',') : std::string::npos;
    if (is_voigt && comma == std::string::npos) {
        return WrongUse(
            "--fwhm of a voigt shape takes two widths, that of gauss and that of lorentz, as in "
            "--fwhm 0.5,0.2");
    }
    const Result<double> first = NumberOf("--fwhm", text.substr(0, comma));
    if (!first) return first.error();
    const Result<double> second = is_voigt ? NumberOf("--fwhm", text.substr(comma + 1)) : first;
    if (!second) return second.error();
    to.profile = LineProfile{to.shape, first.value(), second.value()};
    if (!std::isfinite(ProfileAt(*to.profile, 0.0))) {
        return WrongUse("--fwhm takes a width above 0, not " + Quoted(text));
    }
    return {};
}

Status CheckTogether(const Request& request, const SpectrumOptions& options) {
    if (request.shift && !request.measured) {
        return WrongUse("--shift needs a measured spectrum, --compare FILE");
    }
    if (request.json && !request.measured) {
        return WrongUse("--json prints a comparison and needs a measured spectrum, --compare FILE");
    }
    if (request.step && request.measured) {
        return WrongUse("--compare takes the points of the measured spectrum, leave --step out");
    }
    if (options.step && !(*options.step > 0.0)) {
        return WrongUse("--step takes a number above 0, not " + Quoted(*request.step));
    }
    if (options.from && options.to && !(*options.from <= *options.to)) {
        return WrongUse("--from " + *request.from + " is above --to " + *request.to);
    }
    return {};
}

// The nearest number of fifteen digits, so that a tenth of 0.7 is 0.07.
double Decimal(double value) {
    char text[64];
    const auto end =
        std::to_chars(text, text + sizeof text, value, std::chars_format::scientific, 14);
    const NumberWord number = ReadNumberWord({text, static_cast<std::size_t>(end.ptr - text)});
    return number.fault == WordFault::None ? number.value : value;
}

}  // namespace

double RoundDown(double value) {
    double power = 1.0, divisor = 1.0;  // quotients of whole numbers are the nearest decimals
    while (power / divisor > value) divisor *= 10.0;
    while (10.0 * power / divisor <= value) power *= 10.0;
    for (const double digit : {5.0, 2.0}) {
        if (digit * power / divisor <= value) return digit * power / divisor;
    }
    return power / divisor;
}

LineProfile SpectrumOptions::ProfileFor(double extent) const {
    if (profile) return *profile;
    const double width = extent > 0.0 ? RoundDown(extent / kUsualWidths) : 1.0;
    return {shape, width, width};
}

Result<SpectrumOptions> ReadSpectrumOptions(const Request& request) {
    SpectrumOptions options;
    if (request.shape) KIV_TRY(ReadShape(*request.shape, options));
    if (request.fwhm) KIV_TRY(ReadWidths(*request.fwhm, options));
    KIV_TRY(ReadReal("--from", request.from, options.from));
    KIV_TRY(ReadReal("--to", request.to, options.to));
    KIV_TRY(ReadReal("--step", request.step, options.step));
    KIV_TRY(CheckTogether(request, options));
    return options;
}

Result<FrequencyGrid> GridOf(const SpectrumOptions& options, double width, double lowest,
                             double highest) {
    FrequencyGrid grid;
    const double tenth = Decimal(width / kStepsPerWidth);
    grid.step = options.step.value_or(options.shape == LineShape::Voigt ? RoundDown(tenth) : tenth);
    const double margin = kMarginInWidths * width;
    grid.first =
        options.from.value_or(Decimal(std::floor((lowest - margin) / grid.step) * grid.step));
    const double last =
        options.to.value_or(Decimal(std::ceil((highest + margin) / grid.step) * grid.step));
    const std::string text = "from " + ShortestText(grid.first) + " to " + ShortestText(last) +
                             " in steps of " + ShortestText(grid.step);
    if (last < grid.first) {
        return WrongUse("there is no point " + text + "; the lines lie from " +
                        ShortestText(lowest) + " to " + ShortestText(highest));
    }
    const double steps = std::floor((last - grid.first) / grid.step + kRounding);
    if (!(steps < kMostPoints)) {
        return WrongUse(text + " a spectrum has more than " + ShortestText(kMostPoints) +
                        " points; narrow --from and --to or widen --fwhm or --step");
    }
    grid.size = static_cast<std::int64_t>(steps) + 1;
    return grid;
}

}  // namespace kiv
