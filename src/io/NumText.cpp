#include "io/NumText.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace kiv {
namespace {

// Below 2^49 the value in units of 0.0001 fits 63 bits, and the lowest bit of the mantissa is
// worth less than 1. Numbers beyond, and those next to a tie, are left to printf.
constexpr double kExactLimit = 0x1p49;

constexpr std::uint64_t kUnits = 10000;  // of 0.0001

// A fraction of a unit that lies this near to one half may be a tie: the error of its product with
// 10000 is below 2^-40.
constexpr double kDoubt = 0x1p-30;

// "00", "01" .. "99"
constexpr std::array<char, 200> kPairs = [] {
    std::array<char, 200> pairs{};
    for (int i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

// " 0" .. " 9", "10" .. "99"
constexpr std::array<char, 200> kBlankPairs = [] {
    std::array<char, 200> pairs = kPairs;
    for (int i = 0; i < 10; ++i) pairs[2 * i] = ' ';
    return pairs;
}();

constexpr std::array<std::uint64_t, 20> kPowersOf10 = [] {
    std::array<std::uint64_t, 20> powers{};
    std::uint64_t power = 1;
    for (auto& entry : powers) {
        entry = power;
        power *= 10;
    }
    return powers;
}();

void PutPair(char* out, std::uint64_t pair) { std::memcpy(out, &kPairs[2 * pair], 2); }

// Decimal digits of x, 1 for 0; log10(2) = 1233/4096 is close enough to be off by at most one.
int NumDigits(std::uint64_t x) {
    const int guess = std::bit_width(x | 1) * 1233 >> 12;
    return guess + (x >= kPowersOf10[guess] || guess == 0 ? 1 : 0);
}

// Writes the digits of x so that they end before `end`.
void PutDigitsBefore(char* end, std::uint64_t x) {
    while (x >= 100) {
        PutPair(end -= 2, x % 100);
        x /= 100;
    }
    if (x >= 10) {
        PutPair(end - 2, x);
    } else {
        end[-1] = static_cast<char>('0' + x);
    }
}

// A magnitude rounded to whole numbers and units, unless that is in doubt.
struct Rounded {
    std::uint64_t whole = 0;
    std::uint32_t units = 0;
    bool in_doubt = false;
};

// |value| below 2^49.
Rounded Round(double magnitude) {
    const auto whole = static_cast<std::uint64_t>(static_cast<std::int64_t>(magnitude));
    const double scaled = (magnitude - static_cast<double>(whole)) * static_cast<double>(kUnits);
    const auto below = static_cast<std::int32_t>(scaled);
    const double rest = scaled - below;
    if (std::fabs(rest - 0.5) < kDoubt) return {0, 0, true};
    const auto units = static_cast<std::uint32_t>(below + (rest > 0.5 ? 1 : 0));
    return units == kUnits ? Rounded{whole + 1, 0} : Rounded{whole, units};
}

// Eight decimal digits of x < 10^8, the first one in the lowest byte: pairs of four, two and one
// digit are split side by side in one register.
std::uint64_t SplitDigits(std::uint32_t x) {
    const std::uint64_t fours = x / 10000 | std::uint64_t{x % 10000} << 32;
    const std::uint64_t hundreds = (fours * 10486 >> 20) & 0x0000007F0000007F;
    const std::uint64_t pairs = hundreds | (fours - 100 * hundreds) << 16;
    const std::uint64_t tens = (pairs * 103 >> 10) & 0x000F000F000F000F;
    return tens | (pairs - 10 * tens) << 8;
}

// The text of a number in a field that its digits and sign do not widen; 6 <= width <= 13.
char* PutFitting(char* out, Rounded number, int sign, int width) {
    const std::uint64_t digits = SplitDigits(static_cast<std::uint32_t>(number.whole));
    // Bits before the first digit that is shown, which is the last one for 0.
    const int leading = std::countr_zero(digits | std::uint64_t{1} << 56) & ~7;
    const std::uint64_t blanks = (std::uint64_t{1} << leading) - 1;
    std::uint64_t text = digits + 0x3030303030303030 - (blanks & 0x1010101010101010);
    // In place of the blank before it; without one the sign is 0 and so is the number of bits.
    text += static_cast<std::uint64_t>(sign * ('-' - ' ')) << ((leading - 8) & 63);
    text >>= 8 * (13 - width);
    std::memcpy(out, &text, sizeof text);
    char* const end = out + width;
    end[-5] = '.';
    PutPair(end - 4, number.units / 100);
    PutPair(end - 2, number.units % 100);
    return end;
}

// The text of any other number.
char* PutWide(char* out, Rounded number, int sign, int width) {
    const int length = sign + NumDigits(number.whole) + 5;
    const int blanks = length < width ? width - length : 0;
    std::memset(out, ' ', 16);
    char* const end = out + blanks + length;
    PutPair(end - 2, number.units % 100);
    PutPair(end - 4, number.units / 100);
    end[-5] = '.';
    PutDigitsBefore(end - 5, number.whole);
    if (sign != 0) out[blanks] = '-';
    return end;
}

}  // namespace

char* PutFixed4(char* out, double value, int width) {
    const double magnitude = std::fabs(value);
    const bool is_small = magnitude < kExactLimit;  // not-a-numbers are not
    const Rounded number = is_small ? Round(magnitude) : Rounded{0, 0, true};
    if (number.in_doubt) return out + std::snprintf(out, kFixed4Room, "%*.4f", width, value);
    const int sign = std::signbit(value) ? 1 : 0;
    const int columns = width - 5 - sign;  // for the whole part
    const bool fits = columns >= 1 && width <= 13 && number.whole < kPowersOf10[columns];
    return fits ? PutFitting(out, number, sign, width) : PutWide(out, number, sign, width);
}

char* PutInt(char* out, int value, int width) {
    if (value >= 0 && value < 100 && (width == 2 || width == 3)) {
        out[0] = ' ';
        std::memcpy(out + width - 2, &kBlankPairs[2 * static_cast<std::size_t>(value)], 2);
        return out + width;
    }
    const bool negative = value < 0;
    const std::uint64_t size = negative ? -static_cast<std::int64_t>(value) : value;
    const int length = NumDigits(size) + (negative ? 1 : 0);
    const int blanks = length < width ? width - length : 0;
    std::memset(out, ' ', 8);
    char* const end = out + blanks + length;
    PutDigitsBefore(end, size);
    if (negative) out[blanks] = '-';
    return end;
}

}  // namespace kiv
