// Intensities of single transitions, by which the parts of a blend are weighed.
#pragma once

#include <span>

#include "fit/Transitions.h"

namespace kiv {

/// Makes the weight of each component its intensity by `rules`, strength times spin weight times
/// Boltzmann factor. Reorders `components`. NoMemory.
Status FillIntensities(const Model& model, const LineRules& rules, const StateLevels& levels,
                       std::span<Component*> components, Workspace& work);

}  // namespace kiv
