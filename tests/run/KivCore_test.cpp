// Memory of a run: sizes, the order of the requests, every refusal, and the release.
#include "run/KivCore.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "run/KivRecord.h"
#include "support/KivTest.h"

namespace {

struct Output {
    int Status;
    std::string Console;
};

Output Alloc() {
    testing::internal::CaptureStdout();
    const int status = KivCoreAlloc();
    return {status, testing::internal::GetCapturedStdout()};
}

class KivCore : public KivTest {
  protected:
    void SetUp() override {
        KivTest::SetUp();
        Kiv.Max_J = 4;
        for (int state : {ST_GND, ST_EXC}) {
            Kiv.Prm_Val[state][PRM_A] = 10.0;
            Kiv.Prm_Val[state][PRM_B] = 6.0;
            Kiv.Prm_Val[state][PRM_C] = 4.0;
        }
    }

    static std::vector<std::size_t> CosineSizes() {
        return {Kiv.ap_cg_vec.Num, Kiv.bp_cg_vec.Num, Kiv.cp_cg_vec.Num,
                Kiv.aq_cg_vec.Num, Kiv.bq_cg_vec.Num, Kiv.cq_cg_vec.Num,
                Kiv.ar_cg_vec.Num, Kiv.br_cg_vec.Num, Kiv.cr_cg_vec.Num};
    }
};

TEST_F(KivCore, SizesByMaxJ) {
    for (int max_J : {0, 1, 4, 35}) {
        Kiv.Max_J = max_J;
        const Output got = Alloc();
        ASSERT_EQ(got.Status, 1) << got.Console;
        EXPECT_EQ(Kiv.Core_Alloc_Done, 1);
        std::size_t levels = 0;
        std::size_t components = 0;
        for (int J = 0; J <= max_J; ++J) {
            const auto n = static_cast<std::size_t>(2 * J + 1);
            levels += n;
            components += n * n;
        }
        for (int state : {ST_GND, ST_EXC}) {
            EXPECT_EQ(Kiv.HamErg_Vector[state].Num, levels);
            EXPECT_EQ(Kiv.Ka_Vector[state].Num, levels);
            EXPECT_EQ(Kiv.Kc_Vector[state].Num, levels);
            EXPECT_EQ(Kiv.Sym_Vector[state].Num, levels);
            EXPECT_EQ(Kiv.HamErgReal_Vector[state].Num, components);
            EXPECT_TRUE(Kiv.HamErgImag_Vector[state].IsNull());
            EXPECT_EQ(Kiv.HamDev_Vector[state].Num, 3 * levels);
        }
        const auto J = static_cast<std::size_t>(max_J);
        if (max_J > 0) {
            EXPECT_EQ(CosineSizes(),
                      (std::vector<std::size_t>{2 * J - 1, 4 * J - 2, 4 * J - 2, 2 * J + 1, 4 * J,
                                                4 * J, 2 * J + 1, 4 * J + 2, 4 * J + 2}));
        }
        KivCoreFree();
        EXPECT_EQ(Kiv.Core_Alloc_Done, 0);
    }
}

TEST_F(KivCore, ComplexByAnglesAndTerms) {
    struct Case {
        double Phi, Theta, Chi;
        int Slot;
        int Complex;
    };
    const Case cases[] = {{0, 0, 0, PRM_A, 0},    {0, 30, 0, PRM_A, 0},    {30, 0, 0, PRM_A, 1},
                          {0, 0, 30, PRM_A, 1},   {0, 0, 0, PRM_PY, 1},    {0, 0, 0, PRM_PXPY, 1},
                          {0, 0, 0, PRM_PYPZ, 1}, {0, 0, 0, PRM_PZ2PY, 1}, {0, 0, 0, PRM_PXPZ, 0},
                          {0, 0, 0, PRM_PY3, 0},  {0, 0, 0, PRM_PY2PZ, 0}, {0, 0, 0, PRM_PX, 0}};
    for (int state : {ST_GND, ST_EXC}) {
        for (const Case& c : cases) {
            Kiv.Euler_Phi[state] = c.Phi;
            Kiv.Euler_Theta[state] = c.Theta;
            Kiv.Euler_Chi[state] = c.Chi;
            const int before = Kiv.Prm_Stat[state][c.Slot];
            Kiv.Prm_Stat[state][c.Slot] = 1;
            ASSERT_EQ(Alloc().Status, 1);
            EXPECT_EQ(Kiv.Cplx_Ham, c.Complex) << state << " " << Kiv.Prm_Lbl[c.Slot];
            EXPECT_EQ(Kiv.HamErgImag_Vector[ST_GND].IsNull(), c.Complex == 0);
            EXPECT_EQ(Kiv.Prm_Val[state][PRM_A], 10.0) << "A, B, C keep their values";
            EXPECT_EQ(Kiv.Prm_Val[state][PRM_B], 6.0);
            EXPECT_EQ(Kiv.Prm_Val[state][PRM_C], 4.0);
            KivCoreFree();
            Kiv.Prm_Stat[state][c.Slot] = before;
            Kiv.Euler_Phi[state] = Kiv.Euler_Theta[state] = Kiv.Euler_Chi[state] = 0.0;
        }
    }
}

TEST_F(KivCore, FrameOfARotatedState) {
    Kiv.Euler_Theta[ST_EXC] = 30.0;
    ASSERT_EQ(Alloc().Status, 1);
    EXPECT_NEAR(Kiv.Rot_Mat[ST_EXC][2][2], std::sqrt(0.75), 1e-10);
    // z and x mix: T_xz = (A - B) sin cos, up to its sign
    EXPECT_NEAR(std::fabs(Kiv.Prm_Val[ST_EXC][PRM_PXPZ]), 4.0 * 0.5 * std::sqrt(0.75), 1e-8);
    EXPECT_EQ(Kiv.Prm_Val[ST_GND][PRM_PXPZ], 0.0);
}

TEST_F(KivCore, DerivativesCountedByState) {
    OpenLog();
    Kiv.Debug_Stat[DBG_0] = 1;
    Kiv.Prm_Stat[ST_GND][PRM_DK] = Kiv.Prm_Stat[ST_GND][PRM_PZ5] = 1;
    Kiv.Prm_Stat[ST_EXC][PRM_DJ] = 1;
    Kiv.Prm_Stat[ST_EXC][PRM_PX] = 2;  // only 1 switches on
    ASSERT_EQ(Alloc().Status, 1);
    EXPECT_EQ(Kiv.Num_Dev[ST_GND], 5);
    EXPECT_EQ(Kiv.Num_Dev[ST_EXC], 4);
    EXPECT_NE(LogText().find("DEV[0]=5 SZ=125\nDEV[1]=4 SZ=100\n"), std::string::npos);
    KivCoreFree();
    Kiv.Gnd_Only = 1;
    ASSERT_EQ(Alloc().Status, 1);
    EXPECT_EQ(Kiv.Num_Dev[ST_EXC], 5);
    EXPECT_EQ(Kiv.HamDev_Vector[ST_EXC].Num, 125u);
}

TEST_F(KivCore, SizesThatCannotBeIndexed) {
    for (int max_J : {-1, -1000, INT32_MIN, 46340, 100000, INT32_MAX}) {
        Kiv.Max_J = max_J;
        const Output got = Alloc();
        EXPECT_EQ(got.Status, 0) << max_J;
        EXPECT_EQ(got.Console, "KivCoreAlloc()/HamErg_Vector - CORE ALLOCATION ERROR!\n");
        EXPECT_EQ(Kiv.Core_Alloc_Done, 0);
        KivCoreFree();
    }
}

// Every request refused in turn: each has its message, in the order of allocation.
TEST_F(KivCore, EveryRefusedRequestHasItsMessage) {
    Kiv.Euler_Phi[ST_EXC] = 30.0;  // complex, so that all arrays are asked for
    Kiv.Max_J = 2;
    std::vector<std::string> messages;
    for (int granted = 0;; ++granted) {
        ASSERT_LT(granted, 100);
        ArrRefuse(granted);
        const Output got = Alloc();
        ArrRefuse(-1);
        KivCoreFree();
        if (got.Status == 1) break;
        EXPECT_EQ(Kiv.Core_Alloc_Done, 0);
        if (messages.empty() || messages.back() != got.Console) messages.push_back(got.Console);
    }
    const char* levels[] = {"HamErg_Vector", "Ka_Vector/Kc_Vector", "HamErgReal_Vector",
                            "HamErgImag_Vector", "HamDev_Vector"};
    const char* cosines[] = {"ap_cg_vec", "bp_cg_vec", "cp_cg_vec", "aq_cg_vec", "bq_cg_vec",
                             "cq_cg_vec", "ar_cg_vec", "br_cg_vec", "cr_cg_vec"};
    const auto message = [](const char* array) {
        return std::string("KivCoreAlloc()/") + array + " - CORE ALLOCATION ERROR!\n";
    };
    std::vector<std::string> expected;
    for (int state = 0; state < 2; ++state) {
        for (const char* array : levels) expected.push_back(message(array));
    }
    ASSERT_GT(messages.size(), expected.size());
    EXPECT_EQ(std::vector(messages.begin(), messages.begin() + 10), expected);
    std::size_t first = 10;  // then the store, with messages of its own
    while (first < messages.size() && messages[first].rfind("TrsOut()/", 0) == 0) ++first;
    EXPECT_GT(first, 10u);
    ASSERT_GE(messages.size(), first + 9);
    for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(messages[first + i], message(cosines[i]));
}

TEST_F(KivCore, ParityWords) {
    struct Case {
        const char *Select, *Ka, *Kc;
        const char* Message;
    };
    const Case cases[] = {
        {"Y", "E", "O", ""},
        {"N", "O", "E", ""},
        {"y", "E", "O", "PARITY SELECTION STATUS 'y' INCORRECT -> Y OR N ONLY !\n"},
        {"", "E", "O", "PARITY SELECTION STATUS '' INCORRECT -> Y OR N ONLY !\n"},
        {"Y", "e", "O", "IMPROPER OVERALL KA PARITY 'e' !\n"},
        {"Y", "E", "EO", "IMPROPER OVERALL KC PARITY 'EO' !\n"}};
    OpenLog();
    for (const Case& c : cases) {
        std::strcpy(Kiv.Parity_Stat, c.Select);
        std::strcpy(Kiv.Gnd_Parity, c.Ka);
        std::strcpy(Kiv.Exc_Parity, c.Kc);
        const std::size_t before = LogText().size();
        const Output got = Alloc();
        EXPECT_EQ(got.Status, *c.Message ? 0 : 1);
        EXPECT_EQ(got.Console, "");
        EXPECT_EQ(LogText().substr(before), c.Message);
        KivCoreFree();
        if (*c.Message) continue;
        EXPECT_EQ(Kiv.Parity_On, *c.Select == 'Y');
        EXPECT_EQ(Kiv.Ka_Parity_Odd, *c.Ka == 'O');
        EXPECT_EQ(Kiv.Kc_Parity_Odd, *c.Kc == 'O');
    }
}

TEST_F(KivCore, ReleasesWhateverExists) {
    OpenLog();
    Kiv.Debug_Stat[DBG_ALL] = 1;
    KivCoreFree();
    EXPECT_EQ(LogText(), "ENTER KivCoreFree()\nEXIT KivCoreFree()\n");
    Kiv.Euler_Phi[ST_GND] = 30.0;
    ASSERT_EQ(Alloc().Status, 1);
    ASSERT_EQ(ArrAlloc(Kiv.AsnErg_Vector, 3), 1);
    ASSERT_EQ(TableAlloc(Kiv.RC_CovarianceMat, 4, 4), 1);
    Kiv.Cplx_Ham = Kiv.Dev_On = 0;  // the switches of the run no longer say what there is
    KivCoreFree();
    for (int state : {ST_GND, ST_EXC}) {
        EXPECT_TRUE(Kiv.HamErg_Vector[state].IsNull());
        EXPECT_TRUE(Kiv.HamErgImag_Vector[state].IsNull());
        EXPECT_TRUE(Kiv.HamDev_Vector[state].IsNull());
        EXPECT_TRUE(Kiv.Sym_Vector[state].IsNull());
    }
    EXPECT_TRUE(Kiv.FI_Sim_Dev.IsNull());
    EXPECT_TRUE(Kiv.FI_ABC_ImagAmp.IsNull());
    EXPECT_TRUE(Kiv.AsnErg_Vector.IsNull());
    EXPECT_TRUE(Kiv.RC_CovarianceMat.IsNull());
    EXPECT_TRUE(Kiv.cg_vec.IsNull());
    EXPECT_TRUE(Kiv.cr_cg_vec.IsNull());
}

}  // namespace
