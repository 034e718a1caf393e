// Positions, intensities and stored amplitudes of the pairs of one lower level.
#pragma once

#include "transitions/Amplitudes.h"
#include "transitions/LineStore.h"

/// The pairs of one lower level with upper levels that follow each other in a list, and what
/// becomes of them. All arrays have room for whole vectors behind the last pair.
///
/// Raw intensity: real states, a and b add coherently, c, whose amplitude is imaginary, in
/// quadrature; complex states, all three coherently. Strength = raw * spin weight * Boltzmann
/// factor. The stored amplitudes carry the roots of the Boltzmann factor and, in single precision,
/// of the spin weight.
struct PairRun {
    int Num;
    bool Complex;
    bool Scaled;                  // there are temperatures: Boltzmann factors and a cut-off
    bool Skip_Dark;               // no lines without raw intensity
    bool Upward_Only;             // no lines of negative position
    double Cutoff;                // of the strengths
    const double* Re[NUM_BANDS];  // amplitudes
    const double* Im[NUM_BANDS];
    double Prj[NUM_BANDS];
    const double* Erg;  // of the upper levels
    double Origin, Lower_Erg;
    double Spin_Wt;
    float Spin_Root;
    const double* Boltzmann;
    // results
    LineValues Lines;
    double* Raw;
    double* Strength;
    long long* Dropped;  // not 0 for a pair that is no line
    bool* Any_Dropped;
};

/// Fills the results of `run`.
void Evaluate(const PairRun& run);
