// Assignment files: a band word, eight numbers, remarks; "//" between two sets.
#include <cmath>

#include "io/TextScan.h"
#include "named/LineRows.h"
#include "named/NumberWord.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr std::size_t kFrequencyWord = 7, kUncertaintyWord = 8;

class AsnReader {
  public:
    AsnReader(std::string_view text, const LineContext& context, const LineReport& report,
              LineCollector& lines)
        : splitter_(text), context_(context), report_(report), lines_(lines) {}

    void Read() {
        while (splitter_.Next()) {
            const std::vector<LineWord> words = WordsOf(splitter_.line());
            if (words.empty() || words[0].text[0] == '#') continue;
            if (words[0].text == "//") {
                if (!BeginSet(words)) return;
            } else if (!ReadRow(words)) {
                return;
            }
        }
    }

  private:
    // Separators in front of the first row, or one after the other, begin no set.
    bool BeginSet(const std::vector<LineWord>& words) {
        if (has_rows_) ++set_;
        has_rows_ = false;
        if (set_ < 2) return true;
        report_.Add(FindingCode::BadLineRow, splitter_.At(words[0].offset),
                    "a file has at most two sets of lines");
        return false;
    }

    // False when the file is of another format.
    bool ReadRow(const std::vector<LineWord>& words) {
        const bool is_first = !has_rows_ && set_ == 0;
        const Place start = splitter_.At(words[0].offset);
        if (is_first && TellResembled(splitter_.line(), LineFormat::Asn, start, report_))
            return false;
        has_rows_ = true;
        if (words.size() <= kFrequencyWord) {
            const auto column = words.size() - 1;  // behind the band word
            report_.Add(
                FindingCode::BadLineRow, splitter_.At(words.back().offset),
                std::string("the row ends before ") + NameOf(static_cast<LineColumn>(column)));
            return true;
        }
        LineRow row(splitter_.number(), start, context_);
        if (set_ == 1) row.transition.upper.v = 0;
        bool good = true;
        for (std::size_t i = 0; i < kQuantumColumns.size(); ++i) {
            const LineColumn column = kQuantumColumns[i];
            row.place(column) = splitter_.At(words[i + 1].offset);
            good &= ReadField(words[i + 1].text, row.place(column), column, report_,
                              row.quantum(column));
        }
        good &= ReadFrequency(words[kFrequencyWord], row);
        good &= ReadUncertainty(words, row);
        if (good) lines_.Take(row);
        return true;
    }

    // A number that only the start of a word makes: 12256.58*
    static bool ReadStart(std::string_view word, double& to) {
        double value = 0.0;
        if (TextScan(word).Real(value) != ScanEnd::Good || !std::isfinite(value)) return false;
        to = value;
        return true;
    }

    bool ReadFrequency(const LineWord& word, LineRow& row) const {
        row.place(LineColumn::Frequency) = splitter_.At(word.offset);
        const WordFault fault = ReadNumberWord(word.text).fault;
        if (fault == WordFault::NotANumber && ReadStart(word.text, row.frequency)) return true;
        return ReadField(word.text, row.place(LineColumn::Frequency), LineColumn::Frequency,
                         report_, row.frequency);
    }

    // What stands in the place of the uncertainty without being a number is a remark.
    bool ReadUncertainty(const std::vector<LineWord>& words, LineRow& row) const {
        constexpr auto kColumn = LineColumn::Uncertainty;
        if (words.size() <= kUncertaintyWord) return true;
        const LineWord& word = words[kUncertaintyWord];
        row.place(kColumn) = splitter_.At(word.offset);
        const WordFault fault = ReadNumberWord(word.text).fault;
        const bool begins_number = word.text.find_first_of("0123456789.+-") == 0;
        std::size_t remark = kUncertaintyWord + 1;
        if (fault == WordFault::NotANumber || (fault != WordFault::None && !begins_number)) {
            if (!ReadStart(word.text, row.uncertainty)) remark = kUncertaintyWord;
        } else if (!ReadField(word.text, row.place(kColumn), kColumn, report_, row.uncertainty)) {
            return false;
        }
        row.uncertainty = std::fabs(row.uncertainty);  // its sign has never mattered
        if (remark < words.size()) {
            row.transition.comment = Trimmed(splitter_.line().substr(words[remark].offset));
        }
        return true;
    }

    LineSplitter splitter_;
    const LineContext& context_;
    const LineReport& report_;
    LineCollector& lines_;
    int set_ = 0;
    bool has_rows_ = false;  // the set
};

}  // namespace

void ReadAsn(std::string_view text, const LineContext& context, const LineReport& report,
             LineCollector& lines) {
    AsnReader(text, context, report, lines).Read();
}

}  // namespace kiv
