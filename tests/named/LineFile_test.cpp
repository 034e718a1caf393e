#include "named/LineFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <utility>

#include "kiv/files.h"
#include "named/LineRows.h"
#include "named/Samples.h"
#include "named/Text.h"

namespace kiv {
namespace {

#define HEADER "J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty\n"

using Features = std::vector<LineFeature>;

struct Reading {
    Features features;
    std::string findings;
    bool has_errors = false;
};

Reading Read(std::string_view text, LineFormat format, bool two_states = false,
             EnergyUnit unit = EnergyUnit::MHz) {
    Findings findings;
    const LineContext context{two_states, unit, 30, 5};
    Reading reading;
    reading.features = ReadLineFile(text, format, context, "a", findings);
    reading.findings = ShortText(findings);
    reading.has_errors = findings.has_errors();
    return reading;
}

// "1 1 1 - 2 0 2" with v in front of each when it is not 0, comment and weight behind it.
std::string TextOf(const LineTransition& line) {
    std::string text;
    for (const LineLevel* level : {&line.upper, &line.lower}) {
        text += level == &line.lower ? " - " : "";
        if (level->v != 0) text += "v" + std::to_string(level->v) + " ";
        text += std::to_string(level->J) + " " + std::to_string(level->Ka) + " " +
                std::to_string(level->Kc);
    }
    if (line.weight) text += " w" + std::to_string(*line.weight).substr(0, 3);
    return text + (line.comment.empty() ? "" : " " + line.comment);
}

std::string TextOf(const Features& features) {
    std::string text;
    for (const LineFeature& feature : features) {
        char numbers[80];
        std::snprintf(numbers, sizeof numbers, "%.9g %.9g:", feature.frequency,
                      feature.uncertainty);
        text += numbers;
        for (const LineTransition& line : feature.transitions) text += " [" + TextOf(line) + "]";
        text += "\n";
    }
    return text;
}

struct RowCase {
    const char *row, *finding;  // the second line of a .csv file
};

const RowCase kCsvRows[] = {
    {"1,1,1,2,0,2,12256.584,0.01", ""},
    {"1 , 1,\t1,2,0,\"2\",1.2256584e4, .01,,", ""},
    {"1,1,1,2,0,2,12256,584,0.01", "decimal-comma 2:13"},
    {"1,1,1,2,0,2,12256.584,0,01", "decimal-comma 2:23"},
    {"1,1,1,2,0,2,12256.584,0.01,7", "surplus-value 2:28"},
    {"1,1,1,2,0,2,1.2D4,0.01", "d-exponent 2:13"},
    {"1,1,1,2,O,2,12256.584,0.01", "bad-line-row 2:9"},
    {"1,1,1,2,0,2,l2256.584,0.01", "letter-for-digit 2:13"},
    {"1,1,1,2,0,2,abc,0.01", "bad-line-row 2:13"},
    {"1,1,1,2,0,2,nan,0.01", "bad-line-row 2:13"},
    {"1,1,1.0,2,0,2,12256.584,0.01", "bad-line-row 2:5"},
    {"1,1,,2,0,2,12256.584,0.01", "bad-line-row 2:5"},
    {"1,1,1,2,0,2,12256.584", "bad-line-row 2:13"},
    {"1,1,1", "bad-line-row 2:5"},
    {"1;1;1;2;0;2;12256.584;0.01", "bad-line-row 2:1"},
    {"1,1,1,2,0,2,\"12256.584,0.01", "bad-line-row 2:13"},
    {"1,1,1,2,0,2,\"1\"2,0.01", "bad-line-row 2:16"},
    {"1,1,1,2,0,2,12256.584,", "no-uncertainty 2:23"},
    {"1,1,1,2,0,2,12256.584,0", "no-uncertainty 2:23"},
    {"1,1,1,2,0,2,12256.584,-0.01", "out-of-range 2:23"},
    {"2,2,2,2,0,2,1,1", "impossible-level 2:1"},
    {"1,1,1,2,3,0,1,1", "impossible-level 2:7"},
    {"-1,0,0,0,0,0,1,1", "impossible-level 2:1"},
    {"3,0,3,1,0,1,1,1", "forbidden-transition 2:1"},
    {"0,0,0,0,0,0,1,1", "forbidden-transition 2:1"},
    {"31,1,31,30,0,30,1,1", "beyond-J-max 2:1"},
    {"30,0,30,31,1,31,1,1", "beyond-J-max 2:9"},
    {"9,6,4,9,0,9,1,1", "delta-K-limit 2:3"},
};

TEST(LineFileTest, EachMistakeInACsvRowIsFoundInItsPlace) {
    for (const auto& [row, finding] : kCsvRows) {
        SCOPED_TRACE(row);
        const Reading reading = Read(HEADER + std::string(row) + "\n", LineFormat::Csv);
        EXPECT_EQ(reading.findings, finding);
        EXPECT_EQ(reading.features.size(), reading.has_errors ? 0u : 1u);
    }
}

// Places are counted on from the last one that was asked for; characters are of one to four bytes,
// and bytes that are none count alone.
TEST(LineFileTest, PlacesAreTheSameInAnyOrder) {
    const std::string line = "a,\xC3\xA9\xE2\x82\xAC x,\xF0\x9F\x98\x80,\xFF\xC3,z";
    std::mt19937 random(5);
    LineSplitter splitter(line);
    ASSERT_TRUE(splitter.Next());
    for (int i = 0; i < 300; ++i) {
        const std::size_t offset = random() % (line.size() + 1);
        const Place expected{1, CountCharacters(std::string_view(line).substr(0, offset)) + 1};
        EXPECT_EQ(splitter.At(offset).column, expected.column) << offset;
    }
}

TEST(LineFileTest, CsvColumnsStandInAnyOrderAndDress) {
    const Reading reading = Read(
        "\xEF\xBB\xBF# measured in \xC3\xA4\r\n\r\n"
        "\"frequency\";uncertainty ;J_up;Ka_up;Kc_up; J_lo;Ka_lo;Kc_lo;comment;v_lo;v_up;weight\r\n"
        "100.5;0.1; 1;1;1;2;0;2\r\n"
        "  # between\r\n"
        "100.50;0.1;2;1;1;2;0;2;\"a;\"\"b\"\" #c\";0;0;\r\n"
        "200;.2;2;1;1;2;0;2;plain text;1;1;2 # remark\r\n"
        "2e2;.3;3;1;2;3;0;3;;;;3\r\n",
        LineFormat::Csv, true);
    EXPECT_EQ(reading.findings, "blend-uncertainty 8:5");
    EXPECT_EQ(TextOf(reading.features),
              "100.5 0.1: [v1 1 1 1 - 2 0 2] [2 1 1 - 2 0 2 a;\"b\" #c]\n"
              "200 0.2: [v1 2 1 1 - v1 2 0 2 w2.0 plain text] [v1 3 1 2 - 3 0 3 w3.0]\n");
    EXPECT_EQ(reading.features[1].transitions[1].line, 8);
    EXPECT_EQ(TextOf(Read("J_up\tKa_up\tKc_up\tJ_lo\tKa_lo\tKc_lo\tfrequency\tuncertainty\n"
                          "1\t1\t1\t2\t0\t2\t12256,5\t0.1\n1\t1\t1\t2\t0\t2\t7\t 1\n",
                          LineFormat::Csv)
                         .features),
              "7 1: [1 1 1 - 2 0 2]\n");
}

TEST(LineFileTest, CsvHeadersAndBlendsAreChecked) {
    const auto found = [](const std::string& text) { return Read(text, LineFormat::Csv).findings; };
    EXPECT_EQ(found("1,1,1,2,0,2,12256.584,0.01\n"), "bad-line-row 1:1");
    EXPECT_EQ(found("J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency\n"), "bad-line-row 1:1");
    EXPECT_EQ(found("J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty,wieght\n"),
              "unknown-key 1:57");
    EXPECT_EQ(found("J_up,J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty\n"),
              "surplus-value 1:6");
    EXPECT_EQ(found(HEADER "1,1,1,2,0,2,5,1\n2,1,1,2,0,2,6,1\n1,1,1,2,0,2,5,1\n"),
              "duplicate-line 4:1");
    const std::string weights = "weight," HEADER;
    EXPECT_EQ(found(weights + "1,1,1,1,2,0,2,5,1\n,2,1,1,2,0,2,5,1\n"), "bad-line-row 3:1");
    EXPECT_EQ(found(weights + "0,1,1,1,2,0,2,5,1\n0,2,1,1,2,0,2,5,1\n"), "out-of-range 3:1");
    EXPECT_EQ(found("v_up," HEADER "1,1,1,1,2,0,2,5,1\n"), "bad-line-row 2:1");  // one state
    EXPECT_EQ(found(""), "");
}

TEST(LineFileTest, AsnRowsAreReadAsTheEngineReadsThem) {
    const std::string text =
        " A 3  2 1   2 2 0  300.5 0.3\n"
        "B  1 0 1 0 0 0 100.5* 0.1 and a remark\r\n\n# comment\n"
        "C/A 2 1 2 1 0 1 200.5 remark\n//\n//\nA 2 1 1 2 1 2 50.5 0.5\n";
    const Reading reading = Read(text, LineFormat::Asn, true);
    EXPECT_EQ(reading.findings, "no-uncertainty 5:23");
    EXPECT_EQ(TextOf(reading.features),
              "300.5 0.3: [v1 3 2 1 - 2 2 0]\n100.5 0.1: [v1 1 0 1 - 0 0 0 and a remark]\n"
              "200.5 0: [v1 2 1 2 - 1 0 1 remark]\n50.5 0.5: [2 1 1 - 2 1 2]\n");
    const auto engine = ReadAssignmentFile(text, {}, Memory());
    ASSERT_TRUE(engine.ok());
    EXPECT_EQ(engine.value().size, 4);
    EXPECT_EQ(engine.value().split, 3);

    const auto found = [](const char* row) { return Read(row, LineFormat::Asn).findings; };
    EXPECT_EQ(found("B 1 1 1 2 0 2 6O839.3 .1"), "letter-for-digit 1:15");
    EXPECT_EQ(found("B 1 1 1 2 0 2 60839,3 0,1"), "decimal-comma 1:15\ndecimal-comma 1:23");
    EXPECT_EQ(found("B 1 1 1 2 0 2"), "bad-line-row 1:13");
    EXPECT_EQ(found("B 1 1 x 2 0 2 5 .1"), "bad-line-row 1:7");
    EXPECT_EQ(found("B 2 0 0 2 0 2 5 .1"), "impossible-level 1:3");
    EXPECT_EQ(found("B 1 1 1 2 0 2 5 .1\n//\nB 1 1 1 2 0 2 6 .1\n//\nB 1 1 1 2 0 2 7 .1"),
              "duplicate-line 3:3\nbad-line-row 4:1");
}

TEST(LineFileTest, LinRowsHaveFixedColumns) {
    const std::string fill(18, ' ');
    const std::string text =
        "  1  1  0  1  0  1" + fill + " 18343.143   0.010 1\n" + "/ skipped\n\n" +
        "  2  2  0  2  1  1" + fill + " 18343.143   0.01  3  remark\r\n" + "  2  2  1  2  1  2" +
        fill + " 18343.143   0.02\n" + "  2  2  0  0  2  1  1  0" + std::string(12, ' ') +
        "0.5,-1d-4\n" + "999  0999998  1998" + fill + "5\n";
    const Reading reading = Read(text, LineFormat::Lin, true);
    EXPECT_EQ(reading.findings, "beyond-J-max 7:1\nno-uncertainty 7:1");
    EXPECT_EQ(TextOf(reading.features),
              "18343.143 0.01: [v1 1 1 0 - 1 0 1 w1.0] [v1 2 2 0 - 2 1 1 w3.0 remark]\n"
              "18343.143 0.02: [v1 2 2 1 - 2 1 2]\n"
              "14989.6229 2.99792458: [2 2 0 - 2 1 1]\n"
              "5 0: [v1 999 0 999 - 998 1 998]\n");
    const auto in_cm = Read(text, LineFormat::Lin, true, EnergyUnit::Wavenumber);
    EXPECT_EQ(in_cm.features[2].frequency, 0.5);
    EXPECT_DOUBLE_EQ(in_cm.features[0].frequency * 29979.2458, 18343.143);

    const auto found = [](const std::string& row) { return Read(row, LineFormat::Lin).findings; };
    EXPECT_EQ(found("  1  1  0  1  0  1  18343.143 0.01"), "bad-line-row 1:3");
    EXPECT_EQ(found("  1  1  x  1  0  1" + fill + "5 1"), "bad-line-row 1:9");
    EXPECT_EQ(found("  1  1  0  1  0  1" + fill + "18343,143 1"), "decimal-comma 1:37");
    EXPECT_EQ(found("  1  1  0  1  0  1" + fill + "18343.143 0.O1"), "letter-for-digit 1:47");
    EXPECT_EQ(found("  1  1  0  1  0  1"), "bad-line-row 1:3");
    EXPECT_EQ(found("  1  1  0  1  1  0  1  0" + fill), "bad-line-row 1:3");
}

TEST(LineFileTest, AnotherFormatIsOneFinding) {
    const std::string texts[] = {HEADER "1,1,1,2,0,2,12256.584,0.01\n",
                                 " B 1    1   1     2   0   2     12256.584000 0.010000\n\n",
                                 "  1  1  0  1  0  1                          18343.143  0.01 1\n"};
    for (const LineFormat is : {LineFormat::Csv, LineFormat::Asn, LineFormat::Lin}) {
        for (const LineFormat as : {LineFormat::Csv, LineFormat::Asn, LineFormat::Lin}) {
            const std::string found = Read(texts[static_cast<int>(is)], as).findings;
            EXPECT_EQ(found.substr(0, 10), is == as ? "" : "looks-like") << found;
        }
    }
    // A remark may look like anything.
    const char* const remark = " J_up, a; b, c; d, e; f, g\n";
    EXPECT_EQ(Read("B 1 1 1 2 0 2 12256.584 0.01" + std::string(remark), LineFormat::Asn).findings,
              "");
    const std::string touching = "101  0101100  0100" + std::string(18, ' ') + "18343.143 0.01 1 /";
    EXPECT_EQ(Read(touching + remark, LineFormat::Lin).findings, "beyond-J-max 1:1");
    EXPECT_EQ(LineFormatOf("a/b.CSV"), LineFormat::Csv);
    EXPECT_EQ(LineFormatOf("a.lin.txt"), std::nullopt);
}

// Lines with any numbers, some in blends.
Features AnyLines(unsigned seed, bool single) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> frequency(1.0, 1e6);
    Features features;
    for (int n = 0; n < 40; ++n) {
        LineFeature feature{frequency(random), frequency(random) * 1e-7, {}};
        if (n % 5 == 4) feature.frequency = features.back().frequency;
        const bool weighted = random() % 2 == 0;
        const int parts = single ? 1 : 1 + static_cast<int>(random() % 3);
        for (int i = 0; i < parts; ++i) {
            const int J = 10 + 3 * (n % 4) + i;
            LineTransition line{{1, J, i, J - i}, {0, J, i + 1, J - i}, {}, "", 0};
            if (single && n >= 30) line.upper.v = 0;
            if (!single) line.upper.v = line.lower.v = n % 2;
            if (!single && weighted) line.weight = frequency(random);
            if (n % 3 == 0) line.comment = single ? "remark 1" : "a \"b\", # c;";
            feature.transitions.push_back(line);
        }
        features.push_back(feature);
    }
    return features;
}

// Blends without weights as rows of fixed columns have them.
Features CountedEqually(Features features) {
    for (LineFeature& feature : features) {
        for (LineTransition& line : feature.transitions) {
            if (feature.transitions.size() > 1 && !line.weight) line.weight = 1.0;
        }
    }
    return features;
}

// Features in an order of their own, without line numbers; every bit of the numbers.
std::vector<std::string> Sorted(const Features& features) {
    std::vector<std::string> texts;
    for (const LineFeature& feature : features) {
        char numbers[80];
        std::snprintf(numbers, sizeof numbers, "%a %a", feature.frequency, feature.uncertainty);
        texts.push_back(numbers + TextOf(Features{feature}));
    }
    std::sort(texts.begin(), texts.end());
    return texts;
}

TEST(LineFileTest, WhatIsWrittenReadsBackToTheLastBit) {
    for (const LineFormat format : {LineFormat::Csv, LineFormat::Asn, LineFormat::Lin}) {
        for (const EnergyUnit unit : {EnergyUnit::MHz, EnergyUnit::Wavenumber}) {
            Features lines = AnyLines(5, format == LineFormat::Asn);
            const LineContext context{true, unit, {}, {}};
            if (format == LineFormat::Lin) {
                EXPECT_FALSE(WriteLineFile(lines, format, context)) << "blends without weights";
                lines = CountedEqually(lines);
            }
            const auto text = WriteLineFile(lines, format, context);
            ASSERT_TRUE(text.ok()) << text.error().text;
            Findings findings;
            const auto read = ReadLineFile(text.value(), format, context, "a", findings);
            EXPECT_FALSE(findings.has_errors()) << ShortText(findings) << text.value();
            EXPECT_EQ(Sorted(read), Sorted(lines)) << text.value();
        }
    }
}

// A sign that says nothing is not written.
TEST(LineFileTest, UncertaintiesOfMinusZeroAreZero) {
    const std::string lin = "  1  1  1  0  0  0                      3333.5  -0\n";
    const std::string csv =
        "J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty\n1,1,1,0,0,0,3333.5,-0\n";
    for (const auto& [text, format] : {std::pair(lin, LineFormat::Lin), {csv, LineFormat::Csv}}) {
        const LineContext context{false, EnergyUnit::MHz, {}, {}};
        Findings findings;
        const auto lines = ReadLineFile(text, format, context, "a", findings);
        ASSERT_EQ(lines.size(), 1U) << text;
        EXPECT_FALSE(std::signbit(lines[0].uncertainty)) << text;
        const auto written = WriteLineFile(lines, LineFormat::Asn, context);
        ASSERT_TRUE(written.ok());
        EXPECT_EQ(written.value(), "B   1   1   1    0   0   0  3333.5 0\n");
    }
}

TEST(LineFileTest, WhatAFormatCannotSayIsRefusedByName) {
    const LineTransition line{{0, 1, 1, 1}, {0, 2, 0, 2}, {}, "", 0};
    const auto refused = [](const Features& lines, LineFormat format, bool two_states = false) {
        const auto text = WriteLineFile(lines, format, {two_states, EnergyUnit::MHz, {}, {}});
        return text.ok() ? "" : text.error().subject;
    };
    const std::string name = "1 1 1 - 2 0 2";
    EXPECT_EQ(refused({{5.0, 1.0, {line}}}, LineFormat::Asn), "");
    EXPECT_EQ(refused({{5.0, 1.0, {line, line}}}, LineFormat::Asn), name);
    EXPECT_EQ(refused({{5.0, 1.0, {line}}}, LineFormat::Asn, true), name);  // a second set alone
    LineTransition weighted = line, excited = line, large = line;
    weighted.weight = 1.0;
    excited.upper.v = excited.lower.v = 1;
    large.upper.J = 1000;
    EXPECT_EQ(refused({{5.0, 1.0, {weighted}}}, LineFormat::Asn), name);
    EXPECT_EQ(refused({{5.0, 1.0, {excited}}}, LineFormat::Asn, true), name);
    EXPECT_NE(refused({{5.0, 1.0, {large}}}, LineFormat::Lin), "");
    // Two lines of one frequency that are no blend have nothing to part them.
    EXPECT_EQ(refused({{5.0, 1.0, {line}}, {5.0, 2.0, {line}}}, LineFormat::Csv), name);
    EXPECT_EQ(refused({{5.0, 1.0, {line}}, {5.0, 2.0, {line}}}, LineFormat::Lin), "");
}

TEST(LineFileTest, BrokenTextsAreRead) {
    std::mt19937 random(11);
    const std::string characters = ",;\t\"#\n\r /0-9.eDx\xC3\xFF";
    for (const LineFormat format : {LineFormat::Csv, LineFormat::Asn, LineFormat::Lin}) {
        const LineContext context{true, EnergyUnit::MHz, 30, 5};
        const std::string good = WriteLineFile(AnyLines(1, true), format, context).value();
        for (int n = 0; n < 400; ++n) {
            std::string text = good.substr(0, random() % good.size());
            for (int i = 0; i < 8 && !text.empty(); ++i) {
                text[random() % text.size()] = characters[random() % characters.size()];
            }
            Findings findings;
            const Features read = ReadLineFile(text, format, context, "a", findings);
            for (const LineFeature& feature : read) EXPECT_FALSE(feature.transitions.empty());
        }
    }
}

}  // namespace
}  // namespace kiv
