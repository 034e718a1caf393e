#include "lines/StateEnergies.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "base/Failure.h"
#include "levels/Bands.h"
#include "levels/OperatorBands.h"
#include "linalg/Eispack.h"
#include "linalg/Hermitian.h"
#include "linalg/Tridiagonal.h"

namespace kiv {
namespace {

constexpr int kFewJ = 32;              // known ones that are not worth to be shared
constexpr int kFirstRoom = 63;         // highest J of the first scratch
constexpr double kLevelError = 1e-15;  // of kT, where rows are left out

// Turned axes change no energy as long as there are no other constants.
State WithoutIdleTilt(State state) {
    bool is_rigid = true;
    for (int c = 3; c < kNumConstants; ++c) {
        is_rigid &= !state.terms[c].on || state.terms[c].value == 0.0;
    }
    if (is_rigid) state.tilt = {};
    return state;
}

void FillTriangle(const HamOp& op, int first, int N, double sign, double* a) {
    for (int col = 0; col < N; ++col) {
        for (int row = col; row < N; ++row) {
            const int b = row - col;
            a[static_cast<std::size_t>(col) * static_cast<std::size_t>(N) + row] =
                b <= op.width ? sign * op.band[b][first + col] : 0.0;
        }
    }
}

int LargestBlock(const LevelBlocks& blocks) {
    int n = 0;
    for (int b = 0; b < blocks.num; ++b) n = std::max(n, blocks.block[b].N);
    return n;
}

}  // namespace

double UpperLog(double x) { return 0.69314718055994530942 * (std::ilogb(x) + 1); }

double EnergyLimit::Of(int J) const { return highest + 2.0 * kT * UpperLog(2 * J + 1); }

StateEnergies::StateEnergies(const State& state, const Levels* known, bool sorted, SumOf sum_of,
                             Workspace& work)
    : turned_(Turn(WithoutIdleTilt(state))),
      H_{&turned_, NeedsComplex(WithoutIdleTilt(state))},
      known_(known),
      sorted_(sorted),
      sum_of_(std::move(sum_of)),
      has_rows_(known && OperatorBands::CanHold(H_)),
      work_(work) {}

Result<EnergySum> StateEnergies::Of(int J) {
    if (J > last_J_) {
        if (known_ && J <= known_->max_J) {
            SumKnown();
        } else {
            KIV_TRY(SolveFrom(J));
        }
    }
    return sums_[static_cast<std::size_t>(J - first_J_)];
}

double StateEnergies::last_fall() const {
    const auto& value = turned_.value;
    const double linear = std::fabs(value[Constant::PX]) + std::fabs(value[Constant::PY]) +
                          std::fabs(value[Constant::PZ]);
    const auto& given =
        turned_.is_turned ? turned_.given
                          : std::array{value[Constant::A], value[Constant::B], value[Constant::C]};
    return 1.0 + linear / *std::min_element(given.begin(), given.end());
}

void StateEnergies::SumKnown() {
    last_J_ = known_->max_J;
    sums_.resize(static_cast<std::size_t>(last_J_ + 1));
    const int parts = last_J_ < kFewJ ? 1 : work_.threads().num();
    work_.threads().Share(parts, [this, parts](int part, int) {
        for (int J = part; J <= last_J_; J += parts) {  // as many levels in each part
            Sum(J, known_->energy.Part(Levels::Index(J, 0), static_cast<std::size_t>(2 * J + 1)));
        }
    });
}

void StateEnergies::Sum(int J, std::span<const double> energies) {
    sums_[static_cast<std::size_t>(J - first_J_)] = {
        *std::min_element(energies.begin(), energies.end()), sum_of_(J, energies)};
}

// Of the first `num` energies that were solved.
void StateEnergies::SumSolved(int J, std::size_t num) {
    const std::span<double> energies(EnergiesOf(J), num);
    if (sorted_) std::sort(energies.begin(), energies.end());
    Sum(J, energies);
}

double* StateEnergies::EnergiesOf(int J) {
    return energies_.data() + (Levels::Index(J, 0) - Levels::Index(first_J_, 0));
}

// Some J for each thread, but no more than a quarter of those before: the sum may end at any of
// them. Where there is no memory for that, the least that is possible.
Status StateEnergies::SolveFrom(int J) {
    int parts = std::clamp(J / (4 * kAtOnce), 1, work_.threads().num());
    const int last_J = J + parts * kAtOnce - 1;
    if (!FitRooms(parts, last_J, std::max(kFirstRoom, 2 * last_J))) {
        parts = 1;
        rooms_.clear();
        KIV_TRY(FitRooms(parts, J + kAtOnce - 1, J + kAtOnce - 1));
    }
    first_J_ = J;
    last_J_ = J + parts * kAtOnce - 1;
    energies_.resize(Levels::Index(last_J_ + 1, 0) - Levels::Index(first_J_, 0));
    sums_.resize(static_cast<std::size_t>(parts * kAtOnce));
    work_.threads().Share(parts, [this](int part, int) {
        Room& room = rooms_[static_cast<std::size_t>(part)];
        has_rows_ ? SolveRows(first_J_ + part * kAtOnce, room)
                  : SolveSome(first_J_ + part * kAtOnce, room);
    });
    return {};
}

// Makes rooms for J up to `last_J`; those that are too small get room for J up to `room_J`.
Status StateEnergies::FitRooms(int parts, int last_J, int room_J) {
    const auto num = static_cast<std::size_t>(parts);
    if (rooms_.size() < num) rooms_.resize(num);
    for (std::size_t part = 0; part < num; ++part) {
        if (rooms_[part].max_J < last_J) KIV_TRY(Fit(room_J, rooms_[part]));
    }
    return {};
}

Status StateEnergies::Fit(int max_J, Room& room) {
    room.max_J = -1;
    const Memory& memory = work_.memory();
    const auto n = static_cast<std::int64_t>(2 * max_J + 1);
    const std::int64_t rows = has_rows_ ? BlockRows::RowsUpTo(max_J) : n;
    const std::int64_t lanes = rows * kPairLanes * kAtOnce;
    if (!room.lanes_d.TakeUnset(memory, lanes) || !room.lanes_e2.TakeUnset(memory, lanes)) {
        return NoMemory("");
    }
    if (has_rows_) {
        for (BlockRows& of_J : room.rows) KIV_TRY(of_J.Fit(memory, max_J));
        room.max_J = max_J;
        return {};
    }
    const ScratchSize size = SizeFor(H_, false);
    const int width = (size.num_offsets - 1) / BlocksOf(H_.KeptRotations(), max_J).block[0].step;
    const bool has_matrix = !H_.is_complex && width > 1;
    KIV_TRY(room.scratch.Fit(memory, max_J, H_.is_complex, size));
    if (has_matrix && !room.matrix.Take(memory, n * n)) return NoMemory("");
    room.max_J = max_J;
    return {};
}

// The first rows of the blocks, as many as the levels up to the limit need.
void StateEnergies::SolveRows(int first_J, Room& room) {
    int n = 0;
    for (int i = 0; i < kAtOnce; ++i) {
        BlockRows& rows = room.rows[i];
        rows.Fill(H_, first_J + i);
        const double highest = std::max(limit_.Of(first_J + i), rows.first());
        n = std::max(n, BlockRows::RowsUpTo(rows.LastK(highest, kLevelError * limit_.kT)));
    }
    LaneMatrices sets[kAtOnce];
    int num[kAtOnce];
    for (int i = 0; i < kAtOnce; ++i) {
        const std::ptrdiff_t at = std::ptrdiff_t{i} * n * kPairLanes;
        sets[i] = {n, room.lanes_d.data() + at, room.lanes_e2.data() + at};
        num[i] = room.rows[i].PutInLanes(sets[i]);
    }
    TridiagonalValues(sets);
    for (int i = 0; i < kAtOnce; ++i) {
        room.rows[i].TakeFromLanes(sets[i], EnergiesOf(first_J + i));
        SumSolved(first_J + i, static_cast<std::size_t>(num[i]));
    }
}

// The blocks of a J are the lanes of a set, filled up to the largest of all.
void StateEnergies::SolveSome(int first_J, Room& room) {
    BlockScratch& scratch = room.scratch;
    const int n = LargestBlock(BlocksOf(H_.KeptRotations(), first_J + kAtOnce - 1));
    LevelBlocks blocks[kAtOnce];
    LaneMatrices sets[kAtOnce];
    for (int i = 0; i < kAtOnce; ++i) {
        BuildBlocks(H_, first_J + i, scratch);
        blocks[i] = scratch.blocks;
        const std::ptrdiff_t at = std::ptrdiff_t{i} * n * kPairLanes;
        sets[i] = {n, room.lanes_d.data() + at, room.lanes_e2.data() + at};
        PutInLanes(room, sets[i]);
    }
    TridiagonalValues(sets);
    for (int i = 0; i < kAtOnce; ++i) {
        double* const energies = EnergiesOf(first_J + i);
        double* next = energies;
        for (int b = 0; b < blocks[i].num; ++b) {
            for (int k = 0; k < blocks[i].block[b].N; ++k) *next++ = sets[i].d[k * kPairLanes + b];
        }
        SumSolved(first_J + i, static_cast<std::size_t>(next - energies));
    }
}

void StateEnergies::PutInLanes(Room& room, const LaneMatrices& set) {
    const LevelBlocks& blocks = room.scratch.blocks;
    double above = 0.0;  // all eigenvalues
    for (int b = 0; b < blocks.num; ++b) above = std::max(above, PutInLane(b, room, set));
    for (int b = 0; b < kPairLanes; ++b) {
        for (int i = b < blocks.num ? blocks.block[b].N : 0; i < set.n; ++i) {
            set.d[i * kPairLanes + b] = 2.0 * above;
            set.e2[i * kPairLanes + b] = 0.0;
        }
    }
}

// A block as a tridiagonal matrix. Returns a bound of its eigenvalues.
double StateEnergies::PutInLane(int b, Room& room, const LaneMatrices& set) {
    const int N = room.scratch.blocks.block[b].N;
    const double* const d = room.scratch.energies.data() + room.scratch.first[b];
    const double* const e = room.scratch.subdiagonal.data();
    Reduce(b, room);
    double bound = 0.0;
    for (int i = 0; i < N; ++i) {
        const double before = i > 0 ? e[i] : 0.0, behind = i + 1 < N ? e[i + 1] : 0.0;
        set.d[i * kPairLanes + b] = d[i];
        set.e2[i * kPairLanes + b] = before * before;
        bound = std::max(bound, std::fabs(d[i]) + std::fabs(before) + std::fabs(behind));
    }
    return bound;
}

// Diagonal and subdiagonal of a block.
void StateEnergies::Reduce(int b, Room& room) {
    BlockScratch& scratch = room.scratch;
    const int N = scratch.blocks.block[b].N, first = scratch.first[b];
    double* const d = scratch.energies.data() + first;
    double* const e = scratch.subdiagonal.data();
    const HamOp &real = scratch.ham[0], &imaginary = scratch.ham[1];
    if (H_.is_complex) {
        double *re = scratch.matrix_real.data(), *im = scratch.matrix_imag.data();
        FillTriangle(real, first, N, 1.0, re);
        FillTriangle(imaginary, first, N, -1.0, im);
        htridi(N, N, re, im, d, e, scratch.subdiagonal2.data(), scratch.phases.data());
    } else if (real.width <= 1) {
        for (int m = 0; m < N; ++m) {
            d[m] = real.band[0][first + m];
            if (m > 0) e[m] = real.width > 0 ? real.band[1][first + m - 1] : 0.0;
        }
    } else {
        FillTriangle(real, first, N, 1.0, room.matrix.data());
        tred2(N, N, room.matrix.data(), d, e, room.matrix.data());
    }
}

}  // namespace kiv
