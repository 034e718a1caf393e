#include "fit/KivScan.h"

#include <filesystem>

#include "fit/FitTest.h"

namespace {

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
        const double terms[6] = {0.3, -0.2, 0.6, 0.35, -0.25, 0.15};  // PX PY PZ PXPY PXPZ PYPZ
        for (int i = 0; i < 6; ++i) SetTerm(ST_GND, PRM_PX + i, terms[i]);
        SetAssignments(SlowRotation(2));
    }

    // Numbers of the rows of the table.
    std::vector<std::vector<double>> Scan() {
        EXPECT_EQ(KivCoreAlloc(), 1);
        EXPECT_EQ(Run(KivScan), 1);
        const std::string text = ReadText("KivScan.txt");
        EXPECT_TRUE(text.starts_with(ReadText(KIV_TEST_DATA "/fit/scan_head.txt"))) << text;
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 362);
        return Numbers(text);
    }
};

// With all constants held fixed the turns of the frame change every constant and no line.
TEST_F(KivScanRun, TurningTheFrameLeavesTheSpectrum) {
    const auto rows = Scan();
    ASSERT_EQ(rows.size(), 360u);
    for (std::size_t step = 0; step < 360; ++step) {
        const std::vector<double>& row = rows[step];
        ASSERT_EQ(row.size(), 10u);
        EXPECT_EQ(row[2], static_cast<double>(step));
        EXPECT_EQ(row[9], 0.0) << step;  // deviation of obs - calc
        EXPECT_NEAR(row[3] + row[4] + row[5], 20.4, 2e-3);
        EXPECT_NEAR(row[3], rows[0][3], 2e-3);  // the vector's axis does not turn
        EXPECT_NEAR(std::hypot(row[7], row[8]), std::hypot(rows[0][7], rows[0][8]), 0.02);
    }
    EXPECT_GT(std::fabs(rows[0][6] - rows[45][6]), 0.1);
    EXPECT_EQ(Kiv.Prm_Val[ST_GND][PRM_PXPY], 0.0);  // of the principal frame again
    EXPECT_TRUE(Out.starts_with("0.00    0.00    0.00\n")) << Out;
    EXPECT_GT(Kiv.Num_Trs, Kiv.Num_Asn_Read);  // the last step leaves all lines
}

// Without its cross term a turn about the axis of the vector changes the spectrum: half a turn
// gives the same B and C again, a quarter turn exchanges them, which the distortion notices.
TEST_F(KivScanRun, ResidualHasAPeriodOf180Degrees) {
    for (int prm : {PRM_PX, PRM_PY, PRM_PXPY, PRM_PXPZ, PRM_PYPZ}) {
        SetTerm(ST_GND, prm, 0.0);
        Kiv.Prm_Stat[ST_GND][prm] = 0;
    }
    SetTerm(ST_GND, PRM_dJ, 0.02);
    SetAssignments(SlowRotation(2));
    const auto rows = Scan();
    ASSERT_EQ(rows.size(), 360u);
    for (std::size_t step = 0; step < 180; ++step) {
        EXPECT_NEAR(rows[step][9], rows[step + 180][9], 0.002) << step;
        EXPECT_NEAR(rows[step][9], rows[(360 - step) % 360][9], 0.002) << step;
        EXPECT_EQ(rows[step][9] < 0.002, step == 0) << step;
    }
    EXPECT_NEAR(rows[90][4], rows[0][5], 1e-3);
    EXPECT_GT(rows[90][9], 10.0);
    EXPECT_NEAR(rows[359][9], 1000 * Kiv.Omc_Std_Dev, 1e-3);
}

TEST_F(KivScanRun, FitsThatFailLeaveTheirMarkAndTheConstants) {
    Kiv.Rej_Level = 0.0;
    Kiv.Prm_Fit[ST_GND][PRM_A] = 1;
    Kiv.LS_Cycles = -32768;
    Kiv.IAF_Ang[ST_GND][2] = 30.5;
    EXPECT_EQ(Scan().size(), 0u);
    EXPECT_EQ(ReadText("KivScan.txt"), ReadText(KIV_TEST_DATA "/fit/scan_failed.txt"));
    EXPECT_EQ(Kiv.LS_Cycles, 32767);
    EXPECT_EQ(Kiv.IAF_Ang[ST_GND][2], 390.5);
    // Without a frame the file is closed, but the steps are run.
    Kiv.Prm_Val[ST_GND][PRM_A] = Kiv.IAF_Ang[ST_GND][2] = 0.0;
    EXPECT_EQ(Run(KivScan), 1);
    EXPECT_EQ(ReadText("KivScan.txt"),
              "PARAMETER SCANNED [PYPZ ] ANGLE SCANNED [2]\nIAF2PAF ERROR\n");
    EXPECT_EQ(Kiv.IAF_Ang[ST_GND][2], 360.0);
    // PYPZ, which the scan varies, is refused in the file; a missing file, silently.
    Kiv.Prm_Fit[ST_GND][PRM_PYPZ] = 2;
    EXPECT_EQ(Run(KivScan), 0);
    EXPECT_EQ(ReadText("KivScan.txt"), "THE PYPZ CROSS TERM MUST NOT BE VARIED\n");
    std::filesystem::remove("KivScan.txt");
    std::filesystem::create_directory("KivScan.txt");
    EXPECT_EQ(Run(KivScan), 0);
    EXPECT_EQ(Out, "");
}

}  // namespace
