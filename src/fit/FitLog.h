// What the fit writes to the log.
#pragma once

#include "fit/FitList.h"
#include "fit/FitRows.h"

/// The constants varied and held fixed, then the values of all constants.
void PutFitStart(const FitList& list);

/// Rejection level, lines accepted and rejected and the deviation of the rows selected. Uses
/// Num_Rej and Omc_Std_Dev.
void PutInitialStatistics(const FitRows& rows);

/// The table of the varied constants after rejection cycle `cycle`; arrays by slot.
void PutCycleConstants(const FitList& list, int cycle, const double* now, const double* old,
                       const double* sd);

/// The statistics of the rows that a rejection cycle kept; nothing when it kept none.
void PutCycleStatistics(const FitRows& rows);

/// Closes a rejection cycle: says that it was the last because it dropped nothing, or a blank line.
void PutCycleEnd(bool dropped);

/// The final constants and statistics.
void PutFitEnd(const FitRows& rows);

/// RC_CovarianceMat of the varied constants.
void PutCovariance(const FitList& list);
