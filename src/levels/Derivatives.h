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

/// Fills the records of the 2J+1 levels of `J` from their eigenvectors and the operators in
/// `scratch`.
void FillDerivatives(const Hamiltonian& H, int J, BlockScratch& scratch, Levels& levels);

}  // namespace kiv
