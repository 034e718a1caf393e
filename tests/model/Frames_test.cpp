// Turned axes: direction cosines, tensors, states and moments.
#include "model/Frames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>

#include "support/Rotor.h"
#include "support/SlowRotor.h"

namespace kiv {
namespace {

constexpr EulerAngles kAngles[] = {{33, 71, -12},   {0, 30, 0},     {0, 0, 30},    {50, 0, 0},
                                   {-170, 200, 95}, {90, 90, 90},   {0, 180, 0},   {1e-3, 0, -1e-3},
                                   {720, 45, 13},   {12, -35, 360}, {0, 90, 0.25}, {-45, 60, 45}};

constexpr EulerAngles kGeneral = kAngles[0];

// Three elementary rotations; a tensor turned there and back is itself.
TEST(Axes, AreAProductOfRotations) {
    const Matrix3 T = {{{6.1, 99, -77}, {0.3, 4.3, 55}, {-0.8, 1.2, 10}}};
    for (const EulerAngles& angles : kAngles) {
        const Matrix3 g = AxesOf(angles), slow = SlowAxes(angles), turned = TurnTensor(T, g);
        const Matrix3 again = TurnTensorBack(turned, g), other = TurnTensor(turned, Transposed(g));
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) {
                const double element = T[std::max(i, j)][std::min(i, j)];  // the upper is not read
                EXPECT_NEAR(g[i][j], slow[i][j], 5e-11);                   // 13-digit degrees
                EXPECT_NEAR(again[i][j], element, 2e-13);
                EXPECT_NEAR(other[i][j], element, 2e-13);
            }
        }
    }
}

// The tensor diag(B, C, A) turned by an independent calculation; all else is as it was.
TEST(Turn, GivesTheReferenceTensor) {
    const std::pair<Constant, double> expected[] = {{Constant::A, 6.036036462622},
                                                    {Constant::B, 9.43590231227},
                                                    {Constant::C, 4.928061225108},
                                                    {Constant::PXPY, 0.710498741392},
                                                    {Constant::PXPZ, -1.173445839332},
                                                    {Constant::PYPZ, -1.04418789929},
                                                    {Constant::DK, 0.25},
                                                    {Constant::PX, 0.125}};
    State state = StdRotor(kGeneral).Set(Constant::DK, 0.25).Set(Constant::PXPY, 0.5);
    state.reduction = Reduction::S;
    state.terms[Constant::PX].value = 0.125;
    state.terms[Constant::A].on = false;
    const TurnedState turned = Turn(state);
    for (const auto& [c, value] : expected) EXPECT_NEAR(turned.value[c], value, 1e-10) << NameOf(c);
    EXPECT_EQ(turned.reduction, Reduction::S);
    EXPECT_EQ(turned.axes, AxesOf(kGeneral));
    EXPECT_EQ(turned.given, (std::array{10.0, 6.1, 4.3}));
    EXPECT_EQ(turned.NumOn(), 5) << "A, B and C are always on, cross terms of the turn are not";
    EXPECT_TRUE(turned.Acts(Constant::A) && turned.Acts(Constant::PYPZ));
    EXPECT_FALSE(turned.Acts(Constant::PX));
}

// cos 90 degrees is 3.9e-12 with the program's conversion constant: below the threshold for a
// small A - B, above it for a large one. A cross term that the turn does not make stays.
TEST(Turn, FlagsTheCrossTermsThatItMakes) {
    const struct {
        EulerAngles angles;
        double A;
        std::string made;
    } cases[] = {
        {{0, 0, 30}, 10, "PXPY"},  {{0, 30, 90}, 10, "PYPZ"},           {{0, 90, 0}, 10, ""},
        {{0, 90, 0}, 6e4, "PXPZ"}, {{33, 71, -12}, 10, "PXPYPXPZPYPZ"}, {{0, 0, 0}, 10, ""}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.made);
        State state = StdRotor(c.angles).Set(Constant::A, c.A).Set(Constant::PXPZ, 0.75);
        state.terms[Constant::PXPY].value = 0.5;  // switched off
        const TurnedState turned = Turn(state);
        std::string made;
        for (int k = 0; k < kNumConstants; ++k) {
            if (turned.from_turn[k]) made += NameOf(static_cast<Constant>(k));
        }
        EXPECT_EQ(made, c.made);
        for (const CrossTerm& cross : kCrossTerms) {
            const bool kept = turned.value[cross.constant] == state.value(cross.constant);
            EXPECT_EQ(kept, !turned.from_turn[cross.constant]);
        }
        EXPECT_EQ(turned.is_turned, !c.angles.IsZero());
    }
}

// A solution is used again only for what would give the same bits.
TEST(SameBits, SeesEveryChange) {
    const State state = StdRotor(kGeneral).Set(Constant::DK, 0.0);
    const TurnedState turned = Turn(state);
    EXPECT_TRUE(SameBits(turned, Turn(state)));
    const auto differs = [&](auto change) {
        TurnedState other = turned;
        change(other);
        return !SameBits(turned, other) && !SameBits(other, turned);
    };
    for (int c = 0; c < kNumConstants; ++c) {
        EXPECT_TRUE(
            differs([&](auto& t) { t.value[c] = std::nextafter(t.value[c] + 0.0, 100.0); }));
        EXPECT_TRUE(differs([&](auto& t) { t.on[c] = !t.on[c]; }));
        EXPECT_TRUE(differs([&](auto& t) { t.from_turn[c] = !t.from_turn[c]; }));
    }
    EXPECT_TRUE(differs([](auto& t) { t.value[Constant::DK] = -0.0; }));
    EXPECT_TRUE(differs([](auto& t) { t.reduction = Reduction::S; }));
    EXPECT_TRUE(differs([](auto& t) { t.axes[2][1] = -t.axes[2][1]; }));
    EXPECT_TRUE(differs([](auto& t) { t.tilt.phi += 360.0; }));
    EXPECT_TRUE(differs([](auto& t) { t.given[0] += 1.0; }));
}

// Projections by independent calculations.
TEST(Moments, AreTakenFromAnglesAndPercent) {
    const Moment general = Moment::FromAngles(4, 50, 120);
    const std::array<double, 3> cases[][2] = {
        {general.component, {1.28557521937, -0.76604444312, 1.32682789634}},
        {TurnedMoment(general, Turn(StdRotor(kGeneral))), {0.49435719, -1.48154085, 1.24925885}},
        {TurnedMoment(general, Turn(StdRotor())), general.component},
        {Moment::FromAngles(-4, 0, 0).component, {2, 0, 0}},
        {Moment::FromPercent({50, 0, -50}).component, {M_SQRT1_2, 0, -M_SQRT1_2}},
        {Moment::FromPercent({1e-8, 1.01e-8, 100}).component, {1e-5, std::sqrt(1.01e-10), 1}}};
    for (const auto& [found, expected] : cases) {
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(found[i], expected[i], 1e-8) << expected[0];
    }
}

TEST(Constants, HaveNamesAndShapes) {
    EXPECT_STREQ(NameOf(Constant::dK), "dK");
    EXPECT_STREQ(NameOf(Constant::PZ5), "PZ5");
    EXPECT_EQ(Asymmetry(5, 2, 2), -1.0);
    EXPECT_EQ(Asymmetry(5, 5, 2), 1.0);
    EXPECT_EQ(Asymmetry(3, 3, 3), 0.0);
    EXPECT_NEAR(InertialDefect(30000, 15000, 10000), 0.0, 1e-10) << "a planar molecule";
    EXPECT_NEAR(InertialDefect(1e6, 1e6, 2e5), 3 * 0.5053790765, 1e-12);
    EXPECT_EQ(InertialDefect(3, 2, 0), 0.0);
}

}  // namespace
}  // namespace kiv
