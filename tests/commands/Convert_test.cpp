// kiv convert: the same lines from either form of an input.
#include <filesystem>
#include <sstream>

#include "support/CommandTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

class ConvertCommand : public CommandTest {
  protected:
    // A copy of a folder of examples, its temperatures 0: the forms differ in k/h alone.
    static void CopyExamples(const std::string& folder) {
        fs::copy(fs::path(KIV_SOURCE_DIR) / "examples" / folder, ".");
        for (const auto& entry : fs::directory_iterator(".")) {
            std::string text = ReadText(entry);
            const std::size_t title = text.find("# TEMPERATURES");
            if (title != std::string::npos)
                text.insert(text.find('\n', title) + 1, "  0 0 0 MHz\n# ");
            const std::size_t at = text.find("\ntemperature = ");
            if (at != std::string::npos) text.insert(at + 15, "0.0 # ");
            WriteText(entry, text);
        }
    }

    // Positions and quantum numbers of a text list.
    static std::string Positions(const std::string& name) {
        std::istringstream lines(ReadText(name));
        std::string text;
        for (std::string line; std::getline(lines, line);) {
            text += line.substr(0, 28) + line.substr(line.size() - 12) + "\n";
        }
        return text;
    }
};

TEST_F(ConvertCommand, ThereAndBackTheLinesAreTheSame) {
    for (const std::string name : {"so2/so2", "so2/fit", "h2coh_plus/h2coh_plus", "h2coh_plus/fit",
                                   "7-azaindole/7-azaindole", "7-azaindole/tilted"}) {
        for (const auto& entry : fs::directory_iterator(".")) fs::remove_all(entry);
        const std::string folder = name.substr(0, name.find('/')),
                          stem = name.substr(folder.size() + 1);
        CopyExamples(folder);
        ASSERT_EQ(Kiv("run " + stem + ".in --out old").status, 0) << name;
        const Ended there = Kiv("convert " + stem + ".in -o there.toml");
        ASSERT_EQ(there.status, 0) << there.err;
        ASSERT_EQ(Kiv("run there.toml").status, 0) << name;
        if (!stem.ends_with("fit")) {  // which ends by itself, not after so many cycles
            EXPECT_TRUE(ReadText("there.asc") == ReadText("old.asc")) << name;
        }
        const Ended back = Kiv("convert there.toml -o back.in");
        ASSERT_EQ(back.status, 0) << back.err;
        ASSERT_EQ(Kiv("run back.in --out back").status, 0) << name;
        EXPECT_TRUE(ReadText("back.asc") == ReadText("old.asc")) << name;
    }
}

// The named examples say the same as the old ones, apart from J_max and the moment's last digits.
TEST_F(ConvertCommand, ExamplesAgreeInBothForms) {
    for (const std::string name :
         {"h2coh_plus/h2coh_plus", "7-azaindole/7-azaindole", "7-azaindole/tilted"}) {
        for (const auto& entry : fs::directory_iterator(".")) fs::remove_all(entry);
        const std::string folder = name.substr(0, name.find('/')),
                          stem = name.substr(folder.size() + 1);
        CopyExamples(folder);
        ASSERT_EQ(Kiv("run " + stem + ".in --out old").status, 0) << name;
        ASSERT_EQ(Kiv("run " + stem + ".toml --out named").status, 0) << name;
        EXPECT_TRUE(Positions("named.asc") == Positions("old.asc")) << name;
    }
}

TEST_F(ConvertCommand, RefusesByNameAndReplacesNothing) {
    const std::string input = WriteFit();
    const std::pair<const char*, const char*> refused[] = {
        {"C = 2996.0\nHJ = 1e-9\n", "HJ"},
        {"C = 2996.0\nlK = 1e-12\n", "lK"},
    };
    for (const auto& [text, name] : refused) {
        std::string changed = input;
        changed.replace(changed.find("C = 2996.0\n"), 11, text);
        WriteText("rotor.toml", changed);
        const Ended ended = Kiv("convert rotor.toml -o x.in");
        EXPECT_EQ(ended.status, 3);
        EXPECT_TRUE(Has(ended.err, name)) << ended.err;
        EXPECT_FALSE(fs::exists("x.in") || fs::exists("x.asn"));
    }
    for (const char* more : {"reject = 5.0\n", "[spectrum_]\n"}) {
        WriteText("rotor.toml", input + more);
        EXPECT_EQ(Kiv("convert rotor.toml -o x.in").status, 3) << more;
    }
    WriteText("rotor.toml", input);
    EXPECT_EQ(Kiv("convert rotor.toml -o x.toml").status, 2) << "of that form already";
    WriteText("x.asn", "mine");
    const Ended ended = Kiv("convert rotor.toml -o x.in");
    EXPECT_EQ(ended.status, 2);
    EXPECT_TRUE(Has(ended.err, "x.asn is there already; --force"));
    EXPECT_EQ(ReadText("x.asn"), "mine");
    EXPECT_FALSE(fs::exists("x.in"));
    EXPECT_EQ(Kiv("convert rotor.toml -o x.in --force").status, 0);
    EXPECT_NE(ReadText("x.asn"), "mine");
    EXPECT_EQ(Kiv("check x.in").status, 0);
    EXPECT_EQ(Kiv("convert x.in -o - | grep -c 'reduction\\|A = 9010'").out, "1\n");
}

}  // namespace
}  // namespace kiv
