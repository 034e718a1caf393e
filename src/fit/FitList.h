// The constants that take part in a fit, in the order of the fit.
#pragma once

#include "run/KivRecord.h"  // NUM_PRM

/// Most constants a fit can hold: all of the ground state, all of the excited one and the origin.
constexpr int kMaxFitPrm = NUM_HAM_PRM + NUM_PRM;

/// Slots 1..Num hold the constants by state and index: ground 0..21, excited 0..21, origin.
/// Order[1..Num_Varied] are the slots that are varied, Order[Num_Varied+1..Num] the fixed ones,
/// both ascending. Code names the constant of a slot for the listings: -(p+1) for constant p of
/// the ground state, p+1 for one of the excited state, 23 for the origin.
struct FitList {
    int Num = 0;
    int Num_Varied = 0;
    int State[kMaxFitPrm + 1] = {};
    int Prm[kMaxFitPrm + 1] = {};
    int Code[kMaxFitPrm + 1] = {};
    int Order[kMaxFitPrm + 1] = {};
};

/// Constants marked for fitting that Fit_Stat does not exclude, present (Prm_Stat) or not.
int CountFitted();

/// The constants that are present and not excluded by Fit_Stat or Gnd_Only.
FitList MakeFitList();

/// Current values by slot; with Fit_Stat 2 excited constants, the origin aside, as differences
/// from the ground ones.
void GetFitValues(const FitList& list, double* values);

/// Stores the varied values. With Fit_Stat 2 every excited constant becomes the ground one plus
/// the difference, so that a fixed difference stays fixed when the ground constant moves. 0 with a
/// message when A, B or C comes out negative or not a number.
int SetFitValues(const FitList& list, const double* values);

/// Stores the deviations of the varied constants: roots of the diagonal of RC_CovarianceMat.
void SetFitDeviations(const FitList& list);
