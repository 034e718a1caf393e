// Which word of a positional input belongs to which value, when their numbers or kinds do not
// agree.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "job/OldRecords.h"
#include "job/OldWords.h"

namespace kiv {

/// The words of a file laid on the cells of a layout; cells are counted through all records.
struct OldAlignment {
    std::vector<std::optional<std::size_t>> word_of;  // by cell; none: missing
    std::vector<std::size_t> surplus;                 // words without a cell, ascending
    int cost = 0;                                     // 0: nothing is wrong
};

/// The best alignment: with the fewest missing and surplus words, the fewest unsuitable ones, and
/// most records behind the comment lines that announce them or at the beginning of a line. It is
/// found by dynamic programming, as the edit distance of two texts. Words that suit one after the
/// other are left alone unless comment lines tell of a few mistakes that cancel out.
OldAlignment Align(const std::vector<OldRecord>& records, const std::vector<OldWord>& words,
                   bool has_tails);

}  // namespace kiv
