#include "input/AsnLines.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <random>
#include <thread>
#include <tuple>

#include "InputTest.h"
#include "input/TextScan.h"
#include "run/KivKey.h"

namespace {

const std::string kZeroLines = "ASSIGNMENT FILE [Kiv.asn] EXISTS BUT ZERO LINES ACCEPTED!\n";
#define LINE_1 "A 1 0 1 0 0 0 10 .1\n"
#define LINE_2 "A 2 0 2 1 0 1 20 .2\n"
#define LINE_3 "A 3 0 3 2 0 2 30 .3\n"

using Stored = std::tuple<std::uint64_t, double, double>;  // key, frequency, uncertainty

class AsnLines : public InputTest {
  protected:
    int Run() {
        return Call([] { return RdAsnLines(); });
    }

    /// Reads `text` as the assignment file; the settings of Kiv stay.
    int ReadAsn(const std::string& text) {
        WriteText(Kiv.Asn_Flnm, text);
        return Run();
    }

    static std::vector<Stored> Lines() {
        std::vector<Stored> lines;
        for (std::size_t i = 0; i < static_cast<std::size_t>(Kiv.Num_Asn_Read); ++i) {
            lines.emplace_back(Kiv.AsnQN_Vector[i], Kiv.AsnErg_Vector[i], Kiv.AsnUnc_Vector[i]);
        }
        return lines;
    }

    static void ExpectCounts(int read, int rejected, int split, int multi) {
        const std::array counts = {Kiv.Num_Asn_Read, Kiv.Num_Rej, Kiv.Asn_Split, Kiv.Asn_Multi_Set};
        EXPECT_EQ(counts, (std::array{read, rejected, split, multi}));
    }
};

TEST_F(AsnLines, EachSetIsSortedOnItsOwn) {
    // tau of each level: 1_01 0, 0_00 0, 2_12 1, 3_21 4, 2_20 4
    ASSERT_EQ(ReadAsn("A 3 2 1  2 2 0  300.5 0.3\n"
                      "B  1 0 1 0 0 0 100.5 0.1 and a remark\r\n\n   \t\r\nbad\n//\n\n" LINE_3
                      "A 99 0 99 98 0 98 1 1\nC/A 2 1 2 1 0 1 200.5 0.2"),
              1);
    const std::vector<Stored> expected = {{LineKey(0, 1, 0, 0), 100.5, 0.1},
                                          {LineKey(2, 3, 4, 4), 300.5, 0.3},
                                          {LineKey(1, 2, 0, 1), 200.5, 0.2},
                                          {LineKey(2, 3, 0, 0), 30.0, 0.3}};
    EXPECT_EQ(Lines(), expected);
    ExpectCounts(4, 2, 2, 1);
}

TEST_F(AsnLines, ManyLinesAreSortedAndEqualOnesKeepTheirOrder) {
    std::mt19937 random(7);
    std::vector<Stored> expected;
    std::string text;
    Kiv.Max_J = 32767;
    for (int i = 0; i < 5000; ++i) {
        const int J = 1 + 31 * static_cast<int>(random() % 1024), tau = i % 2;
        text += "A " + std::to_string(J) + " 0 " + std::to_string(J - tau) + " 0 0 0 ";
        text += std::to_string(i) + " 2\n";
        expected.emplace_back(LineKey(0, J, 0, tau), i, 2);
    }
    std::stable_sort(expected.begin(), expected.end(), [](const Stored& a, const Stored& b) {
        return std::get<0>(a) < std::get<0>(b);
    });
    ASSERT_EQ(ReadAsn(text), 1);
    EXPECT_EQ(Lines(), expected);
}

// The table gives lines and their letters, then files in these letters.
TEST_F(AsnLines, SetsAndUncertainties) {
    std::map<char, std::string> lines;
    Kiv.Erg_Scale = 10.0;  // of the frequencies of the old format alone
    for (const auto& row : Table("sets.txt")) {
        if (row.size() == 2) lines[row[0][0]] = row[1];
        if (row.size() == 2) continue;
        SCOPED_TRACE(row[0]);
        std::string text;
        for (char line : row[0]) text += lines.at(line);
        Kiv.Uniform_Unc = std::stoi(row[1]);
        EXPECT_EQ(ReadAsn(text), std::stoi(row[2]));
        const int read = std::stoi(row[3]), split = std::stoi(row[4]);
        ExpectCounts(read, Kiv.Num_Rej, split, read > split);
        EXPECT_EQ(Kiv.Uniform_Unc, std::stoi(row[5]));
        EXPECT_EQ(Console, row[6]);
        for (int i = 0; const auto& [key, erg, unc] : Lines()) {
            const bool none = row[0].find("uv."[i]) != row[0].npos;
            EXPECT_EQ(erg, 10 * ++i);
            EXPECT_DOUBLE_EQ(unc, none ? 1e20 : 0.1 * i);
        }
    }
    Kiv.QZ_Fmt = 27;
    ASSERT_EQ(ReadAsn(LINE_1), 1);
    EXPECT_EQ(Lines()[0], Stored(LineKey(0, 1, 0, 0), 100.0, 0.1));
}

TEST_F(AsnLines, MissingFileMeansNoLines) {
    Kiv.Num_Asn_Read = Kiv.Num_Rej = Kiv.Asn_Split = Kiv.Asn_Multi_Set = 7;
    EXPECT_EQ(Run(), 1);
    ExpectCounts(0, 0, 0, 0);
    EXPECT_EQ(Console, "");
    std::filesystem::create_directory("Kiv.asn");
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(Console, kZeroLines);
}

// An impossible label whose tau is one of its J passes; the format is told for a first line only.
TEST_F(AsnLines, LinesAreCheckedOneByOne) {
    ASSERT_EQ(ReadAsn(Sample("bad.asn")), 1);
    EXPECT_EQ(Console, Sample("bad.txt"));
    ExpectCounts(2, 20, 2, 0);
    EXPECT_EQ(Kiv.AsnQN_Vector[1], LineKey(1, 2, 0, 2));
}

TEST_F(AsnLines, LimitsApplyWithinMaxJ) {
    const std::int32_t cases[][5] = {{9, -1, -1, -1, 1}, {8, -1, -1, -1, 0}, {9, 8, -1, -1, 0},
                                     {9, 10, -1, -1, 1}, {9, -1, 3, -1, 1},  {9, -1, 2, -1, 0},
                                     {9, -1, -1, 6, 1},  {9, -1, -1, 5, 0},  {9, -1, 99, 99, 1},
                                     {9, -1, 0, -1, 0}};
    for (const auto& [max_J, J, ka, kc, read] : cases) {
        std::tie(Kiv.Max_J, Kiv.Asn_J_Max, Kiv.Asn_Ka_Max, Kiv.Asn_Kc_Max) =
            std::tie(max_J, J, ka, kc);
        EXPECT_EQ(ReadAsn("A 9 3 6 8 2 6 1 1\n"), read);
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

TEST_F(AsnLines, LogTellsWhatWasRead) {
    OpenLog();
    Kiv.Debug_Stat[DBG_ALL] = Kiv.Debug_Stat[DBG_0] = 1;
    ASSERT_EQ(ReadAsn(LINE_2 "bad\n" LINE_1), 1);
    EXPECT_EQ(LogText(), Sample("log.txt"));
    // with a log the reason for a failure stands there alone
    ASSERT_EQ(ReadAsn("\n"), 0);
    EXPECT_EQ(Console, "");
    EXPECT_TRUE(LogText().ends_with(kZeroLines));
}

// Each refused request ends the reading with its message; the sweep ends with the first success.
TEST_F(AsnLines, EveryRefusedRequestIsReported) {
    std::int64_t granted = 0;
    for (const auto& row : Table("refused.txt")) {
        Kiv = KivRecord{};
        ArrRefuse(granted++);
        EXPECT_EQ(ReadAsn(LINE_2 LINE_1 "//\n" LINE_3), 0);
        EXPECT_EQ(Console, row[0] + " - CORE ALLOCATION ERROR!\n");
        EXPECT_TRUE(Kiv.Num_Asn_Read == 0 || !Kiv.AsnQN_Vector.IsNull());
    }
    EXPECT_EQ(granted, 10);
    ArrRefuse(granted);
    EXPECT_EQ(ReadAsn(LINE_2 LINE_1 "//\n" LINE_3), 1);
    ExpectCounts(3, 0, 2, 1);
}

// A line of more than 499 characters goes on as a further line, in both passes alike.
TEST_F(AsnLines, LongLinesAreSplit) {
    const std::string head = "A 1 0 1 0 0 0 10 .1 ";
    for (std::size_t size : {498u, 499u, 500u, 997u, 998u, 999u}) {
        for (char filler : {' ', 'x'}) {
            ASSERT_EQ(ReadAsn(head + std::string(size - head.size(), filler) + "\n" LINE_2), 1);
            ExpectCounts(2, filler == ' ' || size <= 499 ? 0 : size <= 998 ? 1 : 2, 2, 0);
        }
    }
    ASSERT_EQ(ReadAsn(std::string(1 << 20, 'x') + "\n" + std::string(499, ' ') + LINE_1), 1);
    ExpectCounts(1, ((1 << 20) + 498) / 499, 1, 0);
}

TEST_F(AsnLines, ForeignBytesDoNoHarm) {
    ASSERT_EQ(ReadAsn("\xEF\xBB\xBF//\n" LINE_1), 1);
    ExpectCounts(1, 0, 1, 0);
    ASSERT_EQ(ReadAsn(LINE_1 "A 2 0 2\0 1 0 1 20 .2\n"s + std::string(5000, '\0') + "\n"), 1);
    ExpectCounts(1, 1 + 11, 1, 0);
}

// A disk that fails in the middle of a file is no end of the file.
TEST_F(AsnLines, BrokenReadIsNoticed) {
    int left = 100000;
    const auto read = [](void* left_over, char* to, std::size_t) -> ssize_t {
        *to = '\n';
        return (*static_cast<int*>(left_over))-- > 0 ? 1 : -1;
    };
    std::FILE* const file = fopencookie(&left, "r", {read, nullptr, nullptr, nullptr});
    TextLines lines(file);
    std::string_view line;
    int num = 0;
    while (lines.Next(line)) ++num;
    EXPECT_TRUE(num == 100000 && lines.Broken()) << num;
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

}  // namespace
