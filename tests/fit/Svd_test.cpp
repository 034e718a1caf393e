#include "fit/Svd.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

#include "support/KivTest.h"

namespace {

using Row = std::vector<double>;

// A matrix with its own storage; row and column 0 hold NaN, which must never be read.
struct Matrix {
    int Rows, Cols;
    Row Store = Row((Rows + 1) * (Cols + 1), NAN);

    SvdMat View() { return {Store.data(), Rows + 1}; }
    double& operator()(int i, int j) { return View()(i, j); }
};

// A fit problem of random numbers, all constants varied; after Solve, its results.
struct Problem {
    int N, MA, Varied = MA, Status = 0;
    Matrix Design{MA, N};  // column i: the derivatives of row i
    Row Data = Row(N + 1, NAN), Sigma = Row(N + 1, 1.0), Value = Row(MA + 1, 5.0), Sd = {};
    std::vector<int> Order = std::vector<int>(MA + 1);
    double Chi2 = -1.0;

    Problem(int n, int ma, unsigned seed) : N(n), MA(ma) {
        std::mt19937 gen(seed);
        std::uniform_real_distribution<double> draw(-1.0, 1.0);
        for (int i = 0; i < n * ma; ++i) D(i / ma + 1, i % ma + 1) = draw(gen);
        std::generate(Data.begin() + 1, Data.end(), [&] { return draw(gen); });
        std::iota(Order.begin(), Order.end(), 0);
    }

    double& D(int i, int j) { return Design(j, i); }

    void Solve() {
        Row w(Varied + 1, NAN);
        Matrix u{N, Varied}, v{Varied, Varied}, cvm{Varied, Varied};
        Status = svdfit(nullptr, Data.data(), N, Value.data(), MA, Order.data(), Varied, u.View(),
                        v.View(), w.data(), &Chi2, Design.Store.data(), Sigma.data());
        if (Status == 1) Status = svdvar(v.View(), Varied, w.data(), cvm.View());
        Sd.assign(MA + 1, 0.0);
        for (int j = 1; j <= Varied && Status == 1; ++j) Sd[Order[j]] = std::sqrt(cvm(j, j));
    }
};

class Svd : public KivTest {};

// Columns that grow like those of a spectrum, from 1 (origin) to J^5: their sums of squares span 24
// powers of ten, and the position of a row is good to 1e-8.
TEST_F(Svd, FitIsAccurate) {
    const double truth[10] = {0, 60778.55, 9558.9, 760.2, 0.0066, -0.117, 2.59, 0.0017, 1e-6, 3e7};
    const int power[10] = {0, 2, 2, 2, 4, 4, 4, 4, 5, 0};
    for (const double maxJ : {10, 40, 100, 200}) {
        for (const int n : {20, 200, 2000}) {
            SCOPED_TRACE(testing::Message() << "J " << maxJ << " n " << n);
            Problem p(n, 9, 1);
            for (int i = 1; i <= n; ++i) {
                const double J = std::ceil(std::fabs(p.D(i, 9)) * maxJ);
                p.Data[i] = 0.0;
                for (int j = 1; j <= 9; ++j) {
                    p.D(i, j) = j == 9 ? 1.0 : p.D(i, j) * std::pow(J, power[j]);
                    p.Data[i] += p.D(i, j) * truth[j];
                }
                p.Sigma[i] = 0.02 + 0.01 * std::cos(i);
            }
            p.Order = {0, 3, 1, 8, 2, 6, 5, 9, 7, 4};
            p.Solve();
            ASSERT_EQ(p.Status, 1);
            for (int j = 1; j <= 9; ++j) EXPECT_NEAR(p.Value[j], truth[j], 1e-4 * p.Sd[j]) << j;
            // What the other columns leave of a column says how well its constant is known.
            Problem other = p;
            other.Varied = 8;
            other.Value[4] = -1.0;
            other.Data.assign(n + 1, 0.0);
            other.Solve();
            EXPECT_EQ(other.Value[4], -1.0);
            EXPECT_NEAR(p.Sd[4] * std::sqrt(other.Chi2), 1.0, 1e-6);
        }
    }
}

// Zero columns take no part, repeated ones share their value: the solution of smallest norm.
TEST_F(Svd, ZeroAndRepeatedColumns) {
    Problem single(15, 3, 6);
    single.Solve();
    const std::vector<int> cases[] = {
        {1, 2, 3, 0}, {0, 1, 2, 3}, {0, 2, 1, 0, 2, 3, 2}, {3, 3, 2, 1, 1, 0, 3}, {0, 0}};
    for (const std::vector<int>& columns : cases) {
        const int n = static_cast<int>(columns.size());
        Problem p(15, n, 1);
        p.Data = single.Data;
        for (int i = 0; i < 15 * n; ++i) {
            const int row = i / n + 1, c = columns[i % n];
            p.D(row, i % n + 1) = c == 0 ? std::copysign(0.0, i - 7) : single.D(row, c);
        }
        p.Solve();
        ASSERT_EQ(p.Status, 1);
        single.Value[0] = single.Sd[0] = 0.0;
        for (int j = 1; j <= n; ++j) {
            const int c = columns[j - 1];
            const auto share = static_cast<double>(std::count(columns.begin(), columns.end(), c));
            EXPECT_NEAR(p.Value[j], single.Value[c] / share, c == 0 ? 0.0 : 1e-14);
            EXPECT_NEAR(p.Sd[j], single.Sd[c] / share, c == 0 ? 0.0 : 1e-14);
        }
    }
}

// A = U diag(w) V^T with orthonormal columns of U (where w is not 0) and V.
void ExpectDecomposed(Matrix A) {
    Matrix u = A, v{A.Cols, A.Cols};
    Row w(A.Cols + 1, NAN);
    ASSERT_EQ(svdcmp(u.View(), A.Rows, A.Cols, w.data(), v.View()), 1);
    const double largest = *std::max_element(w.begin() + 1, w.end()), tol = 1e-14 * A.Rows;
    EXPECT_GE(*std::min_element(w.begin() + 1, w.end()), 0.0);
    for (int j = 1; j <= A.Cols; ++j) {
        for (int i = 1; i <= A.Rows; ++i) {
            double sum = -A(i, j);
            for (int k = 1; k <= A.Cols; ++k) sum += u(i, k) * w[k] * v(j, k);
            ASSERT_NEAR(sum, 0.0, tol * largest) << i << " " << j;
        }
        for (int k = 1; k <= A.Cols; ++k) {
            double uu = j == k ? -1.0 : 0.0, vv = uu;
            for (int i = 1; i <= A.Rows; ++i) uu += u(i, j) * u(i, k);
            for (int i = 1; i <= A.Cols; ++i) vv += v(i, j) * v(i, k);
            EXPECT_NEAR(vv, 0.0, tol);
            EXPECT_NEAR(std::min(w[j], w[k]) > tol * largest ? uu : 0.0, 0.0, tol);
        }
    }
}

TEST_F(Svd, DecompositionReassembles) {
    for (const auto& [m, n] : {std::pair(1, 1), {2, 1}, {3, 3}, {7, 4}, {65, 9}, {200, 40}}) {
        SCOPED_TRACE(m);
        Matrix A = Problem(n, m, 10).Design;
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

TEST_F(Svd, FewRowsAndNoNumbersEndTheFit) {
    for (int place = -1; place < 24; ++place) {
        Problem p(place < 0 ? 2 : 4, 3, 12);
        if (place >= 0) p.D(place % 4 + 1, place % 3 + 1) = place < 12 ? NAN : HUGE_VAL;
        testing::internal::CaptureStdout();
        p.Solve();
        const std::string text = testing::internal::GetCapturedStdout();
        if (place >= 0 && p.Status == 1) continue;
        EXPECT_EQ(p.Status, kSvdFailed);
        EXPECT_EQ(text, place < 0 ? "svdcmp() - 2 3 YOU MUST AUGMENT A WITH EXTRA ZERO ROWS!\n"
                                  : "svdcmp() - NO CONVERGENCE IN 30 SVDCMP ITERATIONS!\n");
    }
}

}  // namespace
