#include "fit/CombDiff.h"

#include "fit/FitTest.h"

namespace {

class CombDiff : public FitTest {
  protected:
    // Lines with calculated partners, except those with negative positions.
    void SetLines(const std::vector<AsnLine>& lines) {
        SetAssignments(lines);
        ArrAlloc(Kiv.FI_Asn_Idx, Kiv.Num_Asn_Read);
        ArrAlloc(Kiv.FI_AsnLn_Idx, Kiv.Num_Asn_Read);
        Kiv.Num_Asn = 0;
        for (int k = 0; k < Kiv.Num_Asn_Read; ++k) {
            if (Kiv.AsnErg_Vector[k] < 0.0) continue;
            Kiv.FI_Asn_Idx[Kiv.Num_Asn] = k;
            Kiv.FI_AsnLn_Idx[Kiv.Num_Asn] = Kiv.Num_Asn;
            ++Kiv.Num_Asn;
        }
    }
};

TEST_F(CombDiff, PairsAreThoseOfTheSlowSearchInItsOrder) {
    std::mt19937 gen(1);
    int overflows = 0;
    for (int trial = 0; trial < 400; ++trial) {
        std::vector<AsnLine> lines(gen() % 40);
        const unsigned levels = 1 + gen() % 30;  // few levels: many pairs
        for (AsnLine& line : lines) {
            for (int i : {0, 3}) {
                const auto level = static_cast<int>(gen() % levels);
                line.Q[i] = line.Q[i + 2] = level / 5;
                line.Q[i + 1] = level % 5;
            }
            line.Frq = static_cast<double>(gen() % 4) - 1.0;
        }
        SetLines(lines);
        for (const std::int16_t status : {3, 4}) {
            Kiv.Fit_Stat = status;
            CombPairs pairs;
            EXPECT_EQ(Run([&] { return FindCombPairs(pairs); }), 1);
            std::vector<std::pair<int, int>> found, slow;  // slow: by comparing all pairs
            for (int d = 0; d < pairs.Num; ++d) {
                found.emplace_back(pairs.Idx_Mat(0, d), pairs.Idx_Mat(1, d));
            }
            std::string text;
            for (int i = 0; i < Kiv.Num_Asn; ++i) {
                for (int j = i + 1; j < Kiv.Num_Asn; ++j) {
                    const std::uint64_t a = Kiv.AsnQN_Vector[Kiv.FI_Asn_Idx[i]];
                    const std::uint64_t b = Kiv.AsnQN_Vector[Kiv.FI_Asn_Idx[j]];
                    const bool upper =
                        KeyJUpper(a) == KeyJUpper(b) && KeyTauUpper(a) == KeyTauUpper(b);
                    const bool lower =
                        KeyJLower(a) == KeyJLower(b) && KeyTauLower(a) == KeyTauLower(b);
                    if (!(status == 3 ? upper : lower)) continue;
                    slow.emplace_back(status == 3 ? j : i, status == 3 ? i : j);
                    if (static_cast<int>(slow.size()) < Kiv.Num_Asn_Read) continue;
                    text += "TOO MANY CD'S - PROGRAM BUG\n";
                    slow.pop_back();
                    break;
                }
            }
            EXPECT_EQ(found, slow);
            EXPECT_EQ(Out, text);
            overflows += Out.empty() ? 0 : 1;
        }
    }
    EXPECT_GT(overflows, 20);
}

// Five calculated lines and one, the second, without a partner; two constants in each state.
TEST_F(CombDiff, RowsAreSecondMinusFirstAndOutliersAreListed) {
    // clang-format off
    const std::vector<AsnLine> lines = {
        {{1, 0, 1, 0, 0, 0}, 100.00, 0.5}, {{3, 0, 3, 0, 0, 0}, -1.0, 1.5},
        {{1, 0, 1, 1, 1, 0}, 400.25, 2.5}, {{2, 0, 2, 1, 0, 1}, 900.50, 3.5},
        {{2, 0, 2, 2, 1, 1}, 1601.0, 4.5}, {{2, 0, 2, 3, 0, 3}, 2500.75, 5.5}};
    // clang-format on
    SetLines(lines);
    Kiv.Num_Dev[ST_GND] = Kiv.Num_Dev[ST_EXC] = 2;
    ArrAlloc(Kiv.FI_Sim_Erg, 5);
    ArrAlloc(Kiv.FI_JKK_Lbl, 30);
    for (int state : {ST_GND, ST_EXC}) ArrAlloc(Kiv.HamDev_Vector[state], 2 * 16);
    for (int m = 0; m < 5; ++m) {
        const int* q = lines[Kiv.FI_Asn_Idx[m]].Q;
        std::copy_n(q, 6, &Kiv.FI_JKK_Lbl[6 * m]);
        Kiv.FI_Sim_Erg[m] = 100.0 * (m + 1) * (m + 1);
        const int level = q[3] * q[3] + q[3] + q[4] - q[5];
        for (int j = 0; j < 2; ++j) {
            Kiv.HamDev_Vector[ST_GND][2 * level + j] = -10.0 * m - (m + 1.0) * j;
        }
    }
    Kiv.Fit_Stat = 3;
    Kiv.Uniform_Unc = 0;
    Kiv.Rej_Level = 0.3;
    Kiv.Prm_Stat[ST_GND][PRM_C] = 0;  // leaves A and B
    Kiv.Debug_Stat[DBG_IV] = 1;
    OpenLog();
    const FitList list = MakeFitList();
    FitRows rows;
    ASSERT_EQ(AllocRows(rows, list, 5), 1);
    const double values[3] = {0, 2, 3};
    ASSERT_EQ(Run([&] { return CDErrorAnalysis(rows, list, values); }), 1);
    EXPECT_EQ(Out, ReadText(KIV_TEST_DATA "/fit/differences.txt"));
    EXPECT_EQ(LogText(), ReadText(KIV_TEST_DATA "/fit/differences.log"));
    EXPECT_EQ(Kiv.Num_Asn, 4);
    EXPECT_EQ(rows.Sum_Sq, 3 * 0.0625);
    for (int d = 1; d <= 3; ++d) EXPECT_EQ(rows.sig_vec[d], d == 1 ? 2.5 : 5.5);  // of the first
}

}  // namespace
