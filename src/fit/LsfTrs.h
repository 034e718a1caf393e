// Least-squares fit of the constants of both states to the assigned lines.
#pragma once

#include "transitions/Ham2Trs.h"  // LineChoice

/// Lines that the passes of a fit calculate: the cycles read the assigned lines alone, and all
/// lines are wanted only by what follows the fit.
struct FitPasses {
    LineChoice Cycles = LineChoice::Assigned;
    LineChoice Last = LineChoice::All;
};

/// Runs Kiv.LS_Cycles cycles, each with exact energies and derivatives from Ham2Trs and one linear
/// fit, and leaves in the run record the constants, their deviations Prm_Sd, the covariances
/// RC_CovarianceMat and a final line set, in which lines off by Rej_Level or more bear the letter
/// R.
///
/// The fit is linear in the constants themselves: a line position is the sum of constant times
/// derivative, so that the solution of a cycle is the new set of constants. Fit_Stat selects data
/// and constants: 0 ground state from rotational lines, 1 both states, 2 both states with the
/// excited constants as differences from the ground ones, 3 and 4 ground or excited state from
/// combination differences. Returns 1, or 0 with the message printed; constants stored by earlier
/// cycles stay.
int LsfTrs(FitPasses passes = {});
