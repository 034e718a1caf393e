#include "commands/ExportOptions.h"

#include <algorithm>
#include <string_view>

#include "named/NumberWord.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr int kMostTag = 999999;

using Value = std::optional<std::string>;

// Which formats an option is for.
struct OptionUse {
    const char* name;
    Value Request::*value;
    std::string_view formats;
};

constexpr OptionUse kUses[] = {
    {"--tag", &Request::tag, "cat"},
    {"--Q", &Request::q_value, "csv cat"},
    {"--min-lgint", &Request::min_lgint, "csv cat"},
    {"--range", &Request::range, "csv cat"},
    {"--v", &Request::states, "csv cat"},
    {"--temperature", &Request::temperatures, "q"},
    {"--shape", &Request::shape, "spectrum"},
    {"--fwhm", &Request::fwhm, "spectrum"},
    {"--from", &Request::from, "spectrum"},
    {"--to", &Request::to, "spectrum"},
    {"--step", &Request::step, "spectrum"},
    {"--compare", &Request::measured, "spectrum"},
};

Error WrongUse(const std::string& text) { return {ErrorCode::BadChoice, text, ""}; }

Error BelongsTo(const std::string& option, const std::string& format, std::string_view formats) {
    std::string words(formats);
    if (const std::size_t blank = words.find(' '); blank != std::string::npos) {
        words.replace(blank, 1, " and ");
    }
    return WrongUse("export " + format + " has no " + option + ", it is for export " + words);
}

Status CheckUses(const Request& request) {
    const std::string& format = request.arguments.front();
    for (const OptionUse& use : kUses) {
        if (!(request.*use.value) || use.formats.find(format) != std::string_view::npos) continue;
        return BelongsTo(use.name, format, use.formats);
    }
    if (request.shift && format != "spectrum") return BelongsTo("--shift", format, "spectrum");
    return {};
}

Result<double> NumberOf(const char* option, std::string_view word) {
    const NumberWord number = ReadNumberWord(Trimmed(word));
    if (number.fault == WordFault::None) return number.value;
    return WrongUse(std::string(option) + ": " + Explain(word, number));
}

// Numbers that commas part.
Result<std::vector<double>> ListOf(const char* option, std::string_view text) {
    std::vector<double> numbers;
    for (;;) {
        const std::size_t comma = text.find(',');
        const Result<double> number = NumberOf(option, text.substr(0, comma));
        if (!number) return number.error();
        numbers.push_back(number.value());
        if (comma == std::string_view::npos) return numbers;
        text.remove_prefix(comma + 1);
    }
}

Status ReadRange(const std::string& text, ExportOptions& to) {
    const Result<std::vector<double>> ends = ListOf("--range", text);
    if (!ends) return ends.error();
    const std::vector<double>& range = ends.value();
    if (range.size() != 2 || !(range[0] <= range[1])) {
        return WrongUse(
            "--range takes the lowest and the highest frequency, as in "
            "--range 8000,18000, not " +
            Quoted(text));
    }
    to.range = {range[0], range[1]};
    return {};
}

Status ReadTag(const std::string& text, ExportOptions& to) {
    const std::optional<int> tag = ReadWholeWord(text);
    if (!tag || *tag < 0 || *tag > kMostTag) {
        return WrongUse("--tag takes a whole number from 0 to " + std::to_string(kMostTag) +
                        ", not " + Quoted(text));
    }
    to.lines.tag = *tag;
    return {};
}

Status ReadStates(const std::string& text, const Job& job, ExportOptions& to) {
    const bool is_band = text == "1-0", is_lower = text == "0-0", is_upper = text == "1-1";
    if (!is_band && !is_lower && !is_upper) {
        return WrongUse(
            "--v takes 1-0 for the band, 0-0 or 1-1 for the lines within a state, not " +
            Quoted(text));
    }
    if (!job.input.two_states && !is_lower) {
        return WrongUse("--v " + text + " needs an upper state, and " + job.file + " has none");
    }
    if (job.input.two_states && !is_band) to.lines.within = is_lower ? kLower : kUpper;
    return {};
}

Status ReadTemperatures(const std::string& text, ExportOptions& to) {
    const Result<std::vector<double>> list = ListOf("--temperature", text);
    if (!list) return list.error();
    to.temperatures = list.value();
    if (std::all_of(to.temperatures.begin(), to.temperatures.end(),
                    [](double kelvin) { return kelvin > 0.0; })) {
        return {};
    }
    return WrongUse("--temperature takes temperatures above 0 K, as in --temperature 10,100, not " +
                    Quoted(text));
}

}  // namespace

Result<ExportOptions> ReadExportOptions(const Request& request, const Job& job) {
    ExportOptions options;
    KIV_TRY(CheckUses(request));
    if (request.range) KIV_TRY(ReadRange(*request.range, options));
    if (request.tag) KIV_TRY(ReadTag(*request.tag, options));
    if (request.states) KIV_TRY(ReadStates(*request.states, job, options));
    if (request.temperatures) KIV_TRY(ReadTemperatures(*request.temperatures, options));
    if (request.q_value) {
        const Result<double> Q = NumberOf("--Q", *request.q_value);
        if (!Q) return Q.error();
        if (!(Q.value() > 0.0)) {
            return WrongUse("--Q takes a partition function above 0, not " +
                            Quoted(*request.q_value));
        }
        options.lines.Q = Q.value();
    }
    if (request.min_lgint) {
        const Result<double> least = NumberOf("--min-lgint", *request.min_lgint);
        if (!least) return least.error();
        options.lines.min_lgint = least.value();
    }
    return options;
}

}  // namespace kiv
