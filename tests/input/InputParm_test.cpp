#include "input/InputParm.h"

#include <sys/stat.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <thread>

#include "InputTest.h"
#include "input/InputLayout.h"
#include "input/RecordReader.h"
#include "input/TextScan.h"

namespace {

using std::string_literals::operator""s;

// ---------------------------------------------------------------- numbers and words

struct RealCase {
    const char* Text;
    ScanEnd End;
    double Value;
    const char* Rest;  // the next word
};
void PrintTo(const RealCase& c, std::ostream* out) { *out << c.Text; }

const double kInf = std::numeric_limits<double>::infinity();

const RealCase kReals[] = {
    {" 12.5 x", ScanEnd::Good, 12.5, "x"},
    {"+.5", ScanEnd::Good, 0.5, ""},
    {"5.", ScanEnd::Good, 5.0, ""},
    {"-1.25e-3", ScanEnd::Good, -1.25e-3, ""},
    {"1E+05#note", ScanEnd::Good, 1e5, "#note"},
    {"1.5-2.5", ScanEnd::Good, 1.5, "-2.5"},
    {"1.5.25", ScanEnd::Good, 1.5, ".25"},
    {"0x1.8p3", ScanEnd::Good, 12.0, ""},
    {"-0X10", ScanEnd::Good, -16.0, ""},
    {"inf", ScanEnd::Good, kInf, ""},
    {"-Infinity", ScanEnd::Good, -kInf, ""},
    {"4.9e-324", ScanEnd::Good, 4.9e-324, ""},
    {"1,", ScanEnd::Good, 1.0, ","},
    {"", ScanEnd::None, 0, ""},
    {"x1", ScanEnd::None, 0, "x1"},
    {"-", ScanEnd::None, 0, "-"},
    {"+-1", ScanEnd::None, 0, "+-1"},
    {".", ScanEnd::None, 0, "."},
    {"1.5D3", ScanEnd::Bad, 0, "D3"},
    {"1d0", ScanEnd::Bad, 0, "d0"},
    {"1e", ScanEnd::Bad, 0, "e"},
    {"1e+", ScanEnd::Bad, 0, "e+"},
    {"0,01", ScanEnd::Bad, 0, ",01"},
    {"0x", ScanEnd::Bad, 0, "0x"},
    {"0x1p", ScanEnd::Bad, 0, "p"},
    {"1e999", ScanEnd::Bad, 0, ""},
    {"1e-999", ScanEnd::Bad, 0, ""},
    {"info", ScanEnd::Bad, 0, "o"},
    {"nano", ScanEnd::Bad, 0, "o"},
};
class Reals : public testing::TestWithParam<RealCase> {};

TEST_P(Reals, AreReadAsFarAsTheyGo) {
    const auto [source, end, value, rest] = GetParam();
    TextScan text(source);
    double read = -7.0;
    EXPECT_EQ(text.Real(read), end);
    EXPECT_EQ(read, end == ScanEnd::Good ? value : -7.0);
    std::string_view word;
    text.Word(word);
    EXPECT_EQ(word, rest);
}
INSTANTIATE_TEST_SUITE_P(, Reals, testing::ValuesIn(kReals));

TEST(TextScan, NotANumberIsANumber) {
    TextScan text("-nan 1");
    double value = 0.0;
    EXPECT_EQ(text.Real(value), ScanEnd::Good);
    EXPECT_TRUE(std::isnan(value));
}

TEST(TextScan, IntegersKeepTheirRange) {
    const struct {
        const char* Text;
        ScanEnd End;
        std::int64_t Value;
    } cases[] = {{"32767", ScanEnd::Good, 32767},
                 {"-32768", ScanEnd::Good, -32768},
                 {"+7", ScanEnd::Good, 7},
                 {"2.7", ScanEnd::Good, 2},
                 {"32768", ScanEnd::Bad, 0},
                 {"-32769", ScanEnd::Bad, 0},
                 {"18446744073709551617", ScanEnd::Bad, 0},
                 {"- 1", ScanEnd::None, 0},
                 {"x", ScanEnd::None, 0},
                 {"", ScanEnd::None, 0}};
    for (const auto& c : cases) {
        TextScan text(c.Text);
        std::int64_t value = 0;
        EXPECT_EQ(text.Int(-32768, 32767, value), c.End) << c.Text;
        if (c.End == ScanEnd::Good) {
            EXPECT_EQ(value, c.Value) << c.Text;
        }
    }
}

// A row whose format names another type than its cell would write over its neighbours.
TEST(InputLayout, FormatsFitTheirCells) {
    const auto fits = [](char letter, Cell::Type type) {
        switch (type) {
            case Cell::Type::Int16:
                return letter == 'h';
            case Cell::Type::Int32:
                return letter == 'h' || letter == 'd';
            case Cell::Type::Real:
                return letter == 'f' || letter == 'e';
            case Cell::Type::Text:
            case Cell::Type::HeadOfText:
                return letter == 's';
            default:
                return false;
        }
    };
    for (std::span<const ParmRow> rows :
         {std::span<const ParmRow>(kNameRows), std::span<const ParmRow>(kOriginRows),
          std::span<const ParmRow>(kRunRows), std::span<const ParmRow>(kOldHeadRows),
          std::span<const ParmRow>(kOldRunRows), std::span<const ParmRow>(kOldEndRows)}) {
        for (const ParmRow& row : rows) {
            SCOPED_TRACE(row.Format);
            const Cells cells = row.At(Kiv);
            std::size_t n = 0;
            for (const char* at = row.Format; (at = std::strchr(at, '%')) != nullptr;) {
                at += 1 + std::strspn(at + 1, "-*.0123456789");
                const char letter = *at == 'h' ? 'h' : at[std::strspn(at, "l")];
                if (std::string_view(at - 1, 1) == "*") continue;
                ASSERT_LT(n, cells.size());
                EXPECT_TRUE(fits(letter, cells[n++].Kind));
            }
            for (; n < cells.size(); ++n) EXPECT_EQ(cells[n].Kind, Cell::Type::None);
        }
    }
}

// ---------------------------------------------------------------- versions

struct VersionCase {
    const char* Version;
    int Fit_Stat, Gnd_Only, TM_Method, Asn_Ka_Max;
};
void PrintTo(const VersionCase& c, std::ostream* out) { *out << c.Version; }

const VersionCase kVersions[] = {
    {"v5.6", 4, 0, 1, 21},
    {"v5.3", 0, 1, 0, 21},  // the first number says ground state only
    {"v5.0", 1, 0, 1, -1},  // no limits of Ka and Kc
    {"v4.2", 1, 0, 0, -1},
};
class InputVersions : public InputTest, public testing::WithParamInterface<VersionCase> {};

TEST_P(InputVersions, FillEverySlot) {
    const auto [version, fit_stat, gnd_only, tm_method, ka_max] = GetParam();
    Kiv.Asn_Ka_Max = Kiv.Asn_Kc_Max = 99;
    ASSERT_EQ(Read(Sample(version + ".in"s)), 1) << Console;
    EXPECT_EQ(Console, "VERSION NUMBER OF INPUT FILE [test.in] IS ["s + version + "]\n\n");
    EXPECT_STREQ(Kiv.Inp_Version, version);
    EXPECT_EQ(Kiv.Comment, "distinct values in every slot, version "s + version + "\n");
    EXPECT_EQ(Kiv.Fit_Stat, fit_stat);
    EXPECT_EQ(Kiv.Gnd_Only, gnd_only);
    ExpectConstants(ConstantsUpTo(PRM_PZ5));
    ExpectRunScalars();
    ExpectMoment(tm_method);
    EXPECT_EQ(Kiv.Uniform_Unc, 14);
    EXPECT_EQ(Kiv.Asn_Ka_Max, ka_max);
    EXPECT_EQ(Kiv.Asn_Kc_Max, ka_max == -1 ? -1 : 22);
}
INSTANTIATE_TEST_SUITE_P(, InputVersions, testing::ValuesIn(kVersions), [](const auto& c) {
    return "V"s + c.param.Version[1] + c.param.Version[3];
});

// The same values are found whatever version a file of the present layout claims.
TEST_F(InputTest, LaterMinorVersionsHaveThePresentLayout) {
    for (const char* version : {"v5.4", "v5.5", "v5.7", "v5.10", "v5.61"}) {
        ASSERT_EQ(Read(With(Sample("v5.6.in"), "VERSION v5.6", "VERSION "s + version)), 1)
            << version;
        EXPECT_EQ(Kiv.Fit_Stat, 4) << version;
        EXPECT_EQ(Kiv.Asn_Ka_Max, 21) << version;
    }
    for (const char* version : {"v5.1", "v5.2"}) {
        ASSERT_EQ(Read(With(Sample("v5.3.in"), "VERSION v5.3", "VERSION "s + version)), 1)
            << version;
        EXPECT_EQ(Kiv.Fit_Stat, 0) << version;
    }
}

struct BannerCase {
    const char* Name;
    const char* Word;
    const char* Console;
};
void PrintTo(const BannerCase& c, std::ostream* out) { *out << c.Name; }

const BannerCase kBanners[] = {
    {"NoDot", "v5", "KIV INPUT FILE [test.in] HAS INCORRECT VERSION NUMBER!\n"},
    {"TooLong", "v5.34567890123456", "KIV INPUT FILE [test.in] HAS INCORRECT VERSION NUMBER!\n"},
    {"LetterOnTwo", "v2.5",
     "VERSION NUMBER OF INPUT FILE [test.in] IS [v2.5]\n\n"
     "KIV INPUT FILE [test.in] HAS FORMAT UNKNOWN?"},
    {"Future", "v6.0",
     "VERSION NUMBER OF INPUT FILE [test.in] IS [v6.0]\n\n"
     "KIV INPUT FILE [test.in] HAS FORMAT UNKNOWN?"},
    {"ThreeParts", "v5.6.1",
     "VERSION NUMBER OF INPUT FILE [test.in] IS [v5.6.1]\n\n"
     "KIV INPUT FILE [test.in] HAS FORMAT UNKNOWN?"},
};
class Banners : public InputTest, public testing::WithParamInterface<BannerCase> {};

TEST_P(Banners, AreRefused) {
    EXPECT_EQ(Read(With(Sample("v5.6.in"), "VERSION v5.6", "VERSION "s + GetParam().Word)), 0);
    EXPECT_EQ(Console, GetParam().Console);
}
INSTANTIATE_TEST_SUITE_P(, Banners, testing::ValuesIn(kBanners),
                         [](const auto& c) { return std::string(c.param.Name); });

// ---------------------------------------------------------------- records

std::vector<std::string> WordsOf(const std::string& text) {
    std::vector<std::string> words;
    KivLine line;
    for (TextScan scan(text); KivReadLine(scan, line, 1) == 1;) words.push_back(line.Text);
    return words;
}

const std::string kBanner = "#\n# KIV INPUT FILE : VERSION v5.6 #\n";
const std::string kComment = "distinct values in every slot, version v5.6\n";
constexpr std::size_t kCommentWords = 7;

// Line breaks, blank lines and comments carry no meaning, whatever the line ends.
TEST_F(InputTest, LayoutOfTheLinesDoesNotMatter) {
    const std::string sample = Sample("v5.6.in");
    const std::vector<std::string> words = WordsOf(sample);
    std::string column = kBanner + kComment, row = kBanner + kComment, remarks = kBanner + kComment;
    for (std::size_t i = kCommentWords; i < words.size(); ++i) {
        column += "\n\t" + words[i] + "\n";
        row += words[i] + (i + 1 < words.size() ? " " : "");
        remarks += words[i] + " # remark 1 2 3\n#\n";
    }
    std::string crlf;
    for (char c : sample) crlf += c == '\n' ? "\r\n"s : std::string(1, c);
    for (const std::string& text : {column, row, remarks, crlf, "\xEF\xBB\xBF" + sample}) {
        ASSERT_EQ(Read(text), 1) << Console;
        ExpectConstants(ConstantsUpTo(PRM_PZ5));
        ExpectRunScalars();
        EXPECT_EQ(Kiv.Comment, kComment);
    }
}

struct RecordCase {
    const char* From;
    std::string To;
    int Status;
    const char* Console;  // behind the line of the version
};
void PrintTo(const RecordCase& c, std::ostream* out) {
    *out << c.From << " -> " << c.To.substr(0, 30);
}

const RecordCase kRecords[] = {
    // only the last word of a record may carry a tail
    {"\n  41             5", "\n  41#J 5", 0, ""},
    {"0.0625", "0.0625#cut", 1, ""},
    {"\n  4              3\n", "\n  1 2.7\n", 1, ""},
    {"\n  4              3\n", "\n  1.5 2\n", 0, ""},
    // numbers that would be read as others
    {"0.0625", "6.25D-2", 0, ""},
    {"0.0625", "0,0625", 0, ""},
    {"0.0625", "word", 0, ""},
    {"\n  41             5", "\n  2147483648 5", 0, ""},
    {"\n  41             5", "\n  2147483647 5", 1, ""},
    {"\n  4              3\n", "\n  32768 3\n", 0, ""},
    {"\n  77\n", "\n  -1\n", 1, ""},
    {"9000.125", "9000.125"s + '\0', 0, ""},
    // words and their room
    {"base_name", std::string(199, 'b'), 1, ""},
    {"base_name", std::string(200, 'b'), 0, ""},
    {"base_name      lines.asn", std::string(199, 'b') + " " + std::string(199, 'a'), 1, ""},
    {"base_name      lines.asn      next.in",
     std::string(199, 'b') + " " + std::string(199, 'a') + " " + std::string(100, 'n'), 0, ""},
    {"base_name", std::string(1 << 20, 'b'), 0, ""},
    {"base_name", "base\0name"s, 0, ""},
    {"  Y    ", "  " + std::string(9, 'Y'), 1, ""},
    {"  Y    ", "  " + std::string(10, 'Y'), 0, ""},
    // frame and unit
    {"\n  1              1\n", "\n  1 2\n", 0, ""},
    {"\n  1              1\n", "\n  1 -1\n", 0, ""},
    {"CM-1", "MHz", 1, ""},
    {"CM-1", "cm-1", 0, "\nUNDEFINED TEMPERATURE CONVERSION UNIT [cm-1]!\n"},
    {"CM-1", std::string(40, 'x'), 0,
     "\nUNDEFINED TEMPERATURE CONVERSION UNIT [xxxxxxxxxxxxxxxxxxxxxxxxxxx]!\n"},
};
class Records : public InputTest, public testing::WithParamInterface<RecordCase> {};

TEST_P(Records, AreAcceptedOrRefused) {
    const auto& [from, to, status, console] = GetParam();
    EXPECT_EQ(Read(With(Sample("v5.6.in"), from, to)), status);
    EXPECT_EQ(Console, "VERSION NUMBER OF INPUT FILE [test.in] IS [v5.6]\n\n"s + console);
}
INSTANTIATE_TEST_SUITE_P(, Records, testing::ValuesIn(kRecords));

TEST_F(InputTest, ShortIntegersFillTheLowHalf) {
    ASSERT_EQ(Read(With(Sample("v5.6.in"), "\n  77\n", "\n  -1\n")), 1);
    EXPECT_EQ(Kiv.Prm_Fit[ST_EXC][PRM_ORI], 65535);
    Kiv.QZ_Fmt = 0x50000;
    ASSERT_EQ(ReadFile("test.in"), 1);
    EXPECT_EQ(Kiv.QZ_Fmt, 0x50000 + 27);
    ASSERT_EQ(Read(With(Sample("v5.6.in"), "CM-1", "MHz")), 1);
    EXPECT_EQ(Kiv.Erg_Conv, 20836.7381265);
}

// In a v5.0 file two more numbers shift all records behind them, in v5.1 they must be there.
TEST_F(InputTest, LimitsOfAssignmentsBelongToLaterVersions) {
    EXPECT_NE(Read(With(Sample("v5.3.in"), "VERSION v5.3", "VERSION v5.0")), 1);
    EXPECT_NE(Read(With(Sample("v5.0.in"), "VERSION v5.0", "VERSION v5.1")), 1);
}

// Cut behind any word: never more than the words there are, and the cut-off record is named.
TEST_F(InputTest, EveryPrematureEndIsNoticed) {
    const std::vector<std::string> words = WordsOf(Sample("v5.6.in"));
    std::string text = kBanner + kComment;
    for (std::size_t i = kCommentWords; i < words.size(); ++i) {
        ASSERT_EQ(Read(text), RD_EOF) << text;
        EXPECT_EQ(Console, "VERSION NUMBER OF INPUT FILE [test.in] IS [v5.6]\n\n");
        text += words[i] + "\n";
    }
    EXPECT_EQ(Read(text), 1);
    ASSERT_EQ(Read(kBanner + kComment + "base_name # and no more\n"), RD_EOF);
    EXPECT_STREQ(LastReadLine(), "base_name ");
    ASSERT_EQ(Read(kBanner + kComment + "a b c 1 2"), RD_EOF);
    EXPECT_STREQ(LastReadLine(), "1 2 ");
    ASSERT_EQ(Read(kBanner), RD_EOF);
    EXPECT_STREQ(LastReadLine(), "");
}

TEST_F(InputTest, CommentKeepsWhatFits) {
    const std::string sample = Sample("v5.6.in");
    for (std::size_t size : {497u, 498u, 499u, 1u << 20}) {
        std::string comment;
        for (std::size_t i = 0; i < size; ++i) comment += static_cast<char>('a' + i % 26);
        ASSERT_EQ(Read(With(sample, kComment, comment + "\n")), 1) << size;
        EXPECT_EQ(Kiv.Comment, comment.substr(0, 498) + "\n");
        EXPECT_STREQ(Kiv.Out_Base, "base_name");
    }
    EXPECT_EQ(Read(With(sample, kComment, "null\0byte\n"s)), 0);
    EXPECT_EQ(Read(kBanner + "the end"), RD_EOF);
    EXPECT_STREQ(Kiv.Comment, "the end\n");
}

// ---------------------------------------------------------------- after the reading

TEST_F(InputTest, StatusIsTheSameInBothStates) {
    std::string text = Sample("v5.6.in");
    text = With(text, " 1006 ", " 1 ");   // ground PXPY on
    text = With(text, " 2007 ", " 1 ");   // excited PXPZ on
    text = With(text, " 1011 ", " -1 ");  // neither on nor off
    ASSERT_EQ(Read(text), 1);
    for (int state : {ST_GND, ST_EXC}) {
        EXPECT_EQ(Kiv.Prm_Stat[state][PRM_PXPY], 1);
        EXPECT_EQ(Kiv.Prm_Stat[state][PRM_PXPZ], 1);
    }
    EXPECT_EQ(Kiv.Prm_Stat[ST_GND][PRM_DJ], 65535);
    EXPECT_EQ(Kiv.Prm_Stat[ST_EXC][PRM_DJ], 2011);
    EXPECT_EQ(Kiv.Prm_Stat[ST_GND][PRM_ORI], 0);
    // a ground-only run leaves the states apart
    ASSERT_EQ(Read(With(text, "\n  4              3\n", "\n  0 3\n")), 1);
    EXPECT_EQ(Kiv.Gnd_Only, 1);
    EXPECT_EQ(Kiv.Prm_Stat[ST_EXC][PRM_PXPY], 2006);
    for (int p : {PRM_A, PRM_B, PRM_C}) EXPECT_EQ(Kiv.Prm_Stat[ST_EXC][p], 0);
}

TEST_F(InputTest, StartKeepsTheValuesRead) {
    ASSERT_EQ(Read(Sample("v5.6.in")), 1);
    Kiv.Prm_Val[ST_GND][PRM_A] = Kiv.Prm_Val[ST_EXC][PRM_ORI] = 0.0;
    EXPECT_STREQ(Kiv.Start.Inp_Version, "v5.6");
    EXPECT_STREQ(Kiv.Start.Comment, kComment.c_str());
    EXPECT_EQ(Kiv.Start.Inp_Flnm, "test.in");
    EXPECT_STREQ(Kiv.Start.Out_Base, "base_name");
    EXPECT_STREQ(Kiv.Start.Asn_Flnm, "lines.asn");
    EXPECT_STREQ(Kiv.Start.NextInp_Flnm, "next.in");
    EXPECT_EQ(Kiv.Start.Prm_Val[ST_GND][PRM_A], 100.25);
    EXPECT_EQ(Kiv.Start.Prm_Val[ST_EXC][PRM_ORI], 9000.125);
    EXPECT_EQ(Kiv.Start.Prm_Fit[ST_EXC][PRM_ORI], 77);
    EXPECT_EQ(Kiv.Start.Prm_Stat[ST_EXC][PRM_PZ5], 2021);
    EXPECT_EQ(Kiv.Start.Euler_Phi[ST_EXC], 21.5);
    EXPECT_EQ(Kiv.Start.Euler_Theta[ST_EXC], 22.5);
    EXPECT_EQ(Kiv.Start.Euler_Chi[ST_EXC], 23.5);
}

TEST_F(InputTest, SpinIsOnOnlyWithUnequalWeights) {
    ASSERT_EQ(
        Read(With(Sample("v5.6.in"), "6              7              8              9", "1 1 1 1")),
        1);
    EXPECT_EQ(Kiv.Spin_On, 0);
}

// The debug log is opened as soon as the switches are known, whichever of them is on.
TEST_F(InputTest, DebugSwitchesOpenTheLog) {
    const std::string sample = Sample("v5.6.in");
    const std::string switches = "31             32             33             34             35";
    const struct {
        const char* Switches;
        bool Opens;
        const char* Log;
    } cases[] = {{"0 0 0 0 1", true, ""},
                 {"0 1 0 0 0", false, ""},
                 {"1 0 0 0 0", true, "EXIT KivReadInputParm()\n"}};
    for (const auto& c : cases) {
        WriteText("test.in", With(sample, switches, c.Switches));
        Kiv = KivRecord{};
        Kiv.Log_On = 1;
        ASSERT_EQ(ReadFile("test.in"), 1);
        EXPECT_EQ(Kiv.Log_Fp != nullptr, c.Opens);
        if (Kiv.Log_Fp) std::fclose(Kiv.Log_Fp);
        Kiv.Log_Fp = nullptr;
        EXPECT_EQ(ReadText("Kiv95_Debug.log"), c.Log);
        std::filesystem::remove("Kiv95_Debug.log");
    }
}

// ---------------------------------------------------------------- files

TEST_F(InputTest, MissingFileIsNamed) {
    EXPECT_EQ(ReadFile("none.in"), 0);
    EXPECT_EQ(Console, "FAILED TO OPEN KIV INPUT FILE [none.in] FOR READING!\n");
}

TEST_F(InputTest, MemoryThatIsRefusedEndsTheReading) {
    WriteText("test.in", Sample("v5.6.in"));
    ArrRefuse(0);
    EXPECT_EQ(ReadFile("test.in"), 0);
    EXPECT_EQ(Console, "FAILED TO OPEN KIV INPUT FILE [test.in] FOR READING!\n");
}

TEST_F(InputTest, PathsMayBeLong) {
    std::string folder = ".";
    for (int i = 0; i < 4; ++i) folder += "/" + std::string(100, 'd');
    std::filesystem::create_directories(folder);
    WriteText(folder + "/test.in", Sample("v5.6.in"));
    EXPECT_EQ(ReadFile(folder + "/test.in"), 1);
    EXPECT_EQ(Kiv.Inp_Flnm, folder + "/test.in");
}

// Texts that are no input file, read as the oldest version, end in a plain failure.
TEST_F(InputTest, ForeignFilesAreRefused) {
    std::filesystem::create_directory("folder");
    EXPECT_EQ(ReadFile("folder"), 0);
    EXPECT_EQ(Console, "VERSION NUMBER OF INPUT FILE [folder] IS [v1.0]\n\n");
    const std::string many(1 << 20, 'x');
    const std::string wide = [] {
        std::string text;
        for (char c : "# KIV INPUT FILE : VERSION v5.6\n"s) text += std::string{c, '\0'};
        return "\xFF\xFE" + text + text;
    }();
    for (const std::string& text :
         {""s, "\n"s, "one line"s, many, many + "\n" + many, "\n" + many + " " + many,
          std::string(1 << 20, '\0'), std::string(1 << 20, '\n'), "\n1 2 3 4 5 6 \0.5\n"s, wide}) {
        EXPECT_EQ(Read(text), 0) << text.substr(0, 40);
    }
    EXPECT_EQ(Read("#" + many + "\n# KIV INPUT FILE : VERSION v5.6 #\n#" + many), RD_EOF);
}

TEST_F(InputTest, PipesAreReadLikeFiles) {
    const std::string sample = Sample("v5.6.in");
    ASSERT_EQ(mkfifo("pipe.in", 0600), 0);
    std::thread writer([&] { std::ofstream("pipe.in") << sample; });
    EXPECT_EQ(ReadFile("pipe.in"), 1);
    writer.join();
    ExpectRunScalars();
}

// ---------------------------------------------------------------- transition moment

TEST(TMConvert, PercentagesGiveAngles) {
    const struct {
        double Pct[3], Ang[3];
    } cases[] = {
        {{100, 100, 100}, {3.0, 54.73561031724535, 45.0}},
        {{100, 0, 0}, {1.0, 0.0, 0.0}},
        {{0, 100, 0}, {1.0, 90.0, 0.0}},
        {{0, 0, 100}, {1.0, 90.0, 90.0}},
        {{-100, 0, 0}, {1.0, 180.0, 0.0}},
        {{0, 0, -50}, {0.5, 90.0, -90.0}},
        {{50, 50, 0}, {1.0, 45.0, 0.0}},
        {{0, 0, 0}, {0.0, 0.0, 0.0}},
    };
    for (const auto& c : cases) {
        double ang[3] = {-1, -1, -1};
        double pct[3] = {c.Pct[0], c.Pct[1], c.Pct[2]};
        TMConvert(1, ang, pct);
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(ang[i], c.Ang[i], 1e-9);
            EXPECT_EQ(pct[i], c.Pct[i]);
        }
    }
}

// There and back: the squared direction cosines are the shares of the percentages.
TEST(TMConvert, BothFormsDescribeOneDirection) {
    for (double a : {-70.0, 0.0, 5.0, 100.0}) {
        for (double b : {-20.0, 40.0}) {
            double pct[3] = {a, b, -30.0}, ang[3], back[3];
            TMConvert(1, ang, pct);
            TMConvert(0, ang, back);
            const double sum = std::fabs(a) + std::fabs(b) + 30.0;
            for (int i = 0; i < 3; ++i) {
                EXPECT_NEAR(back[i], 100.0 * std::fabs(pct[i]) / sum, 1e-9);
            }
            const double sine = std::sin(ang[1] * kRadPerDeg);
            EXPECT_EQ(std::cos(ang[1] * kRadPerDeg) < -1e-9, a < 0.0);
            EXPECT_EQ(sine * std::cos(ang[2] * kRadPerDeg) < 0.0, b < 0.0);
            EXPECT_LT(sine * std::sin(ang[2] * kRadPerDeg), 0.0);
        }
    }
}

// With angles the magnitude only scales, and a pure b type is one only to the digits of pi/180.
TEST(TMConvert, AnglesGivePercentagesWhateverTheMagnitude) {
    for (double mag : {0.0, 1.0, 7.0}) {
        double ang[3] = {mag, 90.0, 0.0}, pct[3];
        TMConvert(0, ang, pct);
        EXPECT_EQ(ang[0], mag);
        EXPECT_NEAR(pct[0], 0.0, 1e-19);
        EXPECT_NE(pct[0], 0.0);
        EXPECT_NEAR(pct[1], 100.0, 1e-12);
        EXPECT_EQ(pct[2], 0.0);
    }
}

}  // namespace
