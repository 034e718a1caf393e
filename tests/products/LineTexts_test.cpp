// Fields and rows of product files, read back column by column.
#include "products/LineTexts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "products/Fields.h"

namespace kiv {
namespace {

template <class Put>
std::string Text(const Put& put) {
    char room[512];
    return {room, static_cast<std::size_t>(put(room) - room)};
}

std::string Lettered(int value, int width) {
    return Text([&](char* out) { return PutLettered(out, value, width); });
}
std::string Field(double value, int width) {
    return Text([&](char* out) { return PutField4(out, value, width); });
}

TEST(Fields, LettersStandForTheFirstDigits) {
    const std::tuple<int, int, const char*> cases[] = {
        {0, 2, " 0"},     {99, 2, "99"},    {100, 2, "A0"},  {109, 2, "A9"},  {110, 2, "B0"},
        {359, 2, "Z9"},   {360, 2, "**"},   {7, 3, "  7"},   {999, 3, "999"}, {1000, 3, "A00"},
        {1234, 3, "C34"}, {3599, 3, "Z99"}, {3600, 3, "***"}};
    for (const auto& [value, width, text] : cases) EXPECT_EQ(Lettered(value, width), text);
}

TEST(Fields, KeepTheirWidth) {
    EXPECT_EQ(Field(12.34567, 10), "   12.3457");
    EXPECT_EQ(Field(99999.99994, 10), "99999.9999");
    EXPECT_EQ(Field(123456.78951, 10), "123456.790");
    EXPECT_EQ(Field(99999.99996, 10), "100000.000");
    EXPECT_EQ(Field(-123.45678, 8), "-123.457");
    EXPECT_EQ(Field(987654321.0, 10), " 987654321");
}

TEST(Fields, ReadBackAsTheyWere) {
    for (const double value : {0.0, 1.0, -0.1, 1e-4, 9.999e-5, 1e22, 299792.458, 1e15, 1e14 / 3,
                               std::numeric_limits<double>::denorm_min(), 1.7e308}) {
        const std::string text = Text([&](char* out) { return PutShortest(out, value); });
        EXPECT_EQ(std::strtod(text.c_str(), nullptr), value) << text;
        const auto single = static_cast<float>(value);
        const std::string small = Text([&](char* out) { return PutShortest(out, single); });
        EXPECT_EQ(std::strtof(small.c_str(), nullptr), single) << small;
    }
    const std::string plain = Text([](char* out) { return PutShortest(out, 100000.0); });
    EXPECT_EQ(plain, "100000") << "no exponent where it is not needed";
    const auto fixed = [](double value) {
        return Text([&](char* out) { return PutFixed7(out, value); });
    };
    EXPECT_EQ(fixed(-8.91426049), "-8.9142605");
    EXPECT_EQ(fixed(-0.05), "-0.0500000");
    EXPECT_EQ(fixed(12.99999999), "13.0000000");
    EXPECT_EQ(fixed(-INFINITY), "");
}

// A block that is full goes out in the middle of the rows.
TEST(Fields, RowsArriveInOrder) {
    StringSink sink;
    std::string all;
    {
        RowBlock rows(sink);
        for (int i = 0; i < 30000; ++i) {
            const std::string row = std::to_string(i) + " row\n";
            all += row;
            std::memcpy(rows.next(), row.data(), row.size());
            rows.Add(rows.next() + row.size());
        }
        rows.Flush();
    }
    EXPECT_TRUE(sink.text() == all);
}

}  // namespace
}  // namespace kiv
