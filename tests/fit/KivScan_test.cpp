#include "fit/KivScan.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sstream>

#include "fit/FitTest.h"

namespace {

constexpr char kTitle[] = "PARAMETER SCANNED [PYPZ ] ANGLE SCANNED [2]\n";
constexpr char kHead[] =
    "PHI     THE     CHI     A         B         C         XY        XZ        YZ        OMC\n";

// A rotor with its first-order vector off the axes, and rotational lines of it.
class KivScanRun : public FitTest {
  protected:
    void SetUp() override {
        FitTest::SetUp();
        Kiv.Max_J = 2;
        Kiv.Fit_Stat = 0;
        Kiv.Gnd_Only = 1;
        Kiv.LS_Cycles = -1;
        SetStdRotor(ST_GND);
        const std::pair<int, double> terms[] = {{PRM_PX, 0.3},     {PRM_PY, -0.2},
                                                {PRM_PZ, 0.6},     {PRM_PXPY, 0.35},
                                                {PRM_PXPZ, -0.25}, {PRM_PYPZ, 0.15}};
        for (const auto& [prm, value] : terms) SetTerm(ST_GND, prm, value);
        SetAssignments(SlowLines(ST_GND, ST_GND, 0.0, 2, 1e-3, 1));
        ASSERT_GT(Kiv.Num_Asn_Read, 8);
    }

    // Rows of the table below its two headings, as numbers.
    static std::vector<std::vector<double>> Rows() {
        std::istringstream file(ReadText("KivScan.txt"));
        std::string line;
        std::vector<std::vector<double>> rows;
        std::getline(file, line);
        EXPECT_EQ(line + "\n", kTitle);
        std::getline(file, line);
        EXPECT_EQ(line + "\n", kHead);
        while (std::getline(file, line)) {
            std::istringstream words(line);
            rows.emplace_back();
            for (double x; words >> x;) rows.back().push_back(x);
        }
        return rows;
    }
};

// With all constants held fixed the turns of the frame change every constant and no line.
TEST_F(KivScanRun, TurningTheFrameLeavesTheSpectrum) {
    ASSERT_EQ(KivCoreAlloc(), 1);
    const std::string console = Console([] { EXPECT_EQ(KivScan(), 1); });
    const auto rows = Rows();
    ASSERT_EQ(rows.size(), 360u);
    const double pz = std::sqrt(0.09 + 0.04 + 0.36);
    double first_bc = 0.0;
    for (std::size_t step = 0; step < rows.size(); ++step) {
        const std::vector<double>& row = rows[step];
        ASSERT_EQ(row.size(), 10u);
        EXPECT_EQ(row[2], static_cast<double>(step));
        EXPECT_EQ(row[9], 0.0) << step;  // deviation of obs - calc
        EXPECT_NEAR(row[3] + row[4] + row[5], 20.4, 2e-3);
        EXPECT_NEAR(row[3], rows[0][3], 2e-3);  // the vector's axis does not turn
        const double bc = row[4] * row[5] - row[6] * row[6];
        if (step == 0) first_bc = bc;
        EXPECT_NEAR(bc, first_bc, 0.1);
        EXPECT_NEAR(std::hypot(row[7], row[8]), std::hypot(rows[0][7], rows[0][8]), 0.02);
    }
    EXPECT_GT(std::fabs(rows[0][6] - rows[45][6]), 0.1);
    EXPECT_EQ(Kiv.LS_Cycles, 1);
    EXPECT_EQ(Kiv.IAF_Ang[ST_GND][2], 360.0);
    // The constants are those of the principal frame again, the vector along no axis.
    EXPECT_EQ(Kiv.Prm_Val[ST_GND][PRM_PXPY], 0.0);
    EXPECT_NE(Kiv.Prm_Val[ST_GND][PRM_PX], 0.0);
    double size = 0.0;
    for (int prm : {PRM_PX, PRM_PY, PRM_PZ}) size += std::pow(Kiv.Prm_Val[ST_GND][prm], 2);
    EXPECT_NEAR(std::sqrt(size), pz, 1e-9);
    EXPECT_NE(console.find("0.00    0.00    0.00\n"), std::string::npos);
    EXPECT_NE(console.find(" 359.00\n"), std::string::npos);
}

// Without its cross term a turn about the vector's axis does change the spectrum: half a turn gives
// the same B and C again, a quarter turn exchanges them, which the distortion notices.
TEST_F(KivScanRun, ResidualHasAPeriodOf180Degrees) {
    for (int prm : {PRM_PX, PRM_PY, PRM_PXPY, PRM_PXPZ, PRM_PYPZ}) {
        Kiv.Prm_Stat[ST_GND][prm] = 0;
        Kiv.Prm_Val[ST_GND][prm] = 0.0;
    }
    SetTerm(ST_GND, PRM_dJ, 0.02);
    SetAssignments(SlowLines(ST_GND, ST_GND, 0.0, 2, 1e-3, 1));
    ASSERT_EQ(KivCoreAlloc(), 1);
    Console([] { EXPECT_EQ(KivScan(), 1); });
    const std::string text = ReadText("KivScan.txt");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 362);
    const auto rows = Rows();
    ASSERT_EQ(rows.size(), 360u);
    for (std::size_t step = 0; step < 180; ++step) {
        EXPECT_NEAR(rows[step][9], rows[step + 180][9], 0.002) << step;
        EXPECT_NEAR(rows[step][9], rows[(360 - step) % 360][9], 0.002) << step;
        EXPECT_EQ(rows[step][9] < 0.002, step == 0) << step;
    }
    EXPECT_NEAR(rows[90][4], rows[0][5], 1e-3);
    EXPECT_GT(rows[90][9], 10.0);
}

TEST_F(KivScanRun, StartBetweenDegrees) {
    Kiv.IAF_Ang[ST_GND][2] = 0.5;
    Kiv.Prm_Fit[ST_GND][PRM_A] = Kiv.Prm_Fit[ST_GND][PRM_PXPY] = 1;
    Kiv.LS_Cycles = -2;
    ASSERT_EQ(KivCoreAlloc(), 1);
    Console([] { EXPECT_EQ(KivScan(), 1); });
    const auto rows = Rows();
    ASSERT_EQ(rows.size(), 360u);
    EXPECT_EQ(rows.front()[2], 0.5);
    EXPECT_EQ(rows.back()[2], 359.5);
    EXPECT_EQ(Kiv.LS_Cycles, 2);
    EXPECT_EQ(Kiv.RC_CovarianceMat.Rows, 3u);
}

TEST_F(KivScanRun, VariedPypzIsRefusedInTheFile) {
    for (const int mark : {1, 2}) {
        Kiv.Prm_Fit[ST_GND][PRM_PYPZ] = mark;
        EXPECT_EQ(Console([] { EXPECT_EQ(KivScan(), 0); }), "");
        EXPECT_EQ(ReadText("KivScan.txt"), "THE PYPZ CROSS TERM MUST NOT BE VARIED\n");
    }
}

TEST_F(KivScanRun, FileThatCannotBeCreatedStopsSilently) {
    std::filesystem::create_directory("KivScan.txt");
    EXPECT_EQ(Console([] { EXPECT_EQ(KivScan(), 0); }), "");
}

TEST_F(KivScanRun, FitsThatFailLeaveTheirMarkAndTheConstants) {
    Kiv.Rej_Level = 0.0;
    Kiv.Prm_Fit[ST_GND][PRM_A] = 1;
    Kiv.LS_Cycles = -32768;
    ASSERT_EQ(KivCoreAlloc(), 1);
    OpenLog();
    Console([] { EXPECT_EQ(KivScan(), 1); });
    std::string expected = std::string(kTitle) + kHead;
    for (int step = 0; step < 360; ++step) expected += "LSF FIT ERROR\n";
    EXPECT_EQ(ReadText("KivScan.txt"), expected);
    EXPECT_EQ(Kiv.LS_Cycles, 32767);
    EXPECT_EQ(Kiv.Prm_Val[ST_GND][PRM_PXPY], 0.0);
    EXPECT_NEAR(
        Kiv.Prm_Val[ST_GND][PRM_A] + Kiv.Prm_Val[ST_GND][PRM_B] + Kiv.Prm_Val[ST_GND][PRM_C], 20.4,
        1e-12);
}

TEST_F(KivScanRun, FrameThatCannotBeFoundClosesTheFileButRunsOn) {
    Kiv.Prm_Val[ST_GND][PRM_A] = 0.0;
    Kiv.Num_Asn_Read = 0;
    Kiv.Prm_Fit[ST_GND][PRM_A] = 1;  // more constants than lines: every fit fails at once
    OpenLog();
    Console([] { EXPECT_EQ(KivScan(), 1); });
    EXPECT_EQ(ReadText("KivScan.txt"), std::string(kTitle) + "IAF2PAF ERROR\n");
    EXPECT_EQ(Kiv.IAF_Ang[ST_GND][2], 360.0);
}

}  // namespace
