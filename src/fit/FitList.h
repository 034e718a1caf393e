// The constants that take part in a fit, in the order of the fit.
#pragma once

#include "kiv/array.h"
#include "kiv/model.h"
#include "kiv/settings.h"

namespace kiv {

/// Number of the origin behind those of the constants.
inline constexpr int kOrigin = kNumConstants;

/// Most constants a fit can hold: all of the lower state, all of the upper one and the origin.
inline constexpr int kMaxFitConstants = 2 * kNumConstants + 1;

/// Slots 1..num hold the constants by state and number: lower 0..21, upper 0..21, origin.
/// order[1..num_varied] are the slots that are varied, order[num_varied+1..num] the fixed ones,
/// both ascending.
struct FitList {
    int num = 0;
    int num_varied = 0;
    StateIndex state[kMaxFitConstants + 1] = {};
    int constant[kMaxFitConstants + 1] = {};
    int order[kMaxFitConstants + 1] = {};
};

/// A constant of the model by its number, which may be kOrigin.
Term& TermOf(Model& model, StateIndex state, int constant);
const Term& TermOf(const Model& model, StateIndex state, int constant);

/// Constants marked for fitting that `data` does not exclude, present or not.
int CountMarked(const Model& model, FitData data);

/// The constants that are present, as A, B and C always are, and not excluded by `data` or because
/// the model has one state.
FitList MakeFitList(const Model& model, FitData data);

/// Current values by slot; with UpperAsDifference upper constants, the origin aside, as differences
/// from the lower ones.
void GetFitValues(const FitList& list, const Model& model, FitData data, double* values);

/// Stores the varied values. With UpperAsDifference every upper constant becomes the lower one plus
/// the difference, so that a fixed difference stays fixed when the lower constant moves. Returns
/// the slot of A, B or C that comes out negative or not a number, where it stops, or 0.
int SetFitValues(const FitList& list, const double* values, FitData data, Model& model);

/// Stores the deviations of the varied constants: roots of the diagonal of the covariance, whose
/// rows and columns count from 1.
void SetFitDeviations(const FitList& list, const Table<double>& covariance, Model& model);

}  // namespace kiv
