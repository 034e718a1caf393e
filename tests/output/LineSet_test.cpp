// The line-set files, byte by byte, from stores small enough to be sorted by hand.
#include "output/LineSet.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "run/KivRecord.h"
#include "support/KivTest.h"

namespace {

namespace fs = std::filesystem;

// Little-endian bytes of numbers, built without looking at memory.
std::string Bytes(std::uint64_t bits, int size) {
    std::string bytes;
    for (int i = 0; i < size; ++i) bytes += static_cast<char>(bits >> (8 * i) & 0xFF);
    return bytes;
}
std::string F64(const std::vector<double>& values) {
    std::string bytes;
    for (double v : values) bytes += Bytes(std::bit_cast<std::uint64_t>(v), 8);
    return bytes;
}
std::string F32(const std::vector<float>& values) {
    std::string bytes;
    for (float v : values) bytes += Bytes(std::bit_cast<std::uint32_t>(v), 4);
    return bytes;
}
std::string I32(const std::vector<std::int32_t>& values) {
    std::string bytes;
    for (std::int32_t v : values) bytes += Bytes(static_cast<std::uint32_t>(v), 4);
    return bytes;
}
std::string I16(const std::vector<std::int16_t>& values) {
    std::string bytes;
    for (std::int16_t v : values) bytes += Bytes(static_cast<std::uint16_t>(v), 2);
    return bytes;
}

constexpr std::size_t kHeaderSize = 13310;

template <class T>
void Fill(KivArray<T>& arr, const std::vector<T>& values) {
    ASSERT_EQ(ArrAlloc(arr, static_cast<std::int64_t>(values.size())), 1);
    for (std::size_t i = 0; i < values.size(); ++i) arr[i] = values[i];
}

class LineSet : public KivTest {
  protected:
    // Four lines in the order of calculation, frequencies 30 10 40 20; sorted 40 30 20 10, that
    // is lines 2 0 3 1. Of three assignments the second found no line.
    void SetUp() override {
        KivTest::SetUp();
        OpenLog();
        SetUpStore();
        Kiv.Temp[0] = 5.0;
    }

    static void SetUpStore() {
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
        Fill(Kiv.FI_Sim_Dev, {-3.0, 3.5, -1.0, 1.5, -4.0, 4.5, -2.0, 2.5});
        for (int state : {ST_GND, ST_EXC}) {
            const double up = state * 100.0;
            Fill(Kiv.HamErg_Vector[state], {up, up + 29979.2458, up + 2.0, up + 3.0});
        }
        Kiv.Num_Asn_Read = 3;
        Kiv.Num_Asn = 2;
        Kiv.Num_Rej = 1;
        Fill(Kiv.FI_AsnLn_Idx, {1, 3});
        Fill(Kiv.FI_Asn_Idx, {0, 2});
        Fill(Kiv.AsnErg_Vector, {10.5, 99.0, 19.75});
        Fill(Kiv.AsnUnc_Vector, {0.1, 9.0, 0.3});
    }

    static std::string Body() {
        const std::string file = ReadText("run.QZS");
        return file.size() < kHeaderSize ? "" : file.substr(kHeaderSize);
    }

    // Sections that all files have, up to the intensities and from the band types on.
    const std::string Frequencies = F64({40.0, 30.0, 20.0, 10.0});
    const std::string Observed = F64({0.0, 0.0, 19.75, 10.5});
    const std::string Uncertain = F32({0.f, 0.f, 0.3f, 0.1f});
    const std::string Intensities = F32({0.4f, 0.3f, 0.2f, 0.1f});
    const std::string RealAmp =
        F32({4.f, 4.1f, 4.2f, 3.f, 3.1f, 3.2f, 2.f, 2.1f, 2.2f, 1.f, 1.1f, 1.2f});
    const std::string Types = "RCBA";
    const std::string Numbers =
        I16({4, 1, 4, 3, 1, 3, 3, 0, 3, 2, 0, 2, 12, 3, 10, 120, 11, 110, 1, 0, 1, 0, 0, 0});
    const std::string Derivatives = F64({-4.0, 4.5, -3.0, 3.5, -2.0, 2.5, -1.0, 1.5});
    const std::string Head = Frequencies + Observed + Uncertain + Intensities;
};

TEST_F(LineSet, HeaderHoldsEveryFieldAtItsOffset) {
    const char* labels[] = {"A    ", "B    ", "C    ", "PX   ", "PY   ", "PZ   ", "PXPY ", "PXPZ ",
                            "PYPZ ", "DK   ", "DJK  ", "DJ   ", "dK   ", "dJ   ", "PZ3  ", "PX3  ",
                            "PY3  ", "PZ2PX", "PZ2PY", "PX2PZ", "PY2PZ", "PZ5  ", "ORI  "};
    std::string expected(kHeaderSize, '\0');
    const auto put = [&expected](std::size_t offset, const std::string& bytes) {
        expected.replace(offset, bytes.size(), bytes);
    };
    for (std::size_t state : {0u, 1u}) {
        for (std::size_t slot = 0; slot < 23; ++slot) {
            const int mark = static_cast<int>(100 * state + slot);
            Kiv.Prm_Stat[state][slot] = 1000 + mark;
            Kiv.Prm_Val[state][slot] = 0.5 + mark;
            Kiv.Prm_Sd[state][slot] = 0.25 + mark;
            if (state == 0 && slot == 22) continue;  // the ground state has no origin
            put(1316 + 200 * state + 4 * slot, I32({1000 + mark}));
            put(3658 + 400 * state + 8 * slot, F64({0.5 + mark}));
            put(4458 + 400 * state + 8 * slot, F64({0.25 + mark}));
        }
    }
    for (std::size_t slot = 0; slot < 23; ++slot) put(3158 + 10 * slot, labels[slot]);
    std::memcpy(Kiv.TM_Ang, std::vector<double>{4.0, 50.0, 120.0}.data(), sizeof Kiv.TM_Ang);
    std::memcpy(Kiv.Temp, std::vector<double>{-5.0, 50.0, 0.3}.data(), sizeof Kiv.Temp);
    Kiv.Erg_Conv = 0.695;
    Kiv.Omc_Std_Dev = 0.1;
    Kiv.Num_Asn_Read = 1003;
    Kiv.Asn_Split = 77;
    Kiv.Num_Rej = 1001;
    Kiv.Num_Dev[ST_GND] = 1;
    Kiv.Num_Fit_Prm = 3;
    Kiv.Cplx_Ham = 1;
    Fill(Kiv.FI_ABC_ImagAmp, std::vector<float>(12, 0.f));
    std::strcpy(Kiv.Version, "v9.12");
    put(0, "QZS v1.6");
    put(3008, F64({4.0, 50.0, 120.0, -5.0, 50.0, 0.3, 0.695}));
    put(3154, I32({22}));
    put(5258, F32({0.1f}));
    put(5262, I32({4, 1003, 2, 1001, 77, 1, 1, 0, 2, 3, 9, 4, 0, 0, 1, 1, 1}));
    put(5366, "KIV v9.12");
    ASSERT_EQ(TrsConvert("run"), 1);
    const std::string file = ReadText("run.QZS");
    ASSERT_GE(file.size(), kHeaderSize);
    for (std::size_t i = 0; i < kHeaderSize; ++i) ASSERT_EQ(file[i], expected[i]) << "byte " << i;
}

TEST_F(LineSet, BodyIsSortedDescending) {
    ASSERT_EQ(TrsConvert("run"), 1);
    EXPECT_EQ(Body(), Head + RealAmp + Types + Numbers + Derivatives);
    EXPECT_EQ(Kiv.FI_Sim_Erg[0], 40.0) << "the store is left sorted";
    EXPECT_EQ(Kiv.FI_Erg_Idx[ST_GND][0], 0);
}

TEST_F(LineSet, AmplitudesOnlyForMomentsOfAllOrNothing) {
    struct Case {
        double Pct[3];
        bool Present;
    };
    const Case cases[] = {{{100, 0, 0}, true},
                          {{0, 100, 100}, true},
                          {{50, 50, 0}, false},
                          {{-100, 0, 0}, false},
                          {{100, 1e-21, 0}, false}};
    for (const auto& c : cases) {
        std::memcpy(Kiv.TM_Pct, c.Pct, sizeof c.Pct);
        SetUpStore();
        ASSERT_EQ(TrsConvert("run"), 1);
        EXPECT_EQ(Body(), Head + (c.Present ? RealAmp : "") + Types + Numbers + Derivatives);
        EXPECT_EQ(ReadText("run.QZS").substr(5318, 8), I32({c.Present, c.Present}));
    }
}

TEST_F(LineSet, ImaginaryAmplitudesInComplexRuns) {
    Kiv.Cplx_Ham = 1;
    Fill(Kiv.FI_ABC_ImagAmp, {3.f, 0.f, 0.f, 1.f, 0.f, 0.f, 4.f, 0.f, 0.f, 2.f, 0.f, 0.f});
    ASSERT_EQ(TrsConvert("run"), 1);
    EXPECT_EQ(Body(), Head + RealAmp +
                          F32({4.f, 0.f, 0.f, 3.f, 0.f, 0.f, 2.f, 0.f, 0.f, 1.f, 0.f, 0.f}) +
                          Types + Numbers + Derivatives);
}

TEST_F(LineSet, EnergiesAtNoPositiveTemperature) {
    const std::string lines = Head + RealAmp + Types + Numbers + Derivatives;
    const std::string ground = F64({0.0, 29979.2458, 2.0, 3.0}) + I32({0, 3, 2, 1});
    Kiv.Temp[0] = 0.0;
    ASSERT_EQ(TrsConvert("run"), 1);
    EXPECT_EQ(Body(), lines + ground);
    SetUpStore();
    Kiv.Temp[0] = -1.0;
    Kiv.Gnd_Only = 1;
    Fill(Kiv.FI_Erg_Idx[ST_EXC], {1, 2, 3, 0});
    ASSERT_EQ(TrsConvert("run"), 1);
    EXPECT_EQ(Body(), lines + ground + F64({100.0, 30079.2458, 102.0, 103.0}) + I32({3, 1, 0, 2}));
}

TEST_F(LineSet, NoDerivativesWhenTheyAreOff) {
    Kiv.Dev_On = 0;
    ASSERT_EQ(TrsConvert("run"), 1);
    EXPECT_EQ(Body(), Head + RealAmp + Types + Numbers);
    EXPECT_EQ(ReadText("run.QZS").substr(5282, 4), I32({0}));
}

TEST_F(LineSet, CovarianceIsTheMatrixOfTheFitOrZeros) {
    const std::string lines = Head + RealAmp + Types + Numbers + Derivatives;
    Kiv.Num_Fit_Prm = 2;
    ASSERT_EQ(TrsConvert("run"), 1);
    EXPECT_EQ(Body(), lines + F64({0, 0, 0, 0})) << "no matrix";
    for (int dim : {2, 3, 5}) {  // rows and columns 0..dim-1
        SetUpStore();
        ASSERT_EQ(TableAlloc(Kiv.RC_CovarianceMat, dim, dim), 1);
        for (std::size_t i = 0; i < Kiv.RC_CovarianceMat.Block.Num; ++i) {
            Kiv.RC_CovarianceMat.Block[i] = static_cast<double>(i);
        }
        ASSERT_EQ(TrsConvert("run"), 1);
        const double d = dim;
        EXPECT_EQ(Body(), lines + (dim < 3 ? F64({0, 0, 0, 0})
                                           : F64({d + 1, d + 2, 2 * d + 1, 2 * d + 2})));
    }
}

TEST_F(LineSet, NoLines) {
    Kiv.Num_Trs = Kiv.Num_Asn = 0;
    Kiv.Num_Fit_Prm = 1;
    ASSERT_EQ(TrsConvert("run"), 1);
    EXPECT_EQ(Body(), F64({0.0}));
    EXPECT_EQ(ReadText("run.asc"),
              "BT J'Ka'Kc'  J\"Ka\"Kc\"     ITN         OBL        CALC         OmC\n");
}

TEST_F(LineSet, EqualFrequenciesKeepTheOrderOfCalculation) {
    for (std::size_t i = 0; i < 4; ++i) Kiv.FI_Sim_Erg[i] = i == 3 ? 5.0 : 7.0;
    ASSERT_EQ(TrsConvert("run"), 1);
    const std::string text = ReadText("run.asc");
    std::string types;
    for (std::size_t at = text.find('\n') + 1; at < text.size(); at = text.find('\n', at) + 1) {
        types += text[at];
    }
    EXPECT_EQ(types, "BCAR");
}

TEST_F(LineSet, TextListAscends) {
    ASSERT_EQ(TrsConvert("run"), 1);
    EXPECT_EQ(ReadText("run.asc"),
              "BT J'Ka'Kc'  J\"Ka\"Kc\"     ITN         OBL        CALC         OmC\n"
              "A  1  0  1   0  0  0   0.1000     10.5000     10.0000      0.5000\n"
              "B 12  3 10 120 11 110   0.2000     19.7500     20.0000     -0.2500\n"
              "C  3  0  3   2  0  2   0.3000      0.0000     30.0000            \n"
              "R  4  1  4   3  1  3   0.4000      0.0000     40.0000            \n");
}

TEST_F(LineSet, TextListWithGroundEnergies) {
    struct Case {
        const char* Unit;
        const char* Lines;
    };
    const Case cases[] = {
        {"MHz",
         "A  1  0  1   0  0  0   0.1000     10.5000     10.0000      0.5000      1.0000\n"
         "B 12  3 10 120 11 110   0.2000     19.7500     20.0000     -0.2500      0.0001\n"
         "C  3  0  3   2  0  2   0.3000      0.0000     30.0000                  0.0001\n"
         "R  4  1  4   3  1  3   0.4000      0.0000     40.0000                  0.0000\n"},
        {"CM-1",
         "A  1  0  1   0  0  0   0.1000     10.5000     10.0000      0.5000  29979.2458\n"
         "B 12  3 10 120 11 110   0.2000     19.7500     20.0000     -0.2500      2.0000\n"
         "C  3  0  3   2  0  2   0.3000      0.0000     30.0000                  3.0000\n"
         "R  4  1  4   3  1  3   0.4000      0.0000     40.0000                  0.0000\n"}};
    for (const auto& c : cases) {
        SetUpStore();
        Kiv.Temp[0] = 0.0;
        std::strcpy(Kiv.Erg_Unit, c.Unit);
        ASSERT_EQ(TrsConvert("run"), 1);
        EXPECT_EQ(ReadText("run.asc"),
                  std::string("BT J'Ka'Kc'  J\"Ka\"Kc\" Sij*Mu**2       OBL"
                              "        CALC         OmC     GND ERG (CM-1)\n") +
                      c.Lines);
    }
}

TEST_F(LineSet, LongTextListsCrossTheWriteBlocks) {
    const int n = 5000;
    Kiv.Num_Trs = n;
    Kiv.Num_Asn = 0;
    Kiv.Dev_On = 0;
    ASSERT_EQ(ArrAlloc(Kiv.FI_Sim_Erg, n), 1);
    ASSERT_EQ(ArrAlloc(Kiv.FI_Sim_Itn, n), 1);
    ASSERT_EQ(ArrAlloc(Kiv.FI_ABC_RealAmp, 3 * n), 1);
    ASSERT_EQ(ArrAlloc(Kiv.FI_BT_Lbl, n), 1);
    ASSERT_EQ(ArrAlloc(Kiv.FI_JKK_Lbl, 6 * n), 1);
    ASSERT_EQ(ArrAlloc(Kiv.FI_Erg_Idx[ST_GND], n), 1);
    std::string expected = "BT J'Ka'Kc'  J\"Ka\"Kc\"     ITN         OBL        CALC         OmC\n";
    for (int i = 0; i < n; ++i) {
        Kiv.FI_Sim_Erg[i] = (i * 2897 % n) * 1.25;
        Kiv.FI_BT_Lbl[i] = 'A';
        char line[128];
        std::snprintf(line, sizeof line, "A  0  0  0   0  0  0   0.0000      0.0000 %11.4f%12s\n",
                      i * 1.25, "");
        expected += line;
    }
    ASSERT_EQ(TrsConvert("run"), 1);
    EXPECT_TRUE(ReadText("run.asc") == expected);
}

TEST_F(LineSet, TextListIsLeftOutOnlyByBothLimits) {
    struct Case {
        int Ka, Kc;
        bool Present;
    };
    for (const Case c : {Case{-2, -2, false}, Case{-2, -1, true}, Case{-1, -2, true},
                         Case{-1, -1, true}, Case{3, -5, true}}) {
        fs::remove("run.asc");
        SetUpStore();
        Kiv.Asn_Ka_Max = c.Ka;
        Kiv.Asn_Kc_Max = c.Kc;
        ASSERT_EQ(TrsConvert("run"), 1);
        EXPECT_EQ(fs::exists("run.asc"), c.Present) << c.Ka << " " << c.Kc;
    }
}

TEST_F(LineSet, TracesOfTheWriters) {
    Kiv.Debug_Stat[DBG_ALL] = 1;
    ASSERT_EQ(TrsConvert("run"), 1);
    const std::string log = LogText();
    EXPECT_EQ(log.find("ENTER TrsConvert()\n"), 0u);
    const std::string end = "ENTER PrntTrsQZS()\nEXIT PrntTrs()QZS\nEXIT TrsConvert()\n";
    EXPECT_EQ(log.find(end), log.size() - end.size());
}

// Places where a file cannot be written.
class LineSetFailure : public LineSet, public testing::WithParamInterface<const char*> {
  protected:
    static void Block(const std::string& name) {
        if (std::string(GetParam()) == "folder") fs::create_directory(name);
        if (std::string(GetParam()) == "device") fs::create_symlink("/dev/full", name);
    }
};

TEST_P(LineSetFailure, OfTheBinaryFileEndsTheRun) {
    Block("run.QZS");
    EXPECT_EQ(TrsConvert("run"), 0);
    EXPECT_NE(LogText().find("FAILED TO CREATE BINARY FREQUENCY FILE [run.QZS] FOR WRITING!\n"),
              std::string::npos);
    EXPECT_FALSE(fs::exists("run.asc"));
}

TEST_P(LineSetFailure, OfTheTextListIsReportedOnly) {
    Block("run.asc");
    EXPECT_EQ(TrsConvert("run"), 1);
    EXPECT_NE(LogText().find("FAILED TO CREATE ASCII FILE [run.asc] FOR WRITING!\n"),
              std::string::npos);
    EXPECT_EQ(Body(), Head + RealAmp + Types + Numbers + Derivatives);
}

INSTANTIATE_TEST_SUITE_P(, LineSetFailure, testing::Values("folder", "device"),
                         [](const auto& place) { return std::string(place.param); });

TEST_F(LineSet, EveryRefusedRequestLeavesTheEarlierFilesWhole) {
    WriteText("run.QZS", "earlier");
    WriteText("run.asc", "earlier");
    std::string console;
    int refused = 0;
    for (;; ++refused) {
        ASSERT_LT(refused, 100);
        SetUpStore();
        testing::internal::CaptureStdout();
        ArrRefuse(refused);
        const int status = TrsConvert("run");
        ArrRefuse(-1);
        console += testing::internal::GetCapturedStdout();
        if (status == 1) break;
        EXPECT_EQ(ReadText("run.QZS"), "earlier");
        EXPECT_EQ(ReadText("run.asc"), "earlier");
        EXPECT_EQ(std::distance(fs::directory_iterator("."), fs::directory_iterator()), 2);
    }
    EXPECT_EQ(refused, 11);  // index, two work arrays and a workspace for each of eight sorts
    for (const char* array : {"cwksp", "swksp", "lwksp", "fwksp", "dwksp"}) {
        EXPECT_NE(console.find(std::string("csi6sfdrsort()/") + array), std::string::npos) << array;
    }
    const std::string log = LogText();
    for (const char* array : {"idx_ary", "td_ary", "tf_ary"}) {
        const std::string message =
            std::string("TrsConvert()/") + array + " - CORE ALLOCATION ERROR!\n";
        EXPECT_NE(log.find(message), std::string::npos) << message;
    }
    EXPECT_EQ(Body(), Head + RealAmp + Types + Numbers + Derivatives);
}

}  // namespace
