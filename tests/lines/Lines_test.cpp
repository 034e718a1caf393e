// Positions, strengths and weights of lines, and which pairs are lines.

#include <cmath>
#include <iterator>
#include <random>
#include <vector>

#include "lines/Boltzmann.h"
#include "lines/BoltzmannFactors.h"
#include "lines/LineTest.h"
#include "support/SlowRotor.h"

namespace kiv {
namespace {

// The moment on the axes of the basis.
std::array<double, 3> SlowMoment(const Model& model) {
    const auto g = SlowAxes(model.states[model.moment.frame].tilt);
    const auto& [a, b, c] = model.moment.component;
    std::array<double, 3> turned{};  // x, y, z = b, c, a
    for (std::size_t i = 0; i < 3; ++i) turned[i] = g[i][0] * b + g[i][1] * c + g[i][2] * a;
    return {turned[2], turned[0], turned[1]};
}

// Every line against the strength from 3j symbols between independently solved states, and every
// pair of levels accounted for.
void ExpectSlowStrengths(const Calculation& calculation) {
    const auto lines = ByLabel(calculation.Run());
    const auto moment = SlowMoment(calculation.model);
    std::vector<SlowLevels> lower, upper;
    for (int J = 0; J <= calculation.settings.max_J; ++J) {
        lower.push_back(SlowSolve(J, calculation.model.lower()));
        upper.push_back(SlowSolve(J, calculation.model.upper()));
    }
    ForEachPair(calculation.settings.max_J, [&](int Jl, int Ju, int l, int u) {
        const double slow =
            SlowStrength(Jl, SlowVector(lower[Jl], l), Ju, SlowVector(upper[Ju], u), moment);
        const auto found = lines.find(LabelOf(Jl, Ju, l, u));
        const Line line = found == lines.end() ? Line{} : found->second;
        EXPECT_NEAR(line.intensity, slow, 1e-5) << Ju << "," << u << " <- " << Jl << "," << l;
        const double position = 100.0 + upper[Ju].energy[u] - lower[Jl].energy[l];
        EXPECT_TRUE(found == lines.end() || std::fabs(line.position - position) < 1e-9);
    });
}

// Real states with all, one and no symmetry and complex states, with moments of many sign patterns;
// the terms in both states or in one, which then has less symmetry than the other; real states as
// complex ones, too.
TEST(Lines, HaveTheStrengthsOfThe3jSymbols) {
    using enum Constant;
    const std::vector<std::vector<Constant>> term_sets = {
        {}, {PZ}, {PX}, {PXPZ}, {PZ, PX3}, {PXPY}, {PY}, {PYPZ}, {PX, PY, PZ, PXPY, PZ2PY, PY3}};
    for (std::size_t set = 0; set < term_sets.size(); ++set) {
        for (std::size_t signs = set % 3; signs < 8; signs += 3) {
            Calculation calculation{.settings = Strengths(3), .force_complex = signs >= 4};
            const std::size_t only = signs / 3;
            for (const StateIndex state : {kLower, kUpper}) {
                if (only == (state == kLower ? 1U : 0U)) continue;
                for (const Constant c : term_sets[set]) {
                    calculation.model.states[state].Set(c, state == kLower ? 0.4 : 0.3);
                }
            }
            std::array<double, 3> percent = {20, 30, 50};
            for (std::size_t i = 0; i < 3; ++i) percent[i] *= (signs >> i & 1) != 0 ? -1.0 : 1.0;
            calculation.model.moment = Moment::FromPercent(percent);
            ExpectSlowStrengths(calculation);
        }
    }
}

TEST(Lines, OfTurnedAxesHaveTheStrengthsOfThe3jSymbols) {
    const EulerAngles tilts[] = {{},          {0, 35, 0}, {25, -40, 60},
                                 {90, 90, 0}, {30, 0, 0}, {90, 25, 0}};
    for (int i = 1; i < 36; ++i) {
        Calculation calculation{.settings = Strengths(2)};
        calculation.model.lower().tilt = tilts[i / 6];
        calculation.model.upper().tilt = tilts[i % 6];
        calculation.model.moment = Moment::FromAngles(-2.0, 50, 20);
        calculation.model.moment.frame = i % 6 == 0 ? kLower : kUpper;
        ExpectSlowStrengths(calculation);
    }
}

// The lines of one state are those of two equal states that go up in energy, also where levels
// agree but for rounding and stand in no order: unresolved doublets, a nearly spherical top.
TEST(Lines, OfOneStateGoUp) {
    for (const State& rotor :
         {State::Rigid(60778.0, 10318.0, 8799.0), State::Rigid(7.3 + 1e-13, 7.3, 7.3 - 1e-13)}) {
        Calculation calculation{.model = OneState(), .settings = Strengths(30)};
        calculation.model.states = {rotor, rotor};
        calculation.settings.lines.delta_K = 6;
        const LineList list = calculation.Run();
        calculation.model.one_state = false;
        auto expected = ByLabel(calculation.Run());
        std::erase_if(expected, [](const auto& line) { return line.second.position < 0.0; });
        EXPECT_GT(list.size, 5000);
        ASSERT_EQ(static_cast<std::size_t>(list.size), expected.size());
        for (std::int32_t n = 0; n < list.size; ++n) {
            const Label q = LabelOf(list, n);
            EXPECT_EQ(list.position[n], expected.at(q).position);
            EXPECT_EQ(list.intensity[n], expected.at(q).intensity);
            EXPECT_EQ(list.upper_level[n], q[0] * q[0] + q[0] + q[1] - q[2]);
            EXPECT_EQ(list.lower_level[n], q[3] * q[3] + q[3] + q[4] - q[5]);
        }
    }
}

// Sum of the strengths from one lower level: (2J''+1) mu^2; forbidden lines do not exist.
TEST(Lines, ObeyTheSumRuleAndTheSelectionRules) {
    Calculation calculation{.settings = Strengths(30)};
    calculation.model.lower() = State::Rigid(60.0, 10.3, 8.8);  // unresolved doublets
    std::vector<double> sum(31 * 31, 0.0);
    for (const auto& [label, line] : ByLabel(calculation.Run())) {
        const auto& [Ju, kau, kcu, Jl, kal, kcl] = label;
        EXPECT_TRUE((kau - kal) % 2 != 0 || (kcu - kcl) % 2 != 0);
        sum[Jl * Jl + Jl + kal - kcl] += line.intensity;
    }
    for (int i = 0; i < 30 * 30; ++i) {
        const double expected = 2.0 * std::floor(std::sqrt(i)) + 1.0;
        EXPECT_NEAR(sum[i], expected, 1e-5 * expected) << i;
    }
}

TEST(Lines, AreWeightedByTemperature) {
    struct Case {
        double temperature2, weight2;
        bool one_state;
        double factor;
    };
    // levels 1(0,1) and 1(1,1) at B + C = 1e5 and A + C = 1.2e5 MHz at T1 = 5 K, by hand calculator
    const Label label = {1, 1, 1, 1, 0, 1};
    Calculation calculation{.model = OneState(), .settings = Strengths(1)};
    for (State& state : calculation.model.states) state = State::Rigid(75000, 55000, 45000);
    const double strength = ByLabel(calculation.Run()).at(label).intensity;
    for (const Case& c : {Case{0, 0, false, 0.382952954034}, Case{50, 0.3, false, 0.655496434135},
                          Case{0, 0, true, 0.133778669822}, Case{50, 0.3, true, 0.144142831358}}) {
        calculation.model.one_state = c.one_state;
        LineRules& rules = calculation.settings.lines;
        rules.temperature = 5.0;
        rules.temperature2 = c.temperature2;
        rules.weight2 = c.weight2;
        rules.energy_per_kelvin = 20836.7381265;
        const Line line = ByLabel(calculation.Run()).at(label);
        EXPECT_NEAR(line.intensity / strength, c.factor, 2e-7 * c.factor);
    }
}

// A difference of two exponentials, also where its usual form, exp(-E''/kT) (1 - exp(-dE/kT)), is
// 0 times infinity or not finite; all other factors are that form to the last bit.
TEST(Boltzmann, IsNeverNotANumber) {
    const double energies[] = {0.0, 1e-3, 3.7, 39.0, 71.0, 650.0, 760.0, 2500.0, 1e6};
    int mended = 0;
    for (const double T2 : {0.0, 0.4, 3.0}) {
        LineRules rules;
        rules.temperature = rules.energy_per_kelvin = 1.0;
        rules.temperature2 = T2;
        rules.weight2 = 0.3;
        for (const double lower : energies) {
            Boltzmann weights(rules, true);
            weights.SetLower(lower);
            for (const double upper : energies) {
                const double dE = upper - lower;
                const auto usual = [&](double weight, double T) {
                    return weight * ExpFunc(-lower / T) * (1.0 - ExpFunc(-dE / T));
                };
                const auto exact = [&](double weight, long double T) {
                    return weight * (std::exp(-lower / T) - std::exp(-upper / T));
                };
                const double first = usual(1.0, 1.0);
                const double expected = (T2 > 0.0 ? usual(0.3, T2) + first : first) * (dE * 0.0001);
                if (std::isfinite(expected)) {
                    EXPECT_EQ(weights.Factor(upper), expected);
                    continue;
                }
                ++mended;
                const long double sum = exact(1.0, 1.0) + (T2 > 0.0 ? exact(0.3, T2) : 0.0L);
                const auto slow = static_cast<double>(sum * dE * 1e-4L);
                EXPECT_NEAR(weights.Factor(upper), slow, 1e-13 * slow + 1e-307)
                    << lower << " " << upper << " " << T2;
            }
        }
    }
    EXPECT_GT(mended, 20);
}

// Pairs of any lower levels side by side, ordinary ones beside those of rare paths.
TEST(Boltzmann, FactorsOfManyPairsAreThoseOfEach) {
    constexpr int kPairs = 1003, kRoom = kPairs + 8;
    const double hard[] = {0.0, -0.0, -3.0, 1e-300, 700.0, 1400.0, 1e6, 1e308, INFINITY, NAN};
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> energy(0.0, 60.0);
    std::vector<double> upper(kRoom), lower(kRoom), x1(kRoom), x2(kRoom), factor(kRoom);
    for (const bool one_state : {true, false}) {
        for (const double weight2 : {0.0, 0.3, -2.0, 1e300, double{INFINITY}}) {
            LineRules rules;
            rules.temperature = rules.energy_per_kelvin = 1.0;
            rules.temperature2 = weight2 != 0.0 ? 0.4 : 0.0;
            rules.weight2 = weight2;
            Boltzmann weights(rules, one_state);
            for (int i = 0; i < kPairs; ++i) {
                const bool is_hard = random() % 8 == 0;
                upper[i] = is_hard ? hard[random() % std::size(hard)] : energy(random);
                lower[i] = is_hard ? hard[random() % std::size(hard)] : energy(random);
                weights.SetLower(lower[i]);
                x1[i] = weights.terms().x1;
                x2[i] = weights.terms().x2;
            }
            FillFactors(
                {weights, kPairs, upper.data(), lower.data(), x1.data(), x2.data(), factor.data()});
            for (int i = 0; i < kPairs; ++i) {
                weights.SetLower(lower[i]);
                const double expected = weights.Factor(upper[i]);
                if (std::isnan(expected) && std::isnan(factor[i])) continue;
                EXPECT_EQ(factor[i], expected) << upper[i] << " " << lower[i] << " " << weight2;
                EXPECT_EQ(std::signbit(factor[i]), std::signbit(expected));
            }
        }
    }
}

// A large origin makes lines of positions above 0 of pairs that go far down in energy.
TEST(Lines, OfOneStateAtLowTemperatureAreNumbers) {
    Calculation calculation{.model = OneState(), .settings = Strengths(8)};
    calculation.model.origin.value = 1e5;
    calculation.settings.lines.temperature = 1e-6;
    const LineList list = calculation.Run();
    EXPECT_GE(list.size, 5);
    for (std::int32_t n = 0; n < list.size; ++n) EXPECT_GE(list.intensity[n], 0.0F) << n;
}

// Spin weights count in the intensity; the amplitudes carry their roots and those of the Boltzmann
// factor, so that they give the intensity, too.
TEST(Lines, CarrySpinWeights) {
    const auto spin = [](const Label& q) {
        return q[4] % 2 != 0 ? (q[5] % 2 != 0 ? 7 : 3) : (q[5] % 2 != 0 ? 0 : 5);
    };
    for (const bool is_complex : {false, true}) {
        Calculation calculation;
        if (is_complex) calculation.model.upper().tilt = {20, 30, -70};
        calculation.settings.lines.temperature = 1e-3;
        auto plain = ByLabel(calculation.Run());
        calculation.settings.lines.spin_weights = {5, 0, 7, 3};
        const LineList list = calculation.Run();
        const auto m = SlowMoment(calculation.model);
        for (std::int32_t n = 0; n < list.size; ++n) {
            const Label q = LabelOf(list, n);
            EXPECT_FLOAT_EQ(list.intensity[n], static_cast<float>(spin(q) * plain.at(q).intensity));
            const float* re = &list.amplitude_real[3 * n];
            const double ab = m[0] * re[0] + m[1] * re[1], c = m[2] * re[2];
            double strength = ab * ab + c * c;
            if (is_complex) {
                const float* im = &list.amplitude_imag[3 * n];
                const double sum = m[0] * im[0] + m[1] * im[1] + m[2] * im[2];
                strength = (ab + c) * (ab + c) + sum * sum;
            }
            EXPECT_NEAR(strength, list.intensity[n], 1e-5 * spin(q)) << n;
        }
        std::erase_if(plain, [&](const auto& line) { return spin(line.first) == 0; });
        EXPECT_EQ(plain.size(), static_cast<std::size_t>(list.size));
    }
}

// Ka' + Ka'' and Kc' + Kc'' of the lines have the parities asked for; even ones have none, as no
// component of the moment has that symmetry.
TEST(Lines, HaveTheParitiesAskedFor) {
    Calculation calculation{.settings = Strengths(5)};
    std::map<Label, Line> selected;
    for (const ParityRule rule : {ParityRule{false, true}, {true, false}, {true, true}}) {
        calculation.settings.lines.parity = rule;
        for (const auto& [label, line] : ByLabel(calculation.Run())) {
            EXPECT_EQ((label[1] + label[4]) % 2 != 0, rule.ka_odd);
            EXPECT_EQ((label[2] + label[5]) % 2 != 0, rule.kc_odd);
            EXPECT_EQ(line.band, rule.ka_odd ? (rule.kc_odd ? 'B' : 'C') : 'A');
            selected[label] = line;
        }
    }
    calculation.settings.lines.parity.reset();
    EXPECT_EQ(selected.size(), ByLabel(calculation.Run()).size());
    calculation.settings.lines.parity = ParityRule{};
    EXPECT_EQ(calculation.Code(), ErrorCode::NoLines);
}

TEST(Lines, StayInTheWindowOfDeltaK) {
    Calculation calculation;
    const auto all = ByLabel(calculation.Run());
    for (const int order : {0, 1, 2, kAllDeltaK, INT32_MAX}) {
        calculation.settings.lines.delta_K = order;
        const auto lines = ByLabel(calculation.Run());
        for (const auto& [label, line] : all) {
            const std::int64_t rank = label[0] + label[1] - label[2];
            const std::int64_t start = 2 * (label[4] - std::int64_t{order}) - 1;
            EXPECT_EQ(lines.contains(label),
                      rank >= start && rank < start + 4 * std::int64_t{order} + 2);
        }
    }
    for (const int order : {-1, -3, INT32_MIN}) {
        calculation.settings.lines.delta_K = order;
        EXPECT_EQ(calculation.Code(), ErrorCode::NoLines);
    }
}

TEST(Lines, NeedLevelsThatFitTogether) {
    const auto code = [](int lower_J, bool lower_complex, int upper_J) {
        Workspace work;
        Report silent;
        const State state = StdRotor();
        const auto lower = SolveLevels(state, lower_J, lower_complex, work, silent);
        const auto upper = SolveLevels(state, upper_J, false, work, silent);
        const auto lines = ComputeLines(TwoStates(), lower.value(), upper.value(), {}, nullptr,
                                        LineChoice::All, work, silent);
        return lines ? ErrorCode::BadInput : lines.error().code;
    };
    EXPECT_EQ(code(3, false, 4), ErrorCode::OutOfRange);
    EXPECT_EQ(code(3, true, 3), ErrorCode::OutOfRange);
    EXPECT_EQ(code(0, false, 0), ErrorCode::NoLines);
}

}  // namespace
}  // namespace kiv
