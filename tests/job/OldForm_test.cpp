// Named and positional inputs in each other's terms.
#include "job/OldForm.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>

#include "fit/FitList.h"
#include "io/InputFile.h"
#include "support/FolderTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

class OldFormTest : public FolderTest {
  protected:
    // Every shipped input file that can be read, by name.
    static std::vector<std::pair<std::string, Input>> ShippedInputs() {
        std::vector<std::pair<std::string, Input>> inputs;
        for (const char* folder : {"examples", "tests/io/files", "tests/runs"}) {
            for (const auto& entry :
                 fs::recursive_directory_iterator(fs::path(KIV_SOURCE_DIR) / folder)) {
                if (entry.path().extension() != ".in") continue;
                Result<Input> input = ReadInput(ReadText(entry.path()));
                if (input.ok()) inputs.emplace_back(entry.path(), std::move(input).value());
            }
        }
        return inputs;
    }
};

// A constant that a calculation does not know from one that is off.
bool IsIdle(const Term& term) { return !term.on || (term.value == 0.0 && !term.fit); }

void ExpectSameTerm(const Term& a, const Term& b, bool can_vary, const std::string& what) {
    if (IsIdle(a) && IsIdle(b)) return;
    EXPECT_EQ(a.value, b.value) << what;
    if (can_vary) {
        EXPECT_EQ(a.fit, b.fit) << what;
    }
}

// All that lines depend on. Marks for a fit matter where it may vary the constant.
void ExpectSameModel(const Model& a, const Model& b, FitData data) {
    EXPECT_EQ(a.one_state, b.one_state);
    EXPECT_EQ(a.moment.component, b.moment.component);
    for (const StateIndex index : {kLower, kUpper}) {
        if (index == kUpper && a.one_state) continue;
        const State &from = a.states[index], &to = b.states[index];
        EXPECT_EQ(from.reduction, to.reduction);
        EXPECT_EQ(from.tilt.phi, to.tilt.phi);
        EXPECT_EQ(from.tilt.theta, to.tilt.theta);
        EXPECT_EQ(from.tilt.chi, to.tilt.chi);
        const bool can_vary =
            data != (index == kLower ? FitData::UpperDifferences : FitData::LowerDifferences);
        for (int c = 0; c < kNumConstants; ++c) {
            ExpectSameTerm(from.terms[c], to.terms[c], can_vary, std::to_string(c));
        }
    }
    if (a.one_state) return;
    EXPECT_EQ(a.moment.frame, b.moment.frame);
    ExpectSameTerm(a.origin, b.origin, data <= FitData::UpperAsDifference, "origin");
}

void ExpectSameSettings(const Settings& a, const Settings& b) {
    EXPECT_EQ(a.max_J, b.max_J);
    EXPECT_EQ(a.lines.delta_K, b.lines.delta_K);
    EXPECT_EQ(a.lines.min_intensity, b.lines.min_intensity);
    EXPECT_EQ(a.lines.temperature, b.lines.temperature);
    EXPECT_EQ(a.lines.temperature2, b.lines.temperature2);
    EXPECT_EQ(a.lines.weight2, b.lines.weight2);
    EXPECT_EQ(a.lines.spin_weights, b.lines.spin_weights);
    EXPECT_EQ(a.fit.data, b.fit.data);
    EXPECT_EQ(a.fit.reject_above, b.fit.reject_above);
    ASSERT_EQ(a.lines.parity.has_value(), b.lines.parity.has_value());
    if (!a.lines.parity) return;
    EXPECT_EQ(a.lines.parity->ka_odd, b.lines.parity->ka_odd);
    EXPECT_EQ(a.lines.parity->kc_odd, b.lines.parity->kc_odd);
}

// Through the text of the other form, and back.
NamedInput ThroughText(const NamedInput& input) {
    Findings findings;
    const auto read = ReadNamed(WriteNamed(input), "x.toml", findings);
    for (const Finding& finding : findings) ADD_FAILURE() << TextOf(finding) << WriteNamed(input);
    return read.value_or(NamedInput{});
}

Input ThroughText(const InputFile& file) {
    StringSink text;
    WriteInputFile(text, file, InputDigits::Whole);
    Result<Input> read = ReadInput(text.text());
    EXPECT_TRUE(read.ok()) << text.text();
    return read.ok() ? read.value() : Input{};
}

TEST_F(OldFormTest, ThereAndBack) {
    int num_tried = 0;
    for (auto& [name, input] : ShippedInputs()) {
        SCOPED_TRACE(name);
        if (!LossesOf(input.file).refusals.empty()) continue;
        ++num_tried;
        const FitData data = input.settings.fit.data;

        const NamedInput named = ThroughText(NamedOf(input.file));
        ExpectSameModel(ModelOf(named), input.model, data);
        ExpectSameSettings(SettingsOf(named), input.settings);
        EXPECT_TRUE(LossesOf(named).refusals.empty());
        EXPECT_EQ(named.fit.cycles, input.file.cycles);
        InputFile old = OldOf(named);
        old.assignment_file = "x.asn";
        const Input again = ThroughText(old);
        ExpectSameModel(again.model, input.model, data);
        ExpectSameSettings(again.settings, input.settings);
        EXPECT_EQ(again.file.energy_unit, input.file.energy_unit);
        EXPECT_EQ(again.file.comment, input.file.comment);
        const bool is_fit = MakeFitList(again.model, data).num_varied > 0;
        EXPECT_EQ(again.file.cycles, is_fit ? input.file.cycles : 0);
    }
    EXPECT_GE(num_tried, 10);
}

// Digits beyond those of the layout keep every bit; a component becomes a percentage and may round.
TEST_F(OldFormTest, NumbersStayWhole) {
    NamedInput input;
    input.two_states = true;
    const double step = std::sqrt(2.0);
    double value = 0.7;
    for (NamedState& state : input.states) {
        for (int c = 0; c < kNumFileConstants; ++c) {
            value = std::fmod(value + step, 3.0) + 1e-3;
            state.terms[c] = {c < 3 ? 1e4 * value : 1e-7 * (value - 1.5), c % 2 == 0};
        }
        state.tilt = {value / 3.0, 1e-9 * value, 0.1 * value};
    }
    input.lower().reduction = Reduction::S;
    input.origin = {6060310.3456789012, true};
    input.spectrum.rules.min_intensity = 1e-9 / 3.0;
    input.fit.reject_above = 2e-8 / 3.0;
    for (int i = 0; i < 500; ++i) {
        NamedMoment moment;
        for (double& component : moment.values) {
            value = std::fmod(value + step, 3.0);
            component = std::ldexp(value - 1.5, i % 40 - 20);
        }
        moment.form = static_cast<MomentForm>(i % 3);
        if (moment.form == MomentForm::Angles) moment.values[0] = std::fabs(moment.values[0]);
        moment.frame = i % 2 == 0 ? kUpper : kLower;
        input.moment = moment;
        const Input old = ThroughText(OldOf(input));
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double component = ModelOf(input).moment.component[axis];
            const double rounding = moment.form == MomentForm::Components ? 4e-16 : 0.0;
            ASSERT_NEAR(old.model.moment.component[axis], component,
                        rounding * std::fabs(component))
                << i;
        }
        if (i > 0) continue;
        ExpectSameModel(old.model, ModelOf(input), FitData::TwoStates);
        ExpectSameSettings(old.settings, SettingsOf(input));
    }
}

// PY3 and PY2PZ of positional inputs act in complex calculations only.
TEST_F(OldFormTest, ComplexOnlyConstants) {
    NamedInput input;
    input.lower().terms[Constant::PY3] = {0.25, false};
    InputFile file = OldOf(input);
    EXPECT_TRUE(IsComplexInput(ModelOf(file)));
    EXPECT_EQ(NamedOf(file).lower().terms[Constant::PY3].value, 0.25);
    EXPECT_FALSE(LossesOf(file).notes.empty());
    file.states[kLower].status[Constant::PY] = 0;
    EXPECT_FALSE(IsComplexInput(ModelOf(file)));
    EXPECT_EQ(NamedOf(file).lower().terms[Constant::PY3].value, 0.0);
}

bool Says(const std::vector<std::string>& texts, std::string_view word) {
    for (const std::string& text : texts) {
        if (text.find(word) != std::string::npos) return true;
    }
    return false;
}

InputFile SmallFile() {
    NamedInput input;
    const double constants[] = {9.0, 5.0, 3.0};
    for (NamedState& state : input.states) {
        for (int c = 0; c < 3; ++c) state.terms[c].value = constants[c];
    }
    input.two_states = true;
    InputFile file = OldOf(input);
    file.cycles = 5;
    return file;
}

TEST_F(OldFormTest, LossesOfPositionalInputs) {
    using Change = std::function<void(InputFile&)>;
    const std::vector<std::pair<std::string, Change>> refused = {
        {"angle scan", [](InputFile& f) { f.cycles = -1; }},
        {"old-format switch", [](InputFile& f) { f.old_format = 1; }},
        {"Ka limit 4", [](InputFile& f) { f.assignment_max_Ka = 4; }},
        {"Kc limit 0", [](InputFile& f) { f.assignment_max_Kc = 0; }},
        {"lower.A = 0", [](InputFile& f) { f.states[kLower].value[Constant::A] = 0.0; }},
        {"upper.C = -1", [](InputFile& f) { f.states[kUpper].value[Constant::C] = -1.0; }},
        {"origin = 5",
         [](InputFile& f) {
             f.fit_status = 0;
             f.origin = 5.0;
         }},
        {"fit status 7", [](InputFile& f) { f.fit_status = 7; }},
        {"delta-K order -1", [](InputFile& f) { f.delta_K = -1; }},
        {"spin weights", [](InputFile& f) { f.spin_weights[2] = -1; }},
        {"rejection level", [](InputFile& f) { f.reject_above = -1.0; }},
        {"parity", [](InputFile& f) { f.parity_status = "M"; }}};
    for (const auto& [word, change] : refused) {
        InputFile file = SmallFile();
        EXPECT_TRUE(LossesOf(file).refusals.empty());
        change(file);
        const Losses losses = LossesOf(file);
        EXPECT_EQ(losses.refusals.size(), 1U) << word;
        EXPECT_TRUE(Says(losses.refusals, word)) << word;
    }
    const std::vector<std::pair<std::string, Change>> noted = {
        {"listing",
         [](InputFile& f) {
             f.listed_energies = {0, 5};
         }},
        {"debug", [](InputFile& f) { f.debug[2] = 1; }},
        {"third name", [](InputFile& f) { f.next_input = "other.in"; }},
        {"lower.PX",
         [](InputFile& f) {
             f.states[kLower].status[Constant::PX] = f.states[kUpper].status[Constant::PX] = 1;
         }},
        {"upper.dJ", [](InputFile& f) { f.states[kUpper].fit[Constant::dJ] = 1; }},
        {"Kc limit 99", [](InputFile& f) { f.assignment_max_Kc = 99; }},
        {"uniform uncertainties 2", [](InputFile& f) { f.uniform = 2; }}};
    for (const auto& [word, change] : noted) {
        InputFile file = SmallFile();
        EXPECT_FALSE(Says(LossesOf(file).notes, word)) << word;
        change(file);
        EXPECT_TRUE(LossesOf(file).refusals.empty()) << word;
        EXPECT_TRUE(Says(LossesOf(file).notes, word)) << word;
    }
}

TEST_F(OldFormTest, LossesOfNamedInputs) {
    NamedInput input;
    input.upper().terms[Constant::HJ].value = 1e-9;  // there is no upper state
    EXPECT_TRUE(LossesOf(input).refusals.empty());
    input.two_states = true;
    input.lower().reduction = Reduction::S;
    input.lower().terms[Constant::lK].fit = true;
    input.spectrum.range = {1.0, 2.0};
    input.fit.reject = 5.0;
    input.fit.cycles = 40000;
    const std::vector<std::string> refusals = LossesOf(input).refusals;
    EXPECT_EQ(refusals.size(), 5U);
    for (const char* word :
         {"upper.HJ = 1e-09", "lower.l4", "range = [1, 2]", "reject = 5", "cycles = 40000"}) {
        EXPECT_TRUE(Says(refusals, word)) << word;
    }
}

}  // namespace
}  // namespace kiv
