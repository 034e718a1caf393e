// The operators of tridiagonal blocks, kept from one solution to the next: the constants change,
// the operators do not. The blocks of a J lie side by side in the lanes of linalg/Eigenpair.h.
#pragma once

#include <array>
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

    /// Builds the operators of `H` in the blocks of each J, unless they are there. True when they
    /// were not. NoMemory.
    Result<bool> Build(const Hamiltonian& H, std::span<const int> J, const Memory& memory);

    std::span<const BandedOp> ops() const { return ops_; }

    /// What a Hamiltonian multiplies P^2 and the operators by.
    struct Coefficients {
        double of_square = 0.0;
        std::array<double, kMaxOps> of{};
    };
    Coefficients Of(const Hamiltonian& H) const;

    /// The bands of a J, by its place in the list: row m of band b, of all blocks, from
    /// b * Stride(J) + kPairLanes * m on. Rows that a block does not have are 0.
    const double* of(std::size_t place) const { return bands_.data() + first_[place]; }
    static int Rows(int J) { return J / 2 + 1; }
    static std::ptrdiff_t Stride(int J) { return VecLd(kPairLanes * Rows(J)); }

    /// The diagonals of a sum of the operators in all blocks, and the elements beside them;
    /// Stride(J) numbers each. Rows that a block does not have mean nothing in d and are 0 in e.
    void Sum(const Coefficients& coefficients, std::size_t place, int J, double* d,
             double* e) const;

  private:
    std::vector<BandedOp> ops_;
    std::vector<std::ptrdiff_t> first_;
    Array<double> bands_;
};

}  // namespace kiv
