#include "input/NextInput.h"

#include <filesystem>

#include "InputTest.h"

namespace {

namespace fs = std::filesystem;

class NextInput : public InputTest {
  protected:
    int Write() {
        return Call([] { return KivWriteInputParm(Kiv); });
    }

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
        ASSERT_EQ(Read(text), 1) << name;
        ASSERT_EQ(Write(), 1) << name;
        EXPECT_EQ(ReadText(Kiv.Out_Base + ".in"s), text) << name;
    }
}

// Every slot survives, from whatever version it came, and files with the temporary names are kept.
TEST_F(NextInput, IsReadBack) {
    WriteText("base_name.in.tmp", "mine");
    WriteText("base_name.in.tmp1", "mine too");
    for (const char* name : {"v5.6", "status", "ground", "v5.3", "v4.2", "v3.1"}) {
        ASSERT_EQ(Read(Sample(name + ".in"s)), 1);
        const std::string slots = Slots();
        ASSERT_EQ(Write(), 1);
        EXPECT_EQ(Console, "");
        const std::string once = ReadText("base_name.in");
        ASSERT_EQ(Read(once), 1) << Console;
        EXPECT_STREQ(Kiv.Inp_Version, "v5.6");
        EXPECT_EQ(Slots(), slots) << name;
        ASSERT_EQ(Write(), 1);
        EXPECT_EQ(ReadText("base_name.in"), once) << name;
    }
    EXPECT_EQ(ReadText("base_name.in.tmp") + ReadText("base_name.in.tmp1"), "minemine too");
    EXPECT_EQ(std::distance(fs::directory_iterator("."), fs::directory_iterator()), 4);
}

TEST_F(NextInput, ReductionNamesTheDistortionConstants) {
    OpenLog();
    Kiv.Debug_Stat[DBG_ALL] = 1;
    for (std::int32_t reduction : {0, 1, 2, 3, 7}) {
        Kiv.Red_Stat = reduction;
        ASSERT_EQ(Write(), 1);
        const std::string text = ReadText("Kiv.in");
        for (int state : {ST_GND, ST_EXC}) {
            const bool is_a = reduction == 1 || reduction == 2 + state;
            const std::string head = "# "s + Kiv.State_Lbl[state] + " STATE ";
            EXPECT_NE(text.find(head + (is_a ? "<dJ> & <dK>" : "<d1> & <d2>") +
                                " WATSON D DISTORTION:\n"),
                      text.npos);
        }
    }
    EXPECT_TRUE(LogText().ends_with("ENTER KivWriteInputParm()\nEXIT KivWriteInputParm()\n"));
}

// A comment that reads as none, as old files and front ends may have it, must not shift the file.
TEST_F(NextInput, EveryCommentIsReadBack) {
    const std::string longest = std::string(498, 'c') + "\n";
    const std::pair<std::string, std::string> cases[] = {{"# old \n", "old \n"},
                                                         {"## \t\n", "NO COMMENT\n"},
                                                         {"", "NO COMMENT\n"},
                                                         {"no line end", "no line end\n"},
                                                         {longest, longest}};
    for (const auto& [written, read] : cases) {
        std::strcpy(Kiv.Comment, written.c_str());
        ASSERT_EQ(Write(), 1);
        ASSERT_EQ(Read(ReadText("Kiv.in")), 1) << written;
        EXPECT_EQ(Kiv.Comment, read);
        EXPECT_STREQ(Kiv.Out_Base, "Kiv");
    }
}

// A full device, a folder in the way, a missing folder; the file goes through a temporary one.
TEST_F(NextInput, FailuresAreNamedAndLeaveNothing) {
    fs::create_symlink("/dev/full", "Kiv.in");
    ExpectFailure("Kiv.in");
    fs::remove("Kiv.in");
    fs::create_directory("Kiv.in");
    ExpectFailure("Kiv.in");
    std::strcpy(Kiv.Out_Base, "none/Kiv");
    ExpectFailure("none/Kiv.in");
    EXPECT_EQ(std::distance(fs::directory_iterator("."), fs::directory_iterator()), 1);
}

}  // namespace
