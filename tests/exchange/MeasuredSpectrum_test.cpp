#include "exchange/MeasuredSpectrum.h"

#include <gtest/gtest.h>

#include <cstddef>

#include "named/Samples.h"

namespace kiv {
namespace {

struct Reading {
    MeasuredSpectrum spectrum;
    Findings findings;
};

Reading Read(std::string_view text, EnergyUnit unit = EnergyUnit::MHz) {
    Reading reading;
    reading.spectrum = ReadMeasuredSpectrum(text, unit, "m.txt", reading.findings);
    return reading;
}

// The same three points in every way in which they are written.
const char* const kSame[] = {
    "8000.5 1\n8001 -0.25\n8002.5 3e-1\n",
    "8000.5\t1\r\n8001\t-0.25\r\n8002.5\t3e-1",
    "8000.5,1\n8001, -.25\n +8002.5 ,\t3e-1\n",
    "  8000.5 ; +1.0 \n 8001;-0.25;\n8002.5;.3\n",
    "\xEF\xBB\xBF"
    "8002.5 0.3\n8001.0 -0.25\n8000.5 1.\n",
    "# a spectrum\n; of 1999\n\nf,\"I\"\nMHz,V\n8000.5,1\n\n# noise\n8001,-0.25 # "
    "spike\n8002.5,0.3\n",
    "Frequency/GHz Signal\n8.0005 1\n8.001 -0.25\n8.0025 0.3\n",
    "# resolution 5 MHz, axis [GHz]\n8.0025,0.3,7\n8.001,-0.25,7\n8.0005,1,7\n",
    "# GHz\n# cm-1\nfrequency (MHz)\nsecond header in arbitrary units\n8000.5 1 0.01\n8001 -0.25 "
    "x\n"
    "8002.5 0.3\n",
};

TEST(MeasuredSpectrum, WhatIsWrittenInManyWays) {
    for (const char* text : kSame) {
        const Reading reading = Read(text);
        EXPECT_FALSE(reading.findings.has_errors()) << ShortText(reading.findings);
        const auto& frequency = reading.spectrum.frequency;
        ASSERT_EQ(frequency.size(), 3U) << text;
        const double wanted[] = {8000.5, 8001.0, 8002.5};
        for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(frequency[i], wanted[i], 1e-9) << text;
        EXPECT_EQ(reading.spectrum.value, (std::vector<double>{1.0, -0.25, 0.3})) << text;
    }
    EXPECT_EQ(ShortText(Read(kSame[7]).findings), "surplus-value 2:12");
    EXPECT_EQ(ShortText(Read(kSame[0]).findings), "");
}

struct UnitCase {
    const char* head;
    EnergyUnit unit;
    double first;  // of what stands there as 100
};

TEST(MeasuredSpectrum, FrequenciesTakeTheUnitOfTheCalculation) {
    constexpr EnergyUnit kCm = EnergyUnit::Wavenumber, kMHz = EnergyUnit::MHz;
    const UnitCase cases[] = {
        {"", kMHz, 100.0},
        {"", kCm, 100.0},
        {"# GHz\n", kMHz, 1e5},
        {"; in cm-1\n", kMHz, 2997924.58},
        {"Wavenumber  A\n", kMHz, 2997924.58},
        {"nu / cm^-1\n", kMHz, 2997924.58},
        {"nu / cm\xE2\x81\xBB\xC2\xB9\n", kMHz, 2997924.58},
        {"# frequency in MHz\n", kCm, 100.0 / 29979.2458},
        {"# ghz\n", kCm, 1e5 / 29979.2458},
        {"# steps of 0.1 GHz\n", kMHz, 100.0},
        {"# GHz scan, 10 MHz steps\n", kMHz, 1e5},
    };
    for (const UnitCase& row : cases) {
        const Reading reading = Read(row.head + std::string("100 1\n101 2\n"), row.unit);
        ASSERT_EQ(reading.spectrum.frequency.size(), 2U) << row.head;
        EXPECT_NEAR(reading.spectrum.frequency[0] / row.first, 1.0, 1e-15) << row.head;
    }
}

struct Hostile {
    std::string_view text;
    const char* findings;
};

using std::string_view_literals::operator""sv;

TEST(MeasuredSpectrum, SaysWhereAndWhatIsWrong) {
    const Hostile cases[] = {
        {"", "bad-line-row 1:1"},
        {"# only\n\nwords here\n", "bad-line-row 3:1"},
        {"1 2\n3\n5 6\n", "bad-line-row 2:2"},
        {"1;2\n3;\n", "bad-line-row 2:3"},
        {"1,2\n3,,4\n", "bad-line-row 2:3"},
        {"1\n2\n", "bad-line-row 1:2\nbad-line-row 2:2"},
        {"1 2\n2 nan\n", "not-a-number 2:3"},
        {"1 2\ninf 3\n", "not-a-number 2:1"},
        {"1 2\n2 0x10\n", "not-a-number 2:3"},
        {"1 1e999\n", "out-of-range 1:3"},
        {"1,5 2\n", "decimal-comma 1:1"},
        {"1.5;2,25\n", "decimal-comma 1:5"},
        {"1.5 2D-3\n", "d-exponent 1:5"},
        {"1 2\nEnd of scan\n", "not-a-number 2:1"},
        {"1 2\n3 4\n2 5\n9 9\n", "bad-line-row 3:1"},
        {"3 4\n2 5\n2.5 6\n", "bad-line-row 3:1"},
        {"1 2\n\0\1\2 4\n"sv, "looks-like 1:1"},
        {"\xFF\xFE"
         "1\0 \0"sv,
         "looks-like 1:1"},
        {"\x80\x81\xFF\n\xFE\n", "bad-line-row 2:1"},
        {"1 2 3\n2 3 4\n", "surplus-value 1:5"},
    };
    for (const Hostile& row : cases) {
        EXPECT_EQ(ShortText(Read(row.text).findings), row.findings) << row.text;
    }
}

// One cause in every row of a long file is not told ten thousand times.
TEST(MeasuredSpectrum, EndsAfterSomeErrors) {
    std::string text;
    for (int i = 0; i < 10000; ++i) text += std::to_string(i) + ",5 1\n";
    EXPECT_LT(Read(text).findings.size(), 10U);
}

TEST(MeasuredSpectrum, LongSpectraKeepTheirNumbers) {
    std::string text = "# cm-1\n";
    for (int i = 0; i < 200000; ++i) {
        text += std::to_string(200000 - i) + "." + std::to_string(100 + i % 900) + "\t" +
                std::to_string(i) + "e-7\n";
    }
    const Reading reading = Read(text, EnergyUnit::Wavenumber);
    EXPECT_TRUE(reading.findings.empty());
    ASSERT_EQ(reading.spectrum.value.size(), 200000U);
    for (const std::size_t i : {std::size_t{0}, std::size_t{1234}, std::size_t{199999}}) {
        const auto row = static_cast<int>(199999 - i);
        EXPECT_EQ(reading.spectrum.value[i], std::stod(std::to_string(row) + "e-7"));
        EXPECT_NEAR(reading.spectrum.frequency[i], 200000 - row + 0.001 * (100 + row % 900), 1e-9);
    }
}

}  // namespace
}  // namespace kiv
