// Log listings: level energies, eigenvectors and the tables of constants.
//
// Every routine writes to the log only and changes nothing. Level arrays hold the 2J+1 levels of
// one J in ascending energy; energies and constants are in the unit of the run.
#pragma once

#include <cstdint>

/// Lists the levels of one J: "|Ka Kc|energy", one a line. Always 1.
///
/// A printed block leaves no EXIT trace; only a run without a log reaches the tracing exit. That
/// asymmetry is meant.
int PrntEigErg(int J, const std::int16_t* ka, const std::int16_t* kc, const double* erg);

/// Lists the eigenvectors of one J, eight to a block, one row for each basis function K = -J..J.
/// Component r of eigenvector c is vec[c * (2J+1) + r]. Always 1.
int PrntEigVec(int J, const std::int16_t* ka, const std::int16_t* kc, const double* vec);

/// Lists Kiv.Prm_Val of both states, three constants a line, and the origin. Always 1.
int PrntPrm();

/// Lists the constants at positions first..last of the fit's order.
///
/// order[m] (m counts from 1, as the fit does) is the slot of position m; `code`, `now`, `old` and
/// `sd` are indexed by that slot. code: -(p+1) for constant p of the ground state, p+1 for
/// constant p of the excited one, 23 for the origin; positions run in that order. now, old and sd
/// are the values after and before the cycle and the standard deviations; with all three null only
/// the labels are listed. With Kiv.Uniform_Unc 1 a row of Kiv.Std_Dev_Scale * sd is added.
/// Always 1.
int LsfPrntPrm(int first, int last, const int* order, const int* code, const double* now,
               const double* old, const double* sd);
