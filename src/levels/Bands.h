// The Hamiltonian of one J as bands of its symmetry blocks.
#pragma once

#include "levels/LevelScratch.h"

namespace kiv {

/// Sets up the blocks of `J` and fills scratch.op (every operator in use) and scratch.ham (their
/// sum with the constants; ham[1] is the imaginary part).
void BuildBlocks(const Hamiltonian& H, int J, BlockScratch& scratch);

/// The same in the blocks of the rotations `kept`. Operators that a kept rotation turns into their
/// negative are left out.
void BuildBlocks(const Hamiltonian& H, std::uint8_t kept, int J, BlockScratch& scratch);

}  // namespace kiv
