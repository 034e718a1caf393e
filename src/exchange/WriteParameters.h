// Parameter files of the SPFIT/SPCAT suite made from named inputs.
#pragma once

#include <string>
#include <vector>

#include "named/NamedInput.h"

namespace kiv {

struct WrittenParameters {
    std::string text;
    std::vector<std::string> refusals;  // what such a file cannot say; one sentence each
};

/// The .par of an input: constants in MHz with all their digits, those that are fitted free (1e36),
/// the others held (1e-37). `num_lines` lines up to `highest_J` belong to it. Moment, temperature
/// and the rules of the line list have their place in other files; they are no refusals.
WrittenParameters WriteParameters(const NamedInput& input, int num_lines, int highest_J);

}  // namespace kiv
