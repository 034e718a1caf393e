// The program itself, as a process: its arguments, its streams, its surroundings, its end.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "kiv/files.h"
#include "support/ConsoleTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

class Process : public ConsoleTest {
  protected:
    // Exit status of a shell with these commands, in which $kiv is the program.
    static int Shell(const std::string& commands) {
        const int status = std::system(("kiv='" KIV_PROGRAM "'; " + commands).c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

TEST_F(Process, Arguments) {
    WriteText("input.in", InputText());
    const auto start = Clock::now();
    Shell(
        "{ $kiv; echo $?; } > usage & { $kiv nowhere; echo $?; } > none & $kiv input.in > run; "
        "wait");
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(5)) << "so that it can be read";
    EXPECT_EQ(ReadText("usage"), "USAGE: Kiv95.exe 'INPUT FILENAME (*.in)' : ABORTED!\n0\n");
    EXPECT_EQ(ReadText("none"),
              "FAILED TO OPEN KIV INPUT FILE [nowhere] FOR READING!\n"
              "ERROR ON INPUT FILE [nowhere]!\n1\n");
    EXPECT_TRUE(ReadText("run").ends_with("PHASE    X - PROGRAM TERMINATION\n"));
}

TEST_F(Process, AnswersComeFromStandardInput) {
    const RunKind kind = KindOf("old");
    const Files after = Whole(kind);
    Prepare(kind);
    EXPECT_EQ(Shell("echo '" + kind.answers + "' | $kiv input.in > /dev/null"), 0);
    EXPECT_TRUE(Results() == after);
}

// What a console does cannot cost a run its results.
TEST_F(Process, ResultsDoNotDependOnTheConsole) {
    const RunKind kind = KindOf("fit");
    Whole(kind);
    const Files after = FilesIn(".");
    for (const char* run : {"$kiv input.in >&-", "$kiv input.in <&- >&- 2>&-",
                            "$kiv input.in > /dev/full", "{ sleep 0.1; $kiv input.in; } | true"}) {
        Prepare(kind);
        EXPECT_EQ(Shell(run), 0);
        EXPECT_TRUE(FilesIn(".") == after) << run;  // the log without the console's lines
    }
}

// A decimal comma in the user's settings, a foreign alphabet and blanks in a path, another run.
TEST_F(Process, ResultsDoNotDependOnSurroundings) {
    const RunKind kind = KindOf("scan");
    const Files after = Whole(kind);
    Prepare(kind);
    const Files before = Results();
    const std::string folders[] = {"one", "s\xC3\xBC\xC3\x9F \xE2\x84\xAB  name"};
    for (const fs::path folder : folders) {
        fs::create_directory(folder);
        for (const auto& [name, text] : before) WriteText(folder / name, text);
    }
    fs::rename("input.in", "in put.in");
    EXPECT_EQ(Shell("for folder in one s*e; do (cd \"$folder\" && LC_ALL=de_DE.UTF-8 $kiv "
                    "'../in put.in' > /dev/null) & done; wait"),
              0);
    for (const std::string& folder : folders) EXPECT_TRUE(Results(folder) == after) << folder;
}

// Names as long as a file system takes them, in a path longer than any of them.
TEST_F(Process, LongNamesAreNotCut) {
    const std::string base(199, 'b'), lines = std::string(195, 'a') + ".asn";
    const std::string folder = std::string(200, 'f') + "/" + std::string(200, 'g');
    fs::create_directories(folder);
    WriteText(folder + "/run.in", InputText({{"OUT BASE", base + " " + lines + " n"}}));
    WriteText(lines, KindOf("fit").lines);
    EXPECT_EQ(Shell("$kiv f*/g*/run.in > /dev/null"), 0);
    for (const char* end : {".log", ".QZS", ".asc", ".in"}) EXPECT_TRUE(fs::exists(base + end));
    EXPECT_TRUE(Has(ReadText(base + ".log"), "NUMBER OF ASSIGNED LINES          = 12\n"));
}

// One run in the same process as others, those that fail included, is what it is alone.
TEST_F(Process, RunsOneAfterTheOtherDoNotTouchEachOther) {
    std::vector<RunKind> kinds = AllKinds();
    std::erase_if(kinds, [](const RunKind& kind) { return kind.name == "scan"; });
    kinds.push_back({"no lines", InputText({{"MAX J", "0 2 0.0"}}), "", ""});
    kinds.push_back({"no unit", InputText({{"TEMPERATURES", "0 0 0 GHz"}}), "", ""});
    const RunKind fit = KindOf("fit");
    kinds.push_back({"no data", With(fit.input, {{"\n1 1\n", "\n7 1\n"}}), fit.lines, ""});
    std::vector<std::pair<std::string, Files>> alone;
    for (const RunKind& kind : kinds) {
        Prepare(kind);
        const Ended ended = RunApart(kind);
        alone.emplace_back(ended.console, FilesIn("."));
    }
    for (std::size_t i = 0; i < 2 * kinds.size(); ++i) {  // and once more in the other order
        const std::size_t k = std::min(i, 2 * kinds.size() - 1 - i);
        Prepare(kinds[k]);
        EXPECT_EQ(RunFile("input.in", kinds[k].answers).console, alone[k].first);
        EXPECT_TRUE(FilesIn(".") == alone[k].second) << kinds[k].name;
    }
}

// A run of 560,000 lines where addresses are few, and where they are too few.
TEST_F(Process, LargeRunNeedsFewAddresses) {
    if (Shell("ulimit -v 65536; $kiv --version > out 2>&1") != 0) GTEST_SKIP() << "not enough";
    for (const int kilobytes : {65536, 30720}) {
        WriteText("input.in", InputText({{"MAX J", "100 2 0.0"}}));
        EXPECT_EQ(Shell("ulimit -v " + std::to_string(kilobytes) + "; $kiv input.in > out"), 0);
        const std::string told = ReadText("out") + ReadText("input.log");
        EXPECT_EQ(Has(told, " - CORE ALLOCATION ERROR!\n"), kilobytes == 30720) << told;
        EXPECT_EQ(fs::remove("input.QZS"), kilobytes == 65536);
    }
}

// A run of many lines, told to end at several moments, among them while it writes its line set.
TEST_F(Process, LargeRunEndsPromptly) {
    RunKind kind = KindOf("real");
    kind.input = InputText({{"MAX J", "45 90 0.0"}});  // 300,000 lines
    Prepare(kind);
    const Files before = Results();
    int ended = 0;
    for (const int delay : {0, 5, 50, 200, -1, -1}) {  // ms; -1: until the line set is written
        for (const int sig : {SIGINT, SIGTERM}) {
            Prepare(kind);
            const pid_t child = fork();
            if (child == 0) _exit(std::freopen("/dev/null", "w", stdout) ? RunAsProgram(kind) : 99);
            if (delay >= 0) usleep(static_cast<useconds_t>(1000 * delay));
            const auto give_up = Clock::now() + std::chrono::seconds(60);
            while (delay < 0 && Results() == before && Clock::now() < give_up) usleep(100);
            const auto told = Clock::now();
            int status = 0;
            kill(child, sig);
            waitpid(child, &status, 0);
            EXPECT_LT(Clock::now() - told, std::chrono::seconds(2));
            if (!WIFSIGNALED(status)) continue;  // it was faster
            ++ended;
            EXPECT_FALSE(fs::exists("input.QZS.tmp") || fs::exists("input.asc.tmp")) << delay;
            // as it was or, at the very end of a run, the whole next input
            const std::string input = ReadText("input.in");
            EXPECT_TRUE(input == kind.input || input.ends_with(std::string(80, '#') + "\n"));
        }
    }
    EXPECT_GE(ended, 2);
}

}  // namespace
}  // namespace kiv
