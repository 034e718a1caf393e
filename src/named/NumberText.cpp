#include "named/NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kiv {
namespace {

// Powers of ten of the first digit between which numbers need no exponent.
constexpr int kLeastFixed = -5, kMostFixed = 12;

// Numbers between these never have an exponent in their shortest text.
constexpr double kLeastPlain = 1e-4, kMostPlain = 1e15;

constexpr int kShownDigits = 3;   // of an uncertainty
constexpr int kFittedDigits = 5;  // of the uncertainty of a fitted constant
constexpr int kDoubleDigits = 17;

// Power of ten of the first digit of a number other than 0, once it is rounded to `digits`.
int FirstPower(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*e", digits - 1, value);
    return std::atoi(std::strchr(text, 'e') + 1);
}

// Adds 1 to the last of the decimal digits.
void Increment(std::string& digits) {
    for (std::size_t i = digits.size(); i-- > 0;) {
        if (digits[i] != '9') {
            ++digits[i];
            return;
        }
        digits[i] = '0';
    }
    digits.insert(digits.begin(), '1');
}

// |value| in units of 10^power as decimal digits, rounded, without leading zeros; "" for 0.
std::string DigitsIn(double value, int power) {
    char text[800];  // the longest: 309 digits, or a point and 340 places
    std::snprintf(text, sizeof text, "%.*f", std::clamp(-power, 0, 400), std::fabs(value));
    std::string digits = text;
    std::erase(digits, '.');
    if (power > 0) {
        const auto dropped = static_cast<std::size_t>(power);
        digits.insert(0, dropped > digits.size() ? dropped - digits.size() : 0, '0');
        const bool up = digits[digits.size() - dropped] >= '5';
        digits.resize(digits.size() - dropped);
        if (up) Increment(digits);
    }
    return digits.erase(0, digits.find_first_not_of('0'));
}

// Puts a point into `digits`, which count units of 10^power, at the place of 10^0.
std::string WithPoint(std::string digits, int power) {
    if (power >= 0) {
        digits = digits.empty() ? "0" : digits + std::string(static_cast<std::size_t>(power), '0');
        return digits;
    }
    const auto places = static_cast<std::size_t>(-power);
    if (digits.size() <= places) digits.insert(0, places + 1 - digits.size(), '0');
    return digits.insert(digits.size() - places, ".");
}

// sign digits.digits(uncertainty)e-power of a value in units of 10^power; `least` digits are
// counted when it has less.
std::string Laid(bool negative, const std::string& digits, int power, std::size_t least,
                 const std::string& uncertainty) {
    const int first = static_cast<int>(std::max(digits.size(), least)) - 1 + power;
    const bool fixed = first >= kLeastFixed && first <= kMostFixed;
    const int unit = fixed ? power : power - first;
    std::string text = (negative ? "-" : "") + WithPoint(digits, unit);
    if (!uncertainty.empty()) {
        const int zeros = std::max(unit, 0);
        text += "(" + uncertainty + std::string(static_cast<std::size_t>(zeros), '0') + ")";
    }
    return fixed ? text : text + "e" + std::to_string(first);
}

}  // namespace

std::string ShortestText(double value) {
    if (std::isnan(value)) return "nan";
    char text[64];
    const double magnitude = std::fabs(value);
    const bool fixed = magnitude >= kLeastPlain && magnitude < kMostPlain;
    const auto end = fixed
                         ? std::to_chars(text, text + sizeof text, value, std::chars_format::fixed)
                         : std::to_chars(text, text + sizeof text, value);
    return {text, end.ptr};
}

std::string RealText(double value) {
    std::string text = ShortestText(value);
    const bool is_whole = text.find_first_not_of("-0123456789") == std::string::npos;
    return is_whole ? text + ".0" : text;
}

std::string FittedText(double value, double sd) {
    if (!std::isfinite(value) || !std::isfinite(sd) || sd == 0.0) return RealText(value);
    const int power = FirstPower(sd, 2) - (kFittedDigits - 1);
    const std::string digits = DigitsIn(value, power);
    if (digits.empty() || digits.size() >= kDoubleDigits) return RealText(value);
    return Laid(std::signbit(value), digits, power, 1, "");
}

std::string WithUncertainty(double value, double sd) {
    if (!std::isfinite(value) || sd == 0.0) return ShortestText(value);
    if (!std::isfinite(sd)) return ShortestText(value) + "(" + ShortestText(std::fabs(sd)) + ")";
    int power = FirstPower(sd, kShownDigits) - (kShownDigits - 1);
    if (value != 0.0) power = std::max(power, FirstPower(value, kDoubleDigits) - kDoubleDigits + 1);
    std::string uncertainty = DigitsIn(sd, power);
    if (uncertainty.empty()) uncertainty = "1";
    const std::string digits = DigitsIn(value, power);
    return Laid(std::signbit(value) && !digits.empty(), digits, power, uncertainty.size(),
                uncertainty);
}

}  // namespace kiv
