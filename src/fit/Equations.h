// The equations of a fit: measured features, or differences of two.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "fit/Transitions.h"
#include "kiv/settings.h"

namespace kiv {

/// Measured and calculated value are those of feature `plus` less, in a difference, those of
/// `minus`.
struct Equation {
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    std::size_t plus = kNone;
    std::size_t minus = kNone;
    std::size_t source = kNone;  // the feature whose uncertainty it has
};

struct Equations {
    std::vector<Equation> list;
    std::vector<std::string> fault;  // of each feature that makes no equation why, else empty
};

/// One equation for each feature that has a line.
Equations EquationsOfFeatures(const FeatureSet& features);

/// The combination differences of the lower state (LowerDifferences), of lines that share the upper
/// level, or of the upper state, of lines that share the lower level: second minus first of all
/// pairs i < j, ordered by J'', J', lower and upper level; of the lower state j is the first, of
/// the upper one i. The uncertainty is that of the first line alone.
Equations EquationsOfDifferences(const FeatureSet& features, FitData data);

}  // namespace kiv
