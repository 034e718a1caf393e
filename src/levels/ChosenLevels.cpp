#include "levels/ChosenLevels.h"

#include <algorithm>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "levels/Derivatives.h"
#include "levels/Ranking.h"

namespace kiv {
namespace {

int BlockOfLabel(const LevelBlocks& blocks, std::uint8_t odd) {
    int b = 0;
    while (blocks.block[b].odd != odd) ++b;
    return b;
}

}  // namespace

Status ChosenLevels::Choose(std::span<const std::size_t> levels, int max_J, const Memory& memory) {
    std::vector<bool> is_chosen(Levels::Index(max_J + 1, 0), false);
    for (const std::size_t level : levels) is_chosen[level] = true;
    max_J_ = max_J;
    chosen_.clear();
    groups_.clear();
    list_of_J_.clear();
    operators_ = OperatorBands();
    last_.reset();
    std::ptrdiff_t numbers = 0;
    for (int J = 0; J <= max_J; ++J) {
        const auto first = is_chosen.begin() + static_cast<std::ptrdiff_t>(Levels::Index(J, 0));
        if (std::find(first, first + 2 * J + 1, true) == first + 2 * J + 1) continue;
        ChosenJ& of_J = chosen_.emplace_back();
        of_J.J = J;
        of_J.blocks = BlocksOf(kAllC2, J);
        of_J.first_group = groups_.size();
        list_of_J_.push_back(J);
        LaneCounts before{};
        std::array<std::size_t, kMaxBlocks> group{};  // of its next level
        group.fill(of_J.first_group);
        for (int rank = 0; rank <= 2 * J; ++rank) {
            const std::uint8_t odd = LabelOdd(kAllC2, KaOfRank(rank), KcOfRank(J, rank));
            const auto b = static_cast<std::size_t>(BlockOfLabel(of_J.blocks, odd));
            if (first[rank]) {
                if (group[b] == groups_.size()) {
                    groups_.emplace_back().vectors = numbers;
                    numbers += std::ptrdiff_t{kPairLanes} * OperatorBands::Rows(J);
                }
                groups_[group[b]++].level[b] = {rank, before};
            }
            ++before[b];
        }
        of_J.end_group = groups_.size();
    }
    if (!vectors_.Take(memory, numbers)) return NoMemory(array_name::kVectors);
    return follower_.Fit(memory, max_J);
}

FollowTask ChosenLevels::TaskOf(const Hamiltonian& H, std::size_t place, Levels& levels) {
    ChosenJ& of_J = chosen_[place];
    return {&H,    &operators_,    &coefficients_,  place,
            &of_J, GroupsOf(of_J), vectors_.data(), &levels};
}

// What is chosen of a J that was solved as a whole.
void ChosenLevels::Take(const Hamiltonian& H, std::size_t place, const double* vectors,
                        BlockScratch& s, Levels& levels) {
    ChosenJ& of_J = chosen_[place];
    of_J.has_ranks = true;
    bool is_regular = true;
    for (ChosenGroup& group : GroupsOf(of_J)) {
        double* const lanes = vectors_.data() + group.vectors;
        std::fill_n(lanes, std::ptrdiff_t{kPairLanes} * OperatorBands::Rows(of_J.J), 0.0);
        for (std::size_t b = 0; b < kPairLanes; ++b) {
            const ChosenLevel& level = group.level[b];
            if (level.rank < 0) continue;
            is_regular = is_regular && s.rank_place[static_cast<std::size_t>(level.rank)] ==
                                           s.first[b] + level.before[b];
            const int N = of_J.blocks.block[b].N;
            group.energy[b] = levels.energy[Levels::Index(of_J.J, level.rank)];
            group.gap[b] = 0.0;
            const double* const solved =
                vectors + of_J.blocks.vec[b] + std::ptrdiff_t{level.before[b]} * VecLd(N);
            for (int i = 0; i < N; ++i) {
                lanes[static_cast<std::size_t>(kPairLanes * i) + b] = solved[i];
            }
        }
    }
    of_J.start = is_regular ? ChosenStart::Vectors : ChosenStart::Whole;
    if (is_regular) return follower_.Derive(TaskOf(H, place, levels));
    irregular_.push_back(of_J.J);
    FillDerivatives(H, of_J.J, vectors, nullptr, s, levels);
}

void ChosenLevels::SolveWhole(const Hamiltonian& H, std::span<const std::size_t> wanted,
                              LevelScratch& scratch, Levels& levels) {
    VectorsOfJ vectors[kTogether];
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        vectors[i] = {chosen_[wanted[i]].J, AlignVec(all_[i].data() + kVecStep)};
    }
    SolveReal(H, {vectors, wanted.size()}, scratch);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        BlockScratch& s = scratch.of_J[i];
        const int last = s.blocks.num - 1, N = s.blocks.block[last].N;
        std::fill_n(vectors[i].vectors + s.blocks.vec[last] + std::int64_t{N} * VecLd(N), kVecStep,
                    0.0);
        RankLevels(H, vectors[i].J, s, levels);
        Take(H, wanted[i], vectors[i].vectors, s, levels);
    }
}

Status ChosenLevels::SolveAllWhole(const Hamiltonian& H, std::span<const std::size_t> wanted,
                                   Workspace& work, Levels& levels) {
    if (wanted.empty()) return {};
    auto& scratch = work.Part<SolutionScratch>(Workspace::Slot::Levels).blocks;
    KIV_TRY(scratch.Fit(work.memory(), max_J_, false, SizeFor(H)));
    for (Array<double>& all : all_) {
        if (!all.Fit(work.memory(), VecOffset(max_J_ + 1) - VecOffset(max_J_) + 3 * kVecStep)) {
            return NoMemory(array_name::kVectors);
        }
    }
    while (!wanted.empty()) {
        const std::size_t num = std::min<std::size_t>(kTogether, wanted.size());
        SolveWhole(H, wanted.first(num), scratch, levels);
        wanted = wanted.subspan(num);
    }
    return {};
}

// False when some J needs more than a shift.
bool ChosenLevels::ShiftAll(const Hamiltonian& H, Levels& levels) {
    OperatorBands::Coefficients change = coefficients_;
    change.of_square -= last_->of_square;
    for (std::size_t i = 0; i < change.of.size(); ++i) change.of[i] -= last_->of[i];
    for (std::size_t place = 0; place < chosen_.size(); ++place) {
        if (!follower_.Shift(TaskOf(H, place, levels), change)) return false;
    }
    return true;
}

// Finds the eigenvalues of the next J that start from them; returns the place behind the last one.
std::size_t ChosenLevels::FindValues(const Hamiltonian& H, std::size_t place, Levels& levels) {
    std::array<FollowTask, LevelFollower::kValuesTogether> tasks;
    std::size_t num = 0, next = place;
    for (; next < chosen_.size() && num < tasks.size(); ++next) {
        if (chosen_[next].start == ChosenStart::Values) tasks[num++] = TaskOf(H, next, levels);
    }
    if (num > 0) follower_.FindValues({tasks.data(), num});
    return next;
}

Result<bool> ChosenLevels::Solve(const LevelTask& task, Workspace& work, Report& report,
                                 Levels& levels) {
    const Result<bool> is_new = operators_.Build(task.H, list_of_J_, work.memory());
    if (!is_new) return is_new.error();
    coefficients_ = operators_.Of(task.H);
    is_shifted_ = !is_new.value() && last_ && ShiftAll(task.H, levels);
    if (is_shifted_) return false;
    last_.reset();
    ListDerivatives(*task.H.state, levels);
    SetSymmetry(task.H, levels);
    irregular_.clear();
    const Stage stage = task.index == kLower ? Stage::LowerLevels : Stage::UpperLevels;
    std::vector<std::size_t> uncertain;
    std::size_t found = 0;  // J whose eigenvalues have been looked for
    for (std::size_t place = 0; place < chosen_.size(); ++place) {
        if (place == found) found = FindValues(task.H, place, levels);
        chosen_[place].has_ranks = chosen_[place].vectors_have_ranks = false;
        if (!follower_.Follow(TaskOf(task.H, place, levels))) uncertain.push_back(place);
        KIV_TRY(Tell(report, stage, chosen_[place].J + 1, task.max_J + 1));
    }
    KIV_TRY(SolveAllWhole(task.H, uncertain, work, levels));
    last_ = coefficients_;
    return true;
}

Result<bool> ChosenLevels::ConfirmRanks(const LevelTask& task, Workspace& work, Levels& levels) {
    std::vector<std::size_t> uncertain;
    for (std::size_t place = 0; place < chosen_.size(); ++place) {
        ChosenJ& of_J = chosen_[place];
        of_J.has_ranks = of_J.has_ranks || follower_.HaveTheirRanks(TaskOf(task.H, place, levels));
        if (!of_J.has_ranks) uncertain.push_back(place);
        of_J.vectors_have_ranks = of_J.vectors_have_ranks || (of_J.has_ranks && !is_shifted_);
    }
    if (uncertain.empty()) return false;
    last_.reset();
    KIV_TRY(SolveAllWhole(task.H, uncertain, work, levels));
    return true;
}

}  // namespace kiv
