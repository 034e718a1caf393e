#include "fit/FitList.h"

#include <cmath>

#include "run/KivTrace.h"

namespace {

// The ground state has no origin.
int LastPrm(int state) { return state == ST_GND ? NUM_HAM_PRM - 1 : PRM_ORI; }

bool IsExcluded(int state, int prm) {
    if (state == ST_EXC && (Kiv.Gnd_Only == 1 || Kiv.Fit_Stat == 3)) return true;
    return Kiv.Fit_Stat == 4 && (state == ST_GND || prm == PRM_ORI);
}

bool IsDifference(int state, int prm) {
    return Kiv.Fit_Stat == 2 && state == ST_EXC && prm != PRM_ORI;
}

int PrmCode(int state, int prm) { return state == ST_GND ? -(prm + 1) : prm + 1; }

int CheckRotational(int state, int prm) {
    const double value = Kiv.Prm_Val[state][prm];
    if (prm > PRM_C || value >= 0.0) return 1;
    BothPut("LEAST SQUARES FIT - NEGATIVE A,B,C PRODUCED!\n");
    LogPut("STATE=[%s] PARM[%ld]=[%lf]\n", Kiv.State_Lbl[state], static_cast<long>(prm), value);
    return 0;
}

}  // namespace

int CountFitted() {
    int count = 0;
    for (int state : {ST_GND, ST_EXC}) {
        for (int prm = 0; prm <= LastPrm(state); ++prm) {
            if (!IsExcluded(state, prm) && Kiv.Prm_Fit[state][prm] == 1) ++count;
        }
    }
    return count;
}

FitList MakeFitList() {
    FitList list;
    for (int state : {ST_GND, ST_EXC}) {
        for (int prm = 0; prm <= LastPrm(state); ++prm) {
            if (IsExcluded(state, prm) || Kiv.Prm_Stat[state][prm] != 1) continue;
            const int slot = ++list.Num;
            list.State[slot] = state;
            list.Prm[slot] = prm;
            list.Code[slot] = PrmCode(state, prm);
            if (Kiv.Prm_Fit[state][prm] == 1) list.Order[++list.Num_Varied] = slot;
        }
    }
    int position = list.Num_Varied;
    for (int slot = 1; slot <= list.Num; ++slot) {
        if (Kiv.Prm_Fit[list.State[slot]][list.Prm[slot]] != 1) list.Order[++position] = slot;
    }
    return list;
}

void GetFitValues(const FitList& list, double* values) {
    for (int slot = 1; slot <= list.Num; ++slot) {
        const int state = list.State[slot], prm = list.Prm[slot];
        values[slot] = Kiv.Prm_Val[state][prm];
        if (IsDifference(state, prm)) values[slot] -= Kiv.Prm_Val[ST_GND][prm];
    }
}

int SetFitValues(const FitList& list, const double* values) {
    for (int slot = 1; slot <= list.Num; ++slot) {
        const int state = list.State[slot], prm = list.Prm[slot];
        const bool difference = IsDifference(state, prm);
        if (Kiv.Prm_Fit[state][prm] != 1 && !difference) continue;
        Kiv.Prm_Val[state][prm] = values[slot] + (difference ? Kiv.Prm_Val[ST_GND][prm] : 0.0);
        if (!CheckRotational(state, prm)) return 0;
    }
    return 1;
}

void SetFitDeviations(const FitList& list) {
    for (int m = 1; m <= list.Num_Varied; ++m) {
        const int slot = list.Order[m];
        Kiv.Prm_Sd[list.State[slot]][list.Prm[slot]] =
            std::sqrt(std::fabs(Kiv.RC_CovarianceMat(m, m)));
    }
}
