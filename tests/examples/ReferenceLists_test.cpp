// The examples against line lists of an independent prediction package: positions and strengths of
// single lines, members of unresolved K doublets included.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "examples/ExampleTest.h"
#include "run/KivKey.h"

namespace {

/// The lists hold every change of Ka; none is above 7.
constexpr int kAllListedDeltaK = 8;
/// The lists give four decimals of a MHz and seven digits of a strength.
constexpr double kErgTolerance = 1e-4;
constexpr double kItnTolerance = 1e-5;

std::uint64_t KeyOf(int Ju, int kau, int kcu, int Jl, int kal, int kcl) {
    return LineKey(Jl, Ju, Jl + kal - kcl, Ju + kau - kcu);
}

std::unordered_map<std::uint64_t, int> IndexLines() {
    std::unordered_map<std::uint64_t, int> line_of;
    for (int n = 0; n < Kiv.Num_Trs; ++n) {
        const std::int16_t* q = &Kiv.FI_JKK_Lbl[6 * n];
        line_of[KeyOf(q[0], q[1], q[2], q[3], q[4], q[5])] = n;
    }
    return line_of;
}

struct ListCase {
    const char* Folder;
    const char* Input;
    const char* List;
    int Num_Lines;
};
void PrintTo(const ListCase& c, std::ostream* out) { *out << c.Input; }

const ListCase kLists[] = {
    {"so2", "so2.in", "so2_lines.txt", 3289},
    {"h2coh_plus", "h2coh_plus.in", "h2coh_plus_lines.txt", 2175},
    {"7-azaindole", "7-azaindole.in", "7-azaindole_lines.txt", 461},
};

class ReferenceLists : public ExampleTest, public testing::WithParamInterface<ListCase> {};

TEST_P(ReferenceLists, EveryLineIsReproduced) {
    const ListCase& list = GetParam();
    CopyExample(list.Folder);
    ReadInput(list.Input);
    Kiv.Temp[0] = 0.0;
    Kiv.Delta_K_Order = kAllListedDeltaK;
    Run();
    const auto line_of = IndexLines();

    std::ifstream file(std::string(KIV_TEST_DATA) + "/" + list.List);
    std::string row;
    int num_lines = 0;
    int num_wrong = 0;
    while (std::getline(file, row)) {
        if (row.empty() || row[0] == '#') continue;
        ++num_lines;
        std::istringstream words(row);
        int Ju, kau, kcu, Jl, kal, kcl;
        double erg, itn;
        ASSERT_TRUE(words >> Ju >> kau >> kcu >> Jl >> kal >> kcl >> erg >> itn) << row;
        const auto found = line_of.find(KeyOf(Ju, kau, kcu, Jl, kal, kcl));
        if (found == line_of.end()) {
            ADD_FAILURE() << "not calculated: " << row;
            continue;
        }
        const int n = found->second;
        const bool is_near = std::abs(Kiv.FI_Sim_Erg[n] - erg) <= kErgTolerance &&
                             std::abs(Kiv.FI_Sim_Itn[n] - itn) <= kItnTolerance * itn;
        if (!is_near && ++num_wrong <= 10) {
            ADD_FAILURE() << row << "  calculated " << std::to_string(Kiv.FI_Sim_Erg[n]) << " "
                          << Kiv.FI_Sim_Itn[n];
        }
    }
    EXPECT_EQ(num_wrong, 0);
    EXPECT_EQ(num_lines, list.Num_Lines);
}

std::string CaseName(const testing::TestParamInfo<ListCase>& c) {
    std::string name = c.param.List;
    name.resize(name.find("_lines"));
    for (char& letter : name) {
        if (letter == '-') letter = '_';
    }
    return name;
}
INSTANTIATE_TEST_SUITE_P(, ReferenceLists, testing::ValuesIn(kLists), CaseName);

/// SO2, line strengths, every change of Ka, no nuclear spin weights.
class So2Strengths : public ExampleTest {
  protected:
    void SetUp() override {
        ExampleTest::SetUp();
        CopyExample("so2");
        ReadInput("so2.in");
        Kiv.Temp[0] = 0.0;
        for (auto& weight : Kiv.Spin_Wt) weight = 1;
        Kiv.Spin_On = 0;
    }
};

TEST_F(So2Strengths, AddUpToTheSquaredMomentForEveryLowerLevel) {
    Kiv.Delta_K_Order = 2 * Kiv.Max_J;
    Kiv.Gnd_Only = 0;  // two equal states: lines of negative position stay in the sum
    for (int p = 0; p < NUM_HAM_PRM; ++p) {
        Kiv.Prm_Stat[ST_EXC][p] = Kiv.Prm_Stat[ST_GND][p];
        Kiv.Prm_Val[ST_EXC][p] = Kiv.Prm_Val[ST_GND][p];
    }
    Run();
    const int num_levels = Kiv.Max_J * Kiv.Max_J;  // those with J'' < Max_J
    std::vector<double> sum((Kiv.Max_J + 1) * (Kiv.Max_J + 1), 0.0);
    for (int n = 0; n < Kiv.Num_Trs; ++n) sum[Kiv.FI_Erg_Idx[ST_GND][n]] += Kiv.FI_Sim_Itn[n];
    const double moment2 = Kiv.TM_Ang[0];
    for (int J = 0, level = 0; level < num_levels; ++level) {
        if (level == (J + 1) * (J + 1)) ++J;
        // Strengths are stored in single precision: 6e-8 of each.
        EXPECT_NEAR(sum[level], moment2 * (2 * J + 1), 2e-7 * moment2 * (2 * J + 1)) << level;
    }
}

TEST_F(So2Strengths, AreExactlyZeroWhereSymmetryForbids) {
    Kiv.Delta_K_Order = 2 * Kiv.Max_J;
    Run();
    for (int n = 0; n < Kiv.Num_Trs; ++n) {
        const std::int16_t* q = &Kiv.FI_JKK_Lbl[6 * n];
        // b type: both Ka and Kc change parity.
        ASSERT_EQ((q[1] - q[4]) % 2 != 0 && (q[2] - q[5]) % 2 != 0, true)
            << q[0] << " " << q[1] << " " << q[2] << " - " << q[3] << " " << q[4] << " " << q[5]
            << " strength " << Kiv.FI_Sim_Itn[n];
        ASSERT_EQ(Kiv.FI_BT_Lbl[n], 'B');
    }
}

TEST_F(So2Strengths, HoldNoRoundingDust) {
    Kiv.Delta_K_Order = 3;  // beyond it lines are truly weaker than 1e-12 of the strongest
    Run();
    const float* first = Kiv.FI_Sim_Itn.Data();
    const auto [weakest, strongest] = std::minmax_element(first, first + Kiv.Num_Trs);
    EXPECT_GT(*weakest, 1e-12 * *strongest);
}

}  // namespace
