// Files that cannot be written: disks that fill up after any number of bytes, full devices, folders
// and files that take nothing.
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "support/ConsoleTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

class FullDisk : public ConsoleTest, public testing::WithParamInterface<RunKind> {};

// No file may grow beyond a limit, as on a full disk or by a quota. Whatever the limit, the run
// ends by itself, names the file that failed, and leaves every file as it was or whole.
TEST_P(FullDisk, EndsTheRunWithTheNameOfTheFile) {
    const RunKind& kind = GetParam();
    const Files after = Whole(kind);
    Prepare(kind);
    const Files before = Results();
    std::size_t largest = ReadText("input.log").size();
    for (const auto& [name, text] : after) largest = std::max(largest, text.size());
    int failed = 0;
    const std::size_t steps = kind.name == "scan" ? 12 : 60;
    for (std::size_t limit = 0; limit <= largest; limit += 1 + largest / steps) {
        Prepare(kind);
        const Ended ended = RunApart(kind, [limit] {
            const rlimit small = {limit, limit};
            setrlimit(RLIMIT_FSIZE, &small);
        });
        ASSERT_TRUE(WIFEXITED(ended.status)) << limit;
        ExpectWhole(before, after, {"KivScan.txt", "TEMP.TMP"});
        if (Results() == after) continue;
        ++failed;
        const std::string told = ended.console + ReadText("input.log");
        EXPECT_TRUE(Has(told, "ERROR ON INPUT FILE") || Has(told, "FAILED TO CREATE")) << told;
        ASSERT_FALSE(HasFailure()) << "limit " << limit;
    }
    EXPECT_GT(failed, 3);
}

INSTANTIATE_TEST_SUITE_P(, FullDisk, testing::ValuesIn(ConsoleTest::AllKinds()), KindName);

// Each in turn as a full device: the log is the least of the results, all others end the run.
TEST_F(FullDisk, NamesTheFullDevice) {
    const std::string to_write = " FOR WRITING!";
    struct {
        const char *kind, *debug, *device, *message;
        bool is_whole;
    } const cases[] = {
        {"fit", "0 0 0 0 0 0", "input.log", "FAILED TO CREATE ASCII LOG FILE input.log", true},
        {"fit", "0 0 1 0 0 0", "Kiv95_Debug.log",
         "FAILED TO CREATE ASCII DEBUG FILE Kiv95_Debug.log", true},
        {"scan", "0 0 0 0 0 0", "KivScan.txt", "FAILED TO CREATE ASCII FILE [KivScan.txt]", false},
    };
    for (const auto& c : cases) {
        RunKind kind = KindOf(c.kind);
        const std::string none = "\n  0          0          0          0          0          0\n";
        kind.input = With(kind.input, {{none, "\n" + std::string(c.debug) + "\n"}});
        const Files after = Whole(kind);
        Prepare(kind);
        const Files before = Results();
        fs::create_symlink("/dev/full", c.device);
        const Ran ran = RunFile();
        EXPECT_EQ(ran.status, 0);
        EXPECT_EQ(ran.pauses, c.is_whole ? std::vector<int>{} : std::vector<int>{3});
        EXPECT_TRUE(Has(ran.console, c.message + to_write)) << ran.console;
        fs::remove(c.device);
        EXPECT_TRUE(Results() == (c.is_whole ? after : before));
    }
}

TEST_F(FullDisk, FoldersInTheWayAreNamed) {
    const RunKind kind = KindOf("real");
    for (const std::string name : {"input.log", "input.QZS", "input.asc", "lines.asn"}) {
        Prepare(kind);
        fs::remove(name);
        fs::create_directory(name);
        const Ran ran = RunFile();
        const std::string told = ran.console + FilesIn(".")["input.log"];
        EXPECT_TRUE(Has(told, name == "lines.asn" ? "[lines.asn] EXISTS BUT ZERO LINES ACCEPTED!"
                                                  : "FAILED TO CREATE"))
            << told;
        EXPECT_TRUE(Has(told, name) && fs::is_directory(name)) << told;
    }
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
    EXPECT_TRUE(WIFEXITED(ended.status) && WEXITSTATUS(ended.status) == 0);
    for (const char* file : {"LOG FILE input.log FOR", "[input.QZS] FOR"}) {
        EXPECT_TRUE(Has(ended.console, file)) << ended.console;
    }
    EXPECT_TRUE(Results() == before);
}

}  // namespace
}  // namespace kiv
