// Euler matrices, rotated constants and the orientation of the moment.

#include "frames/EulerRot.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "frames/TransMoment.h"
#include "support/KivTest.h"
#include "support/Rotor.h"

class EulerRot : public KivTest {};
class TransMoment : public KivTest {};

// Direction cosines and the turned tensor of diag(B, C, A) from an independent calculation.
TEST_F(EulerRot, TurnsTheReferenceTensor) {
    const double rows[3][3] = {{0.380314575781, -0.000927094967, -0.924856726171},
                               {-0.475968236462, 0.857209907211, -0.196584365752},
                               {0.792978600801, 0.514966324602, 0.325568154460}};
    EulerGenMat(Kiv.Rot_Mat[ST_GND], 33, 71, -12);
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(Kiv.Rot_Mat[ST_GND][i][j], rows[i][j], 1e-12);
    }
    SetStdRotor(ST_GND);
    SimTrans(ST_GND);
    const double expected[][2] = {{PRM_B, 9.43590231227},      {PRM_C, 4.928061225108},
                                  {PRM_A, 6.036036462622},     {PRM_PXPY, 0.710498741392},
                                  {PRM_PXPZ, -1.173445839332}, {PRM_PYPZ, -1.04418789929}};
    for (const auto& [prm, value] : expected) {
        EXPECT_NEAR(Kiv.Prm_Val[ST_GND][static_cast<int>(prm)], value, 1e-10);
    }
    for (int prm : {PRM_PXPY, PRM_PXPZ, PRM_PYPZ}) EXPECT_EQ(Kiv.XTerm_Flag[ST_GND][prm], 1);
    EXPECT_EQ(Kiv.Cplx_Ham, 1);
}

TEST_F(EulerRot, IsOrthogonalAndComposesToTheInverse) {
    double g[3][3], back[3][3];
    EulerGenMat(g, 17, 140, 205);
    EulerGenMat(back, -205, -140, -17);
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            double product = 0.0;
            for (int k = 0; k < 3; ++k) product += g[i][k] * g[j][k];
            EXPECT_NEAR(product, i == j ? 1.0 : 0.0, 1e-15);
            EXPECT_NEAR(back[i][j], g[j][i], 1e-15);
        }
    }
}

TEST_F(EulerRot, ReadsTheLowerTriangleAlone) {
    double T[3][3] = {{1, 99, -77}, {2, 3, 55}, {4, 5, 6}};
    double g[3][3];
    EulerGenMat(g, 0, 0, 0);
    EulerHamRot(T, g);
    const double expected[3][3] = {{1, 2, 4}, {2, 3, 5}, {4, 5, 6}};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) EXPECT_EQ(T[i][j], expected[i][j]);
    }
}

// cos 90 degrees is 3.9e-12 with the program's conversion constant: below the threshold for a
// small A - B, above it for a large one.
TEST_F(EulerRot, ExchangesTwoAxesAtARightAngle) {
    SetStdRotor(ST_GND);
    EulerGenMat(Kiv.Rot_Mat[ST_GND], 0, 90, 0);
    SimTrans(ST_GND);
    EXPECT_NEAR(Kiv.Prm_Val[ST_GND][PRM_A], 6.1, 1e-11);
    EXPECT_NEAR(Kiv.Prm_Val[ST_GND][PRM_B], 10.0, 1e-11);
    EXPECT_EQ(Kiv.XTerm_Flag[ST_GND][PRM_PXPZ], 0);
    Kiv.Prm_Val[ST_GND][PRM_A] = 60000;
    Kiv.Prm_Val[ST_GND][PRM_B] = 10000;
    SimTrans(ST_GND);
    EXPECT_EQ(Kiv.XTerm_Flag[ST_GND][PRM_PXPZ], 1);
    EXPECT_EQ(Kiv.Cplx_Ham, 0);
}

// The user's cross terms are replaced with a warning, but only by the first rotation of a run.
TEST_F(EulerRot, WarnsOnceAboutReplacedCrossTerms) {
    for (int state : {ST_GND, ST_EXC}) {
        SetStdRotor(state);
        EulerGenMat(Kiv.Rot_Mat[state], 33, 71, -12);
        for (int prm : {PRM_PXPY, PRM_PYPZ}) SetTerm(state, prm, 0.5);
    }
    testing::internal::CaptureStdout();
    for (int state : {ST_GND, ST_EXC}) SimTrans(state);
    const std::string warning = "WARNING - GROUND STATE XY TENSOR ELEMENT 0.500000 IGNORED\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), warning + warning);
    EXPECT_NE(Kiv.Prm_Val[ST_EXC][PRM_PXPY], 0.5);
}

TEST_F(TransMoment, ProjectsAndTurnsTheMoment) {
    const double angles[3] = {4, 50, 120};
    const double comp[3] = {1.28557522, -0.76604444, 1.32682790};
    const double turned[3] = {0.49435719, -1.48154085, 1.24925885};
    EulerGenMat(Kiv.Rot_Mat[ST_EXC], 33, 71, -12);
    for (bool tilted : {false, true}) {
        Kiv.Euler_Theta[ST_EXC] = tilted ? 71 : 0;
        TransMomentOrient(0, ST_EXC, angles, Kiv.Rot_Mat[ST_EXC], Kiv.TM_Comp);
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(Kiv.TM_Comp[i], comp[i], 1e-8);
            EXPECT_NEAR(Kiv.TM_Prj[i], tilted ? turned[i] : comp[i], 1e-8);
        }
    }
}

TEST_F(TransMoment, KeepsSignsAndFindsTheBandTypes) {
    struct Case {
        int Method;
        double In[3];
        double Prj[3];
        int Active[3];
    };
    const double half = std::sqrt(0.5);
    const Case cases[] = {
        {1, {50, 0, -50}, {half, 0, -half}, {1, 0, 1}},
        {1, {1.0e-8, 1.01e-8, 100}, {1e-5, std::sqrt(1.01e-10), 1}, {0, 1, 1}},
        {0, {-4, 0, 0}, {2, 0, 0}, {1, 0, 0}},
        {0, {1, 90, 90}, {0, 0, 1}, {0, 0, 1}},
        {3, {1, 2, 3}, {1, 1, 1}, {1, 1, 1}},  // an unknown method leaves the components
    };
    for (const Case& c : cases) {
        Kiv = KivRecord{};
        Kiv.Band_Split = 1;
        TransMomentOrient(c.Method, ST_GND, c.In, Kiv.Rot_Mat[ST_GND], Kiv.TM_Comp);
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(Kiv.TM_Prj[i], c.Prj[i], 1e-11);
            EXPECT_EQ(Kiv.Band_Active[i], c.Active[i]) << c.Method << " " << i;
        }
        EXPECT_EQ(Kiv.Band_Count, c.Active[0] + c.Active[1] + c.Active[2]);
    }
}
