// The levels of one state, solved block by block for every J.
#pragma once

#include "kiv/levels.h"
#include "kiv/report.h"
#include "levels/LevelScratch.h"

namespace kiv {

/// A state that is to be solved; `index` says which one to a listener.
struct LevelTask {
    Hamiltonian H;
    int max_J = 0;
    StateIndex index = kLower;
};

/// Fills `levels`, which Levels::Reserve sized for the task: energies (ascending in each J),
/// labels, characters, eigenvectors and derivatives. A QL iteration that does not converge leaves
/// its levels as they are, which only matrices that are not finite do. NoMemory; Cancelled.
Status Solve(const LevelTask& task, Workspace& work, Report& report, Levels& levels);

/// Solves J = first .. last, at most kTogether of them, as real Hamiltonians.
void SolveReal(const Hamiltonian& H, int first, int last, LevelScratch& scratch, Levels& levels);

/// Solves `J` as a complex Hamiltonian.
void SolveComplex(const Hamiltonian& H, int J, BlockScratch& scratch, Levels& levels);

/// Makes the largest component of a vector, the first of equal ones, real and positive.
void FixPhase(double* re, double* im, int N);

/// OutOfRange when a constant or an angle is not finite.
Status CheckFinite(const State& state);

/// Reserves `levels` for a task.
Status Reserve(const LevelTask& task, const Memory& memory, Levels& levels);

}  // namespace kiv
