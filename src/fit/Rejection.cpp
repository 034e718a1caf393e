#include "fit/Rejection.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace kiv {
namespace {

constexpr double kNear = 10.0;              // uncertainties
constexpr double kWide = 4.0;               // robust deviations
constexpr double kGross = 100.0;            // times the median
constexpr double kWorst = 0.5;              // of the largest misfit
constexpr double kMedianOfNormal = 0.6745;  // of the size of a normal variable, in deviations

double MedianOf(std::vector<double> numbers) {
    if (numbers.empty()) return 0.0;
    const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
    std::nth_element(numbers.begin(), middle, numbers.end());
    return *middle;
}

std::string TextOf(double x) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", x);
    return text;
}

}  // namespace

void Rejection::Advance() {
    if (phase_ == FitPhase::Wide && is_wide_) return;
    const bool has_limit = options_.reject_above || (options_.reject && !uniform_);
    phase_ = phase_ == FitPhase::Coarse && has_limit ? FitPhase::Wide : FitPhase::Exact;
}

bool Rejection::IsNear() const {
    if (options_.reject_above && misfits_.typical > *options_.reject_above) return false;
    if (uniform_) return options_.reject_above.has_value();
    if (!options_.reject) return ratios_.typical <= kNear;
    return ratios_.typical <= std::max(1.0, *options_.reject * kMedianOfNormal / kWide);
}

// The misfit above which, or at which, a measurement is rejected.
double Rejection::Limit(double uncertainty) const {
    double limit = std::numeric_limits<double>::infinity();
    if (options_.reject_above) limit = std::max(*options_.reject_above, LeastLimit(misfits_));
    if (options_.reject && !uniform_) {
        limit = std::min(limit, std::max(*options_.reject, LeastLimit(ratios_)) * uncertainty);
    }
    return limit;
}

// What the limits of a phase are at least.
double Rejection::LeastLimit(const Sizes& sizes) const {
    if (phase_ == FitPhase::Exact) return 0.0;
    return phase_ == FitPhase::Wide ? Wide(sizes) : kGross * sizes.typical;
}

// Several robust deviations; where few measurements have drawn the calculation to an outlier, half
// of what this one is still off.
double Rejection::Wide(const Sizes& sizes) {
    return std::min(kWide / kMedianOfNormal * sizes.typical, kWorst * sizes.worst);
}

void Rejection::RejectByRms(std::span<const double> misfit, std::span<FeatureFate> fate) const {
    for (bool changed = true; changed;) {
        double sum = 0.0;
        int num = 0;
        for (std::size_t i = 0; i < fate.size(); ++i) {
            if (fate[i] != FeatureFate::Used) continue;
            sum += misfit[i] * misfit[i];
            ++num;
        }
        const double limit = num > 0 ? *options_.reject * std::sqrt(sum / num) : 0.0;
        changed = false;
        for (std::size_t i = 0; i < fate.size(); ++i) {
            if (fate[i] != FeatureFate::Used || std::fabs(misfit[i]) <= limit) continue;
            fate[i] = FeatureFate::Rejected;
            changed = true;
        }
    }
}

void Rejection::KeepOut(std::span<FeatureFate> fate) {
    const std::vector<FeatureFate> now(fate.begin(), fate.end());
    if (!earlier_.empty() && now != earlier_.back()) {
        const auto before = std::find(earlier_.begin(), earlier_.end(), now);
        if (before != earlier_.end() && out_.empty()) out_.assign(fate.size(), false);
        for (auto set = before; set != earlier_.end(); ++set) {
            for (std::size_t i = 0; i < fate.size(); ++i) {
                if ((*set)[i] != FeatureFate::Used) out_[i] = true;
            }
        }
    }
    for (std::size_t i = 0; i < out_.size(); ++i) {
        if (fate[i] == FeatureFate::Rejected) out_[i] = true;
        if (fate[i] == FeatureFate::Used && out_[i]) fate[i] = FeatureFate::Rejected;
    }
    earlier_.emplace_back(fate.begin(), fate.end());
}

void Rejection::SetSizes(std::span<const double> misfit, std::span<const double> uncertainty,
                         std::span<const FeatureFate> fate) {
    std::vector<double> sizes, ratios;
    misfits_.worst = ratios_.worst = 0.0;
    for (std::size_t i = 0; i < fate.size(); ++i) {
        if (fate[i] == FeatureFate::Unmatched || uncertainty[i] >= kNoUncertainty) continue;
        const double size = std::fabs(misfit[i]), ratio = size / uncertainty[i];
        sizes.push_back(size);
        ratios.push_back(ratio);
        if (!last_.empty() && last_[i] != FeatureFate::Used) continue;
        misfits_.worst = std::max(misfits_.worst, size);
        ratios_.worst = std::max(ratios_.worst, ratio);
    }
    misfits_.typical = MedianOf(std::move(sizes));
    ratios_.typical = MedianOf(std::move(ratios));
    is_wide_ = (options_.reject_above && Wide(misfits_) > *options_.reject_above) ||
               (options_.reject && !uniform_ && Wide(ratios_) > *options_.reject);
}

void Rejection::Begin(std::span<const double> misfit, std::span<const double> uncertainty,
                      std::span<const FeatureFate> fate) {
    SetSizes(misfit, uncertainty, fate);
    if (IsNear()) phase_ = FitPhase::Exact;
}

void Rejection::Select(std::span<const double> misfit, std::span<const double> uncertainty,
                       std::span<FeatureFate> fate) {
    if (phase_ != FitPhase::Exact) SetSizes(misfit, uncertainty, fate);
    for (std::size_t i = 0; i < fate.size(); ++i) {
        if (fate[i] == FeatureFate::Unmatched) continue;
        const double size = std::fabs(misfit[i]), limit = Limit(uncertainty[i]);
        const bool is_out = options_.reject_above ? size >= limit : size > limit;
        fate[i] = is_out ? FeatureFate::Rejected : FeatureFate::Used;
    }
    if (options_.reject && uniform_) RejectByRms(misfit, fate);
    if (phase_ == FitPhase::Exact) KeepOut(fate);
    last_.assign(fate.begin(), fate.end());
}

std::string Rejection::Reason() const {
    if (!options_.reject) {
        return "obs - calc reaches the limit of " + TextOf(options_.reject_above.value_or(0.0));
    }
    return "obs - calc is above " + TextOf(*options_.reject) +
           (uniform_ ? " times the rms" : " uncertainties");
}

}  // namespace kiv
