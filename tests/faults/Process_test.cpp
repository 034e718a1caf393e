// The program itself, as a process: its streams, its surroundings, the end of large runs.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "faults/FaultTest.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;

class Process : public FaultTest {
  protected:
    // Starts the program on `input` with no console.
    static pid_t Start(const std::string& input) {
        pid_t child = -1;
        char name[] = "kiv";
        std::string copy = input;
        char* argv[] = {name, copy.data(), nullptr};
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        if (posix_spawn(&child, KIV_PROGRAM, &files, nullptr, argv, environ) != 0) child = -1;
        posix_spawn_file_actions_destroy(&files);
        return child;
    }

    static int WaitFor(pid_t child) {
        int status = -1;
        waitpid(child, &status, 0);
        return status;
    }
};

// What a console does cannot cost a run its results.
TEST_F(Process, ResultsDoNotDependOnTheConsole) {
    const RunKind kind = KindOf("fit");
    const Files after = Whole(kind);
    const std::function<void()> starts[] = {
        [] { close(STDOUT_FILENO); },
        [] {
            for (int fd : {0, 1, 2}) close(fd);
        },
        [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); },
        [] {
            int ends[2];
            if (pipe(ends) != 0) _exit(99);
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            signal(SIGPIPE, SIG_DFL);
        }};
    for (const auto& start : starts) {
        Prepare(kind);
        const Ended ended = RunApart(kind, start);
        ASSERT_TRUE(WIFEXITED(ended.Status));
        EXPECT_EQ(WEXITSTATUS(ended.Status), 0);
        EXPECT_EQ(Changes(after), "");
        EXPECT_NE(ReadText("run.log").find("PHASE 0"), std::string::npos);
        EXPECT_EQ(ReadText("run.log").find("PHASE    0"), std::string::npos) << "console in log";
    }
}

// A decimal comma in the user's settings, a foreign alphabet and blanks in a path.
TEST_F(Process, SurroundingsDoNotChangeTheResults) {
    const RunKind kind = KindOf("fit");
    const Files after = Whole(kind);
    Prepare(kind);
    const std::string folder = "s\xC3\xBC\xC3\x9F \xE2\x84\xAB  name";
    fs::create_directory(folder);
    fs::rename("run.in", folder + "/in put.in");
    ASSERT_EQ(setenv("LC_ALL", "de_DE.UTF-8", 1), 0);
    const int status = WaitFor(Start(folder + "/in put.in"));
    unsetenv("LC_ALL");
    EXPECT_EQ(status, 0);
    fs::remove_all(folder);
    EXPECT_EQ(Changes(after), "");
}

// Names as long as a file system takes them, in a path longer than any of them.
TEST_F(Process, LongNamesAreNotCut) {
    RunKind kind = KindOf("real");
    const std::string base(199, 'b'), lines = std::string(195, 'a') + ".asn";
    kind.Input.Names = base + " " + lines + " n";
    Prepare(kind);
    const std::string folder = std::string(200, 'f') + "/" + std::string(200, 'g');
    fs::create_directories(folder);
    WriteText(folder + "/run.in", kind.Input.Text());
    EXPECT_EQ(WaitFor(Start(folder + "/run.in")), 0);
    for (const char* end : {".log", ".QZS", ".asc", ".in"}) {
        EXPECT_TRUE(fs::exists(base + end)) << end;
    }
}

TEST_F(Process, RunsInSeparateFoldersDoNotTouchEachOther) {
    const RunKind kind = KindOf("scan");
    const Files after = Whole(kind);
    Prepare(kind);
    const Files before = Results();
    pid_t children[2];
    for (int i = 0; i < 2; ++i) {
        const fs::path folder = i == 0 ? "one" : "two";
        fs::create_directory(folder);
        for (const auto& [name, text] : before) WriteText(folder / name, text);
        fs::current_path(folder);
        children[i] = Start("run.in");
        fs::current_path("..");
    }
    for (int i = 0; i < 2; ++i) EXPECT_EQ(WaitFor(children[i]), 0);
    for (const fs::path folder : {"one", "two"}) {
        for (const auto& [name, text] : after) {
            EXPECT_TRUE(ReadText(folder / name) == text) << folder << name;
        }
    }
}

// A run of many lines, told to end at several moments, among them while it writes its line set.
TEST_F(Process, LargeRunEndsPromptly) {
    using Clock = std::chrono::steady_clock;
    RunKind kind = KindOf("real");
    kind.Input.Range = "45 90 0.0";  // 300,000 lines
    Prepare(kind);
    const Files before = Results();
    int ended = 0;
    for (int delay : {0, 5, 50, 200, -1, -1}) {  // ms; -1: until the line set is being written
        for (int sig : {SIGINT, SIGTERM}) {
            Prepare(kind);
            const pid_t child = Start("run.in");
            ASSERT_GT(child, 0);
            if (delay >= 0) std::this_thread::sleep_for(std::chrono::milliseconds(delay));
            const auto give_up = Clock::now() + std::chrono::seconds(60);
            while (delay < 0 && Changes(before).empty() && Clock::now() < give_up) usleep(100);
            const auto told = Clock::now();
            kill(child, sig);
            const int status = WaitFor(child);
            EXPECT_LT(Clock::now() - told, std::chrono::seconds(2));
            if (!WIFSIGNALED(status)) continue;  // it was faster
            ++ended;
            EXPECT_EQ(WTERMSIG(status), sig);
            EXPECT_FALSE(fs::exists("run.QZS.tmp") || fs::exists("run.asc.tmp")) << delay;
            // as it was or, at the very end of a run, the whole next input
            const std::string input = ReadText("run.in");
            const std::string rule(80, '#');
            EXPECT_TRUE(input == kind.Input.Text() || input.ends_with(rule + "\n")) << delay;
        }
    }
    EXPECT_GE(ended, 2);
}

}  // namespace
