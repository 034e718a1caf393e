// Lines and levels as catalogues list them: absolute intensities, energies above the lowest level,
// statistical weights.
//
// Energies and frequencies are in the unit of the model, MHz or cm-1.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "kiv/array.h"
#include "kiv/error.h"
#include "kiv/levels.h"
#include "kiv/lines.h"
#include "kiv/model.h"
#include "kiv/report.h"
#include "kiv/settings.h"
#include "kiv/workspace.h"

namespace kiv {

/// Absolute intensities at one temperature.
///
///     I = 4.16231e-5 nu S w [exp(-E''/kT) - exp(-E'/kT)] / Q      in nm^2 MHz
///
/// nu is the frequency in MHz, S the line strength times squared moment in debye^2, w the spin
/// weight, E'' and E' = E'' + h nu are energies above the lowest level, Q the partition function
/// with the same spin weights. Source: H. M. Pickett et al., J. Quant. Spectrosc. Radiat. Transfer
/// 60, 883 (1998).
class AbsoluteIntensity {
  public:
    /// kT is in the unit of the energies, of which one is `MHz`; all three are positive.
    AbsoluteIntensity(double kT, double Q, double MHz);

    /// log10 of I. `frequency` and `lower_energy` are not negative, `strength` is S w; minus
    /// infinity where one factor is 0. It has a value where I itself is too small for a double.
    double Lg(double frequency, double lower_energy, double strength) const;

    double kT() const { return kT_; }

    /// 4.16231e-5 MHz / Q, MHz that of the constructor.
    double factor() const { return factor_; }

  private:
    double kT_, factor_;
};

/// Lines with the levels and the rules that they come from; what it refers to must outlive it.
struct CatalogSource {
    const LineList* lines = nullptr;
    const Levels* lower = nullptr;  // the same object twice for the lines within one state
    const Levels* upper = nullptr;
    LineRules rules;  // by which the intensities were calculated
    /// What is added to energies of lower and upper levels, as the origin of the band.
    std::array<double, kNumStates> origin{};
    double zero = 0.0;  // energy of the lowest level of all states, see LowestEnergy
    /// Strengths times spin weight, one for each line; empty: they follow from the intensities.
    std::span<const float> strength;
    /// Moment on a, b, c of the basis, by which lines that a fit rejected get their band letter.
    std::array<double, 3> moment{};

    bool one_state() const { return lower == upper; }
};

/// The lowest energy of a model, that of the upper state with the origin.
double LowestEnergy(const Model& model, const Levels& lower, const Levels& upper);

/// True when some line is so weak that its single-precision intensity does not tell its strength;
/// FindStrengths does.
bool HasFaintLines(const CatalogSource& source);

/// Strengths times spin weight of the lines of `source`, calculated anew. NoMemory; Cancelled.
Result<Array<float>> FindStrengths(const Model& model, const CatalogSource& source, Workspace& work,
                                   Report& report);

/// Lines within one state of a model of two.
struct LinesWithin {
    LineList lines;
    Array<float> strength;  // times spin weight
};

/// The lines within `state`, whose levels are `levels`, with the intensities that they have when it
/// is the only one: energies do not count the origin. The moment is that of the model. Lines
/// outside `range`, lowest and highest frequency, are left out. NoLines; OutOfRange; NoMemory;
/// Cancelled.
Result<LinesWithin> FindLinesWithin(const Model& model, StateIndex state, const Levels& levels,
                                    const LineRules& rules,
                                    const std::optional<std::array<double, 2>>& range,
                                    Workspace& work, Report& report);

/// A line of a catalogue.
struct CatalogLine {
    std::int32_t line = 0;  // of the list
    std::int32_t lower_level = 0, upper_level = 0;
    LevelLabel lower, upper;
    double frequency = 0.0;                         // E' - E'', which the origin may make negative
    double strength = 0.0;                          // S, without spin weight
    float intensity = 0.0F;                         // of the list
    double lg = 0.0;                                // of the absolute intensity
    double lower_energy = 0.0, upper_energy = 0.0;  // above the lowest level
    std::int32_t spin_weight = 0;                   // of the lower level; kept in a transition
    char band = 'a';  // 'a', 'b', 'c': the largest part of the amplitude
};

/// How a catalogue is sorted.
enum class CatalogOrder : std::uint8_t {
    Calculated,  // ascending positions
    Printed      // the same without their signs; those that agree in `resolution` are equal
};

/// Lines in ascending frequency, equal ones by quantum numbers: J', Ka', Kc', J'', Ka'', Kc''.
/// Lines without strength are left out.
class Catalog {
  public:
    /// `resolution` is a step of printed frequencies. The threads of `work` share the sort.
    /// NoMemory.
    static Result<Catalog> From(const CatalogSource& source, CatalogOrder order, double resolution,
                                Workspace& work);

    std::int32_t size() const { return size_; }

    /// Line number `place`, 0 <= place < size.
    CatalogLine Line(std::int32_t place, const AbsoluteIntensity& absolute) const;

    /// Index in the list of line number `place`.
    std::int32_t IndexOf(std::int32_t place) const {
        return static_cast<std::int32_t>(word_[static_cast<std::size_t>(place)] & line_mask_);
    }

    /// Brings the line nearer to the processor, which soon asks for it.
    void Fetch(std::int32_t place) const {
        const auto n = static_cast<std::size_t>(IndexOf(place));
        __builtin_prefetch(&source_.lines->position[n]);
        __builtin_prefetch(&source_.lines->intensity[n]);
        __builtin_prefetch(&source_.lines->label[6 * n]);
        if (!source_.strength.empty()) __builtin_prefetch(&source_.strength[n]);
    }

    const CatalogSource& source() const { return source_; }

  private:
    explicit Catalog(const CatalogSource& source) : source_(source) {}
    double StrengthOf(std::size_t line, double lower_energy, double upper_energy) const;
    char BandOf(std::size_t line) const;

    CatalogSource source_;
    Array<std::uint64_t> word_;  // by place: the index in its lowest bits
    std::uint64_t line_mask_ = 0;
    std::int32_t size_ = 0;
};

/// A level of a list.
struct ListedLevel {
    int block = 0;  // symmetry block: four for each J of a state, counted from 1
    int index = 0;  // in its block, counted from 1 in ascending energy
    int v = 0;      // 0 lower, 1 upper state
    LevelLabel label;
    double energy = 0.0;  // above the lowest level
    std::int32_t spin_weight = 0;
};

/// All levels of a model by J, state, block (Ka Kc even-even, odd-even, odd-odd, even-odd) and
/// energy; `upper` is not looked at in models of one state.
std::vector<ListedLevel> ListLevels(const Model& model, const Levels& lower, const Levels& upper,
                                    const LineRules& rules);

}  // namespace kiv
