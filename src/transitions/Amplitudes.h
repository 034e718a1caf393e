// Line amplitudes: sums over |J,K> components of the two levels, as contiguous dot products.
//
// For one lower level and one band type the sum over K'' is done first, which gives a weight for
// every upper component; an amplitude is then the dot product of the weights with the upper
// level's components. Upper levels are packed by symmetry class, so that a dot product runs over
// the components that can differ from zero, and only classes that symmetry allows are visited.
//
// Real eigenvectors: S = sum W c'. Complex: S = sum W conj(c'), with the factor i of the c type.
#pragma once

#include <cstdint>
#include <span>

#include "hamiltonian/Symmetry.h"
#include "run/KivArray.h"
#include "transitions/DirCos.h"

enum BandType : int { BAND_A, BAND_B, BAND_C, NUM_BANDS };

/// Two-fold rotations that turn the moment component of a band type into its negative.
constexpr std::uint8_t kMomentOdd[NUM_BANDS] = {SYM_C2B | SYM_C2C, SYM_C2A | SYM_C2C,
                                                SYM_C2A | SYM_C2B};

/// The levels of one J' of the excited state by symmetry class; components as in SymBlock.
struct UpperLevels {
    int J = -1;
    int Stride = 0;  // components a row, padded with zeros to a multiple of kDotStep
    SymBlock Class[kMaxBlocks];
    int Num_Classes = 0;
    int First[kMaxBlocks] = {};       // row of a class's first level
    int Num_Levels[kMaxBlocks] = {};  // levels of a class
    KivArray<std::int32_t> Rank;      // energy rank of each row, ascending in a class
    KivArray<double> Real, Imag;      // components, row by row
};

/// Amplitudes of one lower level with the upper levels of J', by energy rank.
struct Amplitudes {
    KivArray<double> Real[NUM_BANDS];
    KivArray<double> Imag[NUM_BANDS];
};

class AmplitudeCalc {
  public:
    /// Takes the scratch for Kiv.Max_J. 1, or 0 with a message.
    int Init();

    /// Makes `J_upper` the excited J, `J_lower` the ground-state J of the following levels.
    void SetBranch(int J_lower, int J_upper);

    /// Computes the amplitudes of lower level `rank` with the upper levels first..last-1 for the
    /// active band types. Those that symmetry forbids are exactly 0.0.
    void Compute(int rank, int first, int last);

    const Amplitudes& Result() const { return Amp; }

  private:
    void PackUpper(UpperLevels& upper);
    void LoadLower(int rank);
    void FillWeights(BandType type, const SymBlock& block);
    void Dots(BandType type, int cls, int first, int last);

    bool Complex = false;
    std::uint8_t Kept = 0;  // rotations that both states keep
    int Jl = 0, Ju = 0;
    std::uint8_t Lower_Odd = 0;
    BranchFactors Factors;
    UpperLevels Upper[3];  // three consecutive J', by J' modulo 3
    UpperLevels* Now = nullptr;
    KivArray<double> Lower_Real, Lower_Imag;  // components of the lower level, zeros around them
    KivArray<double> Weight_Real, Weight_Imag;
    KivArray<double> Cross;  // cross products of the complex case, by rank
    Amplitudes Amp;
};
