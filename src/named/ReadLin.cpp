// Line files of fixed columns: twelve fields of three columns, then numbers in free format.
#include <algorithm>
#include <iterator>
#include <span>

#include "named/LineRows.h"
#include "named/NumberWord.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr std::size_t kFields = 12, kWidth = 3;
constexpr std::string_view kBlanks = " \t\r";

constexpr LineColumn kWithStates[] = {LineColumn::JUp,  LineColumn::KaUp, LineColumn::KcUp,
                                      LineColumn::VUp,  LineColumn::JLo,  LineColumn::KaLo,
                                      LineColumn::KcLo, LineColumn::VLo};

// Numbers and remarks behind the columns: parted by blanks or one comma, ended by a slash.
class FreeFormat {
  public:
    FreeFormat(std::string_view line, std::size_t first) : line_(line), at_(first) {}

    /// The next field, empty between two commas; none at the end.
    std::optional<LineWord> Next() {
        SkipBlanks();
        if (at_ == line_.size() || line_[at_] == '/') return {};
        const std::size_t first = at_;
        at_ = std::min(line_.find_first_of(" \t\r,/", at_), line_.size());
        if (IsDecimalComma(first)) {
            at_ = std::min(line_.find_first_of(kBlanks, at_), line_.size());
        }
        const LineWord word{line_.substr(first, at_ - first), first};
        SkipBlanks();
        if (at_ < line_.size() && line_[at_] == ',') ++at_;
        return word;
    }

    /// What is left, without the slash.
    std::string_view Rest() const {
        const std::string_view rest = Trimmed(line_.substr(at_));
        return rest.starts_with('/') ? Trimmed(rest.substr(1)) : rest;
    }

  private:
    void SkipBlanks() { at_ = std::min(line_.find_first_not_of(kBlanks, at_), line_.size()); }

    // 18343,143 and nothing else up to the next blank.
    bool IsDecimalComma(std::size_t first) const {
        const std::size_t end = std::min(line_.find_first_of(kBlanks, first), line_.size());
        const std::string_view word = line_.substr(first, end - first);
        return ReadNumberWord(word).fault == WordFault::DecimalComma;
    }

    std::string_view line_;
    std::size_t at_;
};

class LinReader {
  public:
    LinReader(std::string_view text, const LineContext& context, const LineReport& report,
              LineCollector& lines)
        : splitter_(text), context_(context), report_(report), lines_(lines) {}

    void Read() {
        bool is_first = true;
        while (splitter_.Next()) {
            const std::string_view line = splitter_.line();
            if (Trimmed(line).empty() || Trimmed(line)[0] == '/') continue;
            const Place start = splitter_.At(line.find_first_not_of(kBlanks));
            if (is_first && TellResembled(line, LineFormat::Lin, start, report_)) return;
            is_first = false;
            LineRow row(splitter_.number(), start, context_);
            if (ReadQuanta(row) && ReadNumbers(row)) lines_.Take(row);
        }
    }

  private:
    bool ReadQuanta(LineRow& row) const {
        const std::string_view fixed = splitter_.line().substr(0, kFields * kWidth);
        const std::size_t used = (fixed.find_last_not_of(kBlanks) + kWidth) / kWidth;
        std::span<const LineColumn> columns = kQuantumColumns;
        if (used == std::size(kWithStates)) columns = kWithStates;
        if (used != columns.size()) {
            report_.Add(FindingCode::BadLineRow, row.place(LineColumn::JUp),
                        "columns 1 to 36 hold 6 or 8 quantum numbers of three columns, J Ka Kc or "
                        "J Ka Kc v of both levels, not " +
                            std::to_string(used));
            return false;
        }
        bool good = true;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const std::string_view field = fixed.substr(i * kWidth, kWidth);
            const std::size_t blanks = std::min(field.find_first_not_of(kBlanks), field.size());
            row.place(columns[i]) = splitter_.At(i * kWidth + blanks);
            good &= ReadField(Trimmed(field), row.place(columns[i]), columns[i], report_,
                              row.quantum(columns[i]));
        }
        return good;
    }

    bool ReadNumbers(LineRow& row) const {
        const std::string_view line = splitter_.line();
        FreeFormat rest(line, std::min(line.size(), kFields * kWidth));
        const std::optional<LineWord> frequency = rest.Next();
        if (!frequency) {
            report_.Add(FindingCode::BadLineRow, row.place(LineColumn::JUp),
                        "the row ends before frequency");
            return false;
        }
        row.place(LineColumn::Frequency) = splitter_.At(frequency->offset);
        if (!ReadNumber(frequency->text, row, LineColumn::Frequency, row.frequency)) return false;
        std::optional<double> uncertainty;
        if (!ReadOptional(rest, row, LineColumn::Uncertainty, uncertainty) ||
            !ReadOptional(rest, row, LineColumn::Weight, row.transition.weight)) {
            return false;
        }
        row.uncertainty = uncertainty.value_or(0.0);
        row.transition.comment = rest.Rest();
        ConvertUnit(row);
        if (row.transition.weight.value_or(0.0) >= 0.0) return true;
        report_.Add(FindingCode::OutOfRange, row.place(LineColumn::Weight), "weight is negative");
        return false;
    }

    // A number that may be left out; a word that is none begins a remark.
    bool ReadOptional(FreeFormat& rest, LineRow& row, LineColumn column,
                      std::optional<double>& to) const {
        FreeFormat behind = rest;
        const std::optional<LineWord> word = behind.Next();
        if (!word) return true;
        if (!word->text.empty()) {
            const bool begins_number = word->text.find_first_of("0123456789.+-") == 0;
            const WordFault fault = ReadNumberWord(word->text).fault;
            if (!begins_number || fault == WordFault::NotANumber) return true;
            row.place(column) = splitter_.At(word->offset);
            double value = 0.0;
            if (!ReadNumber(word->text, row, column, value)) return false;
            to = value;
        }
        rest = behind;
        return true;
    }

    // A number with a D exponent or an e.
    bool ReadNumber(std::string_view word, const LineRow& row, LineColumn column,
                    double& to) const {
        const NumberWord number = ReadNumberWord(word);
        const bool has_D = number.fault == WordFault::DExponent;
        return ReadField(has_D ? number.correct : word, row.place(column), column, report_, to);
    }

    // A negative uncertainty says that both are in cm-1.
    void ConvertUnit(LineRow& row) const {
        const bool is_wavenumber = row.uncertainty < 0.0;
        if (is_wavenumber) row.uncertainty = -row.uncertainty;
        if (is_wavenumber == (context_.unit == EnergyUnit::Wavenumber)) return;
        const auto convert = [&](double& x) {
            x = is_wavenumber ? x * kMHzPerWavenumber : x / kMHzPerWavenumber;
        };
        convert(row.frequency);
        convert(row.uncertainty);
    }

    LineSplitter splitter_;
    const LineContext& context_;
    const LineReport& report_;
    LineCollector& lines_;
};

}  // namespace

void ReadLin(std::string_view text, const LineContext& context, const LineReport& report,
             LineCollector& lines) {
    LinReader(text, context, report, lines).Read();
}

}  // namespace kiv
