#include "exchange/SuiteWords.h"

#include <algorithm>
#include <cmath>

#include "named/NumberWord.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr char kEndOfFile = '\x1A';  // some editors end a text with it
constexpr double kMostWhole = 1e15;  // exact in a double

std::size_t EndOf(std::string_view line, std::size_t first, std::string_view enders) {
    return std::min(line.find_first_of(enders, first), line.size());
}

std::size_t SkipBlanks(std::string_view line, std::size_t at) {
    return std::min(line.find_first_not_of(kBlanks, at), line.size());
}

bool IsDecimalComma(std::string_view word) {
    return ReadNumberWord(word).fault == WordFault::DecimalComma;
}

}  // namespace

std::vector<LineWord> FreeWords(std::string_view line, std::size_t first, bool may_mistake) {
    std::vector<LineWord> words;
    std::size_t at = SkipBlanks(line, first);
    while (at < line.size() && line[at] != '/' && line[at] != kEndOfFile) {
        std::size_t end = EndOf(line, at, " \t\r\v\f,/");
        const std::size_t blank = EndOf(line, at, kBlanks);
        if (may_mistake && IsDecimalComma(line.substr(at, blank - at))) end = blank;
        words.push_back({line.substr(at, end - at), at});
        at = SkipBlanks(line, end);
        if (at < line.size() && line[at] == ',') at = SkipBlanks(line, at + 1);
    }
    return words;
}

bool ReadSuiteNumber(std::string_view word, Place place, const SuiteField& field,
                     const LineReport& report, double& to) {
    NumberWord number = ReadNumberWord(word);
    if (number.fault == WordFault::DExponent) number = ReadNumberWord(number.correct);
    const std::string name = std::string(field.name) + ": ";
    if (number.fault != WordFault::None) {
        report.Add(CodeOf(number.fault), place, name + Explain(word, number));
        return false;
    }
    if (field.is_whole && number.value != std::trunc(number.value)) {
        report.Add(FindingCode::NotANumber, place, name + Quoted(word) + " is not a whole number");
        return false;
    }
    if (field.is_whole && std::fabs(number.value) > kMostWhole) {
        report.Add(FindingCode::OutOfRange, place, name + Quoted(word) + " is too large");
        return false;
    }
    to = number.value;
    return true;
}

bool ReadSuiteRecord(const LineSplitter& line, std::span<const LineWord> words,
                     std::span<const SuiteField> fields, const LineReport& report,
                     std::vector<SuiteNumber>& to) {
    bool good = true;
    Place last = line.At(SkipBlanks(line.line(), 0));
    to.clear();
    for (std::size_t i = 0; i < fields.size(); ++i) {
        SuiteNumber number{fields[i].usual, last, false};
        if (i < words.size() && !words[i].text.empty()) {
            number.place = last = line.At(words[i].offset);
            number.is_given =
                ReadSuiteNumber(words[i].text, number.place, fields[i], report, number.value);
            good &= number.is_given;
        }
        to.push_back(number);
    }
    return good;
}

bool NextRecord(LineSplitter& lines) {
    while (lines.Next()) {
        const std::size_t first = lines.line().find_first_not_of(kBlanks);
        if (first != std::string_view::npos && lines.line()[first] != kEndOfFile) return true;
    }
    return false;
}

void TellAs(Severity severity, FindingCode code, Place place, const std::string& message,
            const LineReport& report) {
    report.findings.Add({report.file, place.line, place.column, severity, code, message});
}

}  // namespace kiv
