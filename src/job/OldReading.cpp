#include "job/OldReading.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "io/InputFile.h"
#include "io/RecordReader.h"
#include "io/TextLines.h"
#include "io/TextScan.h"
#include "job/OldAlign.h"
#include "job/OldChecks.h"
#include "job/OldRecords.h"
#include "job/OldVersion.h"
#include "job/OldWords.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr char kDefaultVersion[] = "v1.0";

// A rule below the last record, as the program writes it.
constexpr std::size_t kMinRule = 20;

// A text of another kind has more unsuitable words than one in so many.
constexpr std::size_t kForeign = 4;

std::string Count(std::size_t n, const char* word) {
    return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

class OldReader {
  public:
    OldReader(std::string_view text, const std::string& file, Findings& findings)
        : text_(WithoutMark(text)), file_(file), findings_(findings) {}

    std::optional<OldReading> Read() {
        const std::optional<std::string> version = CheckOldVersion(text_, file_, findings_);
        if (!version) return {};
        version_ = version->empty() ? kDefaultVersion : *version;
        major_ = MajorVersion(version_);
        split_ = SplitOld(text_, major_ > 1);
        AlignWords();
        if (version->empty() && IsForeign()) {
            Add(FindingCode::UnknownVersion, {1, 1},
                "the second line names no version, and this is no input of version 1 either");
            return {};
        }
        TellComment();
        TellRecords();
        TellSurplus();
        return Finish();
    }

  private:
    void Add(FindingCode code, Place place, std::string message) {
        findings_.Add(code, file_, place, std::move(message));
        if (SeverityOf(code) == Severity::Error) ++errors_;
    }

    // The two forms of version 1 differ by a number; when the count of words is wrong, the form
    // that suits better is taken.
    void AlignWords() {
        const bool has_tails = major_ > 1;
        records_ = RecordsOf(version_, false);
        alignment_ = Align(records_, split_.words, has_tails);
        if (major_ > 1) return;
        std::vector<OldRecord> other = RecordsOf(version_, true);
        OldAlignment with_tail = Align(other, split_.words, has_tails);
        const bool says_tail = split_.words.size() > kFormWord && SaysTail();
        const int lead = alignment_.cost - with_tail.cost;
        if (lead < 0 || (lead == 0 && !says_tail)) return;
        records_ = std::move(other);
        alignment_ = std::move(with_tail);
    }

    bool SaysTail() const {
        double number = 0.0;
        TextScan scan(split_.words[kFormWord].text);
        return scan.Real(number) == ScanEnd::Good && (number == 0.0 || number == 1.0);
    }

    // True for a text most of which makes no sense.
    bool IsForeign() const {
        std::size_t wrong = alignment_.surplus.size(), there = 0, cell = 0;
        for (const OldRecord& record : records_) {
            for (const OldCell& c : record.cells) {
                const auto word = alignment_.word_of[cell++];
                if (!word) continue;
                ++there;
                if (CheckWord(split_.words[*word].text, c, false).is_wrong) ++wrong;
            }
        }
        return wrong * kForeign > there;
    }

    void TellComment() {
        if (split_.comment.find('\0') != std::string_view::npos) {
            Add(FindingCode::BadChoice, split_.comment_place, "the comment holds a NUL byte");
        }
        if (split_.comment.empty()) return;
        // a blank comment line makes the next record the comment
        if (split_.first_comments.empty()) return;
        const auto& titles = records_.front().titles;
        const OldComment& comment = split_.first_comments.back();
        if (std::find(titles.begin(), titles.end(), comment.title) == titles.end()) return;
        Add(FindingCode::MissingValue, comment.place,
            "the comment is missing, a line of text in front of " + records_.front().name);
        names_are_comment_ = true;
    }

    // The cells of the file that are missing at its end when it is broken off.
    std::size_t FirstCutOff() const {
        const auto& words = alignment_.word_of;
        std::size_t first = words.size();
        while (first > 0 && !words[first - 1]) --first;
        const bool has_rule =
            !split_.last_comments.empty() && split_.last_comments.back().title.size() >= kMinRule &&
            split_.last_comments.back().title.find_first_not_of('#') == std::string::npos;
        return has_rule || !alignment_.surplus.empty() ? words.size() : first;
    }

    void TellRecords() {
        const std::size_t cut_off = FirstCutOff();
        std::size_t cell = 0;
        for (std::size_t r = 0; r < records_.size(); ++r) {
            const std::size_t size = records_[r].cells.size();
            if (cell + size > cut_off) {
                TellCutOff(r, cell, cut_off);
                return;
            }
            TellRecord(records_[r], cell, true);
            cell += size;
        }
    }

    void TellCutOff(std::size_t r, std::size_t cell, std::size_t cut_off) {
        TellRecord(records_[r], cell, false);
        const OldRecord& record = records_[r];
        const std::size_t there = cut_off > cell ? cut_off - cell : 0;
        std::string missing;
        for (std::size_t i = there; i < record.cells.size(); ++i) {
            missing += (i > there ? ", " : "") + record.cells[i].label;
        }
        const std::size_t more = records_.size() - r - 1;
        Add(FindingCode::Truncated, split_.last,
            std::string(there > 0 ? "the file ends within the record " : "the file ends before ") +
                "\"" + record.name + "\": missing are " + missing +
                (more > 0 ? " and " + Count(more, "further record") : ""));
        for (std::size_t i = r + 1; i < records_.size(); ++i) {
            for (const OldCell& c : records_[i].cells) Forget(c);
        }
    }

    void Forget(const OldCell& cell) { unknown_.insert(cell.paths.begin(), cell.paths.end()); }

    // Of a record with missing words it is not known which ones they are.
    void TellRecord(const OldRecord& record, std::size_t cell, bool tells_missing) {
        const std::size_t size = record.cells.size();
        const auto first = alignment_.word_of.begin() + static_cast<std::ptrdiff_t>(cell);
        const auto there =
            size - static_cast<std::size_t>(
                       std::count(first, first + static_cast<std::ptrdiff_t>(size), std::nullopt));
        std::size_t length = 0;
        std::optional<std::size_t> last;
        for (std::size_t i = 0; i < size; ++i) {
            const auto word = alignment_.word_of[cell + i];
            if (!word) continue;
            last = word;
            length += split_.words[*word].text.size() + 1;
            TellWord(*word, record.cells[i], i + 1 == size, there == size);
        }
        if (length > kMaxRecord + 1) {
            Add(FindingCode::OutOfRange, split_.words[*last].place,
                "the record \"" + record.name + "\" is longer than " + std::to_string(kMaxRecord) +
                    " characters");
        }
        if (there == size) return;
        for (const OldCell& c : record.cells) Forget(c);
        const bool is_comment = names_are_comment_ && &record == &records_.front();
        if (!tells_missing || is_comment) return;
        Add(FindingCode::MissingValue, last ? split_.words[*last].place : PlaceOfNone(record, cell),
            "the record \"" + record.name + "\" has " + std::to_string(there) + " of " +
                Count(size, "value"));
    }

    // Where a record should be that has no word: at its title, or behind the word before.
    Place PlaceOfNone(const OldRecord& record, std::size_t cell) const {
        const auto title_of = [&](const std::vector<OldComment>& comments) {
            return std::find_if(comments.begin(), comments.end(), [&](const OldComment& comment) {
                return std::find(record.titles.begin(), record.titles.end(), comment.title) !=
                       record.titles.end();
            });
        };
        std::size_t next = 0;
        Place place = split_.comment_place;
        while (cell-- > 0) {
            if (!alignment_.word_of[cell]) continue;
            next = *alignment_.word_of[cell] + 1;
            place = split_.words[next - 1].place;
            break;
        }
        const auto& comments =
            next < split_.words.size() ? split_.words[next].comments : split_.last_comments;
        const auto title = title_of(comments);
        return title == comments.end() ? place : title->place;
    }

    // In a record with missing words only mistakes that would be some anywhere are told.
    void TellWord(std::size_t index, const OldCell& cell, bool ends_record, bool is_complete) {
        const OldWord& word = split_.words[index];
        for (const std::string& path : cell.paths) places_.Set(path, word.place);
        const OldFault fault = CheckWord(word.text, cell, ends_record && major_ > 1);
        if (!fault.is_wrong) return;
        Forget(cell);
        const bool is_sure = is_complete || fault.code == FindingCode::DecimalComma ||
                             fault.code == FindingCode::DExponent ||
                             fault.code == FindingCode::LetterForDigit;
        const bool is_broken_off = split_.ends_in_word && index + 1 == split_.words.size() &&
                                   FirstCutOff() < alignment_.word_of.size();
        if (is_sure && !is_broken_off) Add(fault.code, word.place, fault.message);
    }

    // One finding for surplus words that follow each other.
    void TellSurplus() {
        const auto& surplus = alignment_.surplus;
        for (std::size_t k = 0; k < surplus.size(); ++k) {
            if (k > 0 && surplus[k] == surplus[k - 1] + 1) continue;
            std::size_t end = k + 1;
            while (end < surplus.size() && surplus[end] == surplus[end - 1] + 1) ++end;
            TellSurplus(surplus[k], end - k);
        }
    }

    void TellSurplus(std::size_t first, std::size_t count) {
        const OldRecord* record = nullptr;  // in front
        std::size_t cell = 0, last_word = 0;
        for (const OldRecord& r : records_) {
            for (std::size_t i = 0; i < r.cells.size(); ++i, ++cell) {
                const auto word = alignment_.word_of[cell];
                if (!word || *word > first) continue;
                record = &r;
                last_word = *word;
            }
        }
        const OldWord& word = split_.words[first];
        if (!record) {
            return Add(FindingCode::SurplusValue, word.place,
                       Count(count, "surplus word") + " in front of the record \"" +
                           records_.front().name + "\": a comment is one line");
        }
        const bool is_behind =
            record == &records_.back() && word.place.line > split_.words[last_word].place.line;
        const std::string message =
            is_behind ? "what follows the last record is not read"
                      : "the record \"" + record->name + "\" has " +
                            Count(record->cells.size(), "value") + ", " + Quoted(word.text) +
                            (count > 1 ? " and " + Count(count - 1, "further word") : "") +
                            (count > 1 ? " are" : " is") + " too much";
        if (!is_behind) return Add(FindingCode::SurplusValue, word.place, message);
        findings_.Add({file_, word.place.line, word.place.column, Severity::Warning,
                       FindingCode::SurplusValue, message});
    }

    // The file as it would be without its mistakes.
    std::string Mended() const {
        std::string text = "\n";
        if (major_ > 1) text += "# KIV INPUT FILE : VERSION " + version_ + " #\n";
        if (major_ == 1) text.clear();
        const std::string_view comment = Trimmed(split_.comment);
        text += comment.empty() || comment.find('\0') != comment.npos ? "NO COMMENT" : comment;
        text += '\n';
        std::size_t cell = 0;
        for (const OldRecord& record : records_) {
            for (std::size_t i = 0; i < record.cells.size(); ++i, ++cell) {
                const OldCell& c = record.cells[i];
                const auto word = alignment_.word_of[cell];
                text += word ? CheckWord(split_.words[*word].text, c, major_ > 1).mended
                             : DefaultWord(c);
                text += '\n';
            }
        }
        return text;
    }

    std::optional<OldReading> Finish() {
        InputListener silent;
        Result<InputFile> read =
            errors_ == 0 ? ReadInputFile(text_, silent) : Result<InputFile>(Error{});
        if (errors_ == 0 && !read.ok()) {
            Add(FindingCode::BadChoice, split_.last,
                "the file cannot be read: " + read.error().text);
        }
        if (!read.ok()) read = ReadInputFile(Mended(), silent);
        if (!read.ok()) return {};
        OldReading reading{std::move(read).value(), std::move(places_)};
        CheckOldValues(reading.document, reading.places, unknown_, file_, findings_);
        return reading;
    }

    std::string_view text_;
    const std::string& file_;
    Findings& findings_;
    int errors_ = 0;
    std::string version_;
    int major_ = 0;
    OldText split_;
    std::vector<OldRecord> records_;
    OldAlignment alignment_;
    bool names_are_comment_ = false;
    Places places_;
    std::set<std::string, std::less<>> unknown_;  // paths of values that are wrong or missing
};

}  // namespace

std::optional<OldReading> ReadOld(std::string_view text, const std::string& file,
                                  Findings& findings) {
    return OldReader(text, file, findings).Read();
}

}  // namespace kiv
