// Line files with a header row: separators, quotes, comments.
#include <algorithm>
#include <array>
#include <deque>

#include "named/LineRows.h"
#include "named/NumberWord.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr std::string_view kSeparators = ",;\t";

struct Field {
    std::string_view text;
    std::size_t offset = 0;
};

// Splits lines into fields, which are valid until the next line.
class FieldSplitter {
  public:
    // Where a quote is wrong; none when the line could be split. '#' behind a blank or at the start
    // of a field begins a comment.
    std::optional<std::size_t> Split(std::string_view line, char separator) {
        line_ = line;
        separator_ = separator;
        at_ = 0;
        fields_.clear();
        unquoted_.clear();
        fault_.reset();
        while (!fault_) {
            SkipBlanks();
            fields_.push_back({"", at_});
            if (AtEnd() || line_[at_] == '#') break;
            fields_.back().text = line_[at_] == '"' ? Quotation() : Plain();
            if (AtEnd() || line_[at_] != separator_) break;
            ++at_;
        }
        return fault_;
    }

    const std::vector<Field>& fields() const { return fields_; }

  private:
    bool AtEnd() const { return at_ == line_.size(); }
    bool IsBlank(char c) const { return (c == ' ' || c == '\t') && c != separator_; }
    void SkipBlanks() {
        while (!AtEnd() && IsBlank(line_[at_])) ++at_;
    }

    std::string_view Plain() {
        const std::size_t first = at_;
        while (!AtEnd() && line_[at_] != separator_ &&
               !(line_[at_] == '#' && IsBlank(line_[at_ - 1]))) {
            ++at_;
        }
        return Trimmed(line_.substr(first, at_ - first));
    }

    // "text with ""quotes"" in it"
    std::string_view Quotation() {
        const std::size_t first = at_++;
        std::string& text = unquoted_.emplace_back();
        bool is_closed = false;
        while (!AtEnd() && !is_closed) {
            if (line_[at_] != '"') {
                text += line_[at_++];
            } else if (line_.substr(at_).starts_with("\"\"")) {
                text += '"';
                at_ += 2;
            } else {
                is_closed = true;
                ++at_;
            }
        }
        SkipBlanks();
        if (!is_closed) fault_ = first;
        if (!AtEnd() && line_[at_] != separator_ && line_[at_] != '#') fault_ = at_;
        return text;
    }

    std::string_view line_;
    char separator_ = ',';
    std::size_t at_ = 0;
    std::vector<Field> fields_;
    std::deque<std::string> unquoted_;
    std::optional<std::size_t> fault_;
};

std::optional<LineColumn> ColumnNamed(std::string_view name) {
    for (int i = 0; i < kNumLineColumns; ++i) {
        const auto column = static_cast<LineColumn>(i);
        if (name == NameOf(column)) return column;
    }
    return {};
}

bool AreDigits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

class CsvReader {
  public:
    CsvReader(std::string_view text, const LineContext& context, const LineReport& report,
              LineCollector& lines)
        : splitter_(text), context_(context), report_(report), lines_(lines) {}

    void Read() {
        if (!NextRow() || !ReadHeader()) return;
        while (NextRow()) ReadRow();
    }

  private:
    // The next line that is neither empty nor a comment.
    bool NextRow() {
        while (splitter_.Next()) {
            const std::string_view line = Trimmed(splitter_.line());
            if (!line.empty() && line[0] != '#') return true;
        }
        return false;
    }

    // The fields of the line; null when a quote is wrong, which is told.
    const std::vector<Field>* Split() {
        const auto fault = fields_.Split(splitter_.line(), separator_);
        if (!fault) return &fields_.fields();
        report_.Add(FindingCode::BadLineRow, splitter_.At(*fault),
                    "a quoted field ends with a quote and is followed by a separator");
        return nullptr;
    }

    bool ReadHeader() {
        const std::string_view line = splitter_.line();
        const std::size_t first = line.find_first_of(kSeparators);
        separator_ = first == std::string_view::npos ? ',' : line[first];
        const std::vector<Field>* const names = Split();
        if (!names) return false;
        const bool has_known = std::any_of(names->begin(), names->end(), [](const Field& name) {
            return ColumnNamed(name.text).has_value();
        });
        const Place start = splitter_.At(names->front().offset);
        if (!has_known) {
            if (!TellResembled(line, LineFormat::Csv, start, report_)) {
                report_.Add(FindingCode::BadLineRow, start,
                            "the first row names the columns: J_up, Ka_up, Kc_up, J_lo, Ka_lo, "
                            "Kc_lo, frequency, uncertainty");
            }
            return false;
        }
        index_.fill(-1);
        return TakeNames(*names) && HasRequired(start);
    }

    bool TakeNames(const std::vector<Field>& names) {
        std::vector<std::string> known;
        for (int i = 0; i < kNumLineColumns; ++i) {
            known.push_back(NameOf(static_cast<LineColumn>(i)));
        }
        bool good = true;
        for (const Field& name : names) {
            const Place place = splitter_.At(name.offset);
            const auto column = ColumnNamed(name.text);
            const bool is_end = &name == &names.back() && name.text.empty();
            if (is_end) break;
            if (!column) {
                report_.Add(FindingCode::UnknownKey, place,
                            "unknown column " + Quoted(name.text) + ", the nearest known one is " +
                                Quoted(Nearest(name.text, known)));
                good = false;
            } else if (IndexOf(*column) >= 0) {
                report_.Add(FindingCode::SurplusValue, place,
                            "the column " + std::string(name.text) + " stands there twice");
                good = false;
            } else {
                index_[static_cast<std::size_t>(*column)] = static_cast<int>(num_columns_);
            }
            ++num_columns_;
        }
        return good;
    }

    bool HasRequired(Place start) const {
        bool good = true;
        for (int i = 0; i < kNumRequiredColumns; ++i) {
            const auto column = static_cast<LineColumn>(i);
            if (IndexOf(column) >= 0) continue;
            report_.Add(FindingCode::BadLineRow, start,
                        std::string("the column ") + NameOf(column) + " is missing");
            good = false;
        }
        return good;
    }

    int IndexOf(LineColumn column) const { return index_[static_cast<std::size_t>(column)]; }

    void ReadRow() {
        const std::vector<Field>* const fields = Split();
        if (!fields || !HasFairSize(*fields)) return;
        LineRow row(splitter_.number(), splitter_.At(fields->front().offset), context_);
        for (int i = 0; i < kNumLineColumns; ++i) {
            const auto column = static_cast<LineColumn>(i);
            const Field* const field = FieldOf(*fields, column);
            if (field) row.place(column) = splitter_.At(field->offset);
        }
        bool good = ReadQuanta(*fields, row);
        good &= ReadReal(*fields, row, LineColumn::Frequency, row.frequency);
        good &= ReadReal(*fields, row, LineColumn::Uncertainty, row.uncertainty);
        if (const Field* const weight = Given(*fields, LineColumn::Weight)) {
            double value = 0.0;
            good &= ReadReal(*fields, row, LineColumn::Weight, value);
            row.transition.weight = value;
        }
        if (const Field* const comment = Given(*fields, LineColumn::Comment)) {
            row.transition.comment = comment->text;
        }
        if (good) lines_.Take(row);
    }

    // A row may end early where nothing required follows, and with empty fields.
    bool HasFairSize(const std::vector<Field>& fields) const {
        std::size_t size = fields.size();
        while (size > num_columns_ && fields[size - 1].text.empty()) --size;
        if (size > num_columns_) {
            if (TellDecimalComma(fields)) return false;
            report_.Add(FindingCode::SurplusValue, splitter_.At(fields[num_columns_].offset),
                        "the row has " + std::to_string(size) + " columns, the header " +
                            std::to_string(num_columns_));
            return false;
        }
        for (int i = 0; i < kNumRequiredColumns; ++i) {
            const auto column = static_cast<LineColumn>(i);
            if (FieldOf(fields, column)) continue;
            report_.Add(FindingCode::BadLineRow, splitter_.At(LastWord(fields)),
                        std::string("the row ends before ") + NameOf(column));
            return false;
        }
        return true;
    }

    static std::size_t LastWord(const std::vector<Field>& fields) {
        const auto last = std::find_if(fields.rbegin(), fields.rend(),
                                       [](const Field& field) { return !field.text.empty(); });
        return last == fields.rend() ? 0 : last->offset;
    }

    // Between commas, a decimal comma makes two columns of one number.
    bool TellDecimalComma(const std::vector<Field>& fields) const {
        if (separator_ != ',') return false;
        for (std::size_t i = 0; i + 1 < fields.size(); ++i) {
            const Field &whole = fields[i], &rest = fields[i + 1];
            const bool is_real = static_cast<int>(i) == IndexOf(LineColumn::Frequency) ||
                                 static_cast<int>(i) == IndexOf(LineColumn::Uncertainty);
            const bool touch = rest.offset == whole.offset + whole.text.size() + 1;
            if (!is_real || !touch || !AreDigits(whole.text) || !AreDigits(rest.text)) continue;
            const std::string word = std::string(whole.text) + "," + std::string(rest.text);
            const auto column = static_cast<int>(i) == IndexOf(LineColumn::Frequency)
                                    ? LineColumn::Frequency
                                    : LineColumn::Uncertainty;
            double value = 0.0;
            ReadField(word, splitter_.At(whole.offset), column, report_, value);
            return true;
        }
        return false;
    }

    const Field* FieldOf(const std::vector<Field>& fields, LineColumn column) const {
        const int index = IndexOf(column);
        const bool is_there = index >= 0 && static_cast<std::size_t>(index) < fields.size();
        return is_there ? &fields[static_cast<std::size_t>(index)] : nullptr;
    }

    // The field of a column that is not empty.
    const Field* Given(const std::vector<Field>& fields, LineColumn column) const {
        const Field* const field = FieldOf(fields, column);
        return field && !field->text.empty() ? field : nullptr;
    }

    bool ReadQuanta(const std::vector<Field>& fields, LineRow& row) const {
        bool good = true;
        for (const LineColumn column : kQuantumColumns) {
            const std::string_view text = FieldOf(fields, column)->text;
            good &= !text.empty()
                        ? ReadField(text, row.place(column), column, report_, row.quantum(column))
                        : TellEmpty(row, column);
        }
        for (const LineColumn column : {LineColumn::VUp, LineColumn::VLo}) {
            const Field* const field = Given(fields, column);
            if (field) {
                good &=
                    ReadField(field->text, row.place(column), column, report_, row.quantum(column));
            }
        }
        return good;
    }

    // A number that is not negative, apart from the frequency; an uncertainty may be empty.
    bool ReadReal(const std::vector<Field>& fields, const LineRow& row, LineColumn column,
                  double& to) const {
        const Place place = row.place(column);
        const std::string_view text = FieldOf(fields, column)->text;
        if (text.empty()) {
            return column == LineColumn::Uncertainty ? true : TellEmpty(row, column);
        }
        if (!ReadField(text, place, column, report_, to)) return false;
        if (to >= 0.0 || column == LineColumn::Frequency) return true;
        report_.Add(FindingCode::OutOfRange, place, std::string(NameOf(column)) + " is negative");
        return false;
    }

    bool TellEmpty(const LineRow& row, LineColumn column) const {
        report_.Add(FindingCode::BadLineRow, row.place(column),
                    std::string(NameOf(column)) + " is empty");
        return false;
    }

    LineSplitter splitter_;
    FieldSplitter fields_;
    const LineContext& context_;
    const LineReport& report_;
    LineCollector& lines_;
    char separator_ = ',';
    std::array<int, kNumLineColumns> index_{};  // of each column in a row, -1 without it
    std::size_t num_columns_ = 0;
};

}  // namespace

void ReadCsv(std::string_view text, const LineContext& context, const LineReport& report,
             LineCollector& lines) {
    CsvReader(text, context, report, lines).Read();
}

}  // namespace kiv
