#include <fstream>
#include <sstream>

#include "fit/FitTest.h"
#include "fit/LsfTrs.h"

namespace {

class Fit : public FitTest {
  protected:
    // Sets the run up for the constants and lines in the record and fits.
    static int RunFit() { return KivCoreAlloc() == 1 ? LsfTrs() : 0; }
};

// ------------------------------------------------------------------------ measured spectra

struct Expected {
    int Prm;
    double Value, Sd;
};

struct Spectrum {
    const char* Name;
    int Red_Stat, Max_J;
    std::vector<Expected> Result;
    double Weighted_Rms;
};
void PrintTo(const Spectrum& s, std::ostream* out) { *out << s.Name; }

// Weighted least squares of the same lines by two independent codes; deviations from the
// uncertainties of the lines, not scaled by the misfit.
const Spectrum kSpectra[] = {
    {"h2coh_plus",
     0,
     5,
     {{PRM_A, 197581.5594329546, 0.021039108583648047},
      {PRM_B, 34350.54739588455, 0.0024979065669233145},
      {PRM_C, 29172.6542525329, 0.002790562691306234},
      {PRM_DJ, 0.05534126336114132, 3.922231474296711e-05},
      {PRM_DJK, 0.6291980947077179, 0.0002763602490907228},
      {PRM_DK, 6.464408205562104, 0.00870135249324692},
      {PRM_dJ, -0.009531001642388043, 7.5151572663240615e-06},   // d1
      {PRM_dK, -0.001933016057371318, 1.9610816369309346e-05}},  // d2
     0.9737153793400828},
    {"so2",
     1,
     10,
     {{PRM_A, 60778.50563406158, 0.0008680308615225564},
      {PRM_B, 10318.07408685085, 0.0004950289307397397},
      {PRM_C, 8799.702762931107, 0.0004634177334563949},
      {PRM_DJ, 0.006609354729215427, 2.6278212616805533e-06},
      {PRM_DJK, -0.1167891367016953, 1.4482798163585072e-05},
      {PRM_DK, 2.582043343240439, 3.6886668870766444e-05},
      {PRM_dJ, 0.001701245485436987, 1.065045417660243e-06},
      {PRM_dK, 0.0255420566997634, 0.00015720976188603}},
     5.151069506041496},
};

std::vector<AsnLine> ReadMeasured(const std::string& name, int& max_J) {
    std::ifstream file(KIV_TEST_DATA "/" + name + "_measured.txt");
    std::vector<AsnLine> lines;
    std::string text;
    max_J = 0;
    while (std::getline(file, text)) {
        AsnLine line{};
        std::istringstream words(text);
        for (int& q : line.Q) words >> q;
        if (!(words >> line.Frq >> line.Unc)) continue;
        max_J = std::max({max_J, line.Q[0], line.Q[3]});
        lines.push_back(line);
    }
    return lines;
}

class MeasuredSpectrum : public Fit, public testing::WithParamInterface<Spectrum> {};

TEST_P(MeasuredSpectrum, GivesThePublishedConstantsAndDeviations) {
    const Spectrum& spectrum = GetParam();
    const std::vector<AsnLine> lines = ReadMeasured(spectrum.Name, Kiv.Max_J);
    ASSERT_GE(lines.size(), 32u);
    SetAssignments(lines);
    Kiv.Fit_Stat = 0;
    Kiv.Gnd_Only = 1;
    Kiv.Red_Stat = spectrum.Red_Stat;
    Kiv.Uniform_Unc = 0;
    Kiv.LS_Cycles = 8;
    for (const Expected& e : spectrum.Result) {
        SetTerm(ST_GND, e.Prm, e.Prm <= PRM_C ? e.Value * 1.001 : 0.0);
        Kiv.Prm_Fit[ST_GND][e.Prm] = 1;
    }
    ASSERT_EQ(RunFit(), 1);
    EXPECT_EQ(Kiv.Num_Asn, static_cast<int>(lines.size()));
    for (const Expected& e : spectrum.Result) {
        EXPECT_NEAR(Kiv.Prm_Val[ST_GND][e.Prm], e.Value, 1e-3 * e.Sd) << Kiv.Prm_Lbl[e.Prm];
        EXPECT_NEAR(Kiv.Prm_Sd[ST_GND][e.Prm], e.Sd, 1e-5 * e.Sd) << Kiv.Prm_Lbl[e.Prm];
    }
    double sum = 0.0;
    for (int k = 0; k < Kiv.Num_Asn; ++k) {
        const int asn = Kiv.FI_Asn_Idx[k];
        const double omc = Kiv.AsnErg_Vector[asn] - Kiv.FI_Sim_Erg[Kiv.FI_AsnLn_Idx[k]];
        sum += std::pow(omc / Kiv.AsnUnc_Vector[asn], 2);
    }
    EXPECT_NEAR(std::sqrt(sum / Kiv.Num_Asn), spectrum.Weighted_Rms, 1e-5);
}
INSTANTIATE_TEST_SUITE_P(, MeasuredSpectrum, testing::ValuesIn(kSpectra),
                         [](const auto& c) { return std::string(c.param.Name); });

// ------------------------------------------------------------------- spectra with known answers

struct Synthetic {
    const char* Name;
    int Fit_Stat;
    int Red_Stat;
    std::vector<std::pair<int, double>> Terms;  // beyond the quartic ones, of both states
    double Tilt[2][3];
    double Shift;  // relative disturbance of the start
    int Take;      // one of so many lines is assigned
};
void PrintTo(const Synthetic& s, std::ostream* out) { *out << s.Name; }

const Synthetic kSynthetic[] = {
    {"Absolute", 1, 1, {}, {}, 0.003, 14},
    {"AbsoluteS", 1, 0, {}, {}, 0.003, 14},
    {"Differences", 2, 3, {}, {}, 0.003, 14},
    {"GroundDifferences", 3, 1, {}, {}, 0.003, 12},
    {"ExcitedDifferences", 4, 1, {}, {}, 0.003, 12},
    {"OddTerms",
     1,
     1,
     {{PRM_PX, 0.5},
      {PRM_PZ, 0.3},
      {PRM_PZ3, 0.01},
      {PRM_PX3, 0.02},
      {PRM_PZ2PX, 0.03},
      {PRM_PX2PZ, 0.04},
      {PRM_PZ5, 0.001}},
     {},
     0.001,
     12},
    {"ComplexTerms",
     2,
     1,
     {{PRM_PX, 0.5},
      {PRM_PZ, 0.3},
      {PRM_PY, 0.4},
      {PRM_PY3, 0.025},
      {PRM_PZ2PY, 0.035},
      {PRM_PY2PZ, 0.045}},
     {},
     0.001,
     12},
    {"Tilted", 1, 1, {}, {{0, 0, 0}, {33, 21, -12}}, 0.003, 14},
    {"BothTilted", 2, 1, {}, {{5, 12, 20}, {33, 21, -12}}, 0.003, 14},
    {"TiltedInOnePlane", 1, 1, {}, {{0, 0, 0}, {0, 15, 0}}, 0.003, 14},
};

class KnownAnswer : public Fit, public testing::WithParamInterface<Synthetic> {};

TEST_P(KnownAnswer, IsFoundAgain) {
    const Synthetic& c = GetParam();
    Kiv.Fit_Stat = static_cast<std::int16_t>(c.Fit_Stat);
    Kiv.Red_Stat = c.Red_Stat;
    SetQuarticPair();
    for (const auto& [prm, value] : c.Terms) {
        SetTerm(ST_GND, prm, value);
        SetTerm(ST_EXC, prm, 0.9 * value);
    }
    VaryPresent();
    for (int state : {ST_GND, ST_EXC}) {
        Kiv.Euler_Phi[state] = c.Tilt[state][0];
        Kiv.Euler_Theta[state] = c.Tilt[state][1];
        Kiv.Euler_Chi[state] = c.Tilt[state][2];
        // The frame of a tilted quartic term is the tilted one, so its rotor is a different one.
    }
    SetAssignments(SlowBand(c.Take, 5));
    ASSERT_GT(Kiv.Num_Asn_Read, 60);
    const Constants truth = GetConstants();
    Disturb(c.Shift, 6);
    if (c.Fit_Stat == 3 || c.Fit_Stat == 4) {  // the other state and the origin are not fitted
        const int other = c.Fit_Stat == 3 ? ST_EXC : ST_GND;
        std::copy_n(truth[other].begin(), NUM_PRM, Kiv.Prm_Val[other]);
        Kiv.Prm_Val[ST_EXC][PRM_ORI] = truth[ST_EXC][PRM_ORI];
    }
    ASSERT_EQ(RunFit(), 1);
    // Tensors are turned with 13-digit angles; positions of 1e3 are good to 1e-9 at best.
    ExpectConstants(truth, 2e-5);
    for (int prm : {PRM_A, PRM_B, PRM_C}) {
        EXPECT_NEAR(Kiv.Prm_Val[ST_EXC][prm], truth[ST_EXC][prm], 1e-8);
        EXPECT_NEAR(Kiv.Prm_Val[ST_GND][prm], truth[ST_GND][prm], 1e-8);
    }
    EXPECT_LT(Kiv.Omc_Std_Dev, 1e-9);
}
INSTANTIATE_TEST_SUITE_P(, KnownAnswer, testing::ValuesIn(kSynthetic),
                         [](const auto& c) { return std::string(c.param.Name); });

}  // namespace
