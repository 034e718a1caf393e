// Result files appear whole or not at all.
#include "system/WholeFile.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>

#include "support/FolderTest.h"
#include "system/OutputSet.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

class WholeFileTest : public FolderTest {
  protected:
    static bool Write(const std::string& name, const std::string& text,
                      WholeFile::Kind kind = WholeFile::Kind::Result) {
        WholeFile file;
        return file.Open(name, kind) && (file.Put(text.data(), text.size()), file.Keep());
    }

    static std::ptrdiff_t NumFiles() {
        return std::distance(fs::directory_iterator("."), fs::directory_iterator());
    }
};

TEST_F(WholeFileTest, ReplacesTheOldFileOnlyWhenKept) {
    WriteText("a", "old");
    WriteText("a.tmp", "of a run that was broken off");
    ASSERT_EQ(chmod("a", 0640), 0);
    {
        WholeFile file;
        ASSERT_TRUE(file.Open("a"));
        file.Put("new text", 8);
    }
    EXPECT_EQ(ReadText("a"), "old");
    EXPECT_EQ(NumFiles(), 2) << "a file given up leaves nothing behind";
    ASSERT_TRUE(Write("a", "new"));
    EXPECT_EQ(ReadText("a"), "new");
    EXPECT_EQ(fs::status("a").permissions(), fs::perms(0640));
    EXPECT_EQ(NumFiles(), 2);
}

// Large old files are removed on threads, small ones at once; none stays.
TEST_F(WholeFileTest, SetsOfFilesLeaveNothingOfTheOldOnes) {
    const std::string large(std::size_t{5} << 20, 'x');
    int calls = 0;
    for (const int num : {1, 3}) {
        Threads threads(num);
        for (int time = 0; time < 2; ++time) {  // new ones, then in place of those
            OutputSet outputs;
            for (const char* name : {"a", "b"}) outputs.Add(name, large);
            outputs.Add("c", "small");
            ASSERT_TRUE(outputs.Keep(&threads, [&] { ++calls; }).ok());
            EXPECT_EQ(NumFiles(), 3);
        }
        EXPECT_TRUE(ReadText("b") == large);
    }
    EXPECT_EQ(calls, 3);  // but for the first time, when there was nothing to remove
    WholeFile placed;
    ASSERT_TRUE(placed.Open("c"));
    placed.Put("new", 3);
    ASSERT_TRUE(placed.Place());
    EXPECT_EQ(ReadText("c"), "new");
    placed.Tidy();
    EXPECT_EQ(NumFiles(), 3);
}

TEST_F(WholeFileTest, WritesThroughALink) {
    fs::create_directory("store");
    fs::create_symlink("store/real", "a");
    for (const char* text : {"first", "second"}) {  // the link leads to nothing at first
        ASSERT_TRUE(Write("a", text));
        EXPECT_TRUE(fs::is_symlink("a"));
        EXPECT_EQ(ReadText("store/real"), text);
    }
}

// What was announced and not written is given back.
TEST_F(WholeFileTest, KeepsNoRoomBehindItsEnd) {
    WholeFile file;
    ASSERT_TRUE(file.Open("run.out"));
    file.Expect(std::size_t{4} << 20);
    file.Put("text", 4);
    ASSERT_TRUE(file.Keep());
    EXPECT_EQ(ReadText("run.out"), "text");
    struct stat now;
    ASSERT_EQ(stat("run.out", &now), 0);
    EXPECT_LT(now.st_blocks * 512, 1 << 20);
}

TEST_F(WholeFileTest, FailsWhereNothingCanBeWritten) {
    fs::create_directory("folder");
    fs::create_symlink("/dev/full", "full");
    for (const char* name : {"folder", "missing/a", "full"}) EXPECT_FALSE(Write(name, "new"));
    EXPECT_TRUE(fs::is_symlink("full"));
}

// As a user without rights: a protected file stays, a file in a protected folder takes the text
// unless it is precious.
TEST_F(WholeFileTest, RespectsProtection) {
    fs::create_directory("closed");
    for (const char* name : {"protected", "closed/b", "closed/c"}) WriteText(name, "old");
    fs::permissions("protected", fs::perms(0444));
    for (const char* name : {"closed/b", "closed/c"}) fs::permissions(name, fs::perms(0666));
    fs::permissions("closed", fs::perms(0555));
    fs::permissions(".", fs::perms(0777));
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && setuid(65534) != 0) _exit(99);
        _exit((Write("protected", "new") ? 1 : 0) + (Write("closed/b", "new") ? 2 : 0) +
              (Write("closed/c", "new", WholeFile::Kind::Precious) ? 4 : 0));
    }
    int status = 0;
    waitpid(child, &status, 0);
    fs::permissions("closed", fs::perms(0755));
    EXPECT_EQ(WEXITSTATUS(status), 2);
    for (const char* name : {"protected", "closed/c"}) EXPECT_EQ(ReadText(name), "old");
    EXPECT_EQ(ReadText("closed/b"), "new");
}

// Signals while a pipe is full make write return early, with a part or with EINTR.
TEST_F(WholeFileTest, GoesOnAfterInterruptedWrites) {
    ASSERT_EQ(mkfifo("a", 0600), 0);
    std::string text(32 << 20, ' '), got;
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>('a' + i % 23);
    struct sigaction handler = {}, before = {};
    handler.sa_handler = [](int) {};  // without SA_RESTART
    ASSERT_EQ(sigaction(SIGALRM, &handler, &before), 0);
    std::thread reader([&got] { got = ReadText("a"); });
    WholeFile file;
    EXPECT_TRUE(file.Open("a"));
    const itimerval often = {{0, 300}, {0, 300}}, never = {};
    setitimer(ITIMER_REAL, &often, nullptr);
    file.Put(text.data(), text.size());
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_TRUE(file.Keep());
    reader.join();
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_TRUE(got == text) << got.size() << " bytes arrived";
}

}  // namespace
}  // namespace kiv
