// Linear least squares by singular value decomposition.
//
// The published routines in their published form, with 1-based indices: element 0 of a vector and
// row and column 0 of a matrix exist but are never read. The routines take arrays and sizes and a
// Memory for their own small arrays; each can fail with NoMemory.
// Source: G. H. Golub, C. Reinsch, Numer. Math. 14, 403 (1970); W. H. Press et al., Numerical
// Recipes in C (Cambridge, 1988), sections 2.9 and 14.3.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kiv/array.h"
#include "kiv/error.h"

namespace kiv {

/// QR sweeps allowed for one singular value.
constexpr int kSvdMaxIterations = 30;

/// Singular values below this fraction of the largest are set to 0. It is far below the rounding
/// of the decomposition on purpose: only directions that the data do not touch at all are dropped.
constexpr double kSvdTolerance = 1e-20;

/// A matrix stored column by column: (i, j), counted from 1, lies at j * Ld + i. Ld > rows.
struct SvdMat {
    double* P;
    std::ptrdiff_t Ld;

    double& operator()(std::ptrdiff_t i, std::ptrdiff_t j) const { return P[j * Ld + i]; }
    double* Col(std::ptrdiff_t j) const { return P + j * Ld; }
};

/// Fits y[i] = sum_j a[j] D[i][j] for i = 1..ndata, weighted by 1/sig[i]^2.
///
/// D holds ma + 1 doubles a row, row i from element (ma + 1) * i. ia[1..ma] is a permutation of the
/// parameter numbers: those at positions 1..mfit are fitted and replace their entries of a[1..ma],
/// the others keep theirs. Needs ndata >= mfit.
/// Out: u (ndata x mfit), w, v (mfit x mfit) with the singular values 0 last, as svdvar takes them;
/// *chisq = sum_i ((y[i] - sum_j a[j] D[i][j]) / sig[i])^2 over all ma parameters.
///
/// A parameter whose column is exactly zero gets the value 0 and no variance; parameters with
/// identical columns share their sum equally (the solution of smallest norm) and get no variance
/// from the direction in which they differ. Both hold exactly, whatever the order of the columns.
/// The misfits of the solution are fitted again, so that it is good to the rounding of the data
/// also where the columns differ by many powers of ten.
Status svdfit(const double* y, std::int64_t ndata, double* a, int ma, const int* ia, int mfit,
              SvdMat u, SvdMat v, double* w, double* chisq, const double* D, const double* sig,
              const Memory& memory);

/// Decomposes the m x n matrix a = U diag(w) V^T, m >= n: U replaces a, w[1..n] >= 0 in no
/// particular order, v is n x n. TooFewLines when m < n; NotConverged when a singular value takes
/// more than kSvdMaxIterations sweeps, as it does for a matrix that holds NaN or infinity.
Status svdcmp(SvdMat a, std::int64_t m, int n, double* w, SvdMat v, const Memory& memory);

/// Solves u diag(w) v^T x = b (m equations, n unknowns); unknown j goes to x[ia[j]]. Directions
/// with w = 0 are left out.
Status svbksb(SvdMat u, const double* w, SvdMat v, std::int64_t m, int n, const double* b,
              double* x, const int* ia, const Memory& memory);

/// Covariances of the n fitted quantities: cvm(i, k) = sum_j v(i, j) v(k, j) / w[j]^2, without the
/// terms with w[j] = 0.
Status svdvar(SvdMat v, int n, const double* w, SvdMat cvm, const Memory& memory);

}  // namespace kiv
