// One pass from the constants to the lines.
#pragma once

/// Rotates the constants of each tilted state, solves both Hamiltonians, computes the transitions
/// and puts back the constants of the planes in which the rotation produced a cross term (and only
/// those: a rotation without cross terms leaves its rotated constants, on purpose). 1, or 0 when a
/// solver or the transition calculation failed; the constants are then left rotated.
int Ham2Trs();
