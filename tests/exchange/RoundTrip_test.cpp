// Files written from random models and lines, read again.
#include <gtest/gtest.h>

#include <random>

#include "Sets.h"
#include "exchange/MeasuredLines.h"
#include "exchange/WriteParameters.h"
#include "named/LineFile.h"

namespace kiv {
namespace {

class Random {
  public:
    explicit Random(std::uint32_t seed) : engine_(seed) {}

    int Upto(int most) { return static_cast<int>(engine_() % static_cast<unsigned>(most + 1)); }
    bool Coin() { return Upto(1) == 1; }
    /// All digits, magnitudes over many powers of ten.
    double Real(double scale) {
        const double fraction = (engine_() + engine_() / 4294967296.0) / 4294967296.0;
        return scale * (0.1 + fraction);
    }

  private:
    std::mt19937 engine_;
};

NamedInput RandomInput(Random& random) {
    NamedInput input;
    input.title = "model " + std::to_string(random.Upto(999));
    input.two_states = random.Coin();
    const Reduction reduction = random.Coin() ? Reduction::A : Reduction::S;
    for (NamedState& state : input.states) {
        state.reduction = reduction;
        double scale = 1e5;
        for (const Constant c : kListedConstants) {
            const bool is_cubic = c >= Constant::PZ3 && c <= Constant::PZ5;
            if ((c >= Constant::PX && c <= Constant::PYPZ) || is_cubic) continue;
            scale *= c <= Constant::C ? 0.9 : 0.2;
            if (c > Constant::C && random.Upto(3) == 0) continue;
            const double sign = c > Constant::C && random.Coin() ? -1.0 : 1.0;
            state.terms[c] = {sign * random.Real(scale), random.Coin()};
        }
        if (!input.two_states) break;
    }
    if (!input.two_states) input.upper() = NamedState{};
    if (input.two_states) input.origin = {random.Real(1e7), random.Coin()};
    const int even = random.Upto(9), odd = 1 + random.Upto(8);
    const std::array<std::int32_t, 4> weights[] = {
        {even, even, odd, odd}, {even, odd, even, odd}, {even, odd, odd, even}};
    input.spectrum.rules.spin_weights = weights[random.Upto(2)];
    if (random.Coin()) input.fit.reject = random.Real(10.0);
    input.fit.cycles = 20 + random.Upto(30);
    return input;
}

TEST(RoundTrip, ParametersThereAndBack) {
    Random random(20240607);
    for (int i = 0; i < 300; ++i) {
        const NamedInput input = RandomInput(random);
        const WrittenParameters written = WriteParameters(input, 0, 0);
        ASSERT_TRUE(written.refusals.empty()) << written.refusals.front();
        SuiteImport made = Imported(written.text, "", "");
        EXPECT_FALSE(made.findings.has_errors()) << ShortText(made.findings) << written.text;
        made.input.moment.reset();
        EXPECT_EQ(WriteNamed(made.input), WriteNamed(input)) << written.text;
        EXPECT_EQ(WriteParameters(made.input, 0, 0).text, written.text);
    }
}

TEST(RoundTrip, WhatAParameterFileCannotSayIsRefusedByName) {
    const auto refused = [](auto&& change) {
        NamedInput input = Imported(kPar).input;
        change(input);
        std::string names;
        for (const std::string& refusal : WriteParameters(input, 3, 1).refusals) {
            names += refusal.substr(0, refusal.find_first_of(" :")) + " ";
        }
        return names;
    };
    EXPECT_EQ(refused([](NamedInput&) {}), "");
    EXPECT_EQ(refused([](NamedInput& in) { in.lower().tilt.theta = 3.0; }), "lower.tilt ");
    EXPECT_EQ(refused([](NamedInput& in) { in.lower().terms[Constant::PXPZ].value = 1.0; }),
              "lower.PXPZ ");
    EXPECT_EQ(refused([](NamedInput& in) { in.lower().terms[Constant::PZ5].fit = true; }),
              "lower.PZ5 ");
    EXPECT_EQ(refused([](NamedInput& in) {
                  in.spectrum.rules.spin_weights = {1, 2, 3, 4};
              }),
              "spectrum.spin_weights ");
    EXPECT_EQ(refused([](NamedInput& in) { in.fit.weights = FitWeights::Uniform; }),
              "fit.weights ");
    EXPECT_EQ(refused([](NamedInput& in) { in.fit.reject_above = 1.0; }), "fit.reject_above ");
    EXPECT_EQ(refused([](NamedInput& in) {
                  in.two_states = in.relative = true;
                  in.fit.data = NamedData::LowerDifferences;
              }),
              "upper.relative fit.data ");
}

// 1 cm-1 = 29979.2458 MHz.
TEST(RoundTrip, ConstantsInWavenumbersBecomeMHz) {
    NamedInput input = Imported(kPar).input;
    input.unit = EnergyUnit::Wavenumber;
    input.lower().terms[Constant::A].value = 0.5;
    const SuiteImport made = Imported(WriteParameters(input, 3, 1).text);
    EXPECT_DOUBLE_EQ(made.input.lower().terms[Constant::A].value, 14989.6229);
}

std::vector<LineFeature> RandomLines(Random& random, bool two_states) {
    std::vector<LineFeature> features;
    for (int i = 0; i < 30; ++i) {
        LineFeature feature{random.Real(1e6), random.Upto(4) == 0 ? 0.0 : random.Real(0.1), {}};
        const int parts = random.Upto(3) == 0 ? 2 + random.Upto(1) : 1;
        const bool has_weights = parts > 1 || random.Coin();
        for (int k = 0; k < parts; ++k) {
            LineTransition line;
            line.upper.J = 1 + random.Upto(120);
            line.lower.J = line.upper.J - 1;
            for (LineLevel* level : {&line.upper, &line.lower}) {
                level->Ka = random.Upto(level->J);
                level->Kc = level->J - level->Ka + (level->Ka > 0 ? random.Upto(1) : 0);
                level->v = two_states ? random.Upto(1) : 0;
            }
            if (has_weights) line.weight = random.Real(2.0);
            if (random.Upto(4) == 0) line.comment = "remark " + std::to_string(k);
            feature.transitions.push_back(line);
        }
        features.push_back(feature);
        if (random.Upto(9) == 0) features.push_back(feature);  // measured again
    }
    return features;
}

TEST(RoundTrip, LinesThereAndBack) {
    Random random(77);
    for (int i = 0; i < 100; ++i) {
        LineContext context;
        context.two_states = random.Coin();
        const auto features = RandomLines(random, context.two_states);
        const Result<std::string> lin = WriteLineFile(features, LineFormat::Lin, context);
        ASSERT_TRUE(lin.ok());
        Findings findings;
        const auto read = ReadMeasuredLines(lin.value(), context, {"x.lin", findings}).features;
        const Result<std::string> csv = WriteLineFile(read, LineFormat::Csv, context);
        ASSERT_TRUE(csv.ok());
        const auto again = ReadLineFile(csv.value(), LineFormat::Csv, context, "x.csv", findings);
        EXPECT_FALSE(findings.has_errors()) << ShortText(findings);
        EXPECT_EQ(again.size(), features.size());
        const Result<std::string> back = WriteLineFile(again, LineFormat::Lin, context);
        ASSERT_TRUE(back.ok());
        EXPECT_EQ(back.value(), lin.value());
    }
}

}  // namespace
}  // namespace kiv
