// Conversion of a whole job between the two forms of input, its measured lines included.
#pragma once

#include <string>
#include <vector>

#include "job/Job.h"

namespace kiv {

/// The files that a conversion makes, or why it makes none.
struct Conversion {
    std::string input;               // text of the converted input
    std::string line_file;           // name of the line file, which stands beside it; empty: none
    std::string lines;               // text of the line file
    std::vector<std::string> notes;  // dropped without a change of results, one sentence each
    std::vector<std::string> refusals;  // what the other form cannot say

    bool ok() const { return refusals.empty(); }
};

/// Converts a job without errors to `form`. `stem` is the name of the new input without folder and
/// ending; lines become `stem`.csv beside a named input, `stem`.asn beside a positional one, whose
/// results are called `stem`_out.
///
/// Both forms give the same lines, apart from the intensities at a temperature: positional inputs
/// have a Boltzmann constant of their own. Numbers keep every bit. Of the lines of a positional
/// input those remain that it uses: beyond its limits, of a further set, or named a second time
/// they are left out with a note.
Conversion ConvertJob(const Job& job, InputForm form, const std::string& stem);

}  // namespace kiv
