// Combination differences: differences of two assigned lines that share a level.
#pragma once

#include <cstdint>

#include "fit/FitList.h"
#include "fit/FitRows.h"
#include "run/KivArray.h"

/// Pairs of assigned lines, by match k = 0..Num_Asn-1: the difference is second minus first.
struct CombPairs {
    KivTable<std::int32_t> Idx_Mat;  // row 0: first line, row 1: second line
    std::int32_t Num = 0;
};

/// Finds the pairs i < j among the matches 0..Num_Asn-1 of the last pass, i ascending, then j:
/// with Fit_Stat 3 lines that end in the same upper level, stored as (j, i), with Fit_Stat 4 lines
/// that start from the same lower level, stored as (i, j).
///
/// There is room for Num_Asn_Read - 1 pairs. The pair that would fill the last place is reported as
/// one too many and given up, together with the further partners of its line i; the search goes on
/// and later pairs meet the same fate. Returns 0 when memory is exhausted (message printed).
int FindCombPairs(CombPairs& pairs);

/// Turns the lines of the last pass into the rows of a fit of combination differences and lists
/// them. Sets Num_Asn to the number of differences found, before the rejection of outliers. The
/// uncertainty of a difference is that of its first line alone. `values`: the constants by slot,
/// for the debug listing. Returns 0 when there is no difference or memory is exhausted.
int CDErrorAnalysis(FitRows& rows, const FitList& list, const double* values);
