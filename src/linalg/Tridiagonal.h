// Eigenvalues of symmetric tridiagonal matrices without their vectors.
#pragma once

namespace kiv {

/// Replaces the diagonal d[0..n-1] by the eigenvalues, in no particular order; the subdiagonal
/// e[1..n-1] is destroyed.
///
/// QL without square roots (Pal, Walker, Kahan). A subdiagonal element counts as zero below 1e-11
/// of the norm; an eigenvalue that takes more than 30 iterations stays as it is, which only
/// matrices that are not finite do. Source: C. H. Reinsch, Comm. ACM 16, 689 (1973), algorithm 464.
void TridiagonalValues(int n, double* d, double* e);

}  // namespace kiv
