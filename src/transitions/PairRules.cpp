#include "transitions/PairRules.h"

#include <algorithm>
#include <cstdint>

#include "run/KivRecord.h"

UpperRange UpperRangeOf(int ka_lower, int J_upper) {
    const std::int64_t order = Kiv.Delta_K_Order;
    const std::int64_t start = 2 * (ka_lower - order) - 1;
    const std::int64_t end = std::min<std::int64_t>(start + 4 * order + 2, 2 * J_upper + 1);
    if (end <= 0 || end <= start) return {};
    return {static_cast<int>(std::max<std::int64_t>(0, start)), static_cast<int>(end)};
}

bool HasParity(int ka_lower, int kc_lower, int ka_upper, int kc_upper) {
    const int ka = ka_lower + ka_upper + Kiv.Ka_Parity_Odd;
    const int kc = kc_lower + kc_upper + Kiv.Kc_Parity_Odd;
    return (ka & 1) == 0 && (kc & 1) == 0;
}
