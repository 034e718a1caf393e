// The search for lines: positions and intensities of the pairs of levels that the rules let
// through.
#pragma once

#include "kiv/report.h"
#include "lines/LineTask.h"

namespace kiv {

/// Fills `list`, which LineList::Reserve sized, with the lines of `task`, and matches the
/// assignments on the way, on the threads of the workspace unless somebody listens.
///
/// Levels pair up within the window of delta_K around the lower Ka and with the parities asked for.
/// Raw intensity of real states (Pa + Pb)^2 + Pc^2 with P = projection * amplitude, of complex
/// ones |Pa + Pb + i Pc|^2, all three coherent; intensity = raw * spin weight * Boltzmann factor;
/// position = origin + E' - E''. Which lines there are depends on the task alone, neither on the
/// assignments, which only add theirs, nor on the listener or the threads. NoLines; NoMemory;
/// Cancelled.
Status SearchLines(const LineTask& task, Workspace& work, Report& report, LineList& list);

}  // namespace kiv
