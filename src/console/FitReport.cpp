// What a run shows of a fit.
#include "console/Listings.h"
#include "console/PhaseLog.h"
#include "console/RunReport.h"
#include "fit/FitList.h"

namespace kiv {

void RunReport::PutLevelAndAccepted(const FitStatistics& statistics) {
    console_.Log("OMC REJECTION LEVEL= %-20.4lf", file_.reject_above);
    console_.Log("           ASN LINES ACCEPTED = %-d\n", statistics.used);
}

void RunReport::PutDeviationAndRejected(const FitStatistics& statistics) {
    console_.Log("OMC STD DEV        = %-20.6f", statistics.rms);
    console_.Log("           ASN LINES REJECTED = %-d\n", statistics.rejected);
}

void RunReport::TooFewAssignments(std::int32_t assignments, int marked) {
    if (console_.log_is_on()) ReportTooFewLines(console_, assignments, marked);
}

void RunReport::ConstantsCounted(int marked) {
    if (console_.DebugIsOn(DebugPart::Fit)) console_.Log("LSF NO PRMS=%d\n", marked);
}

void RunReport::FitStarts(const FitList& list, const Model& model) {
    if (!console_.log_is_on()) return;
    console_.Log("[%d] PARAMETERS TO BE VARIED\n\n", list.num_varied);
    ListFitLabels(console_, list, 1, list.num_varied);
    console_.Log("\n[%d] PARAMETERS HELD FIXED\n\n", list.num - list.num_varied);
    ListFitLabels(console_, list, list.num_varied + 1, list.num);
    PutEquals(console_);
    console_.Log("                              INITIAL PARAMETERS\n");
    ListConstants(console_, model);
}

void RunReport::CycleStarts(int cycle) {
    if (console_.log_is_on()) ReportFitCycle(console_, cycle);
}

void RunReport::RowRejected(const FitRowView& row) {
    const std::int16_t *a = row.label, *b = row.second_label;
    if (!b) {
        console_.Both("%3hd %3hd %3hd  %3hd %3hd %3hd  %11.4lf %10.4lf - REJECTED\n", a[0], a[1],
                      a[2], a[3], a[4], a[5], row.observed, row.misfit());
        return;
    }
    console_.Both(
        "%3hd %3hd %3hd  %4hd %3hd %3hd  %5hd %3hd %3hd  %4hd %3hd %3hd  %11.4lf %10.4lf - "
        "REJECTED\n",
        a[0], a[1], a[2], a[3], a[4], a[5], b[0], b[1], b[2], b[3], b[4], b[5], row.observed,
        row.misfit());
}

void RunReport::FirstRow(bool between_states, std::int32_t accepted, std::int32_t split) {
    if (between_states) {
        console_.Put("UV LAST LEVEL # = %d\n", split);
    } else {
        console_.Put("MW FIRST LEVEL # = %d ASN SPLIT = %d\n", accepted + 1, split);
    }
}

void RunReport::TooManyDifferences() { console_.Put("TOO MANY CD'S - PROGRAM BUG\n"); }

void RunReport::DifferencesFound(std::int32_t num) {
    console_.Put("NUMBER OF COMBINATION DIFFERENCES FOUND   =[%d]\n", num);
    console_.Log("\nNUMBER OF COMBINATION DIFFERENCES FOUND   =[%d]\n", num);
}

void RunReport::DifferencesSelected() {
    console_.Log(
        " J'  Ka' Kc'   J\"  Ka\" Kc\" &  J'  Ka' Kc'   J\"  Ka\" Kc\"  Energy         OMC\n");
}

// J', Ka', Kc', J'', Ka'', Kc'' of both lines, then observed difference and obs - calc
void RunReport::DifferenceAccepted(std::int32_t number, const FitRowView& row, const FitList& list,
                                   const double* values, const double* derivatives) {
    if (!console_.log_is_on()) return;
    const std::int16_t *a = row.label, *b = row.second_label;
    console_.Log(
        "%2hd %3hd %3hd  %4hd %3hd %3hd  %5hd %3hd %3hd  %4hd %3hd %3hd  %11.4lf %10.4lf\n", a[0],
        a[1], a[2], a[3], a[4], a[5], b[0], b[1], b[2], b[3], b[4], b[5], row.observed,
        row.misfit());
    if (!console_.DebugIsOn(DebugPart::Fit)) return;
    // two misfits: from the energies and from the derivatives
    double sum = 0.0;
    console_.Log("\n\nPRM=");
    for (int slot = 1; slot <= list.num; ++slot) {
        console_.Log(" %lf", values[slot]);
        sum += values[slot] * derivatives[slot];
    }
    console_.Log("\n\nDEV CAL=%lf EIGENVALUE=%lf OBS=%lf", sum, row.calculated, row.observed);
    console_.Log("\nOMC[%d]=%lf : %lf", number, row.misfit(), row.observed - sum);
    console_.Log("\nDERIVATIVES = :\n");
    for (int slot = 1; slot <= list.num; ++slot) console_.Log("%.4lf ", derivatives[slot]);
}

void RunReport::DifferencesAccepted(std::int32_t num) {
    console_.Put("NUMBER OF COMBINATION DIFFERENCES ACCEPTED=[%d] - SEE LOG FILE\n", num);
    console_.Log("NUMBER OF COMBINATION DIFFERENCES ACCEPTED=[%d]\n", num);
}

void RunReport::RowsSelected(const FitStatistics& statistics) {
    num_missing_ = statistics.rejected;
    PutDashes(console_);
    console_.Log("                             INITIAL STATISTICS\n");
    PutDashes(console_);
    PutLevelAndAccepted(statistics);
    if (statistics.used != 0) PutDeviationAndRejected(statistics);
}

void RunReport::TooFewRows(std::int32_t rows, int varied) {
    console_.Both("NUMBER OF ASSIGNED LINES [%d] MUST BE >= ", rows);
    console_.Both("NUMBER OF PARAMETERS TO FIT [%d] !\n", varied);
}

void RunReport::RowPredicted(std::int32_t row, double observed, const FitList& list,
                             const double* values, const double* derivatives) {
    double position = 0.0;
    for (int slot = 1; slot <= list.num; ++slot) {
        position += values[slot] * derivatives[slot];
        console_.Log("\nDVS[ %d ] = %lf LAST PRM = %lf", slot, derivatives[slot], values[slot]);
    }
    console_.Log("\nCNT = %d ERG = %lf OBLN = %lf", row, position, observed);
}

void RunReport::CycleSolved(const FitCycleView& cycle, const FitStatistics& statistics) {
    if (!console_.log_is_on()) return;
    const bool uniform = file_.uniform == 1;
    PutDashes(console_);
    console_.Log("REJECTION CYCLE %d PARAMETERS", cycle.cycle);
    console_.Log(uniform ? " - OLD, NEW, OLD-NEW, STD DEV, NORMALIZED STD DEV\n"
                         : " - OLD, NEW, OLD-NEW, STD DEV\n");
    PutDashes(console_);
    ListFitValues(console_, cycle, uniform, statistics.scale);
}

void RunReport::CycleDone(const FitStatistics& statistics, bool dropped) {
    num_missing_ = statistics.rejected;
    if (statistics.used != 0) {
        PutDashes(console_);
        PutLevelAndAccepted(statistics);
        PutDeviationAndRejected(statistics);
        if (file_.uniform == 1) {
            console_.Log("NORM STD DEV       = %-20.6lf", statistics.scale);
            console_.Log("           UNIFORM UNCERTAINTY USED   \n");
        }
        PutDashes(console_);
    }
    if (dropped) {
        console_.Log("\n");
        return;
    }
    console_.Log("CYCLE EXIT - NO REJECTED LINES BASED ON NEW PARAMETERS AND OLD DERIVATIVES\n");
    PutDashes(console_);
}

void RunReport::NegativeConstant(StateIndex index, Constant constant, double value) {
    console_.Both("LEAST SQUARES FIT - NEGATIVE A,B,C PRODUCED!\n");
    console_.Log("STATE=[%s] PARM[%d]=[%lf]\n", kStateLabels[index], static_cast<int>(constant),
                 value);
}

void RunReport::FitDone(const FitList& list, const Model& model, const FitStatistics& statistics,
                        const Table<double>& covariance) {
    console_.Log("                                FINAL PARAMETERS\n");
    ListConstants(console_, model);
    console_.Log("\n");
    PutLevelAndAccepted(statistics);
    PutDeviationAndRejected(statistics);
    PutDashes(console_);
    console_.Log("COVARIANCE MATRIX:");
    const auto num = static_cast<std::size_t>(list.num_varied);
    for (std::size_t i = 1; i <= num; ++i) {
        console_.Log("\n    ");
        for (std::size_t k = 1; k <= num; ++k) console_.Log("%-10.1le", covariance(i, k));
    }
    console_.Log("\n");
}

}  // namespace kiv
