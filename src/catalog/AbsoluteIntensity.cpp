#include <cmath>

#include "base/ExpFunc.h"
#include "kiv/catalog.h"

namespace kiv {
namespace {

constexpr double kFactor = 4.16231e-5;  // 8 pi^3 / (3 h c) in nm^2 / D^2
constexpr double kLgE = 0x1.bcb7b1526e50ep-2;

// 1 - exp(-x) with all its digits for small x, too.
double OneMinusExp(double x) {
    constexpr double kSmall = 1e-2;
    if (x > kSmall) return 1.0 - ExpFunc(-x);
    return x * (1.0 - x / 2 * (1.0 - x / 3 * (1.0 - x / 4 * (1.0 - x / 5))));
}

}  // namespace

AbsoluteIntensity::AbsoluteIntensity(double kT, double Q, double MHz)
    : kT_(kT), factor_(kFactor * MHz / Q) {}

double AbsoluteIntensity::Lg(double frequency, double lower_energy, double strength) const {
    const double rest = factor_ * frequency * strength * OneMinusExp(frequency / kT_);
    return std::log10(rest) - lower_energy / kT_ * kLgE;
}

}  // namespace kiv
