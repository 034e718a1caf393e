// The named input: a TOML file that says everything of a calculation or a fit by name.
//
// Constants, origin, frequencies, uncertainties and energies are in the unit that the file names;
// angles are in degrees, temperatures in kelvin, moments in debye.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "kiv/model.h"
#include "kiv/settings.h"
#include "named/EnergyUnit.h"
#include "named/Finding.h"
#include "named/NamedConstants.h"

namespace kiv {

/// Where the values of a file stand, by path: "lower.A", "fit.lines", "moment.mu[1]"; the path of a
/// table is that of its header.
class Places {
  public:
    void Set(const std::string& path, Place place) { places_[path] = place; }

    bool Has(std::string_view path) const { return places_.find(path) != places_.end(); }

    /// The place of a value, or that of the innermost table around it, or 1:1.
    Place Of(std::string_view path) const;

  private:
    std::map<std::string, Place, std::less<>> places_;
};

/// A constant of a state.
struct NamedTerm {
    double value = 0.0;
    bool fit = false;
};

struct NamedState {
    Reduction reduction = Reduction::A;
    PerConstant<NamedTerm> terms;
    EulerAngles tilt;
};

enum class MomentForm : std::uint8_t {
    Components,  // on a, b, c, signed, debye
    Percent,     // of the intensity on a, b, c, signed
    Angles       // magnitude (debye), theta from a, chi from b towards c
};

struct NamedMoment {
    MomentForm form = MomentForm::Components;
    std::array<double, 3> values{};
    StateIndex frame = kLower;
};

struct NamedSpectrum {
    int max_J = 35;
    LineRules rules;                             // energy_per_kelvin apart
    std::optional<std::array<double, 2>> range;  // lowest and highest frequency that is written
};

enum class NamedData : std::uint8_t { Lines, LowerDifferences, UpperDifferences };

struct NamedFit {
    std::string lines;  // file of measured lines, as the input has it; empty: none
    NamedData data = NamedData::Lines;
    int cycles = 20;                     // at most
    std::optional<double> reject;        // |o-c| above so many uncertainties (or times the rms)
    std::optional<double> reject_above;  // |o-c| above this limit
    FitWeights weights = FitWeights::Uncertainties;
};

/// A fit has converged when every change is below this part of its standard error.
inline constexpr double kConvergedChange = 1e-4;

struct NamedInput {
    std::string title;
    EnergyUnit unit = EnergyUnit::MHz;
    std::array<NamedState, kNumStates> states;
    bool two_states = false;  // without it there is only the lower one
    NamedTerm origin;
    bool relative = false;  // upper constants are varied as differences to the lower ones
    std::optional<NamedMoment> moment;
    NamedSpectrum spectrum;
    NamedFit fit;
    Places places;  // of what a text said

    const NamedState& lower() const { return states[kLower]; }
    const NamedState& upper() const { return states[kUpper]; }
    NamedState& lower() { return states[kLower]; }
    NamedState& upper() { return states[kUpper]; }
};

/// Reads a named input; what is wrong is added to `findings` under the name `file`.
///
/// None when the text is no TOML at all. When there are errors among the findings, what could not
/// be used has its default.
std::optional<NamedInput> ReadNamed(std::string_view text, const std::string& file,
                                    Findings& findings);

/// A commented file that ReadNamed reads back to the last bit. Defaults are left out.
std::string WriteNamed(const NamedInput& input);

/// A value of a file, as TOML text: "60778.5506", "\"so2.csv\"".
struct Replacement {
    std::string path;
    std::string text;
};

/// The text of a named input with other values for some of its keys; everything else stays,
/// trailing comments in their columns. A constant or origin that the text does not have gets a
/// line of its own behind C. A text that is no TOML comes back as it is.
std::string ReplaceNumbers(std::string_view text, std::span<const Replacement> replacements);

/// A text as a TOML string in quotes.
std::string TomlString(std::string_view text);

/// The molecule. A constant takes part when it is not 0 or is fitted in either state. Without a
/// moment all three components are 1, so that every kind of line exists.
Model ModelOf(const NamedInput& input);

/// How the spectrum is calculated and fitted; reject in uncertainties and range apart.
Settings SettingsOf(const NamedInput& input);

}  // namespace kiv
