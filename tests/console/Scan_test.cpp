// Scans of the angle CHI: the table they leave.
#include <cmath>
#include <filesystem>
#include <sstream>

#include "support/ConsoleTest.h"
#include "support/SlowRotor.h"

namespace kiv {
namespace {

const std::string kColumns =
    "PHI     THE     CHI     A         B         C         XY        XZ        YZ        OMC\n";

using Row = std::vector<double>;  // PHI THE CHI  A B C  XY XZ YZ  1000 * deviation

class Scan : public ConsoleTest {
  protected:
    // The rotor 10, 6.1, 4.3 up to J = 2 alone, to be scanned with these edits.
    static std::string Text(std::vector<Edit> edits) {
        edits.insert(edits.begin(), {{"FIT & A RED", "0 1"},
                                     {"LS FIT CYCS", "-1 1 1000"},
                                     {"MAX J", "2 5 0.0"},
                                     {"ORIGIN", "0"},
                                     {"GROUND STATE A, B", "10 6.1 4.3"},
                                     {"GROUND STATE <PXPY", "0 0 0"}});
        return InputText(edits);
    }

    // All lines of `state` that go up, by an independent calculation.
    static std::string LinesOf(const State& state) {
        std::ostringstream lines;
        lines.precision(17);
        const auto label = [&](int J, int rank) {
            lines << " " << J << " " << (rank + 1) / 2 << " " << J - rank / 2;
        };
        for (int J = 0; J <= 2; ++J) {
            for (int Ju = 1; Ju <= std::min(2, J + 1); ++Ju) {
                const auto lower = SlowSolve(J, state).energy, upper = SlowSolve(Ju, state).energy;
                for (int n = 0; n < (2 * J + 1) * (2 * Ju + 1); ++n) {
                    const int low = n % (2 * J + 1), high = n / (2 * J + 1);
                    if (upper[high] <= lower[low]) continue;
                    lines << "A";
                    label(Ju, high);
                    label(J, low);
                    lines << " " << upper[high] - lower[low] << " 1\n";
                }
            }
        }
        return lines.str();
    }

    static std::vector<Row> Table() {
        std::istringstream text(ReadText("KivScan.txt"));
        std::string line;
        std::getline(text, line);
        std::getline(text, line);
        EXPECT_EQ(line + "\n", kColumns);
        std::vector<Row> rows;
        while (std::getline(text, line)) {
            std::istringstream words(line);
            rows.emplace_back();
            for (double number; words >> number;) rows.back().push_back(number);
            EXPECT_EQ(rows.back().size(), 10u) << line;
        }
        EXPECT_EQ(rows.size(), 360u);
        rows.resize(360, Row(10));
        return rows;
    }
};

// With all constants held fixed the turns of the frame change every constant and no line.
TEST_F(Scan, TurningTheFrameLeavesTheSpectrum) {
    State state = State::Rigid(10, 6.1, 4.3);
    state.Set(Constant::PX, 0.3).Set(Constant::PY, -0.2).Set(Constant::PZ, 0.6);
    state.Set(Constant::PXPY, 0.35).Set(Constant::PXPZ, -0.25).Set(Constant::PYPZ, 0.15);
    const Ran ran = RunText(Text({{"GROUND STATE <PZ>", "0.6 0.3 -0.2"},
                                  {"GROUND STATE <PZ>", "1 1 1", -1},
                                  {"GROUND STATE <PXPY", "0.35 -0.25 0.15"},
                                  {"GROUND STATE <PXPY", "1 1 1", -1}}),
                            LinesOf(state));
    EXPECT_TRUE(Has(ran.console, "\n0.00    0.00    0.00\n")) << ran.console;
    const std::vector<Row> rows = Table();
    for (std::size_t step = 0; step < 360; ++step) {
        const Row &row = rows[step], &first = rows[0];
        EXPECT_EQ(row[2], static_cast<double>(step));
        EXPECT_EQ(row[9], 0.0) << step;
        EXPECT_NEAR(row[3] + row[4] + row[5], 20.4, 2e-3);
        EXPECT_NEAR(row[3], first[3], 2e-3);  // the vector's axis does not turn
        EXPECT_NEAR(std::hypot(row[7], row[8]), std::hypot(first[7], first[8]), 0.02);
    }
    EXPECT_GT(std::fabs(rows[0][6] - rows[45][6]), 0.1);
    const std::string next = ReadText("input.in"), none = "    0.0000000000e+00";
    EXPECT_TRUE(Has(next, "\n  0.0000000000e+00" + none + none + "\n")) << "cross terms";
    EXPECT_TRUE(Has(next, "  1                  1                  1000.000000")) << "cycles";
}

// Without its cross term a turn about the axis of the vector changes the spectrum: half a turn
// gives the same B and C again, a quarter turn exchanges them, which the distortion notices.
TEST_F(Scan, DeviationHasAPeriodOf180Degrees) {
    State state = State::Rigid(10, 6.1, 4.3);
    state.Set(Constant::PZ, 0.6).Set(Constant::dJ, 0.02);
    RunText(Text({{"GROUND STATE <PZ>", "0.6 0 0"},
                  {"GROUND STATE <PZ>", "1 0 0", -1},
                  {"GROUND STATE <dJ>", "0.02 0"},
                  {"GROUND STATE <dJ>", "1 0", -1}}),
            LinesOf(state));
    const std::vector<Row> rows = Table();
    for (std::size_t step = 0; step < 180; ++step) {
        EXPECT_NEAR(rows[step][9], rows[step + 180][9], 0.002) << step;
        EXPECT_NEAR(rows[step][9], rows[(360 - step) % 360][9], 0.002) << step;
        EXPECT_EQ(rows[step][9] < 0.002, step == 0) << step;
    }
    EXPECT_NEAR(rows[90][4], rows[0][5], 1e-3);
    EXPECT_GT(rows[90][9], 10.0);
}

TEST_F(Scan, ThatFailsLeavesItsMarkAndTheConstants) {
    const std::string line = "A 1 0 1 0 0 0 1\n",
                      head = "PARAMETER SCANNED [PYPZ ] ANGLE SCANNED [2]\n";
    std::string failed = head + kColumns;
    for (int step = 0; step < 360; ++step) failed += "LSF FIT ERROR\n";
    EXPECT_TRUE(RunText(Text({{"GROUND STATE FIT", "1 0 0"}, {"LS FIT CYCS", "-32768 1 0"}}), line)
                    .pauses.empty());
    EXPECT_EQ(ReadText("KivScan.txt"), failed);
    const std::string next = ReadText("input.in");
    EXPECT_TRUE(Has(next, "  1.0000000000e+01    6.1000000000e+00    4.3000000000e+00\n"));
    EXPECT_TRUE(Has(next, "  32767 ")) << "what an input file can hold";
    // Without a frame the file is closed, but the steps are run.
    EXPECT_TRUE(Has(RunText(Text({{"GROUND STATE A, B", "0 6.1 4.3"}})).console,
                    "\n0.00    0.00    359.00\n"));
    EXPECT_EQ(ReadText("KivScan.txt"), head + "IAF2PAF ERROR\n");
    EXPECT_TRUE(Has(ReadText("input.log"), "TRANSFORMATION ABORTED - CHECK PARAMETERS!"));
    // PYPZ, which the scan varies, is refused in the file; a missing file, silently.
    EXPECT_EQ(RunText(Text({{"GROUND STATE <PXPY", "0 0 2", 3}})).pauses, std::vector<int>{3});
    EXPECT_EQ(ReadText("KivScan.txt"), "THE PYPZ CROSS TERM MUST NOT BE VARIED\n");
    std::filesystem::remove("KivScan.txt");
    std::filesystem::create_directory("KivScan.txt");
    const Ran ran = RunText(Text({}));
    EXPECT_EQ(ran.pauses, std::vector<int>{3});
    EXPECT_TRUE(ran.console.ends_with(
        "IGNORED - PRM STD DEV BASED ON OMC\nPHASE    X - PROGRAM TERMINATION\n"));
}

}  // namespace
}  // namespace kiv
