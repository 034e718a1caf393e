// Scan of the angle CHI of the ground state's inertial frame, with a fit at every degree.
#pragma once

/// Carries the ground state's constants to the principal frame, then steps CHI through a full turn
/// in steps of one degree from IAF_Ang; each step turns the frame to the first-order vector, fits
/// (LsfTrs) and writes one row to "KivScan.txt" in the working folder:
///
///     PHI THE CHI  A B C  PXPY PXPZ PYPZ  deviation of obs - calc, times 1000
///
/// Constants start from the same values at every step. LS_Cycles becomes its absolute value and
/// CHI ends one turn on; both are meant. Returns 1, or 0 when the file cannot be created (no
/// message) or PYPZ is varied, which the scan itself does (message in the file).
int KivScan();
