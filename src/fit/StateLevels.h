// The levels of both states, kept between the cycles of a fit.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "kiv/levels.h"
#include "kiv/model.h"
#include "kiv/report.h"
#include "kiv/workspace.h"
#include "levels/ChosenLevels.h"
#include "model/Frames.h"

namespace kiv {

class StateLevels {
  public:
    /// The levels that are wanted of a state, by their indices, and whether with eigenvectors.
    struct Wanted {
        std::vector<std::size_t> levels;
        bool vectors = false;
    };

    /// Takes room for the levels that are wanted, with J up to max_J, in states of which no more
    /// constants may be on later. NoMemory.
    Status Reserve(const Model& model, std::array<Wanted, kNumStates> wanted, int max_J,
                   const Memory& memory);

    /// Solves the wanted levels of the states in use, but of none that is bit for bit that of its
    /// last solution. False when all derivatives are still those that they were. NoMemory;
    /// Cancelled.
    Result<bool> Solve(const Model& model, Workspace& work, Report& report);

    /// Finds levels by their symmetry, as at first: those of a class keep their order among
    /// themselves, so that positions change smoothly while levels of different classes cross.
    /// False: by energy rank, as labels are given; where levels cross, positions have corners at
    /// which a fit can end. True when the same levels as before are found. NoMemory.
    Result<bool> FollowSymmetry(bool follow, Workspace& work);
    bool follows_symmetry() const { return follows_; }

    /// Level index of an energy rank of J, or of the level whose symmetry that rank should have.
    std::size_t Index(int state, int J, int rank) const {
        const std::size_t level = Levels::Index(J, rank);
        return follows_ ? of_symmetry_[static_cast<std::size_t>(state)][level] : level;
    }

    bool has(int state) const { return !wanted_[static_cast<std::size_t>(state)].levels.empty(); }
    /// Levels that were not wanted may be empty.
    const Levels& of(int state) const { return levels_[static_cast<std::size_t>(state)]; }

    /// The largest energy in size.
    double LargestEnergy() const;

  private:
    Status ReserveState(const TurnedState& state, StateIndex index, const Memory& memory);
    Result<bool> SolveState(StateIndex index, Workspace& work, Report& report);
    LevelTask TaskOf(StateIndex index) const {
        return {{&turned_[index], is_complex_}, max_J_, index, &wanted_J_[index]};
    }
    Result<bool> ConfirmRanks(Workspace& work);
    void SortIrregular(StateIndex state);
    void SortBySymmetry(StateIndex state, int J);

    std::array<Wanted, kNumStates> wanted_;
    std::array<std::vector<bool>, kNumStates> wanted_J_;
    bool is_complex_ = false;
    int max_J_ = 0;
    std::array<bool, kNumStates> is_chosen_{};  // the wanted levels are solved by themselves
    std::array<ChosenLevels, kNumStates> chosen_;
    std::array<Levels, kNumStates> levels_;
    std::array<TurnedState, kNumStates> turned_;  // as they were solved
    std::array<bool, kNumStates> is_solved_{};
    // labels are known to follow the energy against their symmetry nowhere
    std::array<bool, kNumStates> is_regular_{true, true};
    bool follows_ = true;
    std::array<std::vector<std::size_t>, kNumStates> of_symmetry_;  // level indices by label
};

}  // namespace kiv
