#include "named/NamedInput.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <cstring>
#include <random>
#include <set>
#include <tuple>

#include "named/Samples.h"
#include "named/Templates.h"

namespace kiv {
namespace {

std::string FindingsOf(std::string_view text) {
    Findings findings;
    ReadNamed(text, "a.toml", findings);
    return ShortText(findings);
}

NamedInput Read(std::string_view text) {
    Findings findings;
    const auto input = ReadNamed(text, "a.toml", findings);
    EXPECT_EQ(ShortText(findings), "");
    return input.value_or(NamedInput{});
}

std::vector<std::string> LinesOf(std::string_view text) {
    std::vector<std::string> lines;
    for (; !text.empty(); text.remove_prefix(text.find('\n') + 1)) {
        lines.emplace_back(text.substr(0, text.find('\n')));
    }
    return lines;
}

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

// A word of the good file, what stands in its place, and the only finding.
struct Mutation {
    const char *what, *with, *finding;
};
void PrintTo(const Mutation& m, std::ostream* out) { *out << m.what << " -> " << m.with; }

const Mutation kMutations[] = {
    // Words that should be numbers
    {"60778.5", "60778,5", "decimal-comma 5:5"},
    {"60778.5", "60778,5D3", "decimal-comma 5:5"},
    {"60778.5", "6O778,5", "decimal-comma 5:5"},
    {"60778.5", "6.07785D4", "d-exponent 5:5"},
    {"60778.5", "6O778.5  # a comment", "letter-for-digit 5:5"},
    {"60778.5", "sixty thousand", "not-a-number 5:5"},
    {"60778.5", "60,778.5", "not-a-number 5:5"},
    {"60778.5",
     "\xE2\x88\x92"
     "60778.5",
     "not-a-number 5:5"},
    {"60778.5", "nan", "not-a-number 5:5"},
    {"60778.5", "1e999", "out-of-range 5:5"},
    {"1.6331", "1.6331x", "not-a-number 22:12"},
    {"1.6331", "1,6331", "surplus-value 22:20"},
    {"[0.0, 1.6331, 0.0]", "[\n 0.0, # \xC3\xA4 \"\n l.6, 0.0]", "letter-for-digit 24:2"},
    {"= 40", "= 4O", "letter-for-digit 25:9"},
    {"= 7", "= 7,0", "decimal-comma 26:11"},
    // Values that are other than they should be
    {"60778.5", "\"60778.5\"", "wrong-type 5:5"},
    {"60778.5", "[60778.5]", "wrong-type 5:5"},
    {"60778.5", "0.0", "out-of-range 5:5"},
    {"60778.5", "inf", "out-of-range 5:5"},
    {"= 40", "= 40.0", "wrong-type 25:9"},
    {"= 40", "= -1", "out-of-range 25:9"},
    {"= 40", "= 40000", "out-of-range 25:9"},
    {"= 7", "= \"some\"", "bad-choice 26:11"},
    {"200.0", "-1.0", "out-of-range 27:15"},
    {"= 0.5", "= -0.5", "out-of-range 29:11"},
    {"1e4", "3e6", "out-of-range 31:15"},
    {"1, 0, 1, 0", "1, 0, 1, 0.5", "wrong-type 32:26"},
    {"1, 0, 1, 0", "1, 0, -1, 0", "out-of-range 32:23"},
    {"1, 0, 1, 0", "1, 0, 1", "missing-value 32:23"},
    {"1, 0, 1, 0", "", "missing-value 32:16"},
    {"0.0, 1.5, 0.0", "0.0, 1.5, 0.0, 1.0, 2.0", "surplus-value 10:24"},
    {"true", "True", "bad-toml 19:12"},
    {"true", "\"true\"", "wrong-type 19:12"},
    {"\"E\"", "\"X\"", "bad-choice 33:20"},
    {", upper = \"O\"", "", "missing-key 33:10"},
    {"kiv = 1", "kiv = 2", "unknown-version 1:7"},
    {"\"MHz\"", "\"GHz\"", "bad-unit 3:8"},
    {"\"MHz\"", "MHz", "bad-toml 3:8"},
    {"\"S\"", "\"T\"", "bad-choice 13:13"},
    {"\"so2.csv\"", "\"so2.txt\"", "bad-choice 35:9"},
    {"\"so2.csv\"", "so2.csv", "bad-toml 35:9"},
    {"\"uniform\"", "\"none\"", "bad-choice 39:11"},
    {"= 12", "= -12", "out-of-range 37:10"},
    {"= 5.0", "= 0.0", "out-of-range 38:10"},
    // Names
    {"\"DJ\"]", "\"dj\"]", "bad-choice 11:13"},
    {"\"DJ\"]", "\"d1\"]", "wrong-reduction 11:13"},
    {"\"DJ\"]", "\"A\"]", "surplus-value 11:13"},
    {"\"DJ\"]", "\"origin\"]", "bad-choice 11:13"},
    {"\"DJ\"]", "DJ]", "bad-toml 11:13"},
    {"DJ = ", "d1 = ", "wrong-reduction 8:1"},
    {"DJ = ", "J_max = ", "unknown-key 8:1"},
    {"DJ = ", "\"lower.A\" = ", "unknown-key 8:1"},
    {"[lower]", "[lowr]", "unknown-key 4:2"},
    {"[lower]", "[[lower]]", "wrong-type 4:1"},
    {"[moment]\n", "", "unknown-key 21:1\nunknown-key 22:1"},
    {"mu = [0.0, 1.6331, 0.0]", "", "missing-key 21:1"},
    {"mu = [0.0, 1.6331, 0.0]", "magnitude = 1.0", "missing-key 21:1\nmissing-key 21:1"},
    {"frame = \"upper\"", "percent = [0, 100, 0]", "surplus-value 23:1"},
    {"cycles = 12", "reject_above = 1.0", "surplus-value 38:1"},
    {"C = 8799.7\n", "", "missing-key 4:1"},
    {"kiv = 1\n", "", "missing-key 1:1"},
    // No TOML
    {"60778.5", ".5", "bad-toml 5:5"},
    {"60778.5", "060778.5", "bad-toml 5:5"},
    {"60778.5", "60778.5 # \x01", "bad-toml 5:15"},
    {"A = 60778.5", "A 60778.5", "bad-toml 5:3"},
    {"0.0, 1.6331, 0.0", "0.0 1.6331 0.0", "bad-toml 22:11"},
    {"title = \"SO2 ", "title = \"SO2\" ", "bad-toml 2:15"},
    {"\"MHz\"", "\"MHz", "bad-toml 3:12"},
    {"[lower]", "[ &]", "bad-toml 4:3"},
    {"[lower]", "[]", "bad-toml 4:2"},
    {"B = 10318.0", "B\xC2\xA0= 10318.0", "bad-toml 6:2"},
    {"title = \"SO2", "title = \"\"\"a\\\n  \xC3\xA4\"\"\" # ", "bad-toml 3:3"},
};

class MutationTest : public testing::TestWithParam<Mutation> {};

TEST_P(MutationTest, IsFoundOnceAndInItsPlace) {
    const Mutation& m = GetParam();
    EXPECT_EQ(FindingsOf(With(kGood, m.what, m.with)), m.finding);
}
INSTANTIATE_TEST_SUITE_P(, MutationTest, testing::ValuesIn(kMutations));

// Every line in turn: its value left out, doubled, the line doubled, the key misspelt.
TEST(NamedInputTest, EveryLineHasItsOwnFindings) {
    const std::vector<std::string> good = LinesOf(kGood);
    const auto found = [&](std::size_t i, const std::string& line) {
        std::vector<std::string> lines = good;
        lines[i] = line;
        return FindingsOf(Joined(lines));
    };
    for (std::size_t i = 0; i < good.size(); ++i) {
        const std::string& line = good[i];
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) continue;
        SCOPED_TRACE(line);
        const std::string at = " " + std::to_string(i + 1) + ":";
        const std::string key = line.substr(0, equals), value = line.substr(equals + 2);
        EXPECT_EQ(found(i, key + "= # nothing"), "bad-toml" + at + "1");
        EXPECT_EQ(found(i, line + " " + value), "bad-toml" + at + std::to_string(line.size() + 2));
        EXPECT_EQ(found(i, line + "\n" + line), "bad-toml " + std::to_string(i + 2) + ":1");
        if (key == "reduction ") continue;
        EXPECT_EQ(found(i, "x" + line), "unknown-key" + at + "1");
    }
}

TEST(NamedInputTest, OneMistakeDoesNotHideAnother) {
    std::string text = With(With(kGood, "60778.5", "60778,5"), "1.6331", "1.6D0");
    EXPECT_EQ(FindingsOf(text), "decimal-comma 5:5\nd-exponent 22:12");
    text = With(text, "[spectrum]", "[spectrum");
    EXPECT_EQ(FindingsOf(text), "decimal-comma 5:5\nd-exponent 22:12\nbad-toml 24:10");
    EXPECT_EQ(FindingsOf("kiv = 1\nlower = { A = 60778,5, B = 1, C = 1.0, DJ = x }\n"
                         "moment.mu = [1, 0, 0]\n"),
              "decimal-comma 2:15\nnot-a-number 2:45");
}

TEST(NamedInputTest, MessagesSayWhatWasMeant) {
    const auto message = [](std::string_view what, std::string_view with) {
        Findings findings;
        ReadNamed(With(kGood, what, with), "so2.toml", findings);
        return findings.empty() ? "" : TextOf(findings[0]);
    };
    EXPECT_EQ(message("60778.5", "60778,5"),
              "so2.toml:5:5: error: lower.A: \"60778,5\" has a decimal comma, write 60778.5 "
              "[decimal-comma]");
    EXPECT_NE(message("temperature =", "temprature =").find("\"temperature\""), std::string::npos);
    EXPECT_NE(message("cycles", "mu").find("[moment]"), std::string::npos);
    EXPECT_NE(message("\"DJ\"]", "\"DJk\"]").find("\"DJK\""), std::string::npos);
    EXPECT_EQ(message("cycles", "\"\\u001b[31m\"").find('\x1b'), std::string::npos);
}

TEST(NamedInputTest, EverythingIsReadAndPlaced) {
    const std::string text = "\xEF\xBB\xBF" + With(kGood, "SO2", "\xE2\x82\xAC");
    const NamedInput input = Read(text);
    EXPECT_EQ(input.title, "\xE2\x82\xAC \"ground\"");
    EXPECT_EQ(
        std::tuple(input.lower().terms[Constant::A].value, input.lower().terms[Constant::dK].value,
                   input.lower().terms[Constant::DJ].fit, input.lower().terms[Constant::dK].fit),
        std::tuple(60778.5, 0.025, true, false));
    EXPECT_EQ(input.lower().tilt.theta, 1.5);
    EXPECT_EQ(
        std::tuple(input.upper().reduction, input.upper().terms[Constant::B].value,
                   input.upper().terms[Constant::dJ].value, input.upper().terms[Constant::dJ].fit),
        std::tuple(Reduction::S, 10300.0, -0.001, true));
    EXPECT_EQ(std::tuple(input.origin.value, input.origin.fit, input.relative, input.moment->frame),
              std::tuple(1e6, true, true, kUpper));
    EXPECT_EQ(input.moment->values, (std::array{0.0, 1.6331, 0.0}));
    EXPECT_EQ(*input.spectrum.range, (std::array{1e4, 2e6}));
    EXPECT_EQ(std::tuple(input.fit.lines, input.fit.data, input.fit.cycles, *input.fit.reject),
              std::tuple("so2.csv", NamedData::UpperDifferences, 12, 5.0));

    const auto at = [&](const char* path) {
        const Place place = input.places.Of(path);
        return std::to_string(place.line) + ":" + std::to_string(place.column);
    };
    EXPECT_EQ(at("lower.A"), "5:5");
    EXPECT_EQ(at("upper.fit[1]"), "20:18");
    EXPECT_EQ(at("moment.mu[2]"), "22:20");
    EXPECT_EQ(at("spectrum.parity.upper"), "33:33");
    EXPECT_EQ(at("upper.DK"), "12:1");  // not there: the header of its table
    EXPECT_EQ(at("nothing"), "1:1");
}

TEST(NamedInputTest, BecomesModelAndSettings) {
    const NamedInput input = Read(kGood);
    const Model model = ModelOf(input);
    EXPECT_FALSE(model.one_state);
    EXPECT_EQ(model.lower().value(Constant::dK), 0.025);
    EXPECT_EQ(model.upper().value(Constant::dJ), -0.001);  // d1
    // Constants that one state has are there in both.
    for (const Constant c : {Constant::DJ, Constant::dJ, Constant::dK, Constant::A}) {
        EXPECT_TRUE(model.lower().terms[c].on && model.upper().terms[c].on) << NameOf(c);
    }
    EXPECT_FALSE(model.lower().terms[Constant::DK].on);
    EXPECT_TRUE(model.lower().terms[Constant::DJ].fit && model.origin.fit);

    const Settings settings = SettingsOf(input);
    EXPECT_EQ(settings.max_J, 40);
    EXPECT_EQ(settings.lines.energy_per_kelvin, kMHzPerKelvin);
    EXPECT_EQ(settings.lines.spin_weights, (std::array{1, 0, 1, 0}));
    EXPECT_TRUE(!settings.lines.parity->ka_odd && settings.lines.parity->kc_odd);
    EXPECT_EQ(settings.fit.data, FitData::UpperDifferences);
    EXPECT_EQ(settings.fit.weights, FitWeights::Uniform);

    const NamedInput small = Read(
        "kiv = 1\nunit = \"cm-1\"\n[lower]\nA = 3\nB = 2\nC = 1\n"
        "[moment]\nmagnitude = 2\ntheta = 90\nchi = 90\n");
    EXPECT_TRUE(ModelOf(small).one_state);
    const auto mu = ModelOf(small).moment.component;
    EXPECT_NEAR(mu[2], 2.0, 1e-9);
    EXPECT_NEAR(std::hypot(mu[0], mu[1]), 0.0, 1e-9);
    const Settings defaults = SettingsOf(small);
    EXPECT_EQ(defaults.lines.energy_per_kelvin, kWavenumberPerKelvin);
    EXPECT_EQ(std::tuple(defaults.max_J, defaults.lines.delta_K, defaults.lines.temperature,
                         defaults.fit.data, defaults.fit.weights, defaults.fit.cycles),
              std::tuple(35, kAllDeltaK, 300.0, FitData::OneState, FitWeights::Uncertainties, 20));
}

TEST(NamedInputTest, ConstantsAreNamedAsInTheEngine) {
    std::set<Constant> listed(kListedConstants.begin(), kListedConstants.end());
    EXPECT_EQ(listed.size(), std::size_t{kNumConstants});
    for (const Constant c : listed) {
        for (const Reduction reduction : {Reduction::A, Reduction::S}) {
            EXPECT_EQ(ConstantNamed(NameOf(c, reduction)), c);
            EXPECT_EQ(ConstantNamed(NameOf(c, reduction), reduction), c);
        }
    }
    EXPECT_EQ(ConstantNamed("d2", Reduction::A), std::nullopt);
    EXPECT_EQ(ConstantNamed("hJ", Reduction::S), std::nullopt);
    EXPECT_EQ(ConstantNamed("DJJ"), std::nullopt);
}

// ------------------------------------------------------------------------------- round trips

// Numbers of every size, some of them whole.
class AnyInput {
  public:
    NamedInput Next() {
        NamedInput input;
        input.title = Chance() ? "" : "a \"title\" \\ \t\xC3\xA4";
        input.unit = Chance() ? EnergyUnit::MHz : EnergyUnit::Wavenumber;
        input.two_states = Chance();
        Fill(input.lower());
        if (input.two_states) {
            Fill(input.upper());
            input.origin = {Real(), Chance()};
            input.relative = Chance();
        }
        input.moment = {static_cast<MomentForm>(Whole(3)), {std::fabs(Real()), Real(), Real()}};
        if (input.two_states && Chance()) input.moment->frame = kUpper;
        Fill(input.spectrum);
        Fill(input.fit);
        if (!input.two_states) input.fit.data = NamedData::Lines;
        return input;
    }

  private:
    int Whole(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }
    bool Chance() { return Whole(2) == 0; }

    double Real() {
        if (Whole(3) == 0) return Whole(2000) - 1000;
        const std::uint64_t bits = std::uint64_t{random_()} << 32 | random_();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return std::isfinite(value) ? value : 0.1;
    }

    void Fill(NamedState& state) {
        state.reduction = Chance() ? Reduction::A : Reduction::S;
        for (const Constant c : kListedConstants) {
            if (c <= Constant::C) {
                state.terms[c] = {std::fabs(Real()) + 1e-300, Chance()};
            } else if (Chance()) {
                state.terms[c] = {Real(), Chance()};
            }
        }
        if (Chance()) state.tilt = {Real(), 0.0, -0.0};
    }

    void Fill(NamedSpectrum& spectrum) {
        spectrum.max_J = Whole(100);
        spectrum.rules.delta_K = Chance() ? kAllDeltaK : Whole(9);
        spectrum.rules.temperature = std::fabs(Real());
        spectrum.rules.temperature2 = std::fabs(Real());
        spectrum.rules.weight2 = std::fabs(Real());
        spectrum.rules.min_intensity = Real();
        if (Chance()) spectrum.range = {{-std::fabs(Real()), std::fabs(Real())}};
        if (Chance()) spectrum.rules.spin_weights = {Whole(9), Whole(9), Whole(9), Whole(9)};
        if (Chance()) spectrum.rules.parity = ParityRule{Chance(), Chance()};
    }

    void Fill(NamedFit& fit) {
        if (Chance()) fit.lines = "../x y/so2.lin";
        fit.data = static_cast<NamedData>(Whole(3));
        fit.cycles = Whole(50);
        if (Chance()) fit.reject = std::fabs(Real()) + 1e-300;
        if (!fit.reject && Chance()) fit.reject_above = std::fabs(Real());
        fit.weights = Chance() ? FitWeights::Uniform : FitWeights::Uncertainties;
    }

    std::mt19937 random_{7};
};

// All that a document holds, numbers to the last bit.
std::string Fingerprint(const NamedInput& input) {
    std::string text = input.title;
    const auto real = [&](double value) {
        char bits[32];
        std::snprintf(bits, sizeof bits, " %a", value);
        text += bits;
    };
    const auto whole = [&](auto value) { text += " " + std::to_string(static_cast<int>(value)); };
    whole(input.unit), whole(input.two_states), whole(input.relative), whole(input.origin.fit);
    real(input.origin.value);
    for (const NamedState& state : input.states) {
        whole(state.reduction);
        for (const NamedTerm& term : state.terms.values) real(term.value), whole(term.fit);
        real(state.tilt.phi), real(state.tilt.theta), real(state.tilt.chi);
    }
    if (input.moment) {
        whole(input.moment->form), whole(input.moment->frame);
        for (const double value : input.moment->values) real(value);
    }
    const LineRules& rules = input.spectrum.rules;
    whole(input.spectrum.max_J), whole(rules.delta_K), real(rules.temperature);
    real(rules.temperature2), real(rules.weight2), real(rules.min_intensity);
    if (input.spectrum.range) real((*input.spectrum.range)[0]), real((*input.spectrum.range)[1]);
    for (const int weight : rules.spin_weights) whole(weight);
    if (rules.parity) whole(rules.parity->ka_odd), whole(rules.parity->kc_odd);
    text += input.fit.lines;
    whole(input.fit.data), whole(input.fit.cycles), whole(input.fit.weights);
    if (input.fit.reject) real(*input.fit.reject);
    if (input.fit.reject_above) real(-*input.fit.reject_above);
    return text;
}

TEST(NamedInputTest, WhatIsWrittenReadsBackToTheLastBit) {
    AnyInput any;
    for (int n = 0; n < 300; ++n) {
        const NamedInput input = any.Next();
        const std::string text = WriteNamed(input);
        ASSERT_EQ(Fingerprint(Read(text)), Fingerprint(input)) << text;
    }
    EXPECT_EQ(Fingerprint(Read(WriteNamed(Read(kGood)))), Fingerprint(Read(kGood)));
}

TEST(NamedInputTest, TemplatesHaveNoFindings) {
    const NamedInput rotor = Read(RotorTemplate()), band = Read(BandTemplate());
    EXPECT_TRUE(!rotor.two_states && band.two_states);
    // What they say in comments is right, too.
    for (const std::string_view whole : {RotorTemplate(), BandTemplate()}) {
        std::string text;
        for (std::string line : LinesOf(whole)) {
            const bool is_key = line.size() > 2 && line[0] == '#' && std::islower(line[2]) != 0 &&
                                line.find(" = ") == line.find(' ', 2);
            text += (is_key || line == "# [fit]" ? line.substr(2) : line) + "\n";
        }
        EXPECT_FALSE(Read(text).fit.lines.empty());
    }
}

// Every beginning of the file, and the file with any of its bytes changed, is read without harm.
TEST(NamedInputTest, BrokenTextsAreRead) {
    std::mt19937 random(3);
    const std::string characters = "[]{}\"'=,.#\n\\ \t0-e\xC3\xFF";
    for (std::size_t i = 0; i < kGood.size(); i += 3) {
        std::string text(kGood.substr(0, i));
        FindingsOf(text);
        text = kGood;
        text[i] = characters[random() % characters.size()];
        FindingsOf(text);
    }
    EXPECT_NE(FindingsOf("A = " + std::string(5000, '[')), "");
    EXPECT_NE(FindingsOf(""), "");
}

}  // namespace
}  // namespace kiv
