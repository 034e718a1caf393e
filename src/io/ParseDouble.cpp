#include "io/ParseDouble.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <system_error>

namespace kiv {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool IsLetter(char c) { return Lower(c) >= 'a' && Lower(c) <= 'z'; }

// True when the text at `first` begins with `word`, which is in lower case.
bool Begins(const char* first, const char* last, std::string_view word) {
    return static_cast<std::size_t>(last - first) >= word.size() &&
           std::equal(word.begin(), word.end(), first,
                      [](char w, char c) { return w == Lower(c); });
}

// "inf", "infinity", "nan" or "nan(...)" with letters, digits and _ between the parentheses.
std::from_chars_result ParseName(const char* first, const char* last, double& value) {
    if (Begins(first, last, "inf")) {
        value = std::numeric_limits<double>::infinity();
        return {first + (Begins(first, last, "infinity") ? 8 : 3), std::errc{}};
    }
    if (!Begins(first, last, "nan")) return {first, std::errc::invalid_argument};
    value = std::numeric_limits<double>::quiet_NaN();
    const char* const behind = first + 3;
    if (behind == last || *behind != '(') return {behind, std::errc{}};
    const char* end = behind + 1;
    while (end != last && (IsLetter(*end) || IsDigit(*end) || *end == '_')) ++end;
    return {end != last && *end == ')' ? end + 1 : behind, std::errc{}};
}

// A number without sign: its first digits that are not 0 as a whole number, and the exponent of 10,
// or of 2 for hexadecimal digits, that goes with it.
class Digits {
  public:
    explicit Digits(bool hex) : hex_(hex) {}

    // Takes the digits at `next`, which may have a point; false when there are none.
    bool Take(const char*& next, const char* last) {
        bool any = false, behind_point = false;
        const char* p = next;
        for (; p != last; ++p) {
            if (*p == '.' && !behind_point) {
                behind_point = true;
            } else if (IsDigit(*p) || (hex_ && IsLetter(*p) && Lower(*p) <= 'f')) {
                any = true;
                Add(*p);
                if (behind_point) exponent_ -= OfDigit();
            } else {
                break;
            }
        }
        if (any) next = p;
        return any;
    }

    // Takes the exponent at `next` if it has a digit.
    void TakeExponent(const char*& next, const char* last) {
        const char* p = next;
        if (p == last || Lower(*p) != (hex_ ? 'p' : 'e')) return;
        ++p;
        const bool negative = p != last && *p == '-';
        if (p != last && (*p == '-' || *p == '+')) ++p;
        if (p == last || !IsDigit(*p)) return;
        std::int64_t exponent = 0;
        constexpr std::int64_t kTooMuch = std::int64_t{1} << 48;  // for any text that fits a memory
        for (; p != last && IsDigit(*p); ++p) {
            if (exponent < kTooMuch) exponent = 10 * exponent + (*p - '0');
        }
        exponent_ += negative ? -exponent : exponent;
        next = p;
    }

    bool IsZero() const { return num_ == 0; }

    // The nearest double.
    double Value() {
        if (IsZero()) return 0.0;
        const int before = errno;
        const double value = hex_ ? HexValue() : DecimalValue();
        errno = before;
        return value;
    }

  private:
    std::int64_t OfDigit() const { return hex_ ? 4 : 1; }

    void Add(char digit) {
        if (num_ == 0 && digit == '0') return;
        if (num_ < (hex_ ? kMostHex : kMostDecimal)) {
            text_[num_++] = digit;
        } else {
            rest_ = rest_ || digit != '0';
            exponent_ += OfDigit();
        }
    }

    // strtod gets no decimal point, which would have to be that of the locale.
    double DecimalValue() {
        char* end = text_ + num_;
        if (rest_) {
            *end++ = '1';
            --exponent_;
        }
        *end++ = 'e';
        *std::to_chars(end, text_ + sizeof text_ - 1, exponent_).ptr = '\0';
        return std::strtod(text_, nullptr);
    }

    // By hand: not every strtod rounds hexadecimal subnormal numbers correctly.
    double HexValue() const {
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < num_; ++i) {
            const char digit = Lower(text_[i]);
            bits =
                16 * bits + static_cast<std::uint64_t>(digit - (IsDigit(digit) ? '0' : 'a' - 10));
        }
        bits = 2 * bits + (rest_ ? 1 : 0);
        const std::int64_t width = std::bit_width(bits);
        const std::int64_t lowest = std::max<std::int64_t>(exponent_ - 1 + width - 53, -1074);
        const std::int64_t shift = lowest - (exponent_ - 1);  // bits that a double does not have
        if (shift > width) return 0.0;
        if (shift > 0) {
            const std::uint64_t half = std::uint64_t{1} << (shift - 1);
            const std::uint64_t dropped = bits & (2 * half - 1);
            bits >>= shift;
            if (dropped > half || (dropped == half && bits % 2 == 1)) ++bits;
        }
        constexpr std::int64_t kInfinite = 2000;
        const std::int64_t exponent = shift > 0 ? lowest : exponent_ - 1;
        return std::ldexp(static_cast<double>(bits),
                          static_cast<int>(std::min(exponent, kInfinite)));
    }

    // Doubles and the numbers in the middle between two have at most 767 decimal digits, and 15
    // hexadecimal ones hold more bits than a double; of what follows it only matters whether it is
    // zero.
    static constexpr std::size_t kMostDecimal = 800, kMostHex = 15;

    bool hex_;
    bool rest_ = false;  // a digit that is not 0 was left out
    std::size_t num_ = 0;
    std::int64_t exponent_ = 0;
    char text_[kMostDecimal + 32];
};

}  // namespace

std::from_chars_result ParseDoubleByStrtod(const char* first, const char* last, double& value,
                                           bool hex) {
    Digits digits(hex);
    const char* next = first;
    if (!digits.Take(next, last)) return ParseName(first, last, value);
    digits.TakeExponent(next, last);
    const double nearest = digits.Value();
    if (std::isinf(nearest) || (nearest == 0.0 && !digits.IsZero())) {
        return {next, std::errc::result_out_of_range};
    }
    value = nearest;
    return {next, std::errc{}};
}

std::from_chars_result ParseDouble(const char* first, const char* last, double& value, bool hex) {
#if defined(__cpp_lib_to_chars) && !defined(KIV_PARSE_STRTOD)
    return std::from_chars(first, last, value,
                           hex ? std::chars_format::hex : std::chars_format::general);
#else
    return ParseDoubleByStrtod(first, last, value, hex);
#endif
}

}  // namespace kiv
