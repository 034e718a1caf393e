#include "levels/LevelVectors.h"

#include <algorithm>
#include <cstdint>

namespace kiv {
namespace {

constexpr double kSqrtHalf = 0.70710678118654752440;
constexpr std::uintptr_t kAlign = kVecStep * sizeof(double);

void ExpandVector(const SymBlock& block, const double* v, double* row) {
    for (int m = 0; m < block.N; ++m) {
        const int K = block.K(m);
        if (!block.folded || K == 0) {
            row[K] = v[m];
        } else {
            row[K] = kSqrtHalf * v[m];
            row[-K] = block.T(K) * row[K];
        }
    }
}

}  // namespace

LevelBlocks BlocksOf(std::uint8_t kept, int J) {
    LevelBlocks blocks;
    blocks.num = MakeSymBlocks(kept, J, blocks.block);
    for (int b = 1; b < blocks.num; ++b) {
        const int N = blocks.block[b - 1].N;
        blocks.vec[b] = blocks.vec[b - 1] + std::int64_t{N} * VecLd(N);
    }
    return blocks;
}

double* AlignVec(double* numbers) {
    const auto past = reinterpret_cast<std::uintptr_t>(numbers) % kAlign;
    return numbers + (kAlign - past) % kAlign / sizeof(double);
}

double* VecStart(const Levels& levels, Array<double>& part, int J) {
    return AlignVec(part.data() + kVecStep) + VecOffset(J, levels.placed_by);
}

const double* VecStart(const Levels& levels, const Array<double>& part, int J) {
    return AlignVec(const_cast<double*>(part.data()) + kVecStep) + VecOffset(J, levels.placed_by);
}

void ClearRest(const Levels& levels, const LevelBlocks& blocks, int J, Array<double>& part) {
    const int last = blocks.num - 1, N = blocks.block[last].N;
    const std::int64_t used = blocks.vec[last] + std::int64_t{N} * VecLd(N);
    const std::int64_t room = VecOffset(J + 1, levels.placed_by) - VecOffset(J, levels.placed_by);
    double* const start = VecStart(levels, part, J);
    std::fill_n(start + used, kVecStep, 0.0);
    std::fill_n(start + room - kVecStep, kVecStep, 0.0);
}

void ExpandVectors(const Levels& levels, int J, const Array<double>& part, double* out) {
    const int n = 2 * J + 1;
    const LevelBlocks blocks = BlocksOf(levels.kept, J);
    const std::uint8_t* odd = &levels.odd[Levels::Index(J, 0)];
    const double* next[kMaxBlocks] = {};
    for (int b = 0; b < blocks.num; ++b) next[b] = VecStart(levels, part, J) + blocks.vec[b];
    std::fill_n(out, static_cast<std::size_t>(n) * n, 0.0);
    for (int r = 0; r < n; ++r) {
        int b = 0;
        while (blocks.block[b].odd != odd[r]) ++b;
        ExpandVector(blocks.block[b], next[b], out + static_cast<std::size_t>(r) * n + J);
        next[b] += VecLd(blocks.block[b].N);
    }
}

}  // namespace kiv
