// Files of measured lines: .csv, .asn and .lin, read into one form and written from it.
//
// A feature is what was measured: one frequency of one transition or, as a blend, of several.
// Frequencies and uncertainties are in the unit of the calculation.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/error.h"
#include "kiv/features.h"
#include "named/EnergyUnit.h"
#include "named/Finding.h"

namespace kiv {

enum class LineFormat : std::uint8_t {
    Csv,  // a header row names the columns
    Asn,  // band word, J' Ka' Kc', J'' Ka'' Kc'', frequency, uncertainty; "//" between two sets
    Lin   // quantum numbers in columns of three, then frequency, uncertainty, weight
};

/// The format that the ending of a file name stands for.
std::optional<LineFormat> LineFormatOf(std::string_view name);

/// The calculation that lines are for.
struct LineContext {
    bool two_states = false;
    EnergyUnit unit = EnergyUnit::MHz;
    std::optional<int> max_J;
    std::optional<int> delta_K;
};

/// Reads a line file; what is wrong or doubtful is added to `findings` under the name `file`. Rows
/// with an error are left out. A text of another format is one finding.
///
/// .csv  Neighbouring rows of equal frequency are one feature with the uncertainty of the first.
///       Without v columns, lines of two states are v = 1 to 0.
/// .asn  No blends. Of two states the first set is v = 1 to 0, the second one 0 to 0.
/// .lin  Twelve fields of three columns hold J Ka Kc of both levels, or J Ka Kc v. Frequencies are
///       in MHz, with a negative uncertainty in cm-1. Neighbours of equal frequency and
///       uncertainty are one feature. Empty lines and those that begin with a slash are skipped.
std::vector<LineFeature> ReadLineFile(std::string_view text, LineFormat format,
                                      const LineContext& context, const std::string& file,
                                      Findings& findings);

/// Writes a line file that ReadLineFile reads back with every bit of its numbers; features that
/// would be taken for a blend as neighbours are parted. Line ends in comments become blanks.
///
/// BadInput says which line the format has no words for: blends, weights and lines within the upper
/// state in .asn, comments alone are cut or left out.
Result<std::string> WriteLineFile(const std::vector<LineFeature>& features, LineFormat format,
                                  const LineContext& context);

}  // namespace kiv
