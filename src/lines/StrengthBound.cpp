#include "lines/StrengthBound.h"

#include <algorithm>
#include <cmath>

#include "base/ExpFunc.h"

namespace kiv {
namespace {

constexpr double kLargest = 1e100;  // energy, so that no matrix overflowed

bool AreOrdinary(const Levels& levels) {
    return std::all_of(levels.energy.data(), levels.energy.data() + levels.size(),
                       [](double energy) { return std::fabs(energy) < kLargest; });
}

double LargestFactor(int Jl, int Ju) {
    if (Jl != Ju) return std::max(Jl, Ju);
    return Jl * (2.0 * Jl + 1.0) / (Jl + 1.0);
}

}  // namespace

StrengthBound::StrengthBound(const LineTask& task) {
    const LineRules& rules = *task.rules;
    if (!(rules.temperature > 0.0) || !(rules.min_intensity > 0.0)) return;
    if (task.one_state() && task.origin != 0.0) return;
    if (!AreOrdinary(*task.lower) || (!task.one_state() && !AreOrdinary(*task.upper))) return;
    on_ = true;
    double sum = 0.0;
    for (int type = 0; type < kNumBands; ++type) {
        if (task.IsActive(type)) sum += std::fabs(task.projection[static_cast<std::size_t>(type)]);
    }
    moment_ = sum * sum;
    kT1_ = rules.temperature * rules.energy_per_kelvin;
    parts_.one_state = task.one_state();
    parts_.per_energy1 = 1.0 / kT1_;
    parts_.cutoff = rules.min_intensity;
    if (!(rules.temperature2 > 0.0)) return;
    weight2_ = std::fabs(rules.weight2);
    kT2_ = rules.temperature2 * rules.energy_per_kelvin;
    parts_.per_energy2 = 1.0 / kT2_;
}

void StrengthBound::SetBranch(int J_lower, int J_upper, double highest) {
    parts_.raw = moment_ * LargestFactor(J_lower, J_upper);
    parts_.highest = highest;
}

StrengthBound::Factors StrengthBound::FactorsOf(const LowerLevel& lower) const {
    if (lower.energy < 0.0 || lower.spin_weight == 0) return {0.0, 0.0};
    const double weight = kBoundMargin * std::abs(static_cast<double>(lower.spin_weight));
    return {weight * ExpFunc(-lower.energy / kT1_),
            weight2_ > 0.0 ? weight * weight2_ * ExpFunc(-lower.energy / kT2_) : 0.0};
}

double StrengthBound::FactorAt(const Factors& factors, double dE) const {
    if (!parts_.one_state) return factors.x1 + factors.x2;
    if (!(dE > 0.0)) return 0.0;
    const auto part = [&](double x, double per_energy) {
        return x * std::min(1.0, dE * per_energy + kExpRounding);
    };
    return (part(factors.x1, parts_.per_energy1) + part(factors.x2, parts_.per_energy2)) *
           (dE * kFactorPerEnergy);
}

}  // namespace kiv
