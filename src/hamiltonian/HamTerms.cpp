#include "hamiltonian/HamTerms.h"

#include <cmath>

#include "hamiltonian/Symmetry.h"
#include "run/KivRecord.h"

namespace {

constexpr double kTwoThirds = 0.6666666666666666;
constexpr double kOneThird = 0.3333333333333333;

constexpr double Sq(double x) { return x * x; }

double One(double, int) { return 1.0; }
double Half(double, int) { return 0.5; }
double HalfOdd(double, int K) { return 0.5 * (2 * K + 1); }
double Cubic1(double X, int K) { return 0.375 * (X - double(K) * (K + 1) - kTwoThirds); }
double Mixed1(double, int K) { return 1.5 * (double(K) * (K + 1) + kOneThird); }
double Mixed0(double X, int K) { return 1.5 * K * (X - Sq(K) - kOneThird); }

constexpr auto R = Reduction::Any;

// clang-format off
constexpr HamTerm kHamTerms[] = {
    // constant, dK, imaginary, complex only, reduction, keeps, factor of the ladder root
    {PRM_PZ,    0, false, false, R, SYM_C2A, [](double,   int K) { return double(K); }},
    {PRM_PX,    1, false, false, R, SYM_C2B, Half},
    {PRM_PY,    1, true,  true,  R, SYM_C2C, Half},
    {PRM_PXPZ,  1, false, false, R, SYM_C2C, HalfOdd},
    {PRM_PYPZ,  1, true,  true,  R, SYM_C2B, HalfOdd},
    {PRM_PXPY,  2, true,  true,  R, SYM_C2A, Half},
    {PRM_PZ3,   0, false, false, R, SYM_C2A, [](double,   int K) { return Sq(K) * K; }},
    {PRM_PX3,   1, false, false, R, SYM_C2B, Cubic1},
    {PRM_PX3,   3, false, false, R, SYM_C2B, [](double,   int)   { return 0.125; }},
    {PRM_PY3,   1, true,  true,  R, SYM_C2C, Cubic1},
    {PRM_PY3,   3, true,  true,  R, SYM_C2C, [](double,   int)   { return -0.125; }},
    {PRM_PZ2PX, 1, false, false, R, SYM_C2B, Mixed1},
    {PRM_PZ2PY, 1, true,  true,  R, SYM_C2C, Mixed1},
    {PRM_PX2PZ, 0, false, false, R, SYM_C2A, Mixed0},
    {PRM_PX2PZ, 2, false, false, R, SYM_C2A, [](double,   int K) { return 0.75 * (K + 1); }},
    {PRM_PY2PZ, 0, false, true,  R, SYM_C2A, Mixed0},
    {PRM_PY2PZ, 2, false, true,  R, SYM_C2A, [](double,   int K) { return -0.75 * (K + 1); }},
    {PRM_DK,    0, false, false, R, SYM_ALL, [](double,   int K) { return -Sq(Sq(K)); }},
    {PRM_DJK,   0, false, false, R, SYM_ALL, [](double X, int K) { return -X * Sq(K); }},
    {PRM_DJ,    0, false, false, R, SYM_ALL, [](double X, int)   { return -X * X; }},
    {PRM_dK,    4, false, false, Reduction::S, SYM_ALL, One},
    {PRM_dJ,    2, false, false, Reduction::S, SYM_ALL, [](double X, int) { return X; }},
    {PRM_dK,    2, false, false, Reduction::A, SYM_ALL,
                                 [](double, int K) { return -0.5 * (Sq(K) + Sq(K + 2)); }},
    {PRM_dJ,    2, false, false, Reduction::A, SYM_ALL, [](double X, int) { return -X; }},
    {PRM_PZ5,   0, false, false, R, SYM_C2A, [](double,   int K) { return Sq(Sq(K)) * K; }},
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

bool IsTermOn(int state, int prm) {
    return Kiv.Prm_Stat[state][prm] == 1 || Kiv.XTerm_Flag[state][prm] == 1;
}

bool IsTermUsed(int state, const HamTerm& term) {
    if (term.Complex_Only && Kiv.Cplx_Ham != 1) return false;
    const Reduction red = IsAReduction(Kiv, state) ? Reduction::A : Reduction::S;
    return (term.Red == Reduction::Any || term.Red == red) && IsTermOn(state, term.Prm);
}

std::uint8_t KeptRotations(int state) {
    std::uint8_t kept = SYM_ALL;
    for (const HamTerm& term : kHamTerms) {
        if (IsTermUsed(state, term) && Kiv.Prm_Val[state][term.Prm] != 0.0) kept &= term.Keeps;
    }
    return kept;
}
