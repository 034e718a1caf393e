#include "frames/PrincipalFrame.h"

#include <cmath>
#include <fstream>
#include <sstream>

#include "support/KivTest.h"

class PrincipalFrame : public KivTest {};

TEST_F(PrincipalFrame, TurnsConstants) {
    constexpr int kPrm[9] = {0, 1, 2, PRM_PXPY, PRM_PXPZ, PRM_PYPZ, PRM_PX, PRM_PY, PRM_PZ};
    std::ifstream file(KIV_TEST_DATA "/frames/turns.txt");
    int turns = 0;
    for (std::string line; std::getline(file, line);) {
        if (line[0] == '#') continue;
        SCOPED_TRACE(++turns);
        std::istringstream words(line);
        double in[12], out[12], prm[NUM_PRM] = {};
        words >> line;
        for (double& x : in) words >> x;
        for (double& x : out) ASSERT_TRUE(words >> x);
        for (int i = 0; i < 9; ++i) prm[kPrm[i]] = in[3 + i];
        ASSERT_EQ((line == "paf" ? HamIAF2PAF : CrossTermCorrection)(in, prm), 1);
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(in[i], out[i], 1e-9);
        for (int i = 0; i < 9; ++i) {  // the sign of an eigenvector is free; 13-digit degrees
            const double value = prm[kPrm[i]];
            EXPECT_NEAR(i > 5 && out[2] == 0.0 ? std::fabs(value) : value, out[3 + i], 1e-10) << i;
            const bool cleared = out[3 + i] == 0.0 && (i > 5 || line == "paf");
            EXPECT_TRUE(!cleared || value == 0.0) << i;
        }
    }
    EXPECT_EQ(turns, 8);
}

TEST_F(PrincipalFrame, ListsTheTurnsAndRefusesVanishingAOrB) {
    double ang[3] = {}, prm[NUM_PRM] = {5, 3, 2};
    prm[PRM_PZ] = 1;
    OpenLog();
    Kiv.Debug_Stat[DBG_ALL] = 1;
    EXPECT_EQ(HamIAF2PAF(ang, prm), 1);
    EXPECT_EQ(CrossTermCorrection(ang, prm), 1);
    Kiv.Debug_Stat[DBG_ALL] = 0;
    for (const int zero : {PRM_A, PRM_B, PRM_C}) {  // C is not looked at
        double bad[NUM_PRM] = {4, 3, 2};
        bad[zero] = 0.0;
        EXPECT_EQ(HamIAF2PAF(ang, bad), zero == PRM_C ? 1 : 0);
        EXPECT_EQ(bad[zero == PRM_A ? PRM_B : PRM_A], zero == PRM_A ? 3 : 4);
    }
    EXPECT_EQ(LogText(), ReadText(KIV_TEST_DATA "/frames/turns.log"));
    ArrRefuse(0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(HamIAF2PAF(ang, prm), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "HamIAF2PAF()/od_vec - CORE ALLOCATION ERROR!");
    EXPECT_EQ(prm[PRM_A], 5.0);
}
