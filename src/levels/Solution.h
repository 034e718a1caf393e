// The levels of one state, solved block by block for every J.
#pragma once

#include <span>
#include <vector>

#include "kiv/levels.h"
#include "kiv/report.h"
#include "levels/LevelScratch.h"
#include "levels/OwnAxes.h"

namespace kiv {

/// A state that is to be solved; `index` says which one to a listener.
struct LevelTask {
    Hamiltonian H;
    int max_J = 0;
    StateIndex index = kLower;
    /// Of J = 0..max_J those that are solved, unless the state is solved in its own axes; null:
    /// all. The levels of the others stay as they are.
    const std::vector<bool>* wanted = nullptr;
};

/// Fills `levels`, which Levels::Reserve sized for the task: energies (ascending in each J),
/// labels, characters, eigenvectors and derivatives; without the eigenvectors and all that needs
/// them where there is no array of them. A QL iteration that does not converge leaves
/// its levels as they are, which only matrices that are not finite do. NoMemory; Cancelled.
Status Solve(const LevelTask& task, Workspace& work, Report& report, Levels& levels);

/// A J and the place of its eigenvectors.
struct VectorsOfJ {
    int J = 0;
    double* vectors = nullptr;
};

/// Solves at most kTogether J as real Hamiltonians, the first one in scratch.of_J[0] and so on.
void SolveReal(const Hamiltonian& H, std::span<const VectorsOfJ> wanted, LevelScratch& scratch);

/// Solves `J` as a complex Hamiltonian.
void SolveComplex(const Hamiltonian& H, int J, BlockScratch& scratch, Levels& levels);

/// Makes the largest component of a vector, the first of equal ones, real and positive.
void FixPhase(double* re, double* im, int N);

/// Lists the derivatives that the levels of `state` carry.
void ListDerivatives(const TurnedState& state, Levels& levels);

/// The scratch of Slot::Levels.
struct SolutionScratch {
    LevelScratch blocks;
    OwnAxes own_axes;
};

/// OutOfRange when a constant or an angle is not finite.
Status CheckFinite(const State& state);

/// Reserves `levels` for a task.
Status Reserve(const LevelTask& task, const Memory& memory, Levels& levels);

}  // namespace kiv
