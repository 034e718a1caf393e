// Calculated and measured spectra laid over each other.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "base/Failure.h"
#include "kiv/spectrum.h"
#include "spectrum/Curve.h"

namespace kiv {
namespace {

// Shifts are tried in steps of this part of the width, then by golden sections around the best.
constexpr double kScanStep = 1.0 / 16;
constexpr int kMostScanSteps = 512;  // on either side
constexpr int kSections = 40;
constexpr double kGolden = 0.6180339887498949;

// A spectrum whose deviation is less of its largest value is constant.
constexpr double kConstant = 1e-12;

// Sums of squares about the means, of values divided by their largest size.
struct Moments {
    double mean = 0.0, square = 0.0, size = 0.0;

    static Moments Of(std::span<const double> values) {
        Moments moments;
        for (const double value : values) moments.size = std::max(moments.size, std::fabs(value));
        if (moments.size == 0.0) return moments;
        for (const double value : values) moments.mean += value / moments.size;
        moments.mean /= static_cast<double>(values.size());
        for (const double value : values) {
            const double deviation = value / moments.size - moments.mean;
            moments.square += deviation * deviation;
        }
        return moments;
    }

    bool IsConstant(std::size_t points) const {
        return !(square > kConstant * kConstant * static_cast<double>(points));
    }
};

class Overlay {
  public:
    Overlay(const Curve& curve, const MeasuredPoints& measured, std::span<double> calculated)
        : curve_(curve),
          measured_(measured),
          calculated_(calculated),
          of_measured_(Moments::Of(measured.value)) {}

    bool IsMeasuredConstant() const { return of_measured_.IsConstant(calculated_.size()); }
    bool IsCalculatedConstant() const { return of_calculated_.IsConstant(calculated_.size()); }

    /// Correlation with the curve at a shift; 0 when the curve is constant.
    double At(double shift) {
        curve_.At(measured_.frequency, shift, calculated_);
        of_calculated_ = Moments::Of(calculated_);
        if (IsCalculatedConstant()) return 0.0;
        double product = 0.0;
        for (std::size_t i = 0; i < calculated_.size(); ++i) {
            product += (calculated_[i] / of_calculated_.size - of_calculated_.mean) *
                       (measured_.value[i] / of_measured_.size - of_measured_.mean);
        }
        return product / std::sqrt(of_calculated_.square * of_measured_.square);
    }

    /// Scale, offset and what is left, at the shift that was looked at last.
    void Fit(double correlation, Comparison& to) const {
        const double slope = correlation * std::sqrt(of_measured_.square / of_calculated_.square);
        to.scale = slope * (of_measured_.size / of_calculated_.size);
        to.offset = (of_measured_.mean - slope * of_calculated_.mean) * of_measured_.size;
        to.correlation = correlation;
        double sum = 0.0;
        for (std::size_t i = 0; i < calculated_.size(); ++i) {
            const double left =
                measured_.value[i] / of_measured_.size - of_measured_.mean -
                slope * (calculated_[i] / of_calculated_.size - of_calculated_.mean);
            sum += left * left;
        }
        to.residual_rms =
            std::sqrt(sum / static_cast<double>(calculated_.size())) * of_measured_.size;
    }

  private:
    const Curve& curve_;
    const MeasuredPoints& measured_;
    std::span<double> calculated_;
    Moments of_measured_, of_calculated_;
};

// The residual is least where the square of the correlation is greatest.
double BestShift(Overlay& overlay, double largest, int steps) {
    const auto gain = [&](double shift) {
        const double correlation = overlay.At(shift);
        return correlation * correlation;
    };
    const double step = largest / steps;
    double best = 0.0, most = gain(0.0);
    for (int i = -steps; i <= steps; ++i) {
        const double shift = i * step, found = gain(shift);
        if (found > most) most = found, best = shift;
    }
    double low = std::max(best - step, -largest), high = std::min(best + step, largest);
    double left = high - kGolden * (high - low), right = low + kGolden * (high - low);
    double left_gain = gain(left), right_gain = gain(right);
    for (int i = 0; i < kSections; ++i) {
        if (left_gain > right_gain) {
            high = right, right = left, right_gain = left_gain;
            left = high - kGolden * (high - low), left_gain = gain(left);
        } else {
            low = left, left = right, left_gain = right_gain;
            right = low + kGolden * (high - low), right_gain = gain(right);
        }
    }
    const double refined = left_gain > right_gain ? left : right;
    return std::max(left_gain, right_gain) > most ? refined : best;
}

Error NotComparable(ErrorCode code, const char* text) { return {code, text, ""}; }

Status CheckMeasured(const MeasuredPoints& measured, bool has_shift) {
    if (measured.frequency.size() != measured.value.size()) {
        return NotComparable(ErrorCode::OutOfRange,
                             "every point of a measured spectrum has a frequency and a value");
    }
    if (measured.value.size() < 3U + (has_shift ? 1U : 0U)) {
        return NotComparable(
            ErrorCode::OutOfRange,
            has_shift ? "scale, offset and shift need at least 4 measured points in the range"
                      : "scale and offset need at least 3 measured points in the range");
    }
    if (!std::all_of(measured.value.begin(), measured.value.end(),
                     [](double value) { return std::isfinite(value); })) {
        return NotComparable(ErrorCode::OutOfRange, "a measured value is not a number");
    }
    return CheckFrequencies(measured.frequency);
}

}  // namespace

Result<Comparison> CompareSpectrum(const Sticks& sticks, const LineProfile& profile,
                                   const MeasuredPoints& measured,
                                   std::optional<double> largest_shift, const Memory& memory) {
    KIV_TRY(CheckMeasured(measured, largest_shift.has_value()));
    const Result<Profile> usable = Profile::Of(profile);
    if (!usable) return usable.error();
    const double largest = largest_shift.value_or(0.0);
    if (largest_shift && !(largest > 0.0 && std::isfinite(largest))) {
        return NotComparable(ErrorCode::BadChoice, "the largest shift is a positive number");
    }
    const double in_steps = largest / (kScanStep * WidthOf(profile));
    const int steps =
        static_cast<int>(std::ceil(std::clamp(in_steps, 1.0, static_cast<double>(kMostScanSteps))));

    Curve::Range range{measured.frequency.front() - largest, measured.frequency.back() + largest,
                       static_cast<double>(measured.value.size())};
    if (largest_shift) range.times = 2.0 * steps + kSections;
    const Result<Curve> curve = Curve::Of(sticks, profile, range, memory);
    if (!curve) return curve.error();
    Comparison comparison;
    const std::size_t num = measured.value.size();
    if (!comparison.calculated.Take(memory, static_cast<std::int64_t>(num))) {
        return NoMemory("the spectrum");
    }
    Overlay overlay(curve.value(), measured, comparison.calculated.Part(0, num));
    if (overlay.IsMeasuredConstant()) {
        return NotComparable(ErrorCode::BadInput,
                             "the measured spectrum is constant in the range; nothing can be "
                             "compared with it");
    }
    if (largest_shift) {
        comparison.shift = BestShift(overlay, largest, steps);
        comparison.shift_at_limit = std::fabs(comparison.shift) > (1.0 - 1e-6) * largest;
    }
    const double correlation = overlay.At(comparison.shift);
    if (overlay.IsCalculatedConstant()) {
        return NotComparable(ErrorCode::NoLines,
                             "the calculated spectrum is constant at the measured points; no line "
                             "reaches them");
    }
    overlay.Fit(correlation, comparison);
    return comparison;
}

}  // namespace kiv
