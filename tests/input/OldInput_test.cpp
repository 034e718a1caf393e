#include "input/OldInput.h"

#include <cstdlib>
#include <filesystem>

#include "InputTest.h"

namespace {

namespace fs = std::filesystem;

const char kPrompt[] = "FORMAT OUTPUT ACCORDING TO TELVORAN QZ (y|n)?";

TEST_F(InputTest, BandWordsTurnTheMoment) {
    const char* const words[] = {"A", "B", "C", "B/A", "C/A", "C/B"};
    const double angles[][2] = {{0, 0}, {90, 0}, {90, 90}, {45, 0}, {45, 90}, {90, 45}};
    for (std::size_t i = 0; i < 6; ++i) {
        ASSERT_EQ(Read(With(Sample("v1.1.in"), "C/B 5", words[i] + " 5"s)), 1) << words[i];
        EXPECT_EQ(Kiv.TM_Ang[0], 1.0);
        EXPECT_EQ(Kiv.TM_Ang[1], angles[i][0]) << words[i];
        EXPECT_EQ(Kiv.TM_Ang[2], angles[i][1]) << words[i];
    }
}

// Cut behind any line: a plain failure for v1, a named one for the others; the question is asked
// only when everything before it was read.
TEST_F(InputTest, PrematureEndsOfOldFiles) {
    for (const char* name : {"v3.1.in", "v2.5.in", "v1.2.in", "v1.1.in"}) {
        const std::string text = Sample(name);
        const std::size_t first = text.find('\n', text.find("in every slot"));
        const std::size_t asked = text.find("0.0625"),
                          last = text.find_last_of('\n', text.size() - 2);
        int cuts = 0;
        for (std::size_t at = first; at <= last; at = text.find('\n', at + 1), ++cuts) {
            ASSERT_EQ(Read(text.substr(0, at + 1)), name[1] == '1' ? 0 : RD_EOF) << name << at;
            EXPECT_EQ(Console.ends_with(kPrompt), name[1] == '1' && at > asked) << name << at;
        }
        EXPECT_GT(cuts, 30);
    }
}

// ---------------------------------------------------------------- conversion of assignments

const char kConverted[] =
    " A 1    0   1     0   0   0     80002.500000\n"
    "B/A 2    1   2     1   0   1     90005.000000\n"
    "//\n"
    " C 10   9   1     9   8   1     1230.625000\n";

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

TEST_F(Conversion, ScalesTheFrequencies) {
    ASSERT_EQ(ReadV1("y\n10\n"), 1) << Console;
    EXPECT_TRUE(
        Console.ends_with(kPrompt + "SCALE FREQUENCIES IN ASSIGNMENT FILE BY (1|10|100) ?"s));
    EXPECT_EQ(Kiv.QZ_Fmt, 1);
    EXPECT_EQ(ReadText("lines.asn"), kConverted);
    EXPECT_FALSE(fs::exists("TEMP.TMP"));
    ASSERT_EQ(ReadV1("y\n10\n"), 1) << "once more: scaled again";
    EXPECT_NE(ReadText("lines.asn").find("800025.000000"), std::string::npos);
}

TEST_F(Conversion, IsOnlyDoneOnRequestAndWithAFile) {
    for (const char* answers : {"n\n10\n", "Y\n10\n", "", "\ny"}) {
        ASSERT_EQ(ReadV1(answers), 1);
        EXPECT_EQ(Kiv.QZ_Fmt, 0);
        ExpectUntouched();
    }
    SetAnswers("10\n");  // a later version says itself that its format is the old one
    ASSERT_EQ(Read(With(Sample("v2.5.in"), "\n  27  ", "\n  1  ")), 1);
    ExpectUntouched();
    fs::remove("lines.asn");
    ASSERT_EQ(ReadV1("y\n"), 1);
    EXPECT_TRUE(Console.ends_with(kPrompt));
    fs::create_directory("lines.asn");
    EXPECT_EQ(ReadV1("y\n10\n"), 0);
    EXPECT_TRUE(Console.ends_with(kPrompt));
}

// Zero and numbers that are none would wipe the frequencies out.
TEST_F(Conversion, NeedsAFactorAndMemory) {
    for (const char* answers : {"y", "y\nx\n", "y\n0\n", "y\nnan\n", "y\ninf\n"}) {
        EXPECT_EQ(ReadV1(answers), 0) << answers;
        ExpectUntouched();
    }
    ArrRefuse(1);
    EXPECT_EQ(ReadV1("y\n10\n"), 0);
    EXPECT_TRUE(Console.ends_with("AsnConvert()/block - CORE ALLOCATION ERROR!\n")) << Console;
    ExpectUntouched();
    EXPECT_EQ(ReadText("TEMP.TMP"), "left over");
}

TEST_F(Conversion, LeavesTheOriginalOnABadLine) {
    const std::string good = Sample("v1.asn");
    for (const std::string& bad :
         {"A 1 0 1 0 0 0\n"s, "A 1 0 1 0 0 x 5.0\n"s, "A 1 0 1 0 0 0 8.0D3\n"s, "A\n"s,
          "A 1 0 1 0 0 9999999999 5.0\n"s, std::string(1 << 20, 'A'), "A 1 0 1 0 0 0 \0"s}) {
        WriteText("lines.asn", good + bad);
        EXPECT_EQ(ReadV1("y\n10\n"), 0);
        EXPECT_TRUE(Console.ends_with("FORMAT ERROR IN ASSIGNMENT FILE [lines.asn]!"));
        EXPECT_EQ(ReadText("lines.asn"), good + bad);
        EXPECT_EQ(ReadText("TEMP.TMP"), kConverted);
    }
}

TEST_F(Conversion, LeavesTheOriginalWithoutATemporaryFile) {
    for (bool full : {false, true}) {
        fs::remove("TEMP.TMP");
        if (!full) fs::create_directory("TEMP.TMP");
        if (full) fs::create_symlink("/dev/full", "TEMP.TMP");
        EXPECT_EQ(ReadV1("y\n10\n"), 0);
        EXPECT_TRUE(Console.ends_with("FAILED TO CREATE ASCII FILE [TEMP.TMP] FOR WRITING!\n"));
        ExpectUntouched();
    }
}

// A link stays a link, also to another file system, and the permissions stay.
TEST_F(Conversion, ReplacesTheFileBehindALink) {
    std::string other = "/dev/shm/kiv_test_XXXXXX";
    const bool has_other = mkdtemp(other.data());
    fs::create_directory("data");
    const auto mode = fs::perms::owner_read | fs::perms::owner_write;
    for (const std::string& folder : {"data"s, has_other ? other : "data"s}) {
        const std::string real = folder + "/real.asn";
        WriteText(real, Sample("v1.asn"));
        fs::permissions(real, mode);
        fs::remove("lines.asn");
        fs::create_symlink(real, "lines.asn");
        EXPECT_EQ(ReadV1("y\n10\n"), 1);
        EXPECT_TRUE(fs::is_symlink("lines.asn"));
        EXPECT_EQ(ReadText(real), kConverted);
        EXPECT_EQ(fs::status(real).permissions(), mode);
        EXPECT_FALSE(fs::exists("TEMP.TMP"));
        EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
    }
    if (has_other) fs::remove_all(other);
}

}  // namespace
