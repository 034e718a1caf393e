// Rows of .cat files against printf and the values of the catalogue.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "catalog/QuickLg.h"
#include "products/LineTexts.h"

namespace kiv {
namespace {

constexpr double kMHzPerWavenumber = 29979.2458;
constexpr double kQ = 5000.0;

// Lines of a rotor up to J = 25, or of a band of two.
struct Rotor {
    Model model;
    Workspace work;
    Report report;
    Levels lower, upper;
    LineList lines;
    CatalogSource source;

    Rotor(bool one_state, double temperature, double per_kelvin, double min_intensity = 1e-6) {
        model.one_state = one_state;
        model.lower() = State::Rigid(60778.0, 10318.0, 8799.0);
        model.upper() = State::Rigid(61234.5, 10290.0, 8777.0);
        model.moment.component = {0.5, -1.6, 0.3};
        model.origin.value = one_state ? 0.0 : -40000.0;  // many negative frequencies
        lower = SolveLevels(model.lower(), 25, work).value();
        if (!one_state) upper = SolveLevels(model.upper(), 25, work).value();
        source.rules.temperature = temperature;
        source.rules.energy_per_kelvin = per_kelvin;
        source.rules.min_intensity = min_intensity;
        source.rules.spin_weights = {3, 1, 99, 2};
        source.lower = &lower;
        source.upper = one_state ? &lower : &upper;
        source.zero = LowestEnergy(model, lower, *source.upper);
        source.origin = {0.0, model.origin.value};
        source.moment = model.moment.component;
        lines = ComputeLines(model, lower, *source.upper, source.rules, nullptr, LineChoice::All,
                             work, report)
                    .value();
        source.lines = &lines;
    }
};

std::string Fixed(int width, int digits, double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%*.*f", width, digits, value);
    return text;
}

std::string Lettered(int value) {
    if (value < 1000) return Fixed(3, 0, value);
    if (value >= 3600) return "***";
    const std::string rest = std::to_string(100 + value % 100).substr(1);
    return static_cast<char>('A' + (value - 1000) / 100) + rest;
}

std::string Quanta(const LevelLabel& level, int v, bool two_states) {
    std::string text;
    for (const int q : {level.J, level.Ka, level.Kc}) text += Fixed(2, 0, q);
    return text + (two_states ? Fixed(2, 0, v) : "  ") + "    ";
}

std::string RowOf(const CatalogLine& line, bool two_states) {
    const bool is_swapped = line.frequency < 0.0;
    const LevelLabel &high = is_swapped ? line.lower : line.upper,
                     &low = is_swapped ? line.upper : line.lower;
    const double energy = is_swapped ? line.upper_energy : line.lower_energy;
    return Fixed(13, 4, std::fabs(line.frequency)) + "  0.0000" +
           Fixed(8, 4, std::max(line.lg, -99.9999)) + " 3" +
           Fixed(10, 4, energy * (1.0 / kMHzPerWavenumber)) +
           Lettered(line.spin_weight * (2 * high.J + 1)) + "     77" +
           (two_states ? "1404" : " 303") + Quanta(high, is_swapped ? 0 : 1, two_states) +
           Quanta(low, is_swapped ? 1 : 0, two_states) + " \n";
}

void ExpectRows(Rotor& rotor, double kT, double min_lgint, int least_rows = 700) {
    const AbsoluteIntensity absolute(kT, kQ, 1.0);
    const Catalog catalog =
        Catalog::From(rotor.source, CatalogOrder::Printed, kCatStep, rotor.work).value();
    LineTable table{catalog, absolute};
    table.wavenumbers = 1.0 / kMHzPerWavenumber;
    table.two_states = !rotor.model.one_state;
    table.v_upper = table.two_states ? 1 : 0;
    table.min_lgint = min_lgint;
    table.tag = 77;
    std::string expected;
    std::int32_t rows = 0;
    for (std::int32_t i = 0; i < catalog.size(); ++i) {
        const CatalogLine line = catalog.Line(i, absolute);
        if (line.lg < min_lgint || !std::isfinite(line.lg)) continue;
        expected += RowOf(line, table.two_states);
        ++rows;
    }
    ASSERT_GT(rows, least_rows);
    for (const int num : {1, 3}) {
        Threads threads(num);
        StringSink sink;
        EXPECT_EQ(WriteCatLines(sink, table, &threads), rows);
        EXPECT_TRUE(sink.text() == expected);
    }
}

// Intensities at the temperature of the catalogue with the same Boltzmann constant and a slightly
// different one, at another temperature, and strengths; one limit is the lg of a line.
TEST(CatLines, RowsAreThoseOfPrintf) {
    constexpr double kNone = -std::numeric_limits<double>::infinity();
    for (const double temperature : {300.0, 4.0, 0.0}) {
        for (const double difference : {0.0, 5.7e-6, 0.1}) {
            Rotor rotor(true, temperature, kMHzPerKelvin * (1.0 + difference));
            const double kT = kMHzPerKelvin * (temperature > 0.0 ? temperature : 300.0);
            ExpectRows(rotor, kT, kNone);
            const Catalog catalog =
                Catalog::From(rotor.source, CatalogOrder::Printed, kCatStep, rotor.work).value();
            ExpectRows(rotor, kT, catalog.Line(7, AbsoluteIntensity(kT, kQ, 1.0)).lg);
        }
    }
    Rotor band(false, 300.0, kMHzPerKelvin);
    ExpectRows(band, 300.0 * kMHzPerKelvin, kNone);
}

// Texts are made of the levels that fewer lines than levels need.
TEST(CatLines, FewRowsAreThoseOfPrintf) {
    constexpr double kNone = -std::numeric_limits<double>::infinity();
    for (const bool one_state : {true, false}) {
        Rotor rotor(one_state, 300.0, kMHzPerKelvin, one_state ? 400.0 : 200.0);
        ASSERT_LT(static_cast<std::size_t>(rotor.lines.size), rotor.lower.size());
        ExpectRows(rotor, 300.0 * kMHzPerKelvin, kNone, 50);
    }
}

TEST(QuickLg, IsNearTheWholeWay) {
    for (int exponent = -126; exponent < 128; ++exponent) {
        for (float m = 1.0F; m < 2.0F; m += 0.0137F) {
            const float x = std::ldexp(m, exponent);
            ASSERT_NEAR(QuickLg::Log10(x), std::log10(static_cast<double>(x)), 2e-11) << x;
        }
    }
    for (const double temperature : {300.0, 4.0}) {
        for (const double difference : {0.0, 5.7e-6, -1.9e-5, 2.1e-5}) {
            const Rotor rotor(true, temperature, kMHzPerKelvin / (1.0 + difference));
            Workspace work;
            const AbsoluteIntensity absolute(kMHzPerKelvin * temperature, kQ, 1.0);
            const Catalog catalog =
                Catalog::From(rotor.source, CatalogOrder::Printed, kCatStep, work).value();
            QuickLg quick(rotor.source, absolute);
            for (std::size_t level = 0; level < rotor.lower.size(); ++level) quick.SetLevel(level);
            QuickLg::Run run;
            int told = 0;
            for (std::int32_t i = 0; i < catalog.size(); ++i) {
                const CatalogLine line = catalog.Line(i, absolute);
                run.position[0] = line.frequency;
                run.intensity[0] = line.intensity;
                run.lower[0] = static_cast<std::size_t>(line.lower_level);
                run.upper[0] = static_cast<std::size_t>(line.upper_level);
                quick.Tell(run, 1);
                const double lg = run.lg[0];
                if (std::isnan(lg)) continue;
                ASSERT_NEAR(lg, line.lg, 0.3 * QuickLg::kError) << line.frequency;
                ++told;
            }
            const bool is_same = std::fabs(difference) < 2e-5;
            EXPECT_TRUE(is_same ? told > catalog.size() * 9 / 10 : told == 0) << told;
        }
    }
}

}  // namespace
}  // namespace kiv
