// Fixture of the fits: assignments given as a list, lines computed by the slow independent rotor.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <random>
#include <sstream>

#include "frames/EulerRot.h"
#include "run/KivCore.h"
#include "run/KivKey.h"
#include "support/KivTest.h"
#include "support/Rotor.h"
#include "support/SlowRotor.h"

/// An assigned line: J', Ka', Kc', J'', Ka'', Kc''.
struct AsnLine {
    int Q[6];
    double Frq = 0.0, Unc = 1.0;

    std::uint64_t Key() const {
        return LineKey(Q[3], Q[0], Q[3] + Q[4] - Q[5], Q[0] + Q[1] - Q[2]);
    }
    bool operator<(const AsnLine& other) const { return Key() < other.Key(); }
};

class FitTest : public KivTest {
  protected:
    double Truth[2][NUM_PRM];  // the constants when the lines were set
    std::string Out;           // console text of the last Run

    void SetUp() override {
        KivTest::SetUp();
        Kiv.Temp[0] = 0.0;
        Kiv.Delta_K_Order = 1000;
        Kiv.Uniform_Unc = 1;
        Kiv.Rej_Level = 1e6;
        Kiv.LS_Cycles = Kiv.Max_J = 6;
    }

    /// Puts the sets of lines into the record, each sorted by its key.
    void SetAssignments(std::vector<AsnLine> first, std::vector<AsnLine> second = {}) {
        std::stable_sort(first.begin(), first.end());
        std::stable_sort(second.begin(), second.end());
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
        std::memcpy(Truth, Kiv.Prm_Val, sizeof Truth);
    }

    /// Level energies of the constants now in the record, by J and rank.
    static std::vector<std::vector<double>> SlowEnergies(int state) {
        constexpr int kTensor[6] = {PRM_B, PRM_PXPY, PRM_C, PRM_PXPZ, PRM_PYPZ, PRM_A};
        constexpr int kRow[6] = {0, 1, 1, 2, 2, 2}, kCol[6] = {0, 0, 1, 0, 1, 2};
        double* prm = Kiv.Prm_Val[state];
        std::int32_t* stat = Kiv.Prm_Stat[state];
        const std::vector<double> prm_before(prm, prm + NUM_PRM);
        const std::vector<std::int32_t> stat_before(stat, stat + NUM_PRM);
        double g[3][3], T[3][3] = {{prm[PRM_B]}, {0, prm[PRM_C]}, {0, 0, prm[PRM_A]}};
        EulerGenMat(g, Kiv.Euler_Phi[state], Kiv.Euler_Theta[state], Kiv.Euler_Chi[state]);
        EulerHamRot(T, g);
        for (int i = 0; i < 6 && IsRotated(Kiv, state); ++i) {
            SetTerm(state, kTensor[i], T[kRow[i]][kCol[i]]);
        }
        std::vector<std::vector<double>> erg;
        for (int J = 0; J <= Kiv.Max_J; ++J) erg.push_back(SlowSolve(J, state).Erg);
        std::copy(prm_before.begin(), prm_before.end(), prm);
        std::copy(stat_before.begin(), stat_before.end(), stat);
        return erg;
    }

    /// Every `take`-th allowed line on average, with positions above `least`.
    static std::vector<AsnLine> SlowLines(int lower, int upper, double origin, unsigned take,
                                          double least) {
        const auto below = SlowEnergies(lower), above = SlowEnergies(upper);
        std::mt19937 gen(5);
        std::vector<AsnLine> lines;
        for (int Jl = 0; Jl <= Kiv.Max_J; ++Jl) {
            for (int Ju = std::max(0, Jl - 1); Ju <= std::min(Kiv.Max_J, Jl + 1); ++Ju) {
                for (int i = Jl + Ju == 0 ? 1 : 0; i < (2 * Jl + 1) * (2 * Ju + 1); ++i) {
                    const int l = i / (2 * Ju + 1), u = i % (2 * Ju + 1);
                    const double frq = origin + above[Ju][u] - below[Jl][l];
                    if (frq <= least || gen() % take != 0) continue;
                    lines.push_back(
                        {{Ju, (u + 1) / 2, Ju - u / 2, Jl, (l + 1) / 2, Jl - l / 2}, frq});
                }
            }
        }
        return lines;
    }
    static std::vector<AsnLine> SlowBand(unsigned take) {
        return SlowLines(ST_GND, ST_EXC, Kiv.Prm_Val[ST_EXC][PRM_ORI], take, -1e30);
    }
    static std::vector<AsnLine> SlowRotation(unsigned take) {
        return SlowLines(ST_GND, ST_GND, 0.0, take, 1e-3);
    }

    template <class Routine>
    int Run(Routine routine) {
        testing::internal::CaptureStdout();
        const int status = routine();
        Out = testing::internal::GetCapturedStdout();
        return status;
    }

    /// The numbers at the beginning of each line of a text that begins with one.
    static std::vector<std::vector<double>> Numbers(const std::string& text) {
        std::istringstream file(text);
        std::vector<std::vector<double>> rows;
        for (std::string line; std::getline(file, line);) {
            std::istringstream words(line);
            const std::vector<double> row{std::istream_iterator<double>(words), {}};
            if (!row.empty()) rows.push_back(row);
        }
        return rows;
    }
};
