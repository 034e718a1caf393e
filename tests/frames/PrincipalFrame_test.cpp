#include "frames/PrincipalFrame.h"

#include <cmath>
#include <cstring>

#include "frames/EulerRot.h"
#include "run/KivRecord.h"
#include "support/KivTest.h"

namespace {

constexpr double kTol = 1e-10;  // 13-digit degrees, constants of some thousands

struct Constants {
    double Prm[NUM_PRM] = {};
};

Constants MakeConstants(const double T[3][3], const double P[3]) {
    Constants c;
    c.Prm[PRM_A] = T[2][2];
    c.Prm[PRM_B] = T[0][0];
    c.Prm[PRM_C] = T[1][1];
    c.Prm[PRM_PXPY] = T[0][1];
    c.Prm[PRM_PXPZ] = T[0][2];
    c.Prm[PRM_PYPZ] = T[1][2];
    c.Prm[PRM_PX] = P[0];
    c.Prm[PRM_PY] = P[1];
    c.Prm[PRM_PZ] = P[2];
    return c;
}

// diag(B, C, A) = (3, 2, 5) and P = (0.3, -0.2, 0.7), seen from a frame turned by `g`.
Constants TurnedConstants(const double g[3][3]) {
    const double diag[3] = {3, 2, 5}, p[3] = {0.3, -0.2, 0.7};
    double T[3][3] = {}, P[3] = {};
    for (int i = 0; i < 3; ++i) {
        for (int k = 0; k < 3; ++k) {
            P[i] += g[i][k] * p[k];
            for (int j = 0; j < 3; ++j) T[i][j] += g[i][k] * diag[k] * g[j][k];
        }
    }
    return MakeConstants(T, P);
}

void ExpectNoCrossTerms(const Constants& c) {
    EXPECT_EQ(c.Prm[PRM_PXPY], 0.0);
    EXPECT_EQ(c.Prm[PRM_PXPZ], 0.0);
    EXPECT_EQ(c.Prm[PRM_PYPZ], 0.0);
}

class PrincipalFrame : public KivTest {};

TEST_F(PrincipalFrame, DiagonalisationFindsTheAxesAgain) {
    double g[3][3], ang[3] = {11, 22, 0};  // PHI and THE play no part when CHI is 0
    EulerGenMat(g, 33, 71, -12);
    Constants c = TurnedConstants(g);
    ASSERT_EQ(HamIAF2PAF(ang, c.Prm), 1);
    EXPECT_NEAR(c.Prm[PRM_A], 5, kTol);
    EXPECT_NEAR(c.Prm[PRM_B], 3, kTol);
    EXPECT_NEAR(c.Prm[PRM_C], 2, kTol);
    EXPECT_NEAR(std::fabs(c.Prm[PRM_PX]), 0.3, kTol);  // the sign of an axis is free
    EXPECT_NEAR(std::fabs(c.Prm[PRM_PY]), 0.2, kTol);
    EXPECT_NEAR(std::fabs(c.Prm[PRM_PZ]), 0.7, kTol);
    ExpectNoCrossTerms(c);
    EXPECT_EQ(ang[0], 11);
    EXPECT_EQ(ang[1], 22);
}

TEST_F(PrincipalFrame, DiagonalTensorIsOrderedByEigenvalue) {
    const double T[3][3] = {{9, 0, 0}, {0, 5, 0}, {0, 0, 1}}, P[3] = {1, 2, 3};
    double ang[3] = {};
    Constants c = MakeConstants(T, P);  // A 1, B 9, C 5
    ASSERT_EQ(HamIAF2PAF(ang, c.Prm), 1);
    EXPECT_EQ(c.Prm[PRM_A], 9);
    EXPECT_EQ(c.Prm[PRM_B], 5);
    EXPECT_EQ(c.Prm[PRM_C], 1);
    EXPECT_EQ(std::fabs(c.Prm[PRM_PZ]), 1);  // the component that lay along the old b
    EXPECT_EQ(std::fabs(c.Prm[PRM_PX]), 2);
    EXPECT_EQ(std::fabs(c.Prm[PRM_PY]), 3);
}

TEST_F(PrincipalFrame, AnglesTurnTheFrameBack) {
    double g[3][3], ang[3] = {33, 71, -12};
    EulerGenMat(g, ang[0], ang[1], ang[2]);
    Constants c = TurnedConstants(g);
    ASSERT_EQ(HamIAF2PAF(ang, c.Prm), 1);
    EXPECT_NEAR(c.Prm[PRM_A], 5, kTol);
    EXPECT_NEAR(c.Prm[PRM_B], 3, kTol);
    EXPECT_NEAR(c.Prm[PRM_C], 2, kTol);
    EXPECT_NEAR(c.Prm[PRM_PX], 0.3, kTol);
    EXPECT_NEAR(c.Prm[PRM_PY], -0.2, kTol);
    EXPECT_NEAR(c.Prm[PRM_PZ], 0.7, kTol);
    ExpectNoCrossTerms(c);
}

TEST_F(PrincipalFrame, AnglesThatLeaveCrossTermsDropThem) {
    double ang[3] = {0, 0, 30};
    Constants c;
    c.Prm[PRM_A] = 5;
    c.Prm[PRM_B] = 3;
    c.Prm[PRM_C] = 2;
    ASSERT_EQ(HamIAF2PAF(ang, c.Prm), 1);
    EXPECT_NEAR(c.Prm[PRM_A], 5, kTol);
    EXPECT_NEAR(c.Prm[PRM_B], 3 * 0.75 + 2 * 0.25, kTol);
    EXPECT_NEAR(c.Prm[PRM_C], 3 * 0.25 + 2 * 0.75, kTol);
    ExpectNoCrossTerms(c);
}

TEST_F(PrincipalFrame, CorrectionPutsTheVectorAlongZ) {
    const double T[3][3] = {{3, 0.4, -0.3}, {0.4, 2, 0.6}, {-0.3, 0.6, 5}}, P[3] = {-0.3, 0.5, 0.7};
    const double size = std::sqrt(0.3 * 0.3 + 0.5 * 0.5 + 0.7 * 0.7);
    double along = 0.0;  // P^T T P, the new zz element times |P|^2
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) along += P[i] * T[i][j] * P[j];
    }
    for (const double chi : {0.0, 40.0, 271.5}) {  // CHI turns about the new z
        double ang[3] = {1, 2, chi};
        Constants c = MakeConstants(T, P);
        ASSERT_EQ(CrossTermCorrection(ang, c.Prm), 1);
        EXPECT_NEAR(ang[0], std::atan2(0.5, -0.3) * kDegPerRad, kTol);
        EXPECT_NEAR(ang[1], std::acos(0.7 / size) * kDegPerRad, kTol);
        EXPECT_EQ(ang[2], chi);
        EXPECT_EQ(c.Prm[PRM_PX], 0.0);
        EXPECT_EQ(c.Prm[PRM_PY], 0.0);
        EXPECT_NEAR(c.Prm[PRM_PZ], size, kTol);
        EXPECT_NEAR(c.Prm[PRM_A], along / (size * size), kTol);
        EXPECT_NEAR(c.Prm[PRM_A] + c.Prm[PRM_B] + c.Prm[PRM_C], 10, kTol);
        const double squares =
            c.Prm[PRM_A] * c.Prm[PRM_A] + c.Prm[PRM_B] * c.Prm[PRM_B] +
            c.Prm[PRM_C] * c.Prm[PRM_C] +
            2 * (c.Prm[PRM_PXPY] * c.Prm[PRM_PXPY] + c.Prm[PRM_PXPZ] * c.Prm[PRM_PXPZ] +
                 c.Prm[PRM_PYPZ] * c.Prm[PRM_PYPZ]);
        EXPECT_NEAR(squares, 9 + 4 + 25 + 2 * (0.16 + 0.09 + 0.36), kTol);
        ang[2] = chi == 0.0 ? 360.0 : chi;  // 0 would diagonalise
        HamIAF2PAF(ang, c.Prm);             // turned back by the angles just found
        EXPECT_NEAR(c.Prm[PRM_B], 3, kTol);
        EXPECT_NEAR(c.Prm[PRM_C], 2, kTol);
        EXPECT_NEAR(c.Prm[PRM_PX], -0.3, kTol);
    }
}

struct AxisCase {
    const char* Name;
    double Pz, The, Sign;  // PXPY and PYPZ are multiplied by Sign
};
const AxisCase kAxisCases[] = {{"PlusZ", 0.7, 0, 1}, {"MinusZ", -0.7, 180, -1}, {"None", 0, 0, 1}};

TEST_F(PrincipalFrame, CorrectionOfAVectorAlreadyAlongZ) {
    const double T[3][3] = {{3, 0.4, -0.3}, {0.4, 2, 0.6}, {-0.3, 0.6, 5}};
    for (const AxisCase& axis : kAxisCases) {
        SCOPED_TRACE(axis.Name);
        const double P[3] = {0, 0, axis.Pz};
        double ang[3] = {};
        Constants c = MakeConstants(T, P);
        ASSERT_EQ(CrossTermCorrection(ang, c.Prm), 1);
        EXPECT_EQ(ang[0], 0.0);
        EXPECT_NEAR(ang[1], axis.The, 1e-9);
        EXPECT_NEAR(c.Prm[PRM_A], 5, kTol);
        EXPECT_NEAR(c.Prm[PRM_B], 3, kTol);
        EXPECT_NEAR(c.Prm[PRM_C], 2, kTol);
        EXPECT_NEAR(c.Prm[PRM_PXPY], axis.Sign * 0.4, kTol);
        EXPECT_NEAR(c.Prm[PRM_PXPZ], -0.3, kTol);
        EXPECT_NEAR(c.Prm[PRM_PYPZ], axis.Sign * 0.6, kTol);
        EXPECT_NEAR(c.Prm[PRM_PZ], std::fabs(axis.Pz), kTol);
    }
}

TEST_F(PrincipalFrame, RefusesVanishingAOrBAndKeepsTheConstants) {
    OpenLog();
    for (const int zero : {PRM_A, PRM_B}) {
        const double T[3][3] = {{3, 0.1, 0}, {0.1, 2, 0}, {0, 0, 5}}, P[3] = {1, 2, 3};
        double ang[3] = {};
        Constants c = MakeConstants(T, P);
        c.Prm[zero] = 0.0;
        const Constants before = c;
        EXPECT_EQ(HamIAF2PAF(ang, c.Prm), 0);
        EXPECT_EQ(std::memcmp(&c, &before, sizeof c), 0);
        c.Prm[zero] = 4.0;
        c.Prm[PRM_C] = 0.0;  // C is not looked at
        EXPECT_EQ(HamIAF2PAF(ang, c.Prm), 1);
    }
    const std::string text = "TRANSFORMATION ABORTED - CHECK PARAMETERS!";
    EXPECT_EQ(LogText(), text + text);
}

TEST_F(PrincipalFrame, RefusedMemoryIsReported) {
    const double T[3][3] = {{3, 0.1, 0}, {0.1, 2, 0}, {0, 0, 5}}, P[3] = {1, 2, 3};
    double ang[3] = {};
    Constants c = MakeConstants(T, P);
    const Constants before = c;
    ArrRefuse(0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(HamIAF2PAF(ang, c.Prm), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "HamIAF2PAF()/od_vec - CORE ALLOCATION ERROR!");
    EXPECT_EQ(std::memcmp(&c, &before, sizeof c), 0);
}

TEST_F(PrincipalFrame, DebugListing) {
    OpenLog();
    Kiv.Debug_Stat[DBG_ALL] = 1;
    const double T[3][3] = {{3, 0, 0}, {0, 2, 0}, {0, 0, 5}}, P[3] = {0, 0, 1};
    double ang[3] = {};
    Constants c = MakeConstants(T, P);
    HamIAF2PAF(ang, c.Prm);
    const std::string constants =
        "A:B:C                 =5.000000       3.000000       2.000000\n"
        "PX:PY:PZ              =0.000000       0.000000       1.000000\n"
        "PXPY:PXPZ:PYPZ        =0.000000       0.000000       0.000000\n";
    const std::string text = LogText();
    EXPECT_EQ(text.find("\nINITIAL PARAMETERS\n" + constants + "\nPAF PARAMETERS\n" + constants +
                        "\nEIGENVECTORS\n                      ="),
              0u);
    EXPECT_NE(text.find("\nDIRECTION COSINES ANGLES\n                      =90.000000      "),
              std::string::npos);
    CrossTermCorrection(ang, c.Prm);
    const std::string turned = LogText();
    EXPECT_NE(turned.find("\nFINAL PARAMETERS AFTER CROSSTERM CORRECTION\n"
                          "PHI:THE:CHI           =0.000000       0.000000       0.000000\n"
                          "\nPAF PARAMETERS\n" +
                          constants),
              std::string::npos);
}

}  // namespace
