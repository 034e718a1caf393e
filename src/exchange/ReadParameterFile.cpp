// Reading of parameter files: what each line holds.
#include <cmath>

#include "exchange/ParameterFile.h"
#include "io/TextLines.h"
#include "named/NumberWord.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr SuiteField kCounts[] = {
    {"NPAR", true, 0.0},    {"NLINE", true, 0.0},   {"NITR", true, 0.0},  {"NXPAR", true, 0.0},
    {"THRESH", false, 0.0}, {"ERRTST", false, 1e6}, {"FRAC", false, 1.0}, {"CAL", false, 1.0}};
constexpr SuiteField kOptions[] = {{"SPIND", true, 1.0}, {"NVIB", true, 1.0}, {"KNMIN", true, 0.0},
                                   {"KNMAX", true, 1e9}, {"IXX", true, 0.0},  {"IAX", true, 1.0},
                                   {"WTPL", true, 1.0},  {"WTMN", true, 1.0}, {"VSYM", true, 0.0},
                                   {"EWT", true, 1.0},   {"DIAG", true, 0.0}, {"XOPT", true, 0.0}};
constexpr SuiteField kParameter[] = {
    {"IDPAR", true, 0.0}, {"PAR", false, 0.0}, {"ERPAR", false, 0.0}};
constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr double kLeastCode = 10.0;
constexpr int kMostSpins = 999;  // SPIND; beyond it stands something else

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// The first number of the option line: behind blanks, a letter, and quotes around it.
std::size_t AfterLetter(std::string_view line, bool& says_S) {
    std::size_t at = line.find_first_not_of(" \t'\"");
    if (at == std::string_view::npos) return line.size();
    if (!IsLetter(line[at])) return at;
    says_S = line[at] == 's' || line[at] == 'S';
    ++at;
    while (at < line.size() && (line[at] == '\'' || line[at] == '"')) ++at;
    if (at < line.size() && line[at] == ',') ++at;
    return at;
}

// A row of the covariance begins with a number from -1 to 1 that has a point.
bool IsCovariance(std::string_view line) {
    const std::vector<LineWord> words = FreeWords(line, 0, false);
    if (words.empty()) return false;
    const std::string_view text = words[0].text;
    const std::string_view first = text.substr(0, text.find('-', 1));  // fields touch
    const std::size_t point = first.find('.');
    const NumberWord number = ReadNumberWord(first);
    return point != std::string_view::npos && point + 1 < first.size() &&
           number.fault == WordFault::None && std::fabs(number.value) < 2.0;
}

// A row of two or more numbers whose first is whole, as that of a constant.
bool IsParameter(std::string_view line) {
    const std::vector<LineWord> words = FreeWords(line, 0, false);
    if (words.size() < 2) return false;
    const NumberWord code = ReadNumberWord(words[0].text);
    return code.fault == WordFault::None && code.value == std::trunc(code.value) &&
           std::fabs(code.value) > kLeastCode &&
           ReadNumberWord(words[1].text).fault != WordFault::NotANumber;
}

class ParameterReader {
  public:
    ParameterReader(std::string_view text, bool is_var, const LineReport& report)
        : lines_(WithoutMark(text)), report_(report) {
        file_.is_var = is_var;
    }

    std::optional<ParameterFile> Read() {
        if (lines_.Next()) file_.title = Title(lines_.line());
        if (!Reach("the counts NPAR, NLINE, ...") || !ReadCounts()) return {};
        if (!Reach("the option line") || !ReadOptions()) return {};
        ReadParameters();
        return std::move(file_);
    }

  private:
    // One blank between words.
    static std::string Title(std::string_view line) {
        std::string title;
        for (const LineWord& word : WordsOf(line)) {
            title += (title.empty() ? "" : " ") + ValidUtf8(word.text);
        }
        return title;
    }

    // The next line that is not blank; a file that ends before it is told.
    bool Reach(const char* what) {
        if (NextRecord(lines_)) return true;
        report_.Add(FindingCode::Truncated, {std::max(lines_.number(), 1), 1},
                    std::string("the file ends before ") + what);
        return false;
    }

    bool ReadCounts() {
        const std::vector<LineWord> words = FreeWords(lines_.line(), 0, false);
        if (!ReadSuiteRecord(lines_, words, kCounts, report_, file_.counts)) return false;
        const SuiteNumber& num = file_.count(kNpar);
        if (!num.is_given) {
            report_.Add(FindingCode::MissingValue, num.place, "NPAR, the number of constants");
        } else if (num.value < 1.0) {
            report_.Add(FindingCode::OutOfRange, num.place,
                        "NPAR = " + std::to_string(num.whole()) + ": there are no constants");
        }
        for (const SuiteCount i : {kNline, kNitr}) {
            const SuiteNumber& count = file_.count(i);
            if (count.value >= 0.0) continue;
            report_.Add(FindingCode::OutOfRange, count.place,
                        std::string(kCounts[i].name) + " = " + std::to_string(count.whole()) +
                            " is negative, which has no counterpart here");
        }
        return num.is_given && num.value >= 1.0;
    }

    bool ReadOptions() {
        const std::size_t first = AfterLetter(lines_.line(), file_.says_S);
        const std::vector<LineWord> words = FreeWords(lines_.line(), first, false);
        if (IsParameter(lines_.line()) && words.size() <= 3) {
            report_.Add(FindingCode::MissingValue, lines_.At(first),
                        "the option line, as \"a 1 1 0 99 0 1 1 1 0 1 0\", is missing: this is a "
                        "constant");
            return false;
        }
        if (!ReadSuiteRecord(lines_, words, kOptions, report_, file_.options)) return false;
        for (const SuiteOption i : {kSpind, kNvib}) {
            if (file_.option(i).is_given) continue;
            report_.Add(FindingCode::MissingValue, file_.option(i).place,
                        std::string(kOptions[i].name) + " is missing on the option line");
            return false;
        }
        if (std::abs(file_.option(kSpind).whole()) > kMostSpins) {
            report_.Add(FindingCode::OutOfRange, file_.option(kSpind).place,
                        "SPIND = " + std::to_string(file_.option(kSpind).whole()) +
                            " cannot be: is this the option line?");
            return false;
        }
        if (!file_.option(kWtmn).is_given) {
            TellAs(Severity::Warning, FindingCode::MissingValue, file_.option(kWtmn).place,
                   "the option line ends before WTMN; spin weights that are missing count as 1",
                   report_);
        }
        return true;
    }

    void ReadParameters() {
        const int wanted = file_.count(kNpar).whole();
        int rows = 0;
        bool is_there = NextRecord(lines_);
        for (; is_there && rows < wanted; is_there = NextRecord(lines_)) {
            if (IsCovariance(lines_.line())) break;
            ++rows;
            ReadParameter();
        }
        if (rows < wanted) {
            report_.Add(FindingCode::CountMismatch, file_.count(kNpar).place,
                        "NPAR = " + std::to_string(wanted) + ", but " + std::to_string(rows) +
                            " constants follow; the file may be cut off");
            return;
        }
        for (; is_there; is_there = NextRecord(lines_)) {
            if (IsCovariance(lines_.line()) || !IsParameter(lines_.line())) continue;
            const std::size_t first = lines_.line().find_first_not_of(kBlanks);
            TellAs(Severity::Error, FindingCode::CountMismatch, lines_.At(first),
                   "a constant behind the " + std::to_string(wanted) +
                       " that NPAR counts: the suite leaves it out. Correct NPAR in line " +
                       std::to_string(file_.count(kNpar).place.line) + " or delete this line",
                   report_);
            return;
        }
    }

    // A row with a wrong word is left out.
    void ReadParameter() {
        const std::vector<LineWord> words = FreeWords(lines_.line(), 0, true);
        std::vector<SuiteNumber> numbers;
        if (!ReadSuiteRecord(lines_, words, kParameter, report_, numbers)) return;
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            if (numbers[i].is_given) continue;
            const std::string why = i == 2 ? " (1e36 is free, 1e-37 held)" : "";
            report_.Add(FindingCode::MissingValue, numbers[i].place,
                        std::string(kParameter[i].name) + " is missing behind this word" + why);
            return;
        }
        if (numbers[2].value < 0.0) {
            report_.Add(FindingCode::OutOfRange, numbers[2].place, "ERPAR is negative");
            return;
        }
        file_.parameters.push_back({numbers[0], numbers[1], numbers[2]});
    }

    LineSplitter lines_;
    const LineReport& report_;
    ParameterFile file_;
};

}  // namespace

std::optional<ParameterFile> ReadParameterFile(std::string_view text, bool is_var,
                                               const LineReport& report) {
    return ParameterReader(text, is_var, report).Read();
}

}  // namespace kiv
