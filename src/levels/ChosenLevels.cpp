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
    std::vector<std::size_t> sorted(levels.begin(), levels.end());
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    max_J_ = max_J;
    chosen_.clear();
    groups_.clear();
    list_of_J_.clear();
    std::ptrdiff_t numbers = 0;
    auto next = sorted.begin();
    for (int J = 0; J <= max_J && next != sorted.end(); ++J) {
        if (*next >= Levels::Index(J + 1, 0)) continue;
        ChosenJ& of_J = chosen_.emplace_back();
        of_J.J = J;
        of_J.blocks = BlocksOf(kAllC2, J);
        of_J.first_group = groups_.size();
        list_of_J_.push_back(J);
        std::array<int, kMaxBlocks> before{};
        std::array<std::size_t, kMaxBlocks> open{};  // number of its last group, counted from 1
        for (int rank = 0; rank <= 2 * J; ++rank) {
            const std::uint8_t odd = LabelOdd(kAllC2, KaOfRank(rank), KcOfRank(J, rank));
            const auto b = static_cast<std::size_t>(BlockOfLabel(of_J.blocks, odd));
            if (next != sorted.end() && *next == Levels::Index(J, rank)) {
                if (open[b] == 0 || groups_[open[b] - 1].num == kPairLanes) {
                    groups_.push_back({static_cast<int>(b), 0, {}, {}, numbers});
                    groups_.back().level.fill({rank, before});
                    open[b] = groups_.size();
                    numbers += std::ptrdiff_t{kPairLanes} * of_J.blocks.block[b].N;
                }
                ChosenGroup& group = groups_[open[b] - 1];
                group.level[static_cast<std::size_t>(group.num++)] = {rank, before};
                ++next;
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
    return {&H, &operators_, place, &of_J, GroupsOf(of_J), vectors_.data(), &levels};
}

// What is chosen of a J that was solved as a whole.
void ChosenLevels::Take(const Hamiltonian& H, std::size_t place, const double* vectors,
                        BlockScratch& s, Levels& levels) {
    ChosenJ& of_J = chosen_[place];
    bool is_regular = true;
    for (const ChosenGroup& group : GroupsOf(of_J)) {
        const auto block = static_cast<std::size_t>(group.block);
        const int ld = VecLd(of_J.blocks.block[group.block].N);
        double* const lanes = vectors_.data() + group.vectors;
        for (std::size_t k = 0; k < kPairLanes; ++k) {
            const ChosenLevel& level = group.level[k];
            is_regular = is_regular && s.rank_place[static_cast<std::size_t>(level.rank)] ==
                                           s.first[block] + level.before[block];
            const double* const solved =
                vectors + of_J.blocks.vec[block] + std::ptrdiff_t{level.before[block]} * ld;
            for (int i = 0; i < of_J.blocks.block[block].N; ++i) {
                lanes[static_cast<std::size_t>(i) * kPairLanes + k] = solved[i];
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

// The J whose levels are not certain.
Status ChosenLevels::FollowAll(const LevelTask& task, Report& report, Levels& levels,
                               std::vector<std::size_t>& uncertain) {
    const Stage stage = task.index == kLower ? Stage::LowerLevels : Stage::UpperLevels;
    for (std::size_t place = 0; place < chosen_.size(); ++place) {
        if (!follower_.Follow(TaskOf(task.H, place, levels))) uncertain.push_back(place);
        KIV_TRY(Tell(report, stage, chosen_[place].J + 1, task.max_J + 1));
    }
    return {};
}

Status ChosenLevels::Solve(const LevelTask& task, Workspace& work, Report& report, Levels& levels) {
    auto& scratch = work.Part<SolutionScratch>(Workspace::Slot::Levels).blocks;
    KIV_TRY(operators_.Build(task.H, list_of_J_, work.memory()));
    ListDerivatives(*task.H.state, levels);
    SetSymmetry(task.H, levels);
    irregular_.clear();
    std::vector<std::size_t> whole;
    KIV_TRY(FollowAll(task, report, levels, whole));
    if (whole.empty()) return {};
    KIV_TRY(scratch.Fit(work.memory(), max_J_, false, SizeFor(task.H)));
    for (Array<double>& all : all_) {
        if (!all.Fit(work.memory(), VecOffset(max_J_ + 1) - VecOffset(max_J_) + 3 * kVecStep)) {
            return NoMemory(array_name::kVectors);
        }
    }
    for (std::span<const std::size_t> left = whole; !left.empty();) {
        const std::size_t num = std::min<std::size_t>(kTogether, left.size());
        SolveWhole(task.H, left.first(num), scratch, levels);
        left = left.subspan(num);
    }
    return {};
}

}  // namespace kiv
