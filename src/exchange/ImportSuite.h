// Sets of files of the SPFIT/SPCAT suite as a named input with its line file.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kiv/features.h"
#include "named/Finding.h"
#include "named/NamedInput.h"

namespace kiv {

struct SuiteFile {
    std::string name;
    std::string text;
};

/// What is imported together; intensities and lines may be missing.
struct SuiteSet {
    SuiteFile parameters;
    bool is_var = false;  // .var in place of .par
    std::optional<SuiteFile> intensities, lines;
};

/// Without errors among the findings `text` is a named input that says the same as the set, and
/// `lines` its measured lines as .csv.
struct SuiteImport {
    NamedInput input;
    std::vector<LineFeature> features;
    std::string text;   // begins with a comment: where it comes from, what was noted
    std::string lines;  // empty: none
    Findings findings;
};

/// Reads a set. `line_file` is the name under which the input finds its lines.
///
/// The suite takes every file in silence; whatever would change a result and has no words in a
/// named input is an error here, whatever changes nothing but is left out a warning. Without a .int
/// the moment is 1 debye along each axis, so that every type of lines is there; without one and
/// with lines there is none.
SuiteImport ImportSuite(const SuiteSet& set, const std::string& line_file);

}  // namespace kiv
