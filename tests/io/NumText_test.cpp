// The number writers against printf, byte for byte.
#include "io/NumText.h"

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace kiv {
namespace {

// The narrowest width, the widest, and those that are known: both of the line list among them.
testing::AssertionResult SameAsPrintf(double value) {
    using Put = char* (*)(char*, double);
    constexpr std::pair<int, Put> kWays[] = {
        {1, [](char* out, double v) { return PutFixed4(out, v, 1); }},
        {8, [](char* out, double v) { return PutFixed4(out, v, 8); }},
        {16, [](char* out, double v) { return PutFixed4(out, v, 16); }},
        {7, PutFixed4<7>},
        {8, PutFixed4<8>},
        {9, PutFixed4<9>},
        {10, PutFixed4<10>},
        {11, PutFixed4<11>},
        {13, PutFixed4<13>}};
    char ours[kFixed4Room], theirs[kFixed4Room];
    for (double v : {value, -value}) {
        double side_by_side[] = {v};
        std::int64_t units = 0;
        FindUnits(side_by_side, &units);
        if (units != UnitsOf(v)) return testing::AssertionFailure() << v << ": " << units;
        for (const auto& [width, put] : kWays) {
            const std::string text(ours, put(ours, v));
            std::snprintf(theirs, sizeof theirs, "%*.4f", width, v);
            if (text == theirs) continue;
            return testing::AssertionFailure() << theirs << " in " << width << ": " << text;
        }
    }
    return testing::AssertionSuccess();
}

TEST(Fixed4, AgreesWithPrintf) {
    for (std::int64_t odd = 1; odd < 40000; odd += 2) {
        const double tie = static_cast<double>(odd) / 32.0;  // the only ties a binary number has
        for (double value :
             {tie, std::nextafter(tie, 0.0), std::nextafter(tie, 1e9), tie + std::ldexp(1.0, 47)}) {
            ASSERT_TRUE(SameAsPrintf(value));
        }
    }
    for (double power = 1e-12; power < 1e20; power *= 10) {
        for (double offset : {-0.5, -0.00005001, -0.00005, -0.00004999, 0.0, 0.00005, 0.5}) {
            ASSERT_TRUE(SameAsPrintf(power + offset));
        }
    }
    std::mt19937_64 random(20260101);
    for (std::uint64_t i = 0; i < 2048 * 8; ++i) {  // every exponent; 0, inf and nan among them
        const std::uint64_t fraction = i % 8 == 0 ? 0 : i % 8 == 1 ? UINT64_MAX : random();
        ASSERT_TRUE(SameAsPrintf(std::bit_cast<double>(i / 8 << 52 | fraction >> 12)));
    }
    std::uniform_real_distribution<double> line(0.0, 1e6);
    for (int i = 0; i < 100000; ++i) {
        const std::uint64_t exponent = 1023 - 20 + random() % 75;  // 1e-6 .. 1e16
        ASSERT_TRUE(SameAsPrintf(std::bit_cast<double>(exponent << 52 | random() >> 12)));
        ASSERT_TRUE(SameAsPrintf(line(random)));
    }
}

TEST(Int, AgreesWithPrintf) {
    std::vector<int> values = {INT_MIN, INT_MAX, 999999, 1000000};
    for (int value = SHRT_MIN; value <= SHRT_MAX; ++value) values.push_back(value);
    char ours[kIntRoom], theirs[kIntRoom];
    for (int value : values) {
        for (int width : {1, 2, 3, 8}) {
            std::snprintf(theirs, sizeof theirs, "%*d", width, value);
            ASSERT_EQ(std::string(ours, PutInt(ours, value, width)), theirs);
        }
    }
}

}  // namespace
}  // namespace kiv
