// Eigenpairs of symmetric tridiagonal matrices, some at a time, and counts of their eigenvalues.
//
// What is done side by side lies in lanes: number i of lane k is element kPairLanes * i + k.
#pragma once

#include <array>
#include <span>

namespace kiv {

/// Vectors, or matrices, that are treated side by side.
inline constexpr int kPairLanes = 4;

/// One number for each of them.
using LaneValues = std::array<double, kPairLanes>;

/// d[0..n-1] is the diagonal, e[i] the element between rows i and i + 1, i = 0..n-2.
struct TridiagonalMatrix {
    int n = 0;
    const double* d = nullptr;
    const double* e = nullptr;
};

/// z^T T z of unit vectors in lanes.
LaneValues RayleighQuotients(const TridiagonalMatrix& matrix, const double* z);

/// From approximate eigenvalues of one matrix to their eigenvectors: fills the unit vectors z in
/// lanes and returns what the Rayleigh quotient of each adds to its value. Repeated with the better
/// value, the error falls with its third power. `room` holds 2n numbers a lane.
///
/// The pivots of T - value from both ends meet in the row where the remainder is least; there z is
/// largest (twisted factorisation). Where a pivot is 0 to the last digit a lane may be left without
/// numbers (NaN). Source: I. S. Dhillon, B. N. Parlett, Linear Algebra Appl. 387, 1 (2004);
/// K. V. Fernando, SIAM J. Matrix Anal. Appl. 18, 1013 (1997).
LaneValues ImproveEigenpairs(const TridiagonalMatrix& matrix, const LaneValues& values,
                             double* room, double* z);

/// Matrices in lanes, n rows each: d, and the square e2 of the element between a row and the one
/// before it, 0 in row 0. A smaller matrix is filled up with rows of 0 in e2 and, in d, a number
/// above all eigenvalues.
struct LaneMatrices {
    int n = 0;
    double* d = nullptr;
    double* e2 = nullptr;
};

/// The number of eigenvalues below each shift, of every matrix, by the signs of pivots. Source:
/// W. Barth, R. S. Martin, J. H. Wilkinson, Numer. Math. 9, 386 (1967).
using LaneCounts = std::array<int, kPairLanes>;
void CountEigenvalues(const LaneMatrices& matrices, std::span<const double> shifts,
                      std::span<LaneCounts> counts);

}  // namespace kiv
