// Old input files: the questions they ask and the assignment file that is written anew.
#include <cstdlib>
#include <filesystem>

#include "support/ConsoleTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;
using std::string_literals::operator""s;

const fs::path kFiles = fs::path(KIV_SOURCE_DIR) / "tests" / "io" / "files";
const std::string kPrompt = "FORMAT OUTPUT ACCORDING TO TELVORAN QZ (y|n)?";
const std::string kFactor = "SCALE FREQUENCIES IN ASSIGNMENT FILE BY (1|10|100) ?";
const std::string kRefused = "ERROR ON INPUT FILE [old.in]!\n";
const std::string kGoesOn = "KIV VERSION v5.6\n";
const std::string kConverted =
    " A 1    0   1     0   0   0     80002.500000\n"
    "B/A 2    1   2     1   0   1     90005.000000\n"
    "//\n"
    " C 10   9   1     9   8   1     1230.625000\n";

class Conversion : public ConsoleTest {
  protected:
    void SetUp() override {
        ConsoleTest::SetUp();
        WriteText("old.in", OldInputText());
        WriteText("lines.asn", old_);
        WriteText("TEMP.TMP", "left over");
    }

    // The answers bring `shown` behind the question; the lines become `lines`.
    static void Expect(const std::string& answers, const std::string& shown,
                       const std::string& lines, const Memory& memory = Memory()) {
        const std::string console = RunFile("old.in", answers, memory).console;
        EXPECT_TRUE(Has(console, kPrompt + shown)) << console << "\nin place of\n" << shown;
        EXPECT_EQ(ReadText("lines.asn"), lines) << answers;
    }

    const std::string old_ = ReadText(kFiles / "v1.asn");
};

TEST_F(Conversion, ScalesTheFrequenciesOnRequestAndWithAFile) {
    for (const char* answers : {"n\n10\n", "Y\n10\n", "", "\ny"}) Expect(answers, kGoesOn, old_);
    Expect("y\n10\n", kFactor + kGoesOn, kConverted);
    EXPECT_FALSE(fs::exists("TEMP.TMP"));
    RunFile("old.in", "y\n10\n");
    EXPECT_TRUE(Has(ReadText("lines.asn"), "800025.000000")) << "once more: scaled again";
    fs::remove("lines.asn");
    Expect("y\n", kGoesOn, "");
    EXPECT_TRUE(Has(ReadText("input.log"), "BAND LABEL         = D\n")) << "turned b/c";
    fs::create_directory("lines.asn");
    Expect("y\n10\n", kRefused, "");
    // a later version says itself that its format is the old one
    WriteText("old.in", With(ReadText(kFiles / "v2.5.in"),
                             {{"\n  27  ", "\n  1  "}, {"\n  41\n", "\n  3\n"}}));
    EXPECT_FALSE(Has(RunFile("old.in", "10\n").console, kFactor));
}

// Factors of zero and answers that are no numbers would wipe the frequencies out.
TEST_F(Conversion, LeavesTheLinesWithoutFactorMemoryOrTemporaryFile) {
    for (const char* answers : {"y", "y\nx\n", "y\n0\n", "y\nnan\n", "y\ninf\n"}) {
        Expect(answers, kFactor + kRefused, old_);
    }
    Memory memory;
    memory.RefuseAfter(1);
    Expect("y\n10\n", "AsnConvert()/block - CORE ALLOCATION ERROR!\n" + kRefused, old_, memory);
    EXPECT_EQ(ReadText("TEMP.TMP"), "left over");
    const std::string failed = "FAILED TO CREATE ASCII FILE [TEMP.TMP] FOR WRITING!\n";
    for (const bool full : {false, true}) {
        fs::remove("TEMP.TMP");
        if (!full) fs::create_directory("TEMP.TMP");
        if (full) fs::create_symlink("/dev/full", "TEMP.TMP");
        Expect("y\n10\n", kFactor + failed + kRefused, old_);
    }
}

TEST_F(Conversion, LeavesTheLinesWhenOneIsBad) {
    for (const std::string& bad :
         {"A 1 0 1 0 0 0\n"s, "A 1 0 1 0 0 x 5.0\n"s, "A 1 0 1 0 0 0 8.0D3\n"s, "A\n"s,
          "A 1 0 1 0 0 9999999999 5.0\n"s, std::string(1 << 20, 'A'), "A 1 0 1 0 0 0 \0"s}) {
        WriteText("lines.asn", old_ + bad);
        Expect("y\n10\n", kFactor + "FORMAT ERROR IN ASSIGNMENT FILE [lines.asn]!" + kRefused,
               old_ + bad);
        EXPECT_EQ(ReadText("TEMP.TMP"), kConverted);
    }
}

// A link stays a link, also to another file system, and the permissions stay.
TEST_F(Conversion, ReplacesTheFileBehindALink) {
    std::string other = "/dev/shm/kiv_test_XXXXXX";
    const bool has_other = mkdtemp(other.data()) != nullptr;
    fs::create_directory("data");
    for (const std::string& folder : {"data"s, has_other ? other : "data"s}) {
        const std::string real = folder + "/real.asn";
        WriteText(real, old_);
        fs::permissions(real, fs::perms(0600));
        fs::remove("lines.asn");
        fs::create_symlink(real, "lines.asn");
        Expect("y\n10\n", kFactor + kGoesOn, kConverted);
        EXPECT_TRUE(fs::is_symlink("lines.asn"));
        EXPECT_EQ(fs::status(real).permissions(), fs::perms(0600));
        EXPECT_TRUE(!fs::exists("TEMP.TMP") && FilesIn(folder).size() == 1);
    }
    if (has_other) fs::remove_all(other);
}

}  // namespace
}  // namespace kiv
