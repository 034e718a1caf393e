#include "input/NextInput.h"

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "InputTest.h"

namespace {

namespace fs = std::filesystem;
using std::string_literals::operator""s;

class NextInput : public InputTest {
  protected:
    int Write() {
        testing::internal::CaptureStdout();
        const int status = KivWriteInputParm(Kiv);
        Console = testing::internal::GetCapturedStdout();
        return status;
    }

    static std::size_t NumFiles() {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator("."), fs::directory_iterator()));
    }

    void SetBase(const char* base) { std::strcpy(Kiv.Out_Base, base); }

    void ExpectFailure(const std::string& name) {
        EXPECT_EQ(Write(), 0);
        EXPECT_EQ(Console, "FAILED TO CREATE ASCII INPUT FILE [" + name + "] FOR WRITING!\n");
    }
};

// The examples were written by another program to the same layout: no byte may differ.
TEST_F(NextInput, ReproducesTheExamples) {
    for (const char* name :
         {"so2/so2.in", "so2/fit.in", "h2coh_plus/fit.in", "7-azaindole/7-azaindole.in"}) {
        const std::string text = ReadText(std::string(KIV_SOURCE_DIR) + "/examples/" + name);
        ASSERT_FALSE(text.empty()) << name;
        ASSERT_EQ(Read(text), 1) << name;
        ASSERT_EQ(Write(), 1) << name;
        EXPECT_EQ(ReadText(Kiv.Out_Base + ".in"s), text) << name;
    }
}

// Every slot survives, from whatever version it came.
TEST_F(NextInput, IsReadBack) {
    for (const char* name : {"v5.6.in", "v5.3.in", "v4.2.in", "v3.1.in"}) {
        SCOPED_TRACE(name);
        ASSERT_EQ(Read(Sample(name)), 1);
        const std::string comment = Kiv.Comment;
        const int fit_stat = Kiv.Fit_Stat, ka_max = Kiv.Asn_Ka_Max, unc = Kiv.Uniform_Unc;
        ASSERT_EQ(Write(), 1);
        EXPECT_EQ(Console, "");
        Kiv = KivRecord{};
        ASSERT_EQ(ReadFile("base_name.in"), 1) << Console;
        EXPECT_STREQ(Kiv.Inp_Version, "v5.6");
        EXPECT_EQ(Kiv.Comment, comment);
        ExpectConstants(ConstantsUpTo(name[1] == '3' ? PRM_PZ3 : PRM_PZ5));
        ExpectRunScalars();
        ExpectMoment(Kiv.TM_Method);
        EXPECT_EQ(Kiv.Fit_Stat, fit_stat);
        EXPECT_EQ(Kiv.Asn_Ka_Max, ka_max);
        EXPECT_EQ(Kiv.Uniform_Unc, unc);
        // and what was read back is written alike, under its own name alone
        const std::string once = ReadText("base_name.in");
        ASSERT_EQ(Write(), 1);
        EXPECT_EQ(ReadText("base_name.in"), once);
        EXPECT_FALSE(fs::exists("next.in"));
        EXPECT_EQ(NumFiles(), 2u);
    }
}

TEST_F(NextInput, NumbersKeepTheDigitsOfTheirColumns) {
    ASSERT_EQ(Read(Sample("v5.6.in")), 1);
    Kiv.Prm_Val[ST_GND][PRM_A] = -1.23456789012e-5;
    Kiv.Prm_Val[ST_EXC][PRM_ORI] = 35231.420812345678;
    Kiv.Erg_Scale = 0.001;
    Kiv.Itn_Cutoff = 1e-7;
    ASSERT_EQ(Write(), 1);
    const std::string text = ReadText("base_name.in");
    EXPECT_NE(text.find("\n  -1.2345678901e-05   1.0125000000e+02    1.0225000000e+02\n"),
              std::string::npos);
    EXPECT_NE(text.find("\n  3.523142081234568e+04\n  77\n\n\n"), std::string::npos);
    EXPECT_NE(text.find("\n  27                 0.00               2.50               3.750000\n"),
              std::string::npos);
    EXPECT_NE(text.find("\n  41                 5                  0.000000\n"), std::string::npos);
}

TEST_F(NextInput, ReductionNamesTheDistortionConstants) {
    const struct {
        std::int32_t Red_Stat;
        bool Is_A[2];
    } cases[] = {{0, {false, false}},
                 {1, {true, true}},
                 {2, {true, false}},
                 {3, {false, true}},
                 {7, {false, false}}};
    for (const auto& c : cases) {
        Kiv.Red_Stat = c.Red_Stat;
        ASSERT_EQ(Write(), 1);
        const std::string text = ReadText("Kiv.in");
        for (int state : {ST_GND, ST_EXC}) {
            const std::string head = "# "s + Kiv.State_Lbl[state] + " STATE ";
            const std::string a = head + "<dJ> & <dK> WATSON D DISTORTION:\n";
            const std::string s = head + "<d1> & <d2> WATSON D DISTORTION:\n";
            EXPECT_EQ(text.find(a) != std::string::npos, c.Is_A[state]) << c.Red_Stat;
            EXPECT_EQ(text.find(s) != std::string::npos, !c.Is_A[state]) << c.Red_Stat;
        }
    }
}

// A comment that reads as none, as old files and front ends may have it, must not shift the file.
TEST_F(NextInput, EveryCommentIsReadBack) {
    const std::string longest(498, 'c');
    const struct {
        std::string Written, Read;
    } cases[] = {{"# old \n", "old \n"},
                 {"## \t\n", "NO COMMENT\n"},
                 {"", "NO COMMENT\n"},
                 {"no line end", "no line end\n"},
                 {longest + "\n", longest + "\n"}};
    for (const auto& c : cases) {
        Kiv = KivRecord{};
        std::strcpy(Kiv.Comment, c.Written.c_str());
        ASSERT_EQ(Write(), 1);
        Kiv = KivRecord{};
        ASSERT_EQ(ReadFile("Kiv.in"), 1) << c.Written;
        EXPECT_EQ(Kiv.Comment, c.Read);
        EXPECT_STREQ(Kiv.Out_Base, "Kiv");
    }
}

TEST_F(NextInput, TracesItsCalls) {
    OpenLog();
    Kiv.Debug_Stat[DBG_ALL] = 1;
    ASSERT_EQ(Write(), 1);
    EXPECT_EQ(LogText(), "ENTER KivWriteInputParm()\nEXIT KivWriteInputParm()\n");
}

// ---------------------------------------------------------------- the file itself

TEST_F(NextInput, MissingFolderIsAFailure) {
    SetBase("none/Kiv");
    ExpectFailure("none/Kiv.in");
    SetBase("Kiv");
    fs::create_directory("Kiv.in");
    ExpectFailure("Kiv.in");
    EXPECT_TRUE(fs::is_directory("Kiv.in"));
    EXPECT_EQ(NumFiles(), 1u);
}

// A full disk: the file cannot grow beyond a kilobyte.
TEST_F(NextInput, FailedWriteLeavesTheOldFile) {
    WriteText("Kiv.in", "old");
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = before;
    small.rlim_cur = 1024;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    testing::internal::CaptureStdout();
    const int status = KivWriteInputParm(Kiv);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "FAILED TO CREATE ASCII INPUT FILE [Kiv.in] FOR WRITING!\n");
    EXPECT_EQ(ReadText("Kiv.in"), "old");
    EXPECT_EQ(NumFiles(), 1u);
}

TEST_F(NextInput, DevicesAreWrittenInPlace) {
    fs::create_symlink("/dev/null", "Kiv.in");
    EXPECT_EQ(Write(), 1);
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    fs::remove("Kiv.in");
    fs::create_symlink("/dev/full", "Kiv.in");
    ExpectFailure("Kiv.in");
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(NextInput, LinksAndPermissionsStay) {
    fs::create_directory("data");
    WriteText("data/real.in", "old");
    fs::permissions("data/real.in", fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink("data/real.in", "Kiv.in");
    ASSERT_EQ(Write(), 1);
    EXPECT_TRUE(fs::is_symlink("Kiv.in"));
    EXPECT_EQ(fs::status("data/real.in").permissions(),
              fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(Read(ReadText("data/real.in")), 1);
    EXPECT_EQ(NumFiles(), 3u);  // data, the link, the file read
}

TEST_F(NextInput, WriteProtectedFileIsKept) {
    WriteText("Kiv.in", "old");
    fs::permissions("Kiv.in", fs::perms::owner_read);
    if (access("Kiv.in", W_OK) == 0) GTEST_SKIP() << "this user may write everything";
    ExpectFailure("Kiv.in");
    EXPECT_EQ(ReadText("Kiv.in"), "old");
}

// Files with the temporary name are somebody's: they are passed over.
TEST_F(NextInput, LeftOverTemporaryFilesAreKept) {
    WriteText("Kiv.in.tmp", "mine");
    WriteText("Kiv.in.tmp1", "mine too");
    ASSERT_EQ(Write(), 1);
    EXPECT_EQ(ReadText("Kiv.in.tmp"), "mine");
    EXPECT_EQ(ReadText("Kiv.in.tmp1"), "mine too");
    EXPECT_EQ(NumFiles(), 3u);
}

}  // namespace
