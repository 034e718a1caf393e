#include "lines/LineScratch.h"

#include <algorithm>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "lines/LineStore.h"

namespace kiv {

Status LineScratch::Begin(const Memory& memory, const LineTask& task) {
    const std::int64_t n = 2 * std::int64_t{task.max_J()} + 1 + kLineGroup;
    KIV_TRY(sums.Begin(memory, task));
    KIV_TRY(pairs.amplitudes.Begin(memory, task.max_J(), task.is_complex()));
    for (Array<double>* array : {&position, &raw, &strength, &factor, &highest}) {
        if (!array->Fit(memory, n)) return NoMemory(array_name::kPairValues);
    }
    if (task.rules->range && !lowest.Fit(memory, n)) return NoMemory(array_name::kPairValues);
    if (!amplitude_real.Fit(memory, kNumBands * n) || !amplitude_imag.Fit(memory, kNumBands * n)) {
        return NoMemory(array_name::kStoredAmplitudes);
    }
    if (!intensity.Fit(memory, n) || !band.Fit(memory, n) || !lines.Fit(memory, n) ||
        !dropped.Fit(memory, n)) {
        return NoMemory(array_name::kPairLines);
    }
    std::fill(factor.begin(), factor.end(), 1.0);
    bound = StrengthBound(task);
    return bound.is_on() ? BeginCut(memory, task, n) : Status();
}

Status LineScratch::BeginCut(const Memory& memory, const LineTask& task, std::int64_t n) {
    if (!candidates.Fit(memory, n) || !upper.Fit(memory, n) || !label.Fit(memory, 6 * n) ||
        !energy.Fit(memory, n)) {
        return NoMemory(array_name::kPairValues);
    }
    return groups.Begin(memory, task);
}

}  // namespace kiv
