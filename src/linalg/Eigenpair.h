// Eigenpairs of symmetric tridiagonal matrices, some at a time, and counts of their eigenvalues.
//
// Four matrices lie side by side in lanes: number i of lane k is element kPairLanes * i + k.
#pragma once

#include <array>
#include <span>

namespace kiv {

inline constexpr int kPairLanes = 4;

/// One number for each matrix.
using LaneValues = std::array<double, kPairLanes>;
using LaneCounts = std::array<int, kPairLanes>;

/// Matrices of n rows in lanes: the diagonals d, and e, of which number i stands between rows i and
/// i + 1, i = 0..n-2. A smaller matrix is filled up with rows of 0 in e and, in d, a number above
/// all eigenvalues.
struct TridiagonalLanes {
    int n = 0;
    const double* d = nullptr;
    const double* e = nullptr;
};

/// An eigenpair of every matrix, and the last step towards it.
struct EigenpairSet {
    double* z = nullptr;  // unit vectors in lanes
    LaneValues value{};
    LaneValues change{};  // of the value
    LaneCounts below{};   // eigenvalues below that of the vector, once the change is small
};

/// Makes the values the Rayleigh quotients z^T T z of the vectors.
void SetRayleighQuotients(const TridiagonalLanes& matrices, std::span<EigenpairSet> sets);

/// From approximate values to their eigenvectors: fills the vectors and adds to each value what its
/// Rayleigh quotient is more. Repeated, the error falls with its third power. `room` holds 4n
/// numbers a lane.
///
/// The pivots of T - value from both ends meet in the row where the remainder is least; there z is
/// largest (twisted factorisation). The remainder becomes 0 with the change, the signs of the other
/// pivots are those of the other eigenvalues less the value (law of inertia). Where a pivot is 0 to
/// the last digit a lane may be left without numbers (NaN). Source: I. S. Dhillon, B. N. Parlett,
/// Linear Algebra Appl. 387, 1 (2004); K. V. Fernando, SIAM J. Matrix Anal. Appl. 18, 1013 (1997).
void ImproveEigenpairs(const TridiagonalLanes& matrices, std::span<EigenpairSet> sets,
                       double* room);

/// The same with the square e2 of the element between a row and the one before it, 0 in row 0.
struct LaneMatrices {
    int n = 0;
    double* d = nullptr;
    double* e2 = nullptr;
};

/// The number of eigenvalues below each shift, of every matrix, by the signs of pivots. Source:
/// W. Barth, R. S. Martin, J. H. Wilkinson, Numer. Math. 9, 386 (1967).
void CountEigenvalues(const LaneMatrices& matrices, std::span<const double> shifts,
                      std::span<LaneCounts> counts);

}  // namespace kiv
