// Log listings: level energies, eigenvectors and the tables of constants.
//
// Every routine writes to the log only and changes nothing. Energies and constants are in the unit
// of the run.
#pragma once

#include "base/Trace.h"
#include "console/Console.h"
#include "fit/FitList.h"
#include "kiv/levels.h"
#include "kiv/model.h"

namespace kiv {

/// Label of a constant, or of the origin, in five columns.
const char* LabelOf(int constant);

/// Lists the levels of one J: "|Ka Kc|energy", one a line.
///
/// A printed block leaves no EXIT trace; only a run without a log reaches the tracing exit. That
/// asymmetry is meant.
void ListEnergies(Console& console, const Levels& levels, int J);

/// Lists the eigenvectors of one J, eight to a block, one row for each basis function K = -J..J.
void ListVectors(Console& console, const Levels& levels, int J);

/// Lists the constants of both states, three a line, and the origin.
void ListConstants(Console& console, const Model& model);

/// Lists the labels of the constants at positions first..last of the fit's order.
void ListFitLabels(Console& console, const FitList& list, int first, int last);

/// Lists the varied constants: before and after the cycle, change and deviation, and the deviation
/// times `scale` when `scaled`.
void ListFitValues(Console& console, const FitCycleView& cycle, bool scaled, double scale);

}  // namespace kiv
