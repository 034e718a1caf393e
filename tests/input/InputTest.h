// Fixture of the input tests: texts as input files, and what the files of tests/input/files hold.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "input/InputParm.h"
#include "run/KivRecord.h"
#include "support/KivTest.h"

class InputTest : public KivTest {
  protected:
    /// A file of tests/input/files.
    static std::string Sample(const std::string& name) {
        return ReadText(std::string(KIV_SOURCE_DIR) + "/tests/input/files/" + name);
    }

    /// Reads `text` as an input file into a fresh record; Console holds what was printed.
    int Read(const std::string& text) {
        WriteText("test.in", text);
        Kiv = KivRecord{};
        return ReadFile("test.in");
    }

    int ReadFile(const std::string& name) {
        Kiv.Inp_Flnm = name;
        testing::internal::CaptureStdout();
        const int status = KivReadInputParm(Kiv);
        Console = testing::internal::GetCapturedStdout();
        return status;
    }

    /// `text` with its only `from` replaced.
    static std::string With(std::string text, const std::string& from, const std::string& to) {
        const std::size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        EXPECT_EQ(text.find(from, at + 1), std::string::npos) << from;
        if (at != std::string::npos) text.replace(at, from.size(), to);
        return text;
    }

    std::string Console;
};

/// Checks every slot of the constants against the numbering of tests/input/files: `given` are in
/// the file, all others must have their defaults.
inline void ExpectConstants(const std::vector<PrmIdx>& given) {
    bool is_given[NUM_PRM] = {};
    for (PrmIdx p : given) is_given[p] = true;
    for (int state : {ST_GND, ST_EXC}) {
        const int s = state + 1;
        for (int p = 0; p < NUM_HAM_PRM; ++p) {
            SCOPED_TRACE(testing::Message() << Kiv.State_Lbl[state] << " " << Kiv.Prm_Lbl[p]);
            const bool has_status = is_given[p] && p > PRM_C;
            const bool is_on = p <= PRM_C && !(state == ST_EXC && Kiv.Gnd_Only == 1);
            EXPECT_EQ(Kiv.Prm_Val[state][p], is_given[p] ? 100 * s + p + 0.25 : 0.0);
            EXPECT_EQ(Kiv.Prm_Fit[state][p], is_given[p] ? 1000 * s + 500 + p : 0);
            EXPECT_EQ(Kiv.Prm_Stat[state][p], has_status ? 1000 * s + p : is_on);
        }
        EXPECT_EQ(Kiv.Euler_Phi[state], 10 * s + 1.5);
        EXPECT_EQ(Kiv.Euler_Theta[state], 10 * s + 2.5);
        EXPECT_EQ(Kiv.Euler_Chi[state], 10 * s + 3.5);
    }
    EXPECT_EQ(Kiv.Prm_Val[ST_EXC][PRM_ORI], 9000.125);
    EXPECT_EQ(Kiv.Prm_Fit[ST_EXC][PRM_ORI], 77);
    EXPECT_EQ(Kiv.Prm_Stat[ST_EXC][PRM_ORI], 1);
    EXPECT_EQ(Kiv.Prm_Val[ST_GND][PRM_ORI], 0.0);
}

inline std::vector<PrmIdx> ConstantsUpTo(PrmIdx last) {
    std::vector<PrmIdx> all;
    for (int p = PRM_A; p <= last; ++p) all.push_back(static_cast<PrmIdx>(p));
    return all;
}

/// The scalars that files of all versions hold.
inline void ExpectCommonScalars() {
    EXPECT_STREQ(Kiv.Out_Base, "base_name");
    EXPECT_STREQ(Kiv.Asn_Flnm, "lines.asn");
    EXPECT_EQ(Kiv.Max_J, 41);
    EXPECT_EQ(Kiv.Delta_K_Order, 5);
    EXPECT_EQ(Kiv.Itn_Cutoff, 0.0625);
    EXPECT_EQ(Kiv.Temp[0], 11.5);
    EXPECT_EQ(Kiv.LS_Cycles, 13);
    EXPECT_EQ(Kiv.Rej_Level, 15.5);
    EXPECT_EQ(Kiv.Erg_Print_J_Min, 23);
    EXPECT_EQ(Kiv.Erg_Print_J_Max, 24);
    EXPECT_EQ(Kiv.Vec_Print_J_Min, 25);
    EXPECT_EQ(Kiv.Vec_Print_J_Max, 26);
    EXPECT_STREQ(Kiv.Parity_Stat, "Y");
    EXPECT_STREQ(Kiv.Gnd_Parity, "O");
    EXPECT_STREQ(Kiv.Exc_Parity, "E");
    EXPECT_EQ(Kiv.Erg_Scale, 1.25);
    EXPECT_EQ(Kiv.FSR, 3.75);
    EXPECT_EQ(Kiv.Debug_Stat[DBG_ALL], 31);
}

/// The scalars that the versions 3 to 5 share beyond those.
inline void ExpectRunScalars() {
    ExpectCommonScalars();
    EXPECT_STREQ(Kiv.NextInp_Flnm, "next.in");
    EXPECT_EQ(Kiv.Red_Stat, 3);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(Kiv.Spin_Wt[i], 6 + i);
    EXPECT_EQ(Kiv.Spin_On, 1);
    EXPECT_EQ(Kiv.Temp[1], 12.5);
    EXPECT_EQ(Kiv.Temp[2], 0.75);
    EXPECT_STREQ(Kiv.Erg_Unit, "CM-1");
    EXPECT_EQ(Kiv.Erg_Conv, 0.695038770005);
    EXPECT_EQ(Kiv.QZ_Fmt, 27);
    EXPECT_EQ(Kiv.Itn_Scale, 2.5);
    for (int i = 0; i < NUM_DBG; ++i) EXPECT_EQ(Kiv.Debug_Stat[i], 31 + i);
}

/// The moment of the files: angles with method 0, percentages with method 1; frame 1.
inline void ExpectMoment(int method) {
    EXPECT_EQ(Kiv.TM_Method, method);
    EXPECT_EQ(Kiv.TM_Frame, 1);
    const double given[2][3] = {{2.5, 30.5, 60.5}, {10.0, -20.0, 70.0}};
    const double* const read = method == 0 ? Kiv.TM_Ang : Kiv.TM_Pct;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(read[i], given[method][i]);
    // The other form is filled in: the percentages sum to 100, the magnitude is their sum.
    if (method == 0) {
        EXPECT_NEAR(Kiv.TM_Pct[0] + Kiv.TM_Pct[1] + Kiv.TM_Pct[2], 100.0, 1e-12);
    } else {
        EXPECT_NEAR(Kiv.TM_Ang[0], 1.0, 1e-15);
    }
}
