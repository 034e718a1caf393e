// Mistakes in every kind of file: each must be found with its code on its line, and nothing else.
//
// A mutation replaces one text of a file; the finding stands on the line where that text began, or
// so many lines below it. `kiv run` must refuse exactly what `kiv check` calls an error.
#include <algorithm>
#include <filesystem>
#include <set>

#include "named/Finding.h"
#include "support/CommandTest.h"
#include "support/ConsoleTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

struct Mutation {
    const char* file;
    const char* from;
    const char* to;
    const char* codes;  // with blanks between; on one line each
    int below = 0;
};

constexpr char kBand[] =
    "kiv = 1\n"
    "unit = \"MHz\"\n"
    "[lower]\n"
    "A = 9000.0\n"
    "B = 5000.0\n"
    "C = 3000.0\n"
    "DJ = 1.0e-3\n"
    "PX = 0.0\n"
    "[upper]\n"
    "A = 8900.0\n"
    "B = 4950.0\n"
    "C = 2960.0\n"
    "fit = [\"A\", \"B\", \"C\", \"origin\"]\n"
    "origin = 100000.0\n"
    "[moment]\n"
    "mu = [1.0, 0.5, 0.0]\n"
    "[spectrum]\n"
    "J_max = 12\n"
    "temperature = 1.0\n"
    "spin_weights = [1, 1, 1, 1]\n"
    "[fit]\n"
    "lines = \"band.asn\"\n";

// Lines of closed form: E(1,0,1) = B + C, E(1,1,1) = A + C, E(1,1,0) = A + B.
constexpr char kBandLines[] =
    "A 1 0 1  0 0 0  107910.0  0.1\n"
    "A 0 0 0  1 0 1   92000.0  0.1\n"
    "A 1 1 0  1 1 1  101850.0  0.1\n"
    "A 1 1 1  1 1 0   97860.0  0.1\n"
    "B 1 1 1  0 0 0  111860.0  0.1\n";

constexpr char kLin[] =
    "  1  0  1  0  0  0                       8000.030000  0.050000\n"
    "  1  1  1  0  0  0                      11999.980000  0.050000\n"
    "  1  1  0  1  0  1                       5999.990000  0.050000\n"
    "  2  1  2  1  1  1                      14000.020000  0.050000\n"
    "  2  1  1  1  1  0                      17999.970000  0.050000\n";

// clang-format off
constexpr Mutation kMutations[] = {
    // words of a named input
    {"rotor.toml", "A = 9010.0", "A = 9010,0", "decimal-comma"},
    {"rotor.toml", "B = 5005.0", "B = 5.005D3", "d-exponent"},
    {"rotor.toml", "B = 5005.0", "B = 5OO5.0", "letter-for-digit"},
    {"rotor.toml", "C = 2996.0", "C = abc", "not-a-number"},
    {"rotor.toml", "C = 2996.0", "C = nan", "not-a-number"},
    {"rotor.toml", "C = 2996.0", "C = inf", "out-of-range"},
    {"rotor.toml", "C = 2996.0", "C =", "bad-toml"},
    {"rotor.toml", "C = 2996.0", "C = 2996.0 2996.0", "bad-toml"},
    {"rotor.toml", "C = 2996.0", "C = -2996.0", "out-of-range"},
    {"rotor.toml", "C = 2996.0", "C = 0.0", "out-of-range"},
    {"rotor.toml", "C = 2996.0\n", "", "missing-key", -3},
    {"rotor.toml", "C = 2996.0", "C = \"2996.0\"", "wrong-type"},
    {"rotor.toml", "C = 2996.0", "C = 2996.0\nDj = 1e-3", "unknown-key", 1},
    {"rotor.toml", "C = 2996.0", "C = 2996.0\nd1 = 1e-3", "wrong-reduction", 1},
    {"rotor.toml", "C = 2996.0", "C = 2996.0\nreduction = \"B\"", "bad-choice", 1},
    {"rotor.toml", "C = 2996.0", "C = 2996.0\nC = 2997.0", "bad-toml", 1},
    {"rotor.toml", "kiv = 1", "kiv = 2", "unknown-version"},
    {"rotor.toml", "kiv = 1\n", "", "missing-key"},
    {"rotor.toml", "kiv = 1", "kiv = 1\nunit = \"GHz\"", "bad-unit", 1},
    {"rotor.toml", "[lower]", "[lwer]", "unknown-key"},
    {"rotor.toml", "[moment]", "[moment", "bad-toml"},
    {"rotor.toml", "mu = [1.0, 1.0, 1.0]", "mu = [1.0, 1.0]", "missing-value"},
    {"rotor.toml", "mu = [1.0, 1.0, 1.0]", "mu = [1.0, 1.0, 1.0, 1.0]", "surplus-value"},
    {"rotor.toml", "mu = [1.0, 1.0, 1.0]", "mu = [1.0, 1,5, 1.0]", "surplus-value"},
    {"rotor.toml", "mu = [1.0, 1.0, 1.0]", "mu = [0.0, 0.0, 0.0]", "no-moment"},
    {"rotor.toml", "mu = [1.0, 1.0, 1.0]", "mu = 1.0", "wrong-type"},
    {"rotor.toml", "J_max = 5", "J_max = -5", "out-of-range"},
    {"rotor.toml", "J_max = 5", "J_max = 5.5", "wrong-type"},
    {"rotor.toml", "J_max = 5", "J_max = 100000", "out-of-range"},
    {"rotor.toml", "J_max = 5", "J_max = 5\ndelta_K = \"none\"", "bad-choice", 1},
    {"rotor.toml", "J_max = 5", "J_max = 5\nspin_weights = [0, 0, 0, 0]", "zero-weights", 1},
    {"rotor.toml", "J_max = 5", "J_max = 5\nspin_weights = [1, -1, 1, 1]", "out-of-range", 1},
    {"rotor.toml", "temperature = 0.5", "temperature = -0.5", "out-of-range"},
    {"rotor.toml", "temperature = 0.5", "temperature = 50.0", "incomplete-Q", -1},
    {"rotor.toml", "lines.csv", "lines.txt", "bad-choice"},
    {"rotor.toml", "lines.csv", "line.csv", "no-such-file"},
    {"rotor.toml", "fit = [\"A\", \"B\", \"C\"]", "fit = [\"A\", \"B\", \"X\"]", "bad-choice"},
    {"rotor.toml", "fit = [\"A\", \"B\", \"C\"]", "fit = [\"A\", \"B\", \"A\"]", "surplus-value"},
    {"rotor.toml", "fit = [\"A\", \"B\", \"C\"]", "fit = [\"A\", \"B\", \"C\", \"PX\"]", "zero-start"},
    {"rotor.toml", "lines = \"lines.csv\"", "# no lines", "nothing-to-fit", -7},
    {"rotor.toml", "lines = \"lines.csv\"", "lines = \"lines.csv\"\nreject = -1", "out-of-range", 1},
    {"rotor.toml", "C = 2996.0", "C = 2996.0\nDK = 60.0", "suspicious-constant", 1},
    {"rotor.toml", "C = 2996.0", "C = 2996.0\nDJ = -1e-3", "suspicious-constant", 1},
    {"rotor.toml", "A = 9010.0", "A = 4010.0", "not-abc-order", 1},
    {"rotor.toml", "kiv = 1", "kiv = 1\nunit = \"cm-1\"", "unit-mismatch", 5},
    {"band.toml", "origin = 100000.0", "origin = 1e5O", "letter-for-digit"},
    {"band.toml", "mu = [1.0, 0.5, 0.0]", "mu = [1.0, 0.0, 0.0]", "band-word", -11},
    // measured lines
    {"lines.csv", "2,1,1,1,1,0,17999.97", "2,3,1,1,1,0,17999.97", "impossible-level"},
    {"lines.csv", "2,1,1,1,1,0,17999.97", "-2,1,1,1,1,0,17999.97", "impossible-level"},
    {"lines.csv", "2,1,1,1,1,0,17999.97", "3,1,3,1,1,0,17999.97", "forbidden-transition"},
    {"lines.csv", "1,0,1,0,0,0,8000.03,0.05", "0,0,0,0,0,0,8000.03,0.05", "forbidden-transition"},
    {"lines.csv", "2,1,1,1,1,0,17999.97", "2,1,1,1,1,17999.97", "bad-line-row"},
    {"lines.csv", "17999.97,0.05", "17999.97,0.05,1.0", "surplus-value"},
    {"lines.csv", "17999.97,0.05", "", "bad-line-row"},
    {"lines.csv", "17999.97,0.05", "abc,0.05", "bad-line-row"},
    {"lines.csv", "17999.97,0.05", "1.799997D4,0.05", "d-exponent"},
    {"lines.csv", "17999.97,0.05", "l7999.97,0.05", "letter-for-digit"},
    {"lines.csv", "17999.97,0.05", "17999.97,0", "no-uncertainty"},
    {"lines.csv", "17999.97,0.05", "17999.97,", "no-uncertainty"},
    {"lines.csv", "2,1,1,1,1,0,17999.97", "1,1,1,0,0,0,17999.97", "duplicate-line"},
    {"lines.csv", "2,1,1,1,1,0,17999.97,0.05", "9,0,9,8,0,8,70000,0.05", "beyond-J-max"},
    {"lines.csv", "2,1,1,1,1,0,17999.97,0.05", "2,2,0,2,1,1,14000.02,0.06", "blend-uncertainty"},
    {"lines.csv", "17999.97,0.05", "17.99997,0.05", "unit-mismatch"},
    {"lines.csv", "frequency,", "freqency,", "unknown-key"},
    {"lines.csv", "J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty\n", "", "bad-line-row"},
    {"band.asn", "A 1 1 0", "A 1 2 0", "impossible-level"},
    {"band.asn", "A 1 1 0", "A 3 1 2", "forbidden-transition"},
    {"band.asn", "101850.0  0.1", "101850,0  0.1", "decimal-comma"},
    {"band.asn", "101850.0  0.1", "101850.0  0.0", "no-uncertainty"},
    {"band.asn", "A 1 1 0  1 1 1", "A 1 1 0  1 1", "bad-line-row"},
    {"band.asn", "A 1 1 0", "C 1 1 0", "band-word"},
    {"band.asn", "A 1 1 1  1 1 0", "A 1 1 0  1 1 1", "duplicate-line"},
    {"lines.lin", "  2  1  1  1  1  0", "  2  1  1  1  1  3", "impossible-level"},
    {"lines.lin", "  2  1  1  1  1  0", "  3  1  3  1  1  0", "forbidden-transition"},
    {"lines.lin", "17999.970000", "l7999.970000", "letter-for-digit"},
    {"lines.lin", "17999.970000", "17999,970000", "decimal-comma"},
    // words of an old input, J = 0 and 1 of two rigid rotors
    {"input.in", "VERSION v5.6", "VERSION v9.6", "unknown-version"},
    {"input.in", "VERSION v5.6", "VERSION none", "unknown-version"},
    {"input.in", "9.0000000000e+00", "9,0000000000e+00", "decimal-comma"},
    {"input.in", "9.0000000000e+00", "9.0000000000D+00", "d-exponent"},
    {"input.in", "9.0000000000e+00", "9.OOOOOOOOOOe+00", "letter-for-digit"},
    {"input.in", "9.0000000000e+00", "nine", "not-a-number"},
    {"input.in", "9.0000000000e+00", "", "missing-value"},
    {"input.in", "9.0000000000e+00", "9.0000000000e+00  8.0", "surplus-value"},
    {"input.in", "9.0000000000e+00", "-9.0000000000e+00", "out-of-range"},
    {"input.in", "5.0000000000e-01", "5.0000000000e-01  0.0", "surplus-value"},
    {"input.in", "5.0000000000e-01", "", "missing-value"},
    {"input.in", "1.000000000000000e+02", "1.000000000000000e+O2", "letter-for-digit"},
    {"input.in", "  1                  2                  0.010000", "  -1  2  0.01", "out-of-range"},
    {"input.in", "  1                  2                  0.010000", "  1.5  2  0.01", "not-a-number"},
    {"input.in", "  1                  2                  0.010000", "  1  2", "missing-value"},
    {"input.in", "  1                  2                  0.010000", "  200000  2  0.01", "out-of-range"},
    {"input.in", "  1                  1                 \n", "  8                  1\n", "bad-choice"},
    {"input.in", "  1                  0\n", "  7                  0\n", "bad-choice"},
    {"input.in", "  20.000000          30.000000          50.000000", "  0.0  0.0  0.0", "no-moment"},
    {"input.in", "0 0 0 CM-1", "0 0 0 GHz", "bad-unit"},
    {"input.in", "0 0 0 CM-1", "-1 0 0 CM-1", "out-of-range"},
    {"input.in", "0 0 0 CM-1", "0 0 0", "missing-value"},
    {"input.in", "  N                  E                  O", "  M  E  O", "bad-choice"},
    {"input.in", "made lines.asn", "input lines.asn", "overwrites-input"},
    {"input.in", "made lines.asn", "made nowhere.asn", "no-such-file"},
    {"input.in", "  0                  1                  500.000000", "  -1  1  500.0", "bad-choice"},
    {"input.in", "# DEBUG STATUS", "# DEBUG", ""},
    {"input.in", "  0          0          0          0          0          0\n", "  0 0 0\n", "missing-value"},
    {"lines.asn", "C 1 1 0  0 0 0  112.2500", "C 1 1 0  0 0  112.2500", "bad-line-row"},
    {"lines.asn", "C 1 1 0  0 0 0  112.2500", "C 1 1 0  0 0 0  112,2500", "decimal-comma"},
    {"lines.asn", "C 1 1 0  0 0 0  112.2500", "C 2 1 1  1 1 0  112.2500", "beyond-J-max"},
    {"lines.asn", "A 1 0 1  0 0 0  107.7500 0.1250", "1,0,1,0,0,0,107.7500,0.1250", "looks-like"},
    {"one.in", "0.000e+00", "5.000e+00", "origin-unused"},
    {"one.in", "0 00 0", "0 1 0", "fit-but-off"},
    {"one.in", "0 00 0", "0 2 0", "bad-choice"},
    {"one.asn", "A 1 0 1  0 0 0  8.0", "B 1 1 1  0 0 0  12.0", "delta-K-limit"},
};
// clang-format on

class Mutations : public CommandTest {
  protected:
    void SetUp() override {
        CommandTest::SetUp();
        WriteFit();
        WriteText("band.toml", kBand);
        WriteText("band.asn", kBandLines);
        WriteText("lines.lin", kLin);
        const std::string rotor = ReadText("rotor.toml");
        std::string lin = rotor;
        lin.replace(lin.find("lines.csv"), 9, "lines.lin");
        WriteText("lin.toml", lin);
        WriteText("input.in", ConsoleTest::InputText({{"OUT BASE", "made lines.asn next.in"},
                                                      {"TEMPERATURES", "0 0 0 CM-1"}}));
        WriteText("lines.asn", ConsoleTest::KindOf("real").lines);
        WriteText("one.in", ConsoleTest::InputText({{"OUT BASE", "made one.asn next.in"},
                                                    {"TEMPERATURES", "0 0 0 CM-1"},
                                                    {"FIT & A RED", "0 1"},
                                                    {"MAX J", "3 0 0.0"},
                                                    {"ORIGIN", "0.000e+00"},
                                                    {"GROUND STATE <PZ>", "0 00 0", 3}}));
        WriteText("one.asn", "A 1 0 1  0 0 0  8.0 0.1\n");
    }

    // The input that a file is checked with.
    static std::string InputOf(const std::string& file) {
        if (file == "lines.csv") return "rotor.toml";
        if (file == "band.asn") return "band.toml";
        if (file == "lines.lin") return "lin.toml";
        if (file == "lines.asn") return "input.in";
        if (file == "one.asn") return "one.in";
        return file;
    }
};

TEST_F(Mutations, UntouchedFilesHaveNoFindings) {
    for (const char* file : {"rotor.toml", "band.toml", "lin.toml", "input.in", "lines.csv",
                             "lines.lin", "band.asn", "one.in"}) {
        const Ended checked = Kiv(std::string("check ") + file);
        EXPECT_EQ(checked.status, 0) << file;
        EXPECT_EQ(checked.err, "") << file;
    }
}

TEST_F(Mutations, AreFoundWhereTheyAre) {
    for (const Mutation& mutation : kMutations) {
        const std::string text = ReadText(mutation.file);
        const std::size_t at = text.find(mutation.from);
        ASSERT_NE(at, std::string::npos) << mutation.from;
        ASSERT_EQ(text.find(mutation.from, at + 1), std::string::npos) << mutation.from;
        std::string changed = text;
        changed.replace(at, std::string(mutation.from).size(), mutation.to);
        WriteText(mutation.file, changed);
        const auto begin = text.begin();
        const int line = 1 + mutation.below +
                         static_cast<int>(std::count(begin, begin + static_cast<long>(at), '\n'));
        const Ended checked = Kiv("check " + InputOf(mutation.file));
        std::vector<std::string> expected;
        if (*mutation.codes) expected.push_back(mutation.codes + (":" + std::to_string(line)));
        EXPECT_EQ(CodesOf(checked.err), expected)
            << mutation.file << ": " << mutation.from << " -> " << mutation.to << "\n"
            << checked.err;
        const Ended run = Kiv("run " + InputOf(mutation.file) + " --out made");
        EXPECT_EQ(run.status == 3, checked.status == 3) << mutation.to << "\n" << run.err;
        EXPECT_TRUE(run.err.starts_with(checked.err)) << run.err;
        WriteText(mutation.file, text);
    }
}

// A file that ends anywhere behind its second line has one finding, on its last line.
TEST_F(Mutations, TruncatedFilesAreToldSo) {
    const std::string text = ReadText("input.in");
    for (const char* end : {"GROUND STATE <PZ>", "ORIGIN FREQ", "DEBUG STATUS"}) {
        const std::string cut = text.substr(0, text.find(end) - 2);
        WriteText("input.in", cut);
        const auto lines = std::count(cut.begin(), cut.end(), '\n');
        const std::vector<std::string> codes = CodesOf(Kiv("check input.in").err);
        ASSERT_EQ(codes.size(), 1U) << end;
        EXPECT_TRUE(codes[0].starts_with("truncated:")) << codes[0];
        EXPECT_LE(std::abs(std::stol(codes[0].substr(10)) - lines), 2) << codes[0];
    }
}

// What only a run can tell: an old input with too few cycles.
TEST_F(Mutations, TooFewCyclesAreToldByTheRun) {
    fs::copy(fs::path(KIV_SOURCE_DIR) / "examples/so2/so2.asn", "so2.asn");
    std::string text = ReadText(fs::path(KIV_SOURCE_DIR) / "examples/so2/fit.in");
    const std::string cycles = "  5                  0                  100000";
    text.replace(text.find(cycles), cycles.size(), "  2  0  100000");
    WriteText("few.in", text);
    const Ended run = Kiv("run few.in");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(CodesOf(run.err).back(), "not-converged:148");
    EXPECT_EQ(CodesOf(Kiv("run so2_fit.fit.in").err).size(), 1U) << "incomplete-Q alone";
}

// Every code but those that only a run or an import tells has a mutation.
TEST(MutationTable, ProvokesEveryCode) {
    std::set<std::string> provoked;
    for (const Mutation& mutation : kMutations) provoked.insert(mutation.codes);
    // Those of imports have a table of their own.
    for (int c = 0; c < static_cast<int>(FindingCode::NoCounterpart); ++c) {
        const std::string name = NameOf(static_cast<FindingCode>(c));
        if (name == "a-priori" || name == "not-converged" || name == "truncated") continue;
        EXPECT_TRUE(provoked.contains(name)) << name;
    }
}

}  // namespace
}  // namespace kiv
