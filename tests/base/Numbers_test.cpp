// The exponential function and the keys of lines.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>

#include "base/ExpFunc.h"
#include "base/LineKey.h"
#include "base/Trig.h"

namespace kiv {
namespace {

TEST(ExpFunc, IsTheExponentialToTheLastPlace) {
    std::mt19937_64 random(3);
    std::uniform_real_distribution<double> argument(-720.0, 720.0);
    double worst = 0.0;
    for (int i = 0; i < 200000; ++i) {
        const double x = i % 2 == 0 ? argument(random) : argument(random) / 720.0;
        const long double exact = std::exp(static_cast<long double>(x));
        if (exact > 1e308L || exact < 1e-300L) continue;
        const double ulp = std::nextafter(ExpFunc(x), INFINITY) - ExpFunc(x);
        worst = std::max(worst, static_cast<double>(std::fabs(ExpFunc(x) - exact)) / ulp);
    }
    EXPECT_LT(worst, 1.0);
    EXPECT_EQ(ExpFunc(0.0), 1.0);
    EXPECT_EQ(ExpFunc(1.0), 2.718281828459045);
    EXPECT_EQ(ExpFunc(-INFINITY), 0.0);
    EXPECT_EQ(ExpFunc(INFINITY), INFINITY);
    EXPECT_TRUE(std::isnan(ExpFunc(NAN)));
}

// Against extended precision, of which a rounding in the middle between two doubles is the only
// doubt; degrees as they are entered, and all angles.
TEST(Trig, IsTheNearestDouble) {
    std::mt19937_64 gen(3);
    std::uniform_real_distribution<double> angle(-720.0, 720.0), cosine(-1.0, 1.0);
    int away = 0;
    const auto check = [&](double value, long double exact) {
        if (value == static_cast<double>(exact)) return;
        ++away;
        EXPECT_NEAR(value, static_cast<double>(exact), 3e-16 * std::fabs(value));
    };
    constexpr int kNum = 20000;
    for (int i = 0; i < kNum; ++i) {
        const double degrees = i % 2 == 0 ? angle(gen) : std::round(angle(gen));
        const double x = degrees * 0.0174532925199, c = cosine(gen), s = cosine(gen);
        check(NearestSin(x), std::sin(static_cast<long double>(x)));
        check(NearestCos(x), std::cos(static_cast<long double>(x)));
        check(NearestArcCos(c), std::acos(static_cast<long double>(c)));
        check(NearestArcTan(s, c), std::atan2(static_cast<long double>(s), c));
    }
    EXPECT_LT(away, kNum / 500);
    EXPECT_EQ(NearestSin(0.0), 0.0);
    EXPECT_EQ(NearestCos(0.0), 1.0);
    EXPECT_EQ(NearestArcTan(1.0, 1.0), std::atan2(1.0, 1.0));
    EXPECT_TRUE(std::isnan(NearestArcCos(1.5)));
}

// The order of the keys is that of nested loops, up to the largest numbers.
TEST(LineKey, OrdersLinesAsTheyAreCalculated) {
    const int values[] = {0, 1, 255, 32767, 32768, 65535};
    std::uint64_t last = 0;
    for (int i = 0; i < 6 * 6 * 6 * 6; ++i) {
        const int Jl = values[i / 216], Ju = values[i / 36 % 6];
        const int l = values[i / 6 % 6], u = values[i % 6];
        const std::uint64_t key = LineKey(Jl, Ju, l, u);
        EXPECT_TRUE(i == 0 || key > last) << i;
        last = key;
        EXPECT_TRUE(KeyJLower(key) == Jl && KeyJUpper(key) == Ju) << i;
        EXPECT_TRUE(KeyTauLower(key) == l && KeyTauUpper(key) == u) << i;
        EXPECT_EQ(key & kLowerLevelMask, LineKey(Jl, 0, l, 0));
        EXPECT_EQ(key & kUpperLevelMask, LineKey(0, Ju, 0, u));
    }
}

}  // namespace
}  // namespace kiv
