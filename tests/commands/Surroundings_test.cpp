// Commands in bad surroundings: whatever happens, nothing of the user's is lost and nothing is left
// half-written.
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "support/CommandTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

class Surrounded : public CommandTest {
  protected:
    void SetUp() override {
        CommandTest::SetUp();
        input_ = WriteFit();
    }

    // Results of an earlier run, which a failed one must not touch.
    Files WriteEarlier() const {
        for (const char* name : {"rotor.asc", "rotor.QZS", "rotor.log", "rotor.fit.toml"}) {
            WriteText(name, "earlier");
        }
        return AllFiles();
    }

    std::string input_;
};

TEST_F(Surrounded, FullDiskLeavesEverythingAsItWas) {
    const Files before = WriteEarlier();
    for (const int blocks : {0, 1, 2, 4}) {  // of 512 bytes
        const Ended ended = Kiv("run rotor.toml", "ulimit -f " + std::to_string(blocks) + ";");
        EXPECT_EQ(ended.status, 5) << ended.err;
        EXPECT_TRUE(Has(ended.err, "kiv: cannot write rotor.")) << ended.err;
        EXPECT_TRUE(Has(ended.err, "File too large")) << ended.err;
        EXPECT_EQ(ended.out, "");
        EXPECT_TRUE(AllFiles() == before) << blocks;
    }
    EXPECT_EQ(Kiv("new -o mine.toml", "ulimit -f 0;").status, 5);
    EXPECT_FALSE(fs::exists("mine.toml"));
    for (const char* words : {"help > /dev/full", "check rotor.toml > /dev/full",
                              "run rotor.toml --json > /dev/full", "new -o /dev/full"}) {
        const Ended ended = Kiv(words);
        EXPECT_EQ(ended.status, 5) << words;
        EXPECT_TRUE(Has(ended.err, "No space left on device")) << words;
    }
}

TEST_F(Surrounded, FoldersThatTakeNoFiles) {
    const std::string nobody = "setpriv --reuid=65534 --clear-groups";
    if (Kiv("--version", nobody).status != 0) GTEST_SKIP() << "no other user here";
    fs::permissions(".", fs::perms(0555));
    const Files before = AllFiles();
    const Ended run = Kiv("run rotor.toml", nobody);
    EXPECT_EQ(run.status, 5);
    EXPECT_TRUE(Has(run.err, "kiv: cannot write rotor.log: Permission denied")) << run.err;
    EXPECT_EQ(Kiv("check rotor.toml", nobody).status, 0);
    EXPECT_EQ(Kiv("new -o x.toml", nobody).status, 5);
    EXPECT_EQ(Kiv("run rotor.toml --out missing/x", nobody).status, 5);
    fs::permissions("rotor.toml", fs::perms::none);
    const Ended unreadable = Kiv("run rotor.toml", nobody);
    EXPECT_EQ(unreadable.status, 5);
    EXPECT_EQ(unreadable.err, "kiv: cannot read rotor.toml: Permission denied\n");
    fs::permissions("rotor.toml", fs::perms(0644));
    fs::permissions("lines.csv", fs::perms::none);
    EXPECT_EQ(CodesOf(Kiv("run rotor.toml", nobody).err),
              std::vector<std::string>{"no-such-file:14"});
    fs::permissions("lines.csv", fs::perms(0644));
    fs::permissions(".", fs::perms(0755));
    EXPECT_TRUE(AllFiles() == before);
}

TEST_F(Surrounded, ClosedStreamsAndPipes) {
    ASSERT_EQ(Kiv("run rotor.toml").status, 0);
    const Files whole = AllFiles();
    for (const char* closed : {"<&-", ">&-", "2>&-", "<&- >&- 2>&-", "< /dev/null"}) {
        for (const char* made : {"rotor.asc", "rotor.QZS", "rotor.log", "rotor.fit.toml"}) {
            fs::remove(made);
        }
        EXPECT_EQ(Kiv(std::string("run rotor.toml ") + closed).status, 0) << closed;
        EXPECT_TRUE(AllFiles() == whole) << closed;
    }
    Kiv("--version; { sleep 0.2; '" KIV_PROGRAM "' help; echo $? > pipe.txt; } 2> said.txt | true");
    EXPECT_EQ(ReadText("pipe.txt"), "141\n");
    EXPECT_EQ(ReadText("said.txt"), "");
}

TEST_F(Surrounded, InputFromStandardInput) {
    const Ended checked = Kiv("check - < rotor.toml");
    EXPECT_EQ(checked.status, 0);
    EXPECT_EQ(Kiv("check - < rotor.toml --json").out, "[]\n");
    EXPECT_EQ(Kiv("run - < rotor.toml").status, 2) << "no name for the results";
    EXPECT_EQ(Kiv("run - --out there < rotor.toml").status, 0);
    EXPECT_TRUE(fs::exists("there.asc"));
    WriteText("broken.toml", "kiv = 1\n[lower]\nA = 1,5\n");
    EXPECT_TRUE(Has(Kiv("check - < broken.toml").err, "<stdin>:3:5: error: "));
    EXPECT_EQ(Kiv("check - <&-").status, 3) << "an empty text is no input";
}

TEST_F(Surrounded, RunsAtOnceDoNotDisturbEachOther) {
    ASSERT_EQ(Kiv("run rotor.toml").status, 0);
    const Files whole = AllFiles();
    const Ended ended = Kiv("--version; for n in 1 2 3 4 5 6 7 8; do { '" KIV_PROGRAM
                            "' run rotor.toml > /dev/null || echo failed >&2; } & done; wait");
    EXPECT_EQ(ended.err, "");
    EXPECT_TRUE(AllFiles() == whole);
}

TEST_F(Surrounded, SignalsEndARunWithNothingHalfWritten) {
    std::string large = input_.substr(0, input_.find("fit = "));
    large += "[moment]\nmu = [1.0, 1.0, 1.0]\n[spectrum]\nJ_max = 60\n";
    WriteText("rotor.toml", large);
    const Files before = WriteEarlier();
    int ended = 0;
    for (const int milliseconds : {0, 20, 100, 300}) {
        for (const int sig : {SIGINT, SIGTERM, SIGHUP}) {
            const pid_t child = fork();
            if (child == 0) {
                if (!freopen("/dev/null", "w", stdout)) _exit(99);
                execl(KIV_PROGRAM, KIV_PROGRAM, "run", "rotor.toml", nullptr);
                _exit(99);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
            kill(child, sig);
            int status = 0;
            waitpid(child, &status, 0);
            if (!WIFSIGNALED(status)) continue;  // it was faster
            EXPECT_EQ(WTERMSIG(status), sig);
            ++ended;
            for (const auto& [name, text] : AllFiles()) {
                EXPECT_TRUE(before.contains(name)) << name;
                EXPECT_TRUE(text == before.at(name) || text.size() > 100) << name;
            }
        }
    }
    EXPECT_GT(ended, 0);
}

}  // namespace
}  // namespace kiv
