#include "model/PrincipalFrame.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>
#include <string>

namespace kiv {
namespace {

constexpr Constant kTurned[9] = {Constant::A,    Constant::B,    Constant::C,
                                 Constant::PXPY, Constant::PXPZ, Constant::PYPZ,
                                 Constant::PX,   Constant::PY,   Constant::PZ};

TEST(PrincipalFrame, TurnsTheConstants) {
    std::ifstream file(KIV_TEST_DATA "/model/turns.txt");
    int turns = 0;
    for (std::string line; std::getline(file, line);) {
        if (line[0] == '#') continue;
        SCOPED_TRACE(++turns);
        std::istringstream words(line);
        double in[12], out[12];
        words >> line;
        for (double& x : in) words >> x;
        for (double& x : out) ASSERT_TRUE(words >> x);
        State given;
        given.terms[Constant::PX] = {0.0, true, true, 0.25};
        given.Set(Constant::DJ, 0.5);
        for (int i = 0; i < 9; ++i) given.terms[kTurned[i]].value = in[3 + i];
        EulerAngles angles{in[0], in[1], in[2]};
        State turned;
        if (line == "paf") {
            const Result<PrincipalFrame> frame = ToPrincipalFrame(given, angles);
            ASSERT_TRUE(frame);
            turned = frame.value().state;
        } else {
            const VectorFrame frame = ToVectorFrame(given, angles.chi);
            turned = frame.state;
            angles = frame.angles;
        }
        EXPECT_NEAR(angles.phi, out[0], 1e-9);
        EXPECT_NEAR(angles.theta, out[1], 1e-9);
        EXPECT_NEAR(angles.chi, out[2], 1e-9);
        for (int i = 0; i < 9; ++i) {  // the sign of an eigenvector is free; 13-digit degrees
            const double value = turned.value(kTurned[i]);
            EXPECT_NEAR(i > 5 && out[2] == 0.0 ? std::fabs(value) : value, out[3 + i], 1e-10) << i;
            const bool cleared = out[3 + i] == 0.0 && (i > 5 || line == "paf");
            EXPECT_TRUE(!cleared || value == 0.0) << i;
        }
        EXPECT_TRUE(turned.terms[Constant::PX].fit && turned.value(Constant::DJ) == 0.5);
        EXPECT_EQ(turned.terms[Constant::PX].sd, 0.25);
    }
    EXPECT_EQ(turns, 8);
}

// The tensor is made of its eigenvalues C, B, A and their vectors.
TEST(PrincipalFrame, HasTheEigenvectorsOfTheTensor) {
    State given = State::Rigid(3.0, 2.7, 2.6);
    given.Set(Constant::PXPY, 0.4).Set(Constant::PXPZ, -0.7).Set(Constant::PYPZ, 0.2);
    const Result<PrincipalFrame> frame = ToPrincipalFrame(given, {});
    ASSERT_TRUE(frame);
    const auto& [state, Z] = frame.value();
    const double energies[] = {state.value(Constant::C), state.value(Constant::B),
                               state.value(Constant::A)};
    const Matrix3 T = {{{2.7, 0.4, -0.7}, {0.4, 2.6, 0.2}, {-0.7, 0.2, 3.0}}};
    for (int i = 0; i < 9; ++i) {
        double element = 0.0, product = 0.0;
        for (int k = 0; k < 3; ++k) {
            element += Z[k][i / 3] * energies[k] * Z[k][i % 3];
            product += Z[k][i / 3] * Z[k][i % 3];
        }
        EXPECT_NEAR(element, T[i / 3][i % 3], 1e-14);
        EXPECT_NEAR(product, i % 4 == 0 ? 1.0 : 0.0, 1e-14);
    }
}

TEST(PrincipalFrame, DoesNotExistWithoutAOrB) {
    for (const Constant zero : {Constant::A, Constant::B, Constant::C}) {  // C is not looked at
        const State state = State::Rigid(4, 3, 2).Set(zero, 0.0);
        const Result<PrincipalFrame> frame = ToPrincipalFrame(state, {5, 6, 0});
        EXPECT_EQ(frame.ok(), zero == Constant::C);
        EXPECT_TRUE(ToPrincipalFrame(state, {5, 6, 7}));
        if (frame) continue;
        EXPECT_EQ(frame.error().code, ErrorCode::OutOfRange);
        EXPECT_EQ(frame.error().subject, NameOf(zero));
    }
}

}  // namespace
}  // namespace kiv
