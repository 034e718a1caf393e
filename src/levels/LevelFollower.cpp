#include "levels/LevelFollower.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "base/Simd.h"
#include "levels/Ranking.h"
#include "linalg/Tridiagonal.h"

namespace kiv {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr int kMaxSteps = 6;        // of an eigenpair; two are enough when constants hardly move
constexpr double kSettled = 1e-12;  // of the gap to the next level of the block
constexpr double kHardly = 1e-10;   // of the gap, by which a Hamiltonian may change in a shift
constexpr double kTieMargin = 0.1;  // by which a tie is closer than what counts as one
constexpr double kSide = 1e-14;     // of the energies, by which counts tell sides from each other
constexpr double kAbove = 4.0;      // bounds of the energies, beyond all of them

// Values of each block, ascending.
void SortLanes(const LevelBlocks& blocks, double* d) {
    for (int b = 0; b < blocks.num; ++b) {
        for (int i = 1; i < blocks.block[b].N; ++i) {
            const double value = d[i * kPairLanes + b];
            int at = i;
            for (; at > 0 && d[(at - 1) * kPairLanes + b] > value; --at) {
                d[at * kPairLanes + b] = d[(at - 1) * kPairLanes + b];
            }
            d[at * kPairLanes + b] = value;
        }
    }
}

// Squares of what stands beside the diagonal, and the largest sizes of the diagonal and of the sums
// of a row, lane by lane.
struct LayOutRun {
    const TridiagonalLanes* matrices;
    double* e2;
    double *diagonal, *row;
};

KIV_INLINE void KeepLarger(Vec4& largest, const Vec4& x) { largest = x > largest ? x : largest; }

// Vec names the instruction set alone: there are four lanes.
template <class>
KIV_INLINE void RunLayOutBody(const LayOutRun& run) {
    static_assert(sizeof(Vec4) == kPairLanes * sizeof(double));
    Vec4 before = {}, size_before = {}, diagonal = {}, row = {};
    for (int i = 0; i < run.matrices->n; ++i) {
        const std::ptrdiff_t at = std::ptrdiff_t{i} * kPairLanes;
        Vec4 d, e;
        LoadVec(d, run.matrices->d + at);
        LoadVec(e, run.matrices->e + at);
        StoreVec(run.e2 + at, before * before);
        const Vec4 size = d < 0.0 ? -d : d, beside = e < 0.0 ? -e : e;
        KeepLarger(diagonal, size);
        KeepLarger(row, size + (size_before + beside));
        before = e;
        size_before = beside;
    }
    StoreVec(run.diagonal, diagonal);
    StoreVec(run.row, row);
}

KIV_KERNEL(RunLayOut, LayOutRun)

}  // namespace

Status LevelFollower::Fit(const Memory& memory, int max_J) {
    const std::int64_t lanes = OperatorBands::Stride(max_J);
    const bool has_room = d_.Fit(memory, lanes) && e_.Fit(memory, lanes) &&
                          e2_.Fit(memory, lanes) && values_.Fit(memory, kValuesTogether * lanes) &&
                          room_.Fit(memory, 4 * lanes);
    return has_room ? Status() : NoMemory(array_name::kBlocks);
}

// A number that stands for rows of no block.
double LevelFollower::AboveAll(const Bounds& bounds) { return std::max(kAbove * bounds.most, 1.0); }

// Sets rows that no block has to `value`.
void LevelFollower::FillUp(double value) {
    for (int b = 0; b < kMaxBlocks; ++b) {
        for (int i = b < of_J().blocks.num ? of_J().blocks.block[b].N : 0; i < matrices_.n; ++i) {
            d_[static_cast<std::size_t>(kPairLanes * i + b)] = value;
        }
    }
}

// A sum of the operators of a J and bounds of its eigenvalues: no element of the diagonal is larger
// than the largest of them, no sum of the sizes of a row less.
LevelFollower::Bounds LevelFollower::LayOut(const OperatorBands::Coefficients& coefficients) {
    matrices_ = {OperatorBands::Rows(of_J().J), d_.data(), e_.data()};
    task_.operators->Sum(coefficients, task_.place, of_J().J, d_.data(), e_.data());
    FillUp(0.0);
    LaneValues diagonal, row;
    RunLayOut({&matrices_, e2_.data(), diagonal.data(), row.data()});
    const Bounds bounds{*std::max_element(diagonal.begin(), diagonal.end()),
                        *std::max_element(row.begin(), row.end())};
    FillUp(AboveAll(bounds));
    return bounds;
}

void LevelFollower::FindValues(std::span<const FollowTask> tasks) {
    const int n = OperatorBands::Rows(tasks.back().of_J->J);
    const auto size = static_cast<std::size_t>(kPairLanes * n);
    std::array<LaneMatrices, kValuesTogether> sets;
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        task_ = tasks[i];
        const Bounds bounds = LayOut(*task_.coefficients);
        const auto own = static_cast<std::size_t>(kPairLanes * matrices_.n);
        sets[i] = {n, values_.data() + i * size, room_.data() + i * size};
        std::fill_n(std::copy_n(d_.data(), own, sets[i].d), size - own, AboveAll(bounds));
        std::fill_n(std::copy_n(e2_.data(), own, sets[i].e2), size - own, 0.0);
        of_J().values = sets[i].d;
    }
    TridiagonalValues({sets.data(), tasks.size()});
    for (const FollowTask& task : tasks) SortLanes(task.of_J->blocks, task.of_J->values);
}

// The eigenvalues of the levels of a group, and the gaps to those beside them.
void LevelFollower::TakeValues(ChosenGroup& group, EigenpairSet& set) const {
    for (std::size_t b = 0; b < kPairLanes; ++b) {
        const ChosenLevel& level = group.level[b];
        if (level.rank < 0) continue;
        const double* const value = of_J().values + kPairLanes * level.before[b] + b;
        set.value[b] = *value;
        double& gap = group.gap[b];
        gap = std::numeric_limits<double>::max();
        if (level.before[b] > 0) gap = value[0] - value[-kPairLanes];
        if (level.before[b] + 1 < of_J().blocks.block[b].N) {
            gap = std::min(gap, value[kPairLanes] - value[0]);
        }
    }
}

// True when every level of the group is where it should be. A step leaves the square of its change
// over the gap as the error of an energy, and of a vector the change over the gap.
bool LevelFollower::HasSettled(const ChosenGroup& group, const EigenpairSet& set,
                               const Bounds& bounds) {
    for (std::size_t b = 0; b < kPairLanes; ++b) {
        const ChosenLevel& level = group.level[b];
        if (level.rank < 0) continue;
        const double most = std::max(2.0 * kEpsilon * bounds.most, kSettled * group.gap[b]);
        if (!(std::fabs(set.change[b]) <= most) || set.below[b] != level.before[b]) return false;
    }
    return true;
}

// False when some level does not settle, or does as another one of its block.
bool LevelFollower::Improve(const Bounds& bounds) {
    sets_.clear();
    for (const ChosenGroup& group : task_.groups) {
        sets_.emplace_back().z = task_.vectors + group.vectors;
    }
    if (of_J().start == ChosenStart::Vectors) {
        SetRayleighQuotients(matrices_, sets_);
    } else {
        for (std::size_t i = 0; i < sets_.size(); ++i) TakeValues(task_.groups[i], sets_[i]);
    }
    ImproveEigenpairs(matrices_, sets_, room_.data());
    for (std::size_t i = 0; i < sets_.size(); ++i) {
        ChosenGroup& group = task_.groups[i];
        EigenpairSet& set = sets_[i];
        for (int step = 1; !HasSettled(group, set, bounds); ++step) {
            if (step == kMaxSteps) return false;
            ImproveEigenpairs(matrices_, {&set, 1}, room_.data());
        }
        group.energy = set.value;
    }
    return true;
}

void LevelFollower::FillEnergies(const ChosenGroup& group, const LaneValues& energy) {
    for (std::size_t b = 0; b < kPairLanes; ++b) {
        const int rank = group.level[b].rank;
        if (rank >= 0) levels().energy[Levels::Index(of_J().J, rank)] = energy[b];
    }
}

void LevelFollower::CountBelowShifts() {
    counts_.resize(shifts_.size());
    CountEigenvalues({matrices_.n, d_.data(), e2_.data()}, shifts_, counts_);
}

// True when in some block more levels lie below than a label says (side < 0), or fewer (side > 0).
// Whether the level is counted in its own block is a matter of rounding.
bool LevelFollower::IsOff(const LaneCounts& count, const Ranked& level, int side) {
    bool is_off = false;
    for (std::size_t b = 0; b < kMaxBlocks; ++b) {
        is_off = is_off || (side < 0 ? count[b] > level.above[b] : count[b] < level.before[b]);
    }
    return is_off;
}

// Below a level, which has its place in its own block, as many levels of every other block must lie
// as its label says. Levels that certainly tie with it may lie on either side.
bool LevelFollower::HaveTheirRanks(const FollowTask& task) {
    task_ = task;
    const Bounds bounds = LayOut(*task_.coefficients);
    ranked_.clear();
    shifts_.clear();
    for (const ChosenGroup& group : task_.groups) {
        for (std::size_t b = 0; b < kPairLanes; ++b) {
            const ChosenLevel& level = group.level[b];
            if (level.rank < 0) continue;
            shifts_.push_back(levels().energy[Levels::Index(of_J().J, level.rank)]);
            ranked_.push_back({level.before, level.before});
            ++ranked_.back().above[b];
        }
    }
    CountBelowShifts();
    of_J().tie = kLevelTie * bounds.least;
    const double tie = std::max((1.0 - kTieMargin) * of_J().tie, kSide * bounds.most);
    misplaced_.clear();
    tied_.clear();
    for (std::size_t i = 0; i < ranked_.size(); ++i) {
        for (const int side : {-1, 1}) {
            if (!IsOff(counts_[i], ranked_[i], side)) continue;
            misplaced_.push_back({i, side});
            tied_.push_back(shifts_[i] + side * tie);
        }
    }
    shifts_.swap(tied_);
    CountBelowShifts();
    for (std::size_t i = 0; i < misplaced_.size(); ++i) {
        if (IsOff(counts_[i], ranked_[misplaced_[i].level], misplaced_[i].side)) return false;
    }
    return true;
}

void LevelFollower::FillLabels() {
    for (const ChosenGroup& group : task_.groups) {
        for (std::size_t b = 0; b < kPairLanes; ++b) {
            const int rank = group.level[b].rank;
            if (rank < 0) continue;
            const std::size_t level = Levels::Index(of_J().J, rank);
            levels().ka[level] = static_cast<std::int16_t>(KaOfRank(rank));
            levels().kc[level] = static_cast<std::int16_t>(KcOfRank(of_J().J, rank));
            levels().odd[level] = of_J().blocks.block[b].odd;
        }
    }
}

void LevelFollower::Derive(const FollowTask& task) {
    task_ = task;
    const OperatorBands& operators = *task_.operators;
    lanes_.clear();
    for (const ChosenGroup& group : task_.groups) {
        VectorLanes& lanes = lanes_.emplace_back();
        lanes.z = task_.vectors + group.vectors;
        for (std::size_t b = 0; b < kPairLanes; ++b) {
            const int rank = group.level[b].rank;
            lanes.level[b] = rank < 0 ? VectorLanes::kNone : Levels::Index(of_J().J, rank);
        }
    }
    FillDerivatives(*task_.H, lanes_, of_J().J, operators.ops(), operators.of(task_.place),
                    room_.data(), levels());
}

bool LevelFollower::Follow(const FollowTask& task) {
    if (task.of_J->start == ChosenStart::Whole) return false;
    task_ = task;
    if (!Improve(LayOut(*task_.coefficients))) return false;
    for (const ChosenGroup& group : task_.groups) FillEnergies(group, group.energy);
    of_J().start = ChosenStart::Vectors;
    FillLabels();
    Derive(task);
    return true;
}

// To first order in the change, of which no eigenvalue is larger than the bound: a vector changes
// by the bound over its gap, an energy by the square of the bound over the gap more.
bool LevelFollower::Shift(const FollowTask& task, const OperatorBands::Coefficients& change) {
    task_ = task;
    if (of_J().start != ChosenStart::Vectors) return false;
    const double most = LayOut(change).most;
    sets_.clear();
    for (const ChosenGroup& group : task_.groups) {
        for (std::size_t b = 0; b < kPairLanes; ++b) {
            if (group.level[b].rank >= 0 && !(most <= kHardly * group.gap[b])) return false;
        }
        sets_.emplace_back().z = task_.vectors + group.vectors;
    }
    SetRayleighQuotients(matrices_, sets_);
    for (std::size_t i = 0; i < sets_.size(); ++i) {
        LaneValues energy = task_.groups[i].energy;
        for (std::size_t b = 0; b < kPairLanes; ++b) energy[b] += sets_[i].value[b];
        FillEnergies(task_.groups[i], energy);
    }
    of_J().has_ranks = of_J().vectors_have_ranks && most <= kTieMargin / 2.0 * of_J().tie;
    return true;
}

}  // namespace kiv
