// Derivatives of a line, from those of its levels.
#pragma once

#include <cstddef>

/// Derivatives of the position of `line` with respect to the constants, FI_Sim_Dev of the line set:
/// the Num_Dev[ST_GND] negated ones of its lower level, then the Num_Dev[ST_EXC] of its upper
/// level.
void LineDerivatives(std::size_t line, double* row);
