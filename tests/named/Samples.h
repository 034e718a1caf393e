// A named input that says everything, and findings as short texts.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "named/Finding.h"

namespace kiv {

inline constexpr std::string_view kGood = R"(kiv = 1
title = "SO2 \"ground\""
unit = "MHz"
[lower]
A = 60778.5
B = 10318.0
C = 8799.7
DJ = 0.0066
dK = 0.025
tilt = [0.0, 1.5, 0.0]
fit = ["A", "DJ"]
[upper]
reduction = "S"
A = 60000.0
B = 10300
C = 8700.0
d1 = -0.001
origin = 1e6
relative = true
fit = ["origin", "d1"]
[moment]
mu = [0.0, 1.6331, 0.0]
frame = "upper"
[spectrum]
J_max = 40
delta_K = 7
temperature = 200.0
temperature2 = 20.0
weight2 = 0.5
min_intensity = 0.01
range = [1e4, 2e6]
spin_weights = [1, 0, 1, 0]
parity = { lower = "E", upper = "O" }
[fit]
lines = "so2.csv"
data = "upper differences"
cycles = 12
reject = 5.0
weights = "uniform"
)";

/// `text` with other words in the first place of `what`.
inline std::string With(std::string_view text, std::string_view what, std::string_view with) {
    std::string changed(text);
    return changed.replace(changed.find(what), what.size(), with);
}

/// "code line:column", one a line, sorted.
inline std::string ShortText(Findings findings) {
    findings.Sort();
    std::string text;
    for (const Finding& finding : findings) {
        text += (text.empty() ? "" : "\n") + std::string(NameOf(finding.code)) + " " +
                std::to_string(finding.line) + ":" + std::to_string(finding.column);
    }
    return text;
}

}  // namespace kiv
