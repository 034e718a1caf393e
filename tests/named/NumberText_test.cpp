#include "named/NumberText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "named/NumberWord.h"

namespace kiv {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

struct UncertaintyCase {
    double value, sd;
    const char* text;
};

const UncertaintyCase kUncertainties[] = {
    {12105.86, 0.0214, "12105.8600(214)"},
    {-12105.86, 0.0214, "-12105.8600(214)"},
    {1.0, 0.5, "1.000(500)"},
    {1.0, 0.09994, "1.0000(999)"},
    {1.0, 0.09996, "1.000(100)"},  // three digits of 0.100
    {9.9999996, 0.001, "10.00000(100)"},
    {5.25, 2.14, "5.25(214)"},
    {5.25, 21.4, "5.2(214)"},
    {525.25, 214.0, "525(214)"},
    {123456.7, 2140.0, "123460(2140)"},
    {0.004, 21.4, "0.0(214)"},  // far below its uncertainty
    {-0.004, 21.4, "0.0(214)"},
    {-1e-8, 3.4e-7, "-0.10(340)e-7"},
    {0.0000067123, 3e-9, "6.71230(300)e-6"},
    {0.000012345, 1e-7, "0.000012345(100)"},
    {9.996e-6, 1e-7, "9.996(100)e-6"},
    {0.0, 0.5, "0.000(500)"},
    {1.5e300, 1e298, "1.5000(100)e300"},
    {5.0, 1e300, "0.00(100)e300"},
    {1.5e-300, 1e-302, "1.5000(100)e-300"},
    {1.0, 1e-300, "1.0000000000000000(1)"},
    {60778.5, 0.0, "60778.5"},
    {60778.5, kNaN, "60778.5(nan)"},
    {60778.5, -kInf, "60778.5(inf)"},
    {kNaN, 0.1, "nan"},
};

TEST(NumberTextTest, UncertaintiesStandInUnitsOfTheLastPlace) {
    for (const auto& [value, sd, text] : kUncertainties)
        EXPECT_EQ(WithUncertainty(value, sd), text);
}

TEST(NumberTextTest, FittedValuesAreNearAndNoLongerThanNeeded) {
    EXPECT_EQ(FittedText(12105.8612345678, 0.0214), "12105.861235");
    EXPECT_EQ(FittedText(-0.0066610013, 2.6e-6), "-0.0066610013");
    EXPECT_EQ(FittedText(3.14159265e-9, 1e-12), "3.1415927e-9");
    EXPECT_EQ(FittedText(1e-9, 1.0), "1e-09");  // 0.0000 would have no derivative
    EXPECT_EQ(FittedText(0.1, 0.0), "0.1");
    for (const double sd : {1e-12, 3e-7, 0.0999, 1.0, 47.0, 8.1e4}) {
        for (const double value : {1.0 / 3, -60778.123456789, 2e-7, 9.99999999e11}) {
            const NumberWord read = ReadNumberWord(FittedText(value, sd));
            ASSERT_EQ(read.fault, WordFault::None);
            EXPECT_NEAR(read.value, value, 1e-4 * sd) << FittedText(value, sd);
        }
    }
}

TEST(NumberTextTest, ShortestTextsReadBack) {
    for (const double value :
         {0.1, 1.0 / 3, 1e6, 123456789012345.6, 1e22, -4.9e-324, 1.7e308, -0.0}) {
        const NumberWord plain = ReadNumberWord(ShortestText(value));
        const NumberWord real = ReadNumberWord(RealText(value));
        EXPECT_TRUE(plain.value == value && real.value == value) << ShortestText(value);
        EXPECT_EQ(std::signbit(plain.value), std::signbit(value));
    }
    EXPECT_EQ(ShortestText(1e6), "1000000");
    EXPECT_EQ(RealText(1e6), "1000000.0");
}

TEST(NumberWordTest, SaysWhatWasMeant) {
    const struct {
        const char* word;
        WordFault fault;
        const char* correct;
    } cases[] = {
        {"60839.33", WordFault::None, ""},
        {"+.5e-3", WordFault::None, ""},
        {"60839,33", WordFault::DecimalComma, "60839.33"},
        {"-1,5d-3", WordFault::DecimalComma, "-1.5e-3"},
        {"1.5D-3", WordFault::DExponent, "1.5e-3"},
        {"1OO", WordFault::LetterForDigit, "100"},
        {"l2.S", WordFault::LetterForDigit, "12.5"},
        {"1,234,567", WordFault::NotANumber, "1234567"},
        {"1.2.3", WordFault::NotANumber, ""},
        {"1e", WordFault::NotANumber, ""},
        {"B", WordFault::NotANumber, ""},
        {"", WordFault::NotANumber, ""},
        {"nan", WordFault::NotANumber, ""},
        {"0x10", WordFault::NotANumber, ""},
        {"1e400", WordFault::TooLarge, ""},
    };
    for (const auto& [word, fault, correct] : cases) {
        EXPECT_EQ(ReadNumberWord(word).fault, fault) << word;
        EXPECT_EQ(ReadNumberWord(word).correct, correct) << word;
    }
    EXPECT_EQ(ReadWholeWord("-12"), -12);
    EXPECT_FALSE(ReadWholeWord("1.0") || ReadWholeWord("") || ReadWholeWord("1234567890"));
}

}  // namespace
}  // namespace kiv
