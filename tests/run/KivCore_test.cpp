// Memory of a run: sizes, the order of the requests, every refusal, and what decides about them.
#include "run/KivCore.h"

#include <vector>

#include "run/KivRecord.h"
#include "support/KivTest.h"

namespace {

class KivCore : public KivTest {
  protected:
    void SetUp() override {
        KivTest::SetUp();
        Kiv.Max_J = 4;
        for (auto& prm : Kiv.Prm_Val) prm[PRM_A] = 10.0, prm[PRM_B] = prm[PRM_C] = 4.0;
    }
    void TearDown() override {
        KivCoreFree();
        EXPECT_EQ(ArrHeld(), 0);
        KivTest::TearDown();
    }

    // Takes the memory and returns what was told on the console.
    static std::string Alloc(int status = 1) {
        KivCoreFree();
        EXPECT_EQ(Kiv.Core_Alloc_Done, 0);
        testing::internal::CaptureStdout();
        EXPECT_EQ(KivCoreAlloc(), status);
        EXPECT_EQ(Kiv.Core_Alloc_Done, status);
        return testing::internal::GetCapturedStdout();
    }
};

TEST_F(KivCore, SizesByMaxJ) {
    using Sizes = std::vector<std::size_t>;
    for (std::size_t J : {0u, 1u, 4u, 35u}) {
        Kiv.Max_J = static_cast<std::int32_t>(J);
        Alloc();
        std::size_t levels = 0, components = 24;  // every J filled up, alignment and slack around
        for (std::size_t n = 1; n <= 2 * J + 1; n += 2) {
            levels += n;
            components += n * ((n + 7) / 8 * 8);
        }
        for (int s : {ST_GND, ST_EXC}) {
            EXPECT_EQ((Sizes{Kiv.HamErg_Vector[s].Num, Kiv.Ka_Vector[s].Num, Kiv.Kc_Vector[s].Num,
                             Kiv.Sym_Vector[s].Num, Kiv.HamErgReal_Vector[s].Num,
                             Kiv.HamErgImag_Vector[s].Num, Kiv.HamDev_Vector[s].Num}),
                      (Sizes{levels, levels, levels, levels, components, 0, 3 * levels}));
        }
        std::size_t cosines = 0;
        for (auto* vector :
             {&Kiv.ap_cg_vec, &Kiv.bp_cg_vec, &Kiv.cp_cg_vec, &Kiv.aq_cg_vec, &Kiv.bq_cg_vec,
              &Kiv.cq_cg_vec, &Kiv.ar_cg_vec, &Kiv.br_cg_vec, &Kiv.cr_cg_vec}) {
            cosines += vector->Num;
        }
        EXPECT_EQ(cosines, J == 0 ? 6 : 30 * J + 1);
    }
    for (int max_J : {-1, -1000, INT32_MIN, 46340, 100000, INT32_MAX}) {
        Kiv.Max_J = max_J;
        EXPECT_EQ(Alloc(0), "KivCoreAlloc()/HamErg_Vector - CORE ALLOCATION ERROR!\n") << max_J;
    }
}

TEST_F(KivCore, ComplexByAnglesAndTerms) {
    struct {
        double Phi, Theta, Chi;
        int Slot, Complex;
    } const cases[] = {{0, 0, 0, PRM_A, 0},    {0, 30, 0, PRM_A, 0},    {180, 0, 0, PRM_A, 1},
                       {0, 0, 180, PRM_A, 1},  {0, 30, 40, PRM_A, 1},   {40, 30, 0, PRM_A, 1},
                       {0, 0, 0, PRM_PY, 1},   {0, 0, 0, PRM_PXPY, 1},  {0, 0, 0, PRM_PYPZ, 1},
                       {0, 0, 0, PRM_PXPZ, 0}, {0, 0, 0, PRM_PZ2PY, 1}, {0, 0, 0, PRM_PY3, 0},
                       {0, 0, 0, PRM_PX, 0},   {0, 0, 0, PRM_PY2PZ, 0}, {0, 0, 0, PRM_B, 0}};
    for (int state : {ST_GND, ST_EXC}) {
        for (const auto& c : cases) {
            Kiv.Euler_Phi[state] = c.Phi;
            Kiv.Euler_Theta[state] = c.Theta;
            Kiv.Euler_Chi[state] = c.Chi;
            Kiv.Prm_Stat[state][c.Slot] = 1;
            Alloc();
            EXPECT_EQ(Kiv.Cplx_Ham, c.Complex) << state << " case " << &c - cases;
            EXPECT_EQ(Kiv.HamErgImag_Vector[ST_GND].IsNull(), c.Complex == 0);
            EXPECT_EQ(Kiv.Prm_Val[state][PRM_A], 10.0) << "A, B, C keep their values";
            if (c.Slot > PRM_C) Kiv.Prm_Stat[state][c.Slot] = 0;
        }
    }
}

TEST_F(KivCore, DerivativesCountedByState) {
    OpenLog();
    Kiv.Debug_Stat[DBG_0] = 1;
    Kiv.Prm_Stat[ST_GND][PRM_DK] = Kiv.Prm_Stat[ST_GND][PRM_PZ5] = 1;
    Kiv.Prm_Stat[ST_EXC][PRM_DJ] = 1;
    Kiv.Prm_Stat[ST_EXC][PRM_PX] = 2;  // only 1 switches on
    Alloc();
    Kiv.Gnd_Only = 1;
    Alloc();
    EXPECT_EQ(LogText(), "DEV[0]=5 SZ=125\nDEV[1]=4 SZ=100\nDEV[0]=5 SZ=125\nDEV[1]=5 SZ=125\n");
}

TEST_F(KivCore, EveryRefusedRequestHasItsMessage) {
    Kiv.Euler_Phi[ST_EXC] = 30.0;  // complex, so that all arrays are asked for
    Kiv.Gnd_Only = 1;
    std::string told = "# Arrays of a complex run in the order of the requests.\n";
    for (int granted = 0; Kiv.Core_Alloc_Done == 0; ++granted) {
        ArrRefuse(granted);
        const std::string message = Alloc(granted < 35 ? 0 : 1);
        if (!told.ends_with(message)) told += message;
    }
    EXPECT_EQ(told, ReadText(KIV_TEST_DATA "/run/refusals.txt"));
}

}  // namespace
