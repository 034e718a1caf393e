// Where the eigenvectors of a state are kept: block by block, as the solver leaves them.
//
// A J has one square of numbers a symmetry block (SymBlock, in the order of MakeSymBlocks), one
// eigenvector after the other in ascending energy, which is the order of the block's levels among
// the energy ranks. Vectors of N components are VecLd(N) apart and filled up with zeros, so that
// vector instructions need no remainder.
#pragma once

#include <cstdint>

#include "kiv/array.h"
#include "kiv/levels.h"
#include "levels/Symmetry.h"

namespace kiv {

inline constexpr int kVecStep = 8;  // doubles in the widest vector

/// Distance of the eigenvectors of a block of N functions.
constexpr int VecLd(int N) { return (N + kVecStep - 1) / kVecStep * kVecStep; }

/// Place of the eigenvectors of J in the blocks of the rotations `kept`: the sum over j < J of
/// (2j+1) VecLd(N), the most they need when the largest block has N functions, and a vector of
/// zeros, so that reading behind the last one of j is not reading those of another J.
constexpr std::int64_t VecOffset(std::int64_t J, std::uint8_t kept = 0) {
    // N is 2j+1, j+1 or j/2+1, so that VecLd(N) = 8 (j/s + 1)
    const std::int64_t s = kept == 0 ? 4 : kept == kAllC2 ? 16 : 8;
    const std::int64_t q = J / s, r = J % s;
    return kVecStep * (s * s * ((q - 1) * q * (2 * q - 1) / 3 + 3 * q * (q - 1) / 2 + q) +
                       (q + 1) * (2 * s * q * r + r * r) + J);
}

/// Numbers of an array that holds the eigenvectors up to max_J, whatever is kept: room for a whole
/// vector before and behind them, and to begin at a multiple of 64 bytes.
constexpr std::int64_t VecLength(std::int64_t max_J) { return VecOffset(max_J + 1) + 3 * kVecStep; }

/// The blocks of one J and the places of their first eigenvectors, counted from those of J.
struct LevelBlocks {
    SymBlock block[kMaxBlocks];
    int num = 0;
    std::int64_t vec[kMaxBlocks] = {};
};

LevelBlocks BlocksOf(std::uint8_t kept, int J);

/// The first of `numbers` that begins at a multiple of 64 bytes, fewer than kVecStep further on.
double* AlignVec(double* numbers);

/// One part, vectors_real or vectors_imag, of the eigenvectors of `J` of `levels`.
double* VecStart(const Levels& levels, Array<double>& part, int J);
const double* VecStart(const Levels& levels, const Array<double>& part, int J);

/// Clears what the blocks of `J` leave of its place in `part`, as far as it can be read behind the
/// last vector and before the first one of the next J: nothing is left there of other blocks.
void ClearRest(const Levels& levels, const LevelBlocks& blocks, int J, Array<double>& part);

/// One part of the eigenvectors of `J` over |J,K>, level by level in ascending energy: component K
/// of energy rank r at out[r (2J+1) + J + K].
void ExpandVectors(const Levels& levels, int J, const Array<double>& part, double* out);

}  // namespace kiv
