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

/// Eigenvectors of some levels of a block, in the lanes of linalg/Eigenpair.h.
struct VectorLanes {
    int J = 0;
    int n = 0;                                    // rows
    const double* z = nullptr;                    // unit vectors
    int num = 0;                                  // lanes in use
    std::array<std::size_t, kPairLanes> level{};  // their indices
};

/// Fills the records of levels from the operators of a J, whose bands begin at the first row of
/// their block. `room` holds 2n numbers a lane.
void FillDerivatives(const Hamiltonian& H, const VectorLanes& lanes, std::span<const BandedOp> ops,
                     const double* bands, double* room, Levels& levels);

}  // namespace kiv
