// Derivatives of the level energies with respect to the state's constants.
//
// The Hamiltonian is linear in its constants, so dE/dp = <v|Op_p|v> (Hellmann and Feynman). The
// record of a level holds Num_Dev doubles: A, B, C, then one for each constant that is switched
// on, in label order. An operator that a kept rotation turns into its negative has the derivative
// exactly 0.0, and so have PY3 and PY2PZ in the real variant, where they take no part.
#pragma once

#include "hamiltonian/HamScratch.h"

/// Fills the records of the 2J+1 levels of `J` from `first_level` on, from their eigenvectors and
/// the operators in `scratch` (real variant).
void RDevCalc(int state, int J, int first_level, HamScratch& scratch);

/// The same for the complex variant.
void IDevCalc(int state, int J, int first_level, HamScratch& scratch);

/// Turns the derivatives with respect to the rotated tensor back to those with respect to the
/// unrotated A, B, C: g^T T g, of which the diagonal replaces slots 0 (A), 1 (B), 2 (C) of
/// `record`. T holds the off-diagonal derivatives in the order x, y, z; its diagonal is taken from
/// the record. Always 1.
int DevBackRotation(double* record, const double g[3][3], double T[3][3]);
