// Files that cannot be written: disks that fill up after any number of bytes, full devices, folders
// and files that take nothing.
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "faults/FaultTest.h"
#include "run/KivServices.h"

namespace {

namespace fs = std::filesystem;

class FullDisk : public FaultTest, public testing::WithParamInterface<RunKind> {
  protected:
    static std::string Told(const Ended& ended) { return ended.Console + ReadText("run.log"); }

    static bool Names(const std::string& told, const std::string& name) {
        return told.find("FAILED TO CREATE") != std::string::npos &&
               told.find(name) != std::string::npos;
    }
};

// No file may grow beyond a limit, as on a full disk or by a quota. Whatever the limit, the run
// ends by itself, names the file that failed, and leaves every file as it was or whole.
TEST_P(FullDisk, EndsTheRunWithTheNameOfTheFile) {
    const RunKind& kind = GetParam();
    const Files after = Whole(kind);
    Prepare(kind);
    const Files before = Results();
    std::size_t largest = ReadText("run.log").size();
    for (const auto& [name, text] : after) largest = std::max(largest, text.size());
    int failed = 0;
    const std::size_t steps = kind.Name == std::string("scan") ? 12 : 60;
    for (std::size_t limit = 0; limit <= largest; limit += 1 + largest / steps) {
        Prepare(kind);
        const Ended ended = RunApart(kind, [limit] {
            const rlimit small = {limit, limit};
            setrlimit(RLIMIT_FSIZE, &small);
        });
        ASSERT_TRUE(WIFEXITED(ended.Status)) << limit;
        ExpectWhole(before, after, {"KivScan.txt", "TEMP.TMP"});
        EXPECT_FALSE(fs::exists("run.in.tmp") || fs::exists("run.QZS.tmp"));
        if (Changes(after).empty()) continue;
        ++failed;
        const bool refused = ended.Console.find("ERROR ON INPUT FILE") != std::string::npos;
        EXPECT_TRUE(refused || Told(ended).find("FAILED TO CREATE") != std::string::npos)
            << limit << "\n"
            << Told(ended);
        ASSERT_FALSE(HasFailure()) << "limit " << limit;
    }
    EXPECT_GT(failed, 3);
    RecordProperty("full_disks", failed);
}

INSTANTIATE_TEST_SUITE_P(, FullDisk, testing::ValuesIn(FaultTest::AllKinds()),
                         [](const auto& c) { return std::string(c.param.Name); });

// The log is the least of the results.
TEST_F(FullDisk, OfTheLogCostsNothingElse) {
    const RunKind kind = KindOf("fit");
    const Files after = Whole(kind);
    Prepare(kind);
    fs::remove("run.log");
    fs::create_symlink("/dev/full", "run.log");
    std::string console;
    EXPECT_EQ(RunHere(kind, console), 0);
    EXPECT_TRUE(Waits().empty());
    EXPECT_TRUE(
        console.ends_with("PHASE    X - PROGRAM TERMINATION\n"
                          "FAILED TO CREATE ASCII LOG FILE run.log FOR WRITING!\n"))
        << console;
    fs::remove("run.log");
    EXPECT_EQ(Changes(after), "");

    RunKind debug = kind;
    debug.Input.Debug = "0 0 1 0 0 0";
    const Files debugged = Whole(debug);
    Prepare(debug);
    fs::create_symlink("/dev/full", "Kiv95_Debug.log");
    EXPECT_EQ(RunHere(debug, console), 0);
    EXPECT_TRUE(
        console.ends_with("FAILED TO CREATE ASCII DEBUG FILE Kiv95_Debug.log FOR WRITING!"));
    fs::remove("Kiv95_Debug.log");
    EXPECT_EQ(Changes(debugged), "");
}

TEST_F(FullDisk, OfTheScanTableStopsTheScan) {
    const RunKind kind = KindOf("scan");
    Prepare(kind);
    const Files before = Results();
    fs::create_symlink("/dev/full", "KivScan.txt");
    std::string console;
    EXPECT_EQ(RunHere(kind, console), 0);
    EXPECT_EQ(Waits(), std::vector<int>{3});
    EXPECT_NE(console.find("FAILED TO CREATE ASCII FILE [KivScan.txt] FOR WRITING!\n"),
              std::string::npos);
    fs::remove("KivScan.txt");
    EXPECT_EQ(Changes(before), "");
}

TEST_F(FullDisk, FoldersInTheWayAreNamed) {
    const RunKind kind = KindOf("real");
    for (const char* name : {"run.log", "run.QZS", "run.asc"}) {
        Prepare(kind);
        fs::remove(name);
        fs::create_directory(name);
        std::string console;
        EXPECT_EQ(RunHere(kind, console), 0);
        EXPECT_TRUE(
            Names(console + (fs::is_regular_file("run.log") ? ReadText("run.log") : ""), name))
            << name;
        EXPECT_TRUE(fs::is_directory(name));
    }
    Prepare(kind);
    fs::create_directory("lines");
    RunKind folder = kind;
    folder.Input.Names = "run lines next.in";
    WriteText("run.in", folder.Input.Text());
    std::string console;
    EXPECT_EQ(RunHere(folder, console), 0);
    EXPECT_NE(ReadText("run.log").find("[lines] EXISTS BUT ZERO LINES ACCEPTED!"),
              std::string::npos);
}

// As a user without rights in the folder: nothing is written, everything is told.
TEST_F(FullDisk, ReadOnlyFolderKeepsWhatItHolds) {
    const RunKind kind = KindOf("fit");
    Prepare(kind);
    const Files before = Results();
    for (const auto& file : before) fs::permissions(file.first, fs::perms(0444));
    fs::permissions(".", fs::perms(0555));
    const Ended ended = RunApart(kind, [] {
        if (geteuid() == 0 && setuid(65534) != 0) _exit(99);
    });
    fs::permissions(".", fs::perms(0755));
    EXPECT_TRUE(WIFEXITED(ended.Status));
    EXPECT_EQ(WEXITSTATUS(ended.Status), 0);
    EXPECT_TRUE(Names(ended.Console, "run.log")) << ended.Console;
    EXPECT_TRUE(Names(ended.Console, "[run.QZS]")) << ended.Console;
    EXPECT_EQ(Changes(before), "");
}

}  // namespace
