// The same bytes for any number of threads, from every command that takes one.
#include "support/CommandTest.h"

namespace kiv {
namespace {

class ThreadsOfCommands : public CommandTest {
  protected:
    // What a command writes and says with N threads, the names of its files left out.
    static Files Results(const std::string& words, int threads) {
        Files results;
        const Ended ended = Kiv(words + " -j " + std::to_string(threads));
        EXPECT_EQ(ended.status, 0) << words << "\n" << ended.err;
        results["out"] = ended.out;
        results["err"] = ended.err;
        for (auto& [name, text] : AllFiles()) results[name] = std::move(text);
        return results;
    }

    static void ExpectSame(const std::string& words) {
        const Files alone = Results(words, 1);
        EXPECT_GT(alone.at("out").size() + alone.size(), 3u);
        for (const int threads : {2, 7}) {
            const Files here = Results(words, threads);
            ASSERT_EQ(here.size(), alone.size()) << words;
            for (const auto& [name, text] : alone) {
                EXPECT_TRUE(here.at(name) == text) << words << ", " << name << " on " << threads;
            }
        }
    }
};

// Enough lines that sorting and writing are shared; strengths with energies, and two states.
TEST_F(ThreadsOfCommands, WriteTheSameBytes) {
    WriteText("rotor.toml",
              "kiv = 1\nunit = \"MHz\"\n[lower]\nA = 9000.0\nB = 4100.0\nC = 3300.0\n"
              "DJ = 1e-3\n[moment]\nmu = [1.0, 0.5, 0.2]\n[spectrum]\nJ_max = 36\n"
              "temperature = 0.0\n");
    WriteText("band.toml",
              "kiv = 1\nunit = \"cm-1\"\n[lower]\nA = 0.30\nB = 0.11\nC = 0.09\n[upper]\n"
              "A = 0.31\nB = 0.12\nC = 0.08\norigin = 900.0\n[moment]\nmu = [1.0, 0.5, 0.2]\n"
              "[spectrum]\nJ_max = 22\n");
    for (const std::string input : {"rotor.toml", "band.toml"}) {
        ExpectSame("run " + input + " --write asc,qzs,csv,cat,egy");
        ExpectSame("export csv " + input);
        ExpectSame("export cat " + input + " --min-lgint -8 -o some.cat");
    }
    ExpectSame("run rotor.toml --write asc --out only");
    ExpectSame("export egy band.toml");
    ExpectSame("export q rotor.toml");
    ExpectSame("export spectrum rotor.toml --fwhm 500");
    ExpectSame("view band.toml");
}

TEST_F(ThreadsOfCommands, FitTheSameConstants) {
    WriteFit();
    ExpectSame("run rotor.toml");
    ExpectSame("report rotor.toml --trials");
    ExpectSame("report rotor.toml --json");
    ExpectSame("export csv rotor.toml");
}

}  // namespace
}  // namespace kiv
