// Log listings against tests/data/output/listings.txt, which is laid out by hand.
#include "output/Listings.h"

#include <algorithm>

#include "run/KivRecord.h"
#include "run/KivTrace.h"
#include "support/KivTest.h"

namespace {

class Listings : public KivTest {
  protected:
    // A fit of ground A B C DK, excited A PZ5 and the origin: slots 1..7 in that order, but stored
    // backwards, so that a listing that skipped the order would show.
    static void Fit(int first, int last, bool values) {
        const int order[] = {0, 7, 6, 5, 4, 3, 2, 1};
        const int code[] = {0, 23, 22, 1, -10, -3, -2, -1};
        const double old[] = {0, 100.0, 1e-5, 9.0, 1e-3, 4.0, 6.0, 10.0};
        const double now[] = {0, 100.5, 3e-5, 9.5, 2e-3, 4.5, 6.25, 10.125};
        const double sd[] = {0, 0.5, 1e-6, 0.25, 1e-4, 0.1, 0.2, 0.3};
        LogPut("\n# Positions %d to %d of a fit\n", first, last);
        LsfPrntPrm(first, last, order, code, values ? now : nullptr, values ? old : nullptr,
                   values ? sd : nullptr);
    }
};

TEST_F(Listings, AreLaidOutInTheirColumns) {
    const std::int16_t ka[] = {0, 1, 1, 2, 2, 3, 3, 4, 10}, kc[] = {4, 4, 3, 3, 2, 2, 1, 1, 0};
    const double erg[] = {10.4, -13.4, 1234567.123456}, one[] = {1.0};
    double vec[81] = {};
    for (int c = 0; c < 9; ++c) vec[c * 9 + c] = 1.0;
    vec[1] = -0.5;               // eigenvector 0, K = -3
    PrntEigErg(1, ka, kc, erg);  // without a log
    PrntEigVec(0, ka, kc, one);
    PrntPrm();
    OpenLog();
    LogPut("# Laid out by hand.\n\n# Energies of one J");
    PrntEigErg(1, ka + 6, kc + 6, erg);
    LogPut("\n# Eigenvectors, eight to a block\n");
    PrntEigVec(4, ka, kc, vec);
    LogPut("# One level, with traces\n");
    Kiv.Debug_Stat[DBG_ALL] = 1;
    PrntEigErg(0, kc + 8, kc + 8, one);  // a printed block has no exit
    PrntEigVec(0, kc + 8, kc + 8, one);
    Kiv.Debug_Stat[DBG_ALL] = 0;
    LogPut("# Constants\n");
    Kiv.Prm_Val[ST_GND][PRM_A] = 60778.549;
    Kiv.Prm_Val[ST_GND][PRM_DK] = -2.59e-2;
    Kiv.Prm_Val[ST_GND][PRM_dJ] = 5.0e-5;
    Kiv.Prm_Val[ST_GND][PRM_PZ5] = 0.25;
    Kiv.Prm_Val[ST_GND][PRM_ORI] = 7.0;  // never listed
    Kiv.Prm_Val[ST_EXC][PRM_ORI] = 33000.5;
    PrntPrm();
    Fit(1, 7, false);
    Fit(5, 5, false);
    Fit(7, 7, false);
    Fit(8, 7, false);
    Kiv.Std_Dev_Scale = 2.0;
    Fit(1, 7, true);
    Kiv.Uniform_Unc = 0;
    Fit(3, 4, true);
    Fit(7, 7, true);
    EXPECT_EQ(LogText(), ReadText(KIV_TEST_DATA "/output/listings.txt"));
}

}  // namespace
