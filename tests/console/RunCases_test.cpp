// Whole runs: every folder of tests/runs/ is a case of its files, every text of
// tests/console/texts/ one of what console and log say. A new case needs no code.
#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>

#include "support/ConsoleTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

const fs::path kTests = fs::path(KIV_SOURCE_DIR) / "tests";

std::vector<std::string> NamesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.is_directory() || entry.path().extension() == ".txt") {
            names.push_back(entry.path().stem());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string NameOf(const testing::TestParamInfo<std::string>& info) { return info.param; }

// A folder holds what a user's would (input.in and, if wanted, assignments and old results), and in
// expected/ what the run leaves: outcome.txt (exit status and pauses), console.txt and every file
// that was written, or NAME.size with its number of bytes. What expected/ does not name must not
// exist afterwards, unless it was there before and is unchanged.
class RunCases : public ConsoleTest, public testing::WithParamInterface<std::string> {};

TEST_P(RunCases, LeavesWhatIsExpected) {
    const fs::path folder = kTests / "runs" / GetParam();
    const Files given = FilesIn(folder);
    Files expected = FilesIn(folder / "expected");
    for (const auto& [name, content] : given) WriteText(name, content);
    const Memory memory;
    const Ran ran = RunFile("input.in", "", memory);
    EXPECT_EQ(memory.held(), 0);
    Files got = FilesIn(".");
    got["console.txt"] = ran.console;
    std::string& outcome = got["outcome.txt"];
    outcome = "status " + std::to_string(ran.status) + "\npauses";
    for (const int seconds : ran.pauses) outcome += " " + std::to_string(seconds);
    outcome += "\n";
    for (const auto& [name, content] : Files(got)) {
        if (!expected.contains(name + ".size")) continue;
        got[name + ".size"] = std::to_string(content.size()) + "\n";
        got.erase(name);
    }
    expected.insert(given.begin(), given.end());
    for (const auto& [name, content] : expected) EXPECT_EQ(got[name], content) << name;
    for (const auto& file : got) EXPECT_TRUE(expected.contains(file.first)) << file.first;
}

INSTANTIATE_TEST_SUITE_P(, RunCases, testing::ValuesIn(NamesIn(kTests / "runs")), NameOf);

// A text tells how the input of tests/runs/rigid_J1 is changed ([input]: comment, or comment @lines
// below it, then the line), the assignments ([lines]), and blocks that console ([console]), log
// ([log]) or a file ([its name]) hold in this order, or that neither console nor log holds
// ([absent], a part of a line). What stands before the first section is a remark.
class RunTexts : public ConsoleTest, public testing::WithParamInterface<std::string> {
  protected:
    static std::vector<std::pair<std::string, std::string>> SectionsOf(const fs::path& path) {
        std::vector<std::pair<std::string, std::string>> sections(1);
        std::istringstream text(ReadText(path));
        for (std::string line; std::getline(text, line);) {
            if (line.starts_with('[') && line.ends_with(']') && line.find(' ') == line.npos) {
                sections.emplace_back(line.substr(1, line.size() - 2), "");
            } else {
                sections.back().second += line + "\n";
            }
        }
        return sections;
    }

    static std::vector<Edit> EditsOf(const std::string& section) {
        std::vector<Edit> edits;
        std::istringstream text(section);
        for (std::string line; std::getline(text, line);) {
            const std::size_t bar = line.find(" | "), at = line.rfind(" @", bar);
            const int offset = at == std::string::npos ? 1 : std::stoi(line.substr(at + 2));
            edits.push_back({line.substr(0, std::min(at, bar)), line.substr(bar + 3), offset});
        }
        return edits;
    }
};

TEST_P(RunTexts, AreShown) {
    const auto sections = SectionsOf(kTests / "console" / "texts" / (GetParam() + ".txt"));
    std::map<std::string, std::string> given(sections.begin(), sections.end()), rest;
    rest["console"] = RunText(InputText(EditsOf(given["input"])), given["lines"]).console;
    rest["log"] = ReadText(fs::exists("input.log") ? "input.log" : "Kiv95_Debug.log");
    const std::string all = rest["console"] + rest["log"];
    for (const auto& [kind, text] : sections) {
        if (kind.empty() || kind == "input" || kind == "lines") continue;
        if (kind == "absent") {
            EXPECT_FALSE(Has(all, text.substr(0, text.size() - 1))) << text;
            continue;
        }
        if (!rest.contains(kind)) rest[kind] = ReadText(kind);
        const std::size_t at = rest[kind].find(text);
        ASSERT_NE(at, std::string::npos) << kind << "\n" << text << "is not in\n" << rest[kind];
        rest[kind].erase(0, at + text.size());
    }
}

INSTANTIATE_TEST_SUITE_P(, RunTexts, testing::ValuesIn(NamesIn(kTests / "console" / "texts")),
                         NameOf);

}  // namespace
}  // namespace kiv
