// The tridiagonal blocks of one J by their rows, without those that no level of interest reaches.
#pragma once

#include "kiv/array.h"
#include "kiv/error.h"
#include "levels/Terms.h"
#include "linalg/Eigenpair.h"

namespace kiv {

/// Functions of K and -K are folded: <K|H|K> and <K|H|K+2> are the elements of two blocks each, but
/// for the first rows. For Hamiltonians that OperatorBands can hold.
class BlockRows {
  public:
    /// Has at least the room that J up to `max_J` need. NoMemory.
    Status Fit(const Memory& memory, int max_J);

    /// Calculates the elements of `J`.
    void Fill(const Hamiltonian& H, int J);

    /// The last K that the blocks need for all levels up to `highest`. Left-out rows move each of
    /// these levels upwards, by no more than `error` times their number in a block; levels above
    /// it move upwards or are lost.
    ///
    /// Where the pivots q of T - highest, counted from the last row, are positive, a vector of a
    /// level falls from row to row: |v(K)| <= |e(K-2) / q(K)| |v(K-2)|, e(K-2) = <K-2|H|K>. The
    /// matrix that ends at row K then has a Rayleigh quotient within e(K)^2 v(K)^2 / q(K+2) of the
    /// level, and by Cauchy's interlacing theorem none of its levels is below that of all rows.
    int LastK(double highest, double error);

    /// Rows that the largest block has up to K.
    static int RowsUpTo(int K) { return K / 2 + 1; }

    /// The first rows of each block in its lane, filled up. Returns how many levels they have.
    int PutInLanes(const LaneMatrices& set) const;

    /// The same levels from lanes of eigenvalues, block after block.
    void TakeFromLanes(const LaneMatrices& set, double* energies) const;

    /// <0|H|0>, not below the lowest level of J.
    double first() const { return diagonal_[0]; }

  private:
    double* beside() { return beside_.data() + 1; }  // from K = -1 on
    const double* beside() const { return beside_.data() + 1; }

    int J_ = 0, max_J_ = -1;
    Array<double> diagonal_, beside_, pivots_;
};

}  // namespace kiv
