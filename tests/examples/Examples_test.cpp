// The shipped examples as a user meets them: run, run again on the next-input file, fitted.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "examples/ExampleTest.h"

namespace {

namespace fs = std::filesystem;

struct ExampleCase {
    const char* Folder;
    const char* Base;
    bool Canonical;  // as the program writes it; otherwise with more digits
};
void PrintTo(const ExampleCase& c, std::ostream* out) { *out << c.Folder; }

class Examples : public ExampleTest, public testing::WithParamInterface<ExampleCase> {};

TEST_P(Examples, ARunOnItsNextInputFileRepeatsEveryByte) {
    const std::string base = GetParam().Base;
    const char* kResults[] = {".in", ".asc", ".QZS"};
    CopyExample(GetParam().Folder);
    const std::string shipped = ReadText(base + ".in");
    if (!GetParam().Canonical) RunProgram(base + ".in");

    RunProgram(base + ".in");
    std::string first[3];
    for (int i = 0; i < 3; ++i) {
        first[i] = ReadText(base + kResults[i]);
        ASSERT_FALSE(first[i].empty()) << kResults[i];
    }
    EXPECT_EQ(first[0] == shipped, GetParam().Canonical);
    fs::remove(base + ".asc");
    fs::remove(base + ".QZS");

    RunProgram(base + ".in");
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(ReadText(base + kResults[i]) == first[i]) << kResults[i] << " differs";
    }
}

const ExampleCase kExamples[] = {{"so2", "so2", true},
                                 {"h2coh_plus", "h2coh_plus", false},
                                 {"7-azaindole", "7-azaindole", true}};
INSTANTIATE_TEST_SUITE_P(, Examples, testing::ValuesIn(kExamples), [](const auto& c) {
    return std::string(c.param.Folder[0] == '7' ? "azaindole" : c.param.Folder);
});

/// A constant as two independent least-squares codes fit it to the same lines.
struct FittedPrm {
    int Prm;
    double Val, Sd;
};
struct FitCase {
    const char* Folder;
    FittedPrm Fitted[8];
};
void PrintTo(const FitCase& c, std::ostream* out) { *out << c.Folder; }

// clang-format off
const FitCase kFits[] = {
    {"so2", {{PRM_A,   60778.505634050285,    0.0008680308615225564},
             {PRM_B,   10318.074086800334,    0.0004950289307397397},
             {PRM_C,    8799.70276297708,     0.0004634177334563949},
             {PRM_DJ,      0.006609354557782408, 2.6278212616805533e-06},
             {PRM_DJK,    -0.11678913631566541,  1.4482798163585072e-05},
             {PRM_DK,      2.582043342721533,    3.6886668870766444e-05},
             {PRM_dJ,      0.0017012454642459309, 1.065045417660243e-06},
             {PRM_dK,      0.025542034533738114, 0.00015720976188603}}},
    {"h2coh_plus", {{PRM_A,  197581.55943295435,  0.021039108583648047},
             {PRM_B,   34350.547395884336,    0.0024979065669233145},
             {PRM_C,   29172.654252532066,    0.002790562691306234},
             {PRM_DJ,      0.055341263348916314, 3.922231474296711e-05},
             {PRM_DJK,     0.6291980947628455,   0.0002763602490907228},
             {PRM_DK,      6.464408204191348,    0.00870135249324692},
             {PRM_dJ,     -0.009531001644610626, 7.5151572663240615e-06},
             {PRM_dK,     -0.0019330160619553914, 1.9610816369309346e-05}}},
};
// clang-format on

class ExampleFits : public ExampleTest, public testing::WithParamInterface<FitCase> {};

TEST_P(ExampleFits, ConvergeFromRoughStartValues) {
    CopyExample(GetParam().Folder);
    ReadInput("fit.in");
    ASSERT_EQ(Kiv.Prm_Val[ST_GND][PRM_DJ], 0.0);
    Run();
    for (const auto& [prm, val, sd] : GetParam().Fitted) {
        EXPECT_NEAR(Kiv.Prm_Val[ST_GND][prm], val, 1e-3 * sd) << Kiv.Prm_Lbl[prm];
        EXPECT_NEAR(Kiv.Prm_Sd[ST_GND][prm], sd, 1e-3 * sd) << Kiv.Prm_Lbl[prm];
    }
    EXPECT_EQ(Kiv.Num_Rej, 0);
}
INSTANTIATE_TEST_SUITE_P(, ExampleFits, testing::ValuesIn(kFits),
                         [](const auto& c) { return std::string(c.param.Folder); });

}  // namespace
