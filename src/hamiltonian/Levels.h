// From the solved blocks of a J to its levels: order, labels, listings.
//
// The 2J+1 levels of J stand at J*J in ascending energy.
#pragma once

#include "hamiltonian/HamScratch.h"

/// Levels of different blocks closer than this fraction of the largest energy of their J have no
/// order of their own; their labels' characters decide.
constexpr double kLevelTie = 1e-13;

/// Copies the ground state's levels and derivatives to the excited state. Always 1.
int CopyGroundState();

/// Sets Kappa = (2B - A - C)/(A - C) and the inertial defect
/// 505379.0765 (1/C - 1/B - 1/A) amu A^2 (MHz) of `state`; 0 where a denominator is 0.
void SetAsymmetry(int state);

/// Orders the levels of all blocks of `J` (scratch.Rank_Vec), stores energies, labels and
/// characters. Labels follow the energy rank: from the lowest up J(0,J), J(1,J), J(1,J-1), ...
void RankLevels(int state, int J, HamScratch& scratch);

/// Lists the energies of `J` when it lies in the range asked for.
void ListEnergies(int state, int J);
