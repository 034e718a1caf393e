#include "base/Trig.h"

#include <cmath>

namespace kiv {
namespace {

constexpr double kMaxArgument = 1e5;
constexpr double kRoundShift = 0x1.8p52;  // adding it rounds to an integer
constexpr double kSplit = 0x1.0p27 + 1.0;

// pi/2 in parts of 33 bits, whose products with integers below 2^20 are exact
constexpr double kHalfPi[] = {0x1.921fb544p+0, 0x1.0b4611a6p-34, 0x1.3198a2e0p-69,
                              0x1.b839a252p-104};

// A number of twice the digits: the sum of the two, hi being the double nearest to it.
struct Pair {
    double hi, lo;
};

constexpr Pair kPi = {0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53};

// a + b, exact
Pair Sum(double a, double b) {
    const double s = a + b, t = s - a;
    return {s, (a - (s - t)) + (b - t)};
}

// a b, exact
Pair Product(double a, double b) {
    const double p = a * b;
    const double ta = kSplit * a, tb = kSplit * b;
    const double ah = ta - (ta - a), bh = tb - (tb - b);
    const double al = a - ah, bl = b - bh;
    return {p, ((ah * bh - p) + ah * bl + al * bh) + al * bl};
}

Pair Add(Pair a, Pair b) {
    const Pair high = Sum(a.hi, b.hi), low = Sum(a.lo, b.lo);
    const Pair part = Sum(high.hi, high.lo + low.hi);
    return Sum(part.hi, part.lo + low.lo);
}

Pair Minus(Pair a) { return {-a.hi, -a.lo}; }

Pair Multiply(Pair a, Pair b) {
    const Pair p = Product(a.hi, b.hi);
    return Sum(p.hi, p.lo + (a.hi * b.lo + a.lo * b.hi));
}

Pair Divide(Pair a, double b) {
    const double q = a.hi / b;
    const Pair p = Product(q, b);
    return Sum(q, (((a.hi - p.hi) - p.lo) + a.lo) / b);
}

// The series 1 - z/(n (n+1)) + z^2/(n (n+1) (n+2) (n+3)) - ..., |z| < 0.62: that of the cosine for
// n = 1, that of the sine for n = 2 without its first power.
Pair Series(Pair z, int n) {
    constexpr int kTerms = 15;
    Pair sum = {1.0, 0.0};
    for (int i = n + 2 * (kTerms - 1); i >= n; i -= 2) {
        sum = Add({1.0, 0.0}, Minus(Divide(Multiply(z, sum), static_cast<double>(i * (i + 1)))));
    }
    return sum;
}

struct SinCos {
    Pair sine, cosine;
};

// x = k pi/2 + r, |r| <= pi/4
SinCos SinCosOf(double x) {
    const double k = (x * (2.0 / kPi.hi) + kRoundShift) - kRoundShift;
    Pair r = {x - k * kHalfPi[0], 0.0};
    for (int i = 1; i < 4; ++i) r = Add(r, {-k * kHalfPi[i], 0.0});
    const Pair z = Multiply(r, r);
    const Pair sine = Multiply(r, Series(z, 2)), cosine = Series(z, 1);
    switch (static_cast<int>(k) & 3) {
        case 0:
            return {sine, cosine};
        case 1:
            return {cosine, Minus(sine)};
        case 2:
            return {Minus(sine), Minus(cosine)};
        default:
            return {Minus(cosine), sine};
    }
}

bool IsUsual(double x) { return std::fabs(x) > 1e-100 && std::fabs(x) < kMaxArgument; }

// arccos(x) for 0 < x < 1: one Newton step from what the library has, with 1 - cos a in a form that
// does not lose digits.
Pair ArcCosOf(double x) {
    const double a = std::acos(x);
    const Pair half = SinCosOf(0.5 * a).sine;
    const Pair square = Multiply(half, half);
    const Pair miss = Add(Sum(1.0, -x), {-2.0 * square.hi, -2.0 * square.lo});
    return Sum(a, miss.hi / SinCosOf(a).sine.hi);
}

}  // namespace

double NearestSin(double x) { return IsUsual(x) ? SinCosOf(x).sine.hi : std::sin(x); }

double NearestCos(double x) { return IsUsual(x) ? SinCosOf(x).cosine.hi : std::cos(x); }

double NearestArcCos(double x) {
    if (!IsUsual(x) || std::fabs(x) >= 1.0) return std::acos(x);
    if (x > 0.0) return ArcCosOf(x).hi;
    return Add(kPi, Minus(ArcCosOf(-x))).hi;
}

double NearestArcTan(double y, double x) {
    const double a = std::atan2(y, x);
    if (!IsUsual(x) || !IsUsual(y)) return a;
    const SinCos f = SinCosOf(a);
    const Pair across = Add(Multiply({y, 0.0}, f.cosine), Minus(Multiply({x, 0.0}, f.sine)));
    return a + across.hi / (x * f.cosine.hi + y * f.sine.hi);
}

}  // namespace kiv
