// Single eigenpairs of symmetric tridiagonal matrices, and counts of their eigenvalues.
#pragma once

#include <array>

namespace kiv {

/// d[0..n-1] is the diagonal, e[i] the element between rows i and i + 1, i = 0..n-2.
struct TridiagonalMatrix {
    int n = 0;
    const double* d = nullptr;
    const double* e = nullptr;
};

/// v^T T v of a unit vector.
double RayleighQuotient(const TridiagonalMatrix& matrix, const double* v);

/// From an approximate eigenvalue to its eigenvector: fills the unit vector z[0..n-1] and returns
/// what the Rayleigh quotient of z adds to `value`. Repeated with the better value, the error falls
/// with its third power. `room` holds 2n numbers.
///
/// The pivots of T - value from both ends meet in the row where the remainder is least; there z is
/// largest (twisted factorisation). Source: I. S. Dhillon, B. N. Parlett, Linear Algebra Appl. 387,
/// 1 (2004); K. V. Fernando, SIAM J. Matrix Anal. Appl. 18, 1013 (1997).
double ImproveEigenpair(const TridiagonalMatrix& matrix, double value, double* room, double* z);

/// Shifts and matrices that are counted side by side.
inline constexpr int kCounts = 4;

/// Matrices for counting: n rows each, d[i] and the square e2[i] of the element between rows i - 1
/// and i, with e2[0] = 0. A smaller matrix is filled up with rows of kNoRow and 0.
struct CountedMatrices {
    int n = 0;
    std::array<const double*, kCounts> d{}, e2{};
};
inline constexpr double kNoRow = 1e300;

/// The number of eigenvalues of every matrix (first index) below every shift (second index), by the
/// signs of pivots. Source: W. Barth, R. S. Martin, J. H. Wilkinson, Numer. Math. 9, 386 (1967).
using EigenvalueCounts = std::array<std::array<int, kCounts>, kCounts>;
void CountEigenvalues(const CountedMatrices& matrices, const std::array<double, kCounts>& shifts,
                      EigenvalueCounts& counts);

}  // namespace kiv
