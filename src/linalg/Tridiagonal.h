// Eigenvalues of symmetric tridiagonal matrices without their vectors.
//
// QL without square roots (Pal, Walker, Kahan). A subdiagonal element counts as zero below 1e-11
// of the norm; an eigenvalue that takes more than 30 iterations stays as it is, which only
// matrices that are not finite do. Source: C. H. Reinsch, Comm. ACM 16, 689 (1973), algorithm 464.
#pragma once

#include <span>

#include "linalg/Eigenpair.h"

namespace kiv {

/// Replaces the diagonals d of matrices in lanes, sets of one size n, by the eigenvalues, in no
/// particular order; the squares e2 of their subdiagonals are destroyed. Four sets take less than
/// twice the time of one. All sweeps begin in the last row: errors may be some times the rounding
/// of the largest element.
void TridiagonalValues(std::span<const LaneMatrices> sets);

}  // namespace kiv
