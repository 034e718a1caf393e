// The log and the console titles, phase by phase, against text laid out by hand.
#include "run/KivPhaseLog.h"

#include <cstring>
#include <filesystem>

#include "run/KivRecord.h"
#include "support/KivTest.h"

namespace {

namespace fs = std::filesystem;

const std::string kEquals = std::string(80, '=') + "\n";
const std::string kDashes = std::string(80, '-') + "\n";

class PhaseLog : public KivTest {
  protected:
    void SetUp() override {
        KivTest::SetUp();
        Kiv.Log_On = 1;
    }
    void TearDown() override {
        testing::internal::CaptureStdout();
        KivPhaseLog(PHASE_END, 0);
        testing::internal::GetCapturedStdout();
        KivTest::TearDown();
    }

    struct Output {
        int Status;
        std::string Console;
    };
    static Output Phase(int phase, int sub) {
        testing::internal::CaptureStdout();
        const int status = KivPhaseLog(phase, sub);
        return {status, testing::internal::GetCapturedStdout()};
    }
};

// The log in memory belongs to the fixture; these phases must not close it.
class PhaseText : public PhaseLog {
  protected:
    void SetUp() override {
        PhaseLog::SetUp();
        OpenLog();
    }
    void TearDown() override { KivTest::TearDown(); }

    // What the phase adds to the log and to the console.
    void ExpectPhase(int phase, int sub, const std::string& console, const std::string& log) {
        const std::size_t before = LogText().size();
        const Output got = Phase(phase, sub);
        EXPECT_EQ(got.Status, 1);
        EXPECT_EQ(got.Console, console);
        EXPECT_EQ(LogText().substr(before), log);
    }
};

TEST_F(PhaseLog, InputReportOpensTheBaseLog) {
    std::strcpy(Kiv.Out_Base, "run");
    std::strcpy(Kiv.Comment, "a comment\n");
    Kiv.Max_J = 12;
    EXPECT_EQ(Phase(PHASE_INPUT, 0).Console, "");
    EXPECT_FALSE(fs::exists("Kiv95_Debug.log"));
    const Output got = Phase(PHASE_INPUT, 1);
    EXPECT_EQ(got.Status, 1);
    EXPECT_EQ(got.Console, "KIV VERSION v5.6\n\nPHASE    0 - PARAMETER INPUT\n");
    EXPECT_EQ(Phase(PHASE_END, 0).Console, "PHASE    X - PROGRAM TERMINATION\n");
    EXPECT_EQ(Kiv.Log_Fp, nullptr);
    const std::string log = ReadText("run.log");
    const std::string head =
        kEquals + ">>>>>>>>>>>>>>>> KIVANTA (kiv) PROGRAM VERSION v5.6 <<<<<<<<<<<<<<<<\n" +
        kEquals + "\n" + kEquals +
        ">>>>>>>>>>>>>>>>>>>>>>>> PHASE 0 - PARAMETER INPUT <<<<<<<<<<<<<<<<<<<<<<<<<<<<<\n" +
        kEquals + "\na comment\n\n" + kDashes +
        "                             HAMILTONIAN PARAMETERS\nGROUND  STATE :\n";
    const std::string tail =
        "\nORI   = 0.000000\n" + kDashes + "MAXIMUM J AND K CALCULATED = 12\n" + kEquals;
    EXPECT_EQ(log.substr(0, head.size()), head);
    EXPECT_EQ(log.substr(log.size() - tail.size()), tail);
}

TEST_F(PhaseLog, DebugLogTakesThePlaceOfTheBaseLog) {
    for (int idx = 0; idx < NUM_DBG; ++idx) {
        Kiv.Debug_Stat[idx] = 1;
        Phase(PHASE_INPUT, 0);
        Phase(PHASE_INPUT, 1);
        Phase(PHASE_END, 0);
        const bool debug = idx != DBG_0;
        EXPECT_EQ(fs::exists("Kiv95_Debug.log"), debug) << idx;
        EXPECT_EQ(fs::exists("Kiv.log"), !debug) << idx;
        fs::remove("Kiv95_Debug.log");
        fs::remove("Kiv.log");
        Kiv.Debug_Stat[idx] = 0;
    }
}

TEST_F(PhaseLog, DebugLogIsOpenedOnce) {
    Kiv.Debug_Stat[DBG_ALL] = 1;
    Phase(PHASE_INPUT, 0);
    std::FILE* const log = Kiv.Log_Fp;
    std::fputs("kept", log);
    EXPECT_EQ(Phase(PHASE_INPUT, 0).Status, 1);
    EXPECT_EQ(Kiv.Log_Fp, log);
    Phase(PHASE_END, 0);
    EXPECT_EQ(ReadText("Kiv95_Debug.log"), "kept" + kEquals);
}

TEST_F(PhaseLog, LogsThatCannotBeCreated) {
    fs::create_directory("Kiv95_Debug.log");
    fs::create_directory("Kiv.log");
    Kiv.Debug_Stat[DBG_IV] = 1;
    const Output debug = Phase(PHASE_INPUT, 0);
    EXPECT_EQ(debug.Status, 0);
    EXPECT_EQ(debug.Console, "FAILED TO CREATE ASCII DEBUG FILE Kiv95_Debug.log FOR WRITING!");
    const Output base = Phase(PHASE_INPUT, 1);
    EXPECT_EQ(base.Status, 0);
    EXPECT_EQ(base.Console,
              "KIV VERSION v5.6\n\nPHASE    0 - PARAMETER INPUT\n"
              "FAILED TO CREATE ASCII LOG FILE Kiv.log FOR WRITING!\n");
    for (int phase : {PHASE_INPUT, PHASE_ENERGY, PHASE_TRS, PHASE_LINESET, PHASE_FIT, PHASE_END}) {
        const Output later = Phase(phase, phase == PHASE_INPUT ? 2 : 1);
        EXPECT_EQ(later.Status, 1) << phase;
        EXPECT_EQ(later.Console, "") << phase;
    }
}

TEST_F(PhaseText, NothingWhenTheLogIsSwitchedOff) {
    Kiv.Log_On = 0;
    ExpectPhase(PHASE_INPUT, 1, "", "");
    ExpectPhase(PHASE_LINESET, 0, "", "");
}

TEST_F(PhaseText, FramesOfRotatedStatesOnly) {
    Kiv.Euler_Theta[ST_EXC] = 30.5;
    Kiv.Rot_Mat[ST_EXC][0][1] = -0.25;
    Kiv.Rot_Mat[ST_EXC][2][2] = 1.0;
    testing::internal::CaptureStdout();
    EXPECT_EQ(KivPhaseLog(PHASE_INPUT, 2), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    const std::string frame =
        kDashes +
        "             EXCITED STATE EULER ANGLES [F TO g: HAM CCW(+) & CW(-)]\n"
        "PHI                               THETA                             CHI\n"
        "0.000                             30.500                            0.000\n" +
        kDashes +
        "                 EXCITED STATE DIRECTION COSINE MATRIX (g TO F)\n"
        "X                                 Y                                 Z\n"
        "0.000000                          -0.250000                         0.000000\n"
        "0.000000                          0.000000                          0.000000\n"
        "0.000000                          0.000000                          1.000000\n" +
        kDashes + "                       TRANSFORMED HAMILTONIAN PARAMETERS\nGROUND  STATE :\n";
    EXPECT_EQ(LogText().substr(0, frame.size()), frame);
}

TEST_F(PhaseText, EnergiesOfBothStates) {
    const double abc[3] = {10.0, 6.0, 4.0};
    for (int state : {ST_GND, ST_EXC}) std::memcpy(Kiv.Prm_Val[state], abc, sizeof abc);
    Kiv.Kappa[ST_GND] = -0.5;
    Kiv.Inertial_Defect[ST_GND] = 0.125;
    for (int slot : {PRM_PXPY, PRM_PXPZ, PRM_PYPZ}) Kiv.Prm_Val[ST_GND][slot] = slot;
    Kiv.Prm_Stat[ST_GND][PRM_PXPY] = 1;    // switched on
    Kiv.XTerm_Flag[ST_GND][PRM_PYPZ] = 1;  // made by the rotation
    ExpectPhase(
        PHASE_ENERGY, ST_GND, "PHASE    I - GROUND STATE EIGEN ENERGIES AND VECTORS\n",
        kEquals +
            ">>>>>>>>>>>>>>>>>>>> PHASE I - EIGEN ENERGIES AND VECTORS "
            "<<<<<<<<<<<<<<<<<<<<<<\n" +
            kEquals + kDashes + "                 GROUND STATE HAMILTONIAN PARAMETER MATRIX\n" +
            kDashes +
            "B(X)                              C(Y)                              A(Z)\n"
            "6.000000                          6.000000                          0.000000\n"
            "6.000000                          4.000000                          8.000000\n"
            "0.000000                          8.000000                          10.000000\n"
            "\nREAL MATRIX ELEMENTS ONLY\n"
            "GROUND STATE KAPPA=-0.500000          INERTIAL DEFECT=0.125000\n");
    Kiv.Cplx_Ham = 1;
    ExpectPhase(
        PHASE_ENERGY, ST_EXC, "PHASE    I - EXCITED STATE EIGEN ENERGIES AND VECTORS\n",
        kDashes + "                 EXCITED STATE HAMILTONIAN PARAMETER MATRIX\n" + kDashes +
            "B(X)                              C(Y)                              A(Z)\n"
            "6.000000                          0.000000                          0.000000\n"
            "0.000000                          4.000000                          0.000000\n"
            "0.000000                          0.000000                          10.000000\n"
            "\nREAL AND IMAGINARY MATRIX ELEMENTS\n"
            "EXCITED STATE KAPPA=0.000000           INERTIAL DEFECT=0.000000\n");
}

TEST_F(PhaseText, Moment) {
    const double ang[3] = {4.0, 50.0, 120.0};
    const double comp[3] = {1.5, -0.5, 1.0};
    const double prj[3] = {0.25, -1.5, 2.0};
    std::memcpy(Kiv.TM_Ang, ang, sizeof ang);
    std::memcpy(Kiv.TM_Comp, comp, sizeof comp);
    std::memcpy(Kiv.TM_Prj, prj, sizeof prj);
    ExpectPhase(PHASE_TRS, 0, "PHASE   II - CALCULATION OF TRANSITIONS\n",
                kEquals +
                    ">>>>>>>>>>>>>>>>>>> PHASE II - TRANSITIONS AND INTENSITIES "
                    "<<<<<<<<<<<<<<<<<<<<<\n" +
                    kEquals +
                    "              TRANSITION MOMENT ORIENTATION AND BAND TYPE CHARACTER \n"
                    "TM ORIENTATION WITH MU PROJECTIONS:\n");
    const std::string projections =
        "A PRJ= 0.250000               B PRJ= -1.500000              C PRJ= 2.000000\n";
    ExpectPhase(PHASE_TRS, 1, "",
                "MAG  = 4.000000               THE  = 50.000000              CHI  = 120.000000\n"
                "A MAG= 2.250000               B MAG= 0.250000               C MAG= 1.000000\n" +
                    projections);
    Kiv.TM_Frame = ST_EXC;
    Kiv.Euler_Phi[ST_EXC] = 33.0;
    Kiv.Euler_Theta[ST_EXC] = 71.0;
    Kiv.Euler_Chi[ST_EXC] = -12.0;
    ExpectPhase(PHASE_TRS, 2, "",
                "\nTM WITH EXCITED STATE AXIS ROTATION:\n"
                "PHI  = 33.000000              THE  = 71.000000              CHI  = -12.000000\n" +
                    projections);
}

TEST_F(PhaseText, LineSet) {
    std::strcpy(Kiv.Out_Base, "run");
    Kiv.Num_Trs = 123456;
    Kiv.Num_Asn = 12;
    Kiv.Num_Rej = 3;
    Kiv.Temp[0] = 300.0;
    const std::string console = "PHASE  III - GENERATION OF LINESET\n";
    const std::string banner =
        kEquals +
        ">>>>>>>>>>>>>>>>>>>>>>>>>>>> PHASE III - LINESET <<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<\n" +
        kEquals;
    const std::string report =
        "DELTA K ORDER      = 2  \n"
        "TEMPERATURES(K) T1 = 300.000    T2 = 0.000      WT = 0.000     \n"
        "INTENSITY CUT      = 0.010\n\n"
        "LINESET run.QZS\n"
        "NUMBER OF CALCULATED LINES        = 123456\n"
        "NUMBER OF ASSIGNED LINES          = 12\n"
        "NUMBER OF REJECTED LINES          = 3\n";
    ExpectPhase(PHASE_LINESET, 0, console, banner + report);
    Kiv.Band_Split = 1;
    const char* letters = "NABYCXZD";  // by the sum of 1 for a, 2 for b, 4 for c
    for (int types = 0; types < 8; ++types) {
        for (int i = 0; i < 3; ++i) Kiv.Band_Active[i] = types >> i & 1;
        ExpectPhase(PHASE_LINESET, 0, console,
                    banner + "BAND LABEL         = " + letters[types] + "\n" + report);
    }
}

TEST_F(PhaseText, Fit) {
    Kiv.Num_Asn_Read = 7;
    Kiv.Num_Fit_Prm = 9;
    const std::string few =
        "NUMBER OF ASSIGNED LINES [7] MUST BE >= NUMBER OF PARAMETERS TO FIT [9]!\n";
    ExpectPhase(PHASE_FIT, -1, few, few);
    ExpectPhase(PHASE_FIT, 0, "PHASE   IV - LINEAR LEAST SQUARES CALCULATION\n",
                kEquals +
                    ">>>>>>>>>>>>>>>>>>> PHASE IV - LINEAR LEAST SQUARES PHASE "
                    "<<<<<<<<<<<<<<<<<<<<<<\n" +
                    kEquals);
    ExpectPhase(PHASE_FIT, 12, "",
                kDashes + "                             EXACT ENERGY CYCLE # 12\n");
}

}  // namespace
