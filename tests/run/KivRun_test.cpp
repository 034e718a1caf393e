// The program's entry: arguments, files in the way, runs that stop half-way.
#include "run/KivRun.h"

#include <filesystem>
#include <string>
#include <vector>

#include "run/KivRecord.h"
#include "support/InputText.h"
#include "support/KivTest.h"

namespace {

namespace fs = std::filesystem;

class Program : public KivTest {
  protected:
    struct Output {
        int Status;
        std::string Console;
        std::vector<int> Pauses;
    };

    static Output Run(std::vector<std::string> words) {
        words.insert(words.begin(), "kiv");
        std::vector<char*> argv;
        for (auto& word : words) argv.push_back(word.data());
        Kiv = KivRecord{};
        Waits().clear();
        testing::internal::CaptureStdout();
        const int status = KivMain(static_cast<int>(argv.size()), argv.data());
        return {status, testing::internal::GetCapturedStdout(), Waits()};
    }

    static Output RunText(const InputText& input) {
        WriteText("a.in", input.Text());
        return Run({"a.in", "further arguments are ignored"});
    }
};

TEST_F(Program, Arguments) {
    const std::string no_file = "FAILED TO OPEN KIV INPUT FILE [", error = "ERROR ON INPUT FILE [";
    struct {
        std::vector<std::string> Words;
        int Status;
        std::string Console;
        std::vector<int> Pauses;
    } const cases[] = {
        {{}, 0, "USAGE: Kiv95.exe 'INPUT FILENAME (*.in)' : ABORTED!\n", {5}},
        {{"--help"}, 0, "Usage: kiv INPUT-FILE\n", {}},
        {{"--version"}, 0, "kiv v5.6\n", {}},
        {{"none.in"}, 1, no_file + "none.in] FOR READING!\n" + error + "none.in]!\n", {5}},
        {{"--help", "x"}, 1, no_file + "--help] FOR READING!\n" + error + "--help]!\n", {5}}};
    for (const auto& c : cases) {
        const Output got = Run(c.Words);
        EXPECT_EQ(got.Status, c.Status);
        EXPECT_TRUE(got.Console.starts_with(c.Console)) << got.Console;
        EXPECT_EQ(got.Pauses, c.Pauses);
    }
}

TEST_F(Program, DebugRunTracesEveryStageInOrder) {
    InputText input;
    input.Debug = "1 0 0 0 0 0";
    EXPECT_EQ(RunText(input).Status, 0);
    const std::string log = ReadText("Kiv95_Debug.log");
    std::size_t at = 0;
    for (const char* trace :
         {"EXIT KivReadInputParm()\n", "ENTER KivRun()\n", "ENTER KivCoreAlloc()\n",
          "EXIT TrsOut()\n", "EXIT CgMakeFile()\n", "EXIT KivCoreAlloc()\n", "ENTER Ham2Trs()\n",
          "EXIT Ham2Trs()\n", "ENTER TrsConvert()\n", "EXIT PrntTrs()QZS\n", "EXIT TrsConvert()\n",
          "EXIT KivRun()\n", "ENTER KivCoreFree()\n", "EXIT KivCoreFree()\n"}) {
        at = log.find(trace, at);
        ASSERT_NE(at, std::string::npos) << trace;
    }
}

// Folders in the place of results, and no lines at all.
TEST_F(Program, RunsThatFailPauseAndEndInOrder) {
    InputText few;
    few.Range = "0 2 0.0";
    for (const char* folder : {"run.log", "run.QZS", "run.in", "none"}) {
        fs::create_directory(folder);
        const Output got = RunText(folder == std::string("none") ? few : InputText{});
        const bool only_log = folder == std::string("run.log");  // a run can do without it
        EXPECT_EQ(got.Status, 0);
        EXPECT_EQ(got.Pauses, only_log ? std::vector<int>{} : std::vector<int>{3}) << folder;
        EXPECT_TRUE(got.Console.ends_with(
            only_log ? "FAILED TO CREATE ASCII LOG FILE run.log FOR WRITING!\n"
                     : "PHASE    X - PROGRAM TERMINATION\n"));
        EXPECT_EQ(fs::is_regular_file("run.in"), only_log) << "nothing is written after a failure";
        for (const char* name : {"run.log", "run.QZS", "run.in"}) fs::remove_all(name);
    }
}

}  // namespace
