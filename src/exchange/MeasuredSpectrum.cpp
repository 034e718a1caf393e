#include "exchange/MeasuredSpectrum.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>

#include "io/ParseDouble.h"
#include "named/NumberWord.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr int kMostErrors = 5;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kMarks16[] = {"\xFF\xFE", "\xFE\xFF"};

struct UnitWord {
    std::string_view word;  // in small letters
    SpectrumUnit unit;
};

constexpr UnitWord kUnitWords[] = {
    {"mhz", SpectrumUnit::MHz},
    {"ghz", SpectrumUnit::GHz},
    {"cm-1", SpectrumUnit::Wavenumber},
    {"cm^-1", SpectrumUnit::Wavenumber},
    {"cm**-1", SpectrumUnit::Wavenumber},
    {"cm^{-1}", SpectrumUnit::Wavenumber},
    {"cm\xE2\x81\xBB\xC2\xB9", SpectrumUnit::Wavenumber},  // superscripts
    {"cm\xE2\x88\x92"
     "1",
     SpectrumUnit::Wavenumber},  // a minus sign
    {"1/cm", SpectrumUnit::Wavenumber},
    {"wavenumber", SpectrumUnit::Wavenumber},
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

std::string InSmallLetters(std::string_view text) {
    std::string small(text);
    for (char& c : small) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return small;
}

// True when what stands before a word is a number: it is the unit of a quantity.
bool IsBehindNumber(std::string_view text, std::size_t at) {
    while (at > 0 && IsBlank(text[at - 1])) --at;
    return at > 0 && IsDigit(text[at - 1]);
}

// The first unit that a line names.
std::optional<SpectrumUnit> UnitIn(std::string_view line) {
    const std::string text = InSmallLetters(line);
    std::size_t first = std::string::npos;
    std::optional<SpectrumUnit> unit;
    for (const UnitWord& row : kUnitWords) {
        for (std::size_t at = text.find(row.word); at < first; at = text.find(row.word, at + 1)) {
            if (IsBehindNumber(text, at)) continue;
            first = at;
            unit = row.unit;
        }
    }
    return unit;
}

// A number, or a word that is meant to be one.
bool BeginsLikeNumber(std::string_view word) {
    if (word.starts_with('+') || word.starts_with('-')) word.remove_prefix(1);
    if (word.starts_with('.')) word.remove_prefix(1);
    return !word.empty() && IsDigit(word[0]);
}

// What parts the columns of a row: ';' or ',' or, for both kinds of blanks, ' '. A comma between
// words that blanks part belongs to the words.
char SeparatorOf(std::string_view row) {
    row = Trimmed(row.substr(0, row.find('#')));
    if (row.find(';') != std::string_view::npos) return ';';
    if (row.find(',') == std::string_view::npos) return ' ';
    for (std::size_t i = 0; i < row.size(); ++i) {
        if (!IsBlank(row[i])) continue;
        std::size_t end = i;
        while (IsBlank(row[end])) ++end;
        if (row[i - 1] != ',' && row[end] != ',') return ' ';
        i = end;
    }
    return ',';
}

class SpectrumReader {
  public:
    SpectrumReader(std::string_view text, const std::string& file, Findings& findings)
        : text_(text), file_(file), findings_(findings) {}

    void Read(MeasuredSpectrum& to);
    bool descends() const { return descends_ == 1; }
    std::optional<SpectrumUnit> unit() const { return header_unit_ ? header_unit_ : comment_unit_; }

  private:
    struct Field {
        std::string_view word;
        std::size_t offset = 0;
    };

    void TakeLine(MeasuredSpectrum& to);
    bool TakeOther(std::string_view trimmed);
    bool ReadQuickly(double& frequency, double& value);
    bool ReadSlowly(double& frequency, double& value);
    Field NextField(std::size_t& at) const;
    bool ReadWord(const Field& field, const char* name, double& value);
    bool ReadNumber(const char*& at, double& value) const;
    bool IsInOrder(const MeasuredSpectrum& to, double frequency);
    void TellSurplus(std::size_t offset);
    void Add(FindingCode code, Severity severity, std::size_t offset, std::string message);
    void AddError(FindingCode code, std::size_t offset, std::string message) {
        Add(code, Severity::Error, offset, std::move(message));
        ++errors_;
    }

    std::string_view text_, line_;
    const std::string& file_;
    Findings& findings_;
    int number_ = 0;  // of the line
    int errors_ = 0;
    char separator_ = '\0';  // once there was a row of numbers
    bool has_surplus_ = false;
    int descends_ = -1;  // -1: not known yet
    std::optional<SpectrumUnit> header_unit_, comment_unit_;
};

void SpectrumReader::Add(FindingCode code, Severity severity, std::size_t offset,
                         std::string message) {
    const int column = 1 + CountCharacters(line_.substr(0, offset));
    findings_.Add({file_, number_, column, severity, code, std::move(message)});
}

// Comments, headers and empty lines; false for a row of numbers.
bool SpectrumReader::TakeOther(std::string_view trimmed) {
    if (trimmed.empty()) return true;
    const bool is_comment = trimmed[0] == '#' || trimmed[0] == ';';
    if (is_comment) {
        if (!separator_ && !comment_unit_) comment_unit_ = UnitIn(trimmed);
        return true;
    }
    if (separator_) return false;
    if (BeginsLikeNumber(trimmed)) {
        separator_ = SeparatorOf(trimmed);
        return false;
    }
    if (const auto unit = UnitIn(trimmed)) header_unit_ = unit;
    return true;
}

bool SpectrumReader::ReadNumber(const char*& at, double& value) const {
    const char* const end = line_.data() + line_.size();
    const bool negative = at != end && *at == '-';
    if (at != end && (*at == '-' || *at == '+')) ++at;
    if (at == end || !(IsDigit(*at) || *at == '.')) return false;
    const auto [behind, error] = ParseDouble(at, end, value, false);
    if (error != std::errc{}) return false;
    if (negative) value = -value;
    at = behind;
    return true;
}

// The usual row of two numbers; false for any other, which is then looked at more closely.
bool SpectrumReader::ReadQuickly(double& frequency, double& value) {
    const char* at = line_.data();
    const char* const end = at + line_.size();
    const auto skip = [&] {
        const char* const first = at;
        while (at != end && IsBlank(*at)) ++at;
        return at != first;
    };
    skip();
    if (!ReadNumber(at, frequency)) return false;
    const bool is_parted = skip();
    if (separator_ == ' ' ? !is_parted : at == end || *at++ != separator_) return false;
    skip();
    if (!ReadNumber(at, value)) return false;
    skip();
    return at == end;
}

SpectrumReader::Field SpectrumReader::NextField(std::size_t& at) const {
    while (at < line_.size() && IsBlank(line_[at])) ++at;
    const std::size_t first = at;
    while (at < line_.size() && line_[at] != '#' &&
           (separator_ == ' ' ? !IsBlank(line_[at]) : line_[at] != separator_)) {
        ++at;
    }
    const Field field{Trimmed(line_.substr(first, at - first)), first};
    if (at < line_.size() && line_[at] != '#') ++at;
    return field;
}

bool SpectrumReader::ReadWord(const Field& field, const char* name, double& value) {
    if (field.word.empty()) {
        AddError(FindingCode::BadLineRow, field.offset,
                 std::string("the row has no ") + name + ", two columns are read");
        return false;
    }
    const NumberWord number = ReadNumberWord(field.word);
    value = number.value;
    if (number.fault == WordFault::None) return true;
    AddError(CodeOf(number.fault), field.offset,
             std::string(name) + ": " + Explain(field.word, number));
    return false;
}

void SpectrumReader::TellSurplus(std::size_t offset) {
    if (has_surplus_) return;
    has_surplus_ = true;
    Add(FindingCode::SurplusValue, Severity::Warning, offset,
        "the row has more than two columns, the first two are read");
}

bool SpectrumReader::ReadSlowly(double& frequency, double& value) {
    std::size_t at = 0;
    const Field first = NextField(at), second = NextField(at);
    if (!ReadWord(first, "frequency", frequency)) return false;
    if (!ReadWord(second, "intensity", value)) return false;
    const Field third = NextField(at);
    if (!third.word.empty()) TellSurplus(third.offset);
    return true;
}

bool SpectrumReader::IsInOrder(const MeasuredSpectrum& to, double frequency) {
    if (to.frequency.empty() || frequency == to.frequency.back()) return true;
    const int descends = frequency < to.frequency.back() ? 1 : 0;
    if (descends_ < 0) descends_ = descends;
    if (descends_ == descends) return true;
    AddError(
        FindingCode::BadLineRow, 0,
        std::string("the frequencies of a spectrum go one way; they go ") +
            (descends ? "up before this row and down in it" : "down before this row and up in it") +
            ", sort the file by frequency");
    errors_ = kMostErrors;
    return false;
}

void SpectrumReader::TakeLine(MeasuredSpectrum& to) {
    double frequency = 0.0, value = 0.0;
    if (!separator_ || !ReadQuickly(frequency, value)) {
        if (TakeOther(Trimmed(line_)) || !ReadSlowly(frequency, value)) return;
    }
    if (!IsInOrder(to, frequency)) return;
    to.frequency.push_back(frequency);
    to.value.push_back(value);
}

void SpectrumReader::Read(MeasuredSpectrum& to) {
    if (text_.starts_with(kByteOrderMark)) text_.remove_prefix(kByteOrderMark.size());
    const bool is_16 = text_.starts_with(kMarks16[0]) || text_.starts_with(kMarks16[1]);
    number_ = 1;
    if (is_16 || text_.find('\0') != std::string_view::npos) {
        AddError(FindingCode::LooksLike, 0,
                 is_16 ? "this is text in UTF-16, save it as UTF-8"
                       : "this is no text; a spectrum has two columns of numbers");
        return;
    }
    for (number_ = 0; !text_.empty() && errors_ < kMostErrors;) {
        const std::size_t end = std::min(text_.find('\n'), text_.size());
        line_ = text_.substr(0, end);
        ++number_;
        TakeLine(to);
        text_.remove_prefix(std::min(end + 1, text_.size()));
    }
    if (!to.frequency.empty() || errors_ > 0) return;
    line_ = {};
    number_ = std::max(number_, 1);
    AddError(FindingCode::BadLineRow, 0,
             "there is no row of numbers; a spectrum has two columns, frequency and intensity");
}

}  // namespace

const char* NameOf(SpectrumUnit unit) {
    constexpr const char* kNames[] = {"MHz", "GHz", "cm-1"};
    return kNames[static_cast<std::size_t>(unit)];
}

double UnitRatio(SpectrumUnit from, EnergyUnit to) {
    constexpr double kMHzPerGHz = 1e3;
    if (to == EnergyUnit::MHz) {
        if (from == SpectrumUnit::Wavenumber) return kMHzPerWavenumber;
        return from == SpectrumUnit::GHz ? kMHzPerGHz : 1.0;
    }
    if (from == SpectrumUnit::Wavenumber) return 1.0;
    return (from == SpectrumUnit::GHz ? kMHzPerGHz : 1.0) / kMHzPerWavenumber;
}

MeasuredSpectrum ReadMeasuredSpectrum(std::string_view text, EnergyUnit unit,
                                      const std::string& file, Findings& findings) {
    MeasuredSpectrum spectrum;
    SpectrumReader reader(text, file, findings);
    reader.Read(spectrum);
    spectrum.unit = reader.unit().value_or(unit == EnergyUnit::MHz ? SpectrumUnit::MHz
                                                                   : SpectrumUnit::Wavenumber);
    if (reader.descends()) {
        std::reverse(spectrum.frequency.begin(), spectrum.frequency.end());
        std::reverse(spectrum.value.begin(), spectrum.value.end());
    }
    const double ratio = UnitRatio(spectrum.unit, unit);
    if (ratio != 1.0) {
        for (double& frequency : spectrum.frequency) frequency *= ratio;
    }
    return spectrum;
}

}  // namespace kiv
