// Line amplitudes: sums over |J,K> components of the two levels.
//
// For one lower level and one band type the sum over K'' is done first, which gives a weight for
// every upper component; the amplitudes with all upper levels of a class then grow component by
// component, several levels at a time. Only classes that symmetry allows are visited.
//
// Real eigenvectors: S = sum W c'. Complex: S = sum W conj(c'), with the factor i of the c type.
#pragma once

#include <cstdint>

#include "run/KivArray.h"
#include "transitions/Couple.h"
#include "transitions/DirCos.h"
#include "transitions/UpperLevels.h"

enum BandType : int { BAND_A, BAND_B, BAND_C, NUM_BANDS };

/// Two-fold rotations that turn the moment component of a band type into its negative.
constexpr std::uint8_t kMomentOdd[NUM_BANDS] = {SYM_C2B | SYM_C2C, SYM_C2A | SYM_C2C,
                                                SYM_C2A | SYM_C2B};

/// Amplitudes of one lower level with upper levels that follow each other in a list, filled up with
/// zeros to whole vectors.
struct Amplitudes {
    KivArray<double> Real[NUM_BANDS];
    KivArray<double> Imag[NUM_BANDS];  // complex runs only
};

class AmplitudeCalc {
  public:
    /// Takes the scratch for Kiv.Max_J. 1, or 0 with a message.
    int Init();

    /// Makes `J_upper` the excited J, `J_lower` the ground-state J of the following levels.
    void SetBranch(int J_lower, int J_upper);

    /// The upper levels that symmetry and the active band types leave to lower level `rank`.
    const PartnerList& Partners(int rank) { return Now->Partners(Partner_Classes[ClassOf(rank)]); }

    /// All upper levels.
    const PartnerList& AllPartners() { return Now->Partners((1U << kMaxBlocks) - 1); }

    /// Sizes a result. 1, or 0 with a message.
    int Init(Amplitudes& result) const;

    /// Computes the amplitudes of lower level `rank` with the levels of `list` of energy ranks
    /// first..last-1 for the active band types, from result.Real[..][0] on. Those that symmetry
    /// forbids are exactly 0.0.
    void Compute(int rank, const PartnerList& list, int first, int last, Amplitudes& result);

  private:
    /// Weight m of a pair of classes is Plus[m] c(m + Shift) + Minus[m] c(m + Shift - Back), c
    /// being the components of the lower level.
    struct Coupling {
        int Upper_Class = -1;  // -1: the type does not lead away from the class
        int Shift = 0;
        KivArray<double> Plus, Minus;
        KivArray<double> Sum_Real[kLowers], Sum_Imag[kLowers];
        CoupleRun Run{};
        // What the sums hold: levels Lower, Lower + 1 .. of the lower class, First .. Last - 1 of
        // the upper one
        int Lower = 0, Num_Lowers = 0;
        int First = 0, Last = 0;

        bool Holds(int lower, int first, int last) const {
            return lower >= Lower && lower < Lower + Num_Lowers && first >= First && last <= Last;
        }
    };

    int ClassOf(int rank) const { return Lower.ClassOf(rank); }
    void SetCoupling(BandType type, int lower_class);
    void FillCoupling(BandType type, const SymBlock& from, const SymBlock& to, Coupling& coupling);
    int InitCoupling(BandType type, Coupling& coupling, std::int64_t room);
    void CoupleLevels(Coupling& coupling, int lower_class, int index, int first, int last);

    bool Complex = false;
    std::uint8_t Kept = 0;  // rotations that both states keep
    int Ju = -1;
    BranchFactors Factors;
    ClassLevels Lower;
    UpperLevels Upper[3];  // three consecutive J', by J' modulo 3
    UpperLevels* Now = nullptr;
    Coupling Couplings[NUM_BANDS][kMaxBlocks];  // by class of the lower level
    unsigned Partner_Classes[kMaxBlocks] = {};
    KivArray<double> Weight_Real[kLowers], Weight_Imag[kLowers];
    KivArray<double> Cross;
};
