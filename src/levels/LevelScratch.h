// Scratch storage of one Hamiltonian solution, sized for the largest J.
//
// n = 2 max_J + 1. Everything a J needs beyond the levels lives here: the factors of the matrix
// elements and the terms as bands of the symmetry blocks.
#pragma once

#include <cstdint>

#include "kiv/array.h"
#include "kiv/error.h"
#include "levels/LevelVectors.h"
#include "levels/Terms.h"

namespace kiv {

/// Offsets from the diagonal that a term can reach in a block.
inline constexpr int kNumOffsets = kMaxDk + 1;

/// An operator in the blocks of one J: band[b][q] is its element between the block functions at q
/// and q + b, q counting through all blocks. Imaginary operators have +i band[b][q] there.
struct HamOp {
    Constant constant{};  // that multiplies it; means nothing for the two rigid operators
    bool imaginary = false;
    bool zero_by_symmetry = false;  // odd under a kept rotation: every expectation value is 0
    int width = 0;                  // largest offset used
    double* band[kNumOffsets] = {};
};

/// Pz^2 and the difference operator (Px^2 - Py^2), of which the rigid rotor is made, stand first.
inline constexpr int kPz2 = 0;
inline constexpr int kDifference = 1;
inline constexpr int kRigidOps = 2;
inline constexpr int kMaxOps = kRigidOps + kNumConstants;

/// How many operators a solution has, how far they reach, and whether levels get derivatives.
struct ScratchSize {
    int num_ops = kMaxOps;
    int num_offsets = kNumOffsets;
    bool has_derivatives = true;
};

/// What `H` needs.
ScratchSize SizeFor(const Hamiltonian& H, bool has_derivatives = true);

/// The scratch of one J.
struct BlockScratch {
    Array<double> roots;             // ladder roots, n for each step 0..4
    Array<double> factors;           // of a term: <K+d|Op|K> at K = i - J, without the constant
    Array<double> bands;             // storage of all bands
    Array<double> energies;          // of the blocks, block after block
    Array<double> products;          // for derivatives: of vector components, a few levels at once
    Array<double> sums;              // for derivatives: of the products with the bands, by level
    Array<std::int32_t> rank_place;  // place of the level of each energy rank among all
    Array<double> subdiagonal;
    Array<double> subdiagonal2;  // complex Hamiltonians only, as all that follow
    Array<double> phases;
    Array<double> matrix_real, matrix_imag;  // of a block

    LevelBlocks blocks;
    int first[kMaxBlocks] = {};  // place of a block's first function among all
    HamOp ham[2];                // the matrix itself, real and imaginary part
    HamOp op[kMaxOps];
    int num_ops = 0;
    ScratchSize room{0, 0, false};

    std::size_t stride() const { return factors.size(); }

    /// NoMemory names the array.
    Status Fit(const Memory& memory, int max_J, bool is_complex, const ScratchSize& size);
};

/// J of real Hamiltonians that are solved side by side.
inline constexpr int kTogether = 2;

/// The scratch of a solution, kept between solutions.
struct LevelScratch {
    BlockScratch of_J[kTogether];

    /// Has at least the room that `max_J` needs.
    Status Fit(const Memory& memory, int max_J, bool is_complex, const ScratchSize& size);
};

}  // namespace kiv
