// Derivatives of the level energies with respect to the state's constants.
//
// The Hamiltonian is linear in its constants, so dE/dp = <v|Op_p|v> (Hellmann and Feynman). The
// record of a level holds one number for each constant that is switched on, in the order of
// Constant; those of A, B, C refer to the state's own axes. An operator that a kept rotation turns
// into its negative has the derivative exactly 0.0, and so have constants that are left out of a
// real Hamiltonian.
#pragma once

#include "levels/LevelScratch.h"

namespace kiv {

/// Fills the records of the 2J+1 levels of `J` from their eigenvectors, block by block as in
/// Levels, and the operators in `scratch`. `imag` is null for real vectors.
void FillDerivatives(const Hamiltonian& H, int J, const double* real, const double* imag,
                     BlockScratch& scratch, Levels& levels);

/// Fills the record of one level of `J`, index `level`, from its real eigenvector in a block, which
/// is filled up with zeros to VecLd(N) + kVecStep numbers.
void FillDerivative(const Hamiltonian& H, int J, int block, const double* vector, std::size_t level,
                    BlockScratch& scratch, Levels& levels);

}  // namespace kiv
