#include "fit/Svd.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "run/KivArray.h"
#include "support/KivTest.h"

namespace {

using Row = std::vector<double>;
using LongRow = std::vector<long double>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// A matrix with its own storage; row and column 0 hold NaN, which must never be read.
struct Matrix {
    std::ptrdiff_t Rows, Cols;
    Row Store;

    Matrix(std::ptrdiff_t rows, std::ptrdiff_t cols)
        : Rows(rows), Cols(cols), Store((rows + 1) * (cols + 1), kNaN) {}
    SvdMat View() { return {Store.data(), Rows + 1}; }
    double& operator()(std::ptrdiff_t i, std::ptrdiff_t j) { return View()(i, j); }
};

// A fit problem: rows of the design matrix, data and uncertainties; positions as for svdfit.
struct Problem {
    std::vector<Row> Design;  // [i][j], from 0
    Row Data, Sigma;
    Row Value;               // starting values, from 0
    std::vector<int> Order;  // parameter numbers from 1: first the varied ones
    int Varied = 0;

    // Results
    Row Sd, W;
    double Chi2 = -1.0;
    int Status = 0;

    Problem(const std::vector<Row>& design, const Row& data)
        : Design(design), Data(data), Sigma(data.size(), 1.0) {
        const int ma = static_cast<int>(design.empty() ? 0 : design[0].size());
        Value.assign(ma, 0.0);
        for (int j = 1; j <= ma; ++j) Order.push_back(j);
        Varied = ma;
    }

    void Solve() {
        const auto ma = static_cast<std::ptrdiff_t>(Value.size());
        const auto n = static_cast<std::ptrdiff_t>(Data.size());
        Row y = OneBased(Data), sig = OneBased(Sigma), a = OneBased(Value), w(Varied + 1, kNaN);
        Row D((n + 1) * (ma + 1), kNaN);
        for (std::ptrdiff_t i = 1; i <= n; ++i) {
            for (std::ptrdiff_t j = 1; j <= ma; ++j) {
                D[i * (ma + 1) + j] = Design[i - 1][j - 1];
            }
        }
        std::vector<int> ia = {0};
        ia.insert(ia.end(), Order.begin(), Order.end());
        Matrix u(n, Varied), v(Varied, Varied), cvm(Varied, Varied);
        Status = svdfit(nullptr, y.data(), n, a.data(), static_cast<int>(ma), ia.data(), Varied,
                        u.View(), v.View(), w.data(), &Chi2, D.data(), sig.data());
        if (Status == 1) Status = svdvar(v.View(), Varied, w.data(), cvm.View());
        if (Status != 1) return;
        Sd.assign(ma, 0.0);
        for (int j = 1; j <= Varied; ++j) Sd[ia[j] - 1] = std::sqrt(cvm(j, j));
        Value.assign(a.begin() + 1, a.end());
        W.assign(w.begin() + 1, w.end());
    }

    static Row OneBased(const Row& x) {
        Row y = {kNaN};
        y.insert(y.end(), x.begin(), x.end());
        return y;
    }
};

// Reference: modified Gram-Schmidt with reorthogonalisation, in long double.
struct Reference {
    LongRow Value, Sd;

    explicit Reference(const Problem& p) {
        const std::size_t n = p.Data.size(), M = p.Value.size();
        std::vector<LongRow> q(M, LongRow(n)), r(M, LongRow(M));
        LongRow b(n), z(M);
        for (std::size_t i = 0; i < n; ++i) {
            b[i] = p.Data[i] / static_cast<long double>(p.Sigma[i]);
            for (std::size_t j = 0; j < M; ++j) {
                q[j][i] = p.Design[i][j] / static_cast<long double>(p.Sigma[i]);
            }
        }
        for (std::size_t j = 0; j < M; ++j) {
            for (int pass = 0; pass < 2; ++pass) {
                for (std::size_t k = 0; k < j; ++k) {
                    const long double s = Inner(q[k], q[j]);
                    r[k][j] += s;
                    for (std::size_t i = 0; i < n; ++i) q[j][i] -= s * q[k][i];
                }
            }
            r[j][j] = std::sqrt(Inner(q[j], q[j]));
            for (auto& x : q[j]) x /= r[j][j];
            z[j] = Inner(q[j], b);
            for (std::size_t i = 0; i < n; ++i) b[i] -= z[j] * q[j][i];
        }
        Value = Back(r, z);
        Sd.assign(M, 0.0L);
        for (std::size_t k = 0; k < M; ++k) {  // column k of the inverse of r
            LongRow unit(M);
            unit[k] = 1.0L;
            const LongRow x = Back(r, unit);
            for (std::size_t j = 0; j < M; ++j) Sd[j] += x[j] * x[j];
        }
        for (auto& sd : Sd) sd = std::sqrt(sd);
    }

    static long double Inner(const LongRow& x, const LongRow& y) {
        long double sum = 0.0L;
        for (std::size_t i = 0; i < x.size(); ++i) sum += x[i] * y[i];
        return sum;
    }

    static LongRow Back(const std::vector<LongRow>& r, LongRow z) {
        for (std::size_t j = z.size(); j-- > 0;) {
            for (std::size_t k = j + 1; k < z.size(); ++k) z[j] -= r[j][k] * z[k];
            z[j] /= r[j][j];
        }
        return z;
    }
};

std::vector<Row> RandomDesign(int n, int M, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> draw(-1.0, 1.0);
    std::vector<Row> design(n, Row(M));
    for (auto& row : design) {
        for (auto& x : row) x = draw(gen);
    }
    return design;
}

Row RandomData(int n, unsigned seed) {
    Row data;
    for (const Row& row : RandomDesign(n, 1, seed)) data.push_back(row[0]);
    return data;
}

// Columns as a rotational spectrum gives them: from 1 (origin) over K^2 to J^4 and K^5.
Problem SpectrumProblem(int n, int maxJ) {
    std::mt19937 gen(7);
    std::uniform_int_distribution<int> drawJ(1, maxJ);
    std::uniform_real_distribution<double> draw(-1.0, 1.0);
    const Row truth = {60778.55, 9558.9, 760.2, 0.0066, -0.117, 2.59, 0.0017, 1e-6, 31234567.25};
    std::vector<Row> design;
    Row data;
    for (int i = 0; i < n; ++i) {
        const double J = drawJ(gen), K = std::fmod(drawJ(gen), J + 1),
                     dJ = std::floor(draw(gen) + 1);
        const double X = J * (J + 1), Y = (J + dJ) * (J + dJ + 1), L = K + 1, s = draw(gen);
        const Row row = {L * L - K * K,
                         Y - X,
                         s * X,
                         X * X - Y * Y,
                         X * K * K - Y * L * L,
                         std::pow(K, 4) - std::pow(L, 4),
                         s * X * X,
                         std::pow(L, 5) - std::pow(K, 5),
                         1.0};
        double sum = 0.03 * draw(gen);
        for (std::size_t j = 0; j < row.size(); ++j) sum += row[j] * truth[j];
        design.push_back(row);
        data.push_back(sum);
    }
    Problem p(design, data);
    for (auto& sigma : p.Sigma) sigma = 0.02 + 0.01 * draw(gen);
    return p;
}

void ExpectLike(const Problem& p, const Reference& ref, double in_sd, double of_sd) {
    for (std::size_t j = 0; j < p.Value.size(); ++j) {
        SCOPED_TRACE(j);
        EXPECT_NEAR(p.Value[j], static_cast<double>(ref.Value[j]), in_sd * p.Sd[j]);
        EXPECT_NEAR(p.Sd[j], static_cast<double>(ref.Sd[j]), of_sd * p.Sd[j]);
    }
}

class Svd : public KivTest {};

TEST_F(Svd, FitAgreesWithLongDoubleReference) {
    for (const int maxJ : {10, 40, 100, 200}) {
        for (const int n : {20, 200, 2000}) {
            SCOPED_TRACE(testing::Message() << "J " << maxJ << " n " << n);
            Problem p = SpectrumProblem(n, maxJ);
            p.Solve();
            ASSERT_EQ(p.Status, 1);
            // The sums of squares span 24 powers of ten; the misfit of a row is good to 1e-8.
            ExpectLike(p, Reference(p), 1e-5, 1e-6);
        }
    }
}

TEST_F(Svd, ChiSquareIsTheWeightedMisfitOfAllParameters) {
    Problem p(RandomDesign(30, 4, 1), RandomData(30, 2));
    for (std::size_t i = 0; i < p.Sigma.size(); ++i)
        p.Sigma[i] = 0.5 + 0.1 * static_cast<double>(i);
    p.Order = {2, 4, 1, 3};
    p.Varied = 3;
    p.Value = {9.0, 9.0, 0.7, 9.0};
    p.Solve();
    ASSERT_EQ(p.Status, 1);
    EXPECT_EQ(p.Value[2], 0.7);
    double chi2 = 0.0;
    for (std::size_t i = 0; i < p.Data.size(); ++i) {
        double misfit = p.Data[i];
        for (std::size_t j = 0; j < 4; ++j) misfit -= p.Design[i][j] * p.Value[j];
        chi2 += std::pow(misfit / p.Sigma[i], 2);
    }
    EXPECT_NEAR(p.Chi2, chi2, 1e-12 * chi2);
    // The same fit with the fixed parameter taken out of the data by hand.
    Problem reduced = p;
    reduced.Value.resize(3);
    for (std::size_t i = 0; i < p.Data.size(); ++i) {
        reduced.Data[i] -= 0.7 * p.Design[i][2];
        reduced.Design[i] = {p.Design[i][0], p.Design[i][1], p.Design[i][3]};
    }
    const Reference ref(reduced);
    const std::size_t place[3] = {0, 1, 3};
    for (std::size_t j = 0; j < 3; ++j) {
        EXPECT_NEAR(p.Value[place[j]], static_cast<double>(ref.Value[j]), 1e-13);
        EXPECT_NEAR(p.Sd[place[j]], static_cast<double>(ref.Sd[j]), 1e-13);
    }
}

TEST_F(Svd, SquareSystemIsSolvedExactly) {
    Problem p({{2, 1, 0}, {1, 3, 1}, {0, 1, 4}}, {4, 10, 14});  // x = 1, 2, 3
    p.Solve();
    ASSERT_EQ(p.Status, 1);
    for (int j = 0; j < 3; ++j) EXPECT_NEAR(p.Value[j], j + 1, 1e-14);
    EXPECT_LT(p.Chi2, 1e-28);
}

TEST_F(Svd, OneRowTooFewIsRefused) {
    Problem p({{1, 2, 3}, {4, 5, 6}}, {1, 2});
    testing::internal::CaptureStdout();
    p.Solve();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "svdcmp() - 2 3 YOU MUST AUGMENT A WITH EXTRA ZERO ROWS!\n");
    EXPECT_EQ(p.Status, kSvdFailed);
}

TEST_F(Svd, ZeroColumnIsLeftOutExactly) {
    const std::vector<Row> design = RandomDesign(12, 3, 3);
    Problem without(design, RandomData(12, 4));
    without.Solve();
    for (const std::size_t place : {0u, 1u, 2u, 3u}) {
        for (const double zero : {0.0, -0.0}) {
            SCOPED_TRACE(place);
            Problem p = without;
            for (Row& row : p.Design) row.insert(row.begin() + static_cast<long>(place), zero);
            p.Value.assign(4, 5.0);
            p.Order = {1, 2, 3, 4};
            p.Varied = 4;
            p.Solve();
            ASSERT_EQ(p.Status, 1);
            EXPECT_EQ(std::count(p.W.begin(), p.W.end(), 0.0), 1);
            EXPECT_EQ(p.Value[place], 0.0);
            EXPECT_EQ(p.Sd[place], 0.0);
            for (std::size_t j = 0; j < 3; ++j) {  // the others do not notice
                EXPECT_EQ(p.Value[j < place ? j : j + 1], without.Value[j]);
                EXPECT_EQ(p.Sd[j < place ? j : j + 1], without.Sd[j]);
            }
        }
    }
}

TEST_F(Svd, NothingButZeroColumns) {
    Problem p(std::vector<Row>(5, Row(3, 0.0)), RandomData(5, 5));
    p.Value = {1, 2, 3};
    p.Solve();
    ASSERT_EQ(p.Status, 1);
    EXPECT_EQ(p.Value, Row(3, 0.0));
    EXPECT_EQ(p.Sd, Row(3, 0.0));
    EXPECT_EQ(p.W, Row(3, 0.0));
}

TEST_F(Svd, RepeatedColumnsGiveTheSmallestSolution) {
    const std::vector<Row> design = RandomDesign(15, 3, 6);
    Problem single(design, RandomData(15, 7));
    single.Solve();
    Problem p = single;  // columns 2, 1, 2, 3, 2
    for (Row& row : p.Design) row = {row[1], row[0], row[1], row[2], row[1]};
    p.Value.assign(5, 0.0);
    p.Order = {1, 2, 3, 4, 5};
    p.Varied = 5;
    p.Solve();
    ASSERT_EQ(p.Status, 1);
    EXPECT_EQ(std::count(p.W.begin(), p.W.end(), 0.0), 2);
    for (const int j : {0, 2, 4}) {
        EXPECT_NEAR(p.Value[j], single.Value[1] / 3, 1e-14);
        EXPECT_NEAR(p.Sd[j], single.Sd[1] / 3, 1e-14);
    }
    EXPECT_NEAR(p.Value[1], single.Value[0], 1e-14);
    EXPECT_NEAR(p.Value[3], single.Value[2], 1e-14);
    EXPECT_NEAR(p.Chi2, single.Chi2, 1e-13);
}

TEST_F(Svd, NothingVariedLeavesTheValues) {
    Problem p(RandomDesign(6, 2, 8), RandomData(6, 9));
    p.Value = {0.25, -0.5};
    p.Varied = 0;
    p.Solve();
    ASSERT_EQ(p.Status, 1);
    EXPECT_EQ(p.Value, (Row{0.25, -0.5}));
    EXPECT_GT(p.Chi2, 0.0);
}

// A = U diag(w) V^T with orthonormal columns of U (where w is not 0) and V.
void ExpectDecomposed(Matrix A, const Matrix& original) {
    const auto m = A.Rows, n = A.Cols;
    Matrix v(n, n);
    Row w(n + 1, kNaN);
    ASSERT_EQ(svdcmp(A.View(), m, static_cast<int>(n), w.data(), v.View()), 1);
    double largest = 0.0;
    for (int k = 1; k <= n; ++k) {
        EXPECT_GE(w[k], 0.0);
        largest = std::max(largest, w[k]);
    }
    const double tol = 1e-14 * static_cast<double>(m);
    Matrix copy = original;
    for (int i = 1; i <= m; ++i) {
        for (int j = 1; j <= n; ++j) {
            double sum = 0.0;
            for (int k = 1; k <= n; ++k) sum += A(i, k) * w[k] * v(j, k);
            ASSERT_NEAR(sum, copy(i, j), tol * largest) << i << " " << j;
        }
    }
    for (int j = 1; j <= n; ++j) {
        for (int k = 1; k <= n; ++k) {
            double uu = 0.0, vv = 0.0;
            for (int i = 1; i <= m; ++i) uu += A(i, j) * A(i, k);
            for (int i = 1; i <= n; ++i) vv += v(i, j) * v(i, k);
            EXPECT_NEAR(vv, j == k ? 1.0 : 0.0, tol);
            if (w[j] > tol * largest && w[k] > tol * largest) {
                EXPECT_NEAR(uu, j == k ? 1.0 : 0.0, tol);
            }
        }
    }
}

TEST_F(Svd, DecompositionReassembles) {
    const int sizes[][2] = {{1, 1}, {2, 1}, {3, 3}, {7, 4}, {65, 9}, {200, 40}};
    for (const auto& size : sizes) {
        for (const int rank : {size[1], (size[1] + 1) / 2, 0}) {
            SCOPED_TRACE(testing::Message() << size[0] << " x " << size[1] << " rank " << rank);
            const std::vector<Row> left = RandomDesign(size[0], rank, 10);
            const std::vector<Row> right = RandomDesign(size[1], rank, 11);
            Matrix A(size[0], size[1]);
            for (int i = 0; i < size[0]; ++i) {
                for (int j = 0; j < size[1]; ++j) {
                    double sum = 0.0;
                    for (int k = 0; k < rank; ++k) sum += left[i][k] * right[j][k];
                    A(i + 1, j + 1) = sum;
                }
            }
            ExpectDecomposed(A, A);
        }
    }
}

TEST_F(Svd, DecompositionOfBidiagonalsWithVanishingElements) {
    // A zero on the diagonal has to be chased out along the row before the rest can converge.
    for (int mask = 0; mask < 128; ++mask) {
        Matrix A(4, 4);
        for (int i = 1; i <= 4; ++i) {
            for (int j = 1; j <= 4; ++j) A(i, j) = 0.0;
        }
        for (int i = 1; i <= 4; ++i) A(i, i) = mask >> (i - 1) & 1 ? 0.0 : i;
        for (int i = 1; i <= 3; ++i) A(i, i + 1) = mask >> (i + 3) & 1 ? 0.0 : 0.5;
        SCOPED_TRACE(mask);
        ExpectDecomposed(A, A);
    }
}

TEST_F(Svd, NotANumberAnywhereEndsTheFit) {
    for (const double bad : {kNaN, kInf}) {
        for (int place = 0; place < 12; ++place) {
            Problem p(RandomDesign(4, 3, 12), RandomData(4, 13));
            p.Design[place / 3][place % 3] = bad;
            testing::internal::CaptureStdout();
            p.Solve();
            const std::string text = testing::internal::GetCapturedStdout();
            if (p.Status != 1) {
                EXPECT_EQ(p.Status, kSvdFailed);
                EXPECT_EQ(text, "svdcmp() - NO CONVERGENCE IN 30 SVDCMP ITERATIONS!\n");
            }
        }
    }
    Problem p(RandomDesign(4, 3, 12), {1, 2, kNaN, 4});
    p.Solve();
    EXPECT_TRUE(p.Status != 1 || std::isnan(p.Chi2));
}

TEST_F(Svd, VarianceSkipsVanishingSingularValues) {
    Matrix v(2, 2), cvm(2, 2);
    const double root = std::sqrt(0.5);
    v(1, 1) = v(2, 1) = v(1, 2) = root;
    v(2, 2) = -root;
    const Row w = {kNaN, 2.0, 0.0};
    ASSERT_EQ(svdvar(v.View(), 2, w.data(), cvm.View()), 1);
    for (int i = 1; i <= 2; ++i) {
        for (int k = 1; k <= 2; ++k) EXPECT_NEAR(cvm(i, k), 0.125, 1e-16);
    }
}

TEST_F(Svd, EveryRefusedArrayIsReported) {
    const Problem good(RandomDesign(8, 3, 14), RandomData(8, 15));
    std::vector<std::string> seen;
    for (int granted = 0; granted < 50; ++granted) {
        Problem p = good;
        testing::internal::CaptureStdout();
        ArrRefuse(granted);
        p.Solve();
        ArrRefuse(-1);
        const std::string text = testing::internal::GetCapturedStdout();
        if (p.Status == 1) break;
        EXPECT_EQ(p.Status, kSvdFailed);
        if (seen.empty() || seen.back() != text) seen.push_back(text);
    }
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_EQ(seen[0], "svdfit()/b - CORE ALLOCATION ERROR!\n");
    EXPECT_EQ(seen[1], "svdcmp()/rv1 - CORE ALLOCATION ERROR!\n");
    EXPECT_EQ(seen[2], "svbksb()/tmp - CORE ALLOCATION ERROR!\n");
    EXPECT_EQ(seen[3], "svdvar()/wti - CORE ALLOCATION ERROR!\n");
}

}  // namespace
