// Positions, intensities and stored amplitudes of pairs of levels.
#pragma once

#include "lines/Amplitudes.h"
#include "lines/LineStore.h"

namespace kiv {

/// Pairs and what becomes of them. All arrays have room for whole vectors behind the last pair.
///
/// Raw intensity: real states, a and b add coherently, c, whose amplitude is imaginary, in
/// quadrature; complex states, all three coherently. Strength = raw * spin weight * Boltzmann
/// factor. The stored amplitudes carry the roots of the Boltzmann factor and, in single precision,
/// of the spin weight.
struct PairRun {
    int num;
    bool is_complex;
    bool scaled;       // there are temperatures: Boltzmann factors and a cut-off
    bool skip_dark;    // no lines without raw intensity
    bool upward_only;  // no lines of negative position
    double cutoff;     // of the strengths
    bool is_ranged;
    double lowest, highest;       // positions that are lines
    const double* re[kNumBands];  // amplitudes
    const double* im[kNumBands];
    double projection[kNumBands];
    double origin;
    const double* energy;  // of the upper levels
    const double* lower_energy;
    const double* spin_weight;
    const float* spin_root;
    const double* boltzmann;
    // results
    LineValues lines;
    double* raw;
    double* strength;
    long long* dropped;  // not 0 for a pair that is no line
    bool* any_dropped;
};

/// Fills the results of `run`.
void Evaluate(const PairRun& run);

}  // namespace kiv
