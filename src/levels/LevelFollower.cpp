#include "levels/LevelFollower.h"

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

bool AreEqual(const LaneCounts& a, const LaneCounts& b) {
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2] && a[3] == b[3];
}

int Largest(const LevelBlocks& blocks) {
    int n = 0;
    for (int b = 0; b < blocks.num; ++b) n = std::max(n, blocks.block[b].N);
    return n;
}

}  // namespace

Status LevelFollower::Fit(const Memory& memory, int max_J) {
    const std::int64_t n = OperatorBands::Stride(max_J);
    const std::int64_t lanes = std::int64_t{kPairLanes} * (max_J / 2 + 1);
    const bool has_room = d_.Fit(memory, n) && e_.Fit(memory, n) && lanes_d_.Fit(memory, lanes) &&
                          lanes_e2_.Fit(memory, lanes) && values_.Fit(memory, lanes) &&
                          room_.Fit(memory, 2 * lanes);
    return has_room ? Status() : NoMemory(array_name::kBlocks);
}

TridiagonalMatrix LevelFollower::BlockOf(int b) const {
    const int first = FirstRow(of_J().blocks, b);
    return {of_J().blocks.block[b].N, d_.data() + first, e_.data() + first};
}

// The blocks as they are counted, and bounds of their eigenvalues: no element of the diagonal is
// larger than the largest of them, no sum of the sizes of a row less.
LevelFollower::Bounds LevelFollower::LayOut() {
    Bounds bounds;
    matrices_ = {Largest(of_J().blocks), lanes_d_.data(), lanes_e2_.data()};
    for (int b = 0; b < of_J().blocks.num; ++b) {
        const TridiagonalMatrix matrix = BlockOf(b);
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
        for (int i = b < of_J().blocks.num ? of_J().blocks.block[b].N : 0; i < matrices_.n; ++i) {
            matrices_.d[i * kPairLanes + b] = kAbove * bounds.most;
            matrices_.e2[i * kPairLanes + b] = 0.0;
        }
    }
    return bounds;
}

// All eigenvalues of the blocks, ascending in each.
void LevelFollower::SetValues() {
    const auto n = static_cast<std::size_t>(matrices_.n);
    double* const d = values_.data();
    std::copy_n(matrices_.d, kPairLanes * n, d);
    std::copy_n(matrices_.e2, kPairLanes * n, room_.data());
    const LaneMatrices matrices{matrices_.n, d, room_.data()};
    TridiagonalValues({&matrices, 1});
    for (int b = 0; b < of_J().blocks.num; ++b) {
        for (int i = 1; i < of_J().blocks.block[b].N; ++i) {
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
bool LevelFollower::Improve(ChosenGroup& group, const Bounds& bounds) {
    const TridiagonalMatrix block = BlockOf(group.block);
    double* const vectors = task_.vectors + group.vectors;
    LaneValues energy;
    if (of_J().start == ChosenStart::Vectors) {
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
        levels().energy[Levels::Index(of_J().J, group.level[k].rank)] = energy[k];
    }
    return has_settled;
}

// Lists shifts on both sides of levels of a J and counts what lies below.
void LevelFollower::CountAround(double distance) {
    shifts_.clear();
    for (const Open& open : open_) {
        shifts_.insert(shifts_.end(), {open.energy - distance, open.energy + distance});
    }
    counts_.resize(shifts_.size());
    CountEigenvalues(matrices_, shifts_, counts_);
}

// Keeps the levels that do not lie where their labels say, as they were counted last.
void LevelFollower::KeepMisplaced() {
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
bool LevelFollower::AreThemselves(const Bounds& bounds) {
    open_.clear();
    for (const ChosenGroup& group : task_.groups) {
        for (int k = 0; k < group.num; ++k) {
            const ChosenLevel& level = group.level[static_cast<std::size_t>(k)];
            LaneCounts above = level.before;
            ++above[static_cast<std::size_t>(group.block)];
            open_.push_back({levels().energy[Levels::Index(of_J().J, level.rank)],
                             level.before,
                             above,
                             {},
                             {}});
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

void LevelFollower::FillLabels() {
    for (const ChosenGroup& group : task_.groups) {
        for (int k = 0; k < group.num; ++k) {
            const int rank = group.level[static_cast<std::size_t>(k)].rank;
            const std::size_t level = Levels::Index(of_J().J, rank);
            levels().ka[level] = static_cast<std::int16_t>(KaOfRank(rank));
            levels().kc[level] = static_cast<std::int16_t>(KcOfRank(of_J().J, rank));
            levels().odd[level] = of_J().blocks.block[group.block].odd;
        }
    }
}

void LevelFollower::Derive(const FollowTask& task) {
    task_ = task;
    const OperatorBands& operators = *task_.operators;
    for (const ChosenGroup& group : task_.groups) {
        VectorLanes lanes{of_J().J,
                          of_J().blocks.block[group.block].N,
                          task_.vectors + group.vectors,
                          group.num,
                          {}};
        for (std::size_t k = 0; k < kPairLanes; ++k) {
            lanes.level[k] = Levels::Index(of_J().J, group.level[k].rank);
        }
        FillDerivatives(*task_.H, lanes, operators.ops(),
                        operators.of(task_.place) + FirstRow(of_J().blocks, group.block),
                        room_.data(), levels());
    }
}

bool LevelFollower::Follow(const FollowTask& task) {
    task_ = task;
    if (of_J().start == ChosenStart::Whole) return false;
    task_.operators->Sum(*task_.H, task_.place, of_J().J, d_.data(), e_.data());
    const Bounds bounds = LayOut();
    if (of_J().start == ChosenStart::Values) SetValues();
    for (ChosenGroup& group : task_.groups) {
        if (!Improve(group, bounds)) return false;
    }
    if (!AreThemselves(bounds)) return false;
    of_J().start = ChosenStart::Vectors;
    FillLabels();
    Derive(task);
    return true;
}

}  // namespace kiv
