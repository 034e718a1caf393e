// Symmetric eigensolver: Householder reduction to tridiagonal form and QL with implicit shifts.
//
// The published pair tred2 and tql2 in their older form, with its 1-based indices: element (i, j)
// of a matrix lies at (j - 1) * nm + (i - 1), so eigenvector j is the contiguous run of n doubles
// at (j - 1) * nm. The routines take arrays and sizes, allocate nothing and print nothing.
// Source: R. S. Martin, C. Reinsch, J. H. Wilkinson, Numer. Math. 11, 181 (1968); H. Bowdler,
// R. S. Martin, C. Reinsch, J. H. Wilkinson, Numer. Math. 11, 293 (1968); B. T. Smith et al.,
// Matrix Eigensystem Routines - EISPACK Guide (Springer, 1976).
#pragma once

#include <span>

namespace kiv {

/// A subdiagonal element counts as zero below this fraction of |d| + |e| (the largest so far).
/// It is not the machine precision: energies of a block are good to its square all the same.
constexpr double kQlTolerance = 2.0e-11;

/// QL iterations allowed for one eigenvalue.
constexpr int kQlMaxIterations = 30;

/// |a| with the sign of b; b = 0 counts as positive.
inline double SignTransfer(double a, double b) {
    const double size = a < 0.0 ? -a : a;
    return b >= 0.0 ? size : -size;
}

/// Reduces the symmetric matrix `a` (lower triangle read) to tridiagonal form.
///
/// Out: diagonal d[0..n-1], subdiagonal e[1..n-1] (e[0] = 0), z = the accumulated orthogonal
/// transformation Q with A = Q T Q^T. `z` may be `a`. Needs nm >= n.
void tred2(int nm, int n, const double* a, double* d, double* e, double* z);

/// Eigenvalues and vectors of the tridiagonal matrix (d, e), started from the vectors in z.
///
/// In: d[0..n-1], e[1..n-1] (e[0] ignored), z = identity or the result of tred2. Out: d ascending,
/// eigenvector j in column j of z, e destroyed. *ierr = 0, or the 1-based index of the eigenvalue
/// that did not converge in 30 iterations (then nothing is sorted). Equal eigenvalues keep the
/// order in which they were found. Returns 0.
int tql2(int nm, int n, double* d, double* e, double* z, int* ierr);

/// One matrix of several: the arguments of tql2, Error is its *ierr. Without Z the eigenvalues come
/// alone, with the same bits.
struct QlMatrix {
    int Nm;
    int N;
    double* D;
    double* E;
    double* Z;
    int Error;
};

/// tql2 for several matrices, a few side by side, which is faster and gives the same bits. Where Nm
/// leaves room for it, rows of Z behind row N up to a multiple of 8 are turned along with the
/// others, which is faster too.
void tql2(std::span<QlMatrix> matrices);

}  // namespace kiv
