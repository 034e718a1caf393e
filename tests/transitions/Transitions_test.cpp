// Direction cosines, line positions and strengths, matching and the store.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "frames/EulerRot.h"
#include "hamiltonian/Levels.h"
#include "run/KivKey.h"
#include "run/LineDev.h"
#include "support/KivTest.h"
#include "support/Rotor.h"
#include "support/SlowRotor.h"
#include "transitions/DirCos.h"
#include "transitions/ExpFunc.h"
#include "transitions/Ham2Trs.h"
#include "transitions/TrsStore.h"

namespace {

// Line label: J' Ka' Kc' J'' Ka'' Kc''.
using Label = std::array<int, 6>;

struct Line {
    double Erg, Itn;
    char Band;
};

bool AllocRun() {
    AllocLevels();
    KivArray<double>* const vectors[] = {&Kiv.ap_cg_vec, &Kiv.bp_cg_vec, &Kiv.cp_cg_vec,
                                         &Kiv.aq_cg_vec, &Kiv.bq_cg_vec, &Kiv.cq_cg_vec,
                                         &Kiv.ar_cg_vec, &Kiv.br_cg_vec, &Kiv.cr_cg_vec};
    for (KivArray<double>* vector : vectors) {
        if (ArrAlloc(*vector, 4 * Kiv.Max_J + 2) < 0) return false;
    }
    return CgMakeFile() == 1 && TrsOut(0) == 1;
}

// Two rigid rotors, all pairs of levels, line strengths.
void SetTwoStates(int max_J) {
    Kiv.Max_J = max_J;
    SetStdRotor(ST_GND);
    Kiv.Prm_Val[ST_EXC][PRM_A] = 9.3;
    Kiv.Prm_Val[ST_EXC][PRM_B] = 6.3;
    Kiv.Prm_Val[ST_EXC][PRM_C] = 4.1;
    Kiv.Prm_Val[ST_EXC][PRM_ORI] = 100.0;
    Kiv.Temp[0] = 0.0;
    Kiv.Delta_K_Order = 1000;
    const double percent[3] = {20, 30, 50};
    std::copy_n(percent, 3, Kiv.TM_Pct);
}

void Tilt(int state, double phi, double theta, double chi) {
    Kiv.Euler_Phi[state] = phi;
    Kiv.Euler_Theta[state] = theta;
    Kiv.Euler_Chi[state] = chi;
    if (phi != 0.0 || chi != 0.0) Kiv.Cplx_Ham = 1;
    EulerGenMat(Kiv.Rot_Mat[state], phi, theta, chi);
}

std::map<Label, Line> Lines() {
    std::map<Label, Line> lines;
    for (int n = 0; n < Kiv.Num_Trs; ++n) {
        Label label;
        std::copy_n(&Kiv.FI_JKK_Lbl[6 * n], 6, label.begin());
        lines[label] = {Kiv.FI_Sim_Erg[n], Kiv.FI_Sim_Itn[n], Kiv.FI_BT_Lbl[n]};
    }
    return lines;
}

// Every stored line against the strength from 3j symbols between independently solved states with
// the constants given, and every pair of levels accounted for.
void ExpectSlowStrengths(const double moment[3]) {
    const auto lines = Lines();
    double largest = 0.0;
    for (const auto& [label, line] : lines) largest = std::max(largest, line.Itn);
    for (int Jl = 0; Jl <= Kiv.Max_J; ++Jl) {
        const SlowLevels lower = SlowSolve(Jl, ST_GND);
        for (int Ju = std::max(0, Jl - 1); Ju <= std::min(Jl + 1, Kiv.Max_J); ++Ju) {
            if (Jl == 0 && Ju == 0) continue;
            const SlowLevels upper = SlowSolve(Ju, ST_EXC);
            for (int i = 0; i <= 2 * Jl; ++i) {
                for (int j = 0; j <= 2 * Ju; ++j) {
                    const double slow =
                        SlowStrength(Jl, SlowVector(lower, i), Ju, SlowVector(upper, j), moment);
                    const Label label = {Ju, (j + 1) / 2, Ju - j / 2, Jl, (i + 1) / 2, Jl - i / 2};
                    const auto found = lines.find(label);
                    const double itn = found == lines.end() ? 0.0 : found->second.Itn;
                    EXPECT_NEAR(itn, slow, 1e-6 * largest)
                        << Ju << "," << j << " <- " << Jl << "," << i;
                    if (found == lines.end()) continue;
                    EXPECT_NEAR(found->second.Erg, 100.0 + upper.Erg[j] - lower.Erg[i], 1e-9);
                }
            }
        }
    }
}

}  // namespace

class DirCos : public KivTest {};

// Counts, sums and sums of squares from an independent calculation; the squares of all factors of
// J'' and J' add up to a closed form.
TEST_F(DirCos, FillsTheWholeVector) {
    struct Case {
        int Max_J, Length;
        double Sum, Squares;
    };
    for (const Case& c : {Case{35, 11378, 11994.597224698671, 120936.6666667},
                          Case{3, 114, 33.14146162733, 126.0}}) {
        Kiv.Max_J = c.Max_J;
        ASSERT_EQ(CgMakeFile(), 1);
        ASSERT_EQ(static_cast<int>(Kiv.cg_vec.Num), c.Length);
        double sum = 0.0, squares = 0.0;
        for (int i = 0; i < c.Length; ++i) {
            sum += Kiv.cg_vec[i];
            squares += Kiv.cg_vec[i] * Kiv.cg_vec[i];
        }
        EXPECT_NEAR(sum, c.Sum, 1e-9);
        EXPECT_NEAR(squares, c.Squares, 1e-6);
    }
    const double half = std::sqrt(0.5), q = std::sqrt(1.5);
    const double first[] = {half, 1.0, half};
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(Kiv.cg_vec[i], first[i], 1e-15);
    const double q_part[] = {-q, -q * half, q * half, 0.0, -q * half, q * half, q};
    for (int i = 0; i < 7; ++i) EXPECT_NEAR(Kiv.cg_vec[CgOffset(1) + 3 + i], q_part[i], 1e-15);
}

TEST_F(DirCos, ReportsRefusedArrays) {
    Kiv.Max_J = 3;
    for (int granted : {0, 1}) {
        ArrRefuse(granted);
        OpenLog();
        EXPECT_EQ(CgMakeFile(), 0);
        EXPECT_EQ(LogText(), granted == 0 ? "CgMakeFile()/cg_mat - CORE ALLOCATION ERROR!\n"
                                          : "CgMakeFile()/cg_vec - CORE ALLOCATION ERROR!\n");
    }
}

class Transitions : public KivTest {};

// Positions and strengths from an independent calculation with standard eigensolvers.
TEST_F(Transitions, GiveTheReferenceLines) {
    struct Case {
        Label Lbl;
        double Erg, Itn;
        char Band;
        double Tilted;
    };
    const Case cases[] = {
        {{1, 0, 1, 0, 0, 0}, 110.4, 0.2, 'A', 0.249972525},
        {{1, 1, 1, 0, 0, 0}, 113.4, 0.3, 'B', 0.051246689},
        {{1, 1, 0, 0, 0, 0}, 115.6, 0.5, 'C', 0.698780786},
        {{2, 0, 2, 1, 0, 1}, 119.957876356, 0.381373322, 'A', 0.335950235},
        {{2, 1, 2, 2, 0, 2}, 101.293562305, 1.452539894, 'C', 0.291312349},
        {{2, 2, 0, 3, 2, 1}, 64.577891684, 0.345521082, 'A', 1.693837115},
        {{3, 1, 3, 2, 2, 0}, 108.551041395, 0.036133844, 'B', 0.126281340},
    };
    for (bool tilted : {false, true}) {
        Kiv = KivRecord{};
        SetTwoStates(4);
        if (tilted) Tilt(ST_EXC, 33, 71, -12);
        ASSERT_TRUE(AllocRun());
        ASSERT_EQ(Ham2Trs(), 1);
        const auto lines = Lines();
        for (const Case& c : cases) {
            const auto line = lines.find(c.Lbl);
            ASSERT_NE(line, lines.end());
            EXPECT_NEAR(line->second.Erg, c.Erg, 1e-8);
            EXPECT_NEAR(line->second.Itn, tilted ? c.Tilted : c.Itn, 2e-7);
            if (!tilted) {
                EXPECT_EQ(line->second.Band, c.Band);
            }
        }
    }
}

// Real states with all, one and no symmetry and complex states, with moments of many sign patterns.
TEST_F(Transitions, HaveTheStrengthsOfThe3jSymbols) {
    const std::vector<std::vector<int>> term_sets = {
        {},         {PRM_PZ},          {PRM_PX},
        {PRM_PXPZ}, {PRM_PZ, PRM_PX3}, {PRM_PXPY},
        {PRM_PY},   {PRM_PYPZ},        {PRM_PX, PRM_PY, PRM_PZ, PRM_PXPY, PRM_PZ2PY, PRM_PY3}};
    for (std::size_t set = 0; set < term_sets.size(); ++set) {
        for (int signs = static_cast<int>(set) % 3; signs < 8; signs += 3) {
            Kiv = KivRecord{};
            SetTwoStates(3);
            Kiv.Cplx_Ham = set < 5 ? 0 : 1;
            // the terms in both states or in one, which then has less symmetry than the other
            const int only = signs / 3;
            for (int state : {ST_GND, ST_EXC}) {
                if (only == 1 - state) continue;
                for (int prm : term_sets[set]) SetTerm(state, prm, 0.4 - 0.1 * state);
            }
            double moment[3];
            for (int i = 0; i < 3; ++i) {
                const double sign = (signs >> i & 1) != 0 ? -1.0 : 1.0;
                moment[i] = sign * std::sqrt(0.01 * Kiv.TM_Pct[i]);
                Kiv.TM_Pct[i] *= sign;
            }
            ASSERT_TRUE(AllocRun());
            ASSERT_EQ(Ham2Trs(), 1);
            ExpectSlowStrengths(moment);
        }
    }
}

// In a ground-only run the lines are those of two equal states that go up in energy, also where
// levels agree but for rounding and stand in no order: unresolved doublets, a nearly spherical top.
TEST_F(Transitions, OfOneStateGoUp) {
    const auto solve = [](const std::array<double, 3>& rotor, std::int32_t ground_only) {
        Kiv = KivRecord{};
        SetTwoStates(30);
        for (int state : {ST_GND, ST_EXC}) {
            std::copy(rotor.begin(), rotor.end(), Kiv.Prm_Val[state]);
        }
        Kiv.Prm_Val[ST_EXC][PRM_ORI] = 0.0;
        Kiv.Delta_K_Order = 6;
        Kiv.Gnd_Only = ground_only;
        EXPECT_TRUE(AllocRun());
        EXPECT_EQ(Ham2Trs(), 1);
        return Lines();
    };
    for (const auto& rotor :
         {std::array{60778.0, 10318.0, 8799.0}, {7.3 + 1e-13, 7.3, 7.3 - 1e-13}}) {
        auto expected = solve(rotor, 0);
        std::erase_if(expected, [](const auto& line) { return line.second.Erg < 0.0; });
        const auto lines = solve(rotor, 1);
        EXPECT_GT(lines.size(), 5000U);
        EXPECT_EQ(lines.size(), expected.size());
        for (const auto& [label, line] : lines) {
            ASSERT_TRUE(expected.contains(label));
            EXPECT_EQ(line.Erg, expected[label].Erg);
            EXPECT_EQ(line.Itn, expected[label].Itn);
        }
    }
}

// The complex variant of a real problem, and the same turn of both states and the moment, change
// nothing.
TEST_F(Transitions, DoNotDependOnTheFrameOrTheVariant) {
    struct Turn {
        double Phi, Theta, Chi;
        bool Complex;
    };
    const auto solve = [](const Turn& turn) {
        Kiv = KivRecord{};
        SetTwoStates(6);
        Kiv.Temp[0] = 1e-3;
        Kiv.Itn_Cutoff = 0.0;
        for (int state : {ST_GND, ST_EXC}) Tilt(state, turn.Phi, turn.Theta, turn.Chi);
        if (turn.Complex) Kiv.Cplx_Ham = 1;
        EXPECT_TRUE(AllocRun());
        EXPECT_EQ(Ham2Trs(), 1);
        return Lines();
    };
    const auto upright = solve({0, 0, 0, false});
    double largest = 0.0;
    for (const auto& [label, line] : upright) largest = std::max(largest, line.Itn);
    EXPECT_GT(upright.size(), 500U);
    for (const Turn& turn : {Turn{0, 0, 0, true}, Turn{0, 33, 0, false}, Turn{0, 33, 0, true},
                             Turn{20, -50, 75, true}}) {
        const auto turned = solve(turn);
        std::size_t found = 0;
        for (const auto& [label, line] : turned) {
            const auto other = upright.find(label);
            const double itn = other == upright.end() ? 0.0 : other->second.Itn;
            EXPECT_NEAR(line.Itn, itn, 2e-7 * largest);
            if (other == upright.end()) continue;
            ++found;
            EXPECT_NEAR(line.Erg, other->second.Erg, 1e-9);
        }
        EXPECT_EQ(found, upright.size());
    }
}

// Sum of the strengths from one lower level: (2J''+1) mu^2; forbidden lines do not exist.
TEST_F(Transitions, ObeyTheSumRuleAndTheSelectionRules) {
    SetTwoStates(30);
    Kiv.Prm_Val[ST_GND][PRM_A] = 60.0;  // near prolate: unresolved doublets
    Kiv.Prm_Val[ST_GND][PRM_B] = 10.3;
    Kiv.Prm_Val[ST_GND][PRM_C] = 8.8;
    const double percent[3] = {0, 100, 0};
    std::copy_n(percent, 3, Kiv.TM_Pct);
    ASSERT_TRUE(AllocRun());
    ASSERT_EQ(Ham2Trs(), 1);
    std::vector<double> sum(31 * 31, 0.0);
    for (const auto& [label, line] : Lines()) {
        const auto& [Ju, kau, kcu, Jl, kal, kcl] = label;
        EXPECT_NE((kau - kal) % 2, 0);
        EXPECT_NE((kcu - kcl) % 2, 0);
        sum[Jl * Jl + Jl + kal - kcl] += line.Itn;
    }
    for (int J = 0; J < 30; ++J) {
        for (int r = 0; r <= 2 * J; ++r) {
            EXPECT_NEAR(sum[J * J + r], 2.0 * J + 1.0, 1e-5 * (2 * J + 1)) << J << " " << r;
        }
    }
}

TEST_F(Transitions, WeighLevelsByTemperature) {
    struct Case {
        double T2, WT;
        int Gnd_Only;
        double Factor;
    };
    // E'' = 1e5, E' = 1.2e5 MHz at T1 = 5 K, by hand calculator
    for (const Case& c : {Case{0, 0, 0, 0.382952954034}, Case{50, 0.3, 0, 0.655496434135},
                          Case{0, 0, 1, 0.133778669822}, Case{50, 0.3, 1, 0.144142831358}}) {
        Kiv = KivRecord{};
        Kiv.Max_J = 1;
        Kiv.Gnd_Only = c.Gnd_Only;
        Kiv.Temp[0] = 5.0;
        Kiv.Temp[1] = c.T2;
        Kiv.Temp[2] = c.WT;
        Kiv.Itn_Cutoff = 0.0;
        // levels 1(0,1) and 1(1,1) at B + C = 1e5 and A + C = 1.2e5
        for (int state : {ST_GND, ST_EXC}) {
            Kiv.Prm_Val[state][PRM_A] = 75000;
            Kiv.Prm_Val[state][PRM_B] = 55000;
            Kiv.Prm_Val[state][PRM_C] = 45000;
        }
        const auto cold = Kiv.Temp[0];
        ASSERT_TRUE(AllocRun());
        Kiv.Temp[0] = 0.0;
        ASSERT_EQ(Ham2Trs(), 1);
        const Label label = {1, 1, 1, 1, 0, 1};
        ASSERT_EQ(Lines().count(label), 1U);
        const double strength = Lines()[label].Itn;
        Kiv.Temp[0] = cold;
        ASSERT_EQ(Ham2Trs(), 1);
        EXPECT_NEAR(Lines()[label].Itn / strength, c.Factor, 2e-7 * c.Factor);
    }
}

TEST_F(Transitions, CarryTheirDerivativesAndSpinWeights) {
    SetTwoStates(4);
    Kiv.Spin_On = 1;
    const std::int32_t weights[4] = {5, 0, 7, 3};
    std::copy_n(weights, 4, Kiv.Spin_Wt);
    ASSERT_TRUE(AllocRun());
    ASSERT_EQ(Ham2Trs(), 1);
    const auto weighted = Lines();
    for (int n = 0; n < Kiv.Num_Trs; ++n) {
        double erg = 100.0;
        double derivatives[6];
        LineDerivatives(n, derivatives);
        for (int i = 0; i < 6; ++i) erg += derivatives[i] * Kiv.Prm_Val[i / 3][i % 3];
        EXPECT_NEAR(erg, Kiv.FI_Sim_Erg[n], 1e-9);  // homogeneous of degree one
    }
    Kiv.Spin_On = 0;
    ASSERT_EQ(Ham2Trs(), 1);
    std::size_t kept = 0;
    for (const auto& [label, line] : Lines()) {
        const int spin =
            label[4] % 2 == 0 ? (label[5] % 2 == 0 ? 5 : 0) : (label[5] % 2 == 0 ? 3 : 7);
        const auto found = weighted.find(label);
        EXPECT_EQ(found == weighted.end(), spin == 0);
        if (spin == 0) continue;
        ++kept;
        EXPECT_FLOAT_EQ(static_cast<float>(found->second.Itn), static_cast<float>(spin * line.Itn));
    }
    EXPECT_EQ(kept, weighted.size());
}

// Ka' Ka'' and Kc' Kc'' of every line have the parities asked for.
TEST_F(Transitions, SelectParities) {
    SetTwoStates(5);
    Kiv.Parity_On = 1;
    Kiv.Kc_Parity_Odd = 1;
    ASSERT_TRUE(AllocRun());
    ASSERT_EQ(Ham2Trs(), 1);
    ASSERT_GT(Kiv.Num_Trs, 20);
    for (const auto& [label, line] : Lines()) {
        EXPECT_EQ((label[1] + label[4]) % 2, 0);
        EXPECT_NE((label[2] + label[5]) % 2, 0);
        EXPECT_EQ(line.Band, 'A');
    }
}

TEST_F(Transitions, StayInTheWindowOfTheDeltaKOrder) {
    for (int order : {0, 1, 2, -3, INT32_MAX, INT32_MIN}) {
        Kiv = KivRecord{};
        SetTwoStates(4);
        Kiv.Delta_K_Order = order;
        ASSERT_TRUE(AllocRun());
        testing::internal::CaptureStdout();
        const int result = Ham2Trs();
        const std::string text = testing::internal::GetCapturedStdout();
        if (order < 0) {
            EXPECT_EQ(result, 0);
            EXPECT_NE(text.find("NO TRANSITIONS CALCULATED!\n"), std::string::npos);
            continue;
        }
        ASSERT_EQ(result, 1);
        for (const auto& [label, line] : Lines()) {
            const std::int64_t rank = label[0] + label[1] - label[2];
            const std::int64_t start = 2 * (label[4] - std::int64_t{order}) - 1;
            EXPECT_GE(rank, start);
            EXPECT_LT(rank, start + 4 * std::int64_t{order} + 2);
        }
    }
}

// The store grows when it is full, without losing or changing a line.
TEST_F(Transitions, SurviveTheGrowthOfTheStore) {
    SetTwoStates(6);
    ASSERT_TRUE(AllocRun());
    ASSERT_EQ(Ham2Trs(), 1);
    const auto expected = Lines();
    const int num = Kiv.Num_Trs;
    Kiv = KivRecord{};
    SetTwoStates(6);
    Kiv.Trs_Max_Lines = num;
    ASSERT_TRUE(AllocRun());
    ASSERT_EQ(Ham2Trs(), 1);
    EXPECT_EQ(Kiv.Trs_Max_Lines, num + 10000);
    ASSERT_EQ(Kiv.Num_Trs, num);
    for (const auto& [label, line] : Lines()) EXPECT_EQ(line.Erg, expected.at(label).Erg);

    Kiv.Trs_Max_Lines = num;
    for (int granted = 0; granted < 200; ++granted) {
        Kiv = KivRecord{};
        SetTwoStates(6);
        Kiv.Trs_Max_Lines = num;
        ASSERT_TRUE(AllocRun());
        ArrRefuse(granted);
        testing::internal::CaptureStdout();
        const int result = Ham2Trs();
        const std::string text = testing::internal::GetCapturedStdout();
        ArrRefuse(-1);
        EXPECT_EQ(result == 0, text.find("CORE ALLOCATION ERROR!\n") != std::string::npos);
        if (result == 1) break;
        EXPECT_LT(granted, 199);
    }
}

class Matching : public KivTest {
  protected:
    // Assignments in key order: frequency 1000 + k.
    static void Assign(const std::vector<std::uint64_t>& keys) {
        const auto num = static_cast<std::int32_t>(keys.size());
        ArrAlloc(Kiv.AsnQN_Vector, num);
        ArrAlloc(Kiv.AsnErg_Vector, num);
        ArrAlloc(Kiv.AsnUnc_Vector, num);
        for (std::int32_t k = 0; k < num; ++k) {
            Kiv.AsnQN_Vector[k] = keys[k];
            Kiv.AsnErg_Vector[k] = 1000.0 + k;
        }
        Kiv.Num_Asn_Read = Kiv.Asn_Split = num;
    }

    static std::string Run() {
        testing::internal::CaptureStdout();
        EXPECT_EQ(Ham2Trs(), 1);
        return testing::internal::GetCapturedStdout();
    }

    static std::uint64_t KeyOfMatch(int k) {
        const std::int16_t* lbl = &Kiv.FI_JKK_Lbl[6 * Kiv.FI_AsnLn_Idx[k]];
        return LineKey(lbl[3], lbl[0], lbl[3] + lbl[4] - lbl[5], lbl[0] + lbl[1] - lbl[2]);
    }
};

TEST_F(Matching, PairsEachAssignmentWithItsOwnLine) {
    SetTwoStates(4);
    Kiv.Temp[0] = 1e-4;
    Kiv.Itn_Cutoff = 1e9;  // nothing but matched lines
    // impossible (0-0), good, good twice, out of the window's J, good; then leftovers
    Assign({LineKey(0, 0, 0, 0), LineKey(1, 1, 0, 1), LineKey(2, 1, 0, 0), LineKey(2, 1, 0, 0),
            LineKey(2, 4, 0, 0), LineKey(3, 3, 2, 3), LineKey(9, 9, 0, 0), LineKey(9, 9, 0, 1)});
    ASSERT_TRUE(AllocRun());
    const std::string text = Run();
    EXPECT_EQ(Kiv.Num_Asn, 3);
    EXPECT_EQ(Kiv.Num_Rej, 5);
    EXPECT_EQ(Kiv.Num_Trs, 3);
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(KeyOfMatch(k), Kiv.AsnQN_Vector[Kiv.FI_Asn_Idx[k]]);
    }
    EXPECT_EQ(Kiv.FI_Asn_Idx[1], 2);
    EXPECT_EQ(Kiv.FI_Asn_Idx[2], 5);
    const std::string missing = "] REJECTED - SIMULATED LINE MISSING\n";
    EXPECT_NE(text.find("[0] ASSIGNED FRQ [1000.000000" + missing), std::string::npos);
    EXPECT_NE(text.find("[3] ASSIGNED FRQ [1003.000000" + missing), std::string::npos);
    EXPECT_NE(text.find("[4] ASSIGNED FRQ [1004.000000" + missing), std::string::npos);
    EXPECT_EQ(text.find("[6] "), std::string::npos);  // leftovers are counted in silence
}

// Each pass sees its own set: the band first, then, with Gnd_Only 1, the pure rotation.
TEST_F(Matching, KeepsTheSetsApart) {
    SetTwoStates(4);
    Assign({LineKey(1, 1, 0, 1), LineKey(1, 2, 1, 1), LineKey(1, 2, 0, 0), LineKey(2, 2, 1, 0),
            LineKey(2, 3, 1, 2)});
    Kiv.Asn_Split = 2;
    Kiv.Asn_Multi_Set = 1;
    ASSERT_TRUE(AllocRun());
    Run();
    EXPECT_EQ(Kiv.Num_Asn, 2);
    EXPECT_EQ(Kiv.FI_Asn_Idx[0], 0);
    EXPECT_EQ(Kiv.FI_Asn_Idx[1], 1);
    Kiv.Gnd_Only = 1;
    Kiv.Prm_Val[ST_EXC][PRM_ORI] = 0.0;
    const std::string text = Run();
    EXPECT_EQ(Kiv.Num_Asn, 2);
    EXPECT_EQ(Kiv.FI_Asn_Idx[0], 2);
    EXPECT_EQ(Kiv.FI_Asn_Idx[1], 4);
    EXPECT_EQ(Kiv.Num_Rej, 1);
    // 2(1,2) -> 2(0,2) goes down in energy: such a line is not stored, whether assigned or not
    EXPECT_NE(text.find("[3] ASSIGNED FRQ [1003.000000] REJECTED"), std::string::npos) << text;
    for (int n = 0; n < Kiv.Num_Trs; ++n) EXPECT_GE(Kiv.FI_Sim_Erg[n], 0.0);
}

// The lookup of assigned lines says, counts and stores what the full calculation does: random keys,
// possible and impossible, with selections, missing partners and negative energies.
TEST_F(Matching, LooksUpWhatTheFullCalculationFinds) {
    std::mt19937 random(7);
    const auto below = [&](int n) { return static_cast<int>(random() % n); };
    int lines = 0;
    for (int round = 0; round < 60; ++round) {
        Kiv = KivRecord{};
        SetTwoStates(5);
        Kiv.Temp[0] = round % 3 == 0 ? 0.0 : 1e-3;
        Kiv.Itn_Cutoff = 1e-3;
        Kiv.Delta_K_Order = round % 4;
        Kiv.Parity_On = round % 5 == 0 ? 1 : 0;
        for (int state : {ST_GND, ST_EXC}) {
            if (round % 7 == 0) SetTerm(state, PRM_DK, 0.4);  // high K goes below zero
        }
        Kiv.Gnd_Only = round % 2;
        std::vector<std::uint64_t> keys;
        for (int k = 0; k < 40; ++k) {
            const int Jl = below(7), Ju = std::max(0, Jl - 1 + below(3));
            keys.push_back(LineKey(Jl, Ju, below(2 * Jl + 1), below(2 * Ju + 1)));
            if (k % 10 == 0) keys.push_back(keys.back());
        }
        std::sort(keys.begin(), keys.end());
        Assign(keys);
        ASSERT_TRUE(AllocRun());
        struct Outcome {
            std::string Console;
            int Result, Num_Asn, Num_Rej;
            std::vector<std::int32_t> Matched;
            std::vector<double> Values;  // position and derivatives
            bool operator==(const Outcome&) const = default;
        };
        const auto run = [&](LineChoice choice) {
            testing::internal::CaptureStdout();
            Outcome out{};
            out.Result = Ham2Trs(choice);
            out.Console = testing::internal::GetCapturedStdout();
            out.Num_Asn = Kiv.Num_Asn;
            out.Num_Rej = Kiv.Num_Rej;
            for (int k = 0; k < Kiv.Num_Asn; ++k) {
                out.Matched.push_back(Kiv.FI_Asn_Idx[k]);
                const int n = Kiv.FI_AsnLn_Idx[k];
                EXPECT_EQ(KeyOfMatch(k), keys[Kiv.FI_Asn_Idx[k]]);
                out.Values.push_back(Kiv.FI_Sim_Erg[n]);
                double derivatives[2 * NUM_HAM_PRM] = {};
                LineDerivatives(n, derivatives);
                out.Values.insert(out.Values.end(), std::begin(derivatives), std::end(derivatives));
            }
            return out;
        };
        const Outcome all = run(LineChoice::All);
        const Outcome assigned = run(LineChoice::Assigned);
        EXPECT_EQ(all.Console, assigned.Console) << round;
        EXPECT_TRUE(all == assigned) << round;
        lines += all.Num_Asn;
    }
    EXPECT_GT(lines, 300);
}

// The levels of a state are made anew when anything they depend on has changed, and only then.
TEST_F(Transitions, SolveChangedStatesAnew) {
    SetTwoStates(5);
    SetTerm(ST_EXC, PRM_DK, 1e-3);
    SetTerm(ST_GND, PRM_DK, 1e-3);
    ASSERT_TRUE(AllocRun());
    ASSERT_EQ(Ham2Trs(), 1);
    const std::vector<std::function<void()>> changes = {
        [] { Kiv.Prm_Val[ST_GND][PRM_A] *= 1.0000001; }, [] { Kiv.Red_Stat = 0; },
        [] { Kiv.Prm_Stat[ST_GND][PRM_DK] = 0; }, [] { Kiv.Erg_Print_J_Max = 1; }};
    for (const auto& change : changes) {
        Kiv.HamErg_Vector[ST_GND][35] = -1.0;  // a mark that a new solution removes
        ASSERT_EQ(Ham2Trs(), 1);
        EXPECT_EQ(Kiv.HamErg_Vector[ST_GND][35], -1.0);
        change();
        ASSERT_EQ(Ham2Trs(), 1);
        EXPECT_GT(Kiv.HamErg_Vector[ST_GND][35], 100.0);
        Kiv.Prm_Stat[ST_GND][PRM_DK] = 1;
        Kiv.Erg_Print_J_Max = -1;
        ASSERT_EQ(Ham2Trs(), 1);
    }
}

TEST(ExpFunc, IsTheExponentialToTheLastPlace) {
    std::mt19937_64 random(3);
    std::uniform_real_distribution<double> argument(-720.0, 720.0);
    double worst = 0.0;
    for (int i = 0; i < 200000; ++i) {
        const double x = i % 2 == 0 ? argument(random) : argument(random) / 720.0;
        const long double exact = std::exp(static_cast<long double>(x));
        if (exact > 1e308L || exact < 1e-300L) continue;
        const double ulp = std::nextafter(ExpFunc(x), INFINITY) - ExpFunc(x);
        worst = std::max(worst, static_cast<double>(std::fabs(ExpFunc(x) - exact)) / ulp);
    }
    EXPECT_LT(worst, 1.0);
    EXPECT_EQ(ExpFunc(0.0), 1.0);
    EXPECT_EQ(ExpFunc(-INFINITY), 0.0);
    EXPECT_EQ(ExpFunc(INFINITY), INFINITY);
    EXPECT_TRUE(std::isnan(ExpFunc(NAN)));
}

// A rotation by a right angle exchanges A and B and leaves no cross term, so nothing is put back;
// a general one is undone in the planes of its cross terms.
TEST_F(Transitions, PutBackRotatedConstantsOnlyWithCrossTerms) {
    SetTwoStates(2);
    Tilt(ST_EXC, 0, 90, 0);
    ASSERT_TRUE(AllocRun());
    ASSERT_EQ(Ham2Trs(), 1);
    EXPECT_NEAR(Kiv.Prm_Val[ST_EXC][PRM_A], 6.3, 1e-9);
    EXPECT_NEAR(Kiv.Prm_Val[ST_EXC][PRM_B], 9.3, 1e-9);
    Kiv = KivRecord{};
    SetTwoStates(2);
    Tilt(ST_EXC, 0, 40, 0);
    ASSERT_TRUE(AllocRun());
    ASSERT_EQ(Ham2Trs(), 1);
    EXPECT_EQ(Kiv.Prm_Val[ST_EXC][PRM_A], 9.3);
    EXPECT_EQ(Kiv.Prm_Val[ST_EXC][PRM_B], 6.3);
    EXPECT_EQ(Kiv.Prm_Val[ST_EXC][PRM_PXPZ], 0.0);
}
