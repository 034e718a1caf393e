// The number writers against printf, byte for byte.
#include "output/NumText.h"

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <string>

namespace {

std::string Fixed4(double value, int width) {
    char text[kFixed4Room];
    return {text, PutFixed4(text, value, width)};
}

std::string PrintfFixed4(double value, int width) {
    char text[kFixed4Room];
    return {text,
            static_cast<std::size_t>(std::snprintf(text, sizeof text, "%*.4f", width, value))};
}

// Both signs, both widths of the line list and no width at all.
testing::AssertionResult SameAsPrintf(double value) {
    for (double v : {value, -value}) {
        for (int width : {1, 8, 11}) {
            if (Fixed4(v, width) == PrintfFixed4(v, width)) continue;
            return testing::AssertionFailure()
                   << std::hexfloat << v << " in " << width << ": [" << Fixed4(v, width) << "]";
        }
    }
    return testing::AssertionSuccess();
}

TEST(Fixed4, WritesWhatThePageOfTheManualSays) {
    EXPECT_EQ(Fixed4(1.25, 11), "     1.2500");
    EXPECT_EQ(Fixed4(-0.00001, 8), " -0.0000");
    EXPECT_EQ(Fixed4(-0.0, 8), " -0.0000");
    EXPECT_EQ(Fixed4(0.03125, 8), "  0.0312");  // 312.5 units: to even
    EXPECT_EQ(Fixed4(0.09375, 8), "  0.0938");  // 937.5 units: to even
    EXPECT_EQ(Fixed4(123456.78905, 8), "123456.7891");
    EXPECT_EQ(Fixed4(std::numeric_limits<double>::quiet_NaN(), 8), "     nan");
    EXPECT_EQ(Fixed4(-std::numeric_limits<double>::infinity(), 8), "    -inf");
}

TEST(Fixed4, AgreesOnTies) {
    for (std::int64_t odd = 1; odd < 40000; odd += 2) {
        const double tie = static_cast<double>(odd) / 32.0;  // the only ties a binary number has
        ASSERT_TRUE(SameAsPrintf(tie));
        ASSERT_TRUE(SameAsPrintf(std::nextafter(tie, 0.0)));
        ASSERT_TRUE(SameAsPrintf(std::nextafter(tie, 1e9)));
        ASSERT_TRUE(SameAsPrintf(tie + std::ldexp(1.0, 47)));
    }
}

TEST(Fixed4, AgreesAroundEveryPowerOfTen) {
    for (double power = 1e-12; power < 1e20; power *= 10) {
        for (double offset : {-0.5, -0.00005, -0.00004999, 0.0, 0.00005, 0.5}) {
            ASSERT_TRUE(SameAsPrintf(power + offset));
        }
    }
}

TEST(Fixed4, AgreesAtEveryBinaryExponent) {
    std::mt19937_64 random(20260101);
    for (std::uint64_t exponent = 0; exponent < 2048; ++exponent) {
        for (int i = 0; i < 8; ++i) {
            const std::uint64_t fraction = i == 0 ? 0 : i == 1 ? UINT64_MAX : random();
            ASSERT_TRUE(SameAsPrintf(std::bit_cast<double>(exponent << 52 | fraction >> 12)));
        }
    }
}

TEST(Fixed4, AgreesOnRandomNumbersOfEverySize) {
    std::mt19937_64 random(20260102);
    for (int i = 0; i < 100000; ++i) {
        const std::uint64_t exponent = 1023 - 20 + random() % 75;  // 1e-6 .. 1e16
        ASSERT_TRUE(SameAsPrintf(std::bit_cast<double>(exponent << 52 | random() >> 12)));
    }
    std::uniform_real_distribution<double> line(0.0, 1e6);
    for (int i = 0; i < 50000; ++i) ASSERT_TRUE(SameAsPrintf(line(random)));
}

TEST(Int, AgreesWithPrintf) {
    const auto agrees = [](int value) {
        for (int width : {1, 2, 3, 8}) {
            char ours[kIntRoom];
            char theirs[kIntRoom];
            const std::string text(ours, PutInt(ours, value, width));
            std::snprintf(theirs, sizeof theirs, "%*d", width, value);
            if (text != theirs) return false;
        }
        return true;
    };
    for (int value = SHRT_MIN; value <= SHRT_MAX; ++value) ASSERT_TRUE(agrees(value)) << value;
    for (int value : {INT_MIN, INT_MAX, 999999, 1000000}) EXPECT_TRUE(agrees(value)) << value;
}

}  // namespace
