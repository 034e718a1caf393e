#include "exchange/Foreign.h"

#include <algorithm>
#include <iterator>

#include "exchange/SuiteWords.h"
#include "io/TextLines.h"
#include "named/NumberWord.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr int kLookedAt = 40;  // lines

bool IsNumber(std::string_view word) {
    const WordFault fault = ReadNumberWord(word).fault;
    return fault == WordFault::None || fault == WordFault::DExponent;
}

std::size_t CountNumbers(std::string_view line, std::size_t first) {
    const std::vector<LineWord> words = FreeWords(line, first, false);
    const auto end = std::find_if(words.begin(), words.end(), [](const LineWord& word) {
        return !word.text.empty() && !IsNumber(word.text);
    });
    return static_cast<std::size_t>(end - words.begin());
}

// The fixed columns of a catalogue or of a level list have numbers with points.
bool HasColumns(std::string_view line, std::size_t least_size,
                std::initializer_list<std::pair<std::size_t, std::size_t>> columns) {
    if (line.size() < least_size) return false;
    return std::all_of(columns.begin(), columns.end(), [&](const auto& column) {
        const std::string_view field = Trimmed(line.substr(column.first, column.second));
        return field.find('.') != std::string_view::npos &&
               field.find(' ') == std::string_view::npos && IsNumber(field);
    });
}

bool IsCatalogue(std::string_view line) {
    return HasColumns(line, 55, {{0, 13}, {13, 8}, {21, 8}, {31, 10}});
}

bool IsLevelList(std::string_view line) {
    return HasColumns(line, 70, {{11, 18}, {29, 18}}) && line.find(':') != std::string_view::npos;
}

bool IsPage(std::string_view line) {
    const std::string_view text = Trimmed(line);
    return text.starts_with("<!") || text.starts_with("<html") || text.starts_with("<HTML") ||
           text.starts_with("<?xml");
}

bool IsNamed(std::string_view line) {
    const std::string_view text = Trimmed(line);
    return text.starts_with("kiv") && Trimmed(text.substr(3)).starts_with("=");
}

bool IsOld(std::string_view line) { return line.find("KIV INPUT FILE") != std::string_view::npos; }

struct RowKind {
    const char* name;
    bool (*is)(std::string_view line);
};

constexpr RowKind kRows[] = {{"a catalogue (.cat)", IsCatalogue},
                             {"a list of levels (.egy)", IsLevelList},
                             {"a web page", IsPage},
                             {"a named input (.toml), which needs no import", IsNamed},
                             {"an input of an old version, see kiv convert", IsOld}};

constexpr const char* kLineKinds[] = {"a line file (.csv)", "a line file (.asn)",
                                      "a line file (.lin)"};
constexpr const char* kOwn[] = {"a parameter file", "an intensity file (.int)",
                                "a line file (.lin)"};

// The option line of a parameter file: a letter, then numbers.
bool IsOptionLine(std::string_view line) {
    const std::size_t first = line.find_first_not_of(" \t'\"");
    if (first == std::string_view::npos) return false;
    const char letter = line[first];
    const bool is_letter = (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
    const std::size_t numbers = std::min(line.find_first_not_of("'\"", first + 1), line.size());
    return is_letter && CountNumbers(line, numbers) >= 5;
}

class Looker {
  public:
    Looker(std::string_view text, SuiteKind kind, const LineReport& report)
        : lines_(text), kind_(kind), report_(report) {}

    bool Look() {
        int records = 0;
        std::size_t second = 0;  // numbers in the second line
        while (lines_.number() < kLookedAt && NextRecord(lines_)) {
            const std::string_view line = lines_.line();
            if (line.find('\0') != std::string_view::npos) return Tell("no text");
            ++records;
            for (const RowKind& row : kRows) {
                if (row.is(line)) return Tell(row.name);
            }
            if (kind_ != SuiteKind::Lines && records == 1) {
                const auto format = Resembled(line);  // a title may have commas
                if (format && (*format != LineFormat::Csv || line.find("J_up") < line.size())) {
                    return Tell(kLineKinds[static_cast<std::size_t>(*format)]);
                }
            }
            if (records == 2) second = CountNumbers(line, 0);
            if (records != 3) continue;
            if (kind_ != SuiteKind::Parameters && IsOptionLine(line) && second >= 1) {
                return Tell("a parameter file (.par, .var)");
            }
            const bool is_dipole = CountNumbers(line, 0) == 2 && second >= 9;
            if (kind_ != SuiteKind::Intensities && is_dipole) {
                return Tell("an intensity file (.int)");
            }
        }
        if (records > 0 || kind_ == SuiteKind::Lines) return false;
        report_.Add(FindingCode::Truncated, {1, 1}, "the file is empty");
        return true;
    }

  private:
    bool Tell(const std::string& what) {
        const char* const own = kOwn[static_cast<std::size_t>(kind_)];
        report_.Add(FindingCode::LooksLike, {lines_.number(), 1},
                    "this looks like " + what + ", not like " + own);
        return true;
    }

    LineSplitter lines_;
    SuiteKind kind_;
    const LineReport& report_;
};

}  // namespace

bool TellForeign(std::string_view text, SuiteKind kind, const LineReport& report) {
    return Looker(WithoutMark(text), kind, report).Look();
}

}  // namespace kiv
