// The levels of both states, kept between the cycles of a fit.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "kiv/levels.h"
#include "kiv/model.h"
#include "kiv/report.h"
#include "kiv/workspace.h"
#include "model/Frames.h"

namespace kiv {

class StateLevels {
  public:
    /// Takes room for J = 0..max_J of the states in `used`, of which no more constants may be on
    /// later. NoMemory.
    Status Reserve(const Model& model, std::array<bool, kNumStates> used, int max_J,
                   const Memory& memory);

    /// Solves the states in use, but none that is bit for bit that of its last solution. NoMemory;
    /// Cancelled.
    Status Solve(const Model& model, Workspace& work, Report& report);

    /// Finds levels by their symmetry: those of a class keep their order among themselves, so that
    /// positions change smoothly while levels of different classes cross. False: by energy rank, as
    /// labels are given; where levels cross, positions have corners at which a fit can end.
    void FollowSymmetry(bool follow) { follows_ = follow; }
    bool follows_symmetry() const { return follows_; }

    /// Level index of an energy rank of J, or of the level whose symmetry that rank should have.
    std::size_t Index(int state, int J, int rank) const {
        const std::size_t level = Levels::Index(J, rank);
        return follows_ ? of_symmetry_[static_cast<std::size_t>(state)][level] : level;
    }

    bool has(int state) const { return used_[static_cast<std::size_t>(state)]; }
    const Levels& of(int state) const { return levels_[static_cast<std::size_t>(state)]; }

    /// The largest energy in size.
    double LargestEnergy() const;

  private:
    void SortBySymmetry(StateIndex state);

    std::array<bool, kNumStates> used_{};
    bool is_complex_ = false;
    int max_J_ = 0;
    std::array<Levels, kNumStates> levels_;
    std::array<TurnedState, kNumStates> turned_;  // as they were solved
    std::array<bool, kNumStates> is_solved_{};
    bool follows_ = false;
    std::array<std::vector<std::size_t>, kNumStates> of_symmetry_;  // level indices by label
};

}  // namespace kiv
