#include "linalg/Tridiagonal.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "base/Simd.h"
#include "linalg/Eispack.h"

namespace kiv {
namespace {

constexpr double kZero = 1e-11;  // of the norm

constexpr int kMostSets = 4;

// One sweep of QL on all lanes of some sets of one size, from the last row to row `first`. Where an
// element beside the diagonal is 0 the rows above it come out as they were: lanes whose eigenvalue
// at hand is further down have zeros there.
struct LaneSweep {
    const LaneMatrices* sets;
    int num;
    int first;
    const LaneValues* shift;
};

// Each set is a chain of quotients that wait for each other: some at a time fill the pauses.
template <int kSets>
KIV_INLINE void SweepSets(const LaneMatrices* sets, int first, const LaneValues* shifts) {
    static_assert(sizeof(Vec4) == kPairLanes * sizeof(double));
    constexpr double kLeast = 1e-290;     // keeps quotients of zeros numbers
    constexpr double kNoCosine = 1e-200;  // below it a cosine has lost its digits
    const int n = sets->n;
    const Vec4 one = Vec4{} + 1.0;
    Vec4 shift[kSets], c[kSets], s[kSets], gamma[kSets], p[kSets];
    for (int k = 0; k < kSets; ++k) {
        LoadVec(shift[k], shifts[k].data());
        LoadVec(gamma[k], sets[k].d + std::ptrdiff_t{n - 1} * kPairLanes);
        c[k] = one;
        s[k] = Vec4{};
        gamma[k] -= shift[k];
        p[k] = gamma[k] * gamma[k] + kLeast;
    }
    for (int i = n - 2; i >= first; --i) {
        const std::ptrdiff_t at = std::ptrdiff_t{i + 1} * kPairLanes;
        for (int k = 0; k < kSets; ++k) {
            Vec4 square, d;
            LoadVec(square, sets[k].e2 + at);
            LoadVec(d, sets[k].d + at - kPairLanes);
            const Vec4 r = p[k] + square, of_r = 1.0 / r, inverse = r / p[k];
            const Vec4 last_c = c[k], last_gamma = gamma[k];
            if (i < n - 2) StoreVec(sets[k].e2 + at + kPairLanes, s[k] * r);
            c[k] = square > 0.0 ? p[k] * of_r : one;
            s[k] = square * of_r;
            gamma[k] = c[k] * (d - shift[k]) - s[k] * last_gamma;
            StoreVec(sets[k].d + at, last_gamma + (d - gamma[k]));
            const Vec4 square_of_gamma = gamma[k] * gamma[k] * inverse;
            p[k] = (c[k] > kNoCosine ? square_of_gamma : last_c * square) + kLeast;
        }
    }
    const std::ptrdiff_t at = std::ptrdiff_t{first} * kPairLanes;
    for (int k = 0; k < kSets; ++k) {
        StoreVec(sets[k].e2 + at + kPairLanes, s[k] * p[k]);
        StoreVec(sets[k].d + at, shift[k] + gamma[k]);
    }
}

// Vec names the instruction set alone: there are four lanes.
template <class>
KIV_INLINE void RunLaneSweepBody(const LaneSweep& sweep) {
    switch (sweep.num) {
        case 1:
            return SweepSets<1>(sweep.sets, sweep.first, sweep.shift);
        case 2:
            return SweepSets<2>(sweep.sets, sweep.first, sweep.shift);
        case 3:
            return SweepSets<3>(sweep.sets, sweep.first, sweep.shift);
        default:
            return SweepSets<kMostSets>(sweep.sets, sweep.first, sweep.shift);
    }
}

KIV_KERNEL(RunLaneSweep, LaneSweep)

// The eigenvalues of a lane, one after the other from the first row down.
struct LaneState {
    int row = 0;  // of the eigenvalue at hand
    double norm = 0.0;
};

// Passes over the eigenvalues that are there; their elements beside the diagonal become 0.
void SkipConverged(const LaneMatrices& matrices, std::size_t lane, LaneState& state) {
    const double zero = (kZero * state.norm) * (kZero * state.norm);
    for (; state.row + 1 < matrices.n; ++state.row) {
        double& e2 = matrices.e2[static_cast<std::size_t>(state.row + 1) * kPairLanes + lane];
        if (e2 > zero) return;
        e2 = 0.0;
    }
}

// The eigenvalue of the next two rows that is closer to the first one.
double ShiftOf(const LaneMatrices& matrices, std::size_t lane, const LaneState& state) {
    const std::size_t at = static_cast<std::size_t>(state.row) * kPairLanes + lane;
    if (state.row + 1 >= matrices.n) return 0.0;  // nothing is left to do, nothing is rounded
    const double root = std::sqrt(matrices.e2[at + kPairLanes]);
    const double half = (matrices.d[at + kPairLanes] - matrices.d[at]) / (2.0 * root);
    return matrices.d[at] - root / (half + SignTransfer(std::sqrt(half * half + 1.0), half));
}

// No more sets than kMostSets.
void SolveSets(std::span<const LaneMatrices> sets) {
    const int n = sets[0].n;
    std::array<std::array<LaneState, kPairLanes>, kMostSets> states;
    for (std::size_t set = 0; set < sets.size(); ++set) {
        for (int i = 0; i < n * kPairLanes; ++i) {
            double& norm = states[set][static_cast<std::size_t>(i % kPairLanes)].norm;
            norm = std::max(norm, std::fabs(sets[set].d[i]) + 2.0 * std::sqrt(sets[set].e2[i]));
        }
    }
    for (int left = kQlMaxIterations * n; left > 0; --left) {
        LaneValues shift[kMostSets];
        int first = n;
        for (std::size_t set = 0; set < sets.size(); ++set) {
            for (std::size_t k = 0; k < kPairLanes; ++k) {
                LaneState& state = states[set][k];
                SkipConverged(sets[set], k, state);
                shift[set][k] = ShiftOf(sets[set], k, state);
                first = std::min(first, state.row);
            }
        }
        if (first + 1 >= n) return;
        RunLaneSweep({sets.data(), static_cast<int>(sets.size()), first, shift});
    }
}

}  // namespace

void TridiagonalValues(std::span<const LaneMatrices> sets) {
    for (; !sets.empty(); sets = sets.subspan(std::min<std::size_t>(kMostSets, sets.size()))) {
        SolveSets(sets.first(std::min<std::size_t>(kMostSets, sets.size())));
    }
}

}  // namespace kiv
