// Parameter files of the SPFIT/SPCAT suite, .par and .var, with the place of every number.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "exchange/SuiteWords.h"
#include "named/NamedInput.h"

namespace kiv {

// Numbers of the second line and of the option line, in the order of the file.
enum SuiteCount : int { kNpar, kNline, kNitr, kNxpar, kThresh, kErrtst, kFrac, kCal, kNumCounts };
// clang-format off
enum SuiteOption : int {
    kSpind, kNvib, kKnmin, kKnmax, kIxx, kIax, kWtpl, kWtmn, kVsym, kEwt, kDiag, kXopt, kNumOptions
};
// clang-format on

/// A constant: code, value and a-priori error; in a .var the error of its fit.
struct SuiteParameter {
    SuiteNumber code, value, error;
};

struct ParameterFile {
    std::string title;
    bool is_var = false;
    bool says_S = false;               // the letter of the option line
    std::vector<SuiteNumber> counts;   // by SuiteCount
    std::vector<SuiteNumber> options;  // by SuiteOption
    std::vector<SuiteParameter> parameters;

    const SuiteNumber& count(SuiteCount i) const { return counts[static_cast<std::size_t>(i)]; }
    const SuiteNumber& option(SuiteOption i) const { return options[static_cast<std::size_t>(i)]; }
};

/// Reads a .par or .var; what is wrong is told. Behind its constants a file may have anything, in a
/// .var the covariance. None when it ends before its constants or they cannot be told apart.
std::optional<ParameterFile> ReadParameterFile(std::string_view text, bool is_var,
                                               const LineReport& report);

/// Puts title, fit, spin weights, constants and which of them are fitted into a named input. What
/// it has no words for is an error or, when results stay the same, a warning.
void TakeParameters(const ParameterFile& from, const LineReport& report, NamedInput& to);

/// The part of it that the second line and the option line say. False when codes of constants
/// cannot be told apart by their states.
bool TakeSettings(const ParameterFile& from, const LineReport& report, NamedInput& to);

}  // namespace kiv
