// Principal axes of a state whose constants carry cross terms, and the turn about its vector.
//
// Both routines work in place on one state's constants (indexed by PRM_) and on its angles PHI,
// THE, CHI in degrees. T is the rotational tensor, indices x, y, z with x = b, y = c, z = a:
// diagonal B, C, A, off-diagonal PXPY (xy), PXPZ (xz), PYPZ (yz), each the element itself; P is the
// first-order vector (PX, PY, PZ). The ALL debug switch lists the constants in the log.
#pragma once

#include "run/KivRecord.h"  // NUM_PRM

/// Carries the constants from the inertial into the principal frame; the cross terms become 0.
///
/// CHI exactly 0: T is diagonalised; C, B, A are its eigenvalues in ascending order and PY, PX, PZ
/// the components of P on their eigenvectors. CHI not 0: T' = g^T T g and P' = g^T P with the
/// matrix g of the three angles; the off-diagonal elements of T' are dropped, which is meant.
/// Returns 1, or 0 with the constants unchanged: A or B is 0 (C is not tested, which is meant;
/// message in the log), or memory is exhausted (message on the console).
int HamIAF2PAF(double ang[3], double prm[NUM_PRM]);

/// Turns the frame until P lies along z, then about z by CHI; the cross terms are kept.
///
/// Sets PHI = atan2(PY, PX) and THE = atan2(sqrt(PX^2 + PY^2), PZ) of the triple, in degrees;
/// T' = g T g^T, P' = (0, 0, |P|). P = 0 gives angles 0, P along -z gives THE = 180. Always 1.
int CrossTermCorrection(double ang[3], double prm[NUM_PRM]);
