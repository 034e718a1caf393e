// Levels, labels, eigenvectors and derivatives of real and complex states.

#include "hamiltonian/Levels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "frames/EulerRot.h"
#include "hamiltonian/IHam.h"
#include "hamiltonian/RHam.h"
#include "hamiltonian/Symmetry.h"
#include "support/KivTest.h"
#include "support/Rotor.h"
#include "support/SlowRotor.h"

namespace {

int Solve(int state) { return Kiv.Cplx_Ham == 1 ? IHamSoln(state) : RHamSoln(state); }

std::vector<double> EnergiesOf(int state, int J) {
    const double* first = &Kiv.HamErg_Vector[state][J * J];
    return {first, first + 2 * J + 1};
}

std::vector<Complex> VectorOf(int state, int J, int rank) {
    std::vector<Complex> v;
    const int n = 2 * J + 1;
    std::vector<double> re(n * n), im(n * n);
    ExpandVectors(state, J, Kiv.HamErgReal_Vector[VecState(state)], re.data());
    if (Kiv.Cplx_Ham == 1) {
        ExpandVectors(state, J, Kiv.HamErgImag_Vector[VecState(state)], im.data());
    }
    for (int k = 0; k < n; ++k) v.emplace_back(re[rank * n + k], im[rank * n + k]);
    return v;
}

constexpr int kRealPrms[] = {PRM_PX, PRM_PZ,  PRM_PXPZ, PRM_DK,    PRM_DJK,   PRM_DJ, PRM_dK,
                             PRM_dJ, PRM_PZ3, PRM_PX3,  PRM_PZ2PX, PRM_PX2PZ, PRM_PZ5};
constexpr int kComplexPrms[] = {PRM_PY, PRM_PXPY, PRM_PYPZ, PRM_PY3, PRM_PZ2PY, PRM_PY2PZ};

double SmallValue(int prm) { return prm <= PRM_PYPZ ? 0.3 + 0.05 * prm : 1e-3 * (prm - 7); }

// Which constants are on beside A, B, C, in which reduction and frame.
struct TermCase {
    std::string Name;
    std::vector<int> Prms;
    int Red_Stat;
    bool Complex_Run;
    double Phi = 0.0, Theta = 0.0, Chi = 0.0;
};

void PrintTo(const TermCase& c, std::ostream* out) { *out << c.Name; }

// Each constant alone, the quartic set, all together; in a tilted frame all but the cross terms.
std::vector<TermCase> TermCases() {
    const std::vector<int> real(std::begin(kRealPrms), std::end(kRealPrms));
    std::vector<int> all(real), tilted;
    all.insert(all.end(), std::begin(kComplexPrms), std::end(kComplexPrms));
    std::copy_if(all.begin(), all.end(), std::back_inserter(tilted),
                 [](int prm) { return prm < PRM_PXPY || prm > PRM_PYPZ; });
    std::vector<TermCase> cases;
    for (int red : {0, 1}) {
        const std::string tail = red == 1 ? "_A" : "_S";
        for (int prm : all) {
            const bool complex = std::count(real.begin(), real.end(), prm) == 0;
            cases.push_back({KivRecord{}.Prm_Lbl[prm] + tail, {prm}, red, complex});
        }
        const std::vector<int> quartic = {PRM_DK, PRM_DJK, PRM_DJ, PRM_dK, PRM_dJ};
        cases.push_back({"rigid" + tail, {}, red, false});
        cases.push_back({"rigid_complex" + tail, {}, red, true});
        cases.push_back({"quartic" + tail, quartic, red, false});
        cases.push_back({"all_real" + tail, real, red, false});
        cases.push_back({"all" + tail, all, red, true});
        cases.push_back({"theta" + tail, quartic, red, false, 0, 25, 0});
        cases.push_back({"three_angles" + tail, tilted, red, true, 33, 71, -12});
    }
    for (TermCase& c : cases) std::erase(c.Name, ' ');
    return cases;
}

class Terms : public KivTest, public testing::WithParamInterface<TermCase> {
  protected:
    static constexpr int kNumLevels = 36;

    void SetUp() override {
        KivTest::SetUp();
        const TermCase& c = GetParam();
        Kiv.Max_J = 5;
        Kiv.Red_Stat = c.Red_Stat;
        Kiv.Cplx_Ham = c.Complex_Run ? 1 : 0;
        SetStdRotor(ST_GND);
        for (int prm : c.Prms) SetTerm(ST_GND, prm, SmallValue(prm));
        AllocLevels();
        std::copy_n(Kiv.Prm_Val[ST_GND], NUM_PRM, Upright);
        ASSERT_EQ(SolveAgain(), 1);
    }

    // From the constants before the turn.
    int SolveAgain() {
        const TermCase& c = GetParam();
        std::copy_n(Upright, NUM_PRM, Kiv.Prm_Val[ST_GND]);
        EulerGenMat(Kiv.Rot_Mat[ST_GND], c.Phi, c.Theta, c.Chi);
        if (c.Theta != 0.0) SimTrans(ST_GND);
        return Solve(ST_GND);
    }

    double Upright[NUM_PRM];
};

}  // namespace

// Every operator against products of angular-momentum matrices: energies by Jacobi rotations,
// H v = E v and v* w = delta for the vectors (the program's basis is the conjugate one).
TEST_P(Terms, GiveTheLevelsOfTheOperatorProducts) {
    for (int J = 0; J <= Kiv.Max_J; ++J) {
        const int n = 2 * J + 1;
        const SlowLevels slow = SlowSolve(J, ST_GND);
        const auto fast = EnergiesOf(ST_GND, J);
        for (int r = 0; r < n; ++r) {
            EXPECT_NEAR(fast[r], slow.Erg[r], 1e-11 * (1.0 + std::fabs(slow.Erg[n - 1])));
            const auto v = VectorOf(ST_GND, J, r);
            for (int q = 0; q < n; ++q) {
                const auto w = VectorOf(ST_GND, J, q);
                Complex product = 0.0, overlap = 0.0;
                for (int i = 0; i < n; ++i) {
                    product += std::conj(v[i]) * w[i];
                    overlap += v[i] * slow.Vec(i, q);  // 0 unless the energies agree
                }
                EXPECT_NEAR(std::abs(product), q == r ? 1.0 : 0.0, 1e-13);
                EXPECT_LT(std::abs(overlap * (fast[r] - slow.Erg[q])), 1e-8) << r << " " << q;
            }
        }
    }
}

// Four-point quotients, with a step that is small against the level spacing for operators of any
// order; A, B, C with respect to the values before the turn.
TEST_P(Terms, GiveDerivativesEqualToDifferenceQuotients) {
    constexpr std::pair<int, double> kQuotient[] = {{-2, 1.0}, {-1, -8.0}, {1, 8.0}, {2, -1.0}};
    const int num_dev = Kiv.Num_Dev[ST_GND];
    const KivArray<double> dev = std::move(Kiv.HamDev_Vector[ST_GND]);
    ArrAlloc(Kiv.HamDev_Vector[ST_GND], kNumLevels * num_dev);
    int slot = 0;
    for (int prm = 0; prm < NUM_HAM_PRM; ++prm) {
        if (Kiv.Prm_Stat[ST_GND][prm] != 1) continue;
        double size = 0.0;  // largest element of the operator
        const SlowMatrix op = SlowOperator(Kiv.Max_J, prm, Kiv.Red_Stat == 1);
        for (const Complex& x : op.El) size = std::max(size, std::abs(x));
        const double value = Upright[prm], step = 1e-3 / size;
        std::vector<double> quotient(kNumLevels, 0.0);
        for (const auto& [shift, weight] : kQuotient) {
            Upright[prm] = value + shift * step;
            ASSERT_EQ(SolveAgain(), 1);
            for (int level = 0; level < kNumLevels; ++level) {
                quotient[level] += weight * Kiv.HamErg_Vector[ST_GND][level] / (12 * step);
            }
        }
        Upright[prm] = value;
        for (int level = 0; level < kNumLevels; ++level) {
            EXPECT_NEAR(dev[level * num_dev + slot], quotient[level], 1e-7 * size)
                << Kiv.Prm_Lbl[prm] << " level " << level;
        }
        ++slot;
    }
    EXPECT_EQ(slot, num_dev);
}

INSTANTIATE_TEST_SUITE_P(, Terms, testing::ValuesIn(TermCases()),
                         [](const auto& c) { return c.param.Name; });

class Levels : public KivTest {};

// J(J+1) B + K^2 (A - B), and labels by rank.
TEST_F(Levels, OfASymmetricTopAreItsClosedForm) {
    Kiv.Max_J = 40;
    Kiv.Prm_Val[ST_GND][PRM_A] = 5.0;
    Kiv.Prm_Val[ST_GND][PRM_B] = Kiv.Prm_Val[ST_GND][PRM_C] = 2.0;
    AllocLevels();
    ASSERT_EQ(RHamSoln(ST_GND), 1);
    EXPECT_EQ(Kiv.Kappa[ST_GND], -1.0);
    for (int J = 0; J <= Kiv.Max_J; ++J) {
        for (int r = 0; r <= 2 * J; ++r) {
            const int level = J * J + r, K = (r + 1) / 2;
            EXPECT_NEAR(Kiv.HamErg_Vector[ST_GND][level], 2.0 * J * (J + 1) + 3.0 * K * K, 1e-9);
            EXPECT_EQ(Kiv.Ka_Vector[ST_GND][level], K);
            EXPECT_EQ(Kiv.Kc_Vector[ST_GND][level], J - r / 2);
        }
    }
}

// At high Ka the two members of an asymmetry doublet agree to rounding; each must still be a pure
// function of its symmetry, with the characters of its label, whatever the energies' last digits.
TEST_F(Levels, KeepUnresolvedDoubletsPure) {
    Kiv.Max_J = 40;
    Kiv.Prm_Val[ST_GND][PRM_A] = 60778.5522;
    Kiv.Prm_Val[ST_GND][PRM_B] = 10318.0722;
    Kiv.Prm_Val[ST_GND][PRM_C] = 8799.7023;
    AllocLevels();
    ASSERT_EQ(RHamSoln(ST_GND), 1);
    ASSERT_EQ(Kiv.Sym_Kept[ST_GND], SYM_ALL);
    for (int J = 0; J <= Kiv.Max_J; ++J) {
        for (int r = 0; r <= 2 * J; ++r) {
            const int level = J * J + r;
            const int ka = Kiv.Ka_Vector[ST_GND][level], kc = Kiv.Kc_Vector[ST_GND][level];
            EXPECT_EQ(Kiv.Sym_Vector[ST_GND][level], LabelOdd(SYM_ALL, ka, kc)) << J << " " << r;
            const auto v = VectorOf(ST_GND, J, r);
            for (int K = 0; K <= J; ++K) {
                const double sign = (J + ka + kc) % 2 == 0 ? 1.0 : -1.0;  // C2(b): (-1)^J |J,-K>
                EXPECT_EQ(v[J - K], sign * v[J + K]);
                if ((K - ka) % 2 != 0) {
                    EXPECT_EQ(v[J + K], 0.0);
                }
            }
        }
    }
}

TEST_F(Levels, OfAnOddConstantAtZeroHaveDerivativeExactlyZero) {
    for (int prm : {PRM_PX, PRM_PZ, PRM_PXPZ, PRM_PZ3, PRM_PX3, PRM_PZ2PX, PRM_PX2PZ, PRM_PZ5}) {
        Kiv = KivRecord{};
        Kiv.Max_J = 20;
        SetStdRotor(ST_GND);
        SetTerm(ST_GND, prm, 0.0);
        AllocLevels();
        ASSERT_EQ(RHamSoln(ST_GND), 1);
        for (int level = 0; level < 441; ++level) {
            EXPECT_EQ(Kiv.HamDev_Vector[ST_GND][4 * level + 3], 0.0);
        }
    }
}

// The real variant has no PY3 and PY2PZ: their columns stay in place and hold zeros.
TEST_F(Levels, KeepTheColumnsOfConstantsThatTakeNoPart) {
    Kiv.Max_J = 3;
    SetStdRotor(ST_GND);
    for (int prm : {PRM_PY3, PRM_PY2PZ, PRM_PZ5}) SetTerm(ST_GND, prm, 0.01);
    AllocLevels();
    ASSERT_EQ(RHamSoln(ST_GND), 1);
    ASSERT_EQ(Kiv.Num_Dev[ST_GND], 6);
    double sum = 0.0;
    for (int level = 0; level < 16; ++level) {
        const double* record = &Kiv.HamDev_Vector[ST_GND][level * 6];
        EXPECT_EQ(record[3], 0.0);
        EXPECT_EQ(record[4], 0.0);
        sum += std::fabs(record[5]);
    }
    EXPECT_GT(sum, 1.0);  // PZ5, in the last column
}

TEST_F(Levels, OfAGroundOnlyRunAreCopied) {
    Kiv.Max_J = 6;
    Kiv.Gnd_Only = 1;
    SetStdRotor(ST_GND);
    SetTerm(ST_GND, PRM_DK, 1e-3);
    SetTerm(ST_EXC, PRM_DK, 7.0);
    AllocLevels();
    ASSERT_EQ(RHamSoln(ST_GND), 1);
    ASSERT_EQ(RHamSoln(ST_EXC), 1);
    for (int level = 0; level < 49; ++level) {
        EXPECT_EQ(Kiv.HamErg_Vector[ST_EXC][level], Kiv.HamErg_Vector[ST_GND][level]);
        EXPECT_EQ(Kiv.Sym_Vector[ST_EXC][level], Kiv.Sym_Vector[ST_GND][level]);
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(Kiv.HamDev_Vector[ST_EXC][4 * level + i],
                      Kiv.HamDev_Vector[ST_GND][4 * level + i]);
        }
    }
    EXPECT_EQ(VectorOf(ST_EXC, 6, 5), VectorOf(ST_GND, 6, 5));
}

// Red_Stat 2 and 3 give one state the A reduction and the other the S reduction.
TEST_F(Levels, ChooseTheReductionByState) {
    const auto solve = [](int red, int state) {
        Kiv = KivRecord{};
        Kiv.Max_J = 4;
        Kiv.Red_Stat = red;
        SetStdRotor(state);
        SetTerm(state, PRM_dK, 0.01);
        SetTerm(state, PRM_dJ, 0.02);
        AllocLevels();
        RHamSoln(state);
        return EnergiesOf(state, 4);
    };
    const auto a = solve(1, ST_GND), s = solve(0, ST_GND);
    EXPECT_NE(a, s);
    EXPECT_EQ(solve(2, ST_GND), a);
    EXPECT_EQ(solve(2, ST_EXC), s);
    EXPECT_EQ(solve(3, ST_GND), s);
    EXPECT_EQ(solve(3, ST_EXC), a);
    EXPECT_EQ(solve(1, ST_EXC), a);
    EXPECT_EQ(solve(7, ST_EXC), s);
}

// Turning the frame changes no energy.
TEST_F(Levels, OfATiltedStateAreThoseOfTheUprightOne) {
    for (double phi : {0.0, 33.0}) {
        Kiv = KivRecord{};
        Kiv.Max_J = 6;
        SetStdRotor(ST_GND);
        AllocLevels();
        ASSERT_EQ(RHamSoln(ST_GND), 1);
        const std::vector<double> upright(&Kiv.HamErg_Vector[ST_GND][0],
                                          &Kiv.HamErg_Vector[ST_GND][0] + 49);
        EulerGenMat(Kiv.Rot_Mat[ST_GND], phi, 71, -phi);
        SimTrans(ST_GND);
        EXPECT_EQ(Kiv.Cplx_Ham, phi != 0.0 ? 1 : 0);
        ASSERT_EQ(Solve(ST_GND), 1);
        for (int level = 0; level < 49; ++level) {
            EXPECT_NEAR(Kiv.HamErg_Vector[ST_GND][level], upright[level], 1e-9);
        }
    }
}

TEST_F(Levels, ReportEveryRefusedArray) {
    for (int complex : {0, 1}) {
        bool done = false;
        for (int granted = 0; !done; ++granted) {
            Kiv = KivRecord{};
            Kiv.Max_J = 2;
            Kiv.Cplx_Ham = complex;
            SetStdRotor(ST_GND);
            for (int prm : kRealPrms) SetTerm(ST_GND, prm, 0.01);
            AllocLevels();
            testing::internal::CaptureStdout();
            ArrRefuse(granted);
            done = Solve(ST_GND) == 1;
            ArrRefuse(-1);
            const std::string text = testing::internal::GetCapturedStdout();
            const std::string routine = complex == 1 ? "IHamInit()/" : "HamInit()/";
            if (done) {
                EXPECT_EQ(text, "");
                EXPECT_GT(granted, 10);
            } else {
                EXPECT_NE(text.find(routine), std::string::npos) << text;
                EXPECT_NE(text.find(" - CORE ALLOCATION ERROR!\n"), std::string::npos);
            }
        }
    }
}

TEST_F(Levels, OfConstantsThatAreNotNumbersEndAllTheSame) {
    for (double bad : {double{NAN}, double{INFINITY}, -0.0, 1e308, -1e308}) {
        for (int complex : {0, 1}) {
            Kiv = KivRecord{};
            Kiv.Max_J = 4;
            Kiv.Cplx_Ham = complex;
            SetStdRotor(ST_GND);
            Kiv.Prm_Val[ST_GND][PRM_B] = bad;
            SetTerm(ST_GND, PRM_PX3, bad);
            AllocLevels();
            EXPECT_EQ(Solve(ST_GND), 1);
        }
    }
}

TEST(Symmetry, SplitsTheBasisIntoBlocksOfAllSizes) {
    for (std::uint8_t kept : {SYM_ALL, SYM_C2A, SYM_C2B, SYM_C2C, std::uint8_t{0}}) {
        for (int J = 0; J <= 7; ++J) {
            SymBlock blocks[kMaxBlocks];
            const int num = MakeSymBlocks(kept, J, blocks);
            int size = 0;
            for (int b = 0; b < num; ++b) {
                size += blocks[b].N;
                for (int m = 0; m < blocks[b].N; ++m) EXPECT_EQ(blocks[b].Index(blocks[b].K(m)), m);
                for (int other = 0; other < b; ++other) EXPECT_NE(blocks[b].Odd, blocks[other].Odd);
                EXPECT_EQ(blocks[b].Odd & ~kept, 0);
            }
            EXPECT_EQ(size, 2 * J + 1);
        }
    }
}
