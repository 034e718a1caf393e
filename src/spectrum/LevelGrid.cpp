#include "spectrum/LevelGrid.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "base/Failure.h"
#include "base/Simd.h"
#include "spectrum/Interpolation.h"

namespace kiv {
namespace {

constexpr std::int64_t kBlock = 32;  // values that are summed together
constexpr std::int64_t kCell = 64;   // amounts of which is known whether all are 0

constexpr char kArrayName[] = "the grids of the spectrum";

struct BlockTask {
    const double* amount;  // those of the first value, the nearest on the left
    const double* kernel;  // from one end to the other
    std::int64_t taps;
    double* value;
};

template <class Vec>
KIV_INLINE void SumBlockBody(const BlockTask& task) {
    constexpr std::size_t kLanes = sizeof(Vec) / sizeof(double), kVecs = kBlock / kLanes;
    Vec sum[kVecs] = {};
    for (std::int64_t j = 0; j < task.taps; ++j) {
        const double weight = task.kernel[j];
        for (std::size_t v = 0; v < kVecs; ++v) {
            Vec amount;
            LoadVec(amount, task.amount + j + v * kLanes);
            sum[v] += weight * amount;
        }
    }
    for (std::size_t v = 0; v < kVecs; ++v) StoreVec(task.value + v * kLanes, sum[v]);
}

KIV_KERNEL(SumBlock, BlockTask)

std::int64_t HalfDown(std::int64_t node) { return node >= 0 ? node / 2 : -((1 - node) / 2); }

std::int64_t WholeBlocks(std::int64_t size) { return (size + kBlock - 1) / kBlock * kBlock; }

// What lies on the node of half a step is shared by those around.
void AddHalf(double* to, double amount) {
    for (int j = 0; j < kHalfNodes; ++j) {
        to[-j] += kHalfWeights[j] * amount;
        to[1 + j] += kHalfWeights[j] * amount;
    }
}

double HalfValue(const double* from) {
    double sum = 0.0;
    for (int j = 0; j < kHalfNodes; ++j) sum += kHalfWeights[j] * (from[-j] + from[1 + j]);
    return sum;
}

}  // namespace

LevelGrid::LevelGrid(NodeRange wanted, std::int64_t reach)
    : wanted_(wanted),
      held_{wanted.first - reach - kInterNodes, wanted.size + 2 * (reach + kInterNodes)},
      reach_(reach),
      lowest_(static_cast<double>(held_.first + kInterBefore)),
      highest_(static_cast<double>(held_.last() - kInterNodes + kInterBefore + 2)) {}

NodeRange LevelGrid::WantedAbove() const {
    const std::int64_t first = HalfDown(wanted_.first) - kInterBefore;
    const std::int64_t last = HalfDown(wanted_.last()) + kInterNodes - kInterBefore - 1;
    return {first, last - first + 1};
}

// Blocks of values at the end read amounts behind the last one.
Status LevelGrid::TakeAmounts(const Memory& memory) {
    if (amount_.Take(memory, held_.size + 2 * kBlock)) return {};
    return NoMemory(kArrayName);
}

void LevelGrid::Add(double t, double amount) {
    const double below = std::floor(t);
    const std::array<double, kInterNodes> weights = InterpolationWeights(t - below);
    double* const to = &amount_[static_cast<std::size_t>(static_cast<std::int64_t>(below) -
                                                         kInterBefore - held_.first)];
    for (std::size_t j = 0; j < kInterNodes; ++j) to[j] += weights[j] * amount;
}

void LevelGrid::AddFrom(const LevelGrid& fine) {
    for (std::int64_t i = 0; i < fine.held_.size; ++i) {
        const double amount = fine.amount_[static_cast<std::size_t>(i)];
        if (amount == 0.0) continue;
        const std::int64_t node = fine.held_.first + i, half = HalfDown(node);
        double* const to = &amount_[static_cast<std::size_t>(half - held_.first)];
        if (node == 2 * half) {
            *to += amount;
        } else {
            AddHalf(to, amount);
        }
    }
}

Status LevelGrid::Sum(std::span<const double> kernel, const Memory& memory) {
    const std::int64_t taps = 2 * reach_ + 1, cells = held_.size / kCell + 2;
    Array<double> whole;
    Array<unsigned char> is_used;
    if (!value_.Take(memory, WholeBlocks(wanted_.size)) || !whole.Take(memory, taps) ||
        !is_used.Take(memory, cells)) {
        return NoMemory(kArrayName);
    }
    for (std::int64_t j = 0; j < taps; ++j) {
        whole[static_cast<std::size_t>(j)] = kernel[static_cast<std::size_t>(std::abs(j - reach_))];
    }
    for (std::int64_t i = 0; i < held_.size; ++i) {
        if (amount_[static_cast<std::size_t>(i)] != 0.0) {
            is_used[static_cast<std::size_t>(i / kCell)] = 1;
        }
    }
    for (std::int64_t i = 0; i < wanted_.size; i += kBlock) {
        const std::int64_t first = i + kInterNodes, last = first + taps + kBlock - 2;
        const unsigned char* const cell = is_used.data();
        if (!std::any_of(cell + first / kCell, cell + std::min(last / kCell, cells - 1) + 1,
                         [](unsigned char used) { return used != 0; })) {
            continue;
        }
        SumBlock({amount_.data() + first, whole.data(), taps, value_.data() + i});
    }
    amount_.Clear();
    return {};
}

void LevelGrid::Refine(const LevelGrid& coarse) {
    for (std::int64_t i = 0; i < wanted_.size; ++i) {
        const std::int64_t node = wanted_.first + i, half = HalfDown(node);
        const double* const from =
            &coarse.value_[static_cast<std::size_t>(half - coarse.wanted_.first)];
        value_[static_cast<std::size_t>(i)] += node == 2 * half ? *from : HalfValue(from);
    }
}

double LevelGrid::ValueAt(double t) const {
    const double below = std::floor(t);
    const std::array<double, kInterNodes> weights = InterpolationWeights(t - below);
    const double* const from = &value_[static_cast<std::size_t>(static_cast<std::int64_t>(below) -
                                                                kInterBefore - wanted_.first)];
    double sum = 0.0;
    for (std::size_t j = 0; j < kInterNodes; ++j) sum += weights[j] * from[j];
    return sum;
}

}  // namespace kiv
