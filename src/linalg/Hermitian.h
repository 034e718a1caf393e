// Complex Hermitian eigenproblems: reduction to a real tridiagonal matrix and back.
//
// The published routines htridi and htribk in their older form, with the storage of Eispack.h:
// element (i, j), 1-based, at (j - 1) * nm + (i - 1). Between them tql2 solves the tridiagonal
// matrix with the identity as its starting vectors.
// Source: D. Mueller, Numer. Math. 8, 72 (1966); B. T. Smith et al., Matrix Eigensystem Routines -
// EISPACK Guide (Springer, 1976).
#pragma once

namespace kiv {

/// sqrt(a^2 + b^2) without overflow: p when p + q equals p, else p sqrt(1 + (q/p)^2), with
/// p = max(|a|, |b|), q = min(|a|, |b|).
double pythag(double a, double b);

/// Reduces the Hermitian matrix ar + i ai (lower triangles read) to a real tridiagonal one.
///
/// Out: diagonal d[0..n-1], subdiagonal e[1..n-1], its squares e2, the phases tau (n real
/// parts, then n imaginary parts); ar and ai hold the transformations for htribk.
void htridi(int nm, int n, double* ar, double* ai, double* d, double* e, double* e2, double* tau);

/// Turns the m eigenvectors zr of the tridiagonal matrix into those of the Hermitian one,
/// zr + i zi (column j is vector j).
void htribk(int nm, int n, const double* ar, const double* ai, const double* tau, int m, double* zr,
            double* zi);

}  // namespace kiv
