// Files of the log, and what whole runs do not show of its text.
#include "run/KivPhaseLog.h"

#include <filesystem>

#include "run/KivRecord.h"
#include "support/KivTest.h"

namespace {

namespace fs = std::filesystem;

class PhaseLog : public KivTest {
  protected:
    // What the phase says on the console.
    static std::string Phase(int phase, int sub, int status = 1) {
        Kiv.Log_On = 1;
        testing::internal::CaptureStdout();
        EXPECT_EQ(KivPhaseLog(phase, sub), status);
        return testing::internal::GetCapturedStdout();
    }
};

TEST_F(PhaseLog, DebugLogTakesThePlaceOfTheBaseLog) {
    for (int idx = 0; idx < NUM_DBG; ++idx) {
        const bool debug = idx != DBG_0;
        Kiv.Debug_Stat[idx] = 1;
        EXPECT_EQ(Phase(PHASE_INPUT, 0), "");
        if (debug) std::fputs("kept", Kiv.Log_Fp);
        EXPECT_EQ(Phase(PHASE_INPUT, 0), "");  // opens no second one
        EXPECT_EQ(Phase(PHASE_INPUT, 1), "KIV VERSION v5.6\n\nPHASE    0 - PARAMETER INPUT\n");
        EXPECT_EQ(Phase(PHASE_END, 0), "PHASE    X - PROGRAM TERMINATION\n");
        EXPECT_EQ(ReadText("Kiv.log").starts_with("===="), !debug);
        EXPECT_EQ(ReadText("Kiv95_Debug.log").starts_with("kept===="), debug);
        fs::remove("Kiv95_Debug.log");
        fs::remove("Kiv.log");
        Kiv.Debug_Stat[idx] = 0;
    }
}

TEST_F(PhaseLog, LogsThatCannotBeCreated) {
    fs::create_directory("Kiv95_Debug.log");
    fs::create_directory("Kiv.log");
    Kiv.Debug_Stat[DBG_IV] = 1;
    EXPECT_EQ(Phase(PHASE_INPUT, 0, 0),
              "FAILED TO CREATE ASCII DEBUG FILE Kiv95_Debug.log FOR WRITING!");
    EXPECT_EQ(Phase(PHASE_INPUT, 1, 0),
              "KIV VERSION v5.6\n\nPHASE    0 - PARAMETER INPUT\n"
              "FAILED TO CREATE ASCII LOG FILE Kiv.log FOR WRITING!\n");
    EXPECT_EQ(Phase(PHASE_INPUT, 2), "");
    for (int phase : {1, 2, 3, 4, 10}) EXPECT_EQ(Phase(phase, 1), "");  // I to IV and X
}

TEST_F(PhaseLog, BandLettersAndNothingWhenSwitchedOff) {
    OpenLog();
    Kiv.Band_Split = 1;
    const char* letters = "NABYCXZD";  // by the sum of 1 for a, 2 for b, 4 for c
    for (int types = 0; types < 8; ++types) {
        for (int i = 0; i < 3; ++i) Kiv.Band_Active[i] = types >> i & 1;
        Phase(PHASE_LINESET, 0);
        const std::string label = std::string("BAND LABEL         = ") + letters[types] + "\n";
        EXPECT_NE(LogText().find(label), std::string::npos) << label;
    }
    const std::string before = LogText();
    Kiv.Log_On = 0;
    testing::internal::CaptureStdout();
    EXPECT_EQ(KivPhaseLog(PHASE_LINESET, 0), 1);
    EXPECT_EQ(KivPhaseLog(PHASE_INPUT, 1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(LogText(), before);
}

}  // namespace
