#include "support/SlowRotor.h"

#include <algorithm>
#include <cmath>
#include <numeric>

SlowMatrix operator*(const SlowMatrix& a, const SlowMatrix& b) {
    SlowMatrix c(a.N);
    for (int i = 0; i < a.N; ++i) {
        for (int k = 0; k < a.N; ++k) {
            if (a(i, k) == 0.0) continue;
            for (int j = 0; j < a.N; ++j) c(i, j) += a(i, k) * b(k, j);
        }
    }
    return c;
}

SlowMatrix operator+(const SlowMatrix& a, const SlowMatrix& b) {
    SlowMatrix c(a.N);
    for (std::size_t i = 0; i < c.El.size(); ++i) c.El[i] = a.El[i] + b.El[i];
    return c;
}

SlowMatrix operator*(Complex x, const SlowMatrix& a) {
    SlowMatrix c(a.N);
    for (std::size_t i = 0; i < c.El.size(); ++i) c.El[i] = x * a.El[i];
    return c;
}

namespace {

struct Momenta {
    SlowMatrix X, Y, Z, Up, Down, Square;

    explicit Momenta(int J)
        : X(2 * J + 1),
          Y(2 * J + 1),
          Z(2 * J + 1),
          Up(2 * J + 1),
          Down(2 * J + 1),
          Square(2 * J + 1) {
        for (int K = -J; K <= J; ++K) Z(K + J, K + J) = K;
        for (int K = -J; K < J; ++K) {
            Up(K + 1 + J, K + J) = std::sqrt(J * (J + 1.0) - K * (K + 1.0));  // Px - iPy
            Down(K + J, K + 1 + J) = Up(K + 1 + J, K + J);                    // Px + iPy
        }
        X = 0.5 * (Up + Down);
        Y = Complex(0.0, -0.5) * (Down + -1.0 * Up);
        Square = X * X + Y * Y + Z * Z;
    }
};

SlowMatrix Anti(const SlowMatrix& a, const SlowMatrix& b) { return a * b + b * a; }

// a a b + a b a + b a a
SlowMatrix Symmetrised(const SlowMatrix& a, const SlowMatrix& b) {
    return a * a * b + a * b * a + b * a * a;
}

}  // namespace

SlowMatrix SlowOperator(int J, int prm, bool a_reduction) {
    const Momenta P(J);
    const SlowMatrix ladder2 = P.Up * P.Up + P.Down * P.Down;
    switch (prm) {
        case PRM_A:
            return P.Z * P.Z;
        case PRM_B:
            return P.X * P.X;
        case PRM_C:
            return P.Y * P.Y;
        case PRM_PX:
            return P.X;
        case PRM_PY:
            return P.Y;
        case PRM_PZ:
            return P.Z;
        case PRM_PXPY:
            return Anti(P.X, P.Y);
        case PRM_PXPZ:
            return Anti(P.X, P.Z);
        case PRM_PYPZ:
            return Anti(P.Y, P.Z);
        case PRM_DK:
            return -1.0 * (P.Z * P.Z * P.Z * P.Z);
        case PRM_DJK:
            return -1.0 * (P.Square * P.Z * P.Z);
        case PRM_DJ:
            return -1.0 * (P.Square * P.Square);
        case PRM_dK:
            return a_reduction ? -0.5 * Anti(P.Z * P.Z, ladder2)
                               : P.Up * P.Up * P.Up * P.Up + P.Down * P.Down * P.Down * P.Down;
        case PRM_dJ:
            return a_reduction ? -0.5 * Anti(P.Square, ladder2) : P.Square * ladder2;
        case PRM_PZ3:
            return P.Z * P.Z * P.Z;
        case PRM_PX3:
            return P.X * P.X * P.X;
        case PRM_PY3:
            return P.Y * P.Y * P.Y;
        case PRM_PZ2PX:
            return Symmetrised(P.Z, P.X);
        case PRM_PZ2PY:
            return Symmetrised(P.Z, P.Y);
        case PRM_PX2PZ:
            return Symmetrised(P.X, P.Z);
        case PRM_PY2PZ:
            return Symmetrised(P.Y, P.Z);
        default:
            return P.Z * P.Z * P.Z * P.Z * P.Z;  // PZ5
    }
}

SlowLevels SlowDiagonalise(const SlowMatrix& H) {
    SlowMatrix A = H, V(H.N);
    const int n = H.N;
    for (int i = 0; i < n; ++i) V(i, i) = 1.0;
    for (int sweep = 0; sweep < 60; ++sweep) {
        double off = 0.0, all = 0.0;
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < n; ++j) (i == j ? all : off) += std::norm(A(i, j));
        }
        if (off <= 1e-34 * (all + off)) break;
        for (int p = 0; p < n; ++p) {
            for (int q = p + 1; q < n; ++q) {
                const double size = std::abs(A(p, q));
                if (size == 0.0) continue;
                const Complex phase = A(p, q) / size;
                const double theta = (A(q, q).real() - A(p, p).real()) / (2.0 * size);
                const double t =
                    (theta >= 0 ? 1.0 : -1.0) / (std::fabs(theta) + std::sqrt(theta * theta + 1.0));
                const double c = 1.0 / std::sqrt(t * t + 1.0), s = t * c;
                for (int k = 0; k < n; ++k) {
                    const Complex x = A(k, p), y = A(k, q) * std::conj(phase);
                    A(k, p) = c * x - s * y;
                    A(k, q) = s * x + c * y;
                    const Complex u = V(k, p), v = V(k, q) * std::conj(phase);
                    V(k, p) = c * u - s * v;
                    V(k, q) = s * u + c * v;
                }
                for (int k = 0; k < n; ++k) {
                    const Complex x = A(p, k), y = A(q, k) * phase;
                    A(p, k) = c * x - s * y;
                    A(q, k) = s * x + c * y;
                }
            }
        }
    }
    std::vector<int> order(n);
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(),
              [&](int a, int b) { return A(a, a).real() < A(b, b).real(); });
    SlowLevels levels;
    levels.Vec = SlowMatrix(n);
    for (int r = 0; r < n; ++r) {
        levels.Erg.push_back(A(order[r], order[r]).real());
        for (int k = 0; k < n; ++k) levels.Vec(k, r) = V(k, order[r]);
    }
    return levels;
}

SlowLevels SlowSolve(int J, int state) {
    SlowMatrix H(2 * J + 1);
    for (int prm = 0; prm < NUM_HAM_PRM; ++prm) {
        const bool on = prm <= PRM_C || Kiv.Prm_Stat[state][prm] == 1;
        if (!on && Kiv.XTerm_Flag[state][prm] != 1) continue;
        H = H + Kiv.Prm_Val[state][prm] * SlowOperator(J, prm, IsAReduction(Kiv, state));
    }
    return SlowDiagonalise(H);
}

std::vector<Complex> SlowVector(const SlowLevels& levels, int r) {
    std::vector<Complex> v;
    for (int k = 0; k < levels.Vec.N; ++k) v.push_back(levels.Vec(k, r));
    return v;
}

namespace {

double Factorial(int n) { return std::tgamma(n + 1.0); }

// 3j symbol by Racah's sum.
double ThreeJ(int a, int b, int c, int x, int y, int z) {
    if (x + y + z != 0 || std::abs(x) > a || std::abs(y) > b || std::abs(z) > c) return 0.0;
    if (c > a + b || c < std::abs(a - b)) return 0.0;
    const double delta = Factorial(a + b - c) * Factorial(a - b + c) * Factorial(-a + b + c) /
                         Factorial(a + b + c + 1);
    const double root = std::sqrt(delta * Factorial(a + x) * Factorial(a - x) * Factorial(b + y) *
                                  Factorial(b - y) * Factorial(c + z) * Factorial(c - z));
    double sum = 0.0;
    for (int t = std::max({0, b - c - x, a - c + y}); t <= std::min({a + b - c, a - x, b + y});
         ++t) {
        const double term = Factorial(t) * Factorial(c - b + t + x) * Factorial(c - a + t - y) *
                            Factorial(a + b - c - t) * Factorial(a - t - x) * Factorial(b - t + y);
        sum += (t % 2 == 0 ? 1.0 : -1.0) / term;
    }
    return ((a - b - z) % 2 == 0 ? 1.0 : -1.0) * root * sum;
}

}  // namespace

double SlowStrength(int Jl, const std::vector<Complex>& lower, int Ju,
                    const std::vector<Complex>& upper, const double moment[3]) {
    // spherical components of (x, y, z) = (b, c, a)
    const Complex i(0.0, 1.0);
    const Complex mu[3] = {(moment[1] - i * moment[2]) / std::sqrt(2.0), moment[0],
                           -(moment[1] + i * moment[2]) / std::sqrt(2.0)};
    Complex sum = 0.0;
    for (int Ku = -Ju; Ku <= Ju; ++Ku) {
        for (int q = -1; q <= 1; ++q) {
            const int Kl = Ku - q;
            if (Kl < -Jl || Kl > Jl) continue;
            sum += (Ku % 2 == 0 ? 1.0 : -1.0) * mu[q + 1] * ThreeJ(Jl, 1, Ju, Kl, q, -Ku) *
                   std::conj(upper[Ku + Ju]) * lower[Kl + Jl];
        }
    }
    return (2 * Ju + 1) * (2 * Jl + 1) * std::norm(sum);
}
