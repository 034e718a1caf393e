#include "levels/Terms.h"

#include <cmath>

#include "levels/Symmetry.h"

namespace kiv {
namespace {

constexpr double kTwoThirds = 0.6666666666666666;
constexpr double kOneThird = 0.3333333333333333;

constexpr double Sq(double x) { return x * x; }
constexpr double Sixth(double x) { return x * x * x * x * x * x; }

double One(double, int) { return 1.0; }
double Half(double, int) { return 0.5; }
double HalfOdd(double, int K) { return 0.5 * (2 * K + 1); }
double Cubic1(double X, int K) { return 0.375 * (X - double(K) * (K + 1) - kTwoThirds); }
double Mixed1(double, int K) { return 1.5 * (double(K) * (K + 1) + kOneThird); }
double Mixed0(double X, int K) { return 1.5 * K * (X - Sq(K) - kOneThird); }

constexpr auto R = InReduction::Any;

// clang-format off
constexpr HamTerm kHamTerms[] = {
    // constant, dK, imaginary, complex only, reduction, keeps, factor of the ladder root
    {Constant::PZ,    0, false, false, R, kC2a, [](double,   int K) { return double(K); }},
    {Constant::PX,    1, false, false, R, kC2b, Half},
    {Constant::PY,    1, true,  true,  R, kC2c, Half},
    {Constant::PXPZ,  1, false, false, R, kC2c, HalfOdd},
    {Constant::PYPZ,  1, true,  true,  R, kC2b, HalfOdd},
    {Constant::PXPY,  2, true,  true,  R, kC2a, Half},
    {Constant::PZ3,   0, false, false, R, kC2a, [](double,   int K) { return Sq(K) * K; }},
    {Constant::PX3,   1, false, false, R, kC2b, Cubic1},
    {Constant::PX3,   3, false, false, R, kC2b, [](double,   int)   { return 0.125; }},
    {Constant::PY3,   1, true,  true,  R, kC2c, Cubic1},
    {Constant::PY3,   3, true,  true,  R, kC2c, [](double,   int)   { return -0.125; }},
    {Constant::PZ2PX, 1, false, false, R, kC2b, Mixed1},
    {Constant::PZ2PY, 1, true,  true,  R, kC2c, Mixed1},
    {Constant::PX2PZ, 0, false, false, R, kC2a, Mixed0},
    {Constant::PX2PZ, 2, false, false, R, kC2a, [](double,   int K) { return 0.75 * (K + 1); }},
    {Constant::PY2PZ, 0, false, true,  R, kC2a, Mixed0},
    {Constant::PY2PZ, 2, false, true,  R, kC2a, [](double,   int K) { return -0.75 * (K + 1); }},
    {Constant::DK,    0, false, false, R, kAllC2, [](double,   int K) { return -Sq(Sq(K)); }},
    {Constant::DJK,   0, false, false, R, kAllC2, [](double X, int K) { return -X * Sq(K); }},
    {Constant::DJ,    0, false, false, R, kAllC2, [](double X, int)   { return -X * X; }},
    {Constant::dK,    4, false, false, InReduction::S, kAllC2, One},
    {Constant::dJ,    2, false, false, InReduction::S, kAllC2, [](double X, int) { return X; }},
    {Constant::dK,    2, false, false, InReduction::A, kAllC2,
                                 [](double, int K) { return -0.5 * (Sq(K) + Sq(K + 2)); }},
    {Constant::dJ,    2, false, false, InReduction::A, kAllC2, [](double X, int) { return -X; }},
    {Constant::PZ5,   0, false, false, R, kC2a, [](double,   int K) { return Sq(Sq(K)) * K; }},
    {Constant::HJ,    0, false, false, R, kAllC2, [](double X, int)   { return X * X * X; }},
    {Constant::HJK,   0, false, false, R, kAllC2, [](double X, int K) { return X * X * Sq(K); }},
    {Constant::HKJ,   0, false, false, R, kAllC2, [](double X, int K) { return X * Sq(Sq(K)); }},
    {Constant::HK,    0, false, false, R, kAllC2, [](double,   int K) { return Sixth(K); }},
    {Constant::hJ,    2, false, false, InReduction::S, kAllC2, [](double X, int) { return X * X; }},
    {Constant::hJK,   4, false, false, InReduction::S, kAllC2, [](double X, int) { return X; }},
    {Constant::hK,    6, false, false, InReduction::S, kAllC2, One},
    {Constant::hJ,    2, false, false, InReduction::A, kAllC2, [](double X, int) { return X * X; }},
    {Constant::hJK,   2, false, false, InReduction::A, kAllC2,
                                 [](double X, int K) { return 0.5 * X * (Sq(K) + Sq(K + 2)); }},
    {Constant::hK,    2, false, false, InReduction::A, kAllC2,
                                 [](double, int K) { return 0.5 * (Sq(Sq(K)) + Sq(Sq(K + 2))); }},
    {Constant::LJ,    0, false, false, R, kAllC2, [](double X, int)   { return Sq(X * X); }},
    {Constant::LJJK,  0, false, false, R, kAllC2, [](double X, int K) { return X * X * X * Sq(K); }},
    {Constant::LJK,   0, false, false, R, kAllC2, [](double X, int K) { return X * X * Sq(Sq(K)); }},
    {Constant::LKKJ,  0, false, false, R, kAllC2, [](double X, int K) { return X * Sixth(K); }},
    {Constant::LK,    0, false, false, R, kAllC2, [](double,   int K) { return Sq(Sq(Sq(K))); }},
    {Constant::lJ,    2, false, false, InReduction::S, kAllC2,
                                 [](double X, int) { return X * X * X; }},
    {Constant::lJK,   4, false, false, InReduction::S, kAllC2, [](double X, int) { return X * X; }},
    {Constant::lKJ,   6, false, false, InReduction::S, kAllC2, [](double X, int) { return X; }},
    {Constant::lK,    8, false, false, InReduction::S, kAllC2, One},
    {Constant::lJ,    2, false, false, InReduction::A, kAllC2,
                                 [](double X, int) { return X * X * X; }},
    {Constant::lJK,   2, false, false, InReduction::A, kAllC2,
                                 [](double X, int K) { return 0.5 * X * X * (Sq(K) + Sq(K + 2)); }},
    {Constant::lKJ,   2, false, false, InReduction::A, kAllC2,
                                 [](double X, int K) { return 0.5 * X * (Sq(Sq(K)) + Sq(Sq(K + 2))); }},
    {Constant::lK,    2, false, false, InReduction::A, kAllC2,
                                 [](double, int K) { return 0.5 * (Sixth(K) + Sixth(K + 2)); }},
};
// clang-format on

}  // namespace

double LadderRoot(int J, int K, int d) {
    double product = 1.0;
    for (int m = 0; m < d; ++m) {
        product *= double(J) * (J + 1) - double(K + m) * (K + m + 1);
    }
    return std::sqrt(product);
}

std::span<const HamTerm> HamTerms() { return kHamTerms; }

bool Hamiltonian::Uses(const HamTerm& term) const {
    if (term.complex_only && !is_complex) return false;
    const InReduction reduction =
        state->reduction == Reduction::A ? InReduction::A : InReduction::S;
    return (term.reduction == InReduction::Any || term.reduction == reduction) &&
           state->Acts(term.constant);
}

std::uint8_t Hamiltonian::KeptRotations() const {
    std::uint8_t kept = kAllC2;
    for (const HamTerm& term : kHamTerms) {
        if (Uses(term) && value(term.constant) != 0.0) kept &= term.keeps;
    }
    return kept;
}

double Hamiltonian::Element(int J, int K, int dk, bool imaginary) const {
    const double X = double(J) * (J + 1);
    const double A = value(Constant::A), B = value(Constant::B), C = value(Constant::C);
    const double P = (B + C) / 2;
    double sum = 0.0;
    if (!imaginary && dk == 0) sum = X * P + double(K) * K * (A - P);
    if (!imaginary && dk == 2) sum = 0.5 * LadderRoot(J, K, 2) * (B - C) / 2;
    for (const HamTerm& term : kHamTerms) {
        if (term.dk != dk || term.imaginary != imaginary || !Uses(term)) continue;
        sum += term.factor(X, K) * LadderRoot(J, K, dk) * value(term.constant);
    }
    return sum;
}

}  // namespace kiv
