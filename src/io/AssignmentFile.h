// Assignment files: measured lines with their quantum numbers, in sets separated by "//" lines.
#pragma once

#include <cstdint>

#include "io/TextLines.h"
#include "kiv/array.h"
#include "kiv/assignments.h"
#include "kiv/error.h"
#include "kiv/files.h"

namespace kiv {

/// Uncertainty of a line that has none.
inline constexpr double kNoWeight = 1.0e20;

/// Rows of a set, from the first to the separator behind it.
struct SetCount {
    std::int32_t rows = 0;
    std::int32_t accepted = 0;
};

/// Hears of an assignment file while it is read. Every set is read twice: counted, then stored. A
/// row is told as it was read, with a plain line end; a zero byte ends it.
class AssignmentListener {
  public:
    virtual ~AssignmentListener() = default;

    // --- counting

    /// `first`: it is the first row of its set.
    virtual void Malformed(const char* /*row*/, bool /*first*/) {}
    virtual void BeyondLimits(const char* /*row*/) {}
    /// `so_far` includes the row.
    virtual void Counted(const char* /*row*/, const SetCount& /*so_far*/) {}
    /// A set that has rows, or the first one; without an accepted row the reading fails.
    virtual void SetCounted(const SetCount&) {}
    virtual void NoneAccepted() {}

    /// The file could not be read as far as it goes, or again as far as before. Either pass.
    virtual void EarlyEnd() {}

    // --- storing

    /// The set is one of more than two, or its separator is not found again; the reading ends.
    virtual void NotSeparated() {}
    virtual void Stored(const char* /*row*/, const SetCount& /*so_far*/) {}
    virtual void SetStored() {}
    /// None of the rows counted before were found again; the reading ends.
    virtual void NoneStored() {}

    // --- at the end, unless none were stored

    /// Lines without an uncertainty, unless they all have the same weight.
    virtual void WithoutUncertainty(std::int32_t /*lines*/) {}
    /// None has one: they all get the same weight.
    virtual void MadeUniform() {}
    virtual void UncertaintiesIgnored() {}
};

struct AssignmentOptions {
    AssignmentLimits limits;
    double scale = 1.0;        // of the frequencies
    std::int16_t uniform = 1;  // InputFile::uniform
};

struct AssignmentReading {
    Assignments assignments;
    std::int32_t rejected = 0;  // rows
    std::int16_t uniform = 1;   // 1 also when no line has an uncertainty
};

/// Reads a file into sets, each sorted by ascending key, lines of one key in the order of the file.
///
/// A row holds a band word, J' Ka' Kc', J'' Ka'' Kc'', frequency and uncertainty; words in the
/// place of the last and behind it are remarks. BadInput when a set has no acceptable row; NoMemory
/// names the array.
Result<AssignmentReading> ReadAssignments(TextLines& lines, const AssignmentOptions& options,
                                          const Memory& memory, AssignmentListener& listener);

}  // namespace kiv
