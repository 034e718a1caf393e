// How far the images of levels under the moment spread over the energies of J', and which of them
// can therefore have lines above a cut-off.
#pragma once

#include "lines/StrengthBound.h"

namespace kiv {

/// Lower levels of one class, the tridiagonal matrix H' of one class of J', and the moment D
/// between them. Arrays of levels have room for two whole vectors behind the last one.
///
/// The squared amplitudes of a level with those of the matrix are a distribution over their
/// energies, whose sum, mean and width need no eigenvector: with v = D c'' and w = (H' - E'') v
///
///     size = v v,   mean = v w / size,   width^2 = w w / size - mean^2
///
/// With the level of energy E' the squared amplitude is at most size, and at most size width^2 /
/// d^2 with d = E' - E'' - mean. Up to d = width the Boltzmann factor, which rises with dE = E' -
/// E'', is at most that at dE = mean + width; beyond, the amplitude falls faster than the factor,
/// at most quadratic in dE = d + mean, can rise. So no intensity exceeds
///
///     projection^2 size |spin weight| B(dE = max(0, mean) + width).
struct SpreadRun {
    int num_levels;
    const double* rows;  // component m of the levels at [m ld]
    int ld;
    int num_components;
    /// Component m of v is plus[m] c(m + shift) + minus[m] c(m + shift - back), m = 0..num-1.
    int num;
    const double* plus;
    const double* minus;  // null: none
    int shift, back;
    const double* diagonal;  // of H'
    const double* beside;    // element m with m + 1
    double tolerance;        // of the energies: residuals of the eigenvectors
    const double* energy;    // E'' of the levels
    const double* x1;        // see StrengthBound::Factors
    const double* x2;
    double projection;
    StrengthBound::Parts bound;
    // result: not 0 for levels that may have a line
    long long* marks;
};

/// Fills the marks of `run`.
void MarkLevels(const SpreadRun& run);

}  // namespace kiv
