// Whole runs: every folder of tests/runs/ is one case, a new one needs no code.
//
// A case holds what a user's folder would (input.in and, if wanted, assignments and old results),
// and in expected/ what the run leaves: outcome.txt (exit status and pauses), console.txt and
// every file that was written. What expected/ does not name must not exist afterwards, unless it
// was there before and is unchanged.
#include <algorithm>
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
    std::sort(cases.begin(), cases.end());
    return cases;
}

class RunCases : public KivTest, public testing::WithParamInterface<std::string> {
  protected:
    using Files = std::map<std::string, std::string>;  // name and content

    static Files ReadFolder(const fs::path& folder) {
        Files files;
        for (const auto& entry : fs::directory_iterator(folder)) {
            const std::string name = entry.path().filename();
            if (entry.is_regular_file() && name != "README.md") files[name] = ReadText(entry);
        }
        return files;
    }

    static std::string RunInput() {
        std::string name = "kiv";
        std::string input = "input.in";
        char* argv[] = {name.data(), input.data(), nullptr};
        testing::internal::CaptureStdout();
        const int status = KivMain(2, argv);
        Console = testing::internal::GetCapturedStdout();
        std::string outcome = "status " + std::to_string(status) + "\npauses";
        for (int seconds : Waits()) outcome += " " + std::to_string(seconds);
        return outcome + "\n";
    }

    // The first line, or 16 bytes of a binary file, in which they differ.
    static std::string FirstDifference(const std::string& want, const std::string& got) {
        const auto at = static_cast<std::size_t>(
            std::mismatch(want.begin(), want.end(), got.begin(), got.end()).first - want.begin());
        if (want.find('\0') != std::string::npos) {
            return "byte " + std::to_string(at) + " of " + std::to_string(want.size()) + ", got " +
                   std::to_string(got.size()) + " bytes";
        }
        const auto line = [at](const std::string& text) {
            const std::size_t start = at == 0 ? 0 : text.rfind('\n', at - 1) + 1;
            return "[" + text.substr(start, text.find('\n', start) - start) + "]";
        };
        return "expected " + line(want) + "\n     got " + line(got);
    }

    static inline std::string Console;
};

TEST_P(RunCases, LeavesWhatIsExpected) {
    const Files given = ReadFolder(kRuns / GetParam());
    Files expected = ReadFolder(kRuns / GetParam() / "expected");
    for (const auto& [name, content] : given) WriteText(name, content);

    Files got;
    const std::string outcome = RunInput();
    got = ReadFolder(".");
    got["outcome.txt"] = outcome;
    got["console.txt"] = Console;
    expected.insert(given.begin(), given.end());  // unchanged unless expected says otherwise

    for (const auto& [name, content] : expected) {
        ASSERT_TRUE(got.contains(name)) << name << " is missing";
        EXPECT_TRUE(got[name] == content) << name << ": " << FirstDifference(content, got[name]);
    }
    for (const auto& [name, content] : got) {
        EXPECT_TRUE(expected.contains(name)) << name << " was not expected";
    }
}

INSTANTIATE_TEST_SUITE_P(, RunCases, testing::ValuesIn(AllCases()),
                         [](const auto& c) { return c.param; });

}  // namespace
