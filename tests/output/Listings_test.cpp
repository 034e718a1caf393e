// Log listings against text laid out by hand.
#include "output/Listings.h"

#include <vector>

#include "run/KivRecord.h"
#include "support/KivTest.h"

namespace {

const std::string kRule(80, '-');

class Listings : public KivTest {
  protected:
    void SetUp() override {
        KivTest::SetUp();
        OpenLog();
    }
};

TEST_F(Listings, EnergiesOfOneJ) {
    const std::int16_t ka[] = {0, 1, 10};
    const std::int16_t kc[] = {1, 1, 0};
    const double erg[] = {10.4, -13.4, 1234567.123456};
    EXPECT_EQ(PrntEigErg(1, ka, kc, erg), 1);
    EXPECT_EQ(LogText(), "\n\n" + kRule + "\n|Ka Kc|     ENERGY                   J =  1\n" +
                             kRule +
                             "\n"
                             "| 0  1|    10.40000\n"
                             "| 1  1|   -13.40000\n"
                             "|10  0|1234567.12346\n");
}

TEST_F(Listings, VectorsInGroupsOfEight) {
    std::vector<double> vec(81, 0.0);
    std::vector<std::int16_t> ka(9), kc(9);
    for (int c = 0; c < 9; ++c) {
        ka[c] = static_cast<std::int16_t>((c + 1) / 2);
        kc[c] = static_cast<std::int16_t>(4 - c / 2);
        vec[c * 9 + c] = 1.0;
    }
    vec[1] = -0.5;  // eigenvector 0, K = -3
    EXPECT_EQ(PrntEigVec(4, ka.data(), kc.data(), vec.data()), 1);
    const auto row = [&](int K, int first, int last) {
        char label[8];
        std::snprintf(label, sizeof label, "|K%4d|", K);
        std::string text = label;
        for (int c = first; c <= last; ++c) {
            text += c == 0 && K == -3 ? " -0.50000" : c == K + 4 ? "  1.00000" : "  0.00000";
        }
        return text + "\n";
    };
    std::string expected = kRule +
                           "\n|Ka Kc>  04       14       13       23       22       32       31"
                           "       41       \n" +
                           kRule + "\n";
    for (int K = -4; K <= 4; ++K) expected += row(K, 0, 7);
    expected += kRule + "\n\n|Ka Kc>  40       \n" + kRule + "\n";
    for (int K = -4; K <= 4; ++K) expected += row(K, 8, 8);
    EXPECT_EQ(LogText(), expected + kRule + "\n\n");
}

TEST_F(Listings, OneLevelOfJ0) {
    const std::int16_t zero[] = {0};
    const double one[] = {1.0};
    PrntEigErg(0, zero, zero, one);
    PrntEigVec(0, zero, zero, one);
    EXPECT_EQ(LogText(), "\n\n" + kRule + "\n|Ka Kc|     ENERGY                   J =  0\n" +
                             kRule + "\n| 0  0|     1.00000\n" + kRule + "\n|Ka Kc>  00       \n" +
                             kRule + "\n|K   0|  1.00000\n" + kRule + "\n\n");
}

TEST_F(Listings, AllConstants) {
    Kiv.Prm_Val[ST_GND][PRM_A] = 60778.549;
    Kiv.Prm_Val[ST_GND][PRM_DK] = -2.59e-2;
    Kiv.Prm_Val[ST_GND][PRM_dJ] = 5.0e-5;
    Kiv.Prm_Val[ST_GND][PRM_PZ5] = 0.25;
    Kiv.Prm_Val[ST_GND][PRM_ORI] = 7.0;  // never listed
    Kiv.Prm_Val[ST_EXC][PRM_ORI] = 33000.5;
    EXPECT_EQ(PrntPrm(), 1);
    const std::string zeros =
        "PX    = 0.000000              PY    = 0.000000              PZ    = 0.000000\n"
        "PXPY  = 0.000000              PXPZ  = 0.000000              PYPZ  = 0.000000\n";
    const std::string more_zeros =
        "PY3   = 0.000000              PZ2PX = 0.000000\n"
        "PZ2PY = 0.000000              PX2PZ = 0.000000              PY2PZ = 0.000000\n";
    // clang-format off
    EXPECT_EQ(LogText(),
        "GROUND  STATE :\n"
        "A     = 60778.549000          B     = 0.000000              C     = 0.000000\n" + zeros +
        "DK    = -2.5900e-02           DJK   = 0.0000e+00            DJ    = 0.0000e+00\n"
        "dK    = 0.0000e+00            dJ    = 5.0000e-05            PZ3   = 0.000000\n"
        "PX3   = 0.000000              " + more_zeros +
        "PZ5   = 0.250000              \n"
        "\nEXCITED STATE :\n"
        "A     = 0.000000              B     = 0.000000              C     = 0.000000\n" + zeros +
        "DK    = 0.0000e+00            DJK   = 0.0000e+00            DJ    = 0.0000e+00\n"
        "dK    = 0.0000e+00            dJ    = 0.0000e+00            PZ3   = 0.000000\n"
        "PX3   = 0.000000              " + more_zeros +
        "PZ5   = 0.000000              \n"
        "\nORI   = 33000.500000\n");
    // clang-format on
}

// A fit of ground A B C DK, excited A and the origin: slots 1..6 in that order, but stored
// backwards, so that a listing that skipped the order would show.
struct FitLists : Listings {
    const int Order[7] = {0, 6, 5, 4, 3, 2, 1};
    const int Code[7] = {0, 23, 1, -10, -3, -2, -1};
    const double Old[7] = {0, 100.0, 9.0, 1e-3, 4.0, 6.0, 10.0};
    const double Now[7] = {0, 100.5, 9.5, 2e-3, 4.5, 6.25, 10.125};
    const double Sd[7] = {0, 0.5, 0.25, 1e-4, 0.1, 0.2, 0.3};
};

TEST_F(FitLists, LabelsOnly) {
    EXPECT_EQ(LsfPrntPrm(1, 6, Order, Code, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(LogText(),
              "GROUND STATE:\nA     B     C     DK    \n\nEXCITED STATE:\nA     \n\nORI   \n\n");
}

TEST_F(FitLists, RunsThatAreEmptyHaveNoHeading) {
    LsfPrntPrm(5, 5, Order, Code, nullptr, nullptr, nullptr);
    LsfPrntPrm(6, 6, Order, Code, nullptr, nullptr, nullptr);
    LsfPrntPrm(7, 6, Order, Code, nullptr, nullptr, nullptr);
    EXPECT_EQ(LogText(), "EXCITED STATE:\nA     \n\nORI   \n\n");
}

// clang-format off
TEST_F(FitLists, ValuesWithNormalisedDeviations) {
    Kiv.Std_Dev_Scale = 2.0;
    EXPECT_EQ(LsfPrntPrm(1, 6, Order, Code, Now, Old, Sd), 1);
    EXPECT_EQ(LogText(),
        "GROUND STATE:\n"
        "A     = 10.000000            B     = 6.000000             C     = 4.000000\n"
        "      = 10.125000                  = 6.250000                   = 4.500000\n"
        "      = -1.250000e-01              = -2.500000e-01              = -5.000000e-01\n"
        "      = 3.000000e-01               = 2.000000e-01               = 1.000000e-01\n"
        "      = 6.000000e-01               = 4.000000e-01               = 2.000000e-01\n\n"
        "DK    = 1.000000e-03         \n"
        "      = 2.000000e-03         \n"
        "      = -1.000000e-03        \n"
        "      = 1.000000e-04         \n"
        "      = 2.000000e-04         \n\n"
        "EXCITED STATE:\n"
        "A     = 9.000000             \n"
        "      = 9.500000             \n"
        "      = -5.000000e-01        \n"
        "      = 2.500000e-01         \n"
        "      = 5.000000e-01         \n\n"
        "ORI   = 100.000000\n"
        "      = 100.500000\n"
        "      = -0.500000\n"
        "      = 0.500000\n"
        "      = 1.000000e+00\n\n");
}

TEST_F(FitLists, ValuesWithoutNormalisedDeviations) {
    Kiv.Uniform_Unc = 0;
    LsfPrntPrm(3, 4, Order, Code, Now, Old, Sd);
    LsfPrntPrm(6, 6, Order, Code, Now, Old, Sd);
    EXPECT_EQ(LogText(),
        "GROUND STATE:\n"
        "C     = 4.000000             DK    = 1.000000e-03         \n"
        "      = 4.500000                   = 2.000000e-03         \n"
        "      = -5.000000e-01              = -1.000000e-03        \n"
        "      = 1.000000e-01               = 1.000000e-04         \n\n"
        "ORI   = 100.000000\n"
        "      = 100.500000\n"
        "      = -0.500000\n"
        "      = 0.500000\n\n");
}
// clang-format on

TEST_F(Listings, TracesOfTheRoutines) {
    Kiv.Debug_Stat[DBG_ALL] = 1;
    const std::int16_t zero[] = {0};
    const double one[] = {1.0};
    PrntEigErg(0, zero, zero, one);
    PrntEigVec(0, zero, zero, one);
    PrntPrm();
    const std::string log = LogText();
    EXPECT_EQ(log.find("ENTER PrntEigErg()\n"), 0u);
    EXPECT_EQ(log.find("EXIT PrntEigErg()"), std::string::npos) << "a printed block has no exit";
    for (const char* trace :
         {"ENTER PrntEigVec()\n", "EXIT PrntEigVec()\n", "ENTER PrntPrm()\n", "EXIT PrntPrm()\n"}) {
        EXPECT_NE(log.find(trace), std::string::npos) << trace;
    }
}

TEST_F(Listings, NothingWithoutALog) {
    Kiv.Log_On = 0;
    const std::int16_t zero[] = {0};
    const double one[] = {1.0};
    EXPECT_EQ(PrntEigErg(0, zero, zero, one), 1);
    EXPECT_EQ(PrntEigVec(0, zero, zero, one), 1);
    EXPECT_EQ(PrntPrm(), 1);
    EXPECT_EQ(LogText(), "");
}

}  // namespace
