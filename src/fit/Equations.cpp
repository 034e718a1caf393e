#include "fit/Equations.h"

#include <algorithm>
#include <map>
#include <tuple>

namespace kiv {
namespace {

// Order of calculation; repeats by what was measured, so that the order of the features is of no
// importance.
bool ComesBefore(const FeatureSet& features, std::size_t i, std::size_t k) {
    const auto key = [&](std::size_t of) {
        const Component& c = features.Components(of)[0];
        const LineFeature& feature = features.feature(of);
        return std::tuple(c.lower.J, c.upper.J, c.lower.rank, c.upper.rank, feature.frequency,
                          feature.uncertainty);
    };
    return key(i) < key(k);
}

std::string DifferenceFault(const FeatureSet& features, std::size_t i) {
    if (!features.Fault(i).empty()) return features.Fault(i);
    if (features.Components(i).size() > 1) return "blends are not used in combination differences";
    if (features.Components(i)[0].origins() != 1) {
        return "combination differences are those of lines from the lower to the upper state";
    }
    return "";
}

}  // namespace

Equations EquationsOfFeatures(const FeatureSet& features) {
    Equations equations;
    for (std::size_t i = 0; i < features.size(); ++i) {
        equations.fault.push_back(features.Fault(i));
        if (equations.fault[i].empty()) equations.list.push_back({i, Equation::kNone, i});
    }
    return equations;
}

Equations EquationsOfDifferences(const FeatureSet& features, FitData data) {
    const bool of_lower = data == FitData::LowerDifferences;
    const auto shared = [&](std::size_t i) {
        const Component& c = features.Components(i)[0];
        return of_lower ? c.upper : c.lower;
    };
    const auto other = [&](std::size_t i) {
        const Component& c = features.Components(i)[0];
        return of_lower ? c.lower : c.upper;
    };
    Equations equations;
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < features.size(); ++i) {
        equations.fault.push_back(DifferenceFault(features, i));
        if (equations.fault[i].empty()) order.push_back(i);
    }
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t i, std::size_t k) { return ComesBefore(features, i, k); });
    std::map<LevelPlace, std::vector<std::size_t>> of_level;  // features in order
    for (const std::size_t i : order) of_level[shared(i)].push_back(i);
    std::vector<bool> is_used(features.size(), false);
    for (const auto& [level, lines] : of_level) {
        for (auto i = lines.begin(); i != lines.end(); ++i) {
            for (auto j = i + 1; j != lines.end(); ++j) {
                if (other(*i) == other(*j)) continue;
                const std::size_t first = of_lower ? *j : *i, second = of_lower ? *i : *j;
                equations.list.push_back({second, first, first});
                is_used[*i] = is_used[*j] = true;
            }
        }
    }
    for (const std::size_t i : order) {
        if (is_used[i]) continue;
        equations.fault[i] =
            std::string("no other line shares its ") + (of_lower ? "upper" : "lower") + " level";
    }
    return equations;
}

}  // namespace kiv
