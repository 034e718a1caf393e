// Boltzmann factors of many pairs of levels.
#pragma once

#include "lines/Boltzmann.h"

namespace kiv {

/// Pairs by the energies of their levels; x1 and x2 are those of Boltzmann::Terms for the lower
/// one. All arrays have room for whole vectors behind the last pair.
struct FactorRun {
    const Boltzmann& weights;  // on; its own lower level is not looked at
    int num;
    const double *upper, *lower;
    const double *x1, *x2;
    double* factor;  // results
};

/// Fills the results of `run` with what Boltzmann::Factor gives for each pair, bit for bit.
void FillFactors(const FactorRun& run);

}  // namespace kiv
