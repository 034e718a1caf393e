// The line-set files, byte by byte, from stores small enough to be sorted by hand. The header is
// that of the whole runs.
#include "output/LineSet.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "run/KivRecord.h"
#include "support/KivTest.h"

namespace {

namespace fs = std::filesystem;

template <class T>
std::string Raw(const std::vector<T>& values) {
    return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T)};
}
const auto F64 = Raw<double>;
const auto F32 = Raw<float>;
const auto I32 = Raw<std::int32_t>;

template <class T>
void Fill(KivArray<T>& arr, const std::vector<T>& values) {
    ASSERT_EQ(ArrAlloc(arr, static_cast<std::int64_t>(values.size())), 1);
    for (std::size_t i = 0; i < values.size(); ++i) arr[i] = values[i];
}

class LineSet : public KivTest {
  protected:
    void SetUp() override {
        KivTest::SetUp();
        OpenLog();
        SetUpStore();
    }

    static int LevelOf(const std::int16_t* q) { return q[0] * q[0] + q[0] + q[1] - q[2]; }

    // The quantum numbers of the level with this index.
    static void SetLower(int level, std::int16_t* q) {
        const int J = static_cast<int>(std::sqrt(level)), rank = level - J * J;
        q[0] = static_cast<std::int16_t>(J);
        q[1] = static_cast<std::int16_t>((rank + 1) / 2);
        q[2] = static_cast<std::int16_t>(J - rank / 2);
    }

    // Four lines in the order of calculation, frequencies 30 10 40 20; sorted 40 30 20 10, that
    // is lines 2 0 3 1. Of three assignments the second found no line.
    static void SetUpStore() {
        ArrRefuse(-1);
        std::FILE* const log = Kiv.Log_Fp;
        Kiv = KivRecord{};
        Kiv.Log_Fp = log;
        Kiv.Log_On = 1;
        Kiv.Temp[0] = 5.0;
        Kiv.Prm_Val[ST_GND][PRM_ORI] = 7.0;
        Kiv.Max_J = 1;
        Kiv.Num_Dev[ST_GND] = Kiv.Num_Dev[ST_EXC] = 1;
        Kiv.Num_Trs = 4;
        Fill(Kiv.FI_Sim_Erg, {30.0, 10.0, 40.0, 20.0});
        Fill(Kiv.FI_Sim_Itn, {0.3f, 0.1f, 0.4f, 0.2f});
        Fill(Kiv.FI_ABC_RealAmp,
             {3.f, 3.1f, 3.2f, 1.f, 1.1f, 1.2f, 4.f, 4.1f, 4.2f, 2.f, 2.1f, 2.2f});
        Fill(Kiv.FI_BT_Lbl, {'C', 'A', 'R', 'B'});
        Fill(Kiv.FI_JKK_Lbl,
             {3, 0, 3, 2, 0, 2, 1, 0, 1, 0, 0, 0, 4, 1, 4, 3, 1, 3, 12, 3, 10, 120, 11, 110});
        Fill(Kiv.FI_Erg_Idx[ST_GND], {3, 1, 0, 2});
        for (int state : {ST_GND, ST_EXC}) ArrAlloc(Kiv.HamDev_Vector[state], 121 * 121);
        const double derivatives[4][2] = {{3.0, 3.5}, {1.0, 1.5}, {4.0, 4.5}, {2.0, 2.5}};
        for (int n = 0; n < 4; ++n) {
            Kiv.HamDev_Vector[ST_GND][LevelOf(&Kiv.FI_JKK_Lbl[6 * n + 3])] = derivatives[n][0];
            Kiv.HamDev_Vector[ST_EXC][LevelOf(&Kiv.FI_JKK_Lbl[6 * n])] = derivatives[n][1];
        }
        Fill(Kiv.HamErg_Vector[ST_GND], {0.0, 1.5, 2.0, 3.0});
        Fill(Kiv.HamErg_Vector[ST_EXC], {100.0, 101.5, 102.0, 103.0});
        Kiv.Num_Asn_Read = 3;
        Kiv.Num_Asn = 2;
        Fill(Kiv.FI_AsnLn_Idx, {1, 3});
        Fill(Kiv.FI_Asn_Idx, {0, 2});
        Fill(Kiv.AsnErg_Vector, {10.5, 99.0, 19.75});
        Fill(Kiv.AsnUnc_Vector, {0.1, 9.0, 0.3});
    }

    static std::string Body() { return ReadText("run.QZS").erase(0, 13310); }

    // Sections of the file, in order.
    const std::string Head = F64({40.0, 30.0, 20.0, 10.0}) + F64({0.0, 0.0, 19.75, 10.5}) +
                             F32({0.f, 0.f, 0.3f, 0.1f}) + F32({0.4f, 0.3f, 0.2f, 0.1f});
    const std::string RealAmp =
        F32({4.f, 4.1f, 4.2f, 3.f, 3.1f, 3.2f, 2.f, 2.1f, 2.2f, 1.f, 1.1f, 1.2f});
    const std::string Labels =
        "RCBA" + Raw<std::int16_t>({4,  1, 4,  3,   1,  3,   3, 0, 3, 2, 0, 2,
                                    12, 3, 10, 120, 11, 110, 1, 0, 1, 0, 0, 0});
    const std::string Lines = Labels + F64({-4.0, 4.5, -3.0, 3.5, -2.0, 2.5, -1.0, 1.5});
};

TEST_F(LineSet, BodyByTheSwitchesOfTheRun) {
    const auto moment = [](double a, double b) {
        return [=] { Kiv.TM_Pct[0] = a, Kiv.TM_Pct[1] = b; };
    };
    const auto matrix = [](int dim) {  // rows and columns 0..dim-1, elements counted
        return [=] {
            Kiv.Num_Fit_Prm = 2;
            auto& block = Kiv.RC_CovarianceMat.Block;
            if (dim > 0) TableAlloc(Kiv.RC_CovarianceMat, dim, dim);
            for (std::size_t i = 0; i < block.Num; ++i) block[i] = static_cast<double>(i);
        };
    };
    const std::string ground = F64({0.0, 1.5, 2.0, 3.0}) + I32({0, 3, 2, 1});
    struct {
        std::function<void()> Switch;
        std::string Body;
        std::vector<std::int32_t> Flags;  // derivatives, energies, amplitudes twice, complex
    } const cases[] = {
        {moment(100, 0), Head + RealAmp + Lines, {1, 0, 1, 1, 0}},
        {moment(50, 50), Head + Lines, {1, 0, 0, 0, 0}},
        {moment(-100, 0), Head + Lines, {1, 0, 0, 0, 0}},
        {[] {
             Kiv.Cplx_Ham = 1;
             Fill(Kiv.FI_ABC_ImagAmp, {3.f, 0, 0, 1.f, 0, 0, 4.f, 0, 0, 2.f, 0, 0});
         },
         Head + RealAmp + F32({4.f, 0, 0, 3.f, 0, 0, 2.f, 0, 0, 1.f, 0, 0}) + Lines,
         {1, 0, 1, 1, 1}},
        {[] { Kiv.Dev_On = 0; }, Head + RealAmp + Labels, {0, 0, 1, 1, 0}},
        {[] { Kiv.Temp[0] = 0.0; }, Head + RealAmp + Lines + ground, {1, 1, 1, 1, 0}},
        {[] {
             Kiv.Temp[0] = -1.0, Kiv.Gnd_Only = 1;
             Fill(Kiv.FI_Erg_Idx[ST_EXC], {1, 2, 3, 0});
         },
         Head + RealAmp + Lines + ground + F64({100.0, 101.5, 102.0, 103.0}) + I32({3, 1, 0, 2}),
         {1, 1, 1, 1, 0}},
        {matrix(0), Head + RealAmp + Lines + F64({0, 0, 0, 0}), {1, 0, 1, 1, 0}},
        {matrix(2), Head + RealAmp + Lines + F64({0, 0, 0, 0}), {1, 0, 1, 1, 0}},
        {matrix(3), Head + RealAmp + Lines + F64({4, 5, 7, 8}), {1, 0, 1, 1, 0}},
        {[] { Kiv.Num_Trs = Kiv.Num_Asn = 0; }, "", {1, 0, 1, 1, 0}}};
    for (const auto& c : cases) {
        SetUpStore();
        c.Switch();
        ASSERT_EQ(TrsConvert("run"), 1);
        EXPECT_TRUE(Body() == c.Body) << "case " << &c - cases;
        const std::string file = ReadText("run.QZS");
        EXPECT_EQ(file.substr(5282, 8) + file.substr(5318, 12), I32(c.Flags)) << &c - cases;
        EXPECT_EQ(file.substr(3658 + 8 * 22, 8), F64({0.0})) << "the ground state has no origin";
    }
}

// Rows of other units and temperatures are those of the whole runs.
TEST_F(LineSet, TextListInInverseCentimetres) {
    Kiv.Temp[0] = 0.0;
    std::strcpy(Kiv.Erg_Unit, "CM-1");
    ASSERT_EQ(TrsConvert("run"), 1);
    EXPECT_EQ(ReadText("run.asc"),
              "BT J'Ka'Kc'  J\"Ka\"Kc\" Sij*Mu**2       OBL        CALC         OmC"
              "     GND ERG (CM-1)\n"
              "A  1  0  1   0  0  0   0.1000     10.5000     10.0000      0.5000      1.5000\n"
              "B 12  3 10 120 11 110   0.2000     19.7500     20.0000     -0.2500      2.0000\n"
              "C  3  0  3   2  0  2   0.3000      0.0000     30.0000                  3.0000\n"
              "R  4  1  4   3  1  3   0.4000      0.0000     40.0000                  0.0000\n");
}

// A number wider than its column, in two rows.
TEST_F(LineSet, WideEnergiesOfASharedLevel) {
    Kiv.Temp[0] = 0.0;
    std::strcpy(Kiv.Erg_Unit, "CM-1");
    Kiv.HamErg_Vector[ST_GND][1] = -1e25;
    Kiv.FI_Erg_Idx[ST_GND][0] = Kiv.FI_Erg_Idx[ST_GND][3] = 1;
    ASSERT_EQ(TrsConvert("run"), 1);
    const std::string text = ReadText("run.asc"), wide = " -10000000000000000905969664.0000\n";
    std::size_t rows = 0;
    for (std::size_t at = 0; (at = text.find(wide, at)) != std::string::npos; ++at) ++rows;
    EXPECT_EQ(rows, 3U) << text;
}

TEST_F(LineSet, LongListsCrossTheWriteBlocks) {
    const int n = Kiv.Num_Trs = 14000;
    Kiv.Num_Asn = 0;
    ArrAlloc(Kiv.FI_Sim_Erg, n);
    ArrAlloc(Kiv.FI_Sim_Itn, n);
    ArrAlloc(Kiv.FI_ABC_RealAmp, 3 * n);
    Fill(Kiv.FI_BT_Lbl, std::vector<char>(n, 'A'));
    ArrAlloc(Kiv.FI_JKK_Lbl, 6 * n);
    ArrAlloc(Kiv.FI_Erg_Idx[ST_GND], n);
    for (int level = 0; level < 121 * 121; ++level) Kiv.HamDev_Vector[ST_GND][level] = -1.0 - level;
    Kiv.HamDev_Vector[ST_EXC][0] = 0.25;
    std::string text = "BT J'Ka'Kc'  J\"Ka\"Kc\"     ITN         OBL        CALC         OmC\n";
    std::string derivatives;
    for (int i = 0; i < n; ++i) {
        const int position = i * 2897 % n;
        Kiv.FI_Sim_Erg[i] = position * 1.25;
        SetLower(position, &Kiv.FI_JKK_Lbl[6 * i + 3]);
        std::int16_t q[3];
        SetLower(i, q);
        char row[96];
        std::snprintf(row, sizeof row, "A  0  0  0 %3hd %2hd %2hd   0.0000      0.0000%12.4f%13s",
                      q[0], q[1], q[2], i * 1.25, "\n");
        text += row;
        derivatives += F64({1.0 * n - i, 0.25});
    }
    ASSERT_EQ(TrsConvert("run"), 1);
    EXPECT_TRUE(ReadText("run.asc") == text);
    EXPECT_TRUE(ReadText("run.QZS").ends_with(derivatives));
}

TEST_F(LineSet, TextListIsLeftOutOnlyByBothLimits) {
    for (const auto& [ka, kc] : {std::pair{-2, -2}, {-2, -1}, {-1, -2}, {3, -5}}) {
        fs::remove("run.asc");
        SetUpStore();
        Kiv.Asn_Ka_Max = ka, Kiv.Asn_Kc_Max = kc;
        ASSERT_EQ(TrsConvert("run"), 1);
        EXPECT_EQ(fs::exists("run.asc"), ka > -2 || kc > -2) << ka << " " << kc;
    }
}

TEST_F(LineSet, FilesOfAFullDeviceAreNamed) {
    for (const std::string name : {"run.QZS", "run.asc"}) {
        SetUpStore();
        fs::create_symlink("/dev/full", name);
        const bool binary = name == "run.QZS";
        EXPECT_EQ(TrsConvert("run"), binary ? 0 : 1) << "the run can do without a text list";
        const std::string kind = binary ? "BINARY FREQUENCY" : "ASCII";
        EXPECT_TRUE(LogText().ends_with("FAILED TO CREATE " + kind + " FILE [" + name +
                                        "] FOR WRITING!\n"));
        EXPECT_EQ(fs::exists("run.asc"), !binary);
        fs::remove(name);
    }
    EXPECT_TRUE(Body() == Head + RealAmp + Lines);
}

TEST_F(LineSet, RefusedRequestsAreNamed) {
    const std::pair<int, std::string> arrays[] = {{0, "idx_ary"}, {2, "td_ary"}, {4, "tf_ary"}};
    for (const auto& [granted, array] : arrays) {
        ArrRefuse(granted);
        EXPECT_EQ(TrsConvert("run"), 0);
        EXPECT_TRUE(LogText().ends_with("TrsConvert()/" + array + " - CORE ALLOCATION ERROR!\n"));
        SetUpStore();
    }
}

}  // namespace
