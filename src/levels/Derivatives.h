// Derivatives of the level energies with respect to the state's constants.
//
// The Hamiltonian is linear in its constants, so dE/dp = <v|Op_p|v> (Hellmann and Feynman). The
// record of a level holds one number for each constant that is switched on, in the order of
// Constant; those of A, B, C refer to the state's own axes. An operator that a kept rotation turns
// into its negative has the derivative exactly 0.0, and so have constants that are left out of a
// real Hamiltonian.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "levels/LevelScratch.h"
#include "levels/OperatorBands.h"
#include "linalg/Eigenpair.h"

namespace kiv {

/// Fills the records of the 2J+1 levels of `J` from their eigenvectors, block by block as in
/// Levels, and the operators in `scratch`. `imag` is null for real vectors.
void FillDerivatives(const Hamiltonian& H, int J, const double* real, const double* imag,
                     BlockScratch& scratch, Levels& levels);

/// Eigenvectors of a level of each block, in the lanes of OperatorBands.
struct VectorLanes {
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    const double* z = nullptr;                    // unit vectors
    std::array<std::size_t, kPairLanes> level{};  // their indices, kNone for lanes without one
};

/// Fills the records of levels from the operators of their J. `room` holds four numbers a row and
/// lane.
void FillDerivatives(const Hamiltonian& H, std::span<const VectorLanes> sets, int J,
                     std::span<const BandedOp> ops, const double* bands, double* room,
                     Levels& levels);

}  // namespace kiv
