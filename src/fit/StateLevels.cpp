#include "fit/StateLevels.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "levels/Solution.h"
#include "levels/Symmetry.h"

namespace kiv {

Status StateLevels::Reserve(const Model& model, std::array<Wanted, kNumStates> wanted, int max_J,
                            const Memory& memory) {
    wanted_ = std::move(wanted);
    max_J_ = max_J;
    is_complex_ = NeedsComplex(model.lower()) || (!model.one_state && NeedsComplex(model.upper()));
    for (const StateIndex index : {kLower, kUpper}) {
        is_solved_[index] = false;
        if (!has(index)) continue;
        wanted_J_[index].assign(static_cast<std::size_t>(max_J) + 1, false);
        for (const std::size_t level : wanted_[index].levels) {
            wanted_J_[index][static_cast<std::size_t>(Levels::JOf(level))] = true;
        }
        of_symmetry_[index].resize(Levels::Index(max_J + 1, 0));
        KIV_TRY(ReserveState(Turn(model.states[index]), index, memory));
    }
    return {};
}

Status StateLevels::ReserveState(const TurnedState& state, StateIndex index, const Memory& memory) {
    const LevelTask task{{&state, is_complex_}, max_J_, index};
    is_chosen_[index] = !wanted_[index].vectors && ChosenLevels::CanSolve(task.H);
    if (!is_chosen_[index]) return kiv::Reserve(task, memory, levels_[index]);
    KIV_TRY(levels_[index].ReserveFigures(memory, max_J_, state.NumOn()));
    return chosen_[index].Choose(wanted_[index].levels, max_J_, memory);
}

Result<bool> StateLevels::Solve(const Model& model, Workspace& work, Report& report) {
    bool is_new = false;
    for (const StateIndex index : {kLower, kUpper}) {
        if (!has(index)) continue;
        const TurnedState turned = Turn(model.states[index]);
        if (is_solved_[index] && SameBits(turned, turned_[index])) continue;
        is_solved_[index] = false;
        turned_[index] = turned;
        const Result<bool> solved = SolveState(index, work, report);
        if (!solved) return solved.error();
        is_solved_[index] = true;
        is_new = is_new || solved.value();
    }
    if (follows_) return is_new;
    const Result<bool> confirmed = ConfirmRanks(work);
    if (!confirmed) return confirmed.error();
    return is_new || confirmed.value();
}

Result<bool> StateLevels::SolveState(StateIndex index, Workspace& work, Report& report) {
    const LevelTask task = TaskOf(index);
    Levels& levels = levels_[index];
    if (is_chosen_[index] && !ChosenLevels::CanSolve(task.H)) {  // a constant is no longer 0
        is_chosen_[index] = false;
        KIV_TRY(kiv::Reserve(task, work.memory(), levels));
    }
    is_regular_[index] = false;
    if (!is_chosen_[index]) {
        KIV_TRY(kiv::Solve(task, work, report, levels));
        for (int J = 0; J <= max_J_; ++J) {
            if (wanted_J_[index][static_cast<std::size_t>(J)]) SortBySymmetry(index, J);
        }
        return true;
    }
    const Result<bool> is_new = chosen_[index].Solve(task, work, report, levels);
    if (is_new && is_new.value()) SortIrregular(index);
    return is_new;
}

// True when levels were solved again.
Result<bool> StateLevels::ConfirmRanks(Workspace& work) {
    bool is_new = false;
    for (const StateIndex index : {kLower, kUpper}) {
        if (!is_solved_[index] || !is_chosen_[index]) continue;
        const Result<bool> changed =
            chosen_[index].ConfirmRanks(TaskOf(index), work, levels_[index]);
        if (!changed) return changed.error();
        if (changed.value()) SortIrregular(index);
        is_new = is_new || changed.value();
    }
    return is_new;
}

Result<bool> StateLevels::FollowSymmetry(bool follow, Workspace& work) {
    if (follow == follows_) return true;
    follows_ = follow;
    const Result<bool> is_new = follow ? Result<bool>(false) : ConfirmRanks(work);
    if (!is_new) return is_new.error();
    return !is_new.value() && is_regular_[kLower] && is_regular_[kUpper];
}

void StateLevels::SortIrregular(StateIndex state) {
    std::iota(of_symmetry_[state].begin(), of_symmetry_[state].end(), std::size_t{0});
    for (const int J : chosen_[state].irregular()) SortBySymmetry(state, J);
    is_regular_[state] = chosen_[state].irregular().empty();
}

// Label by label the next level of the class that the label belongs to.
void StateLevels::SortBySymmetry(StateIndex state, int J) {
    const Levels& levels = levels_[state];
    std::array<int, kAllC2 + 1> next{};  // rank from which on the class is looked for
    for (int rank = 0; rank <= 2 * J; ++rank) {
        const std::size_t label = Levels::Index(J, rank);
        const std::uint8_t odd =
            levels.OddInBasis(LabelOdd(kAllC2, levels.ka[label], levels.kc[label]));
        int& from = next[odd];
        while (from <= 2 * J && levels.odd[Levels::Index(J, from)] != odd) ++from;
        of_symmetry_[state][label] = Levels::Index(J, from++);
    }
}

double StateLevels::LargestEnergy() const {
    double largest = 0.0;
    for (const StateIndex state : {kLower, kUpper}) {
        for (const std::size_t level : wanted_[state].levels) {
            largest = std::max(largest, std::fabs(levels_[state].energy[level]));
        }
    }
    return largest;
}

}  // namespace kiv
