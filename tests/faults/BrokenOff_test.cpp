// Runs that are ended from outside, at every system call they make.
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/ConsoleTest.h"

namespace kiv {
namespace {

class BrokenOff : public ConsoleTest, public testing::WithParamInterface<RunKind> {
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

    // Ends the run at each of its calls; counts those that ended by their signal.
    static void EndAtEveryCall(const RunKind& kind, std::vector<int> signals,
                               std::initializer_list<const char*> spare, int& calls, int& ended) {
        const Files after = Whole(kind);
        Prepare(kind);
        const Files before = Results();
        int status = 0;
        for (calls = ended = 0;; ++calls) {
            const int sig = signals[static_cast<std::size_t>(calls) % signals.size()];
            Prepare(kind);
            if (!EndAtCall(kind, calls + 1, sig, status)) break;
            if (WIFSIGNALED(status)) {
                ++ended;
                EXPECT_EQ(WTERMSIG(status), sig);
            }
            ExpectWhole(before, after, spare);
            ASSERT_FALSE(HasFailure()) << "system call " << calls + 1;
        }
        EXPECT_TRUE(Results() == after) << "the last run was not ended";
        EXPECT_GT(calls, 40);
    }

    void SetUp() override {
        ConsoleTest::SetUp();
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
    int calls = 0, ended = 0;
    EndAtEveryCall(GetParam(), {SIGKILL}, {".tmp", "TEMP.TMP"}, calls, ended);
    EXPECT_EQ(ended, calls);
}

// A request to end is followed at once, unless it comes at the very end, and no temporary file
// stays.
TEST_P(BrokenOff, SignalLeavesNoTemporaryFile) {
    int calls = 0, ended = 0;
    EndAtEveryCall(GetParam(), {SIGTERM, SIGINT, SIGHUP}, {}, calls, ended);
    EXPECT_GT(ended, calls * 9 / 10);
}

INSTANTIATE_TEST_SUITE_P(, BrokenOff,
                         testing::Values(ConsoleTest::KindOf("fit"), ConsoleTest::KindOf("old")),
                         KindName);

}  // namespace
}  // namespace kiv
