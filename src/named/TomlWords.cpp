#include "named/TomlWords.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include "named/NumberWord.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr int kMaxDepth = 64;                // of lists and tables within each other
constexpr std::size_t kMaxWholeDigits = 18;  // that fit 64 bits in any case
constexpr std::size_t kMaxWrong = 100;       // words that are explained

bool IsOneOf(char c, std::string_view characters) {
    return characters.find(c) != std::string_view::npos;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsKeyStart(char c) {
    return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || IsOneOf(c, "_-\"'");
}

bool AreDigits(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), IsDigit);
}

std::string_view WithoutSign(std::string_view word) {
    if (word.starts_with('+') || word.starts_with('-')) word.remove_prefix(1);
    return word;
}

// True when every underscore stands between two digits.
bool HasFairUnderscores(std::string_view word) {
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (word[i] != '_') continue;
        if (i == 0 || i + 1 == word.size() || !IsDigit(word[i - 1]) || !IsDigit(word[i + 1])) {
            return false;
        }
    }
    return true;
}

// A decimal number in the strict form: no leading zeros, digits on both sides of the point.
bool IsTomlDecimal(std::string_view word) {
    if (!HasFairUnderscores(word)) return false;
    std::string plain(word);
    std::erase(plain, '_');
    if (ReadNumberWord(plain).fault != WordFault::None) return false;
    const std::string_view text = WithoutSign(plain);
    if (AreDigits(text) && text.size() > kMaxWholeDigits) return false;
    const std::string_view whole = text.substr(0, text.find_first_of(".eE"));
    if (whole.empty() || (whole.size() > 1 && whole[0] == '0')) return false;
    const std::size_t point = text.find('.');
    return point == std::string_view::npos || (point + 1 < text.size() && IsDigit(text[point + 1]));
}

// True for a word that the parser can take: a number, a truth value, or what begins like a date.
bool IsTomlWord(std::string_view word) {
    if (word == "true" || word == "false") return true;
    const std::string_view text = WithoutSign(word);
    if (text == "inf" || text == "nan") return true;
    if (text.starts_with("0x") || text.starts_with("0o") || text.starts_with("0b")) return true;
    const bool is_date = (word.size() > 4 && word[4] == '-' && AreDigits(word.substr(0, 4))) ||
                         (word.size() > 2 && word[2] == ':' && AreDigits(word.substr(0, 2)));
    return is_date || IsTomlDecimal(word);
}

// A value of so many characters.
std::string Placeholder(int width) {
    if (width < 3) return std::string(static_cast<std::size_t>(std::max(width, 1)), '1');
    return "1." + std::string(static_cast<std::size_t>(width - 2), '0');
}

// The segments of a key without quotes and blanks, joined by points.
std::string PathOf(std::string_view key) {
    std::string path;
    while (true) {
        const std::size_t size = std::min(key.find('.'), key.size());
        std::string_view name = Trimmed(key.substr(0, size));
        if (name.size() > 1 && IsOneOf(name[0], "\"'") && name.back() == name[0]) {
            name = name.substr(1, name.size() - 2);
        }
        path += name;
        if (size == key.size()) return path;
        path += '.';
        key.remove_prefix(size + 1);
    }
}

std::string Joined(const std::string& table, std::string_view key) {
    const std::string path = PathOf(key);
    return table.empty() ? path : table + "." + path;
}

// What surrounds a value and thereby ends it.
enum class Within : std::uint8_t { Line, List, Table };

constexpr std::string_view kBlanks = " \t\r";
constexpr std::string_view kWordEnds[] = {" \t\r\n#", " \t\r\n#,]", " \t\r\n,}"};

class Scanner {
  public:
    explicit Scanner(std::string_view text) : text_(text), places_(text) {}

    CleanToml Clean() {
        while (!stopped_) {
            SkipToWord();
            if (at_ == text_.size()) break;
            if (text_[at_] == '[') {
                Header();
            } else {
                Line();
            }
        }
        return {Edited(), std::move(wrong_), bad_header_};
    }

  private:
    struct Edit {
        std::size_t offset, size;
        std::string text;
    };

    bool AtOneOf(std::string_view characters) const {
        return at_ < text_.size() && IsOneOf(text_[at_], characters);
    }
    void SkipBlanks() {
        while (AtOneOf(kBlanks)) ++at_;
    }
    void SkipLine() { at_ = std::min(text_.find('\n', at_), text_.size()); }

    // Skips blanks, line ends and comments.
    void SkipToWord() {
        while (AtOneOf(" \t\r\n#")) {
            if (text_[at_] == '#') {
                SkipLine();
            } else {
                ++at_;
            }
        }
    }

    void Header() {
        while (AtOneOf("[ \t")) ++at_;
        const std::size_t first = at_;
        if (at_ < text_.size() && !IsKeyStart(text_[at_])) {
            bad_header_ = places_.At(at_);
            stopped_ = true;
        }
        const std::size_t size = std::min(text_.find_first_of("]\n", first), text_.size()) - first;
        table_ = PathOf(text_.substr(first, size));
        SkipLine();
    }

    // key = value, and nothing else on the line.
    void Line() {
        const std::size_t key_at = at_;
        const std::optional<std::string_view> key = TakeKey();
        if (!key) return SkipLine();
        const std::string path = Joined(table_, *key);
        const std::size_t behind_equals = at_;
        SkipBlanks();
        if (at_ == text_.size() || AtOneOf("\n#")) {
            edits_.push_back({behind_equals, 0, Placeholder(1)});
            Note(WrongKind::Missing, path, behind_equals, key_at, 0, 0);
            return;
        }
        const std::size_t value_at = at_;
        if (Value(path, Within::Line, 0)) EndLine(path, value_at);
    }

    // Takes a key and the equals sign behind it; none when there is no such sign on the line.
    std::optional<std::string_view> TakeKey() {
        const std::size_t first = at_;
        char quote = 0;
        for (; at_ < text_.size() && text_[at_] != '\n'; ++at_) {
            const char c = text_[at_];
            if (quote != 0) {
                if (c == quote) quote = 0;
            } else if (IsOneOf(c, "\"'")) {
                quote = c;
            } else if (c == '=') {
                return text_.substr(first, at_++ - first);
            } else if (c == '#') {
                break;
            }
        }
        return {};
    }

    // Whether a value was passed over; false when the scan stops or the line was dealt with.
    bool Value(const std::string& path, Within within, int depth) {
        if (depth > kMaxDepth || wrong_.size() > kMaxWrong || at_ == text_.size()) return Stop();
        const char first = text_[at_];
        if (IsOneOf(first, "\"'")) return String(first);
        if (first == '[') return List(path, depth);
        if (first == '{') return Table(path, depth);
        return Word(path, within);
    }

    bool Stop() {
        stopped_ = true;
        return false;
    }

    bool String(char quote) {
        const std::string thrice(3, quote);
        if (text_.substr(at_).starts_with(thrice)) {
            const std::size_t end = text_.find(thrice, at_ + 3);
            if (end == std::string_view::npos) return Stop();
            at_ = end + 3;
            while (AtOneOf({&quote, 1})) ++at_;
            return true;
        }
        for (++at_; at_ < text_.size() && text_[at_] != '\n'; ++at_) {
            if (text_[at_] == quote) {
                ++at_;
                return true;
            }
            if (text_[at_] == '\\' && quote == '"' && at_ + 1 < text_.size()) ++at_;
        }
        return Stop();
    }

    bool List(const std::string& path, int depth) {
        ++at_;
        for (int i = 0;; ++i) {
            SkipToWord();
            if (!AtOneOf("]") &&
                !Value(path + "[" + std::to_string(i) + "]", Within::List, depth + 1)) {
                return false;
            }
            SkipToWord();
            if (!AtOneOf(",]")) return Stop();
            if (text_[at_++] == ']') return true;
        }
    }

    bool Table(const std::string& path, int depth) {
        ++at_;
        while (true) {
            SkipBlanks();
            if (!AtOneOf("}")) {
                const std::optional<std::string_view> key = TakeKey();
                if (!key) return Stop();
                SkipBlanks();
                if (!Value(Joined(path, *key), Within::Table, depth + 1)) return false;
            }
            SkipBlanks();
            if (!AtOneOf(",}")) return Stop();
            if (text_[at_++] == '}') return true;
        }
    }

    bool Word(const std::string& path, Within within) {
        const std::size_t first = at_;
        at_ = std::min(text_.find_first_of(kWordEnds[static_cast<int>(within)], at_), text_.size());
        if (within == Within::Table) TakeDecimals();
        if (within == Within::Line) {
            while (at_ - first > 1 && IsOneOf(text_[at_ - 1], ",;")) --at_;
        }
        const std::string_view word = text_.substr(first, at_ - first);
        if (word.empty()) return Stop();
        if (IsTomlWord(word)) return true;
        const std::size_t size = word.size();
        if (within == Within::Line) at_ = EndOfValues(first);
        edits_.push_back(
            {first, at_ - first, Placeholder(CountCharacters(text_.substr(first, at_ - first)))});
        Note(WrongKind::Value, path, first, first, size, at_ - first);
        return true;
    }

    // In a table, takes a comma and the digits behind it when no key follows: 60839,33
    void TakeDecimals() {
        if (!AtOneOf(",")) return;
        std::size_t end = at_ + 1;
        while (end < text_.size() && IsDigit(text_[end])) ++end;
        const std::size_t next = std::min(text_.find_first_not_of(" \t", end), text_.size());
        if (end > at_ + 1 && next < text_.size() && IsOneOf(text_[next], ",}")) at_ = end;
    }

    // Where the last word of the line ends, a comment aside.
    std::size_t EndOfValues(std::size_t first) const {
        const std::size_t end = std::min(text_.find_first_of("\n#", first), text_.size());
        return first + Trimmed(text_.substr(first, end - first)).size();
    }

    // Notes and covers what stands between a value and the end of its line.
    void EndLine(const std::string& path, std::size_t value_at) {
        SkipBlanks();
        if (at_ == text_.size() || AtOneOf("\n#")) return;
        const std::size_t end = EndOfValues(at_);
        const std::string_view rest = text_.substr(at_, end - at_);
        Note(WrongKind::Surplus, path, value_at, at_,
             std::min(rest.find_first_of(" \t"), rest.size()), rest.size());
        const auto width = static_cast<std::size_t>(CountCharacters(rest));
        edits_.push_back({at_, rest.size(), std::string(width, ' ')});
        at_ = end;
    }

    void Note(WrongKind kind, const std::string& path, std::size_t value_at, std::size_t word_at,
              std::size_t word_size, std::size_t rest_size) {
        wrong_.push_back({kind, path, places_.At(value_at), places_.At(word_at),
                          std::string(text_.substr(word_at, word_size)),
                          std::string(text_.substr(word_at, rest_size))});
    }

    std::string Edited() const {
        std::string text;
        std::size_t copied = 0;
        for (const Edit& edit : edits_) {
            text += text_.substr(copied, edit.offset - copied);
            text += edit.text;
            copied = edit.offset + edit.size;
        }
        text += text_.substr(copied);
        return text;
    }

    std::string_view text_;
    PlaceCounter places_;
    std::size_t at_ = 0;
    std::string table_;
    bool stopped_ = false;
    std::vector<Edit> edits_;
    std::vector<WrongWord> wrong_;
    std::optional<Place> bad_header_;
};

}  // namespace

CleanToml CleanUp(std::string_view text) { return Scanner(text).Clean(); }

}  // namespace kiv
