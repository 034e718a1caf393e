#include "output/NumText.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

__extension__ typedef unsigned __int128 Wide;

constexpr int kMantissaBits = 52;
constexpr int kExponentBias = 1023;
constexpr std::uint64_t kMantissaMask = (std::uint64_t{1} << kMantissaBits) - 1;
constexpr int kExponentMask = 0x7FF;

// Below 2^49 the value in units of 0.0001 fits 63 bits, and the lowest bit of the mantissa is
// worth less than 1.
constexpr int kFastExponent = kExponentBias + 49;

constexpr std::uint64_t kUnits = 10000;  // of 0.0001

// "00", "01" .. "99"
constexpr std::array<char, 200> kPairs = [] {
    std::array<char, 200> pairs{};
    for (int i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
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

// |value| * 10000 rounded half to even, exactly: the value is mantissa / 2^shift and the product
// with 10000 has at most 67 bits. `bits` is a double below 2^49 in magnitude.
std::uint64_t RoundToUnits(std::uint64_t bits) {
    const int field = static_cast<int>(bits >> kMantissaBits) & kExponentMask;
    const std::uint64_t fraction = bits & kMantissaMask;
    const std::uint64_t mantissa = field == 0 ? fraction : fraction | (kMantissaMask + 1);
    const int shift = kExponentBias + kMantissaBits - (field == 0 ? 1 : field);
    if (shift > 67) return 0;  // below one half of a unit
    const Wide product = static_cast<Wide>(mantissa) * kUnits;
    const auto whole = static_cast<std::uint64_t>(product >> shift);
    const Wide rest = product & ((static_cast<Wide>(1) << shift) - 1);
    const Wide half = static_cast<Wide>(1) << (shift - 1);
    const bool up = rest > half || (rest == half && (whole & 1) != 0);
    return whole + (up ? 1 : 0);
}

}  // namespace

char* PutFixed4(char* out, double value, int width) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    if ((static_cast<int>(bits >> kMantissaBits) & kExponentMask) >= kFastExponent) {
        return out + std::snprintf(out, kFixed4Room, "%*.4f", width, value);
    }
    const std::uint64_t units = RoundToUnits(bits);
    const std::uint64_t whole = units / kUnits;
    const std::uint64_t decimals = units % kUnits;
    const int sign = static_cast<int>(bits >> 63);
    const int length = sign + NumDigits(whole) + 5;
    const int blanks = length < width ? width - length : 0;
    std::memset(out, ' ', 16);
    char* const end = out + blanks + length;
    PutPair(end - 2, decimals % 100);
    PutPair(end - 4, decimals / 100);
    end[-5] = '.';
    PutDigitsBefore(end - 5, whole);
    if (sign != 0) out[blanks] = '-';
    return end;
}

char* PutInt(char* out, int value, int width) {
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
