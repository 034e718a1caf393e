// Intensity files of the SPFIT/SPCAT suite, .int, with the place of every number.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "exchange/SuiteWords.h"
#include "named/NamedInput.h"

namespace kiv {

// Numbers of the second line, in the order of the file.
// clang-format off
enum SuiteIntensity : int {
    kFlags, kTag, kQrot, kFbgn, kFend, kStr0, kStr1, kFqlim, kTemp, kMaxv, kNumIntensities
};
// clang-format on

/// A component of the moment: IDIP and debye.
struct SuiteDipole {
    SuiteNumber code, value;
};

struct IntensityFile {
    std::vector<SuiteNumber> head;  // by SuiteIntensity
    std::vector<SuiteDipole> dipoles;
    int last_line = 1;

    const SuiteNumber& number(SuiteIntensity i) const { return head[static_cast<std::size_t>(i)]; }
};

/// Reads a .int; what is wrong is told. None when its second line cannot be used.
std::optional<IntensityFile> ReadIntensityFile(std::string_view text, const LineReport& report);

/// Puts unit, moment, temperature, J_max and the highest frequency into a named input that has its
/// constants. What it has no words for is an error or, when no line changes, a warning.
void TakeIntensities(const IntensityFile& from, const LineReport& report, NamedInput& to);

/// The options by which `kiv export cat` makes the catalogue of the file: "--tag 38508".
std::string CatalogueOptions(const IntensityFile& from);

}  // namespace kiv
