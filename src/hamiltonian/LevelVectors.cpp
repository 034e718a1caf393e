#include "hamiltonian/LevelVectors.h"

#include <algorithm>
#include <cstdint>

#include "run/KivRecord.h"

namespace {

constexpr double kSqrtHalf = 0.70710678118654752440;
constexpr std::uintptr_t kAlign = kVecStep * sizeof(double);

void ExpandVector(const SymBlock& block, const double* v, double* row) {
    for (int m = 0; m < block.N; ++m) {
        const int K = block.K(m);
        if (!block.Folded || K == 0) {
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
    blocks.Num = MakeSymBlocks(kept, J, blocks.Block);
    for (int b = 1; b < blocks.Num; ++b) {
        const int N = blocks.Block[b - 1].N;
        blocks.Vec[b] = blocks.Vec[b - 1] + std::int64_t{N} * VecLd(N);
    }
    return blocks;
}

double* AlignVec(double* numbers) {
    const auto past = reinterpret_cast<std::uintptr_t>(numbers) % kAlign;
    return numbers + (kAlign - past) % kAlign / sizeof(double);
}

double* VecStart(const KivArray<double>& arr, int J) {
    return AlignVec(arr.Ptr.get() + kVecStep) + VecOffset(J);
}

int VecState(int state) { return Kiv.Gnd_Only == 1 ? ST_GND : state; }

void ExpandVectors(int state, int J, const KivArray<double>& arr, double* out) {
    const int n = 2 * J + 1;
    const LevelBlocks blocks = BlocksOf(Kiv.Sym_Kept[state], J);
    const std::uint8_t* odd = &Kiv.Sym_Vector[state][static_cast<std::size_t>(J) * J];
    const double* next[kMaxBlocks] = {};
    for (int b = 0; b < blocks.Num; ++b) next[b] = VecStart(arr, J) + blocks.Vec[b];
    std::fill_n(out, static_cast<std::size_t>(n) * n, 0.0);
    for (int r = 0; r < n; ++r) {
        int b = 0;
        while (blocks.Block[b].Odd != odd[r]) ++b;
        ExpandVector(blocks.Block[b], next[b], out + static_cast<std::size_t>(r) * n + J);
        next[b] += VecLd(blocks.Block[b].N);
    }
}
