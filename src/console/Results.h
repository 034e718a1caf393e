// The result files of a run.
#pragma once

#include <string>

#include "console/Console.h"
#include "console/PhaseLog.h"
#include "kiv/files.h"

namespace kiv {

/// What the files are made from.
struct RunResults {
    LineSetHeader header;
    LineList lines;
    LineSource source;
    LineSetReport report;
};

/// Writes `base`.QZS in descending and, unless both Ka and Kc limits of the assignments are below
/// -1, `base`.asc in ascending frequency, with phase III of the log. Both files appear under their
/// names only when they are complete, so that a failed run leaves earlier results whole. False when
/// memory or the binary file failed; a failed text list has its message and is no failure.
bool WriteLines(Console& console, const InputFile& file, RunResults results, const Memory& memory);

/// Writes the next input file `base`.in. An older file of that name is replaced when the new one is
/// complete and kept on every failure. False, with a message, when it cannot be written.
bool WriteNextInput(Console& console, const InputFile& file);

}  // namespace kiv
