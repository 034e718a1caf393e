#include "fit/CombDiff.h"

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "run/KivKey.h"
#include "run/KivRecord.h"
#include "support/KivTest.h"

namespace {

using PairList = std::vector<std::pair<int, int>>;  // first and second line of each difference

constexpr char kTooMany[] = "TOO MANY CD'S - PROGRAM BUG\n";

class CombDiff : public KivTest {
  protected:
    // Lines with the given keys; those whose number is in `missing` have no calculated partner.
    static void SetLines(const std::vector<std::uint64_t>& keys,
                         const std::vector<int>& missing = {}) {
        Kiv.Num_Asn_Read = static_cast<std::int32_t>(keys.size());
        ArrAlloc(Kiv.AsnQN_Vector, Kiv.Num_Asn_Read);
        ArrAlloc(Kiv.FI_Asn_Idx, Kiv.Num_Asn_Read);
        ArrAlloc(Kiv.FI_AsnLn_Idx, Kiv.Num_Asn_Read);
        Kiv.Num_Asn = 0;
        for (int k = 0; k < Kiv.Num_Asn_Read; ++k) {
            Kiv.AsnQN_Vector[k] = keys[k];
            if (std::find(missing.begin(), missing.end(), k) != missing.end()) continue;
            Kiv.FI_Asn_Idx[Kiv.Num_Asn] = k;
            Kiv.FI_AsnLn_Idx[Kiv.Num_Asn] = Kiv.Num_Asn;
            ++Kiv.Num_Asn;
        }
    }

    static PairList Find(std::string& console) {
        CombPairs pairs;
        testing::internal::CaptureStdout();
        EXPECT_EQ(FindCombPairs(pairs), 1);
        console = testing::internal::GetCapturedStdout();
        PairList list;
        for (int d = 0; d < pairs.Num; ++d) {
            list.emplace_back(pairs.Idx_Mat(0, d), pairs.Idx_Mat(1, d));
        }
        return list;
    }
};

// The rule, told by comparing all pairs.
PairList SlowPairs(std::string& console) {
    PairList list;
    console.clear();
    for (int i = 0; i < Kiv.Num_Asn; ++i) {
        for (int j = i + 1; j < Kiv.Num_Asn; ++j) {
            const std::uint64_t a = Kiv.AsnQN_Vector[Kiv.FI_Asn_Idx[i]];
            const std::uint64_t b = Kiv.AsnQN_Vector[Kiv.FI_Asn_Idx[j]];
            const bool upper = KeyJUpper(a) == KeyJUpper(b) && KeyTauUpper(a) == KeyTauUpper(b);
            const bool lower = KeyJLower(a) == KeyJLower(b) && KeyTauLower(a) == KeyTauLower(b);
            if (Kiv.Fit_Stat == 3 && upper) list.emplace_back(j, i);
            if (Kiv.Fit_Stat == 4 && lower) list.emplace_back(i, j);
            if (static_cast<int>(list.size()) == Kiv.Num_Asn_Read) {
                console += kTooMany;
                list.pop_back();
                break;
            }
        }
    }
    return list;
}

TEST_F(CombDiff, PairsAreThoseOfTheSlowSearchInItsOrder) {
    std::mt19937 gen(1);
    int overflows = 0;
    for (int trial = 0; trial < 400; ++trial) {
        const int n = static_cast<int>(gen() % 40);
        const int levels = 1 + static_cast<int>(gen() % 30);  // few levels: many pairs
        std::vector<std::uint64_t> keys;
        std::vector<int> missing;
        for (int k = 0; k < n; ++k) {
            const auto draw = [&] { return static_cast<int>(gen()) % levels & 0xFF; };
            keys.push_back(LineKey(draw() / 5, draw() / 5, draw() % 5, draw() % 5));
            if (gen() % 4 == 0) missing.push_back(k);
        }
        std::sort(keys.begin(), keys.end());
        SetLines(keys, missing);
        for (const std::int16_t status : {3, 4}) {
            Kiv.Fit_Stat = status;
            std::string console, slow_console;
            EXPECT_EQ(Find(console), SlowPairs(slow_console));
            EXPECT_EQ(console, slow_console);
            if (!console.empty()) ++overflows;
        }
    }
    EXPECT_GT(overflows, 20);
}

TEST_F(CombDiff, ThreeDifferencesOfThreeLinesNeedAFourthLine) {
    Kiv.Fit_Stat = 3;
    std::vector<std::uint64_t> keys = {LineKey(1, 2, 0, 3), LineKey(2, 2, 0, 3),
                                       LineKey(3, 2, 0, 3)};
    SetLines(keys);
    std::string console;
    EXPECT_EQ(Find(console), (PairList{{1, 0}, {2, 0}}));
    EXPECT_EQ(console, kTooMany);
    keys.push_back(LineKey(4, 3, 0, 0));
    SetLines(keys);
    EXPECT_EQ(Find(console), (PairList{{1, 0}, {2, 0}, {2, 1}}));
    EXPECT_EQ(console, "");
}

// Five calculated lines, derivatives by hand; two constants in each state.
class CombDiffRows : public CombDiff {
  protected:
    void SetUp() override {
        CombDiff::SetUp();
        // (1 0 1)-(0 0 0), (1 0 1)-(1 1 0), (2 0 2)-(1 0 1), (2 0 2)-(2 1 1), (2 0 2)-(3 0 3)
        const int labels[5][6] = {{1, 0, 1, 0, 0, 0},
                                  {1, 0, 1, 1, 1, 0},
                                  {2, 0, 2, 1, 0, 1},
                                  {2, 0, 2, 2, 1, 1},
                                  {2, 0, 2, 3, 0, 3}};
        std::vector<std::uint64_t> keys;
        for (const auto& q : labels) {
            keys.push_back(LineKey(q[3], q[0], q[3] + q[4] - q[5], q[0] + q[1] - q[2]));
        }
        SetLines(keys);
        Kiv.Asn_Split = 5;
        Kiv.Num_Dev[ST_GND] = Kiv.Num_Dev[ST_EXC] = 2;
        ArrAlloc(Kiv.AsnErg_Vector, 5);
        ArrAlloc(Kiv.AsnUnc_Vector, 5);
        ArrAlloc(Kiv.FI_Sim_Erg, 5);
        ArrAlloc(Kiv.FI_JKK_Lbl, 30);
        ArrAlloc(Kiv.FI_Sim_Dev, 20);
        for (int k = 0; k < 5; ++k) {
            Kiv.FI_Sim_Erg[k] = 100.0 * (k + 1) * (k + 1);
            Kiv.AsnErg_Vector[k] = Kiv.FI_Sim_Erg[k] + 0.25 * k;
            Kiv.AsnUnc_Vector[k] = 0.5 + k;
            std::copy_n(labels[k], 6, &Kiv.FI_JKK_Lbl[6 * k]);
            for (int j = 0; j < 4; ++j) Kiv.FI_Sim_Dev[4 * k + j] = 10.0 * k + (k + 1.0) * j;
        }
        Kiv.Fit_Stat = 3;
        Kiv.Uniform_Unc = 0;
        Kiv.Rej_Level = 0.3;
        for (auto& state : Kiv.Prm_Stat) state[PRM_C] = 0;  // leaves A and B
        List = MakeFitList();
        ASSERT_EQ(List.Num, 2);
        ASSERT_EQ(AllocRows(Rows, List, 5), 1);
    }

    FitList List;
    FitRows Rows;
};

TEST_F(CombDiffRows, RowsAreSecondMinusFirstAndOutliersAreListed) {
    OpenLog();
    const double values[3] = {0, 2, 3};
    testing::internal::CaptureStdout();
    ASSERT_EQ(CDErrorAnalysis(Rows, List, values), 1);
    const std::string rejected =
        "  2   0   2     3   0   3      2   0   2     1   0   1   -1600.5000    -0.5000 - "
        "REJECTED\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "NUMBER OF COMBINATION DIFFERENCES FOUND   =[4]\n"
              "UV LAST LEVEL # = 5\n"
              "MW FIRST LEVEL # = 1 ASN SPLIT = 5\n" +
                  rejected + "NUMBER OF COMBINATION DIFFERENCES ACCEPTED=[3] - SEE LOG FILE\n");
    EXPECT_EQ(
        LogText(),
        "\nNUMBER OF COMBINATION DIFFERENCES FOUND   =[4]\n" + rejected +
            " J'  Ka' Kc'   J\"  Ka\" Kc\" &  J'  Ka' Kc'   J\"  Ka\" Kc\"  Energy         OMC\n"
            " 1   0   1     1   1   0      1   0   1     0   0   0    -300.2500    -0.2500\n"
            " 2   0   2     2   1   1      2   0   2     1   0   1    -700.2500    -0.2500\n"
            " 2   0   2     3   0   3      2   0   2     2   1   1    -900.2500    -0.2500\n"
            "NUMBER OF COMBINATION DIFFERENCES ACCEPTED=[3]\n");
    EXPECT_EQ(Kiv.Num_Asn, 4);
    ASSERT_EQ(Rows.Num, 3);
    EXPECT_NEAR(Rows.Sum_Sq, 3 * 0.0625, 1e-15);
    const int first[3] = {1, 3, 4}, second[3] = {0, 2, 3};
    for (int d = 0; d < 3; ++d) {
        EXPECT_EQ(Rows.sig_vec[d + 1], Kiv.AsnUnc_Vector[first[d]]);  // of the first line alone
        EXPECT_EQ(Rows.obln_vec[d + 1], Kiv.AsnErg_Vector[second[d]] - Kiv.AsnErg_Vector[first[d]]);
        for (int slot = 1; slot <= 2; ++slot) {
            EXPECT_EQ(Rows.Derivatives(d + 1)[slot], Kiv.FI_Sim_Dev[4 * second[d] + slot - 1] -
                                                         Kiv.FI_Sim_Dev[4 * first[d] + slot - 1]);
        }
    }
}

TEST_F(CombDiffRows, DebugListingFollowsEveryRow) {
    OpenLog();
    Kiv.Debug_Stat[DBG_IV] = 1;
    const double values[3] = {0, 2, 3};
    testing::internal::CaptureStdout();
    ASSERT_EQ(CDErrorAnalysis(Rows, List, values), 1);
    testing::internal::GetCapturedStdout();
    // Lines 1 and 0: derivatives 0 - 10 and 1 - 12; their sum with 2 and 3 is -53.
    EXPECT_NE(
        LogText().find(" 1   0   1     1   1   0      1   0   1     0   0   0    -300.2500    "
                       "-0.2500\n\n\nPRM= 2.000000 3.000000\n\n"
                       "DEV CAL=-53.000000 EIGENVALUE=-300.000000 OBS=-300.250000\n"
                       "OMC[1]=-0.250000 : -247.250000\nDERIVATIVES = :\n"
                       "-10.0000 -11.0000 "),
        std::string::npos)
        << LogText();
}

TEST_F(CombDiffRows, OneLineGivesNoDifference) {
    Kiv.Num_Asn = 1;
    const double values[3] = {};
    testing::internal::CaptureStdout();
    EXPECT_EQ(CDErrorAnalysis(Rows, List, values), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "NO COMBINATION DIFFERENCES FOUND - ABORTING!\n");
}

}  // namespace
