// Combination differences: differences of two assigned lines that share a level.
#pragma once

#include <cstdint>

#include "fit/FitRows.h"

namespace kiv {

/// Pairs of assigned lines, by match k = 0..matched-1: the difference is second minus first.
struct DifferencePairs {
    Table<std::int32_t> match;  // row 0: first line, row 1: second line
    std::int32_t num = 0;
};

/// Finds the pairs i < j among the matches of the last pass, i ascending, then j: of the lower
/// state (LowerDifferences) lines that end in the same upper level, stored as (j, i), of the upper
/// state lines that start from the same lower level, stored as (i, j).
///
/// There is room for one pair less than there are assignments. The pair that would fill the last
/// place is told as one too many and given up, together with the further partners of its line i;
/// the search goes on and later pairs meet the same fate. NoMemory.
Status FindDifferences(const RowSource& source, const LineList& lines, const Memory& memory,
                       Trace* trace, DifferencePairs& pairs);

/// Turns the lines of the last pass into the rows of a fit of combination differences. The
/// uncertainty of a difference is that of its first line alone. `values`: the constants by slot,
/// for the listener. Returns the number of differences found, before the rejection of outliers;
/// NoDifferences when there is none; NoMemory.
Result<std::int32_t> SelectDifferences(const RowSource& source, const PassRoom& room,
                                       const double* values, const Memory& memory, Trace* trace,
                                       FitRows& rows);

}  // namespace kiv
