// Which pairs of a lower level can exceed a cut-off, by their amplitudes.
#pragma once

#include <cstdint>

#include "lines/LineTask.h"
#include "lines/StrengthBound.h"

namespace kiv {

/// Pairs of one lower level with upper levels of one class. All arrays have room for whole vectors
/// behind the last pair.
struct SelectionRun {
    int num;
    bool is_complex;
    const double* const* re;  // amplitudes by type; null: the type has none here
    const double* const* im;
    const double* projection;  // by type
    const double* energy;      // of the upper levels
    const StrengthBound::Parts* bound;
    // results
    std::int32_t* chosen;  // pairs, ascending
    int* num_chosen;
};

/// Chooses the pairs whose bound by their own raw intensity and energies exceeds the cut-off, with
/// all that do so themselves among them.
void SelectPairs(const SelectionRun& run);

}  // namespace kiv
