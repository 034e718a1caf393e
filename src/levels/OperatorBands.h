// The operators of tridiagonal blocks, kept from one solution to the next: the constants change,
// the operators do not.
#pragma once

#include <span>
#include <vector>

#include "kiv/array.h"
#include "levels/LevelScratch.h"
#include "linalg/Eigenpair.h"

namespace kiv {

/// An operator and its places among the bands of a J: first come the diagonals of all operators,
/// then, in their order, the elements beside it of those that have some.
struct BandedOp {
    Constant constant{};  // that multiplies it; means nothing for the two rigid operators
    int diagonal = 0;
    int beside = -1;  // -1: diagonal

    bool operator==(const BandedOp&) const = default;
};

/// For Hamiltonians that keep all two-fold rotations.
class OperatorBands {
  public:
    /// True when the blocks of the Hamiltonian are tridiagonal.
    static bool CanHold(const Hamiltonian& H);

    /// Builds the operators of `H` in the blocks of each J, unless they are there. NoMemory.
    Status Build(const Hamiltonian& H, std::span<const int> J, const Memory& memory);

    std::span<const BandedOp> ops() const { return ops_; }

    /// The bands of a J, by its place in the list: element q of band b, which counts through all
    /// blocks, at b * Stride(J) + q.
    const double* of(std::size_t place) const { return bands_.data() + first_[place]; }
    static std::ptrdiff_t Stride(int J) { return VecLd(2 * J + 1); }

    /// The diagonal of the Hamiltonian through all blocks, and the elements beside it; Stride(J)
    /// numbers each.
    void Sum(const Hamiltonian& H, std::size_t place, int J, double* d, double* e) const;

  private:
    std::vector<BandedOp> ops_;
    std::vector<std::ptrdiff_t> first_;
    Array<double> bands_;
};

}  // namespace kiv
