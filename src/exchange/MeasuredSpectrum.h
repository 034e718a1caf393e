// Measured spectra as text: frequency and intensity in two columns.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "named/EnergyUnit.h"
#include "named/Finding.h"

namespace kiv {

enum class SpectrumUnit : std::uint8_t { MHz, GHz, Wavenumber };

/// "MHz", "GHz", "cm-1".
const char* NameOf(SpectrumUnit unit);

/// One of the unit of a spectrum in that of a calculation.
double UnitRatio(SpectrumUnit from, EnergyUnit to);

struct MeasuredSpectrum {
    std::vector<double> frequency;  // ascending, in the unit of the calculation
    std::vector<double> value;
    SpectrumUnit unit = SpectrumUnit::MHz;  // of the text
};

/// Reads a spectrum for a calculation in `unit`; what is wrong or doubtful is added to `findings`
/// under the name `file`, and reading ends after five errors.
///
/// Two columns, parted by blanks or tabs, by commas or by semicolons throughout; further ones are
/// not read, which is told. Frequencies ascend or descend, neighbours may be equal. Empty lines and
/// those that begin with # or ; are comments, a # behind the numbers begins one. Rows before the
/// first number are headers. Frequencies are in MHz, GHz or cm-1, as the header row next to the
/// numbers or else the first comment that has such a word says (a word behind a number is no unit:
/// "step 2 MHz"), else in `unit`.
MeasuredSpectrum ReadMeasuredSpectrum(std::string_view text, EnergyUnit unit,
                                      const std::string& file, Findings& findings);

}  // namespace kiv
