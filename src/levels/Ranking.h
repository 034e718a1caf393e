// From the solved blocks of a J to its levels: order and labels.
#pragma once

#include "kiv/levels.h"
#include "levels/LevelScratch.h"

namespace kiv {

/// Levels of different blocks closer than this fraction of the largest energy of their J have no
/// order of their own; their labels' characters decide.
inline constexpr double kLevelTie = 1e-13;

/// Makes the symmetry of `levels` that of `H` in its own axes.
void SetSymmetry(const Hamiltonian& H, Levels& levels);

/// Orders the levels of all blocks of `J` (scratch.rank_place), stores energies, labels and
/// characters. Labels follow the energy rank: from the lowest up J(0,J), J(1,J), J(1,J-1), ...
void RankLevels(const Hamiltonian& H, int J, BlockScratch& scratch, Levels& levels);

}  // namespace kiv
