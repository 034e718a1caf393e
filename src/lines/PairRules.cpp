#include "lines/PairRules.h"

#include <algorithm>
#include <cstdint>

#include "lines/LineTask.h"

namespace kiv {

UpperRange UpperRangeOf(int delta_K, int ka_lower, int J_upper) {
    const std::int64_t order = delta_K;
    const std::int64_t start = 2 * (ka_lower - order) - 1;
    const std::int64_t end = std::min<std::int64_t>(start + 4 * order + 2, 2 * J_upper + 1);
    if (end <= 0 || end <= start) return {};
    return {static_cast<int>(std::max<std::int64_t>(0, start)), static_cast<int>(end)};
}

bool HasParity(const ParityRule& rule, int ka_lower, int kc_lower, int ka_upper, int kc_upper) {
    const int ka = ka_lower + ka_upper + (rule.ka_odd ? 1 : 0);
    const int kc = kc_lower + kc_upper + (rule.kc_odd ? 1 : 0);
    return (ka & 1) == 0 && (kc & 1) == 0;
}

int SpinClass(int ka, int kc) {
    if ((ka & 1) == 0) return (kc & 1) == 0 ? 0 : 1;
    return (kc & 1) != 0 ? 2 : 3;
}

LowerLevel MakeLower(const LineTask& task, int J, int rank) {
    const std::int32_t index = J * J + rank;
    const int ka = task.lower->ka[index], kc = task.lower->kc[index];
    return {J,
            rank,
            index,
            ka,
            kc,
            task.lower->energy[index],
            task.rules->spin_weights[static_cast<std::size_t>(SpinClass(ka, kc))]};
}

}  // namespace kiv
