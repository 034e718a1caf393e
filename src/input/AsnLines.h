// Assignment file: measured lines with their quantum numbers, in sets separated by "//" lines.
#pragma once

#include <cstdint>
#include <span>

/// Reads the file Kiv.Asn_Flnm into Kiv.AsnQN_Vector (LineKey), AsnErg_Vector and AsnUnc_Vector;
/// each set is sorted by ascending key on its own, lines of one key in the order of the file.
///
/// A line holds a band word, J' Ka' Kc', J" Ka" Kc", frequency and uncertainty; without the last,
/// or with zero, it gets the uncertainty 1.0e20. Malformed lines and lines beyond the limits
/// (Max_J, Asn_J_Max, Asn_Ka_Max, Asn_Kc_Max) are reported and left out. Sets Num_Asn_Read,
/// Num_Rej, Asn_Split and Asn_Multi_Set, and Uniform_Unc to 1 when no line has an uncertainty.
/// Returns 1, also when there is no such file, or 0 when the run cannot go on: a set without an
/// acceptable line, or not enough memory.
int RdAsnLines();

/// Fills idx[1..n], n = key.size(), with the positions 1..n so that the keys ascend along it; equal
/// keys keep their order. idx has n + 1 elements.
void AsnIndexSort(std::span<const std::uint64_t> key, std::span<std::int32_t> idx);

/// Puts the n keys, frequencies and uncertainties into the order of idx[1..n]: element i becomes
/// the old element idx[i]. `label` is left as it is. Returns 1, or -1 without memory.
short iiisort123(std::int32_t n, std::span<const std::int32_t> idx, std::span<std::uint64_t> key,
                 std::span<const std::int32_t> label, std::span<double> erg, std::span<double> unc);
