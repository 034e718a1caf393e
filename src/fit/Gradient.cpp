#include "fit/Gradient.h"

#include <cmath>

namespace kiv {

std::vector<int> PlacesOf(std::span<const FitParameter> parameters, FitData data, StateIndex state,
                          const Levels& levels) {
    PerConstant<int> of;
    of.values.fill(-1);
    for (int i = 0; i < levels.num_derivatives; ++i) {
        of[levels.derivative_of[static_cast<std::size_t>(i)]] = i;
    }
    std::vector<int> places;
    for (const FitParameter& parameter : parameters) {
        const bool follows = data == FitData::UpperAsDifference && state == kUpper;
        const bool depends = parameter.constant && (parameter.state == state || follows);
        places.push_back(depends ? of[*parameter.constant] : -1);
    }
    return places;
}

Gradient::Gradient(std::span<const FitParameter> parameters, FitData data,
                   const StateLevels& levels)
    : levels_(levels) {
    for (const StateIndex state : {kLower, kUpper}) {
        if (levels.has(state)) place_[state] = PlacesOf(parameters, data, state, levels.of(state));
    }
    for (std::size_t m = 0; m < parameters.size(); ++m) {
        if (!parameters[m].constant) origin_ = static_cast<int>(m);
    }
}

void Gradient::AddLevel(int state, std::size_t level, double factor, double* row,
                        double* size) const {
    const Levels& levels = levels_.of(state);
    const double* const record =
        &levels.derivative[level * static_cast<std::size_t>(levels.num_derivatives)];
    const std::vector<int>& place = place_[static_cast<std::size_t>(state)];
    for (std::size_t m = 0; m < place.size(); ++m) {
        if (place[m] < 0) continue;
        const double term = factor * record[place[m]];
        row[m] += term;
        size[m] += std::fabs(term);
    }
}

void Gradient::AddOrigin(double factor, double* row, double* size) const {
    if (origin_ < 0) return;
    row[origin_] += factor;
    size[origin_] += std::fabs(factor);
}

}  // namespace kiv
