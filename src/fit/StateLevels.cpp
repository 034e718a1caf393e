#include "fit/StateLevels.h"

#include <algorithm>
#include <cmath>

#include "levels/Solution.h"
#include "levels/Symmetry.h"

namespace kiv {

Status StateLevels::Reserve(const Model& model, std::array<bool, kNumStates> used, int max_J,
                            const Memory& memory) {
    used_ = used;
    max_J_ = max_J;
    is_complex_ = NeedsComplex(model.lower()) || (!model.one_state && NeedsComplex(model.upper()));
    for (const StateIndex index : {kLower, kUpper}) {
        is_solved_[index] = false;
        if (!used_[index]) continue;
        const TurnedState state = Turn(model.states[index]);
        KIV_TRY(kiv::Reserve({{&state, is_complex_}, max_J, index}, memory, levels_[index]));
    }
    return {};
}

Status StateLevels::Solve(const Model& model, Workspace& work, Report& report) {
    for (const StateIndex index : {kLower, kUpper}) {
        if (!used_[index]) continue;
        const TurnedState turned = Turn(model.states[index]);
        if (is_solved_[index] && SameBits(turned, turned_[index])) continue;
        is_solved_[index] = false;
        turned_[index] = turned;
        const LevelTask task{{&turned, is_complex_}, max_J_, index};
        KIV_TRY(kiv::Solve(task, work, report, levels_[index]));
        is_solved_[index] = true;
        SortBySymmetry(index);
    }
    return {};
}

// Label by label the next level of the class that the label belongs to.
void StateLevels::SortBySymmetry(StateIndex state) {
    const Levels& levels = levels_[state];
    of_symmetry_[state].clear();
    for (int J = 0; J <= max_J_; ++J) {
        std::array<int, kAllC2 + 1> next{};  // rank from which on the class is looked for
        for (int rank = 0; rank <= 2 * J; ++rank) {
            const std::size_t label = Levels::Index(J, rank);
            const std::uint8_t odd =
                levels.OddInBasis(LabelOdd(kAllC2, levels.ka[label], levels.kc[label]));
            int& from = next[odd];
            while (from <= 2 * J && levels.odd[Levels::Index(J, from)] != odd) ++from;
            of_symmetry_[state].push_back(Levels::Index(J, from++));
        }
    }
}

double StateLevels::LargestEnergy() const {
    double largest = 0.0;
    for (std::size_t state = 0; state < kNumStates; ++state) {
        if (!used_[state]) continue;
        for (const double energy : levels_[state].energy) {
            largest = std::max(largest, std::fabs(energy));
        }
    }
    return largest;
}

}  // namespace kiv
