#include "fit/Transitions.h"

#include <algorithm>
#include <cstdlib>

#include "fit/BlendIntensities.h"
#include "lines/PairRules.h"

namespace kiv {
namespace {

int KaOf(const LevelPlace& level) { return (level.rank + 1) / 2; }
int KcOf(const LevelPlace& level) { return level.J - level.rank / 2; }

std::string LevelFault(const LineLevel& level, const Model& model, int max_J) {
    const LevelPlace place = PlaceOf(level);
    const std::string J = "J = " + std::to_string(level.J);
    if (place.state != kLower && place.state != kUpper) return "there is no such state";
    if (place.state == kUpper && model.one_state) return "the model has no upper state";
    if (place.J > max_J) return J + " is above the highest J, " + std::to_string(max_J);
    const int order = level.Ka + level.Kc - level.J;
    if (level.Ka < 0 || level.Kc < 0 || level.Ka > level.J || level.Kc > level.J || order < 0 ||
        order > 1) {
        return "the quantum numbers name no level of " + J;
    }
    return "";
}

std::string PairFault(const LevelPlace& upper, const LevelPlace& lower, const LineRules& rules) {
    if (std::abs(upper.J - lower.J) > 1) return "J changes by more than 1";
    if (upper.J == 0 && lower.J == 0) return "there is no line from J = 0 to J = 0";
    const UpperRange range = UpperRangeOf(rules.delta_K, KaOf(lower), upper.J);
    if (upper.rank < range.first || upper.rank >= range.last) {
        return "the change of Ka is beyond delta_K = " + std::to_string(rules.delta_K);
    }
    if (rules.parity &&
        !HasParity(*rules.parity, KaOf(lower), KcOf(lower), KaOf(upper), KcOf(upper))) {
        return "the parity rule excludes it";
    }
    return "";
}

std::string NameOf(const LineLevel& level) {
    return std::to_string(level.J) + " " + std::to_string(level.Ka) + " " +
           std::to_string(level.Kc);
}

// The first fault of a transition, with its name when there are several.
std::string FeatureFault(const LineFeature& feature, const Model& model, const Settings& settings) {
    if (feature.transitions.empty()) return "it names no transition";
    for (const LineTransition& t : feature.transitions) {
        std::string fault = LevelFault(t.upper, model, settings.max_J);
        if (fault.empty()) fault = LevelFault(t.lower, model, settings.max_J);
        if (fault.empty()) fault = PairFault(PlaceOf(t.upper), PlaceOf(t.lower), settings.lines);
        if (fault.empty()) continue;
        if (feature.transitions.size() == 1) return fault;
        return NameOf(t.upper) + " - " + NameOf(t.lower) + ": " + fault;
    }
    return "";
}

}  // namespace

FeatureSet::FeatureSet(const Model& model, const Settings& settings,
                       std::span<const LineFeature> features, bool has_moment)
    : features_(features) {
    for (std::size_t i = 0; i < features.size(); ++i) {
        const auto& transitions = features[i].transitions;
        const bool given =
            std::all_of(transitions.begin(), transitions.end(),
                        [](const LineTransition& t) { return t.weight.has_value(); });
        for (const LineTransition& t : transitions) {
            components_.push_back({PlaceOf(t.upper), PlaceOf(t.lower), given ? *t.weight : 0.0});
        }
        first_.push_back(components_.size());
        Normalise(i);
        fault_.push_back(FeatureFault(features[i], model, settings));
        if (!fault_[i].empty()) continue;
        if (transitions.size() > 1 && !given && has_moment) by_intensity_.push_back(i);
        for (const Component& c : Components(i)) {
            max_J_ = std::max({max_J_, c.upper.J, c.lower.J});
        }
    }
}

std::array<StateLevels::Wanted, kNumStates> FeatureSet::WantedLevels() const {
    std::array<StateLevels::Wanted, kNumStates> wanted;
    for (std::size_t i = 0; i < size(); ++i) {
        if (!fault_[i].empty()) continue;
        for (const Component& c : Components(i)) {
            for (const LevelPlace& level : {c.upper, c.lower}) {
                wanted[static_cast<std::size_t>(level.state)].levels.push_back(
                    Levels::Index(level.J, level.rank));
            }
        }
    }
    for (StateLevels::Wanted& state : wanted) state.vectors = !by_intensity_.empty();
    return wanted;
}

// Equal weights when their sum is not positive.
void FeatureSet::Normalise(std::size_t i) {
    const std::span<Component> components(components_.data() + first_[i],
                                          first_[i + 1] - first_[i]);
    double sum = 0.0;
    for (const Component& c : components) sum += c.weight;
    for (Component& c : components) {
        c.weight = sum > 0.0 ? c.weight / sum : 1.0 / static_cast<double>(components.size());
    }
}

Status FeatureSet::WeighBlends(const Model& model, const LineRules& rules,
                               const StateLevels& levels, Workspace& work) {
    std::vector<Component*> components;
    for (const std::size_t i : by_intensity_) {
        for (std::size_t k = first_[i]; k < first_[i + 1]; ++k) {
            components.push_back(&components_[k]);
        }
    }
    KIV_TRY(FillIntensities(model, rules, levels, components, work));
    for (const std::size_t i : by_intensity_) Normalise(i);
    return {};
}

}  // namespace kiv
