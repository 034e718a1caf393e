#include "io/TextScan.h"

#include <algorithm>
#include <cmath>
#include <system_error>

#include "io/ParseDouble.h"

namespace kiv {
namespace {

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool StartsWithOneOf(std::string_view text, std::string_view letters) {
    return !text.empty() && letters.find(text[0]) != std::string_view::npos;
}

bool StartsWithDigit(std::string_view text) { return !text.empty() && IsDigit(text[0]); }

// True when `rest`, the text behind a complete number, shows that more was meant.
bool IsCutOff(std::string_view rest, bool hex) {
    if (hex) return StartsWithOneOf(rest, "pP.");
    if (StartsWithOneOf(rest, ",")) return StartsWithDigit(rest.substr(1));
    if (!StartsWithOneOf(rest, "eEdD")) return false;
    rest.remove_prefix(1);
    return StartsWithDigit(StartsWithOneOf(rest, "+-") ? rest.substr(1) : rest);
}

bool EndsWord(std::string_view rest) {
    return rest.empty() || IsBlank(rest[0]) || StartsWithOneOf(rest, "#,;");
}

}  // namespace

void TextScan::SkipBlanks() {
    while (next_ < text_.size() && IsBlank(text_[next_])) ++next_;
}

// Takes a sign; true when it was a minus.
bool TextScan::TakeSign() {
    if (!StartsWithOneOf(text_.substr(next_), "+-")) return false;
    return text_[next_++] == '-';
}

bool TextScan::Word(std::string_view& word) {
    SkipBlanks();
    const std::size_t first = next_;
    while (next_ < text_.size() && !IsBlank(text_[next_])) ++next_;
    word = text_.substr(first, next_ - first);
    return !word.empty();
}

std::string_view TextScan::RestOfLine() {
    const std::size_t first = next_;
    const std::size_t end = text_.find('\n', first);
    next_ = end == std::string_view::npos ? text_.size() : end + 1;
    return text_.substr(first, next_ - first);
}

ScanEnd TextScan::Int(std::int64_t low, std::int64_t high, std::int64_t& value) {
    SkipBlanks();
    const std::size_t first = next_;
    const bool negative = TakeSign();
    if (!StartsWithDigit(text_.substr(next_))) {
        next_ = first;
        return ScanEnd::None;
    }
    std::int64_t magnitude = 0;
    constexpr std::int64_t kTooMuch = std::int64_t{1} << 40;
    for (; next_ < text_.size() && IsDigit(text_[next_]); ++next_) {
        if (magnitude < kTooMuch) magnitude = 10 * magnitude + (text_[next_] - '0');
    }
    value = negative ? -magnitude : magnitude;
    return value >= low && value <= high ? ScanEnd::Good : ScanEnd::Bad;
}

ScanEnd TextScan::Real(double& value) {
    SkipBlanks();
    const std::size_t first = next_;
    const bool negative = TakeSign();
    const char* const end = text_.data() + text_.size();
    std::string_view rest = text_.substr(next_);
    const bool hex = rest.starts_with("0x") || rest.starts_with("0X");
    if (hex) rest.remove_prefix(2);
    double magnitude = 0.0;
    std::from_chars_result read{rest.data(), std::errc::invalid_argument};
    if (!rest.empty() && rest[0] != '-') read = ParseDouble(rest.data(), end, magnitude, hex);
    if (read.ec == std::errc::invalid_argument) {
        next_ = first;
        return hex ? ScanEnd::Bad : ScanEnd::None;
    }
    next_ = static_cast<std::size_t>(read.ptr - text_.data());
    if (read.ec != std::errc{}) return ScanEnd::Bad;
    rest = text_.substr(next_);
    if (!std::isfinite(magnitude) && !EndsWord(rest)) {
        next_ = first;
        return ScanEnd::None;
    }
    if (IsCutOff(rest, hex)) return ScanEnd::Bad;
    value = negative ? -magnitude : magnitude;
    return ScanEnd::Good;
}

TextPlace TextScan::PlaceOf(std::string_view part) {
    const auto at = static_cast<std::size_t>(part.data() - text_.data());
    if (at < counted_) counted_ = lines_ = line_start_ = 0;
    for (; counted_ < at; ++counted_) {
        if (text_[counted_] != '\n') continue;
        ++lines_;
        line_start_ = counted_ + 1;
    }
    return {lines_ + 1, at - line_start_ + 1};
}

}  // namespace kiv
