#include "support/SlowRotor.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace kiv {

SlowMatrix operator*(const SlowMatrix& a, const SlowMatrix& b) {
    SlowMatrix c(a.n);
    for (int i = 0; i < a.n; ++i) {
        for (int k = 0; k < a.n; ++k) {
            if (a(i, k) == 0.0) continue;
            for (int j = 0; j < a.n; ++j) c(i, j) += a(i, k) * b(k, j);
        }
    }
    return c;
}

SlowMatrix operator+(const SlowMatrix& a, const SlowMatrix& b) {
    SlowMatrix c(a.n);
    for (std::size_t i = 0; i < c.elements.size(); ++i)
        c.elements[i] = a.elements[i] + b.elements[i];
    return c;
}

SlowMatrix operator*(Complex x, const SlowMatrix& a) {
    SlowMatrix c(a.n);
    for (std::size_t i = 0; i < c.elements.size(); ++i) c.elements[i] = x * a.elements[i];
    return c;
}

namespace {

struct Momenta {
    SlowMatrix x, y, z, up, down, square;

    explicit Momenta(int J)
        : x(2 * J + 1),
          y(2 * J + 1),
          z(2 * J + 1),
          up(2 * J + 1),
          down(2 * J + 1),
          square(2 * J + 1) {
        for (int K = -J; K <= J; ++K) z(K + J, K + J) = K;
        for (int K = -J; K < J; ++K) {
            up(K + 1 + J, K + J) = std::sqrt(J * (J + 1.0) - K * (K + 1.0));  // Px - iPy
            down(K + J, K + 1 + J) = up(K + 1 + J, K + J);                    // Px + iPy
        }
        x = 0.5 * (up + down);
        y = Complex(0.0, -0.5) * (down + -1.0 * up);
        square = x * x + y * y + z * z;
    }
};

SlowMatrix Anti(const SlowMatrix& a, const SlowMatrix& b) { return a * b + b * a; }

// a a b + a b a + b a a
SlowMatrix Symmetrised(const SlowMatrix& a, const SlowMatrix& b) {
    return a * a * b + a * b * a + b * a * a;
}

using Axes = std::array<std::array<double, 3>, 3>;

double Radians(double degrees) { return degrees * std::acos(-1.0) / 180.0; }

Axes AboutZ(double angle) {
    const double c = std::cos(Radians(angle)), s = std::sin(Radians(angle));
    return {{{c, s, 0.0}, {-s, c, 0.0}, {0.0, 0.0, 1.0}}};
}

Axes AboutY(double angle) {
    const double c = std::cos(Radians(angle)), s = std::sin(Radians(angle));
    return {{{c, 0.0, -s}, {0.0, 1.0, 0.0}, {s, 0.0, c}}};
}

Axes Product(const Axes& a, const Axes& b) {
    Axes product{};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            for (int k = 0; k < 3; ++k) product[i][j] += a[i][k] * b[k][j];
        }
    }
    return product;
}

SlowMatrix Power(const SlowMatrix& a, int n) {
    SlowMatrix product = a;
    for (int i = 1; i < n; ++i) product = product * a;
    return product;
}

// The sextic and octic constants: P^2 to the power `square` times Pz to the power `z`, and for the
// off-diagonal ones the step of the ladder operators in the S reduction.
struct HighOperator {
    Constant constant;
    int square, z;  // of the A reduction and of diagonal constants
    int square_S = 0, step_S = 0;
};
constexpr HighOperator kHighOperators[] = {
    {Constant::HJ, 3, 0},       {Constant::HJK, 2, 2},       {Constant::HKJ, 1, 4},
    {Constant::HK, 0, 6},       {Constant::hJ, 2, 0, 2, 2},  {Constant::hJK, 1, 2, 1, 4},
    {Constant::hK, 0, 4, 0, 6}, {Constant::LJ, 4, 0},        {Constant::LJJK, 3, 2},
    {Constant::LJK, 2, 4},      {Constant::LKKJ, 1, 6},      {Constant::LK, 0, 8},
    {Constant::lJ, 3, 0, 3, 2}, {Constant::lJK, 2, 2, 2, 4}, {Constant::lKJ, 1, 4, 1, 6},
    {Constant::lK, 0, 6, 0, 8},
};

SlowMatrix HighOperatorOf(const HighOperator& op, const Momenta& P, bool is_a) {
    const double X = P.square(0, 0).real();
    const auto scaled = [&](int power, const SlowMatrix& a) { return std::pow(X, power) * a; };
    SlowMatrix z(P.z.n);
    for (int i = 0; i < z.n; ++i) z(i, i) = 1.0;
    if (op.z > 0) z = Power(P.z, op.z);
    if (op.step_S == 0) return scaled(op.square, z);
    if (is_a) return scaled(op.square, 0.5 * Anti(z, P.up * P.up + P.down * P.down));
    return scaled(op.square_S, Power(P.up, op.step_S) + Power(P.down, op.step_S));
}

}  // namespace

SlowMatrix SlowOperator(int J, Constant constant, Reduction reduction) {
    const bool is_a = reduction == Reduction::A;
    const Momenta P(J);
    const SlowMatrix ladder2 = P.up * P.up + P.down * P.down;
    for (const HighOperator& op : kHighOperators) {
        if (op.constant == constant) return HighOperatorOf(op, P, is_a);
    }
    switch (constant) {
        case Constant::A:
            return P.z * P.z;
        case Constant::B:
            return P.x * P.x;
        case Constant::C:
            return P.y * P.y;
        case Constant::PX:
            return P.x;
        case Constant::PY:
            return P.y;
        case Constant::PZ:
            return P.z;
        case Constant::PXPY:
            return Anti(P.x, P.y);
        case Constant::PXPZ:
            return Anti(P.x, P.z);
        case Constant::PYPZ:
            return Anti(P.y, P.z);
        case Constant::DK:
            return -1.0 * (P.z * P.z * P.z * P.z);
        case Constant::DJK:
            return -1.0 * (P.square * P.z * P.z);
        case Constant::DJ:
            return -1.0 * (P.square * P.square);
        case Constant::dK:
            return is_a ? -0.5 * Anti(P.z * P.z, ladder2)
                        : P.up * P.up * P.up * P.up + P.down * P.down * P.down * P.down;
        case Constant::dJ:
            return is_a ? -0.5 * Anti(P.square, ladder2) : P.square * ladder2;
        case Constant::PZ3:
            return P.z * P.z * P.z;
        case Constant::PX3:
            return P.x * P.x * P.x;
        case Constant::PY3:
            return P.y * P.y * P.y;
        case Constant::PZ2PX:
            return Symmetrised(P.z, P.x);
        case Constant::PZ2PY:
            return Symmetrised(P.z, P.y);
        case Constant::PX2PZ:
            return Symmetrised(P.x, P.z);
        case Constant::PY2PZ:
            return Symmetrised(P.y, P.z);
        default:
            return P.z * P.z * P.z * P.z * P.z;  // PZ5
    }
}

SlowLevels SlowDiagonalise(const SlowMatrix& H) {
    SlowMatrix A = H, V(H.n);
    const int n = H.n;
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
    levels.vectors = SlowMatrix(n);
    for (int r = 0; r < n; ++r) {
        levels.energy.push_back(A(order[r], order[r]).real());
        for (int k = 0; k < n; ++k) levels.vectors(k, r) = V(k, order[r]);
    }
    return levels;
}

Axes SlowAxes(const EulerAngles& angles) {
    return Product(AboutZ(angles.chi), Product(AboutY(angles.theta), AboutZ(angles.phi)));
}

State SlowTurn(const State& state) {
    // Components x, y, z = b, c, a; elements below 1e-8 leave the cross term that the user gave.
    constexpr Constant kTensor[3][3] = {{Constant::B, Constant::PXPY, Constant::PXPZ},
                                        {Constant::PXPY, Constant::C, Constant::PYPZ},
                                        {Constant::PXPZ, Constant::PYPZ, Constant::A}};
    State turned = state;
    turned.tilt = {};
    if (state.tilt.IsZero()) return turned;
    const Axes g = SlowAxes(state.tilt);
    for (int i = 0; i < 3; ++i) {
        for (int j = i; j < 3; ++j) {
            double element = 0.0;
            for (int k = 0; k < 3; ++k) element += g[i][k] * g[j][k] * state.value(kTensor[k][k]);
            if (i == j || std::fabs(element) > 1e-8) turned.Set(kTensor[i][j], element);
        }
    }
    return turned;
}

SlowLevels SlowSolve(int J, const State& state) {
    const State turned = SlowTurn(state);
    SlowMatrix H(2 * J + 1);
    for (int c = 0; c < kNumConstants; ++c) {
        const Term& term = turned.terms[c];
        const auto constant = static_cast<Constant>(c);
        if (!term.on && constant > Constant::C) continue;
        H = H + term.value * SlowOperator(J, constant, state.reduction);
    }
    return SlowDiagonalise(H);
}

std::vector<Complex> SlowVector(const SlowLevels& levels, int r) {
    std::vector<Complex> v;
    for (int k = 0; k < levels.vectors.n; ++k) v.push_back(levels.vectors(k, r));
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
                    const std::vector<Complex>& upper, const std::array<double, 3>& moment) {
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

}  // namespace kiv
