// The program's entry: arguments, input that cannot be used, runs that stop half-way.
#include "run/KivRun.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "run/KivCore.h"
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
        Waits().clear();
        testing::internal::CaptureStdout();
        const int status = KivMain(static_cast<int>(argv.size()), argv.data());
        return {status, testing::internal::GetCapturedStdout(), Waits()};
    }

    static Output RunText(const std::string& text) {
        WriteText("a.in", text);
        return Run({"a.in"});
    }
};

constexpr char kRead[] = "VERSION NUMBER OF INPUT FILE [a.in] IS [v5.6]\n\n";
constexpr char kPhase0[] = "KIV VERSION v5.6\n\nPHASE    0 - PARAMETER INPUT\n";
constexpr char kPhase1[] =
    "PHASE    I - GROUND STATE EIGEN ENERGIES AND VECTORS\n"
    "PHASE    I - EXCITED STATE EIGEN ENERGIES AND VECTORS\n";
constexpr char kPhase2[] = "PHASE   II - CALCULATION OF TRANSITIONS\n";
constexpr char kPhase3[] = "PHASE  III - GENERATION OF LINESET\n";
constexpr char kPhaseX[] = "PHASE    X - PROGRAM TERMINATION\n";

TEST_F(Program, WithoutArgumentShowsItsUsage) {
    const Output got = Run({});
    EXPECT_EQ(got.Status, 0);
    EXPECT_EQ(got.Console, "USAGE: Kiv95.exe 'INPUT FILENAME (*.in)' : ABORTED!\n");
    EXPECT_EQ(got.Pauses, std::vector<int>{5});
}

TEST_F(Program, HelpAndVersionEndAtOnce) {
    const Output help = Run({"--help"});
    EXPECT_EQ(help.Status, 0);
    EXPECT_TRUE(help.Pauses.empty());
    EXPECT_EQ(help.Console.find("Usage: kiv INPUT-FILE\n"), 0u);
    std::size_t lines = 0;
    for (std::size_t start = 0; start < help.Console.size(); ++lines) {
        const std::size_t end = help.Console.find('\n', start);
        EXPECT_LE(end - start, 80u) << "wider than a terminal";
        start = end + 1;
    }
    EXPECT_LE(lines, 32u) << "longer than a screen";
    const Output version = Run({"--version"});
    EXPECT_EQ(version.Status, 0);
    EXPECT_EQ(version.Console, "kiv v5.6\n");
    EXPECT_TRUE(version.Pauses.empty());
}

TEST_F(Program, OptionsBesideAnotherArgumentAreFileNames) {
    const Output got = Run({"--help", "x"});
    EXPECT_EQ(got.Status, 1);
    EXPECT_NE(got.Console.find("ERROR ON INPUT FILE [--help]!\n"), std::string::npos);
}

TEST_F(Program, FurtherArgumentsAreIgnored) {
    WriteText("a.in", InputText().Text());
    EXPECT_EQ(Run({"a.in", "b.in"}).Status, 0);
    EXPECT_TRUE(fs::exists("run.asc"));
}

TEST_F(Program, InputThatCannotBeUsed) {
    struct Case {
        const char* Name;
        std::string Text;
        std::string Message;
    };
    InputText unit, version, number;
    unit.Unit = "cm-1";
    version.Version = "56";
    number.Constants = "9 five 3";
    const Case cases[] = {
        {"unknown unit", unit.Text(),
         std::string(kRead) + "\nUNDEFINED TEMPERATURE CONVERSION UNIT [cm-1]!\n"},
        {"version", version.Text(), "KIV INPUT FILE [a.in] HAS INCORRECT VERSION NUMBER!\n"},
        {"no number", number.Text(), kRead}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.Name);
        Kiv = KivRecord{};
        const Output got = RunText(c.Text);
        EXPECT_EQ(got.Status, 1);
        EXPECT_EQ(got.Console, c.Message + "ERROR ON INPUT FILE [a.in]!\n");
        EXPECT_EQ(got.Pauses, std::vector<int>{5});
        EXPECT_FALSE(fs::exists("run.log"));
    }
    Kiv = KivRecord{};
    const Output missing = Run({"none.in"});
    EXPECT_EQ(missing.Status, 1);
    EXPECT_EQ(missing.Console,
              "FAILED TO OPEN KIV INPUT FILE [none.in] FOR READING!\n"
              "ERROR ON INPUT FILE [none.in]!\n");
    EXPECT_EQ(missing.Pauses, std::vector<int>{5});
}

TEST_F(Program, InputThatEndsEarlyShowsItsLastWords) {
    std::string text = InputText().Text();
    text.resize(text.rfind("0 0 0 0 0 0") + 4);  // two of six switches
    const Output got = RunText(text);
    EXPECT_EQ(got.Status, 0);
    EXPECT_EQ(got.Console,
              std::string(kRead) + "INPUT FILE HAS INCORRECT FORMAT - LAST LINE = 0 0 \n");
    EXPECT_EQ(got.Pauses, std::vector<int>{10});
}

TEST_F(Program, CompleteRunLeavesAllResultsAndNoMemory) {
    const Output got = RunText(InputText().Text());
    EXPECT_EQ(got.Status, 0);
    EXPECT_EQ(got.Console.substr(0, std::string(kRead).size()), kRead);
    for (const char* phase : {kPhase0, kPhase1, kPhase2, kPhase3, kPhaseX}) {
        EXPECT_NE(got.Console.find(phase), std::string::npos) << phase;
    }
    for (const char* name : {"run.log", "run.asc", "run.QZS", "run.in"}) {
        EXPECT_TRUE(fs::exists(name)) << name;
    }
    EXPECT_TRUE(Kiv.HamErg_Vector[ST_GND].IsNull());
    EXPECT_TRUE(Kiv.FI_Sim_Erg.IsNull());
    EXPECT_EQ(Kiv.Log_Fp, nullptr);
}

TEST_F(Program, CyclesChooseFitScanOrOneCalculation) {
    struct Case {
        const char* Cycles;
        int Fits;
    };
    for (const Case& c : {Case{"0 1 500.0", 0}, Case{"2 1 500.0", 1}, Case{"-1 1 500.0", 360}}) {
        Kiv = KivRecord{};
        InputText input;
        input.Cycles = c.Cycles;
        WriteText("run.asn", "A 1 0 1 0 0 0 108.0\n");
        const Output got = RunText(input.Text());
        EXPECT_EQ(got.Status, 0);
        EXPECT_TRUE(got.Pauses.empty());
        int fits = 0;
        const std::string title = "PHASE   IV - LINEAR LEAST SQUARES CALCULATION\n";
        for (std::size_t at = got.Console.find(title); at != std::string::npos;
             at = got.Console.find(title, at + 1)) {
            ++fits;
        }
        EXPECT_EQ(fits, c.Fits) << c.Cycles;
        EXPECT_EQ(fs::exists("KivScan.txt"), c.Fits == 360);
    }
}

TEST_F(Program, DebugRunTracesEveryStageInOrder) {
    InputText input;
    input.Debug = "1 0 0 0 0 0";
    EXPECT_EQ(RunText(input.Text()).Status, 0);
    EXPECT_FALSE(fs::exists("run.log"));
    const std::string log = ReadText("Kiv95_Debug.log");
    std::size_t at = 0;
    for (const char* trace :
         {"EXIT KivReadInputParm()\n", "ENTER KivRun()\n", "ENTER KivCoreAlloc()\n",
          "ENTER TrsOut()\n", "EXIT TrsOut()\n", "ENTER CgMakeFile()\n", "EXIT CgMakeFile()\n",
          "EXIT KivCoreAlloc()\n", "ENTER Ham2Trs()\n", "EXIT Ham2Trs()\n", "ENTER TrsConvert()\n",
          "EXIT PrntTrs()QZS\n", "EXIT TrsConvert()\n", "EXIT KivRun()\n", "ENTER KivCoreFree()\n",
          "EXIT KivCoreFree()\n"}) {
        const std::size_t found = log.find(trace, at);
        ASSERT_NE(found, std::string::npos) << trace;
        at = found;
    }
}

TEST_F(Program, RunsThatFailPauseAndEndInOrder) {
    struct Case {
        const char* Name;
        InputText Input;
        std::string InFolderOf;  // a folder of this name is in the way
        std::string InLog;
    };
    InputText parity, lines;
    parity.Parity = "y E O";
    lines.Range = "0 2 0.0";
    const Case cases[] = {
        {"parity", parity, "", "PARITY SELECTION STATUS 'y' INCORRECT -> Y OR N ONLY !\n"},
        {"no lines", lines, "", ""},
        {"no line set",
         {},
         "run.QZS",
         "FAILED TO CREATE BINARY FREQUENCY FILE [run.QZS] FOR WRITING!\n"},
        {"no next input", {}, "run.in", ""}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.Name);
        Kiv = KivRecord{};
        if (!c.InFolderOf.empty()) fs::create_directory(c.InFolderOf);
        const Output got = RunText(c.Input.Text());
        EXPECT_EQ(got.Status, 0);
        EXPECT_EQ(got.Pauses, std::vector<int>{3});
        const std::string end = kPhaseX;
        EXPECT_EQ(got.Console.substr(got.Console.size() - end.size()), end);
        EXPECT_NE(ReadText("run.log").find(c.InLog), std::string::npos);
        EXPECT_TRUE(Kiv.FI_Sim_Erg.IsNull());
        if (!c.InFolderOf.empty()) fs::remove(c.InFolderOf);
    }
}

TEST_F(Program, RunsWithoutALogThatCannotBeCreated) {
    fs::create_directory("run.log");
    const Output got = RunText(InputText().Text());
    EXPECT_EQ(got.Status, 0);
    EXPECT_TRUE(got.Pauses.empty());
    EXPECT_EQ(got.Console, std::string(kRead) + kPhase0 +
                               "FAILED TO CREATE ASCII LOG FILE run.log FOR WRITING!\n");
    EXPECT_TRUE(fs::exists("run.asc"));
}

}  // namespace
