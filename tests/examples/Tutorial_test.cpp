// The pages of the documentation that show commands: each is executed in a folder of its own, with
// the files that it tells its reader to write, and has to show what the program says.
//
//     <!-- file: so2.toml -->   the fenced block behind it is that file
//     ```sh                     a block of commands, "$ kiv check so2.toml", and their output,
//                               standard error included
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "named/Finding.h"
#include "support/FolderTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kFile = "<!-- file: ", kEnd = " -->", kFence = "```", kPrompt = "$ ";

struct Page {
    const char* name;
    int commands;  // at least
};
void PrintTo(const Page& page, std::ostream* out) { *out << page.name; }

std::string TextOf(const Page& page) {
    std::ifstream file(fs::path(KIV_SOURCE_DIR) / page.name);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

class Pages : public FolderTest, public testing::WithParamInterface<Page> {
  protected:
    void SetUp() override {
        FolderTest::SetUp();
        fs::copy(fs::path(KIV_SOURCE_DIR) / "examples", "examples", fs::copy_options::recursive);
        // What is left of the script when the program is there already.
        fs::create_directories("scripts");
        WriteText("scripts/run",
                  "mkdir -p results/so2\n"
                  "exec kiv run examples/so2/fit.toml --out results/so2/fit\n");
        fs::permissions("scripts/run", fs::perms::owner_all);
    }

    // What a command prints on both of its streams.
    static std::string Output(const std::string& command) {
        const std::string folder = fs::path(KIV_PROGRAM).parent_path().string();
        const std::string line =
            "{ export LC_ALL=C PATH='" + folder + "':\"$PATH\"; " + command + "\n} 2>&1";
        std::string text;
        std::FILE* const pipe = popen(line.c_str(), "r");
        if (!pipe) return text;
        std::array<char, 4096> block;
        while (const std::size_t num = std::fread(block.data(), 1, block.size(), pipe)) {
            text.append(block.data(), num);
        }
        pclose(pipe);
        return text;
    }

    // The lines of a fenced block; `lines` is then behind it.
    static std::vector<std::string> Block(std::istream& lines) {
        std::vector<std::string> block;
        for (std::string line; std::getline(lines, line) && line != kFence;) block.push_back(line);
        return block;
    }

    void Execute(const std::vector<std::string>& block) {
        ASSERT_TRUE(!block.empty() && block[0].starts_with(kPrompt)) << "no command in a block";
        for (std::size_t i = 0; i < block.size();) {
            const std::string command = block[i].substr(kPrompt.size());
            std::string shown;
            for (++i; i < block.size() && !block[i].starts_with(kPrompt); ++i) {
                shown += block[i] + "\n";
            }
            EXPECT_EQ(Output(command), shown) << GetParam().name << ": " << command;
            ++commands_;
        }
    }

    int commands_ = 0;
};

TEST_P(Pages, ShowWhatTheProgramPrints) {
    std::istringstream lines(TextOf(GetParam()));
    std::string file;  // that the next block is
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(kFile) && line.ends_with(kEnd)) {
            file = line.substr(kFile.size(), line.size() - kFile.size() - kEnd.size());
        } else if (line.starts_with(kFence)) {
            const std::vector<std::string> block = Block(lines);
            if (!file.empty()) {
                std::string text;
                for (const std::string& row : block) text += row + "\n";
                WriteText(file, text);
            } else if (line == "```sh") {
                Execute(block);
            }
            file.clear();
        }
    }
    EXPECT_GE(commands_, GetParam().commands);
}

INSTANTIATE_TEST_SUITE_P(
    , Pages,
    testing::Values(Page{"README.md", 3}, Page{"docs/tutorial.md", 20}, Page{"docs/commands.md", 5},
                    Page{"docs/exchange.md", 10}, Page{"docs/input.md", 3},
                    Page{"examples/so2/README.md", 1}, Page{"examples/h2coh_plus/README.md", 1}),
    [](const auto& page) {
        const fs::path path = page.param.name;
        const bool is_example = *path.begin() == "examples";
        return is_example ? path.parent_path().stem().string() : path.stem().string();
    });

// "| `decimal-comma` | error |" for each code.
TEST(FindingTable, HasEveryCode) {
    const std::string text = TextOf({"docs/commands.md", 0});
    for (int i = 0; i < kNumFindingCodes; ++i) {
        const auto code = static_cast<FindingCode>(i);
        const std::string row =
            std::string("\n| `") + NameOf(code) + "` | " + NameOf(SeverityOf(code)) + " |";
        EXPECT_NE(text.find(row), std::string::npos) << row;
    }
}

}  // namespace
}  // namespace kiv
