// Calculated spectra laid over measured ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <optional>

#include "spectrum/SlowSpectrum.h"

namespace kiv {
namespace {

constexpr double kScale = 3.7e4, kOffset = -12.5, kShift = 0.31;
const LineProfile kProfile{LineShape::Voigt, 0.6, 0.5};

// What a detector sees of some lines, on points that are not equidistant.
struct Measurement {
    std::vector<double> frequency, value;

    Measurement(const RandomLines& lines, std::size_t points, double noise, double scale = kScale,
                double shift = kShift) {
        Dice dice(11);
        for (std::size_t i = 0; i < points; ++i) frequency.push_back(120.0 * dice.Uniform() - 10.0);
        std::sort(frequency.begin(), frequency.end());
        for (const double f : frequency) {
            value.push_back(scale * lines.At(kProfile, f - shift) + kOffset +
                            noise * dice.Normal());
        }
    }

    MeasuredPoints points() const { return {frequency, value}; }
};

Comparison Compared(const RandomLines& lines, const Measurement& measured,
                    std::optional<double> largest_shift = {}) {
    auto made =
        CompareSpectrum(lines.sticks(), kProfile, measured.points(), largest_shift, Memory());
    EXPECT_TRUE(made.ok()) << (made ? "" : made.error().text);
    return made ? std::move(made).value() : Comparison{};
}

TEST(Compare, FindsScaleOffsetAndShiftBack) {
    const RandomLines lines(300, 100.0, 21);
    const Measurement measured(lines, 3000, 0.0);
    const Comparison found = Compared(lines, measured, WidthOf(kProfile));
    EXPECT_NEAR(found.scale / kScale, 1.0, 1e-9);
    EXPECT_NEAR(found.offset, kOffset, 1e-4);
    EXPECT_NEAR(found.shift, kShift, 1e-7);
    EXPECT_NEAR(found.correlation, 1.0, 1e-12);
    EXPECT_FALSE(found.shift_at_limit);
    EXPECT_LT(found.residual_rms, 1e-6 * kScale);
    for (std::size_t i = 0; i < measured.value.size(); i += 100) {
        EXPECT_NEAR(found.Fitted(i), measured.value[i], 1e-6 * kScale);
        EXPECT_NEAR(found.calculated[i], lines.At(kProfile, measured.frequency[i] - found.shift),
                    1e-7);
    }
}

// With noise the errors are those of the least squares: sd / sqrt(sum of squares of the slopes).
TEST(Compare, NoiseIsWhatIsLeft) {
    const RandomLines lines(300, 100.0, 22);
    const double noise = 0.05 * kScale;
    const Measurement measured(lines, 3000, noise);
    const Comparison found = Compared(lines, measured, WidthOf(kProfile));
    EXPECT_NEAR(found.residual_rms / noise, 1.0, 0.05);
    double mean = 0.0, square = 0.0, slope = 0.0;
    for (const double value : found.calculated) mean += value / 3000.0;
    for (std::size_t i = 0; i < 3000; ++i) {
        square += (found.calculated[i] - mean) * (found.calculated[i] - mean);
        const double f = measured.frequency[i] - kShift, h = 1e-3;
        const double d = (lines.At(kProfile, f + h) - lines.At(kProfile, f - h)) / (2.0 * h);
        slope += kScale * kScale * d * d;
    }
    EXPECT_NEAR(found.scale, kScale, 4.0 * noise / std::sqrt(square));
    EXPECT_NEAR(found.shift, kShift, 4.0 * noise / std::sqrt(slope));
    const double all = kScale * kScale * square / 3000.0;
    EXPECT_NEAR(found.correlation * found.correlation, all / (all + noise * noise), 0.01);
}

// Against sums over a few points, by the textbook.
TEST(Compare, IsTheRegressionLine) {
    const RandomLines lines(3, 10.0, 23);
    const std::vector<double> f{-1.0, 2.0, 3.0, 4.5, 9.0}, m{1.0, 7.0, -2.0, 4.0, 5.0};
    auto made = CompareSpectrum(lines.sticks(), kProfile, {f, m}, {}, Memory());
    ASSERT_TRUE(made.ok());
    double s = 0.0, c = 0.0, y = 0.0, cc = 0.0, cy = 0.0, yy = 0.0;
    for (std::size_t i = 0; i < f.size(); ++i) {
        const double value = lines.At(kProfile, f[i]);
        s += 1.0, c += value, y += m[i], cc += value * value, cy += value * m[i], yy += m[i] * m[i];
    }
    const double scale = (s * cy - c * y) / (s * cc - c * c);
    const Comparison& found = made.value();
    EXPECT_NEAR(found.scale / scale, 1.0, 1e-10);
    EXPECT_NEAR(found.offset, (y - scale * c) / s, 1e-10);
    EXPECT_NEAR(found.correlation,
                (s * cy - c * y) / std::sqrt((s * cc - c * c) * (s * yy - y * y)), 1e-10);
    EXPECT_EQ(found.shift, 0.0);
}

TEST(Compare, DipsLimitsAndExtremes) {
    const RandomLines lines(200, 100.0, 24);
    const Comparison dips = Compared(lines, Measurement(lines, 1000, 0.0, -2.0), 0.9);
    EXPECT_NEAR(dips.scale, -2.0, 1e-6);
    EXPECT_NEAR(dips.correlation, -1.0, 1e-9);
    EXPECT_TRUE(Compared(lines, Measurement(lines, 1000, 0.0, 2.0, 0.31), 0.2).shift_at_limit);
    const Comparison huge = Compared(lines, Measurement(lines, 1000, 0.0, 1e300), 0.9);
    EXPECT_NEAR(huge.scale / 1e300, 1.0, 1e-6);
    EXPECT_NEAR(Compared(lines, Measurement(lines, 1000, 0.0, 2.0, 0.0)).correlation, 1.0, 1e-9);
}

struct Refusal {
    std::vector<double> frequency, value;
    std::optional<double> shift;
    ErrorCode code;
    const char* text;
};

TEST(Compare, SaysWhatHasNoAnswer) {
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    const Refusal refusals[] = {
        {{}, {}, {}, ErrorCode::OutOfRange, "at least 3 measured points"},
        {{1, 2}, {1, 2}, {}, ErrorCode::OutOfRange, "at least 3 measured points"},
        {{1, 2, 3}, {1, 2, 1}, 0.5, ErrorCode::OutOfRange, "at least 4 measured points"},
        {{1, 2, 3}, {4, 4, 4}, {}, ErrorCode::BadInput, "measured spectrum is constant"},
        {{1, 2, 3}, {0, 0, 0}, {}, ErrorCode::BadInput, "measured spectrum is constant"},
        {{1, 2, 3}, {1, kNaN, 4}, {}, ErrorCode::OutOfRange, "not a number"},
        {{1, 3, 2}, {1, 2, 4}, {}, ErrorCode::OutOfRange, "ascend"},
        {{1, 2, 3}, {1, 2}, {}, ErrorCode::OutOfRange, "a frequency and a value"},
        {{1, 2, 3, 4}, {1, 2, 3, 5}, -1.0, ErrorCode::BadChoice, "positive"},
        {{9e3, 9.1e3, 9.2e3}, {1, 2, 4}, {}, ErrorCode::NoLines, "no line reaches them"},
        {{9e3, 9.1e3, 9.2e3, 9.3e3}, {1, 2, 4, 1}, 1.0, ErrorCode::NoLines, "no line reaches"},
    };
    const RandomLines lines(20, 10.0, 25);
    const std::vector<double> f{1.0, 2.0, 3.0, 4.0};
    EXPECT_EQ(CompareSpectrum(lines.sticks(), {LineShape::Gauss, kNaN, 0.0}, {f, f}, 1.0, Memory())
                  .error()
                  .code,
              ErrorCode::BadChoice);
    for (const Refusal& refusal : refusals) {
        const auto made =
            CompareSpectrum(lines.sticks(), {LineShape::Gauss, 1.0, 0.0},
                            {refusal.frequency, refusal.value}, refusal.shift, Memory());
        ASSERT_FALSE(made.ok()) << refusal.text;
        EXPECT_EQ(made.error().code, refusal.code) << refusal.text;
        EXPECT_NE(made.error().text.find(refusal.text), std::string::npos) << made.error().text;
    }
}

}  // namespace
}  // namespace kiv
