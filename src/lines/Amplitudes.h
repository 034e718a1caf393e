// Line amplitudes: sums over |J,K> components of the two levels.
//
// For one lower level and one band type the sum over K'' is done first, which gives a weight for
// every upper component; the amplitudes with all upper levels of a class then grow component by
// component, several levels at a time. Only classes that symmetry allows are visited.
//
// Real eigenvectors: S = sum W c'. Complex: S = sum W conj(c'), with the factor i of the c type.
#pragma once

#include <cstdint>

#include "kiv/array.h"
#include "lines/Cosines.h"
#include "lines/Couple.h"
#include "lines/LineTask.h"
#include "lines/UpperLevels.h"

namespace kiv {

/// Two-fold rotations that turn the moment component of a band type into its negative.
inline constexpr std::uint8_t kMomentOdd[kNumBands] = {kC2b | kC2c, kC2a | kC2c, kC2a | kC2b};

/// Amplitudes of pairs, by type; of one lower level with upper levels that follow each other in a
/// list they are filled up with zeros to whole vectors.
struct Amplitudes {
    Array<double> real[kNumBands];
    Array<double> imag[kNumBands];  // of complex states only

    /// Sized for `num` pairs and cleared. NoMemory.
    Status Begin(const Memory& memory, int num, bool is_complex);
};

/// Amplitudes of one lower level with upper levels of one class that follow each other there; null
/// for the types that do not lead from its class to theirs.
struct ClassSums {
    const double* real[kNumBands] = {};
    const double* imag[kNumBands] = {};
};

/// Component m = 0..num-1 of the image of a level with the components c is plus[m] c(m + shift) +
/// minus[m] c(m + shift - back).
struct LevelImage {
    BandType type;
    const double* plus;
    const double* minus;  // null: none
    int shift, back;
    int num;
};

class AmplitudeSums {
  public:
    /// Starts on the states of `task`, which must stay as they are. NoMemory.
    Status Begin(const Memory& memory, const LineTask& task);

    /// Makes `J_upper` the upper J, `J_lower` the lower J of the following levels.
    void SetBranch(int J_lower, int J_upper);

    /// The upper levels that symmetry and the active band types leave to lower level `rank`.
    const PartnerList& Partners(int rank) {
        return now_->Partners(partner_classes_[ClassOf(rank)]);
    }

    /// All upper levels.
    const PartnerList& AllPartners() { return now_->Partners((1U << kMaxBlocks) - 1); }

    /// Computes the amplitudes of lower level `rank` with the levels of `list` of energy ranks
    /// first..last-1 for the active band types, from result.real[..][0] on. Those that symmetry
    /// forbids are exactly 0.0.
    void Compute(int rank, const PartnerList& list, int first, int last, Amplitudes& result);

    /// The levels of J' by class.
    const ClassLevels& upper_classes() const { return now_->by_class(); }

    /// True when the active band types lead from levels of `lower_class` to levels of
    /// `upper_class`.
    bool LeadsTo(int lower_class, int upper_class) const {
        return (partner_classes_[lower_class] >> upper_class & 1) != 0;
    }

    /// The images of the levels of a lower class under the moment of the one type that leads to
    /// `upper_class`, over the functions of that class. False when more types than one do so, or
    /// for complex states.
    bool ImageOf(int lower_class, int upper_class, LevelImage& image) const;

    /// The amplitudes of levels index, index + 1 .. of `lower_class`, up to kLowers of them, with
    /// levels first..last-1 of `upper_class`, by lower level. They stay until the next call.
    void SumsOf(int lower_class, int index, int upper_class, int first, int last,
                ClassSums (&sums)[kLowers]);

  private:
    /// Weight m of a pair of classes is plus[m] c(m + shift) + minus[m] c(m + shift - back), c
    /// being the components of the lower level.
    struct Coupling {
        int upper_class = -1;  // -1: the type does not lead away from the class
        int shift = 0;
        Array<double> plus, minus;
        Array<double> sum_real, sum_imag;  // of one lower level after the other
        CoupleRun run{};
        // What the sums hold: levels lower, lower + 1 .. of the lower class, first .. last - 1 of
        // the upper one
        int lower = 0, num_lowers = 0;
        int first = 0, last = 0;

        /// Its sums, or those of the imaginary part, with upper level `level` and the next ones.
        const double* Real(int l, int level) const { return run.re.sum[l] + (level - first); }
        const double* Imag(int l, int level) const { return run.im.sum[l] + (level - first); }

        bool Holds(int level, int from, int to) const {
            return level >= lower && level < lower + num_lowers && from >= first && to <= last;
        }
    };

    int ClassOf(int rank) const { return lower_.ClassOf(rank); }
    void SetCoupling(BandType type, int lower_class);
    void FillCoupling(BandType type, const SymBlock& from, const SymBlock& to, Coupling& coupling);
    Status BeginCoupling(const Memory& memory, BandType type, std::int64_t room,
                         Coupling& coupling);
    void CoupleLevels(Coupling& coupling, int lower_class, int index, int first, int last);

    const LineTask* task_ = nullptr;
    bool is_complex_ = false;
    std::uint8_t kept_ = 0;  // rotations that both states keep
    int J_upper_ = -1;
    BranchFactors factors_;
    ClassLevels lower_;
    UpperLevels upper_[3];  // three consecutive J', by J' modulo 3
    UpperLevels* now_ = nullptr;
    Coupling couplings_[kNumBands][kMaxBlocks];  // by class of the lower level
    unsigned partner_classes_[kMaxBlocks] = {};
    Array<double> weight_real_, weight_imag_;  // of one lower level after the other
    Array<double> cross_;
};

}  // namespace kiv
