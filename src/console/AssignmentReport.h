// Reading of the assignment file of a run, with its part of the log.
#pragma once

#include "console/Console.h"
#include "io/AssignmentFile.h"

namespace kiv {

/// Reads the file of measured lines that `file` names; one that is not there leaves no assignments.
/// NoMemory, which is not told yet; BadInput when a set has no acceptable row, which is.
Result<AssignmentReading> ReadAssignmentsOf(Console& console, const InputFile& file,
                                            const Memory& memory);

}  // namespace kiv
