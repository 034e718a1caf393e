// The lines that a least-squares cycle needs: the assigned ones, looked up instead of searched for.
//
// A key names both levels (tau is the energy rank), so no pair has to be visited and no amplitude
// formed. What a listener hears is the same as in a search: the same missing assignments in the
// same order, the same counts.
#pragma once

#include "kiv/report.h"
#include "lines/LineTask.h"

namespace kiv {

/// Stores the assigned lines alone, with positions and labels but without intensities, and matches
/// them. False, with nothing told or stored, when a search has to be made: no assignment has a
/// line, or the listener wants all pairs. NoMemory.
Result<bool> FindAssigned(const LineTask& task, const Memory& memory, Report& report,
                          LineList& list);

}  // namespace kiv
