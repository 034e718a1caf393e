// The shipped examples: run as a user would, fitted, and against line lists of an independent
// prediction package.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <sstream>

#include "kiv/files.h"
#include "kiv/fit.h"
#include "kiv/lines.h"
#include "support/ConsoleTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

using Label = std::array<int, 6>;  // J', Ka', Kc', J'', Ka'', Kc''

struct Example {
    const char* name;
    bool is_canonical;  // its input file is as the program writes it, else it has more digits
    int listed;         // lines of the independent list
};
void PrintTo(const Example& example, std::ostream* out) { *out << example.name; }

class ExampleTest : public ConsoleTest {
  protected:
    static fs::path Folder(const std::string& name) {
        return fs::path(KIV_SOURCE_DIR) / "examples" / name;
    }

    static Input Read(const std::string& name, const std::string& file) {
        Result<Input> input = ReadInput(ReadText(Folder(name) / file));
        EXPECT_TRUE(input.ok()) << file;
        return std::move(input).value();
    }

    static LineList Calculate(const Input& input) {
        Workspace work;
        Result<LineList> lines = ComputeLines(input.model, input.settings, work);
        EXPECT_TRUE(lines.ok());
        return std::move(lines).value();
    }

    static Label LabelOf(const LineList& lines, std::int32_t n) {
        Label label;
        std::copy_n(&lines.label[6 * static_cast<std::size_t>(n)], 6, label.begin());
        return label;
    }
};

class Examples : public ExampleTest, public testing::WithParamInterface<Example> {};

TEST_P(Examples, ARunOnItsNextInputFileRepeatsEveryByte) {
    const std::string base = GetParam().name;
    fs::copy(Folder(base), ".");
    const std::string shipped = ReadText(base + ".in");
    if (!GetParam().is_canonical) RunFile(base + ".in");
    Files runs[2];
    for (Files& run : runs) {
        fs::remove(base + ".asc");
        fs::remove(base + ".QZS");
        EXPECT_EQ(RunFile(base + ".in").status, 0);
        for (const char* end : {".in", ".asc", ".QZS"}) run[end] = ReadText(base + end);
    }
    EXPECT_EQ(runs[0][".in"] == shipped, GetParam().is_canonical);
    for (const auto& [end, text] : runs[0]) EXPECT_TRUE(runs[1][end] == text && text != "") << end;
}

// Positions and strengths of single lines, members of unresolved K doublets included. The lists
// hold every change of Ka, none above 7, with four decimals of a MHz and seven digits of a
// strength.
TEST_P(Examples, EveryListedLineIsReproduced) {
    const std::string name = GetParam().name;
    Input input = Read(name, name + ".in");
    input.settings.lines.temperature = 0.0;
    input.settings.lines.delta_K = 8;
    const LineList lines = Calculate(input);
    std::map<Label, std::size_t> line_of;
    for (std::int32_t n = 0; n < lines.size; ++n)
        line_of[LabelOf(lines, n)] = static_cast<std::size_t>(n);
    std::istringstream list(ReadText(KIV_TEST_DATA "/" + name + "_lines.txt"));
    int listed = 0, wrong = 0;
    for (std::string row; std::getline(list, row);) {
        if (row.empty() || row[0] == '#') continue;
        ++listed;
        std::istringstream words(row);
        Label label;
        double position = 0.0, strength = 0.0;
        for (int& number : label) words >> number;
        ASSERT_TRUE(words >> position >> strength) << row;
        const auto found = line_of.find(label);
        const bool is_near =
            found != line_of.end() && std::fabs(lines.position[found->second] - position) <= 1e-4 &&
            std::fabs(lines.intensity[found->second] - strength) <= 1e-5 * strength;
        if (!is_near && ++wrong <= 10) ADD_FAILURE() << row;
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(listed, GetParam().listed);
}

INSTANTIATE_TEST_SUITE_P(, Examples,
                         testing::Values(Example{"so2", true, 3289},
                                         Example{"h2coh_plus", false, 2175},
                                         Example{"7-azaindole", true, 461}),
                         [](const auto& c) {
                             return std::string(c.index == 2 ? "azaindole" : c.param.name);
                         });

// As two independent least-squares codes fit the same lines: tests/data/fit/<name>.txt holds value
// and deviation of eight constants.
TEST_F(ExampleTest, FitsConvergeFromRoughStartValues) {
    using enum Constant;
    for (const std::string name : {"so2", "h2coh_plus"}) {
        const Input input = Read(name, "fit.in");
        ASSERT_EQ(input.model.lower().value(DJ), 0.0);
        Workspace work;
        const auto lines = ReadAssignmentFile(ReadText(Folder(name) / input.file.assignment_file),
                                              LimitsOf(input.file), work.memory());
        ASSERT_TRUE(lines.ok());
        const auto fit = RunFit(input.model, input.settings, lines.value(), work);
        ASSERT_TRUE(fit.ok()) << fit.error().text;
        EXPECT_EQ(fit.value().lines.missing + fit.value().rejected, 0);
        std::istringstream values(ReadText(KIV_TEST_DATA "/fit/" + name + ".txt"));
        for (std::string row; values.peek() == '#';) std::getline(values, row);
        for (const Constant c : {A, B, C, DK, DJK, DJ, dK, dJ}) {
            double value = 0.0, sd = 0.0;
            ASSERT_TRUE(values >> value >> sd);
            const Term& fitted = fit.value().model.lower().terms[c];
            EXPECT_NEAR(fitted.value, value, 1e-3 * sd) << kiv::NameOf(c);
            EXPECT_NEAR(fitted.sd, sd, 1e-3 * sd) << kiv::NameOf(c);
        }
    }
}

// Line strengths of SO2 without nuclear spin weights.
class So2 : public ExampleTest {
  protected:
    Input input_ = Read("so2", "so2.in");

    void SetUp() override {
        ExampleTest::SetUp();
        input_.settings.lines.temperature = 0.0;
        input_.settings.lines.spin_weights = {1, 1, 1, 1};
        input_.settings.lines.delta_K = 2 * input_.settings.max_J;
    }
};

TEST_F(So2, StrengthsAddUpToTheSquaredMomentForEveryLowerLevel) {
    input_.model.one_state = false;  // two equal states: lines of negative position stay in the sum
    input_.model.upper() = input_.model.lower();
    const LineList lines = Calculate(input_);
    const int max_J = input_.settings.max_J;
    std::vector<double> sum(static_cast<std::size_t>((max_J + 1) * (max_J + 1)));
    for (std::int32_t n = 0; n < lines.size; ++n) sum[lines.lower_level[n]] += lines.intensity[n];
    double moment = 0.0;
    for (const double part : input_.model.moment.component) moment += part * part;
    for (int level = 0; level < max_J * max_J; ++level) {  // those with J'' < max_J
        const double whole = moment * (2 * std::floor(std::sqrt(level)) + 1);
        // Strengths are stored in single precision: 6e-8 of each.
        EXPECT_NEAR(sum[level], whole, 2e-7 * whole) << level;
    }
}

TEST_F(So2, StrengthsAreExactlyZeroWhereSymmetryForbids) {
    const LineList lines = Calculate(input_);
    for (std::int32_t n = 0; n < lines.size; ++n) {
        const Label q = LabelOf(lines, n);  // b type: both Ka and Kc change parity
        ASSERT_TRUE((q[1] - q[4]) % 2 != 0 && (q[2] - q[5]) % 2 != 0 && lines.band[n] == 'B') << n;
    }
}

TEST_F(So2, StrengthsHoldNoRoundingDust) {
    input_.settings.lines.delta_K = 3;  // beyond it lines are truly weaker than 1e-12
    const LineList lines = Calculate(input_);
    const float* first = lines.intensity.data();
    const auto [weakest, strongest] = std::minmax_element(first, first + lines.size);
    EXPECT_GT(*weakest, 1e-12 * *strongest);
}

}  // namespace
}  // namespace kiv
