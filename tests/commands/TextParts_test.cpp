// Numbers of texts against printf, tables against what they should look like.
#include "commands/TextParts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <random>

namespace kiv {
namespace {

TEST(TextParts, FixedWritesWhatPrintfWrites) {
    std::vector<double> values{0.0,
                               -0.0,
                               0.5,
                               1.5,
                               2.5,
                               0.125,
                               -0.00004,
                               0.99995,
                               9.99995,
                               0.999996,
                               123456.78125,
                               1e15,
                               9e15,
                               1e17,
                               1e300,
                               -1e-300,
                               0.045,
                               0.00005,
                               1e-9,
                               -0.005,
                               4503599627370497.5,
                               std::numeric_limits<double>::infinity()};
    std::mt19937 random(11);
    std::uniform_real_distribution<double> mantissa(-1.0, 1.0), exponent(-9.0, 17.0);
    for (int i = 0; i < 4000; ++i) {
        values.push_back(mantissa(random) * std::pow(10.0, exponent(random)));
        values.push_back(std::round(mantissa(random) * 1e7) / 2048.0);  // ties
    }
    for (const double value : values) {
        for (int digits = 0; digits <= 9; ++digits) {
            char expected[400];
            std::snprintf(expected, sizeof expected, "%.*f", digits, value);
            EXPECT_EQ(Fixed(value, digits), expected) << digits;
        }
    }
}

TEST(TextParts, TablesHaveColumnsAsWideAsTheirCells) {
    TextTable table({{"line"}, {"transition", TextTable::Align::Left}, {"o-c"}, {""}});
    EXPECT_TRUE(table.empty());
    table.Add({"12", "short", "-0.1"});
    table.Put("3");
    table.Put("longer than its heading");
    table.EndRow();
    table.Add({});
    EXPECT_EQ(table.text(),
              "  line  transition                o-c\n"
              "    12  short                    -0.1\n"
              "     3  longer than its heading\n"
              "\n");
    TextTable wide({{std::string(50, 'a')}, {std::string(40, 'b')}});
    wide.Add({"", "x"});
    EXPECT_EQ(wide.text(), "  " + std::string(50, 'a') + " " + std::string(40, 'b') + "\n" +
                               std::string(92, ' ') + "x\n");
}

}  // namespace
}  // namespace kiv
