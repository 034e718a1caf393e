// Scan of the angle CHI of the lower state's inertial frame, with a fit at every degree.
#pragma once

#include "console/Console.h"
#include "console/RunReport.h"
#include "fit/LeastSquares.h"

namespace kiv {

/// Carries the lower state's constants to the principal frame, then steps CHI through a full turn
/// in steps of one degree; each step turns the frame to the first-order vector, fits and writes one
/// row to "KivScan.txt" in the working folder:
///
///     PHI THE CHI  A B C  PXPY PXPZ PYPZ  deviation of obs - calc, times 1000
///
/// Constants start from the same values at every step and are those of the principal frame in the
/// end. `task.settings` has the cycles of a fit, `file` the fit indicators as they were read. False
/// when the file cannot be created (no message), when PYPZ is varied, which the scan itself does
/// (message in the file), or when the file cannot be written on (message).
bool RunScan(Console& console, const InputFile& file, const FitTask& task, Workspace& work,
             RunReport& report, PassRoom& room, FitResult& result);

/// Cycles of a scan whose input says `cycles`, which is negative.
int ScanCycles(int cycles);

}  // namespace kiv
