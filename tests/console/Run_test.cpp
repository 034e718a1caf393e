// Runs of input files: what ends them, what they leave, and what must not change their results.
#include "console/Run.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "console/Quirks.h"
#include "support/ConsoleTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

class Runs : public ConsoleTest {};

TEST_F(Runs, UsageAndInputFilesThatCannotBeRead) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(SayUsage(Watched()), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "USAGE: Kiv95.exe 'INPUT FILENAME (*.in)' : ABORTED!\n");
    EXPECT_EQ(Pauses(), std::vector<int>{5});
    const auto expect_unreadable = [](const std::string& name) {
        const Ran ran = RunFile(name);
        EXPECT_EQ(ran.status, 1);
        EXPECT_EQ(ran.console, "FAILED TO OPEN KIV INPUT FILE [" + name +
                                   "] FOR READING!\nERROR ON INPUT FILE [" + name + "]!\n");
        EXPECT_EQ(ran.pauses, std::vector<int>{5});
    };
    expect_unreadable("none.in");
    // A pipe that holds the whole text and breaks while the rest is waited for.
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    std::fstream pipe("pipe", std::ios::in | std::ios::out);
    pipe << InputText() << std::flush;
    struct sigaction handler = {}, before = {};
    handler.sa_handler = [](int) {};  // without SA_RESTART
    ASSERT_EQ(sigaction(SIGALRM, &handler, &before), 0);
    const itimerval often = {{0, 1000}, {0, 1000}}, never = {};
    setitimer(ITIMER_REAL, &often, nullptr);
    expect_unreadable("pipe");
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_FALSE(fs::exists("input.log"));
}

// Folders in the place of results, and no lines at all.
TEST_F(Runs, ThatFailPauseAndWriteNothingMore) {
    for (const char* name : {"input.QZS", "input.in", "no lines"}) {
        WriteText("a.in", InputText({{"MAX J", name[0] == 'n' ? "0 2 0.0" : "1 2 0.0"}}));
        fs::create_directory(name);
        const Ran ran = RunFile("a.in");
        EXPECT_EQ(ran.status, 0);
        EXPECT_EQ(ran.pauses, std::vector<int>{3}) << name;
        EXPECT_TRUE(ran.console.ends_with("PHASE    X - PROGRAM TERMINATION\n"));
        EXPECT_FALSE(fs::is_regular_file("input.in"));
        fs::remove_all(name);
        fs::remove_all("input.QZS");
    }
}

TEST_F(Runs, AreComplexByAnglesAndTerms) {
    const auto is_complex = [](StateIndex index, const State& state) {
        Model model;
        model.one_state = true;  // the other state counts all the same
        model.states[index] = state;
        return IsComplexRun(model);
    };
    std::string names;
    for (const StateIndex index : {kLower, kUpper}) {
        const State rotor = State::Rigid(10, 4, 4);
        for (int c = 0; c < kNumConstants; ++c) {
            State state = rotor;
            state.Set(static_cast<Constant>(c), 0.0);
            if (is_complex(index, state))
                names += NameOf(static_cast<Constant>(c)) + std::string(" ");
        }
        for (const EulerAngles& tilt : {EulerAngles{180, 0, 0}, {0, 0, 180}, {0, 30, 40}}) {
            State state = rotor;
            state.tilt = tilt;
            EXPECT_TRUE(is_complex(index, state));
        }
        State state = rotor;
        state.tilt.theta = 30;
        EXPECT_FALSE(is_complex(index, state));
    }
    EXPECT_EQ(names, "PY PXPY PYPZ PZ2PY PY PXPY PYPZ PZ2PY ");
}

// Systems promise memory that they do not have: the sum counts, not the single request.
TEST_F(Runs, TooLargeForTheMemoryEndAtOnce) {
    const std::string complex =
        InputText({{"MAX J", "100 2 0.0"}, {"GROUND STATE PHI", "20 30 40"}});
    WriteText("input.in", complex);  // vectors of 4 x 11 MB
    const Memory memory(std::int64_t{40} << 20);
    const Ran ran = RunFile("input.in", "", memory);
    EXPECT_EQ(ran.pauses, std::vector<int>{3});
    EXPECT_TRUE(Has(ran.console, "KivCoreAlloc()/HamErgImag_Vector - CORE ALLOCATION ERROR!\n"));
    EXPECT_EQ(memory.held(), 0);
    EXPECT_EQ(ReadText("input.in"), complex);
    EXPECT_FALSE(fs::exists("input.QZS"));
    for (const char* range : {"-1 2 0", "20000 2 0", "46340 2 0", "100000 2 0", "2147483647 2 0"}) {
        const Ran huge = RunText(InputText({{"MAX J", range}}));
        EXPECT_EQ(huge.status, 0);
        EXPECT_TRUE(Has(huge.console, "KivCoreAlloc()/Ham")) << range << huge.console;
        EXPECT_TRUE(Has(huge.console, " - CORE ALLOCATION ERROR!\n"));
    }
}

// What the listing of the lines adds up from the derivatives is the position, whatever the rotation
// makes of the constants.
TEST_F(Runs, ListedDerivativesAddUpToThePositions) {
    for (const char* data : {"0 1", "1 1"}) {
        for (const char* angles : {"0 0 0", "0 30 0", "0 90 0", "30 90 0", "20 30 40", "90 0 0"}) {
            RunText(InputText({{"FIT & A RED", data},
                               {"MAX J", "3 9 0.0"},
                               {"DEBUG", "0 0 0 1 0 0"},
                               {"GROUND STATE PHI", angles},
                               {"EXCITED STATE PHI", "0 -20 0"},
                               {"GROUND STATE <PXPY", "1 1 1", -1},
                               {"GROUND STATE <DJ>", "0.1 0.2 0.3"},
                               {"GROUND STATE <DJ>", "1 1 1", -1}}));
            const std::string log = ReadText("Kiv95_Debug.log"), word = "Erg[]=";
            int pairs = 0;
            for (std::size_t at = 0; (at = log.find(" " + word, at)) != log.npos; ++pairs) {
                const double position = std::stod(log.substr(at + 1 + word.size(), 20));
                at = log.find("Dev" + word, at);
                EXPECT_NEAR(std::stod(log.substr(at + 3 + word.size(), 20)), position, 2e-6)
                    << data << " " << angles;
            }
            EXPECT_GT(pairs, 50);
        }
    }
}

// Lines of the text list without their observed frequencies.
std::set<std::string> LinesIn(const std::string& list) {
    std::set<std::string> lines;
    std::istringstream text(list);
    std::string line, word;
    for (std::getline(text, line); std::getline(text, line);) {
        std::istringstream words(line);
        std::string kept;
        for (int n = 0; words >> word && n < 10; ++n) kept += n != 8 ? word + " " : "";
        lines.insert(kept);
    }
    return lines;
}

// Listings look at every pair of levels, assignments at those of their lower levels.
TEST_F(Runs, LinesDependNeitherOnListingsNorOnAssignments) {
    const std::vector<Edit> inputs[] = {
        {{"MAX J", "3 2 0.0"}},
        {{"MAX J", "3 1 0.3"}, {"TEMPERATURES", "0.0005 0.001 0.5 MHz"}},
        {{"MAX J", "3 9 -1"}, {"TEMPERATURES", "20 0 0 MHz"}},
        {{"MAX J", "3 9 0.2"},
         {"TEMPERATURES", "20 0 0 MHz"},
         {"NUCLEAR SPIN", "5 7 0 7"},
         {"PARITY", "Y O O"}},
        {{"MAX J", "3 9 -1"},
         {"FIT & A RED", "0 1"},
         {"ORIGIN", "4"},
         {"TEMPERATURES", "0.0005 0 0 MHz"}},
        {{"MAX J", "3 9 -0.01"},
         {"GROUND STATE PHI", "20 30 40"},
         {"GROUND STATE <DJ>", "1 0 0"},  // energies below 0
         {"GROUND STATE <DJ>", "1 0 0", -1},
         {"TEMPERATURES", "20 10 0.5 MHz"}}};
    // lines of any strength, two of them of pairs without one
    const std::string measured =
        "A 1 0 1 0 0 0 1\nB 1 1 1 0 0 0 1\nC 1 0 1 1 1 0 1\nB 2 1 1 1 1 1 1\nA 2 0 2 1 0 1 1\n"
        "A 1 1 1 1 1 1 1\nA 0 0 0 1 0 1 1\nA 3 0 3 1 0 1 1\n";
    for (std::vector<Edit> edits : inputs) {
        edits.push_back({"DEBUG", ""});
        SCOPED_TRACE(edits[0].line);
        std::set<std::string> plain;
        fs::remove("lines.asn");
        for (const std::string& lines : {std::string(), measured}) {
            std::string first;
            for (const char* switches : {"0 0 0 0 0 0", "1 0 0 0 0 0", "0 1 0 0 0 0", "0 0 1 0 0 0",
                                         "0 0 0 1 0 0", "0 0 0 0 1 0", "0 0 0 0 0 1"}) {
                edits.back().line = switches;
                RunText(InputText(edits), lines);
                const std::string results = ReadText("input.QZS") + ReadText("input.asc");
                if (first.empty()) first = results;
                EXPECT_TRUE(results == first && !first.empty()) << switches << lines;
            }
            std::set<std::string> now = LinesIn(ReadText("input.asc"));
            if (lines.empty()) plain = now;
            for (const std::string& line : plain) EXPECT_EQ(now.erase(line), 1u) << line;
            EXPECT_LE(now.size(), 6u);  // assigned ones alone ignore the cut-off
        }
    }
}

}  // namespace
}  // namespace kiv
