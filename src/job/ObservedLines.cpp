#include "job/ObservedLines.h"

#include <cmath>
#include <map>
#include <utility>

#include "io/AssignmentFile.h"

namespace kiv {
namespace {

using Transition = std::pair<LineLevel, LineLevel>;

// The observed value of a transition: as it was measured, of several times the weighted mean.
struct Observed {
    int times = 0;
    double only = 0.0, only_uncertainty = 0.0;
    double weight = 0.0, weighted = 0.0;  // sums of 1/u^2, of x/u^2

    void Add(const LineFeature& feature) {
        const double u = feature.uncertainty > 0.0 ? feature.uncertainty : kNoWeight;
        ++times;
        only = feature.frequency;
        only_uncertainty = u;
        weight += 1.0 / (u * u);
        weighted += feature.frequency / (u * u);
    }
    double value() const { return times == 1 ? only : weighted / weight; }
    double uncertainty() const { return times == 1 ? only_uncertainty : 1.0 / std::sqrt(weight); }
};

}  // namespace

Result<Assignments> ObservedLines(const std::vector<LineFeature>& features, bool one_state,
                                  const Memory& memory) {
    std::map<Transition, Observed> observed;
    const int v_upper = one_state ? 0 : 1;
    for (const LineFeature& feature : features) {
        for (const LineTransition& line : feature.transitions) {
            if (line.upper.v != v_upper || line.lower.v != 0) continue;
            observed[{line.upper, line.lower}].Add(feature);
        }
    }
    std::vector<MeasuredLine> lines;
    for (const auto& [transition, mean] : observed) {
        const auto& [upper, lower] = transition;
        lines.push_back({upper.J, upper.Ka, upper.Kc, lower.J, lower.Ka, lower.Kc, mean.value(),
                         mean.uncertainty()});
    }
    return Assignments::From(lines, {}, memory);
}

}  // namespace kiv
