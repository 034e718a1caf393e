#include "products/Fields.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "io/NumText.h"

namespace kiv {
namespace {

constexpr double kLeastPlain = 1e-4, kMostPlain = 1e15;

template <class Real>
char* Shortest(char* out, Real value) {
    char* const last = out + kShortestRoom;
    const double size = std::fabs(static_cast<double>(value));
    const bool is_plain = size == 0.0 || (size >= kLeastPlain && size < kMostPlain);
    return is_plain ? std::to_chars(out, last, value, std::chars_format::fixed).ptr
                    : std::to_chars(out, last, value).ptr;
}

}  // namespace

char* PutShortest(char* out, double value) { return Shortest(out, value); }
char* PutShortest(char* out, float value) { return Shortest(out, value); }

char* PutFixed7(char* out, double value) {
    constexpr double kUnits = 1e7, kMost = 1e9;
    if (!std::isfinite(value)) return out;
    if (std::fabs(value) > kMost) return PutShortest(out, value);
    std::int64_t units = std::llround(value * kUnits);
    if (units < 0) *out++ = '-';
    units = std::abs(units);
    constexpr auto kWhole = static_cast<std::int64_t>(kUnits);
    out = std::to_chars(out, out + kShortestRoom, units / kWhole).ptr;
    std::int64_t part = units % kWhole;
    *out = '.';
    for (int i = 7; i > 0; --i) {
        out[i] = static_cast<char>('0' + part % 10);
        part /= 10;
    }
    return out + 8;
}

char* PutField4(char* out, double value, int width) {
    char* end = PutFixed4(out, value, width);
    for (int digits = 3; end - out > width && digits >= 0; --digits) {
        end = out + std::snprintf(out, kFixed4Room, "%*.*f", width, digits, value);
    }
    return end;
}

char* PutLettered(char* out, int value, int width) {
    if (value < 100) return PutInt(out, value, width);
    int most = 1;  // of which a letter counts ten
    for (int i = 1; i < width; ++i) most *= 10;
    if (value < 10 * most) return PutInt(out, value, width);
    const int tens = value / most - 10;
    if (tens > 'Z' - 'A') {
        std::memset(out, '*', static_cast<std::size_t>(width));
        return out + width;
    }
    *out = static_cast<char>('A' + tens);
    int rest = value % most;
    for (int i = width - 1; i > 0; --i) {
        out[i] = static_cast<char>('0' + rest % 10);
        rest /= 10;
    }
    return out + width;
}

}  // namespace kiv
