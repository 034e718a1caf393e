// Absolute intensities, strengths, order, lines within a state: sum rules and closed forms.
#include "kiv/catalog.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <tuple>

#include "support/Rotor.h"

namespace kiv {
namespace {

constexpr std::array<double, 3> kMoment = {0.3, -1.2, 0.5};
constexpr double kMomentSquared = 0.09 + 1.44 + 0.25;

// Energies of the rotor are in MHz / 1000, so that kT lies among them at room temperature.
constexpr double kPerKelvin = 0.1;
constexpr int kMaxJ = 8;

Settings At(double temperature) {
    Settings settings;
    settings.max_J = kMaxJ;
    settings.lines.temperature = temperature;
    settings.lines.energy_per_kelvin = kPerKelvin;
    settings.lines.spin_weights = {3, 1, 2, 5};
    return settings;
}

// A model with its levels and lines, and the source of a catalogue of these.
struct Calculated {
    Model model;
    Settings settings;
    mutable Workspace work;  // shared by what looks at the lines
    Report report;
    Levels lower, upper;
    LineList lines;
    Array<float> strength;
    CatalogSource source;

    Calculated(const Model& of, const Settings& by) : model(of), settings(by) {
        lower = SolveLevels(model.lower(), settings.max_J, work).value();
        if (!model.one_state) upper = SolveLevels(model.upper(), settings.max_J, work).value();
        source.lower = &lower;
        source.upper = model.one_state ? &lower : &upper;
        source.rules = settings.lines;
        source.zero = LowestEnergy(model, lower, *source.upper);
        source.origin = {0.0, model.one_state ? 0.0 : model.origin.value};
        lines = ComputeLines(model, lower, *source.upper, settings.lines, nullptr, LineChoice::All,
                             work, report)
                    .value();
        source.lines = &lines;
        if (!HasFaintLines(source)) return;
        strength = FindStrengths(model, source, work, report).value();
        source.strength = strength.Part(0, strength.size());
    }

    Catalog Sorted(CatalogOrder order = CatalogOrder::Calculated, double step = 0.0) const {
        return Catalog::From(source, order, step, work).value();
    }
};

const AbsoluteIntensity kAny(10.0, 1.0, 1.0);

Model Rotor() {
    Model model;
    model.one_state = true;
    model.lower() = StdRotor();
    model.moment.component = kMoment;
    return model;
}

Model Band(double origin) {
    Model model = Rotor();
    model.one_state = false;
    model.upper() = State::Rigid(9.5, 6.3, 4.1);
    model.origin.value = origin;
    return model;
}

using Key = std::tuple<int, int, int, int, int, int>;
Key KeyOf(const CatalogLine& line) {
    return {line.upper.J, line.upper.Ka, line.upper.Kc, line.lower.J, line.lower.Ka, line.lower.Kc};
}

std::map<Key, CatalogLine> ByKey(const Catalog& catalog) {
    std::map<Key, CatalogLine> lines;
    for (std::int32_t i = 0; i < catalog.size(); ++i) {
        const CatalogLine line = catalog.Line(i, kAny);
        lines[KeyOf(line)] = line;
    }
    return lines;
}

// Whatever the temperature that the intensities have, and with all spin weights.
TEST(Catalog, StrengthsFromALevelSumToTheMomentSquared) {
    for (const double temperature : {0.0, 300.0, 1e5}) {
        const Calculated band(Band(1000.0), At(temperature));
        std::map<std::tuple<int, int, int>, double> sum;
        for (const auto& [key, line] : ByKey(band.Sorted())) {
            sum[{line.lower.J, line.lower.Ka, line.lower.Kc}] += line.strength;
        }
        int checked = 0;
        for (const auto& [level, strength] : sum) {
            const int J = std::get<0>(level);
            if (J == kMaxJ) continue;  // its R lines are not there
            const double whole = kMomentSquared * (2 * J + 1);
            EXPECT_NEAR(strength, whole, 3e-6 * whole) << temperature << " " << J;
            ++checked;
        }
        EXPECT_EQ(checked, kMaxJ * kMaxJ);
    }
}

TEST(Catalog, LgIsThatOfTheDefinition) {
    for (const double kT : {0.02, 6.25e6, 2e9}) {
        for (const double nu : {1e-4, 3.0, 1e5, 2e7}) {
            for (const double E : {0.0, 1e-3, 5e6}) {
                const double kQ = 123.0, kS = 4.5, kMHz = 29979.2458;
                const long double x = static_cast<long double>(nu) / kT;
                const long double lg = std::log10(4.16231e-5L * nu * kMHz * kS / kQ) +
                                       std::log10(-std::expm1(-x)) - E / kT / std::log(10.0L);
                const AbsoluteIntensity absolute(kT, kQ, kMHz);
                EXPECT_NEAR(absolute.Lg(nu, E, kS), static_cast<double>(lg),
                            1e-10 + 1e-15 * static_cast<double>(std::fabs(lg)))
                    << kT << " " << nu << " " << E;
            }
        }
    }
    EXPECT_EQ(kAny.Lg(0.0, 1.0, 1.0), -INFINITY);
    EXPECT_EQ(kAny.Lg(1.0, 1.0, 0.0), -INFINITY);
}

// I Q is a sum over the spin states: that of weights w is w times that of weight 1.
TEST(Catalog, LgIsAdditiveOverSpinWeights) {
    Settings settings = At(20.0);
    const auto weighted = ByKey(Calculated(Rotor(), settings).Sorted());
    settings.lines.spin_weights = {1, 1, 1, 1};
    const auto plain = ByKey(Calculated(Rotor(), settings).Sorted());
    int checked = 0;
    constexpr int kWeights[2][2] = {{3, 1}, {5, 2}};  // by odd Ka, odd Kc
    for (const auto& [key, line] : weighted) {
        if (line.strength < 1e-30) continue;
        ++checked;
        const int w = kWeights[line.lower.Ka % 2][line.lower.Kc % 2];
        EXPECT_EQ(line.spin_weight, w);
        EXPECT_NEAR(line.lg, plain.at(key).lg + std::log10(w), 1e-6);
        EXPECT_NEAR(line.strength, plain.at(key).strength, 1e-6 * line.strength);
    }
    EXPECT_GT(checked, 250);
}

// kT is 5 and the highest level above 600: many intensities are below the range of single
// precision.
TEST(Catalog, FindsStrengthsOfFaintLines) {
    const Calculated cold(Rotor(), At(50.0));
    const auto warm = ByKey(Calculated(Rotor(), At(0.0)).Sorted());
    ASSERT_TRUE(HasFaintLines(cold.source));
    const Catalog catalog = cold.Sorted();
    EXPECT_EQ(catalog.size(), cold.lines.size);
    int faint = 0;
    for (const auto& [key, line] : ByKey(catalog)) {
        EXPECT_EQ(line.strength, warm.at(key).strength);
        faint += line.intensity < 1e-37F ? 1 : 0;
    }
    EXPECT_GT(faint, 20);
}

TEST(Catalog, SortsByFrequencyThenByQuantumNumbers) {
    Model model = Rotor();
    model.lower() = State::Rigid(10.0, 4.0, 4.0);  // pairs of equal levels
    const Calculated top(model, At(0.0));
    const auto check = [](const Catalog& catalog, double step) {
        int ties = 0;
        for (std::int32_t i = 1; i < catalog.size(); ++i) {
            const CatalogLine last = catalog.Line(i - 1, kAny), line = catalog.Line(i, kAny);
            const double a = std::fabs(last.frequency), b = std::fabs(line.frequency);
            if (step == 0.0 ? a < b : std::nearbyint(a / step) < std::nearbyint(b / step)) continue;
            EXPECT_LT(KeyOf(last), KeyOf(line));
            EXPECT_NEAR(a, b, step);
            ++ties;
        }
        return ties;
    };
    EXPECT_GT(check(top.Sorted(), 0.0), 50);
    EXPECT_GT(check(top.Sorted(CatalogOrder::Printed, 0.01), 0.01), 100);
    const Calculated band(Band(-30.0), At(0.0));
    EXPECT_LT(band.Sorted().Line(0, kAny).frequency, 0.0);
    EXPECT_GT(check(band.Sorted(CatalogOrder::Printed, 0.5), 0.5), 100);
}

// They are the lines of the state alone, tilts do not matter; absolutely, those of an upper state
// that is the same but for the origin are fainter by its Boltzmann factor.
TEST(Catalog, LinesWithinAState) {
    constexpr double kOrigin = 40.0;
    const Settings settings = At(200.0);
    const auto alone = ByKey(Calculated(Rotor(), settings).Sorted());
    for (const EulerAngles& tilt : {EulerAngles{}, EulerAngles{20.0, 35.0, -50.0}}) {
        Model model = Band(kOrigin);
        model.upper() = model.lower();
        model.upper().tilt = tilt;
        model.moment.frame = tilt.IsZero() ? kLower : kUpper;
        Workspace work;
        Report report;
        const bool is_complex = NeedsComplex(model.upper());
        for (const StateIndex state : {kLower, kUpper}) {
            if (!tilt.IsZero() && state == kLower) continue;
            const Levels levels =
                SolveLevels(model.states[state], kMaxJ, is_complex, work, report).value();
            const LinesWithin within =
                FindLinesWithin(model, state, levels, settings.lines, {}, work, report).value();
            const double shift = state == kUpper ? kOrigin / 10.0 / std::log(10.0) : 0.0;
            CatalogSource source;
            source.lines = &within.lines;
            source.lower = source.upper = &levels;
            source.rules = settings.lines;
            source.strength = within.strength.Part(0, within.strength.size());
            if (state == kUpper) source.origin = {kOrigin, kOrigin};
            const auto found =
                ByKey(Catalog::From(source, CatalogOrder::Calculated, 0.0, work).value());
            int checked = 0;
            for (const auto& [key, line] : alone) {
                if (line.strength < 1e-6) continue;
                ASSERT_EQ(found.count(key), 1u);
                const CatalogLine& other = found.at(key);
                EXPECT_NEAR(other.frequency, line.frequency, 1e-9);
                EXPECT_NEAR(other.strength, line.strength, 2e-6 * line.strength);
                EXPECT_NEAR(other.intensity, line.intensity, 2e-6 * line.intensity);
                EXPECT_NEAR(other.lg, line.lg - shift, 1e-6);
                ++checked;
            }
            EXPECT_GT(checked, 300);
            const std::array<double, 2> range{20.0, 30.0};
            const LinesWithin part =
                FindLinesWithin(model, state, levels, settings.lines, range, work, report).value();
            for (std::int32_t n = 0; n < part.lines.size; ++n) {
                EXPECT_TRUE(part.lines.Line(n).position >= 20.0 &&
                            part.lines.Line(n).position <= 30.0);
            }
            EXPECT_GT(part.lines.size, 10);
        }
    }
}

// Letter R of a rejected line hides its band type, which the amplitudes tell.
TEST(Catalog, KnowsTheTypeOfRejectedLines) {
    Calculated rotor(Rotor(), At(0.0));
    const auto before = ByKey(rotor.Sorted());
    rotor.source.moment = kMoment;
    for (char& band : rotor.lines.band) band = 'R';
    for (const auto& [key, line] : ByKey(rotor.Sorted())) {
        EXPECT_EQ(line.band, before.at(key).band);
    }
}

TEST(Catalog, ListsLevelsAboveTheLowest) {
    const Calculated band(Band(-1000.0), At(0.0));
    const auto levels = ListLevels(band.model, band.lower, band.upper, band.settings.lines);
    ASSERT_EQ(levels.size(), 2u * (kMaxJ + 1) * (kMaxJ + 1));
    const ListedLevel& first = levels[0];
    EXPECT_TRUE(first.v == 0 && first.block == 1 && first.index == 1);
    EXPECT_DOUBLE_EQ(first.energy, 1000.0);
    EXPECT_TRUE(levels[1].v == 1 && levels[1].block == 5 && levels[1].energy == 0.0);
    std::map<std::pair<int, int>, double> seen;
    for (const ListedLevel& level : levels) {
        EXPECT_TRUE(seen.try_emplace({level.block, level.index}, level.energy).second);
        if (level.index > 1) {
            EXPECT_GE(level.energy, seen.at({level.block, level.index - 1}));
        }
    }
}

}  // namespace
}  // namespace kiv
