// Convolved spectra against the plain sum of profiles, and their areas.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numbers>

#include "spectrum/SlowSpectrum.h"

namespace kiv {
namespace {

const LineProfile kProfiles[] = {
    {LineShape::Gauss, 1.0, 0.0}, {LineShape::Lorentz, 0.0, 1.0}, {LineShape::Voigt, 1.0, 0.01},
    {LineShape::Voigt, 0.7, 0.5}, {LineShape::Voigt, 0.05, 1.0},
};

std::vector<double> Values(const Sticks& sticks, const LineProfile& profile,
                           const FrequencyGrid& grid) {
    const Result<Array<double>> made = Convolve(sticks, profile, grid, Memory());
    EXPECT_TRUE(made.ok());
    if (!made) return {};
    return {made.value().begin(), made.value().end()};
}

// The largest deviation from the plain sum at some points, of the highest value.
double WorstOf(const RandomLines& lines, const LineProfile& profile, const FrequencyGrid& grid) {
    const std::vector<double> values = Values(lines.sticks(), profile, grid);
    if (values.size() != static_cast<std::size_t>(grid.size)) return 1.0;
    Dice dice(9);
    double worst = 0.0;
    for (int n = 0; n < 60; ++n) {
        auto i = static_cast<std::size_t>(dice.Uniform() * static_cast<double>(grid.size));
        if (n < 3) i = n == 0 ? 0 : values.size() - static_cast<std::size_t>(n);
        worst = std::max(worst, std::fabs(values[i] - lines.At(profile, grid[i])));
    }
    return worst / *std::max_element(values.begin(), values.end());
}

TEST(Convolve, IsThePlainSum) {
    const RandomLines lines(3000, 1e4, 1);
    const FrequencyGrid grids[] = {
        {-100.0, 0.1, 102000},         // all lines, some of the margin
        {4321.0, 1e-4, 20000},         // within a width
        {4000.03, 0.01, 20000},        // a window
        {-3e5, 37.0, 20000},           // points between which lines are lost
        {12000.0, 0.1, 20000},         // wings alone
        {lines.position[0], 1e-3, 3},  // few points: added one by one
    };
    for (const LineProfile& profile : kProfiles) {
        for (const FrequencyGrid& grid : grids) {
            const bool is_empty = profile.shape == LineShape::Gauss && grid.first > 1e4;
            if (is_empty) {
                EXPECT_EQ(Values(lines.sticks(), profile, grid), std::vector<double>(20000, 0.0));
            } else {
                EXPECT_LT(WorstOf(lines, profile, grid), 1e-8)
                    << static_cast<int>(profile.shape) << " " << profile.lorentz << " "
                    << grid.first;
            }
        }
    }
}

// A faint line among the wings of strong ones that lie far outside.
TEST(Convolve, FarLinesKeepTheirWings) {
    RandomLines lines(5000, 100.0, 2);
    for (float& intensity : lines.intensity) intensity = 0.0F;
    lines.position[0] = 1e7, lines.intensity[0] = 1e9F;
    lines.position[1] = -3e5, lines.intensity[1] = 1e6F;
    lines.position[2] = 50.0, lines.intensity[2] = 1e-3F;
    for (const LineProfile& profile : kProfiles) {
        EXPECT_LT(WorstOf(lines, profile, {0.0, 0.05, 2000}), 1e-8);
        EXPECT_LT(WorstOf(lines, profile, {1e7 - 50.0, 0.05, 2000}), 1e-8);
    }
}

// The sum over a fine grid is the integral; of Lorentzian tails the rest is their closed form.
TEST(Convolve, AreasAreIntensities) {
    const RandomLines lines(2000, 500.0, 3);
    for (const LineProfile& profile : kProfiles) {
        const FrequencyGrid grid{-1000.0, 0.05, 50000};  // to 1500
        const std::vector<double> values = Values(lines.sticks(), profile, grid);
        double area = 0.0, tails = 0.0;
        for (const double value : values) area += value * grid.step;
        const double half = 0.5 * (profile.shape == LineShape::Gauss ? 0.0 : profile.lorentz);
        const double low = grid.first - 0.5 * grid.step;
        const double high = low + static_cast<double>(grid.size) * grid.step;
        for (std::size_t n = 0; n < lines.position.size(); ++n) {
            tails += static_cast<double>(lines.intensity[n]) / std::numbers::pi *
                     (std::atan2(half, lines.position[n] - low) +
                      std::atan2(half, high - lines.position[n]));
        }
        EXPECT_NEAR((area + tails) / lines.Area(), 1.0, 1e-9) << profile.lorentz;
    }
}

TEST(Convolve, GivenPointsAreThoseOfTheGrid) {
    const RandomLines lines(4000, 1000.0, 4);
    std::vector<double> points;
    Dice dice(5);
    for (int i = 0; i < 5000; ++i) points.push_back(1000.0 * std::pow(dice.Uniform(), 3.0));
    points.push_back(points.back());
    std::sort(points.begin(), points.end());
    for (const LineProfile& profile : kProfiles) {
        const auto made = ConvolveAt(lines.sticks(), profile, points, Memory());
        ASSERT_TRUE(made.ok());
        const double peak = *std::max_element(made.value().begin(), made.value().end());
        for (std::size_t i = 0; i < points.size(); i += 97) {
            EXPECT_NEAR(made.value()[i] / peak, lines.At(profile, points[i]) / peak, 1e-8);
        }
    }
}

TEST(Convolve, NothingComesOfNothing) {
    const LineProfile profile{LineShape::Voigt, 1.0, 1.0};
    EXPECT_EQ(Values({}, profile, {0.0, 1.0, 3}), std::vector<double>(3, 0.0));
    EXPECT_TRUE(Values(RandomLines(5, 1.0, 6).sticks(), profile, {0.0, 1.0, 0}).empty());
}

TEST(Convolve, RefusesWhatCannotBeCalculated) {
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInf = std::numeric_limits<double>::infinity();
    const RandomLines good(10, 10.0, 7);
    const FrequencyGrid grid{0.0, 1.0, 10};
    const auto code = [&](const RandomLines& lines, const LineProfile& profile,
                          const FrequencyGrid& points, const Memory& memory = Memory()) {
        const auto made = Convolve(lines.sticks(), profile, points, memory);
        return made ? ErrorCode::Cancelled : made.error().code;
    };
    const LineProfile gauss{LineShape::Gauss, 1.0, 0.0};
    for (const LineProfile& bad :
         {LineProfile{LineShape::Gauss, 0.0, 1.0}, LineProfile{LineShape::Gauss, kNaN, 0.0},
          LineProfile{LineShape::Lorentz, 1.0, -1.0}, LineProfile{LineShape::Voigt, 0.0, 0.0},
          LineProfile{LineShape::Voigt, 1.0, -0.5}, LineProfile{LineShape::Voigt, kInf, 1.0}}) {
        EXPECT_EQ(code(good, bad, grid), ErrorCode::BadChoice);
        EXPECT_TRUE(std::isnan(ProfileAt(bad, 1.0)));
    }
    for (const FrequencyGrid& bad : {FrequencyGrid{0.0, 0.0, 9}, FrequencyGrid{0.0, 1.0, -1},
                                     FrequencyGrid{kNaN, 1.0, 9}, FrequencyGrid{1e40, 1.0, 9}}) {
        EXPECT_EQ(code(good, gauss, bad), ErrorCode::OutOfRange);
    }
    RandomLines lost = good, bright = good;
    lost.position[3] = kInf;
    bright.intensity[3] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(code(lost, gauss, grid), ErrorCode::OutOfRange);
    EXPECT_EQ(code(bright, gauss, grid), ErrorCode::OutOfRange);
    EXPECT_EQ(code(good, gauss, {0.0, 1.0, 10000}, Memory(1000)), ErrorCode::NoMemory);
    const RandomLines many(5000, 10.0, 7);
    for (std::int64_t granted = 0; granted < 12; ++granted) {
        Memory memory;
        memory.RefuseAfter(granted);
        EXPECT_EQ(code(many, {LineShape::Lorentz, 0.0, 1.0}, {0.0, 0.01, 1000}, memory),
                  ErrorCode::NoMemory)
            << granted;
    }
    const std::vector<double> unsorted{1.0, 3.0, 2.0};
    EXPECT_FALSE(ConvolveAt(good.sticks(), gauss, unsorted, Memory()).ok());
}

}  // namespace
}  // namespace kiv
