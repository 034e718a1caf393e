// The real part of the Faddeeva function.
#include <cmath>
#include <cstddef>
#include <numbers>

#include "base/ExpFunc.h"
#include "base/Trig.h"
#include "kiv/spectrum.h"
#include "spectrum/HermiteRule.h"

namespace kiv {
namespace {

constexpr double kPi = std::numbers::pi;

// From here on the integral is that of the Gauss-Hermite rule, within 1e-14.
constexpr double kFar2 = 100.0;  // x^2 + y^2

// The trapezoidal sums with nodes at h (k + 1/2) or h k, h = sqrt(pi/12): exp(-node^2).
constexpr double kStep = 0.5116633539732443;
constexpr int kNumNodes = 12;
constexpr double kMiddleWeights[kNumNodes] = {
    0.9366460212365959,     0.5548549101598534,     0.1947095780852903,    0.04047614460380574,
    0.004984423132468586,   0.00036360898638930446, 1.571296901780048e-05, 4.022405421564814e-07,
    6.0998249159121596e-09, 5.479650239757527e-11,  2.916031755179499e-13, 9.192541525134372e-16};
constexpr double kWholeWeights[kNumNodes] = {
    0.5,  // stands for half of the node 0, which is taken with both signs
    0.7696654124932398,
    0.350919807178411,
    0.09478022484215486,
    0.01516461986454657,
    0.0014373060804075317,
    8.06995175703046e-05,
    2.684086793096743e-06,
    5.2884221169441576e-08,
    6.17247886522431e-10,
    4.267731135455224e-12,
    1.7479879405655014e-14};

double FarSum(double x, double y) {
    double sum = 0.0;
    for (int j = 0; j < kHermiteSize; ++j) {
        const double node = kHermiteNodes[j] / std::numbers::sqrt2;  // of the weight exp(-t^2)
        const double behind = x - node, ahead = x + node, y2 = y * y;
        sum += kHermiteWeights[j] * (1.0 / (behind * behind + y2) + 1.0 / (ahead * ahead + y2));
    }
    return sum * y * std::numbers::inv_sqrtpi;
}

// Sum over nodes h (k + shift) of both signs.
double NearSum(double x, double y, const double (&weights)[kNumNodes], double shift) {
    double sum = 0.0;
    for (int k = 0; k < kNumNodes; ++k) {
        const double node = kStep * (k + shift);
        const double behind = x - node, ahead = x + node, y2 = y * y;
        sum += weights[k] * (1.0 / (behind * behind + y2) + 1.0 / (ahead * ahead + y2));
    }
    return sum * y * (kStep / kPi);
}

// What the sum lacks: the real part of 2 exp(-z^2) / (1 + s exp(-2 pi i z / h)), s = 1 for nodes
// in the middle and -1 for whole ones.
double Residue(double x, double y, double turns, double s) {
    const double theta = 2.0 * kPi * turns, phi = 2.0 * x * y;
    const double decay = 2.0 * kPi / kStep * y, f = s * ExpFunc(-decay);
    const double numerator = Cos(theta - phi) + f * Cos(phi);
    const double denominator = 1.0 + 2.0 * f * Cos(theta) + f * f;
    return 2.0 * s * ExpFunc(y * y - x * x - decay) * numerator / denominator;
}

}  // namespace

double VoigtFunction(double x, double y) {
    x = std::fabs(x);
    if (y == 0.0) return ExpFunc(-x * x);
    if (!(x * x + y * y < kFar2)) return FarSum(x, y);
    // Of both sets of nodes, that whose nodes are further from x.
    const double steps = x / kStep, turns = steps - std::floor(steps);
    const bool is_middle = turns < 0.25 || turns > 0.75;
    double sum = is_middle ? NearSum(x, y, kMiddleWeights, 0.5) : NearSum(x, y, kWholeWeights, 0.0);
    if (y < kPi / kStep) sum += Residue(x, y, turns, is_middle ? 1.0 : -1.0);
    return sum;
}

}  // namespace kiv
