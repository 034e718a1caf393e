// The options of `kiv export spectrum` as values.
#pragma once

#include <optional>

#include "commands/Request.h"
#include "kiv/error.h"
#include "kiv/spectrum.h"

namespace kiv {

struct SpectrumOptions {
    LineShape shape = LineShape::Gauss;
    std::optional<LineProfile> profile;  // none: of the usual width
    std::optional<double> from, to, step;

    /// The profile that was asked for, or one whose widths suit a spectrum of this extent.
    LineProfile ProfileFor(double extent) const;
};

/// Reads the options. BadChoice tells of a value that cannot be taken and of options that do not go
/// together.
Result<SpectrumOptions> ReadSpectrumOptions(const Request& request);

/// The largest of 1, 2 and 5 times a power of ten that is not above `value`, which is positive.
double RoundDown(double value);

/// The points of a spectrum: those from `from` to `to` that were asked for; else whole steps
/// around the lines, which lie from `lowest` to `highest`, with a margin of five widths. Without a
/// step it is a tenth of the width, of a Voigt profile rounded down.
///
/// BadChoice when there is no point, or too many.
Result<FrequencyGrid> GridOf(const SpectrumOptions& options, double width, double lowest,
                             double highest);

}  // namespace kiv
