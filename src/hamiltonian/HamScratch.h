// Scratch storage of one Hamiltonian solution, sized for the largest J and released with it.
//
// n = 2 Max_J + 1. Everything a J needs beyond the run record lives here: the factors of the
// matrix elements and the terms as bands of the symmetry blocks.
#pragma once

#include <cstdint>
#include <span>

#include "hamiltonian/HamTerms.h"
#include "hamiltonian/LevelVectors.h"
#include "run/KivArray.h"
#include "run/KivRecord.h"

/// Offsets from the diagonal that a term can reach in a block.
constexpr int kNumOffsets = kMaxDk + 1;

/// An operator in the blocks of one J: Band[b][q] is its element between the block functions at q
/// and q + b, q counting through all blocks. Imaginary operators have +i Band[b][q] there.
struct HamOp {
    int Prm = -1;  // constant that multiplies it; -1 for the two rigid operators
    bool Imag = false;
    bool Zero_By_Symmetry = false;  // odd under a kept rotation: every expectation value is 0
    int Width = 0;                  // largest offset used
    double* Band[kNumOffsets] = {};
};

/// Pz^2 and the difference operator (Px^2 - Py^2), of which the rigid rotor is made.
constexpr int OP_PZ2 = 0;
constexpr int OP_DIFF = 1;
constexpr int kMaxOps = 2 + NUM_HAM_PRM;

struct HamScratch {
    // Real variant: eigenvectors over |J,K>, for their listing
    KivArray<double> H2V_Matrix;
    // Complex variant: the matrix of a block, real and imaginary part
    KivArray<double> HR_Mat, HI_Mat;
    KivArray<double> tau_mat;
    KivArray<double> od_vec, od1_vec;

    // Factors of the matrix elements at K = i - J, without the constant: <K+d|Op|K>
    KivArray<double> pp2pm2_vec;                // Px^2 - Py^2, d = 2
    KivArray<double> pxpy_vec;                  // Px and Py, d = 1
    KivArray<double> pxypz_vec;                 // PxPz and PyPz, d = 1
    KivArray<double> pxy31_vec, pxy32_vec;      // Px^3 and Py^3, d = 1 and 3
    KivArray<double> pxy2pzd_vec, pxy2pzo_vec;  // Px^2Pz and Py^2Pz, d = 0 and 2
    KivArray<double> pz2pxy_vec;                // Pz^2Px and Pz^2Py, d = 1

    KivArray<double> Root_Vec;     // ladder roots of the current J, n for each step 0..4
    KivArray<double> Term_Vec;     // factors of a term without a vector of its own
    KivArray<double> Band_Vec;     // storage of all bands
    KivArray<double> Erg_Vec;      // energies of the blocks, block after block
    KivArray<double> Product_Vec;  // products of vector components, a few levels at a time
    KivArray<double> Sum_Vec;      // their sums with the bands, level by level

    // The current J
    LevelBlocks Blocks;
    int First[kMaxBlocks] = {};  // place of a block's first function among all
    HamOp Ham[2];                // the matrix itself, real and imaginary part
    HamOp Op[kMaxOps];
    int Num_Ops = 0;
    KivArray<std::int32_t> Rank_Vec;  // place of the level of each energy rank among all
};

/// Sizes the scratch of the real variant, for several J at a time. 1, or 0 with the message of the
/// array that could not be had: to the log for the first five, to the console and under the name of
/// the complex variant for the last three, as users know them.
int RHamInit(int state, std::span<HamScratch> scratch);

/// The same for the complex variant, all messages to the console.
int IHamInit(int state, HamScratch& scratch);
