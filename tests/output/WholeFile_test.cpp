// Result files appear whole or not at all.
#include "output/WholeFile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>

#include "support/KivTest.h"

namespace {

namespace fs = std::filesystem;

class WholeFileTest : public KivTest {
  protected:
    static bool Write(const std::string& name, const std::string& text) {
        WholeFile file;
        if (!file.Open(name)) return false;
        file.Put(text.data(), text.size());
        return file.Keep();
    }

    static std::size_t NumFiles() {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator("."), fs::directory_iterator()));
    }
};

TEST_F(WholeFileTest, ReplacesTheOldFileOnlyWhenKept) {
    WriteText("a", "old");
    {
        WholeFile file;
        ASSERT_TRUE(file.Open("a"));
        file.Put("new text", 8);
        EXPECT_EQ(ReadText("a"), "old");
    }
    EXPECT_EQ(ReadText("a"), "old");
    EXPECT_EQ(NumFiles(), 1u) << "a file given up leaves nothing behind";
    ASSERT_TRUE(Write("a", "new"));
    EXPECT_EQ(ReadText("a"), "new");
    EXPECT_EQ(NumFiles(), 1u);
}

TEST_F(WholeFileTest, KeepsThePermissionsOfTheOldFile) {
    WriteText("a", "old");
    ASSERT_EQ(chmod("a", 0640), 0);
    ASSERT_TRUE(Write("a", "new"));
    struct stat now;
    ASSERT_EQ(stat("a", &now), 0);
    EXPECT_EQ(now.st_mode & 07777, 0640u);
}

TEST_F(WholeFileTest, WritesThroughALink) {
    fs::create_directory("store");
    for (const char* old : {"", "old"}) {
        if (*old) WriteText("store/real", old);
        fs::remove("a");
        fs::create_symlink("store/real", "a");
        ASSERT_TRUE(Write("a", "new"));
        EXPECT_TRUE(fs::is_symlink("a"));
        EXPECT_EQ(ReadText("store/real"), "new");
    }
}

TEST_F(WholeFileTest, FailsOnAFolderInItsPlaceAndOnAMissingFolder) {
    fs::create_directory("a");
    EXPECT_FALSE(Write("a", "new"));
    EXPECT_FALSE(Write("missing/a", "new"));
    EXPECT_EQ(NumFiles(), 1u);
}

TEST_F(WholeFileTest, FailsOnAFullDevice) {
    fs::create_symlink("/dev/full", "a");
    EXPECT_FALSE(Write("a", "new"));
    EXPECT_TRUE(fs::is_symlink("a"));
}

TEST_F(WholeFileTest, RespectsProtection) {
    if (geteuid() == 0) GTEST_SKIP() << "the superuser may write anything";
    WriteText("a", "old");
    ASSERT_EQ(chmod("a", 0400), 0);
    EXPECT_FALSE(Write("a", "new"));
    fs::create_directory("closed");
    WriteText("closed/b", "old");
    ASSERT_EQ(chmod("closed", 0500), 0);
    EXPECT_TRUE(Write("closed/b", "new")) << "the file itself takes the text";
    ASSERT_EQ(chmod("closed", 0700), 0);
    EXPECT_EQ(ReadText("closed/b"), "new");
}

void IgnoreSignal(int) {}

// Signals while a slow reader drains a pipe make write return early, with a part or with EINTR.
TEST_F(WholeFileTest, GoesOnAfterInterruptedWrites) {
    ASSERT_EQ(mkfifo("a", 0600), 0);
    std::string text(3 << 20, ' ');
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>('a' + i % 23);
    struct sigaction handler = {};
    struct sigaction before = {};
    handler.sa_handler = IgnoreSignal;  // without SA_RESTART
    ASSERT_EQ(sigaction(SIGALRM, &handler, &before), 0);
    std::string got;
    std::thread reader([&got] {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        const int fd = open("a", O_RDONLY);
        char block[1 << 16];
        for (ssize_t n = read(fd, block, sizeof block); n > 0; n = read(fd, block, sizeof block)) {
            got.append(block, static_cast<std::size_t>(n));
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
        close(fd);
    });
    WholeFile file;
    const bool opened = file.Open("a");
    const itimerval often = {{0, 300}, {0, 300}};
    const itimerval never = {};
    setitimer(ITIMER_REAL, &often, nullptr);
    file.Put(text.data(), text.size());
    setitimer(ITIMER_REAL, &never, nullptr);
    const bool kept = file.Keep();
    reader.join();
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_TRUE(opened);
    EXPECT_TRUE(kept);
    EXPECT_TRUE(got == text) << got.size() << " bytes arrived";
}

}  // namespace
