#include "fit/LsfTrs.h"

#include <algorithm>
#include <cmath>

#include "fit/CombDiff.h"
#include "fit/FitList.h"
#include "fit/FitLog.h"
#include "fit/FitRows.h"
#include "fit/Svd.h"
#include "run/KivPhaseLog.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"

namespace {

// Exactly one rejection cycle is run in each least-squares cycle; the next one starts from all
// lines again, with exact energies.
constexpr int kRejectionCycles = 1;

struct Fit {
    FitPasses Passes;
    FitList List;
    FitRows Rows;
    KivTable<double> v_mat;
    KivArray<double> w_vec;
    double Old[kMaxFitPrm + 1] = {};  // by slot
    double Now[kMaxFitPrm + 1] = {};
    double Sd[kMaxFitPrm + 1] = {};
};

SvdMat View(KivTable<double>& table) {
    return {table.Block.Data(), static_cast<std::ptrdiff_t>(table.Cols)};
}

bool IsCombDiffFit() { return Kiv.Fit_Stat == 3 || Kiv.Fit_Stat == 4; }

int CheckEnoughLines() {
    Kiv.Num_Fit_Prm = CountFitted();
    if (Kiv.Num_Fit_Prm > Kiv.Num_Asn_Read) {
        KivPhaseLog(PHASE_FIT, -1);
        return 0;
    }
    if (DebugIsOn(DBG_IV)) LogPut("LSF NO PRMS=%ld\n", static_cast<long>(Kiv.Num_Fit_Prm));
    return 1;
}

int AllocSolver(Fit& fit) {
    const int M = fit.List.Num_Varied, P = Kiv.Num_Fit_Prm;
    TableFree(Kiv.RC_CovarianceMat);
    if (TableAlloc(fit.v_mat, M + 1, M + 1) < 0) return CoreFailLog("LsfTrs()/v_mat");
    if (ArrAlloc(fit.w_vec, M + 1) < 0) return CoreFailLog("LsfTrs()/w_vec");
    if (TableAlloc(Kiv.RC_CovarianceMat, P + 1, P + 1) < 0) {
        return CoreFailLog("LsfTrs()/Kiv.RC_CovarianceMat");
    }
    return 1;
}

// A pass in which both levels belong to the ground state, for the second set of lines.
int RotationalPass(LineChoice choice) {
    const std::int32_t gnd_only = Kiv.Gnd_Only;
    const double origin = Kiv.Prm_Val[ST_EXC][PRM_ORI];
    Kiv.Gnd_Only = 1;
    Kiv.Prm_Val[ST_EXC][PRM_ORI] = 0.0;
    const int done = Ham2Trs(choice);
    Kiv.Gnd_Only = gnd_only;
    Kiv.Prm_Val[ST_EXC][PRM_ORI] = origin;
    return done;
}

// The pass or passes of a cycle and the lines they match. A pass overwrites the transition store,
// so the lines of the first set are gathered before the second pass.
int CalcLines(Fit& fit) {
    fit.Rows = FitRows{};
    if (!Ham2Trs(fit.Passes.Cycles)) return 0;
    if (!AllocRows(fit.Rows, fit.List, std::max(Kiv.Num_Asn, Kiv.Num_Asn_Read))) return 0;
    if (IsCombDiffFit()) return 1;
    const bool ground = Kiv.Fit_Stat == 0 || Kiv.Gnd_Only == 1;
    if (Kiv.Asn_Multi_Set != 1) {
        GatherLines(fit.Rows, fit.List, ground);
        return 1;
    }
    // A ground-only run sees the second set in both passes.
    if (Kiv.Gnd_Only != 1) GatherLines(fit.Rows, fit.List, ground);
    if (!RotationalPass(fit.Passes.Cycles)) return 0;
    GatherLines(fit.Rows, fit.List, true);
    Kiv.Num_Asn = fit.Rows.Num_Lines;
    return 1;
}

int SelectRows(Fit& fit) {
    if (IsCombDiffFit()) return CDErrorAnalysis(fit.Rows, fit.List, fit.Old);
    if (Kiv.Fit_Stat < 0 || Kiv.Fit_Stat > 4) {
        BothPut("FIT=[%ld] NOT VALID!\n", static_cast<long>(Kiv.Fit_Stat));
        return 0;
    }
    SelectLines(fit.Rows);
    return 1;
}

// Unweighted deviation of the rows kept; the rest of the Num_Asn lines count as rejected.
void SetStatistics(const FitRows& rows) {
    Kiv.Num_Rej = Kiv.Num_Asn - rows.Num;
    if (rows.Num != 0) Kiv.Omc_Std_Dev = std::sqrt(rows.Sum_Sq / rows.Num);
}

int CheckEnoughRows(const Fit& fit) {
    if (fit.Rows.Num >= fit.List.Num_Varied) return 1;
    if (Kiv.Log_On == 1) {
        BothPut("NUMBER OF ASSIGNED LINES [%ld] MUST BE >= ", static_cast<long>(fit.Rows.Num));
        BothPut("NUMBER OF PARAMETERS TO FIT [%ld] !\n", static_cast<long>(fit.List.Num_Varied));
    }
    return 0;
}

int SolveRows(Fit& fit) {
    FitRows& rows = fit.Rows;
    const FitList& list = fit.List;
    const SvdMat u{rows.u_mat.Data(), static_cast<std::ptrdiff_t>(rows.obln_vec.Num)};
    double chisq = 0.0;
    std::copy_n(fit.Old, list.Num + 1, fit.Now);
    return svdfit(nullptr, rows.obln_vec.Data(), rows.Num, fit.Now, list.Num, list.Order,
                  list.Num_Varied, u, View(fit.v_mat), fit.w_vec.Data(), &chisq,
                  rows.dvs_mat.Data(), rows.sig_vec.Data()) == 1;
}

// Position of row i by the new constants and the derivatives of the old ones.
double Predict(Fit& fit, std::int32_t i, bool debug) {
    const double* dvs = fit.Rows.Derivatives(i);
    double erg = 0.0;
    for (int slot = 1; slot <= fit.List.Num; ++slot) {
        erg += fit.Now[slot] * dvs[slot];
        if (debug) {
            LogPut("\nDVS[ %ld ] = %lf LAST PRM = %lf", static_cast<long>(slot), dvs[slot],
                   fit.Now[slot]);
        }
    }
    if (debug) {
        LogPut("\nCNT = %ld ERG = %lf OBLN = %lf", static_cast<long>(i), erg, fit.Rows.obln_vec[i]);
    }
    return erg;
}

// Drops the rows that the new constants miss by the rejection level or more.
void DropOutliers(Fit& fit) {
    FitRows& rows = fit.Rows;
    const std::int32_t num = rows.Num;
    const bool debug = DebugIsOn(DBG_IV);
    rows.Num = 0;
    rows.Sum_Sq = 0.0;
    for (std::int32_t i = 1; i <= num; ++i) {
        const double misfit = rows.obln_vec[i] - Predict(fit, i, debug);
        if (!IsOutlier(misfit)) {
            AcceptRow(rows, i, misfit);
        } else if (rows.Num <= rows.Split) {
            --rows.Split;
        }
    }
}

int SetDeviations(Fit& fit) {
    const int M = fit.List.Num_Varied;
    const SvdMat covariance = View(Kiv.RC_CovarianceMat);
    if (svdvar(View(fit.v_mat), M, fit.w_vec.Data(), covariance) != 1) return 0;
    const bool scaled = Kiv.Uniform_Unc == 1 && fit.Rows.Num > M;
    Kiv.Std_Dev_Scale = scaled ? std::sqrt(fit.Rows.Sum_Sq / (fit.Rows.Num - M)) : 1.0;
    for (int m = 1; m <= M; ++m) {
        fit.Sd[fit.List.Order[m]] = std::sqrt(std::fabs(covariance(m, m)));
    }
    return 1;
}

int RejectionCycles(Fit& fit) {
    for (int cycle = 1; cycle <= kRejectionCycles; ++cycle) {
        const std::int32_t num = fit.Rows.Num;
        if (!CheckEnoughRows(fit) || !SolveRows(fit)) return 0;
        DropOutliers(fit);
        if (!SetDeviations(fit)) return 0;
        PutCycleConstants(fit.List, cycle, fit.Now, fit.Old, fit.Sd);
        SetStatistics(fit.Rows);
        PutCycleStatistics(fit.Rows);
        PutCycleEnd(fit.Rows.Num != num);
        if (fit.Rows.Num == num) break;
    }
    return 1;
}

int FitCycle(Fit& fit, int cycle) {
    KivPhaseLog(PHASE_FIT, cycle);
    if (!CalcLines(fit)) return 0;
    GetFitValues(fit.List, fit.Old);  // after the pass, which clears the cross terms it made
    if (!SelectRows(fit)) return 0;
    SetStatistics(fit.Rows);
    PutInitialStatistics(fit.Rows);
    if (!RejectionCycles(fit)) return 0;
    return SetFitValues(fit.List, fit.Now);
}

void ScaleCovariance() {
    const double scale = Kiv.Std_Dev_Scale * Kiv.Std_Dev_Scale;
    const KivTable<double>& table = Kiv.RC_CovarianceMat;
    std::for_each_n(table.Block.Ptr.get(), table.Block.Num, [&](double& x) { x *= scale; });
}

// Letter R for every matched line that the final constants miss by the rejection level or more.
void MarkRejected() {
    for (std::int32_t k = 0; k < Kiv.Num_Asn; ++k) {
        const std::int32_t line = Kiv.FI_AsnLn_Idx[k];
        const double obs = Kiv.AsnErg_Vector[Kiv.FI_Asn_Idx[k]];
        if (IsOutlier(obs - Kiv.FI_Sim_Erg[line])) Kiv.FI_BT_Lbl[line] = 'R';
    }
}

}  // namespace

int LsfTrs(FitPasses passes) {
    TraceEnter("LsfTrs");
    KivPhaseLog(PHASE_FIT, 0);
    if (!CheckEnoughLines()) return 0;
    Fit fit;
    fit.Passes = passes;
    fit.List = MakeFitList();
    if (!AllocSolver(fit)) return 0;
    Kiv.Std_Dev_Scale = 1.0;
    PutFitStart(fit.List);
    for (int cycle = 1; cycle <= Kiv.LS_Cycles; ++cycle) {
        if (!FitCycle(fit, cycle)) return 0;
    }
    PutFitEnd(fit.Rows);
    ScaleCovariance();
    PutCovariance(fit.List);
    SetFitDeviations(fit.List);
    fit.Rows = FitRows{};
    if (!Ham2Trs(passes.Last)) return 0;
    MarkRejected();
    return TraceExit("LsfTrs");
}
