#include "io/NumText.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace kiv {
namespace {

using num_text::kUnits;
using num_text::PutPair;

// Below 2^49 the value in units of 0.0001 fits 63 bits, and the lowest bit of the mantissa is
// worth less than 1. Numbers beyond, and those next to a tie, are left to printf.
constexpr double kExactLimit = 0x1p49;

// A fraction of a unit that lies this near to one half may be a tie: the error of its product with
// 10000 is below 2^-40.
constexpr double kDoubt = 0x1p-30;

// " 0" .. " 9", "10" .. "99"
constexpr std::array<char, 200> kBlankPairs = [] {
    std::array<char, 200> pairs = num_text::kPairs;
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

// The text of a number in a field of any width.
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
    return PutWide(out, number, std::signbit(value) ? 1 : 0, width);
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
