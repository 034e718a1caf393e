#include "levels/Derivatives.h"

#include <algorithm>
#include <cstddef>
#include <span>

#include "base/Simd.h"

namespace kiv {
namespace {

// Expectation values of the operators in one level, by constant; the rigid ones apart.
struct Expectation {
    double pz2 = 0.0;
    double difference = 0.0;
    PerConstant<double> of;
};

// A sum over the components of a level: band[m] times the product v*_m v_{m+offset}, of which the
// real part is taken or the imaginary one.
struct BandSum {
    const double* band;
    int offset;
    bool imaginary;
};

// All sums of all levels of a block.
struct BlockSums {
    const double* real;
    const double* imag;  // null for real vectors
    int ld;
    int num_levels;
    int width;  // largest offset
    std::span<const BandSum> sums;
    double* products;  // scratch: kLevelsTogether records of 2 (width + 1) rows of ld numbers
    double* out;       // level by level
};

constexpr int kLevelsTogether = 4;  // levels for which a band is loaded once

template <class Vec>
KIV_INLINE void FillProducts(const BlockSums& block, int level, double* re) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    const double* x = block.real + std::ptrdiff_t{level} * block.ld;
    const double* y = block.imag ? block.imag + std::ptrdiff_t{level} * block.ld : nullptr;
    double* im = re + (block.width + 1) * block.ld;
    for (int b = 0; b <= block.width; ++b, re += block.ld, im += block.ld) {
        for (int m = 0; m < block.ld; m += kWidth) {
            Vec x0, x1;
            LoadVec(x0, x + m);
            LoadVec(x1, x + m + b);
            if (!block.imag) {
                StoreVec(re + m, x0 * x1);
                continue;
            }
            Vec y0, y1;
            LoadVec(y0, y + m);
            LoadVec(y1, y + m + b);
            StoreVec(re + m, x0 * x1 + y0 * y1);
            StoreVec(im + m, x0 * y1 - y0 * x1);
        }
    }
}

KIV_INLINE double SumOf(const Vec8& sum) {
    return ((sum[0] + sum[4]) + (sum[2] + sum[6])) + ((sum[1] + sum[5]) + (sum[3] + sum[7]));
}

// The sums of L levels from their products.
template <int L>
KIV_INLINE void SumLevels(const BlockSums& block, int record, double* out) {
    const auto num = static_cast<int>(block.sums.size());
    for (int i = 0; i < num; ++i) {
        const BandSum& sum = block.sums[i];
        const double* products =
            block.products + (sum.offset + (sum.imaginary ? block.width + 1 : 0)) * block.ld;
        Vec8 partial[L] = {};
        for (int m = 0; m < block.ld; m += kVecStep) {
            Vec8 band, p;
            LoadVec(band, sum.band + m);
            for (int j = 0; j < L; ++j) {
                LoadVec(p, products + j * record + m);
                partial[j] += p * band;
            }
        }
        for (int j = 0; j < L; ++j) out[j * num + i] = SumOf(partial[j]);
    }
}

template <class Vec>
KIV_INLINE void SumBlockBody(const BlockSums& block) {
    const int record = 2 * (block.width + 1) * block.ld;
    const auto num = static_cast<std::ptrdiff_t>(block.sums.size());
    for (int level = 0; level < block.num_levels; level += kLevelsTogether) {
        const int left = std::min(kLevelsTogether, block.num_levels - level);
        for (int j = 0; j < left; ++j) {
            FillProducts<Vec>(block, level + j, block.products + j * record);
        }
        double* out = block.out + level * num;
        if (left == kLevelsTogether) {
            SumLevels<kLevelsTogether>(block, record, out);
        } else {
            for (int j = 0; j < left; ++j) {
                BlockSums one = block;
                one.products += j * record;
                SumLevels<1>(one, record, out + j * num);
            }
        }
    }
}

KIV_KERNEL(SumBlock, BlockSums)

constexpr std::size_t kSetsTogether = 2;  // of lanes, for which a band is loaded once

// Expectation values of all operators in levels in lanes, operator by operator.
struct LaneSums {
    std::span<const VectorLanes> sets;
    int n;  // rows
    std::span<const BandedOp> ops;
    const double* bands;
    std::ptrdiff_t stride;
    double* products;  // of components with themselves, then with the next ones, set by set
    std::array<LaneValues, kMaxOps>* out;
};

// Products of a set of vectors.
KIV_INLINE void FillLaneProducts(const double* z, int n, double* own) {
    double* const next = own + std::ptrdiff_t{n} * kPairLanes;
    Vec4 above = {};
    for (int i = 0; i < n; ++i) {
        const std::ptrdiff_t row = std::ptrdiff_t{i} * kPairLanes;
        Vec4 x;
        LoadVec(x, z + row);
        StoreVec(own + row, x * x);
        if (i > 0) StoreVec(next + row - kPairLanes, x * above);
        above = x;
    }
}

// Sums of L bands times the products of S sets, which are `record` numbers apart.
template <int L, int S>
KIV_INLINE void SumSomeBands(const LaneSums& run, const double* bands, const double* products,
                             int n, Vec4 (*out)[2 * kMaxOps], int first) {
    const std::ptrdiff_t record = std::ptrdiff_t{2 * run.n} * kPairLanes;
    Vec4 sum[L][S] = {};
    for (int i = 0; i < n; ++i) {
        const std::ptrdiff_t row = std::ptrdiff_t{i} * kPairLanes;
        Vec4 p[S], band;
        for (int k = 0; k < S; ++k) LoadVec(p[k], products + k * record + row);
        for (int l = 0; l < L; ++l) {
            LoadVec(band, bands + l * run.stride + row);
            for (int k = 0; k < S; ++k) sum[l][k] += band * p[k];
        }
    }
    for (int l = 0; l < L; ++l) {
        for (int k = 0; k < S; ++k) out[k][first + l] = sum[l][k];
    }
}

template <int S>
KIV_INLINE void SumAllBands(const LaneSums& run, int first, int num, const double* products, int n,
                            Vec4 (*out)[2 * kMaxOps]) {
    const double* bands = run.bands + first * run.stride;
    for (; num >= 4; num -= 4, first += 4, bands += 4 * run.stride) {
        SumSomeBands<4, S>(run, bands, products, n, out, first);
    }
    if (num == 3) return SumSomeBands<3, S>(run, bands, products, n, out, first);
    if (num == 2) return SumSomeBands<2, S>(run, bands, products, n, out, first);
    if (num == 1) SumSomeBands<1, S>(run, bands, products, n, out, first);
}

template <int S>
KIV_INLINE void SumSets(const LaneSums& run) {
    static_assert(sizeof(Vec4) == kPairLanes * sizeof(double));
    const int n = run.n;
    for (int k = 0; k < S; ++k) {
        FillLaneProducts(run.sets[static_cast<std::size_t>(k)].z, n,
                         run.products + std::ptrdiff_t{2 * k} * n * kPairLanes);
    }
    Vec4 sums[S][2 * kMaxOps];
    const auto num = static_cast<int>(run.ops.size());
    int num_beside = 0;
    for (const BandedOp& op : run.ops) num_beside += op.beside >= 0 ? 1 : 0;
    SumAllBands<S>(run, 0, num, run.products, n, sums);
    SumAllBands<S>(run, num, num_beside, run.products + std::ptrdiff_t{n} * kPairLanes, n - 1,
                   sums);
    for (int k = 0; k < S; ++k) {
        for (std::size_t i = 0; i < run.ops.size(); ++i) {
            Vec4 sum = sums[k][i];
            if (run.ops[i].beside >= 0) sum += 2.0 * sums[k][run.ops[i].beside];
            StoreVec(run.out[k][i].data(), sum);
        }
    }
}

// Vec names the instruction set alone: there are four lanes.
template <class>
KIV_INLINE void SumLanesBody(const LaneSums& run) {
    if (run.sets.size() == kSetsTogether) return SumSets<kSetsTogether>(run);
    SumSets<1>(run);
}

KIV_KERNEL(SumLanes, LaneSums)

// The sums that the operators need, operator by operator, for a block whose functions begin at
// `first`. Returns their number.
int ListSums(const BlockScratch& s, int first, BandSum* sums) {
    int num = 0;
    for (int i = 0; i < s.num_ops; ++i) {
        const HamOp& op = s.op[i];
        if (op.zero_by_symmetry) continue;
        for (int b = op.imaginary ? 1 : 0; b <= op.width; ++b) {
            sums[num++] = {op.band[b] + first, b, op.imaginary};
        }
    }
    return num;
}

// An expectation value from its sums: an offset stands for the elements above and below the
// diagonal.
double ExpectOp(const HamOp& op, const double*& sums) {
    double sum = 0.0;
    for (int b = op.imaginary ? 1 : 0; b <= op.width; ++b, ++sums) {
        sum += b == 0 ? *sums : 2.0 * *sums;
    }
    return op.imaginary ? -sum : sum;
}

// Operators that are zero by symmetry keep their 0.
void Expect(const BlockScratch& s, const double* sums, Expectation& e) {
    e.pz2 = ExpectOp(s.op[kPz2], sums);
    e.difference = ExpectOp(s.op[kDifference], sums);
    for (int i = kRigidOps; i < s.num_ops; ++i) {
        const HamOp& op = s.op[i];
        if (!op.zero_by_symmetry) e.of[op.constant] = ExpectOp(op, sums);
    }
}

// Derivatives of the cross terms that the rotation produced, turned back to A, B, C. The tensor
// element counts once, the operator twice.
void TurnBack(const Hamiltonian& H, const Expectation& e, double* record) {
    const TurnedState& state = *H.state;
    const auto& flag = state.from_turn;
    const bool any_cross = flag[Constant::PXPY] || flag[Constant::PXPZ] || flag[Constant::PYPZ];
    if (!state.is_turned || (H.exchanges_axes && !any_cross)) return;
    Matrix3 T{};
    for (const CrossTerm& cross : kCrossTerms) {
        const double half = flag[cross.constant] ? 0.5 * e.of[cross.constant] : 0.0;
        T[cross.row][cross.col] = T[cross.col][cross.row] = half;
    }
    T[0][0] = record[1];
    T[1][1] = record[2];
    T[2][2] = record[0];
    const Matrix3 turned = TurnTensorBack(T, state.axes);
    record[1] = turned[0][0];
    record[2] = turned[1][1];
    record[0] = turned[2][2];
}

// A, B and C are always on.
void FillRecord(const Levels& levels, const Hamiltonian& H, int J, const Expectation& e,
                double* record) {
    const double X = double(J) * (J + 1);
    record[0] = e.pz2;
    record[1] = 0.5 * (X - e.pz2) + 0.5 * e.difference;
    record[2] = 0.5 * (X - e.pz2) - 0.5 * e.difference;
    const bool may_be_replaced = H.state->is_turned && !H.exchanges_axes;
    for (int i = 3; i < levels.num_derivatives; ++i) {
        const Constant c = levels.derivative_of[static_cast<std::size_t>(i)];
        record[i] = may_be_replaced && H.state->from_turn[c] ? 0.0 : e.of[c];
    }
    TurnBack(H, e, record);
}

int WidestOp(const BlockScratch& s) {
    int width = 0;
    for (int i = 0; i < s.num_ops; ++i) width = std::max(width, s.op[i].width);
    return width;
}

// Sums of all levels of J, block by block; returns the number of sums a level.
int SumBlocks(BlockScratch& s, const double* real, const double* imag) {
    BandSum sums[kMaxOps * kNumOffsets];
    const int width = WidestOp(s);
    int num = 0;
    for (int b = 0; b < s.blocks.num; ++b) {
        const int N = s.blocks.block[b].N;
        const std::int64_t vec = s.blocks.vec[b];
        num = ListSums(s, s.first[b], sums);
        SumBlock({real + vec,
                  imag ? imag + vec : nullptr,
                  VecLd(N),
                  N,
                  width,
                  {sums, static_cast<std::size_t>(num)},
                  s.products.data(),
                  s.sums.data() + std::ptrdiff_t{s.first[b]} * num});
    }
    return num;
}

}  // namespace

void FillDerivatives(const Hamiltonian& H, int J, const double* real, const double* imag,
                     BlockScratch& s, Levels& levels) {
    const int num = SumBlocks(s, real, imag);
    const auto record = static_cast<std::size_t>(levels.num_derivatives);
    Expectation e;
    for (int r = 0; r <= 2 * J; ++r) {
        Expect(s, s.sums.data() + std::ptrdiff_t{s.rank_place[r]} * num, e);
        FillRecord(levels, H, J, e, &levels.derivative[Levels::Index(J, r) * record]);
    }
}

void FillDerivatives(const Hamiltonian& H, std::span<const VectorLanes> sets, int J,
                     std::span<const BandedOp> ops, const double* bands, double* room,
                     Levels& levels) {
    std::array<std::array<LaneValues, kMaxOps>, kSetsTogether> sums;
    Expectation e;
    while (!sets.empty()) {
        const auto some = sets.first(std::min(kSetsTogether, sets.size()));
        SumLanes({some, OperatorBands::Rows(J), ops, bands, OperatorBands::Stride(J), room,
                  sums.data()});
        for (std::size_t i = 0; i < some.size(); ++i) {
            for (std::size_t k = 0; k < kPairLanes; ++k) {
                const std::size_t level = some[i].level[k];
                if (level == VectorLanes::kNone) continue;
                e.pz2 = sums[i][kPz2][k];
                e.difference = sums[i][kDifference][k];
                for (std::size_t o = kRigidOps; o < ops.size(); ++o) {
                    e.of[ops[o].constant] = sums[i][o][k];
                }
                FillRecord(
                    levels, H, J, e,
                    &levels.derivative[level * static_cast<std::size_t>(levels.num_derivatives)]);
            }
        }
        sets = sets.subspan(some.size());
    }
}

}  // namespace kiv
