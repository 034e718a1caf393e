#include "input/OldInput.h"

#include <sys/stat.h>

#include <filesystem>

#include "InputTest.h"
#include "input/AsnConvert.h"

namespace {

namespace fs = std::filesystem;
using std::string_literals::operator""s;

const std::string kQzPrompt = "FORMAT OUTPUT ACCORDING TO TELVORAN QZ (y|n)?";
const std::string kScalePrompt = "SCALE FREQUENCIES IN ASSIGNMENT FILE BY (1|10|100) ?";

// What 2.x and v1 files have in common and what they lack.
void ExpectOldScalars() {
    ExpectCommonScalars();
    EXPECT_EQ(Kiv.Asn_J_Max, 19);
    EXPECT_EQ(Kiv.Asn_Kc_Max, -1);
    EXPECT_EQ(Kiv.Band_Split, 18);
    EXPECT_EQ(Kiv.Uniform_Unc, 1);
    EXPECT_STREQ(Kiv.Erg_Unit, "MHz");
    EXPECT_EQ(Kiv.Erg_Conv, 20836.7381265);
    EXPECT_EQ(Kiv.Fit_Stat, 1);
    EXPECT_EQ(Kiv.Red_Stat, 1);
    EXPECT_EQ(Kiv.Spin_On, 0);
    EXPECT_STREQ(Kiv.NextInp_Flnm, "NextInput.in");
    EXPECT_EQ(Kiv.Debug_Stat[DBG_0], 0);
}

TEST_F(InputTest, Version3FillsEverySlot) {
    ASSERT_EQ(Read(Sample("v3.1.in")), 1) << Console;
    EXPECT_STREQ(Kiv.Comment, "distinct values in every slot, version v3.1\n");
    EXPECT_EQ(Kiv.Fit_Stat, 0);
    EXPECT_EQ(Kiv.Gnd_Only, 1);
    ExpectConstants(ConstantsUpTo(PRM_PZ3));
    ExpectRunScalars();
    ExpectMoment(1);
    EXPECT_EQ(Kiv.Uniform_Unc, 1);
    EXPECT_EQ(Kiv.Asn_J_Max, -1);
    EXPECT_EQ(Kiv.Asn_Ka_Max, -1);
    EXPECT_EQ(Kiv.Asn_Kc_Max, -1);
    EXPECT_EQ(Read(With(Sample("v3.1.in"), "CM-1", "cm-1")), 0);
    EXPECT_NE(Console.find("\nUNDEFINED TEMPERATURE CONVERSION UNIT [cm-1]!\n"), std::string::npos);
}

TEST_F(InputTest, Version2FillsEverySlot) {
    ASSERT_EQ(Read(Sample("v2.5.in")), 1) << Console;
    EXPECT_STREQ(Kiv.Comment, "distinct values in every slot, version 2.5\n");
    EXPECT_STREQ(Kiv.Inp_Version, "2.5");
    ExpectConstants(ConstantsUpTo(PRM_PZ3));
    ExpectOldScalars();
    ExpectMoment(0);
    EXPECT_EQ(Kiv.Asn_Ka_Max, -1);  // its own limit is read and not used
    EXPECT_EQ(Kiv.Temp[1], 0.0);
    EXPECT_EQ(Kiv.Temp[2], 1.0);
    EXPECT_EQ(Kiv.QZ_Fmt, 27);
    EXPECT_EQ(Kiv.Itn_Scale, 2.5);
}

// A constant of a record used before must not survive in a file that cannot hold it.
TEST_F(InputTest, OldFilesClearNewConstants) {
    ASSERT_EQ(Read(Sample("v5.6.in")), 1);
    WriteText("test.in", Sample("v2.5.in"));
    ASSERT_EQ(ReadFile("test.in"), 1);
    for (int p = PRM_PX3; p <= PRM_PZ5; ++p) {
        EXPECT_EQ(Kiv.Prm_Val[ST_GND][p], 0.0);
        EXPECT_EQ(Kiv.Prm_Stat[ST_EXC][p], 0);
        EXPECT_EQ(Kiv.Prm_Fit[ST_EXC][p], 0);
    }
}

void ExpectVersion1() {
    ExpectOldScalars();
    EXPECT_STREQ(Kiv.Inp_Version, "v1.0");
    EXPECT_EQ(Kiv.Asn_Ka_Max, 20);
    EXPECT_EQ(Kiv.Itn_Scale, 100.0);
    EXPECT_EQ(Kiv.TM_Method, 0);
    EXPECT_EQ(Kiv.TM_Frame, 0);
    EXPECT_EQ(Kiv.Temp[1], 0.0);
    EXPECT_EQ(Kiv.Temp[2], 0.0);
}

TEST_F(InputTest, Version11FillsEverySlot) {
    SetAnswers("n");
    ASSERT_EQ(Read(Sample("v1.1.in")), 1) << Console;
    EXPECT_EQ(Console,
              "VERSION NUMBER OF INPUT FILE [test.in] IS [v1.0]\n\n"
              "INPUT FILE HAS VERSION [1.1] FORMAT!\n" +
                  kQzPrompt);
    EXPECT_STREQ(Kiv.Comment, "distinct values in every slot, version 1.1\n");
    ExpectConstants(ConstantsUpTo(PRM_PYPZ));
    ExpectVersion1();
    EXPECT_EQ(Kiv.QZ_Fmt, 0);
}

TEST_F(InputTest, Version12FillsEverySlot) {
    for (const char* dj : {"0", "1"}) {
        ASSERT_EQ(Read(With(Sample("v1.2.in"), "0 1014", dj + " 1014"s)), 1) << Console;
        EXPECT_NE(Console.find("INPUT FILE HAS VERSION [1.2] FORMAT!\n"), std::string::npos);
        EXPECT_EQ(Kiv.Prm_Stat[ST_GND][PRM_DJ], *dj - '0');
        EXPECT_EQ(Kiv.Prm_Stat[ST_EXC][PRM_DJ], *dj == '0' ? 2011 : 1);
        Kiv.Prm_Stat[ST_GND][PRM_DJ] = 1011;
        Kiv.Prm_Stat[ST_EXC][PRM_DJ] = 2011;
        std::vector<PrmIdx> given = ConstantsUpTo(PRM_PYPZ);
        given.insert(given.end(), {PRM_DJ, PRM_PZ3});
        ExpectConstants(given);
        ExpectVersion1();
    }
}

// Formatted reads know no comments: what looks like one is text, or an error.
TEST_F(InputTest, Version1HasNoComments) {
    std::string text = Sample("v1.1.in");
    ASSERT_EQ(Read(With(text, "distinct values", "# distinct values")), 1);
    EXPECT_STREQ(Kiv.Comment, "# distinct values in every slot, version 1.1\n");
    EXPECT_EQ(Read(With(text, "200.25\n", "200.25 # excited A\n")), 0);
    for (char& c : text) c = c == '\n' && &c > &text[60] ? ' ' : c;  // behind the comment
    EXPECT_EQ(Read(text), 1);
    ExpectConstants(ConstantsUpTo(PRM_PYPZ));
}

TEST_F(InputTest, BandWordsTurnTheMoment) {
    const struct {
        const char* Word;
        double Theta, Chi;
        double Pct[3];
    } bands[] = {
        {"A", 0, 0, {100, 0, 0}},    {"B", 90, 0, {0, 100, 0}},    {"C", 90, 90, {0, 0, 100}},
        {"B/A", 45, 0, {50, 50, 0}}, {"C/A", 45, 90, {50, 0, 50}}, {"C/B", 90, 45, {0, 50, 50}},
    };
    for (const auto& band : bands) {
        ASSERT_EQ(Read(With(Sample("v1.1.in"), "C/B 5", band.Word + " 5"s)), 1) << band.Word;
        EXPECT_EQ(Kiv.TM_Ang[0], 1.0);
        EXPECT_EQ(Kiv.TM_Ang[1], band.Theta);
        EXPECT_EQ(Kiv.TM_Ang[2], band.Chi);
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(Kiv.TM_Pct[i], band.Pct[i], 1e-9) << band.Word;
    }
    EXPECT_EQ(Read(With(Sample("v1.1.in"), "C/B 5", "A/B 5")), 0);
    EXPECT_NE(Console.find("\nIMPROPER BAND TYPE [A/B]!\n"), std::string::npos);
    EXPECT_EQ(Console.find(kQzPrompt), std::string::npos);
    EXPECT_EQ(Read(With(Sample("v1.1.in"), "C/B 5", std::string(10, 'C') + " 5")), 0);
}

// Cut behind any line: a plain failure for v1, a named one for the others; questions are asked only
// when everything before them was read.
TEST_F(InputTest, PrematureEndsOfOldFiles) {
    for (const char* name : {"v3.1.in", "v2.5.in", "v1.2.in", "v1.1.in"}) {
        const std::string text = Sample(name);
        int cuts = 0;
        const std::size_t first = text.find('\n', text.find("in every slot"));
        for (std::size_t at = first; at < text.size(); at = text.find('\n', at + 1)) {
            TextScan rest(std::string_view(text).substr(at));
            KivLine word;
            if (KivReadLine(rest, word, 1) != 1) break;
            ASSERT_EQ(Read(text.substr(0, at + 1)), name[1] == '1' ? 0 : RD_EOF)
                << name << " " << at;
            ++cuts;
        }
        EXPECT_GT(cuts, 30);
    }
    const std::string v1 = Sample("v1.1.in");
    EXPECT_EQ(Read(v1.substr(0, v1.find("0.0625"))), 0);
    EXPECT_EQ(Console.find(kQzPrompt), std::string::npos);
}

TEST_F(InputTest, OldRecordsAreChecked) {
    const struct {
        const char* File;
        const char* From;
        std::string To;
    } cases[] = {
        {"v1.1.in", "base_name", std::string(200, 'b')},
        {"v1.1.in", "base_name", "#base_name"},
        {"v1.1.in", "lines.asn", std::string(1 << 20, 'a')},
        {"v1.1.in", "distinct", "distinct\0"s},
        {"v1.1.in", "102.25", "1.0225D2"},
        {"v1.1.in", "\n41\n", "\n4000000000\n"},
        {"v1.1.in", "\nY\n", "\n" + std::string(10, 'Y') + "\n"},
        {"v2.5.in", "\n  0              1\n", "\n  0 2\n"},
        {"v3.1.in", "114.25", "11425D-2"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Read(With(Sample(c.File), c.From, c.To)), 0) << c.File << " " << c.From;
    }
}

TEST_F(InputTest, DebugSwitchOfOldFilesOpensTheLog) {
    for (const char* name : {"v3.1.in", "v2.5.in", "v1.1.in"}) {
        std::string text = Sample(name);
        text.replace(text.rfind("31"), 2, "1 ");
        WriteText("test.in", text);
        Kiv = KivRecord{};
        Kiv.Log_On = 1;
        ASSERT_EQ(ReadFile("test.in"), 1);
        ASSERT_NE(Kiv.Log_Fp, nullptr) << name;
        std::fclose(Kiv.Log_Fp);
        Kiv.Log_Fp = nullptr;
        EXPECT_EQ(ReadText("Kiv95_Debug.log"),
                  "EXIT KivReadOldInputParm()\nEXIT KivReadInputParm()\n");
    }
}

// ---------------------------------------------------------------- conversion of assignments

class Conversion : public InputTest {
  protected:
    void SetUp() override {
        InputTest::SetUp();
        WriteText("lines.asn", Sample("v1.asn"));
        WriteText("TEMP.TMP", "left over");
    }

    int ReadV1(const std::string& answers) {
        SetAnswers(answers);
        return Read(Sample("v1.1.in"));
    }

    void ExpectUntouched() { EXPECT_EQ(ReadText("lines.asn"), Sample("v1.asn")); }
};

const char kConverted[] =
    " A 1    0   1     0   0   0     80002.500000\n"
    "B/A 2    1   2     1   0   1     90005.000000\n"
    "//\n"
    " C 10   9   1     9   8   1     1230.625000\n";

TEST_F(Conversion, ScalesTheFrequencies) {
    ASSERT_EQ(ReadV1("y\n10\n"), 1) << Console;
    EXPECT_EQ(Console,
              "VERSION NUMBER OF INPUT FILE [test.in] IS [v1.0]\n\n"
              "INPUT FILE HAS VERSION [1.1] FORMAT!\n" +
                  kQzPrompt + kScalePrompt);
    EXPECT_EQ(Kiv.QZ_Fmt, 1);
    EXPECT_EQ(ReadText("lines.asn"), kConverted);
    EXPECT_FALSE(fs::exists("TEMP.TMP"));
    // once more: scaled again
    ASSERT_EQ(ReadV1("y\n10\n"), 1);
    EXPECT_NE(ReadText("lines.asn").find("800025.000000"), std::string::npos);
}

TEST_F(Conversion, IsOnlyDoneOnRequest) {
    for (const char* answers : {"n\n10\n", "Y\n10\n", "", "\ny"}) {
        ASSERT_EQ(ReadV1(answers), 1);
        EXPECT_EQ(Kiv.QZ_Fmt, 0);
        ExpectUntouched();
    }
    fs::remove("lines.asn");
    ASSERT_EQ(ReadV1("y\n"), 1);
    EXPECT_EQ(Console.find(kScalePrompt), std::string::npos);
    EXPECT_FALSE(fs::exists("lines.asn"));
}

// Zero and numbers that are none would wipe the frequencies out.
TEST_F(Conversion, NeedsAFactor) {
    for (const char* answers : {"y", "y\nx\n", "y\n0\n", "y\nnan\n", "y\ninf\n"}) {
        EXPECT_EQ(ReadV1(answers), 0) << answers;
        ExpectUntouched();
        EXPECT_EQ(ReadText("TEMP.TMP"), "left over");
    }
}

TEST_F(Conversion, LeavesTheOriginalOnABadLine) {
    const std::string good = Sample("v1.asn");
    for (const std::string& bad :
         {"A 1 0 1 0 0 0\n"s, "A 1 0 1 0 0 x 5.0\n"s, "A 1 0 1 0 0 0 8.0D3\n"s, "A\n"s,
          "A 1 0 1 0 0 9999999999 5.0\n"s, std::string(1 << 20, 'A'), "A 1 0 1 0 0 0 \0"s}) {
        WriteText("lines.asn", good + bad);
        EXPECT_EQ(ReadV1("y\n10\n"), 0);
        EXPECT_NE(Console.find("FORMAT ERROR IN ASSIGNMENT FILE [lines.asn]!"), std::string::npos);
        EXPECT_EQ(ReadText("lines.asn"), good + bad);
        EXPECT_EQ(ReadText("TEMP.TMP"), kConverted);
    }
}

TEST_F(Conversion, LeavesTheOriginalWithoutATemporaryFile) {
    fs::remove("TEMP.TMP");
    fs::create_directory("TEMP.TMP");
    EXPECT_EQ(ReadV1("y\n10\n"), 0);
    ExpectUntouched();
    fs::remove("TEMP.TMP");
    fs::create_symlink("/dev/full", "TEMP.TMP");
    EXPECT_EQ(ReadV1("y\n10\n"), 0);
    ExpectUntouched();
    fs::remove("lines.asn");
    fs::create_directory("lines.asn");
    EXPECT_EQ(ReadV1("y\n10\n"), 0);
    EXPECT_TRUE(fs::is_directory("lines.asn"));
}

TEST_F(Conversion, ReportsMissingMemory) {
    ArrRefuse(0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(AsnConvert("lines.asn"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "AsnConvert()/block - CORE ALLOCATION ERROR!\n");
    ExpectUntouched();
}

// A link stays a link, also to another file system, and the permissions stay.
TEST_F(Conversion, ReplacesTheFileBehindALink) {
    std::string other = "/dev/shm/kiv_test_XXXXXX";
    struct stat here = {}, there = {};
    ASSERT_EQ(stat(".", &here), 0);
    const bool has_other =
        stat("/dev/shm", &there) == 0 && here.st_dev != there.st_dev && mkdtemp(other.data());
    fs::create_directory("data");
    for (const std::string& folder : {"data"s, other}) {
        if (folder == other && !has_other) continue;
        WriteText(folder + "/real.asn", Sample("v1.asn"));
        fs::permissions(folder + "/real.asn", fs::perms::owner_read | fs::perms::owner_write);
        fs::remove("lines.asn");
        fs::create_symlink(folder + "/real.asn", "lines.asn");
        EXPECT_EQ(ReadV1("y\n10\n"), 1);
        EXPECT_TRUE(fs::is_symlink("lines.asn"));
        EXPECT_EQ(ReadText(folder + "/real.asn"), kConverted);
        EXPECT_EQ(fs::status(folder + "/real.asn").permissions(),
                  fs::perms::owner_read | fs::perms::owner_write);
        EXPECT_FALSE(fs::exists("TEMP.TMP"));
        EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
    }
    if (has_other) fs::remove_all(other);
}

}  // namespace
