// Which pairs of a few lower levels can exceed a cut-off, by their amplitudes.
#pragma once

#include <cstdint>

#include "lines/Amplitudes.h"
#include "lines/StrengthBound.h"

namespace kiv {

/// The numbers that the levels of a pair have in a run.
struct SelectedPair {
    std::int32_t lower, upper;
};

/// Pairs of up to kLowers lower levels with upper levels of one class. All arrays have room for
/// whole vectors behind the last pair.
struct SelectionRun {
    bool is_wanted[kLowers];  // the others have no pairs
    int num;                  // upper levels
    bool is_complex;
    const ClassSums* sums;     // amplitudes, by lower level
    const double* projection;  // by type
    const double* energy;      // of the upper levels
    const double* lower_energy;
    const double *x1, *x2;  // of the lower levels, see StrengthBound
    const StrengthBound::Parts* bound;
    // results
    SelectedPair* selected;
    int* num_selected;
};

/// Selects the pairs whose bound by their own raw intensity and energies exceeds the cut-off, with
/// all that do so themselves among them; lower level after lower level, upper levels ascending.
void SelectPairs(const SelectionRun& run);

}  // namespace kiv
