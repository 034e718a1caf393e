// Runs that are ended from outside, at every system call they make.
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "faults/FaultTest.h"

namespace {

namespace fs = std::filesystem;

class BrokenOff : public FaultTest, public testing::WithParamInterface<RunKind> {
  protected:
    // Runs `kind` and sends it `sig` when it is about to make its system call number `number`.
    // False when it made fewer.
    static bool EndAtCall(const RunKind& kind, int number, int sig, int& status) {
        std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            if (!std::freopen("/dev/null", "w", stdout)) _exit(99);
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            raise(SIGSTOP);
            _exit(RunAsProgram(kind));
        }
        waitpid(child, &status, 0);
        ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD);
        bool sent = false;
        int calls = 0, deliver = 0;
        for (bool entry = true; WIFSTOPPED(status);) {
            ptrace(PTRACE_SYSCALL, child, nullptr, deliver);
            if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) break;
            deliver = 0;
            if (WSTOPSIG(status) != (SIGTRAP | 0x80)) {
                deliver = WSTOPSIG(status);
                continue;
            }
            if (entry && ++calls == number) {
                kill(child, sig);
                sent = true;
            }
            entry = !entry;
        }
        return sent;
    }

    void SetUp() override {
        FaultTest::SetUp();
        const pid_t child = fork();
        if (child == 0) _exit(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 ? 0 : 1);
        int status = 0;
        waitpid(child, &status, 0);
        if (status != 0) GTEST_SKIP() << "tracing is not allowed here";
    }
};

// A crash at any moment, the power failing included, leaves every file as it was or whole: the
// input file that the run replaces, the assignment file that is converted, earlier results.
TEST_P(BrokenOff, CrashLeavesEveryFileWhole) {
    const RunKind& kind = GetParam();
    const Files after = Whole(kind);
    Prepare(kind);
    const Files before = Results();
    int number = 1, status = 0;
    for (;; ++number) {
        Prepare(kind);
        if (!EndAtCall(kind, number, SIGKILL, status)) break;
        ASSERT_TRUE(WIFSIGNALED(status));
        ExpectWhole(before, after, {".tmp", "TEMP.TMP"});
        ASSERT_FALSE(HasFailure()) << "system call " << number;
    }
    EXPECT_EQ(Changes(after), "") << "the last run was not ended";
    EXPECT_GT(number, 40);
    RecordProperty("calls", number - 1);
}

// A request to end is followed at once, and no temporary file stays.
TEST_P(BrokenOff, SignalLeavesNoTemporaryFile) {
    const RunKind& kind = GetParam();
    const Files after = Whole(kind);
    Prepare(kind);
    const Files before = Results();
    int number = 1, status = 0, ended = 0;
    for (;; ++number) {
        const int sig = number % 2 == 0 ? SIGINT : SIGTERM;
        Prepare(kind);
        if (!EndAtCall(kind, number, sig, status)) break;
        if (WIFSIGNALED(status)) {  // a signal at the very end comes too late
            ++ended;
            EXPECT_EQ(WTERMSIG(status), sig);
        }
        ExpectWhole(before, after);
        ASSERT_FALSE(HasFailure()) << "system call " << number;
    }
    EXPECT_GT(ended, number * 9 / 10);
    RecordProperty("calls", number - 1);
}

INSTANTIATE_TEST_SUITE_P(, BrokenOff,
                         testing::Values(FaultTest::KindOf("fit"), FaultTest::KindOf("old")),
                         [](const auto& c) { return std::string(c.param.Name); });

}  // namespace
