#include "levels/ChosenLevels.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "levels/Derivatives.h"
#include "levels/Ranking.h"
#include "linalg/Tridiagonal.h"

namespace kiv {
namespace {

static_assert(kPairLanes == kMaxBlocks, "the blocks of a J go side by side");

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr int kMaxSteps = 6;        // of an eigenpair; two are enough when constants hardly move
constexpr double kSettled = 1e-12;  // of the gap to the next level of the block
constexpr double kTieMargin = 0.1;  // by which bounds of what counts as a tie are taken apart
constexpr double kSide = 1e-14;     // of the energies, by which counts tell sides from each other
constexpr double kAbove = 4.0;      // bounds of the energies that stand for rows of no block

int FirstRow(const LevelBlocks& blocks, int b) {
    int first = 0;
    for (int i = 0; i < b; ++i) first += blocks.block[i].N;
    return first;
}

int BlockOfLabel(const LevelBlocks& blocks, std::uint8_t odd) {
    int b = 0;
    while (blocks.block[b].odd != odd) ++b;
    return b;
}

bool AreEqual(const LaneCounts& a, const LaneCounts& b) {
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2] && a[3] == b[3];
}

int KaOfRank(int rank) { return (rank + 1) / 2; }
int KcOfRank(int J, int rank) { return J - rank / 2; }

int Largest(const LevelBlocks& blocks) {
    int n = 0;
    for (int b = 0; b < blocks.num; ++b) n = std::max(n, blocks.block[b].N);
    return n;
}

}  // namespace

Status ChosenLevels::Fit(const Memory& memory, std::ptrdiff_t numbers) {
    const std::int64_t n = OperatorBands::Stride(max_J_);
    const std::int64_t lanes = std::int64_t{kPairLanes} * (max_J_ / 2 + 1);
    if (!vectors_.Take(memory, numbers)) return NoMemory(array_name::kVectors);
    const bool has_room = d_.Take(memory, n) && e_.Take(memory, n) &&
                          lanes_d_.Take(memory, lanes) && lanes_e2_.Take(memory, lanes) &&
                          values_.Take(memory, lanes) && room_.Take(memory, 2 * lanes);
    return has_room ? Status() : NoMemory(array_name::kBlocks);
}

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
                Group& group = groups_[open[b] - 1];
                group.level[static_cast<std::size_t>(group.num++)] = {rank, before};
                ++next;
            }
            ++before[b];
        }
        of_J.end_group = groups_.size();
    }
    return Fit(memory, numbers);
}

TridiagonalMatrix ChosenLevels::BlockOf(const ChosenJ& of_J, int b) const {
    const int first = FirstRow(of_J.blocks, b);
    return {of_J.blocks.block[b].N, d_.data() + first, e_.data() + first};
}

// The blocks as they are counted, and bounds of their eigenvalues: no element of the diagonal is
// larger than the largest of them, no sum of the sizes of a row less.
ChosenLevels::Bounds ChosenLevels::LayOut(const ChosenJ& of_J) {
    Bounds bounds;
    matrices_ = {Largest(of_J.blocks), lanes_d_.data(), lanes_e2_.data()};
    for (int b = 0; b < of_J.blocks.num; ++b) {
        const TridiagonalMatrix matrix = BlockOf(of_J, b);
        double before = 0.0;  // the element between this row and the last one
        for (int i = 0; i < matrix.n; ++i) {
            const double size = std::fabs(matrix.d[i]);
            const double behind = i + 1 < matrix.n ? matrix.e[i] : 0.0;
            matrices_.d[i * kPairLanes + b] = matrix.d[i];
            matrices_.e2[i * kPairLanes + b] = before * before;
            bounds.least = std::max(bounds.least, size);
            bounds.most = std::max(bounds.most, size + (std::fabs(before) + std::fabs(behind)));
            before = behind;
        }
    }
    for (int b = 0; b < kMaxBlocks; ++b) {
        for (int i = b < of_J.blocks.num ? of_J.blocks.block[b].N : 0; i < matrices_.n; ++i) {
            matrices_.d[i * kPairLanes + b] = kAbove * bounds.most;
            matrices_.e2[i * kPairLanes + b] = 0.0;
        }
    }
    return bounds;
}

// All eigenvalues of the blocks, ascending in each.
void ChosenLevels::SetValues(const ChosenJ& of_J) {
    const auto n = static_cast<std::size_t>(matrices_.n);
    double* const d = values_.data();
    std::copy_n(matrices_.d, kPairLanes * n, d);
    std::copy_n(matrices_.e2, kPairLanes * n, room_.data());
    const LaneMatrices matrices{matrices_.n, d, room_.data()};
    TridiagonalValues({&matrices, 1});
    for (int b = 0; b < of_J.blocks.num; ++b) {
        for (int i = 1; i < of_J.blocks.block[b].N; ++i) {
            const double value = d[i * kPairLanes + b];
            int at = i;
            for (; at > 0 && d[(at - 1) * kPairLanes + b] > value; --at) {
                d[at * kPairLanes + b] = d[(at - 1) * kPairLanes + b];
            }
            d[at * kPairLanes + b] = value;
        }
    }
}

// False when some level of the group does not settle.
bool ChosenLevels::Improve(const ChosenJ& of_J, Group& group, const Bounds& bounds,
                           Levels& levels) {
    const TridiagonalMatrix block = BlockOf(of_J, group.block);
    double* const vectors = vectors_.data() + group.vectors;
    LaneValues energy;
    if (of_J.start == Start::Vectors) {
        energy = RayleighQuotients(block, vectors);
    } else {
        for (std::size_t k = 0; k < kPairLanes; ++k) {
            const int before = group.level[k].before[static_cast<std::size_t>(group.block)];
            const double* const value = values_.data() + before * kPairLanes + group.block;
            energy[k] = *value;
            group.gap[k] = std::numeric_limits<double>::max();
            if (before > 0) group.gap[k] = value[0] - value[-kPairLanes];
            if (before + 1 < block.n) {
                group.gap[k] = std::min(group.gap[k], value[kPairLanes] - value[0]);
            }
        }
    }
    // A step leaves the square of its change over the gap as the error of an energy, and of a
    // vector the change over the gap.
    const double small = 2.0 * kEpsilon * bounds.most;
    bool has_settled = false;
    for (int step = 0; step < kMaxSteps && !has_settled; ++step) {
        const LaneValues change = ImproveEigenpairs(block, energy, room_.data(), vectors);
        has_settled = true;
        for (std::size_t k = 0; k < kPairLanes; ++k) {
            energy[k] += change[k];
            const double settled = std::max(small, kSettled * group.gap[k]);
            has_settled = has_settled && std::fabs(change[k]) <= settled;
        }
    }
    for (std::size_t k = 0; k < static_cast<std::size_t>(group.num); ++k) {
        levels.energy[Levels::Index(of_J.J, group.level[k].rank)] = energy[k];
    }
    return has_settled;
}

// Lists shifts on both sides of levels of a J and counts what lies below.
void ChosenLevels::CountAround(double distance) {
    shifts_.clear();
    for (const Open& open : open_) {
        shifts_.insert(shifts_.end(), {open.energy - distance, open.energy + distance});
    }
    counts_.resize(shifts_.size());
    CountEigenvalues(matrices_, shifts_, counts_);
}

// Keeps the levels that do not lie where their labels say, as they were counted last.
void ChosenLevels::KeepMisplaced() {
    std::size_t left = 0;
    for (std::size_t i = 0; i < open_.size(); ++i) {
        const Open& open = open_[i];
        if (!AreEqual(counts_[2 * i], open.before) || !AreEqual(counts_[2 * i + 1], open.above)) {
            open_[left++] = open;
        }
    }
    open_.resize(left);
}

// True when every level has its place in its own block, and in every other block as many levels lie
// below it as their labels say. Levels that tie with it may lie on either side, but none where it
// is not certain whether they tie, unless it lies on the side where its label puts it.
bool ChosenLevels::AreThemselves(const ChosenJ& of_J, const Bounds& bounds, const Levels& levels) {
    open_.clear();
    for (const Group& group : GroupsOf(of_J)) {
        for (int k = 0; k < group.num; ++k) {
            const Chosen& level = group.level[static_cast<std::size_t>(k)];
            LaneCounts above = level.before;
            ++above[static_cast<std::size_t>(group.block)];
            open_.push_back(
                {levels.energy[Levels::Index(of_J.J, level.rank)], level.before, above, {}, {}});
        }
    }
    CountAround((1.0 + kTieMargin) * kLevelTie * bounds.most);
    for (std::size_t i = 0; i < open_.size(); ++i) {
        open_[i].below = counts_[2 * i];
        open_[i].not_above = counts_[2 * i + 1];
    }
    KeepMisplaced();
    for (const Open& open : open_) {
        for (std::size_t b = 0; b < kMaxBlocks; ++b) {
            if (open.below[b] > open.before[b] || open.not_above[b] < open.above[b]) return false;
            const bool is_alone =
                open.below[b] == open.before[b] && open.not_above[b] == open.above[b];
            if (open.above[b] != open.before[b] && !is_alone) return false;
        }
    }
    CountAround(kSide * bounds.most);
    KeepMisplaced();
    CountAround((1.0 - kTieMargin) * kLevelTie * bounds.least);
    for (std::size_t i = 0; i < open_.size(); ++i) {
        if (!AreEqual(counts_[2 * i], open_[i].below) ||
            !AreEqual(counts_[2 * i + 1], open_[i].not_above)) {
            return false;
        }
    }
    return true;
}

void ChosenLevels::FillLabels(const ChosenJ& of_J, Levels& levels) {
    for (const Group& group : GroupsOf(of_J)) {
        for (int k = 0; k < group.num; ++k) {
            const int rank = group.level[static_cast<std::size_t>(k)].rank;
            const std::size_t level = Levels::Index(of_J.J, rank);
            levels.ka[level] = static_cast<std::int16_t>(KaOfRank(rank));
            levels.kc[level] = static_cast<std::int16_t>(KcOfRank(of_J.J, rank));
            levels.odd[level] = of_J.blocks.block[group.block].odd;
        }
    }
}

void ChosenLevels::Derive(const Hamiltonian& H, std::size_t place, Levels& levels) {
    const ChosenJ& of_J = chosen_[place];
    for (const Group& group : GroupsOf(of_J)) {
        VectorLanes lanes{of_J.J,
                          of_J.blocks.block[group.block].N,
                          vectors_.data() + group.vectors,
                          group.num,
                          {}};
        for (std::size_t k = 0; k < kPairLanes; ++k) {
            lanes.level[k] = Levels::Index(of_J.J, group.level[k].rank);
        }
        FillDerivatives(H, lanes, operators_.ops(),
                        operators_.of(place) + FirstRow(of_J.blocks, group.block), room_.data(),
                        levels);
    }
}

// False when the levels are not certain, and the J is to be solved as a whole.
bool ChosenLevels::Follow(const Hamiltonian& H, std::size_t place, Levels& levels) {
    ChosenJ& of_J = chosen_[place];
    if (of_J.start == Start::Whole) return false;
    operators_.Sum(H, place, of_J.J, d_.data(), e_.data());
    const Bounds bounds = LayOut(of_J);
    if (of_J.start == Start::Values) SetValues(of_J);
    for (Group& group : GroupsOf(of_J)) {
        if (!Improve(of_J, group, bounds, levels)) return false;
    }
    if (!AreThemselves(of_J, bounds, levels)) return false;
    of_J.start = Start::Vectors;
    FillLabels(of_J, levels);
    Derive(H, place, levels);
    return true;
}

// What is chosen of a J that was solved as a whole.
void ChosenLevels::Take(const Hamiltonian& H, std::size_t place, const double* vectors,
                        BlockScratch& s, Levels& levels) {
    ChosenJ& of_J = chosen_[place];
    bool is_regular = true;
    for (const Group& group : GroupsOf(of_J)) {
        const auto block = static_cast<std::size_t>(group.block);
        const int ld = VecLd(of_J.blocks.block[group.block].N);
        double* const lanes = vectors_.data() + group.vectors;
        for (std::size_t k = 0; k < kPairLanes; ++k) {
            const Chosen& level = group.level[k];
            is_regular = is_regular && s.rank_place[static_cast<std::size_t>(level.rank)] ==
                                           s.first[block] + level.before[block];
            const double* const solved =
                vectors + of_J.blocks.vec[block] + std::ptrdiff_t{level.before[block]} * ld;
            for (int i = 0; i < of_J.blocks.block[block].N; ++i) {
                lanes[static_cast<std::size_t>(i) * kPairLanes + k] = solved[i];
            }
        }
    }
    of_J.start = is_regular ? Start::Vectors : Start::Whole;
    if (is_regular) return Derive(H, place, levels);
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

Status ChosenLevels::Solve(const LevelTask& task, Workspace& work, Report& report, Levels& levels) {
    auto& scratch = work.Part<SolutionScratch>(Workspace::Slot::Levels).blocks;
    KIV_TRY(operators_.Build(task.H, list_of_J_, work.memory()));
    ListDerivatives(*task.H.state, levels);
    SetSymmetry(task.H, levels);
    irregular_.clear();
    const Stage stage = task.index == kLower ? Stage::LowerLevels : Stage::UpperLevels;
    std::vector<std::size_t> whole;  // waiting to be solved side by side
    for (std::size_t i = 0; i < chosen_.size(); ++i) {
        if (!Follow(task.H, i, levels)) whole.push_back(i);
        if (whole.size() == kTogether || (i + 1 == chosen_.size() && !whole.empty())) {
            KIV_TRY(scratch.Fit(work.memory(), max_J_, false, SizeFor(task.H)));
            for (Array<double>& all : all_) {
                if (all.Fit(work.memory(),
                            VecOffset(max_J_ + 1) - VecOffset(max_J_) + 3 * kVecStep)) {
                    continue;
                }
                return NoMemory(array_name::kVectors);
            }
            SolveWhole(task.H, whole, scratch, levels);
            whole.clear();
        }
        KIV_TRY(Tell(report, stage, chosen_[i].J + 1, task.max_J + 1));
    }
    return {};
}

}  // namespace kiv
