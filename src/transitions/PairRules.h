// Which pairs of levels are looked at.
#pragma once

/// Upper levels First..Last-1 (energy ranks of their J).
struct UpperRange {
    int First = 0;
    int Last = 0;
};

/// The upper levels of J' within Delta_K_Order d of a lower level with Ka'': with
/// s = 2 (Ka'' - d) - 1, the ranks max(0, s) up to but not including min(s + 4d + 2, 2J' + 1).
/// Any d is legal: a negative one leaves nothing, a large one all levels.
UpperRange UpperRangeOf(int ka_lower, int J_upper);

/// True when Ka' + Ka'' and Kc' + Kc'' have the overall parities of the run record.
bool HasParity(int ka_lower, int kc_lower, int ka_upper, int kc_upper);
