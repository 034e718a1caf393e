#include "fit/FitLog.h"

#include "output/Listings.h"
#include "run/KivTrace.h"

namespace {

constexpr char kDash40[] = "----------------------------------------";
constexpr char kEqual40[] = "========================================";

void PutRule() { LogPut("%s%s\n", kDash40, kDash40); }

void PutLevelAndAccepted(const FitRows& rows) {
    LogPut("OMC REJECTION LEVEL= %-20.4lf", Kiv.Rej_Level);
    LogPut("           ASN LINES ACCEPTED = %-ld\n", static_cast<long>(rows.Num));
}

void PutDeviationAndRejected() {
    LogPut("OMC STD DEV        = %-20.6f", Kiv.Omc_Std_Dev);
    LogPut("           ASN LINES REJECTED = %-ld\n", static_cast<long>(Kiv.Num_Rej));
}

void PutLabels(const FitList& list, int first, int last) {
    LsfPrntPrm(first, last, list.Order, list.Code, nullptr, nullptr, nullptr);
}

}  // namespace

void PutFitStart(const FitList& list) {
    if (!LogIsOn()) return;
    LogPut("[%ld] PARAMETERS TO BE VARIED\n\n", static_cast<long>(list.Num_Varied));
    PutLabels(list, 1, list.Num_Varied);
    LogPut("\n[%ld] PARAMETERS HELD FIXED\n\n", static_cast<long>(list.Num - list.Num_Varied));
    PutLabels(list, list.Num_Varied + 1, list.Num);
    LogPut("%s%s\n", kEqual40, kEqual40);
    LogPut("                              INITIAL PARAMETERS\n");
    PrntPrm();
}

void PutInitialStatistics(const FitRows& rows) {
    PutRule();
    LogPut("                             INITIAL STATISTICS\n");
    PutRule();
    PutLevelAndAccepted(rows);
    if (rows.Num != 0) PutDeviationAndRejected();
}

void PutCycleConstants(const FitList& list, int cycle, const double* now, const double* old,
                       const double* sd) {
    if (!LogIsOn()) return;
    PutRule();
    LogPut("REJECTION CYCLE %hd PARAMETERS", static_cast<short>(cycle));
    if (Kiv.Uniform_Unc == 1) {
        LogPut(" - OLD, NEW, OLD-NEW, STD DEV, NORMALIZED STD DEV\n");
    } else {
        LogPut(" - OLD, NEW, OLD-NEW, STD DEV\n");
    }
    PutRule();
    LsfPrntPrm(1, list.Num_Varied, list.Order, list.Code, now, old, sd);
}

void PutCycleStatistics(const FitRows& rows) {
    if (rows.Num == 0) return;
    PutRule();
    PutLevelAndAccepted(rows);
    PutDeviationAndRejected();
    if (Kiv.Uniform_Unc == 1) {
        LogPut("NORM STD DEV       = %-20.6lf", Kiv.Std_Dev_Scale);
        LogPut("           UNIFORM UNCERTAINTY USED   \n");
    }
    PutRule();
}

void PutCycleEnd(bool dropped) {
    if (dropped) {
        LogPut("\n");
        return;
    }
    LogPut("CYCLE EXIT - NO REJECTED LINES BASED ON NEW PARAMETERS AND OLD DERIVATIVES\n");
    PutRule();
}

void PutFitEnd(const FitRows& rows) {
    LogPut("                                FINAL PARAMETERS\n");
    PrntPrm();
    LogPut("\n");
    PutLevelAndAccepted(rows);
    PutDeviationAndRejected();
    PutRule();
}

void PutCovariance(const FitList& list) {
    LogPut("COVARIANCE MATRIX:");
    for (int i = 1; i <= list.Num_Varied; ++i) {
        LogPut("\n    ");
        for (int k = 1; k <= list.Num_Varied; ++k) LogPut("%-10.1le", Kiv.RC_CovarianceMat(i, k));
    }
    LogPut("\n");
}
