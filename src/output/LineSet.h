// The line-set files: binary Out_Base.QZS in descending frequency, text Out_Base.asc in ascending.
#pragma once

#include <cstdint>

/// At no positive temperature the lines carry strengths, and the files the level energies.
bool HasEnergies();

/// Levels of a state.
std::int64_t NumLevels();

/// Sorts the transition store by frequency and writes `base`.QZS and `base`.asc.
///
/// The store's arrays stay in descending order; FI_AsnLn_Idx keeps the order of calculation. Both
/// files appear under their names only when they are complete, so that a failed run leaves earlier
/// results whole. The text list is left out when Asn_Ka_Max and Asn_Kc_Max are both below -1.
/// Returns 1, or 0 when memory or the binary file failed; the message is then already printed. A
/// failed text list has its own message and is no failure.
int TrsConvert(const char* base);

/// Writes the text list `base`.asc of the sorted store; obs[n] is the observed frequency of sorted
/// line n, 0 when it has none. Returns 1, or 0 when the file could not be written.
int PrntTrsQZS(const char* base, const double* obs);
