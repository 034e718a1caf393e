// Whole runs: every folder of tests/runs/ is one case, a new one needs no code.
//
// A case holds what a user's folder would (input.in and, if wanted, assignments and old results),
// and in expected/ what the run leaves: outcome.txt (exit status and pauses), console.txt and
// every file that was written, or NAME.size with its number of bytes. What expected/ does not name
// must not exist afterwards, unless it was there before and is unchanged.
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "run/KivRecord.h"
#include "run/KivRun.h"
#include "support/KivTest.h"

namespace {

namespace fs = std::filesystem;

const fs::path kRuns = fs::path(KIV_SOURCE_DIR) / "tests" / "runs";

std::vector<std::string> AllCases() {
    std::vector<std::string> cases;
    for (const auto& entry : fs::directory_iterator(kRuns)) {
        if (entry.is_directory()) cases.push_back(entry.path().filename());
    }
    return cases;
}

class RunCases : public KivTest, public testing::WithParamInterface<std::string> {
  protected:
    using Files = std::map<std::string, std::string>;  // name and content

    static Files ReadFolder(const fs::path& folder) {
        Files files;
        for (const auto& entry : fs::directory_iterator(folder)) {
            if (entry.is_regular_file()) files[entry.path().filename()] = ReadText(entry);
        }
        return files;
    }

    static Files RunInput() {
        char name[] = "kiv", input[] = "input.in";
        char* argv[] = {name, input, nullptr};
        testing::internal::CaptureStdout();
        const int status = KivMain(2, argv);
        const std::string console = testing::internal::GetCapturedStdout();
        std::string outcome = "status " + std::to_string(status) + "\npauses";
        for (int seconds : Waits()) outcome += " " + std::to_string(seconds);
        Files got = ReadFolder(".");
        got["console.txt"] = console;
        got["outcome.txt"] = outcome + "\n";
        return got;
    }
};

TEST_P(RunCases, LeavesWhatIsExpected) {
    const Files given = ReadFolder(kRuns / GetParam());
    Files expected = ReadFolder(kRuns / GetParam() / "expected");
    for (const auto& [name, content] : given) WriteText(name, content);
    Files got = RunInput();
    EXPECT_EQ(ArrHeld(), 0) << "memory that was not released";
    for (auto& [name, content] : Files(got)) {
        if (!expected.contains(name + ".size")) continue;
        got[name + ".size"] = std::to_string(content.size()) + "\n";
        got.erase(name);
    }
    expected.insert(given.begin(), given.end());  // unchanged unless expected says otherwise
    for (const auto& [name, content] : expected) {
        ASSERT_TRUE(got.contains(name)) << name << " is missing";
        EXPECT_EQ(got[name], content) << name;
    }
    for (const auto& file : got) {
        EXPECT_TRUE(expected.contains(file.first)) << file.first << " was not expected";
    }
}

INSTANTIATE_TEST_SUITE_P(, RunCases, testing::ValuesIn(AllCases()),
                         [](const auto& c) { return c.param; });

}  // namespace
