// Line files of the SPFIT/SPCAT suite, .lin, as the suite would take them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "named/LineRows.h"

namespace kiv {

struct MeasuredLines {
    std::vector<LineFeature> features;
    int rows = 0;          // with a line each, also those with an error
    int highest_J = 0;     // of a line
    bool has_MHz = false;  // whether a row is in MHz
};

/// Reads a .lin: what ReadLineFile says of it, and rows whose quantum numbers do not stand in their
/// columns or are not those of the number of states. The parts of a blend without weights count
/// equally.
MeasuredLines ReadMeasuredLines(std::string_view text, const LineContext& context,
                                const LineReport& report);

}  // namespace kiv
