// Measured features resolved into transitions between calculated levels.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "fit/StateLevels.h"
#include "kiv/features.h"
#include "kiv/model.h"
#include "kiv/settings.h"

namespace kiv {

/// A level by state, J and energy rank.
struct LevelPlace {
    int state = 0, J = 0, rank = 0;

    std::size_t Index(const StateLevels& levels) const { return levels.Index(state, J, rank); }
    auto operator<=>(const LevelPlace&) const = default;
};

inline LevelPlace PlaceOf(const LineLevel& level) {
    return {level.v, level.J, level.J + level.Ka - level.Kc};
}

/// A transition of a feature and its share in the feature's position.
struct Component {
    LevelPlace upper, lower;
    double weight = 1.0;  // those of a feature add up to 1

    bool within_state() const { return upper.state == lower.state; }
    int origins() const { return upper.state - lower.state; }  // that the position holds

    /// (v' - v'') origin + E' - E''
    double Position(const StateLevels& levels, double origin) const {
        return origins() * origin + levels.of(upper.state).energy[upper.Index(levels)] -
               levels.of(lower.state).energy[lower.Index(levels)];
    }
};

class FeatureSet {
  public:
    /// `has_moment`: blends without weights are weighed by intensities, else equally. `features`
    /// must outlive it.
    FeatureSet(const Model& model, const Settings& settings, std::span<const LineFeature> features,
               bool has_moment);

    std::size_t size() const { return features_.size(); }
    const LineFeature& feature(std::size_t i) const { return features_[i]; }
    std::span<const Component> Components(std::size_t i) const {
        return {components_.data() + first_[i], first_[i + 1] - first_[i]};
    }

    /// Why the rules leave the feature no line, whatever the constants are; empty when they do not.
    const std::string& Fault(std::size_t i) const { return fault_[i]; }

    /// Highest J of the features that have a line; -1 when none has.
    int max_J() const { return max_J_; }

    /// The levels of these features, with eigenvectors where blends are weighed by intensities.
    std::array<StateLevels::Wanted, kNumStates> WantedLevels() const;

    /// Weighs the blends that take calculated intensities, for the levels as they are; one without
    /// any intensity gets equal weights. NoMemory.
    bool HasWeighedBlends() const { return !by_intensity_.empty(); }
    Status WeighBlends(const Model& model, const LineRules& rules, const StateLevels& levels,
                       Workspace& work);

  private:
    void Normalise(std::size_t i);

    std::span<const LineFeature> features_;
    std::vector<std::size_t> first_{0};  // components of each feature
    std::vector<Component> components_;
    std::vector<std::string> fault_;
    std::vector<std::size_t> by_intensity_;  // features
    int max_J_ = -1;
};

}  // namespace kiv
