// Measured features: what a spectrometer sees, one line or several that it does not part.
//
// Frequencies and uncertainties are in the unit of the calculation.
#pragma once

#include <compare>
#include <optional>
#include <string>
#include <vector>

namespace kiv {

/// A level: v is 0 in the lower state and 1 in the upper one.
struct LineLevel {
    int v = 0, J = 0, Ka = 0, Kc = 0;

    auto operator<=>(const LineLevel&) const = default;
};

/// upper <- lower; both may belong to the same state.
struct LineTransition {
    LineLevel upper, lower;
    std::optional<double> weight;  // in its blend; with none they come from the calculation
    std::string comment;
    int line = 0;  // of the file it was read from
};

/// One measured frequency of one transition or, as a blend, of several.
struct LineFeature {
    double frequency = 0.0;
    double uncertainty = 0.0;  // 0: none
    std::vector<LineTransition> transitions;
};

}  // namespace kiv
