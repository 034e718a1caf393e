// Scans of the angle CHI: the table they leave.
#include <cmath>
#include <sstream>

#include "support/ConsoleTest.h"
#include "support/SlowRotor.h"

namespace kiv {
namespace {

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

    // Lines from 1(0,1) to all other levels of J = 1 and 2, by an independent calculation.
    static std::string LinesOf(const State& state) {
        std::ostringstream lines;
        lines.precision(17);
        const double lower = SlowSolve(1, state).energy[0];
        for (const int J : {1, 2}) {
            const std::vector<double> upper = SlowSolve(J, state).energy;
            for (int rank = J == 1 ? 1 : 0; rank <= 2 * J; ++rank) {
                lines << "A " << J << " " << (rank + 1) / 2 << " " << J - rank / 2 << " 1 0 1 "
                      << upper[static_cast<std::size_t>(rank)] - lower << " 1\n";
            }
        }
        return lines.str();
    }

    static std::vector<Row> Table() {
        std::istringstream text(ReadText("KivScan.txt"));
        std::string line;
        for (int head = 0; head < 2; ++head) std::getline(text, line);
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
    EXPECT_TRUE(Has(ReadText("input.in"),
                    "CONSTANTS:\n  0.0000000000e+00    0.0000000000e+00    0.0000000000e+00\n"))
        << "the cross terms of the principal frame";
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

}  // namespace
}  // namespace kiv
