// The eigensolvers as numerical routines: residuals, orthonormality, order, closed forms.

#include "linalg/Eispack.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <random>
#include <vector>

#include "linalg/Hermitian.h"

namespace kiv {
namespace {

using Complex = std::complex<double>;

struct Solved {
    std::vector<double> energies;
    std::vector<Complex> vectors;  // vector j at j*n
    int error = 0;
};

Solved SolveReal(const std::vector<double>& full, int n, int nm) {
    std::vector<double> d(n), e(n), z(static_cast<std::size_t>(nm) * n, 7.0);
    for (int j = 0; j < n; ++j) {
        for (int i = j; i < n; ++i) z[j * nm + i] = full[i * n + j];  // the lower triangle alone
    }
    Solved s;
    tred2(nm, n, z.data(), d.data(), e.data(), z.data());
    EXPECT_EQ(tql2(nm, n, d.data(), e.data(), z.data(), &s.error), 0);
    s.energies = d;
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) s.vectors.emplace_back(z[j * nm + i]);
    }
    return s;
}

Solved SolveHermitian(const std::vector<Complex>& full, int n, int nm) {
    const auto size = static_cast<std::size_t>(nm) * n;
    std::vector<double> ar(size, 7.0), ai(size, 7.0), zr(size), zi(size), d(n), e(n), e2(n),
        tau(2 * n);
    for (int j = 0; j < n; ++j) {
        zr[j * nm + j] = 1.0;
        for (int i = j; i < n; ++i) {
            ar[j * nm + i] = full[i * n + j].real();
            ai[j * nm + i] = full[i * n + j].imag();
        }
    }
    Solved s;
    htridi(nm, n, ar.data(), ai.data(), d.data(), e.data(), e2.data(), tau.data());
    tql2(nm, n, d.data(), e.data(), zr.data(), &s.error);
    htribk(nm, n, ar.data(), ai.data(), tau.data(), n, zr.data(), zi.data());
    s.energies = d;
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) s.vectors.emplace_back(zr[j * nm + i], zi[j * nm + i]);
    }
    return s;
}

// A v = E v, v^H w = delta, ascending order.
void ExpectEigen(const std::vector<Complex>& full, int n, const Solved& s) {
    EXPECT_EQ(s.error, 0);
    double norm = 0.0;
    for (const Complex& x : full) norm = std::max(norm, std::abs(x));
    for (int a = 0; a < n; ++a) {
        EXPECT_LE(s.energies[std::max(a - 1, 0)], s.energies[a]);
        for (int i = 0; i < n; ++i) {
            Complex residual = -s.energies[a] * s.vectors[a * n + i];
            for (int j = 0; j < n; ++j) residual += full[i * n + j] * s.vectors[a * n + j];
            // the tolerance of the QL step is 2e-11 of the largest element met
            EXPECT_LT(std::abs(residual), 1e-10 * n * norm) << "vector " << a << " row " << i;
        }
        for (int b = 0; b <= a; ++b) {
            Complex product = 0.0;
            for (int i = 0; i < n; ++i)
                product += std::conj(s.vectors[a * n + i]) * s.vectors[b * n + i];
            EXPECT_NEAR(std::abs(product - (a == b ? 1.0 : 0.0)), 0.0, 1e-13 * n);
        }
    }
}

std::vector<Complex> RandomHermitian(int n, bool complex, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal;
    std::vector<Complex> full(static_cast<std::size_t>(n) * n);
    for (int i = 0; i < n; ++i) {
        full[i * n + i] = normal(random);
        for (int j = 0; j < i; ++j) {
            full[i * n + j] = Complex(normal(random), complex ? normal(random) : 0.0);
            full[j * n + i] = std::conj(full[i * n + j]);
        }
    }
    return full;
}

std::vector<double> RealParts(const std::vector<Complex>& full) {
    std::vector<double> real;
    for (const Complex& x : full) real.push_back(x.real());
    return real;
}

TEST(Eigensolver, SolvesRandomMatrices) {
    for (int n : {1, 2, 3, 5, 16, 37, 70}) {
        const auto real = RandomHermitian(n, false, 100 + n);
        ExpectEigen(real, n, SolveReal(RealParts(real), n, n));
        ExpectEigen(real, n, SolveReal(RealParts(real), n, n + 3));  // leading dimension apart
        const auto hermitian = RandomHermitian(n, true, 200 + n);
        ExpectEigen(hermitian, n, SolveHermitian(hermitian, n, n));
        ExpectEigen(hermitian, n, SolveHermitian(hermitian, n, n + 2));
        ExpectEigen(real, n, SolveHermitian(real, n, n));
    }
}

// The chain with 2 on the diagonal and -1 beside it has E_k = 2 - 2 cos(k pi / (n + 1)). At n = 600
// the sweeps are longer than one stretch of stored rotations.
TEST(Eigensolver, MatchesTheClosedFormOfAChain) {
    for (int n : {10, 600}) {
        std::vector<double> d(n, 2.0), e(n, -1.0), z(static_cast<std::size_t>(n) * n);
        for (int i = 0; i < n; ++i) z[i * n + i] = 1.0;
        int error = 0;
        tql2(n, n, d.data(), e.data(), z.data(), &error);
        ASSERT_EQ(error, 0);
        for (int k = 1; k <= n; ++k) {
            const double angle = k * M_PI / (n + 1);
            EXPECT_NEAR(d[k - 1], 2.0 - 2.0 * std::cos(angle), 1e-11);
            const double size = std::sqrt(2.0 / (n + 1));
            for (int i = 1; i <= n; i += 7) {
                EXPECT_NEAR(std::fabs(z[(k - 1) * n + i - 1]),
                            std::fabs(size * std::sin(i * angle)), 1e-6);
            }
        }
    }
}

// Matrices of all sizes side by side, filled up to whole vectors: the bits of one at a time.
TEST(Eigensolver, SolvesSeveralMatricesAsOne) {
    struct Problem {
        int n, nm;
        std::vector<double> d, e, z;
        Problem(int size, int distance) : n(size), nm(distance), d(n), e(n), z(nm * n) {
            std::mt19937 random(static_cast<unsigned>(n));
            std::uniform_real_distribution<double> number(-1.0, 1.0);
            for (int i = 0; i < n; ++i) {
                d[i] = i + number(random);
                e[i] = number(random);
                z[i * nm + i] = 1.0;
            }
        }
    };
    std::vector<Problem> alone, together;
    for (int n : {1, 300, 2, 10, 5, 64, 33, 7, 1, 280, 40, 20}) {
        alone.emplace_back(n, n);
        together.emplace_back(n, (n + 7) / 8 * 8);
    }
    std::vector<QlMatrix> matrices;
    for (Problem& p : together) {
        matrices.push_back({p.nm, p.n, p.d.data(), p.e.data(), p.z.data(), -1});
    }
    tql2(matrices);
    for (std::size_t k = 0; k < alone.size(); ++k) {
        Problem& p = alone[k];
        int error = -1;
        tql2(p.nm, p.n, p.d.data(), p.e.data(), p.z.data(), &error);
        EXPECT_EQ(matrices[k].Error, 0);
        EXPECT_EQ(error, 0);
        EXPECT_EQ(p.d, together[k].d);
        for (int j = 0; j < p.n; ++j) {
            const auto* vector = &together[k].z[j * together[k].nm];
            EXPECT_TRUE(std::equal(vector, vector + p.n, &p.z[j * p.n])) << k << " " << j;
        }
    }
}

TEST(Eigensolver, SortsADiagonalAndKeepsEqualValuesInOrder) {
    std::vector<double> full(25, 0.0);
    const double diagonal[] = {5.0, 1.0, 3.0, 1.0, 2.0};
    const int expected[] = {1, 3, 4, 2, 0};
    for (int i = 0; i < 5; ++i) full[i * 5 + i] = diagonal[i];
    const Solved s = SolveReal(full, 5, 5);
    for (int a = 0; a < 5; ++a) {
        EXPECT_EQ(s.energies[a], diagonal[expected[a]]);
        EXPECT_EQ(s.vectors[a * 5 + expected[a]], Complex(1.0));
    }
}

TEST(Eigensolver, EndsOnValuesThatAreNotNumbers) {
    for (double bad : {std::numeric_limits<double>::quiet_NaN(),
                       std::numeric_limits<double>::infinity(), 1e308}) {
        auto full = RandomHermitian(6, true, 3);
        full[3 * 6 + 2] = full[2 * 6 + 3] = bad;
        full[0] = bad;
        SolveReal(RealParts(full), 6, 6);
        SolveHermitian(full, 6, 6);
    }
}

TEST(Eigensolver, TakesTheNormWithoutOverflow) {
    EXPECT_EQ(pythag(3.0, -4.0), 5.0);
    EXPECT_EQ(pythag(0.0, 0.0), 0.0);
    EXPECT_EQ(pythag(1e-30, 1.0), 1.0);
    EXPECT_NEAR(pythag(3e300, 4e300) / 5e300, 1.0, 1e-15);
    EXPECT_EQ(SignTransfer(-2.0, 0.0), 2.0);
    EXPECT_EQ(SignTransfer(2.0, -1.0), -2.0);
}

}  // namespace
}  // namespace kiv
