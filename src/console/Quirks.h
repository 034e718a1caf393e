// What `kiv FILE` does otherwise than the library, because input files, line lists and scripts of
// users rely on it. docs/oddities.md says what each means to them.
#pragma once

#include "kiv/model.h"
#include "lines/Pass.h"

namespace kiv {

/// Complex by turned axes and by PY, PXPY, PYPZ and PZ2PY alone, in either state: PY3 and PY2PZ
/// act only in calculations that something else makes complex.
bool IsComplexRun(const Model& model);

/// The cross terms that the rotation of a state produces stand among its constants from the start,
/// beside unturned A, B and C.
void EnterCrossTerms(State& state, const TurnedState& turned);

/// The constants after a pass: those of the planes in which the rotation produced a cross term are
/// put back and the cross term becomes 0; all others stay turned.
void LeaveTurned(Model& model, const PassRoom& room);

}  // namespace kiv
