#include "linalg/Svd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace kiv {
namespace {

using Row = std::vector<double>;

// A matrix with its own storage; row and column 0 hold NaN, which must never be read.
struct Matrix {
    int rows, cols;
    Row store = Row((rows + 1) * (cols + 1), NAN);

    SvdMat View() { return {store.data(), rows + 1}; }
    double& operator()(int i, int j) { return View()(i, j); }
};

// A fit problem of random numbers, all constants varied; after Solve, its results.
struct Problem {
    int n, ma, varied = ma;
    Status status;
    Matrix design{ma, n};  // column i: the derivatives of row i
    Row data = Row(n + 1, NAN), sigma = Row(n + 1, 1.0), value = Row(ma + 1, 5.0), sd = {};
    std::vector<int> order = std::vector<int>(ma + 1);
    double chi2 = -1.0;

    Problem(int rows, int parameters, unsigned seed) : n(rows), ma(parameters) {
        std::mt19937 gen(seed);
        std::uniform_real_distribution<double> draw(-1.0, 1.0);
        for (int i = 0; i < n * ma; ++i) D(i / ma + 1, i % ma + 1) = draw(gen);
        std::generate(data.begin() + 1, data.end(), [&] { return draw(gen); });
        std::iota(order.begin(), order.end(), 0);
    }

    double& D(int i, int j) { return design(j, i); }

    void Solve(const Memory& memory = Memory()) {
        Row w(varied + 1, NAN);
        Matrix u{n, varied}, v{varied, varied}, covariance{varied, varied};
        status = svdfit(data.data(), n, value.data(), ma, order.data(), varied, u.View(), v.View(),
                        w.data(), &chi2, design.store.data(), sigma.data(), memory);
        if (status) status = svdvar(v.View(), varied, w.data(), covariance.View(), memory);
        sd.assign(ma + 1, 0.0);
        for (int j = 1; j <= varied && status; ++j) sd[order[j]] = std::sqrt(covariance(j, j));
    }
};

// Columns that grow like those of a spectrum, from 1 (origin) to J^5: their sums of squares span 24
// powers of ten, and the position of a row is good to 1e-8.
TEST(Svd, FitIsAccurate) {
    const double truth[10] = {0, 60778.55, 9558.9, 760.2, 0.0066, -0.117, 2.59, 0.0017, 1e-6, 3e7};
    const int power[10] = {0, 2, 2, 2, 4, 4, 4, 4, 5, 0};
    for (const double maxJ : {10, 40, 100, 200}) {
        for (const int n : {20, 200, 2000}) {
            SCOPED_TRACE(testing::Message() << "J " << maxJ << " n " << n);
            Problem p(n, 9, 1);
            for (int i = 1; i <= n; ++i) {
                const double J = std::ceil(std::fabs(p.D(i, 9)) * maxJ);
                p.data[i] = 0.0;
                for (int j = 1; j <= 9; ++j) {
                    p.D(i, j) = j == 9 ? 1.0 : p.D(i, j) * std::pow(J, power[j]);
                    p.data[i] += p.D(i, j) * truth[j];
                }
                p.sigma[i] = 0.02 + 0.01 * std::cos(i);
            }
            p.order = {0, 3, 1, 8, 2, 6, 5, 9, 7, 4};
            p.Solve();
            ASSERT_TRUE(p.status);
            for (int j = 1; j <= 9; ++j) EXPECT_NEAR(p.value[j], truth[j], 1e-4 * p.sd[j]) << j;
            // What the other columns leave of a column says how well its constant is known.
            Problem other = p;
            other.varied = 8;
            other.value[4] = -1.0;
            other.data.assign(n + 1, 0.0);
            other.Solve();
            EXPECT_EQ(other.value[4], -1.0);
            EXPECT_NEAR(p.sd[4] * std::sqrt(other.chi2), 1.0, 1e-6);
        }
    }
}

// Zero columns take no part, repeated ones share their value: the solution of smallest norm.
TEST(Svd, ZeroAndRepeatedColumns) {
    Problem single(15, 3, 6);
    single.Solve();
    const std::vector<int> cases[] = {
        {1, 2, 3, 0}, {0, 1, 2, 3}, {0, 2, 1, 0, 2, 3, 2}, {3, 3, 2, 1, 1, 0, 3}, {0, 0}};
    for (const std::vector<int>& columns : cases) {
        const int n = static_cast<int>(columns.size());
        Problem p(15, n, 1);
        p.data = single.data;
        for (int i = 0; i < 15 * n; ++i) {
            const int row = i / n + 1, c = columns[i % n];
            p.D(row, i % n + 1) = c == 0 ? std::copysign(0.0, i - 7) : single.D(row, c);
        }
        p.Solve();
        ASSERT_TRUE(p.status);
        single.value[0] = single.sd[0] = 0.0;
        for (int j = 1; j <= n; ++j) {
            const int c = columns[j - 1];
            const auto share = static_cast<double>(std::count(columns.begin(), columns.end(), c));
            EXPECT_NEAR(p.value[j], single.value[c] / share, c == 0 ? 0.0 : 1e-14);
            EXPECT_NEAR(p.sd[j], single.sd[c] / share, c == 0 ? 0.0 : 1e-14);
        }
    }
}

// A = U diag(w) V^T with orthonormal columns of U (where w is not 0) and V.
void ExpectDecomposed(Matrix A) {
    Matrix u = A, v{A.cols, A.cols};
    Row w(A.cols + 1, NAN);
    ASSERT_TRUE(svdcmp(u.View(), A.rows, A.cols, w.data(), v.View(), Memory()));
    const double largest = *std::max_element(w.begin() + 1, w.end()), tol = 1e-14 * A.rows;
    EXPECT_GE(*std::min_element(w.begin() + 1, w.end()), 0.0);
    for (int j = 1; j <= A.cols; ++j) {
        for (int i = 1; i <= A.rows; ++i) {
            double sum = -A(i, j);
            for (int k = 1; k <= A.cols; ++k) sum += u(i, k) * w[k] * v(j, k);
            ASSERT_NEAR(sum, 0.0, tol * largest) << i << " " << j;
        }
        for (int k = 1; k <= A.cols; ++k) {
            double uu = j == k ? -1.0 : 0.0, vv = uu;
            for (int i = 1; i <= A.rows; ++i) uu += u(i, j) * u(i, k);
            for (int i = 1; i <= A.cols; ++i) vv += v(i, j) * v(i, k);
            EXPECT_NEAR(vv, 0.0, tol);
            EXPECT_NEAR(std::min(w[j], w[k]) > tol * largest ? uu : 0.0, 0.0, tol);
        }
    }
}

TEST(Svd, DecompositionReassembles) {
    for (const auto& [m, n] : {std::pair(1, 1), {2, 1}, {3, 3}, {7, 4}, {65, 9}, {200, 40}}) {
        SCOPED_TRACE(m);
        Matrix A = Problem(n, m, 10).design;
        ExpectDecomposed(A);
        for (int i = 1; i <= m; ++i) A(i, n) = n < 3 ? 0.0 : A(i, 1) - A(i, 2);  // a rank less
        ExpectDecomposed(A);
    }
    // A zero on the diagonal has to be chased out along the row before the rest can converge.
    for (int mask = 0; mask < 128; ++mask) {
        SCOPED_TRACE(mask);
        Matrix A{4, 4};
        for (int i = 0; i < 16; ++i) A(i / 4 + 1, i % 4 + 1) = 0.0;
        for (int i = 1; i <= 4; ++i) A(i, i) = mask >> (i - 1) & 1 ? 0.0 : i;
        for (int i = 1; i <= 3; ++i) A(i, i + 1) = mask >> (i + 3) & 1 ? 0.0 : 0.5;
        ExpectDecomposed(A);
    }
}

TEST(Svd, FewRowsAndNoNumbersEndTheFit) {
    for (int place = -1; place < 24; ++place) {
        Problem p(place < 0 ? 2 : 4, 3, 12);
        if (place >= 0) p.D(place % 4 + 1, place % 3 + 1) = place < 12 ? NAN : HUGE_VAL;
        p.Solve();
        if (place >= 0 && p.status) continue;
        ASSERT_FALSE(p.status);
        EXPECT_EQ(p.status.error().code,
                  place < 0 ? ErrorCode::TooFewLines : ErrorCode::NotConverged);
    }
}

TEST(Svd, EveryRefusedArrayIsNamed) {
    Memory memory(100000);
    std::string named;
    for (int granted = 0;; ++granted) {
        Problem p(6, 3, 12);
        memory.RefuseAfter(granted);
        p.Solve(memory);
        EXPECT_EQ(memory.held(), 0);
        if (p.status) break;
        EXPECT_EQ(p.status.error().code, ErrorCode::NoMemory);
        const std::string& subject = p.status.error().subject;
        if (!named.ends_with(subject)) named += ", " + subject;
    }
    EXPECT_EQ(named,
              ", right side of the fit, superdiagonal of the decomposition, "
              "product of the back substitution, weights of the singular values");
}

}  // namespace
}  // namespace kiv
