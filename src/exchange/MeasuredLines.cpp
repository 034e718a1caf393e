#include "exchange/MeasuredLines.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "exchange/SuiteWords.h"
#include "io/TextLines.h"
#include "named/NumberWord.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr std::size_t kWidth = 3, kQuantaWidth = 36;  // of a field and of all fields
constexpr std::size_t kOneState = 6, kTwoStates = 8;  // quantum numbers of a row
constexpr std::string_view kBlanks = " \t\r";

// Whole numbers at the beginning of a line, parted by blanks.
std::vector<int> FreeQuanta(std::string_view line) {
    std::vector<int> quanta;
    for (const LineWord& word : FreeWords(line, 0, false)) {
        const std::optional<int> whole = ReadWholeWord(word.text);
        if (!whole) break;
        quanta.push_back(*whole);
    }
    return quanta;
}

// The same by columns of three; none when one of them holds something else.
std::optional<std::vector<int>> FixedQuanta(std::string_view line) {
    const std::string_view fixed = line.substr(0, kQuantaWidth);
    const std::size_t used = (fixed.find_last_not_of(kBlanks) + kWidth) / kWidth;
    std::vector<int> quanta;
    for (std::size_t i = 0; i < used; ++i) {
        const std::optional<int> whole = ReadWholeWord(Trimmed(fixed.substr(i * kWidth, kWidth)));
        if (!whole) return {};
        quanta.push_back(*whole);
    }
    return quanta;
}

// True when the numbers are there but not in their columns.
bool IsShifted(std::string_view line, std::size_t wanted) {
    const std::vector<int> free = FreeQuanta(line);
    if (free.size() < wanted) return false;  // fields may touch
    const std::optional<std::vector<int>> fixed = FixedQuanta(line);
    if (!fixed) return true;
    if (fixed->size() != wanted) return fixed->size() != kOneState && fixed->size() != kTwoStates;
    return !std::equal(fixed->begin(), fixed->end(), free.begin());
}

// Tells what is wrong with the columns of a row; false when nothing is.
bool TellColumns(const LineSplitter& lines, bool two_states, const LineReport& report) {
    const std::string_view line = lines.line();
    const std::size_t wanted = two_states ? kTwoStates : kOneState;
    const Place start = lines.At(line.find_first_not_of(kBlanks));
    if (IsShifted(line, wanted)) {
        report.Add(FindingCode::ShiftedColumns, start,
                   "the quantum numbers are not in their columns: three for each, right-aligned, "
                   "from the first column of the line on");
        return true;
    }
    const std::optional<std::vector<int>> fixed = FixedQuanta(line);
    const std::size_t other = two_states ? kOneState : kTwoStates;
    if (!fixed || fixed->size() != other) return false;
    report.Add(FindingCode::BadLineRow, start,
               std::to_string(other) + " quantum numbers, but with " +
                   (two_states ? "two states every line has J Ka Kc v of both levels, 8"
                               : "one state every line has J Ka Kc of both levels, 6"));
    return true;
}

// A negative uncertainty, the second number behind the quanta, says cm-1.
bool IsMHz(std::string_view line) {
    const std::vector<LineWord> words = FreeWords(line, std::min(line.size(), kQuantaWidth), false);
    return words.size() < 2 || !words[1].text.starts_with('-');
}

// In another unit a number may become too large.
void CheckSize(LineFeature& feature, const LineReport& report) {
    if (std::isfinite(feature.frequency) && std::isfinite(feature.uncertainty)) return;
    report.Add(FindingCode::OutOfRange, {feature.transitions.front().line, 1},
               "frequency or uncertainty is beyond the numbers that can be held");
    feature.frequency = feature.uncertainty = 0.0;
}

}  // namespace

MeasuredLines ReadMeasuredLines(std::string_view text, const LineContext& context,
                                const LineReport& report) {
    MeasuredLines measured;
    std::string good;  // without the rows that were told, each line in its place
    LineSplitter lines(WithoutMark(text));
    while (lines.Next()) {
        const std::string_view line = Trimmed(lines.line()), row = lines.line();
        const bool is_row = !line.empty() && line[0] != '/' && line[0] != '\x1A';
        if (is_row) {
            ++measured.rows;
            measured.has_MHz |= IsMHz(row);
            const bool is_lin = Resembled(row).value_or(LineFormat::Lin) == LineFormat::Lin;
            if (!is_lin || !TellColumns(lines, context.two_states, report)) good += row;
        }
        good += '\n';
    }
    measured.features = ReadLineFile(good, LineFormat::Lin, context, report.file, report.findings);
    for (LineFeature& feature : measured.features) {
        CheckSize(feature, report);
        for (const LineTransition& line : feature.transitions) {
            measured.highest_J = std::max({measured.highest_J, line.upper.J, line.lower.J});
        }
    }
    return measured;
}

}  // namespace kiv
