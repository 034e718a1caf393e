// Fixture of the fits: a run without files, assignments given as a list, lines computed by the slow
// independent rotor.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "frames/EulerRot.h"
#include "run/KivCore.h"
#include "run/KivKey.h"
#include "run/KivRecord.h"
#include "support/KivTest.h"
#include "support/Rotor.h"
#include "support/SlowRotor.h"

/// An assigned line: J', Ka', Kc', J'', Ka'', Kc''.
struct AsnLine {
    std::array<int, 6> Q;
    double Frq;
    double Unc = 1.0;

    std::uint64_t Key() const {
        return LineKey(Q[3], Q[0], Q[3] + Q[4] - Q[5], Q[0] + Q[1] - Q[2]);
    }
};

class FitTest : public KivTest {
  protected:
    /// Constants by state and index, to be compared after a fit.
    using Constants = std::array<std::array<double, NUM_PRM>, 2>;

    void SetUp() override {
        KivTest::SetUp();
        Kiv.Temp[0] = 0.0;
        Kiv.Delta_K_Order = 1000;
        Kiv.Uniform_Unc = 1;
        Kiv.Rej_Level = 1e6;
        Kiv.LS_Cycles = 6;
        Kiv.Max_J = 6;
    }

    static Constants GetConstants() {
        Constants c;
        for (int state : {ST_GND, ST_EXC}) {
            std::copy_n(Kiv.Prm_Val[state], NUM_PRM, c[state].begin());
        }
        return c;
    }

    static void SetConstants(const Constants& c) {
        for (int state : {ST_GND, ST_EXC}) {
            std::copy_n(c[state].begin(), NUM_PRM, Kiv.Prm_Val[state]);
        }
    }

    /// Has the next pass solve both states anew, whatever their constants.
    static void ForgetLevels() {
        for (KivSolved& solved : Kiv.Solved) solved = KivSolved{};
    }

    /// Puts the sets of lines into the record, each sorted by its key.
    static void SetAssignments(std::vector<AsnLine> first, std::vector<AsnLine> second = {}) {
        const auto by_key = [](const AsnLine& a, const AsnLine& b) { return a.Key() < b.Key(); };
        std::stable_sort(first.begin(), first.end(), by_key);
        std::stable_sort(second.begin(), second.end(), by_key);
        Kiv.Asn_Split = static_cast<std::int32_t>(first.size());
        Kiv.Asn_Multi_Set = second.empty() ? 0 : 1;
        first.insert(first.end(), second.begin(), second.end());
        Kiv.Num_Asn_Read = static_cast<std::int32_t>(first.size());
        ArrAlloc(Kiv.AsnQN_Vector, Kiv.Num_Asn_Read);
        ArrAlloc(Kiv.AsnErg_Vector, Kiv.Num_Asn_Read);
        ArrAlloc(Kiv.AsnUnc_Vector, Kiv.Num_Asn_Read);
        for (std::size_t k = 0; k < first.size(); ++k) {
            Kiv.AsnQN_Vector[k] = first[k].Key();
            Kiv.AsnErg_Vector[k] = first[k].Frq;
            Kiv.AsnUnc_Vector[k] = first[k].Unc;
        }
    }

    /// Level energies of the constants now in the record, by J and rank. Tilted states are solved
    /// with the turned tensor in place of A, B, C.
    static std::vector<std::vector<double>> SlowEnergies(int state, int max_J) {
        const KivRecord& kiv = Kiv;
        double value[NUM_PRM];
        std::int32_t stat[NUM_PRM];
        std::copy_n(kiv.Prm_Val[state], NUM_PRM, value);
        std::copy_n(kiv.Prm_Stat[state], NUM_PRM, stat);
        if (IsRotated(kiv, state)) TurnTensor(state);
        std::vector<std::vector<double>> erg;
        for (int J = 0; J <= max_J; ++J) erg.push_back(SlowSolve(J, state).Erg);
        std::copy_n(value, NUM_PRM, Kiv.Prm_Val[state]);
        std::copy_n(stat, NUM_PRM, Kiv.Prm_Stat[state]);
        return erg;
    }

    /// Lines from `lower` to `upper`, every `take`-th allowed pair on average, with positions above
    /// `least`.
    static std::vector<AsnLine> SlowLines(int lower, int upper, double origin, int take,
                                          double least, unsigned seed) {
        const auto below = SlowEnergies(lower, Kiv.Max_J), above = SlowEnergies(upper, Kiv.Max_J);
        std::mt19937 gen(seed);
        std::vector<AsnLine> lines;
        for (int Jl = 0; Jl <= Kiv.Max_J; ++Jl) {
            for (int Ju = std::max(0, Jl - 1); Ju <= std::min(Kiv.Max_J, Jl + 1); ++Ju) {
                if (Jl + Ju == 0) continue;
                for (int l = 0; l <= 2 * Jl; ++l) {
                    for (int u = 0; u <= 2 * Ju; ++u) {
                        const double frq = origin + above[Ju][u] - below[Jl][l];
                        if (frq <= least || gen() % static_cast<unsigned>(take) != 0) continue;
                        lines.push_back(
                            {{Ju, (u + 1) / 2, Ju - u / 2, Jl, (l + 1) / 2, Jl - l / 2}, frq});
                    }
                }
            }
        }
        return lines;
    }

    /// Lines between the two states.
    static std::vector<AsnLine> SlowBand(int take, unsigned seed) {
        return SlowLines(ST_GND, ST_EXC, Kiv.Prm_Val[ST_EXC][PRM_ORI], take, -1e30, seed);
    }

    /// Two different rotors with quartic constants; the constants present are varied.
    static void SetQuarticPair() {
        const double gnd[3] = {10.0, 6.1, 4.3}, exc[3] = {9.3, 6.3, 4.1};
        const double quartic[5] = {2e-3, 4e-4, 6e-4, 2e-4, 1e-4};  // DK DJK DJ dK dJ
        for (int i = 0; i < 3; ++i) {
            Kiv.Prm_Val[ST_GND][i] = gnd[i];
            Kiv.Prm_Val[ST_EXC][i] = exc[i];
        }
        for (int i = 0; i < 5; ++i) {
            SetTerm(ST_GND, PRM_DK + i, quartic[i]);
            SetTerm(ST_EXC, PRM_DK + i, 1.2 * quartic[i]);
        }
        Kiv.Prm_Val[ST_EXC][PRM_ORI] = 1000.0;
        VaryPresent();
    }

    /// Marks every constant that is present for fitting.
    static void VaryPresent() {
        for (int state : {ST_GND, ST_EXC}) {
            for (int prm = 0; prm < NUM_PRM; ++prm) {
                Kiv.Prm_Fit[state][prm] = Kiv.Prm_Stat[state][prm] == 1 ? 1 : 0;
            }
        }
    }

    /// Multiplies the varied constants by 1 + size * (a fixed number in -1..1).
    static void Disturb(double size, unsigned seed) {
        std::mt19937 gen(seed);
        std::uniform_real_distribution<double> draw(-1.0, 1.0);
        for (int state : {ST_GND, ST_EXC}) {
            for (int prm = 0; prm < NUM_PRM; ++prm) {
                const double x = draw(gen);
                if (Kiv.Prm_Fit[state][prm] == 1) Kiv.Prm_Val[state][prm] *= 1.0 + size * x;
            }
        }
    }

    /// Every constant equal to that of `truth` within `tol`, relative.
    static void ExpectConstants(const Constants& truth, double tol) {
        for (int state : {ST_GND, ST_EXC}) {
            for (int prm = 0; prm < NUM_PRM; ++prm) {
                EXPECT_NEAR(Kiv.Prm_Val[state][prm], truth[state][prm],
                            tol * std::fabs(truth[state][prm]))
                    << Kiv.State_Lbl[state] << " " << Kiv.Prm_Lbl[prm];
            }
        }
    }

    /// Runs `routine` and returns what it wrote to the console.
    template <class Routine>
    static std::string Console(Routine routine) {
        testing::internal::CaptureStdout();
        routine();
        return testing::internal::GetCapturedStdout();
    }

  private:
    static void TurnTensor(int state) {
        double* prm = Kiv.Prm_Val[state];
        double g[3][3], T[3][3] = {};
        EulerGenMat(g, Kiv.Euler_Phi[state], Kiv.Euler_Theta[state], Kiv.Euler_Chi[state]);
        const double diag[3] = {prm[PRM_B], prm[PRM_C], prm[PRM_A]};
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) {
                for (int k = 0; k < 3; ++k) T[i][j] += g[i][k] * diag[k] * g[j][k];
            }
        }
        prm[PRM_B] = T[0][0];
        prm[PRM_C] = T[1][1];
        prm[PRM_A] = T[2][2];
        SetTerm(state, PRM_PXPY, T[0][1]);
        SetTerm(state, PRM_PXPZ, T[0][2]);
        SetTerm(state, PRM_PYPZ, T[1][2]);
    }
};
