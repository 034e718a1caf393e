#include "named/NumberWord.h"

#include <algorithm>
#include <cstddef>
#include <system_error>
#include <utility>

#include "io/ParseDouble.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr std::size_t kMaxWholeDigits = 9;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::size_t CountDigits(std::string_view text) {
    return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), IsDigit) -
                                    text.begin());
}

// Drops a leading sign.
void DropSign(std::string_view& text) {
    if (!text.empty() && (text[0] == '+' || text[0] == '-')) text.remove_prefix(1);
}

// True for digits with at most one point among them, then an exponent or nothing.
bool IsDecimal(std::string_view text) {
    DropSign(text);
    const std::size_t whole = CountDigits(text);
    text.remove_prefix(whole);
    std::size_t fraction = 0;
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        fraction = CountDigits(text);
        text.remove_prefix(fraction);
    }
    if (whole + fraction == 0) return false;
    if (text.empty()) return true;
    if (text[0] != 'e' && text[0] != 'E') return false;
    text.remove_prefix(1);
    DropSign(text);
    return !text.empty() && CountDigits(text) == text.size();
}

// The value of a decimal; none when no double holds it.
std::optional<double> ValueOf(std::string_view decimal) {
    const bool negative = decimal[0] == '-';
    DropSign(decimal);
    double value = 0.0;
    const auto end = decimal.data() + decimal.size();
    if (ParseDouble(decimal.data(), end, value, false).ec != std::errc{}) return {};
    return negative ? -value : value;
}

std::string Replaced(std::string_view text, std::string_view from, std::string_view to) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        if (text.substr(at).starts_with(from)) {
            result += to;
            at += from.size();
        } else {
            result += text[at++];
        }
    }
    return result;
}

std::string WithoutDExponent(std::string_view word) {
    return Replaced(Replaced(word, "D", "e"), "d", "e");
}

std::string WithPoint(std::string_view word) { return Replaced(word, ",", "."); }

std::string WithPlainMinus(std::string_view word) {
    constexpr std::string_view kMinus = "\xE2\x88\x92", kDash = "\xE2\x80\x93";
    return Replaced(Replaced(word, kMinus, "-"), kDash, "-");
}

std::string WithoutThousands(std::string_view word) {
    return Replaced(Replaced(Replaced(word, ",", ""), "'", ""), "_", "");
}

std::string WithDigits(std::string_view word) {
    constexpr std::pair<char, char> kLookalikes[] = {{'O', '0'}, {'o', '0'}, {'l', '1'}, {'I', '1'},
                                                     {'S', '5'}, {'B', '8'}, {'Z', '2'}};
    std::string digits(word);
    for (char& c : digits) {
        for (const auto& [letter, digit] : kLookalikes) {
            if (c == letter) c = digit;
        }
    }
    return digits;
}

// Ways in which a number is miswritten, in the order in which they are tried; each also mends what
// those before it do.
struct Mistake {
    WordFault fault;
    std::string (*mend)(std::string_view);
};

constexpr Mistake kMistakes[] = {
    {WordFault::DecimalComma, WithPoint},
    {WordFault::DExponent, WithoutDExponent},
    {WordFault::LetterForDigit, WithDigits},
};

constexpr Mistake kForeign[] = {
    {WordFault::NotANumber, WithPlainMinus},
    {WordFault::NotANumber, WithoutThousands},
};

NumberWord Diagnosed(std::string_view word) {
    if (std::none_of(word.begin(), word.end(), IsDigit)) return {WordFault::NotANumber, 0.0, ""};
    for (const Mistake& mistake : kForeign) {
        std::string mended = mistake.mend(word);
        const bool was_decimal_comma = IsDecimal(WithPoint(word));
        if (!was_decimal_comma && IsDecimal(mended)) return {mistake.fault, 0.0, std::move(mended)};
    }
    std::string mended(word);
    WordFault first = WordFault::None;
    for (const Mistake& mistake : kMistakes) {
        std::string next = mistake.mend(mended);
        if (first == WordFault::None && next != mended) first = mistake.fault;
        mended = std::move(next);
        if (IsDecimal(mended)) return {first, 0.0, std::move(mended)};
    }
    return {WordFault::NotANumber, 0.0, ""};
}

// clang-format off
struct FaultRow {
    WordFault fault;
    FindingCode code;
    const char* what;
};

constexpr FaultRow kFaults[] = {
    {WordFault::None,           FindingCode::NotANumber,     "is a number"},
    {WordFault::DecimalComma,   FindingCode::DecimalComma,   "has a decimal comma"},
    {WordFault::DExponent,      FindingCode::DExponent,      "has a D in place of the e"},
    {WordFault::LetterForDigit, FindingCode::LetterForDigit, "has a letter in place of a digit"},
    {WordFault::NotANumber,     FindingCode::NotANumber,     "is not a number"},
    {WordFault::TooLarge,       FindingCode::OutOfRange,     "is beyond the numbers that can be held"},
};
// clang-format on

const FaultRow& RowOf(WordFault fault) { return kFaults[static_cast<std::size_t>(fault)]; }

}  // namespace

NumberWord ReadNumberWord(std::string_view word) {
    if (!IsDecimal(word)) return Diagnosed(word);
    const std::optional<double> value = ValueOf(word);
    return value ? NumberWord{WordFault::None, *value, ""}
                 : NumberWord{WordFault::TooLarge, 0., ""};
}

std::optional<int> ReadWholeWord(std::string_view word) {
    const bool negative = word.starts_with('-');
    DropSign(word);
    if (word.empty() || word.size() > kMaxWholeDigits || CountDigits(word) != word.size())
        return {};
    int value = 0;
    for (const char digit : word) value = 10 * value + (digit - '0');
    return negative ? -value : value;
}

FindingCode CodeOf(WordFault fault) { return RowOf(fault).code; }

std::string Explain(std::string_view word, const NumberWord& number) {
    std::string text = Quoted(word) + " " + RowOf(number.fault).what;
    if (!number.correct.empty()) text += ", write " + number.correct;
    return text;
}

}  // namespace kiv
