// A small set of files of the SPFIT/SPCAT suite, and what becomes of it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "exchange/ImportSuite.h"

namespace kiv {

inline constexpr std::string_view kPar =
    "rotor of J = 1\n"
    "   5    3   20    0     0.0000E+00     1.0000E+06     1.0000E+00 1.0000000000\n"
    "a   1   1   0  99   0   2   1   3   0   1   0\n"
    "        10000   9.000000000000000E+03 1.00000000E+36 /A\n"
    "        20000   5.000000000000000E+03 1.00000000E+36 /B\n"
    "        30000   3.000000000000000E+03 1.00000000E+36 /C\n"
    "          200  -1.000000000000000E-03 1.00000000E-37 /-DJ\n"
    "        41000  -2.000000000000000E-03 1.00000000E-37 /-dK\n";

inline constexpr std::string_view kInt =
    "rotor of J = 1\n"
    "0011,18003,100.0,0,10,,,1000.0,200.0\n"
    " 001   1.00000 / a\n"
    " 002  -0.50000 / b\n";

inline constexpr std::string_view kLin =
    "  1  0  1  0  0  0                           8000.030000     0.050000 1\n"
    "  1  1  1  0  0  0                          11999.980000     0.050000 1\n"
    "  1  1  0  1  0  1                           5999.990000     0.050000 1\n";

/// `text` with other words in the first place of `what`.
inline std::string With(std::string_view text, std::string_view what, std::string_view with) {
    std::string changed(text);
    const std::size_t at = changed.find(what);
    return at == std::string::npos ? "" : changed.replace(at, what.size(), with);
}

inline SuiteImport Imported(std::string_view par, std::string_view intensities = kInt,
                            std::string_view lines = kLin, bool is_var = false) {
    SuiteSet set;
    set.parameters = {is_var ? "set/x.var" : "set/x.par", std::string(par)};
    set.is_var = is_var;
    if (!intensities.empty()) set.intensities = SuiteFile{"set/x.int", std::string(intensities)};
    if (!lines.empty()) set.lines = SuiteFile{"set/x.lin", std::string(lines)};
    return ImportSuite(set, "x.csv");
}

/// "x.par decimal-comma 4:10 error", one line a finding.
inline std::string ShortText(const Findings& findings) {
    std::string text;
    for (const Finding& finding : findings) {
        text += (text.empty() ? "" : "\n") + finding.file.substr(finding.file.find('/') + 1) + " " +
                NameOf(finding.code) + " " + std::to_string(finding.line) + ":" +
                std::to_string(finding.column) + " " + NameOf(finding.severity);
    }
    return text;
}

}  // namespace kiv
