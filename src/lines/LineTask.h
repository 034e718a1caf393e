// What lines are computed from.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <span>

#include "kiv/levels.h"
#include "kiv/lines.h"
#include "kiv/settings.h"
#include "levels/Terms.h"
#include "lines/Cosines.h"

namespace kiv {

enum BandType : int { kBandA, kBandB, kBandC, kNumBands };

/// The assignments that a pass looks for, ascending in their keys.
struct AssignedSet {
    std::span<const std::uint64_t> key;
    std::span<const double> frequency;
    std::int32_t first = 0;  // number of the first one among all assignments
};

/// Pairs of levels between which lines are looked for. The levels have the same max_J and are both
/// real or both complex; the same object twice for the lines within one state.
struct LineTask {
    const Levels* lower;
    const Levels* upper;
    const Cosines* cosines;
    const LineRules* rules;
    double origin = 0.0;
    std::array<double, kNumBands> projection{};  // of the moment on a, b, c
    AssignedSet assigned;
    Hamiltonian H_upper{};  // of the upper levels; null state: not known

    bool one_state() const { return lower == upper; }
    int max_J() const { return lower->max_J; }
    bool is_complex() const { return lower->is_complex; }

    /// True when the projection is more than rounding, so that the band type contributes.
    bool IsActive(int type) const {
        constexpr double kMinProjection = 1e-5;
        return std::fabs(projection[static_cast<std::size_t>(type)]) > kMinProjection;
    }
};

/// The lower level of a run of pairs.
struct LowerLevel {
    int J, rank;
    std::int32_t index;
    int ka, kc;
    double energy;
    std::int32_t spin_weight;
};

LowerLevel MakeLower(const LineTask& task, int J, int rank);

}  // namespace kiv
