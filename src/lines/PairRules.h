// Which pairs of levels are looked at.
#pragma once

#include "kiv/settings.h"

namespace kiv {

/// Upper levels first..last-1 (energy ranks of their J).
struct UpperRange {
    int first = 0;
    int last = 0;
};

/// The upper levels of J' within delta_K = d of a lower level with Ka'': with
/// s = 2 (Ka'' - d) - 1, the ranks max(0, s) up to but not including min(s + 4d + 2, 2J' + 1).
/// Any d is legal: a negative one leaves nothing, a large one all levels.
UpperRange UpperRangeOf(int delta_K, int ka_lower, int J_upper);

/// True when Ka' + Ka'' and Kc' + Kc'' have the parities of the rule.
bool HasParity(const ParityRule& rule, int ka_lower, int kc_lower, int ka_upper, int kc_upper);

/// Place among the spin weights: Ka Kc even-even, even-odd, odd-odd, odd-even.
int SpinClass(int ka, int kc);

}  // namespace kiv
