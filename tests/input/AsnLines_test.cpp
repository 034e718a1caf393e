#include "input/AsnLines.h"

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <numeric>
#include <random>
#include <thread>

#include "InputTest.h"
#include "input/TextScan.h"
#include "run/KivKey.h"

namespace {

using std::string_literals::operator""s;

const std::string kUniform = "ASN UNCERTAINTIES IGNORED - PRM STD DEV BASED ON OMC\n";
const std::string kProper =
    "PROPER FORMAT:  BT J'Ka' Kc'  J\"Ka\"Kc\"  Expt Frq  Expt Uncertainty\n";

std::string Malformed(const std::string& line) {
    return "ASN LINE FORMAT INCORRECT IN [Kiv.asn]\n  " + line + "\n\n";
}

std::string Beyond(const std::string& line) {
    return "QUANTUM NUMBERS OF LINE EXCEED MAX VALUES IN [Kiv.asn]\n  " + line + "\n\n";
}

struct Stored {
    std::uint64_t Key;
    double Erg, Unc;
    bool operator==(const Stored&) const = default;
};
void PrintTo(const Stored& s, std::ostream* out) { *out << s.Key << " " << s.Erg << " " << s.Unc; }

class AsnLines : public InputTest {
  protected:
    /// Reads `text` as the assignment file; the settings of Kiv stay.
    int ReadAsn(const std::string& text) {
        WriteText(Kiv.Asn_Flnm, text);
        return Run();
    }

    int Run() {
        testing::internal::CaptureStdout();
        const int status = RdAsnLines();
        Console = testing::internal::GetCapturedStdout();
        return status;
    }

    static std::vector<Stored> Lines() {
        std::vector<Stored> lines;
        for (std::size_t i = 0; i < static_cast<std::size_t>(Kiv.Num_Asn_Read); ++i) {
            lines.push_back({Kiv.AsnQN_Vector[i], Kiv.AsnErg_Vector[i], Kiv.AsnUnc_Vector[i]});
        }
        return lines;
    }

    static void ExpectCounts(int read, int rejected, int split, int multi) {
        EXPECT_EQ(Kiv.Num_Asn_Read, read);
        EXPECT_EQ(Kiv.Num_Rej, rejected);
        EXPECT_EQ(Kiv.Asn_Split, split);
        EXPECT_EQ(Kiv.Asn_Multi_Set, multi);
    }
};

TEST_F(AsnLines, OneSetIsSorted) {
    // tau of each level: 1_01 0, 0_00 0, 2_12 1, 3_21 4, 2_20 4
    ASSERT_EQ(ReadAsn("A 3 2 1  2 2 0  300.5 0.3\n"
                      "B  1 0 1 0 0 0 100.5 0.1 and a remark\r\n"
                      "\n   \t\r\n"
                      "C/A 2 1 2 1 0 1 200.5 0.2"),
              1);
    const std::vector<Stored> expected = {{LineKey(0, 1, 0, 0), 100.5, 0.1},
                                          {LineKey(1, 2, 0, 1), 200.5, 0.2},
                                          {LineKey(2, 3, 4, 4), 300.5, 0.3}};
    EXPECT_EQ(Lines(), expected);
    ExpectCounts(3, 0, 3, 0);
    EXPECT_EQ(Console, kUniform);
}

TEST_F(AsnLines, EachSetIsSortedOnItsOwn) {
    ASSERT_EQ(ReadAsn("A 2 0 2 1 0 1 20 .2\nA 1 0 1 0 0 0 10 .1\nbad\n\n//\n\n"
                      "A 9 0 9 8 0 8 90 .9\nA 99 0 99 98 0 98 1 1\nA 3 0 3 2 0 2 30 .3\n"),
              1);
    ASSERT_EQ(Kiv.Num_Asn_Read, 4);
    ExpectCounts(4, 2, 2, 1);
    const double erg[] = {10, 20, 30, 90};
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(Kiv.AsnErg_Vector[i], erg[i]);
    EXPECT_EQ(Console, Malformed("bad") + Beyond("A 99 0 99 98 0 98 1 1") + kUniform);
}

struct SetCase {
    const char* Name;
    const char* Text;
    int Status, Read, Split;
    const char* Console;  // in front of the closing message
};
void PrintTo(const SetCase& c, std::ostream* out) { *out << c.Name; }

#define LINE_1 "A 1 0 1 0 0 0 10 .1\n"
#define LINE_2 "A 2 0 2 1 0 1 20 .2\n"
#define LINE_3 "A 3 0 3 2 0 2 30 .3\n"
const char kSeparated[] = "ASSIGNED LINE SETS MUST BE SEPARATED BY // IN ASN FILE [Kiv.asn]\n";
const char kZeroLines[] = "ASSIGNMENT FILE [Kiv.asn] EXISTS BUT ZERO LINES ACCEPTED!\n";

const SetCase kSets[] = {
    {"Empty", "", 0, 0, 0, kZeroLines},
    {"Blank", "\n \n", 0, 0, 0, kZeroLines},
    {"SeparatorOnly", "//\n", 0, 0, 0, kZeroLines},
    {"NoneAcceptable", "A 99 0 99 98 0 98 1 1\n", 0, 0, 0, kZeroLines},
    {"TrailingSeparator", LINE_1 "//\n", 1, 1, 1, ""},
    {"TrailingBlanks", LINE_1 "//\n\n  \n", 1, 1, 1, ""},
    {"LeadingSeparator", "//\n" LINE_2 LINE_1, 1, 2, 2, ""},
    {"LeadingSeparatorTwoSets", "//\n" LINE_1 "//\n" LINE_2, 1, 1, 1, kSeparated},
    {"BlankBeforeSeparator", LINE_1 "\n//\n" LINE_2, 1, 2, 1, ""},
    {"DoubleSeparator", LINE_1 "//\n//\n" LINE_2 LINE_3, 1, 3, 1, ""},
    {"ThreeSets", LINE_1 "//\n" LINE_2 "//\n" LINE_3, 1, 2, 1, kSeparated},
    // the second separator once made the second set be read again as the third
    {"ThreeSetsDoubleSeparator", LINE_1 "//\n//\n" LINE_2 "//\n" LINE_3, 1, 2, 1, kSeparated},
    {"SecondSetUnacceptable", LINE_1 "//\nA 99 0 99 98 0 98 1 1\n", 0, 1, 1, kZeroLines},
};
class AsnSets : public AsnLines, public testing::WithParamInterface<SetCase> {};

TEST_P(AsnSets, AreFound) {
    const auto& [name, text, status, read, split, console] = GetParam();
    ASSERT_EQ(ReadAsn(text), status) << Console;
    EXPECT_EQ(Kiv.Num_Asn_Read, read);
    EXPECT_EQ(Kiv.Asn_Split, split);
    EXPECT_EQ(Kiv.Asn_Multi_Set, read > split);
    EXPECT_NE(Console.find(console), std::string::npos) << Console;
    if (status == 1) {
        EXPECT_EQ(Console, console + kUniform);
        for (int i = 0; i < read; ++i) {
            EXPECT_EQ(Kiv.AsnErg_Vector[static_cast<std::size_t>(i)], 10.0 * (i + 1));
        }
    }
}
INSTANTIATE_TEST_SUITE_P(, AsnSets, testing::ValuesIn(kSets),
                         [](const auto& c) { return std::string(c.param.Name); });

TEST_F(AsnLines, MissingFileMeansNoLines) {
    Kiv.Num_Asn_Read = Kiv.Num_Rej = Kiv.Asn_Split = Kiv.Asn_Multi_Set = 7;
    EXPECT_EQ(Run(), 1);
    ExpectCounts(0, 0, 0, 0);
    EXPECT_EQ(Console, "");
    std::filesystem::create_directory("Kiv.asn");
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(Console, kZeroLines);
}

TEST_F(AsnLines, LinesAreCheckedOneByOne) {
    const std::string good = "A 1 0 1 0 0 0 10 .1";
    const char* const malformed[] = {
        "A",
        "A 1 0 1 0 0 0",
        "A 1 0 1 0 0 0 x",
        "A 1 0 1.5 0 0 0 10 .1 1 1",
        "A 9999999999 0 1 0 0 0 10 .1",
        "A 1 0 1 0 0 0 1.0D1 .1",
        "A 1 0 1 0 0 0 10 1D-1",
        "A 1 0 1 0 0 0 1e999",
        "A1 0 1 0 0 0 10",
    };
    const char* const beyond[] = {
        "A 36 0 36 35 0 35 10 .1", "A 35 0 35 36 0 36 10 .1", "A 1 -1 1 0 0 0 10 .1",
        "A -1 0 0 0 0 0 10 .1",    "A 1 0 2 0 0 0 10 .1",     "A 2 2 0 1 0 -1 10 .1",
        "A 0 0 0 1 2 0 10 .1",
    };
    for (const char* line : malformed) {
        ASSERT_EQ(ReadAsn(good + "\n" + line + "\n"), 1);
        ExpectCounts(1, 1, 1, 0);
        EXPECT_EQ(Console, Malformed(line) + kUniform);
    }
    for (const char* line : beyond) {
        ASSERT_EQ(ReadAsn(good + "\n" + line + "\n"), 1);
        ExpectCounts(1, 1, 1, 0);
        EXPECT_EQ(Console, Beyond(line) + kUniform);
    }
    // an impossible label whose tau is one of its J passes; the format is told for a first line
    // only
    ASSERT_EQ(ReadAsn("\nbad\nworse\nA 2 0 0 1 0 1 10 .1\n"), 1);
    EXPECT_EQ(Kiv.AsnQN_Vector[0], LineKey(1, 2, 0, 2));
    EXPECT_EQ(Console, Malformed("bad") + kProper + Malformed("worse") + kUniform);
}

TEST_F(AsnLines, LimitsApplyWithinMaxJ) {
    const std::string text = "A 9 3 6 8 2 6 1 1\n";
    const struct {
        std::int32_t Max_J, J, Ka, Kc;
        int Read;
    } cases[] = {{9, -1, -1, -1, 1}, {8, -1, -1, -1, 0}, {9, 8, -1, -1, 0}, {9, 10, -1, -1, 1},
                 {9, -1, 3, -1, 1},  {9, -1, 2, -1, 0},  {9, -1, -1, 6, 1}, {9, -1, -1, 5, 0},
                 {9, -1, 99, 99, 1}, {9, -1, 0, -1, 0}};
    for (const auto& c : cases) {
        Kiv.Max_J = c.Max_J;
        Kiv.Asn_J_Max = c.J;
        Kiv.Asn_Ka_Max = c.Ka;
        Kiv.Asn_Kc_Max = c.Kc;
        EXPECT_EQ(ReadAsn(text), c.Read);
        EXPECT_EQ(Kiv.Num_Asn_Read, c.Read);
    }
}

// The key holds what its 16-bit fields hold, and what is beyond is refused.
TEST_F(AsnLines, LargeJKeepsItsKey) {
    Kiv.Max_J = 2147483647;
    ASSERT_EQ(ReadAsn("A 300 300 0 299 0 299 1 1\nA 32767 32767 0 32766 0 32766 2 1\n"
                      "A 32768 0 32768 32767 0 32767 3 1\n"),
              1);
    ExpectCounts(2, 1, 2, 0);
    EXPECT_EQ(Kiv.AsnQN_Vector[0], LineKey(299, 300, 0, 600));
    EXPECT_EQ(Kiv.AsnQN_Vector[1], LineKey(32766, 32767, 0, 65534));
}

TEST_F(AsnLines, OnlyFrequenciesAreScaled) {
    Kiv.Erg_Scale = 10.0;
    ASSERT_EQ(ReadAsn(LINE_1), 1);
    EXPECT_EQ(Kiv.AsnErg_Vector[0], 10.0);
    Kiv.QZ_Fmt = 27;
    ASSERT_EQ(ReadAsn(LINE_1), 1);
    EXPECT_EQ(Kiv.AsnErg_Vector[0], 100.0);
    EXPECT_EQ(Kiv.AsnUnc_Vector[0], 0.1);
}

TEST_F(AsnLines, LinesWithoutUncertaintyCarryNoWeight) {
    const std::string some =
        "ASN FILE [Kiv.asn] CONTAINS [2] LINES WITH ZERO UNCERTAINTY - "
        "ASSIGNED UNCERTAINTY VALUE=[1.0e+20]\n";
    const std::string all =
        "NORM STAT FALSE FOR ASN FILE [Kiv.asn] BUT NO UNCERTINTIES ASSIGNED - "
        "SET NORM STAT TRUE\n";
    const std::string two = "A 1 0 1 0 0 0 10\n//\nA 2 0 2 1 0 1 20 0.0\n";
    Kiv.Uniform_Unc = 0;
    ASSERT_EQ(ReadAsn(two + LINE_3), 1);
    EXPECT_EQ(Console, some);
    EXPECT_EQ(Kiv.Uniform_Unc, 0);
    EXPECT_EQ(Kiv.AsnUnc_Vector[0], 1.0e20);
    EXPECT_EQ(Kiv.AsnUnc_Vector[1], 1.0e20);
    EXPECT_EQ(Kiv.AsnUnc_Vector[2], 0.3);
    ASSERT_EQ(ReadAsn(two), 1);
    EXPECT_EQ(Console, some + all + kUniform);
    EXPECT_EQ(Kiv.Uniform_Unc, 1);
    ASSERT_EQ(ReadAsn(two), 1);
    EXPECT_EQ(Console, kUniform);
    Kiv.Uniform_Unc = 0;
    ASSERT_EQ(ReadAsn(LINE_1), 1);
    EXPECT_EQ(Console, "");
}

TEST_F(AsnLines, LogTellsWhatWasRead) {
    OpenLog();
    Kiv.Debug_Stat[DBG_ALL] = Kiv.Debug_Stat[DBG_0] = 1;
    ASSERT_EQ(ReadAsn("A 2 0 2 1 0 1 20 .2\nbad\n" LINE_1), 1);
    const std::string rule = std::string(80, '-') + "\n";
    EXPECT_EQ(LogText(), "ENTER RdAsnLines()\n" + rule +
                             "                              ASSIGNMENT INFORMATION\n" + rule +
                             "I [1][1] " LINE_2 + Malformed("bad") +
                             "I [3][2] " LINE_1
                             "ASSIGNMENT FILENAME              = Kiv.asn\n"
                             "NUMBER OF ASSIGNMENTS READ       = 3\n"
                             "REJECTED ASN Ka:Kc > Ka:Kc MAX   = 1\n"
                             "F [1][1] " LINE_2 "F [3][2] " LINE_1 +
                             rule + kUniform + "EXIT RdAsnLines()\n");
    EXPECT_EQ(Console, Malformed("bad") + kUniform);
    // with a log the reason for a failure stands there alone
    ASSERT_EQ(ReadAsn("\n"), 0);
    EXPECT_EQ(Console, "");
    EXPECT_TRUE(LogText().ends_with(kZeroLines));
}

// Each refused request ends the reading with its message; the sweep ends with the first success.
TEST_F(AsnLines, EveryRefusedRequestIsReported) {
    const char* const messages[] = {"RdAsnLines()/Kiv.AsnQN_Vector",
                                    "RdAsnLines()/Kiv.AsnErg_Vector",
                                    "RdAsnLines()/Kiv.AsnUnc_Vector",
                                    "RdAsnLines()/idx_ary",
                                    "iiisort123()/wksp",
                                    "iiisort123()/wksp",
                                    "iiisort123()/wksp",
                                    "RdAsnLines()/Kiv.AsnQN_Vector",
                                    "RdAsnLines()/Kiv.AsnErg_Vector",
                                    "RdAsnLines()/Kiv.AsnUnc_Vector"};
    std::int64_t granted = 0;
    for (const char* message : messages) {
        Kiv = KivRecord{};
        ArrRefuse(granted++);
        EXPECT_EQ(ReadAsn(LINE_2 LINE_1 "//\n" LINE_3), 0);
        EXPECT_EQ(Console, message + " - CORE ALLOCATION ERROR!\n"s);
        EXPECT_TRUE(Kiv.Num_Asn_Read == 0 || !Kiv.AsnQN_Vector.IsNull());
    }
    ArrRefuse(granted);
    EXPECT_EQ(ReadAsn(LINE_2 LINE_1 "//\n" LINE_3), 1);
    ExpectCounts(3, 0, 2, 1);
}

// ---------------------------------------------------------------- hostile files

// A line of more than 499 characters goes on as a further line, in both passes alike.
TEST_F(AsnLines, LongLinesAreSplit) {
    const std::string head = "A 1 0 1 0 0 0 10 .1";
    for (std::size_t size : {498u, 499u, 500u, 997u, 998u, 999u}) {
        ASSERT_EQ(ReadAsn(head + std::string(size - head.size(), ' ') + "\n" LINE_2), 1);
        ExpectCounts(2, 0, 2, 0);
        ASSERT_EQ(ReadAsn(head + " " + std::string(size - head.size() - 1, 'x') + "\n" LINE_2), 1);
        ExpectCounts(2, size <= 499 ? 0 : size <= 998 ? 1 : 2, 2, 0);
    }
    std::string word(499, ' ');
    ASSERT_EQ(ReadAsn(std::string(1 << 20, 'x') + "\n" + word + LINE_1), 1);
    ExpectCounts(1, ((1 << 20) + 498) / 499, 1, 0);
}

TEST_F(AsnLines, ForeignBytesDoNoHarm) {
    ASSERT_EQ(ReadAsn("\xEF\xBB\xBF//\n" LINE_1), 1);
    ExpectCounts(1, 0, 1, 0);
    ASSERT_EQ(ReadAsn(LINE_1 "A 2 0 2\0 1 0 1 20 .2\n"s + std::string(5000, '\0') + "\n"), 1);
    ExpectCounts(1, 1 + 11, 1, 0);
    std::mt19937 random(20);
    std::string noise = LINE_1;
    for (int i = 0; i < 200000; ++i) {
        noise += "0123456789 .-+eEdDxX\n\n\r\t\0AB"[random() % 27];
    }
    ASSERT_EQ(ReadAsn(noise), 1);
}

// A disk that fails in the middle of a file is no end of the file.
TEST_F(AsnLines, BrokenReadIsNoticed) {
    const auto read = [](void* left, char* to, std::size_t size) -> ssize_t {
        std::size_t& bytes = *static_cast<std::size_t*>(left);
        const std::size_t n = std::min(size, bytes);
        std::memset(to, '\n', n);
        bytes -= n;
        return n > 0 ? static_cast<ssize_t>(n) : -1;
    };
    std::size_t left = 100000;
    std::FILE* const file = fopencookie(&left, "r", {read, nullptr, nullptr, nullptr});
    ASSERT_NE(file, nullptr);
    TextLines lines(file);
    std::string_view line;
    int num = 0;
    while (lines.Next(line)) ++num;
    EXPECT_EQ(num, 100000);
    EXPECT_TRUE(lines.Broken());
    std::fclose(file);
}

// A pipe cannot be read twice.
TEST_F(AsnLines, PipeEndsBeforeItsLines) {
    ASSERT_EQ(mkfifo("Kiv.asn", 0600), 0);
    OpenLog();
    std::thread writer([] { std::ofstream("Kiv.asn") << LINE_1 LINE_2; });
    EXPECT_EQ(Run(), 1);
    writer.join();
    EXPECT_EQ(Console, "PREMATURE EOF IN ASSIGNMENT FILE [Kiv.asn]\n");
    EXPECT_NE(LogText().find("ASSIGNMENT FILE [Kiv.asn] EXISTS BUT NO ASSIGNED LINES ACCEPTED\n"),
              std::string::npos);
    ExpectCounts(0, 0, 0, 0);
}

// ---------------------------------------------------------------- sorting

TEST(AsnSort, OrdersKeysAndKeepsEqualOnes) {
    std::mt19937_64 random(7);
    for (std::size_t n : {0u, 1u, 2u, 3u, 100u, 5000u}) {
        std::vector<std::uint64_t> key(n);
        std::vector<double> erg(n), unc(n);
        for (std::size_t i = 0; i < n; ++i) {
            key[i] = (random() % (n / 3 + 1)) << 60 | random() % 2;  // many equal, high bits used
            erg[i] = static_cast<double>(i);
            unc[i] = -erg[i];
        }
        std::vector<Stored> expected;
        for (std::size_t i = 0; i < n; ++i) expected.push_back({key[i], erg[i], unc[i]});
        std::stable_sort(expected.begin(), expected.end(),
                         [](const Stored& a, const Stored& b) { return a.Key < b.Key; });
        std::vector<std::int32_t> idx(n + 1), label(n, 5);
        AsnIndexSort(key, idx);
        ASSERT_EQ(iiisort123(static_cast<std::int32_t>(n), idx, key, label, erg, unc), 1);
        for (std::size_t i = 0; i < n; ++i) {
            EXPECT_EQ((Stored{key[i], erg[i], unc[i]}), expected[i]);
            EXPECT_EQ(label[i], 5);
        }
    }
}

// Lines with the same quantum numbers stay in the order of the file.
TEST_F(AsnLines, DuplicatesKeepTheirOrder) {
    ASSERT_EQ(ReadAsn(LINE_3 "A 1 0 1 0 0 0 12 .1\nA 1 0 1 0 0 0 11 .2\n" LINE_1), 1);
    const double erg[] = {12, 11, 10, 30};
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(Kiv.AsnErg_Vector[i], erg[i]);
}

}  // namespace
