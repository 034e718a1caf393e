// Positional input files of any version, read with the place of every word and with all that is
// wrong with them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kiv/files.h"
#include "named/Finding.h"
#include "named/NamedInput.h"

namespace kiv {

struct OldReading {
    /// What ReadInputFile gives; with errors among the findings what it would give if they were
    /// mended, as far as that can be told.
    InputFile document;
    /// By the paths of a named input, "lower.A", "spectrum.J_max", "moment.percent[1]", and by
    /// those of what named inputs do not have: "lower.status.DJ", "lower.fit.DJ",
    /// "upper.fit.origin", "fit.status", "fit.limit.Ka", "out", "next". d1 and d2 are there as dJ
    /// and dK, too.
    Places places;
};

/// Reads a positional input; what is wrong is added to `findings` under the name `file`. None when
/// the text is of no known version.
///
/// The file is a bare sequence of words. Where their number or kind is wrong, the comment lines
/// that the program writes and the line breaks tell which record each word belongs to: the reading
/// with the fewest missing, surplus and unsuitable words is taken. Without an error among the
/// findings ReadInputFile accepts the text.
std::optional<OldReading> ReadOld(std::string_view text, const std::string& file,
                                  Findings& findings);

}  // namespace kiv
