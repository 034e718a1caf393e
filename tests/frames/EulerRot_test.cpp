#include "frames/EulerRot.h"

#include <cmath>

#include "frames/TransMoment.h"
#include "support/KivTest.h"
#include "support/Rotor.h"

class EulerRot : public KivTest {};

// Direction cosines and the turned tensor of diag(B, C, A) from an independent calculation. The
// user's cross terms are replaced with a warning, but only by the first rotation of a run.
TEST_F(EulerRot, TurnsTheReferenceTensorAndWarnsOnce) {
    const double rows[9] = {0.380314575781,  -0.000927094967, -0.924856726171,
                            -0.475968236462, 0.857209907211,  -0.196584365752,
                            0.792978600801,  0.514966324602,  0.325568154460};
    const double expected[6] = {6.036036462622, 9.43590231227,   4.928061225108,
                                0.710498741392, -1.173445839332, -1.04418789929};
    const int constants[6] = {PRM_A, PRM_B, PRM_C, PRM_PXPY, PRM_PXPZ, PRM_PYPZ};
    testing::internal::CaptureStdout();
    for (int state : {ST_GND, ST_EXC}) {
        EulerGenMat(Kiv.Rot_Mat[state], 33, 71, -12);
        SetStdRotor(state);
        for (int prm : {PRM_PXPY, PRM_PYPZ}) SetTerm(state, prm, 0.5);
        SimTrans(state);
        for (int i = 0; i < 6; ++i) {
            EXPECT_NEAR(Kiv.Prm_Val[state][constants[i]], expected[i], 1e-10) << i;
        }
    }
    const std::string warning = "WARNING - GROUND STATE XY TENSOR ELEMENT 0.500000 IGNORED\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), warning + warning);
    const auto& g = Kiv.Rot_Mat[ST_GND];
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(g[i / 3][i % 3], rows[i], 1e-12);
    double T[3][3] = {{6.1, 99, -77}, {0, 4.3, 55}, {0, 0, 10}};  // the upper triangle is not read
    EulerHamRot(T, g);
    EXPECT_NEAR(T[2][1], expected[5], 1e-10);
}

// cos 90 degrees is 3.9e-12 with the program's conversion constant: below the threshold for a
// small A - B, above it for a large one.
TEST_F(EulerRot, FlagsTheCrossTermsThatItMakes) {
    // Angles, A, flags of XY, XZ, YZ as one number, complex
    const double cases[][6] = {{0, 0, 30, 10, 100, 1},
                               {0, 30, 90, 10, 1, 1},
                               {0, 90, 0, 10, 0, 0},
                               {0, 90, 0, 6e4, 10, 0}};
    for (const auto& c : cases) {
        Kiv = KivRecord{};
        SetStdRotor(ST_EXC);
        Kiv.Prm_Val[ST_EXC][PRM_A] = c[3];
        EulerGenMat(Kiv.Rot_Mat[ST_EXC], c[0], c[1], c[2]);
        SimTrans(ST_EXC);
        const auto& flag = Kiv.XTerm_Flag[ST_EXC];
        EXPECT_EQ(100 * flag[PRM_PXPY] + 10 * flag[PRM_PXPZ] + flag[PRM_PYPZ], c[4]);
        EXPECT_EQ(Kiv.Cplx_Ham, c[5]) << c[4];
    }
}

TEST_F(EulerRot, TurnsTheMomentAndFindsTheBandTypes) {
    const double cases[][11] = {
        // method, 71: turned frame, moment, projections, band types
        {0, 0, 4, 50, 120, 1.28557521937, -0.76604444312, 1.32682789634, 1, 1, 1},
        {0, 71, 4, 50, 120, 0.49435719, -1.48154085, 1.24925885, 1, 1, 1},
        {1, 0, 50, 0, -50, M_SQRT1_2, 0, -M_SQRT1_2, 1, 0, 1},
        {1, 0, 1.0e-8, 1.01e-8, 100, 1e-5, std::sqrt(1.01e-10), 1, 0, 1, 1},
        {0, 0, -4, 0, 0, 2, 0, 0, 1, 0, 0},
        {3, 0, 1, 2, 3, 7, 8, 9, 1, 1, 1}};  // an unknown method leaves the components
    for (const auto& c : cases) {
        Kiv = KivRecord{};
        Kiv.Band_Split = 1;
        Kiv.Euler_Theta[ST_EXC] = c[1];
        EulerGenMat(Kiv.Rot_Mat[ST_EXC], 33, 71, -12);
        double comp[3] = {7, 8, 9};
        TransMomentOrient(static_cast<int>(c[0]), ST_EXC, c + 2, Kiv.Rot_Mat[ST_EXC], comp);
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(Kiv.TM_Prj[i], c[5 + i], c[1] == 0 ? 1e-11 : 1e-8);
            EXPECT_EQ(Kiv.Band_Active[i], c[8 + i]) << c[5] << " " << i;
        }
        EXPECT_EQ(Kiv.Band_Count, c[8] + c[9] + c[10]);
    }
}
