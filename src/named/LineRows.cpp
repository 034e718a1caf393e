#include "named/LineRows.h"

#include <algorithm>
#include <iterator>

#include "named/NumberWord.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr const char* kNames[] = {"J_up",      "Ka_up",       "Kc_up", "J_lo", "Ka_lo",  "Kc_lo",
                                  "frequency", "uncertainty", "v_up",  "v_lo", "weight", "comment"};
static_assert(std::size(kNames) == kNumLineColumns);

constexpr const char* kFormats[] = {".csv", ".asn", ".lin"};

constexpr std::string_view kBlanks = " \t\r\v\f";

constexpr std::size_t kQuantaWidth = 36;  // of the quantum numbers of a .lin file

std::string Named(LineColumn column, const std::string& text) {
    return std::string(NameOf(column)) + ": " + text;
}

// A word that is no number: what can be said of it has its own code.
void TellWord(std::string_view word, const NumberWord& number, Place place, LineColumn column,
              const LineReport& report) {
    const bool is_other = number.fault == WordFault::NotANumber;
    const FindingCode code = is_other ? FindingCode::BadLineRow : CodeOf(number.fault);
    report.Add(code, place, Named(column, Explain(word, number)));
}

}  // namespace

const char* NameOf(LineColumn column) { return kNames[static_cast<std::size_t>(column)]; }

LineRow::LineRow(int line, Place start, const LineContext& context) {
    transition.line = line;
    transition.upper.v = context.two_states ? 1 : 0;
    places.fill(start);
}

int& LineRow::quantum(LineColumn column) {
    LineLevel &upper = transition.upper, &lower = transition.lower;
    switch (column) {
        case LineColumn::JUp:
            return upper.J;
        case LineColumn::KaUp:
            return upper.Ka;
        case LineColumn::KcUp:
            return upper.Kc;
        case LineColumn::VUp:
            return upper.v;
        case LineColumn::JLo:
            return lower.J;
        case LineColumn::KaLo:
            return lower.Ka;
        case LineColumn::KcLo:
            return lower.Kc;
        default:
            return lower.v;
    }
}

bool LineSplitter::Next() {
    if (text_.empty()) return false;
    const std::size_t size = std::min(text_.find('\n'), text_.size());
    line_ = text_.substr(0, size);
    text_.remove_prefix(std::min(size + 1, text_.size()));
    if (line_.ends_with('\r')) line_.remove_suffix(1);
    ++number_;
    counted_ = 0;
    characters_ = 0;
    return true;
}

// Places of a line are mostly asked for from left to right.
Place LineSplitter::At(std::size_t offset) const {
    offset = std::min(offset, line_.size());
    if (offset < counted_) counted_ = 0, characters_ = 0;
    const int characters = characters_ + CountCharacters(line_.substr(counted_, offset - counted_));
    if (offset > 0 && static_cast<unsigned char>(line_[offset - 1]) < 0x80) {
        counted_ = offset;
        characters_ = characters;
    }
    return {number_, characters + 1};
}

std::vector<LineWord> WordsOf(std::string_view line) {
    std::vector<LineWord> words;
    std::size_t at = line.find_first_not_of(kBlanks);
    while (at != std::string_view::npos) {
        const std::size_t end = std::min(line.find_first_of(kBlanks, at), line.size());
        words.push_back({line.substr(at, end - at), at});
        at = line.find_first_not_of(kBlanks, end);
    }
    return words;
}

bool ReadField(std::string_view word, Place place, LineColumn column, const LineReport& report,
               double& to) {
    const NumberWord number = ReadNumberWord(word);
    if (number.fault == WordFault::None) {
        to = number.value;
        return true;
    }
    TellWord(word, number, place, column, report);
    return false;
}

bool ReadField(std::string_view word, Place place, LineColumn column, const LineReport& report,
               int& to) {
    if (const std::optional<int> whole = ReadWholeWord(word)) {
        to = *whole;
        return true;
    }
    const NumberWord number = ReadNumberWord(word);
    if (number.fault != WordFault::None) {
        TellWord(word, number, place, column, report);
    } else {
        report.Add(FindingCode::BadLineRow, place,
                   Named(column, Quoted(word) + " is not a whole number of a level"));
    }
    return false;
}

// Rows are told apart by their first words: a remark behind them may hold anything.
std::optional<LineFormat> Resembled(std::string_view row) {
    const std::vector<LineWord> words = WordsOf(row);
    const auto wholes_from = [&](std::size_t first) {
        std::size_t end = first;
        while (end < words.size() && ReadWholeWord(words[end].text)) ++end;
        return end - first;
    };
    const auto is_real = [&](std::size_t i) {
        return i < words.size() && ReadNumberWord(words[i].text).fault == WordFault::None;
    };
    const std::size_t wholes = wholes_from(0);
    if ((wholes == 6 || wholes == 8) && is_real(wholes)) return LineFormat::Lin;
    if (wholes <= 1 && wholes_from(1) >= 6 && words.size() > 7) return LineFormat::Asn;
    const std::size_t end_of_quanta = row.find_first_not_of("0123456789+- \t");
    if (end_of_quanta >= kQuantaWidth) return {};
    const auto separators =
        std::count_if(row.begin(), row.end(), [](char c) { return c == ',' || c == ';'; });
    const bool has_names = row.find(kNames[0]) != std::string_view::npos;
    if (has_names || separators >= kNumRequiredColumns - 2) return LineFormat::Csv;
    return {};
}

bool TellResembled(std::string_view row, LineFormat format, Place place, const LineReport& report) {
    const std::optional<LineFormat> other = Resembled(row);
    if (!other || *other == format) return false;
    report.Add(FindingCode::LooksLike, place,
               std::string("this looks like a ") + kFormats[static_cast<std::size_t>(*other)] +
                   " file, not like a " + kFormats[static_cast<std::size_t>(format)] + " file");
    return true;
}

}  // namespace kiv
