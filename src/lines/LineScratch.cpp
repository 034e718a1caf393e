#include "lines/LineScratch.h"

#include <algorithm>
#include <cmath>

#include "base/ArrayName.h"
#include "base/Failure.h"

namespace kiv {

WeighedLevel WeighedOf(const LowerLevel& level, Boltzmann& weights) {
    weights.SetLower(level.energy);
    return {level, weights.terms().x1, weights.terms().x2,
            std::sqrt(static_cast<float>(std::max(0, level.spin_weight)))};
}

Status PairsOfLevel::Begin(const Memory& memory, int max_J, bool is_complex) {
    const int n = 2 * max_J + 1;
    KIV_TRY(amplitudes.Begin(memory, n, is_complex));
    for (Array<double>* array : {&energy, &spin_weight, &x1, &x2}) {
        if (!array->Fit(memory, n + kLineGroup)) return NoMemory(array_name::kPairValues);
    }
    if (!spin_root.Fit(memory, n + kLineGroup)) return NoMemory(array_name::kPairValues);
    return {};
}

void PairsOfLevel::SetLower(const WeighedLevel& level, int num_pairs) {
    lower = level.level;
    num = num_pairs;
    std::fill_n(energy.data(), num, lower.energy);
    std::fill_n(spin_weight.data(), num, static_cast<double>(lower.spin_weight));
    std::fill_n(x1.data(), num, level.x1);
    std::fill_n(x2.data(), num, level.x2);
    std::fill_n(spin_root.data(), num, level.spin_root);
}

Status LineScratch::Begin(const Memory& memory, const LineTask& task) {
    bound = StrengthBound(task);
    const std::int64_t n = 2 * std::int64_t{task.max_J()} + 1 + kLineGroup;
    const std::int64_t room =  // of the pairs that are looked at together
        bound.is_on() ? std::max<std::int64_t>(n, ChosenPairs::kRoom) : n;
    KIV_TRY(sums.Begin(memory, task));
    KIV_TRY(pairs.Begin(memory, task.max_J(), task.is_complex()));
    for (Array<double>* array : {&position, &raw, &strength, &factor, &highest}) {
        if (!array->Fit(memory, room)) return NoMemory(array_name::kPairValues);
    }
    if (task.rules->range && !lowest.Fit(memory, n)) return NoMemory(array_name::kPairValues);
    if (!amplitude_real.Fit(memory, kNumBands * room) ||
        !amplitude_imag.Fit(memory, kNumBands * room)) {
        return NoMemory(array_name::kStoredAmplitudes);
    }
    if (!intensity.Fit(memory, room) || !band.Fit(memory, room) || !lines.Fit(memory, room) ||
        !dropped.Fit(memory, room)) {
        return NoMemory(array_name::kPairLines);
    }
    std::fill(factor.begin(), factor.end(), 1.0);
    if (!bound.is_on()) return {};
    if (!chosen) chosen = std::make_unique<ChosenPairs>();
    chosen->num = 0;
    return BeginCut(memory, task, n);
}

Status LineScratch::BeginCut(const Memory& memory, const LineTask& task, std::int64_t n) {
    if (!lowers.Fit(memory, n) || !ranges.Fit(memory, n) || !selected.Fit(memory, kLowers * n) ||
        !first_candidate.Fit(memory, n)) {
        return NoMemory(array_name::kPairValues);
    }
    return groups.Begin(memory, task);
}

}  // namespace kiv
