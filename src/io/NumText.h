// Numbers as text in fixed columns, byte for byte as printf writes them, without its cost.
#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "base/BitCast.h"

namespace kiv {

/// Most characters that PutFixed4 can need, its free space behind the number included: the
/// largest double has 309 digits before the point.
constexpr std::size_t kFixed4Room = 352;
/// The same for PutInt.
constexpr std::size_t kIntRoom = 32;

/// Writes `value` at `out` as "%<width>.4f" does, rounded half to even on its exact binary value;
/// width 1..16. Returns the end of the text; up to 16 characters behind it may be overwritten.
char* PutFixed4(char* out, double value, int width);

/// Writes `value` at `out` as "%<width>d" does; width 1..8. Returns the end of the text; up to 8
/// characters behind it may be overwritten.
char* PutInt(char* out, int value, int width);

namespace num_text {

inline constexpr std::uint32_t kUnits = 10000;  // of 0.0001
inline constexpr double kMostUnits = 1e12;

// A fraction of a unit that lies this near to one half may be a tie: the error of a product below
// kMostUnits is at most 2^-14.
inline constexpr double kDoubt = 0x1p-13;

// "00", "01" .. "99"
inline constexpr std::array<char, 200> kPairs = [] {
    std::array<char, 200> pairs{};
    for (int i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

inline void PutPair(char* out, std::uint64_t pair) { std::memcpy(out, &kPairs[2 * pair], 2); }

// Eight decimal digits of x < 10^8, the first one in the lowest byte: pairs of four, two and one
// digit are split side by side in one register.
inline std::uint64_t SplitDigits(std::uint32_t x) {
    const std::uint64_t fours = x / 10000 | std::uint64_t{x % 10000} << 32;
    const std::uint64_t hundreds = (fours * 10486 >> 20) & 0x0000007F0000007F;
    const std::uint64_t pairs = hundreds | (fours - 100 * hundreds) << 16;
    const std::uint64_t tens = (pairs * 103 >> 10) & 0x000F000F000F000F;
    return tens | (pairs - 10 * tens) << 8;
}

// The text of x < 10^4.
inline std::uint32_t FourDigits(std::uint32_t x) {
    char text[4];
    PutPair(text, x / 100);
    PutPair(text + 2, x % 100);
    std::uint32_t bytes = 0;
    std::memcpy(&bytes, text, sizeof bytes);
    return bytes;
}

constexpr std::int64_t PowerOf10(int exponent) {
    return exponent == 0 ? 1 : 10 * PowerOf10(exponent - 1);
}

}  // namespace num_text

/// |value| in units of 0.0001, rounded as printf does; -1 when that takes a closer look: from 1e8
/// on, where the value is no number, and within 1e-8 of the middle between two.
inline std::int64_t UnitsOf(double value) {
    const double units = std::fabs(value) * num_text::kUnits;
    if (!(units < num_text::kMostUnits)) return -1;
    const auto below = static_cast<std::int64_t>(units);
    const double rest = units - static_cast<double>(below);
    if (std::fabs(rest - 0.5) < num_text::kDoubt) return -1;
    return below + (rest > 0.5 ? 1 : 0);
}

/// The same for several numbers side by side, which are overwritten.
inline void FindUnits(std::span<double> value, std::int64_t* units) {
    constexpr double kWholeFrom = 0x1p52;  // from here to twice that doubles are the whole numbers
    constexpr double kUnsure = 0x1.fffffffffffffp51;  // the one before
    for (double& x : value) {
        const double exact = std::fabs(x) * num_text::kUnits;
        const double sum = exact + kWholeFrom;
        const double rest = std::fabs(exact - (sum - kWholeFrom));
        const bool is_sure = (exact < num_text::kMostUnits) & (0.5 - rest >= num_text::kDoubt);
        x = is_sure ? sum : kUnsure;
    }
    for (std::size_t i = 0; i < value.size(); ++i) {
        units[i] = BitCast<std::int64_t>(value[i]) - BitCast<std::int64_t>(kWholeFrom);
    }
}

/// True when a number of so many units needs no more than Width columns.
template <int Width>
bool FitUnits(std::int64_t units, bool is_negative) {
    constexpr std::int64_t kMost = num_text::PowerOf10(Width - 1);
    return units >= 0 && units < (is_negative ? kMost / 10 : kMost);
}

/// Writes a number of units for which FitUnits holds; 7 <= Width <= 13.
template <int Width>
char* PutUnits(char* out, std::int64_t units, bool is_negative) {
    static_assert(7 <= Width && Width <= 13);
    const auto size = static_cast<std::uint64_t>(units);
    std::uint64_t digits = 0;  // of the whole part, the last one in the highest byte
    std::uint32_t part = 0;    // what stands behind the point
    if constexpr (Width <= 9) {
        const std::uint64_t all = num_text::SplitDigits(static_cast<std::uint32_t>(size));
        digits = all << 32;
        part = static_cast<std::uint32_t>(all >> 32) + 0x30303030;
    } else {
        const std::uint64_t whole = size / num_text::kUnits;
        digits = num_text::SplitDigits(static_cast<std::uint32_t>(whole));
        part = num_text::FourDigits(static_cast<std::uint32_t>(size - whole * num_text::kUnits));
    }
    // Bits before the first digit that is shown, which is the last one for 0.
    const int leading = std::countr_zero(digits | std::uint64_t{1} << 56) & ~7;
    const std::uint64_t blanks = (std::uint64_t{1} << leading) - 1;
    std::uint64_t text = digits + 0x3030303030303030 - (blanks & 0x1010101010101010);
    // In place of the blank before it; without one the sign is 0 and so is the number of bits.
    text += static_cast<std::uint64_t>(is_negative ? '-' - ' ' : 0) << ((leading - 8) & 63);
    text >>= 8 * (13 - Width);
    std::memcpy(out, &text, sizeof text);
    char* const end = out + Width;
    end[-5] = '.';
    std::memcpy(end - 4, &part, sizeof part);
    return end;
}

/// PutFixed4 for a width that is known; 7 <= Width <= 13.
template <int Width>
char* PutFixed4(char* out, double value) {
    const std::int64_t units = UnitsOf(value);
    const bool is_negative = std::signbit(value);
    return FitUnits<Width>(units, is_negative) ? PutUnits<Width>(out, units, is_negative)
                                               : PutFixed4(out, value, Width);
}

}  // namespace kiv
