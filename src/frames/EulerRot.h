// Euler rotation of a state's rotational constants.
//
// Angles in degrees, z-y-z convention, positive counter-clockwise. Tensor and matrix indices run
// x, y, z with x = b, y = c, z = a, so the unrotated tensor of a state is diag(B, C, A).
#pragma once

/// Direction cosines g of the molecule-fixed axes (rows x, y, z) on X, Y, Z (columns).
///
/// Rotation by phi about Z, by theta about the new y, by chi about the new z:
///
///     g = Rz(chi) Ry(theta) Rz(phi),  g[2] = (sin theta cos phi, sin theta sin phi, cos theta).
///
/// Source: R. N. Zare, Angular Momentum (Wiley, 1988), section 3.4.
void EulerGenMat(double g[3][3], double phi, double theta, double chi);

/// T becomes g T g^T. T is taken as symmetric from its lower triangle; the upper one is not read.
/// Always 1.
int EulerHamRot(double T[3][3], const double g[3][3]);

/// Rotates A, B, C of `state` with its Rot_Mat and turns each off-diagonal element of more than
/// 1e-8 into the cross term PXPY, PXPZ or PYPZ (the element itself, without a factor 2), with
/// XTerm_Flag set. XY and YZ elements make the run complex. A cross term that the user gave is
/// replaced; only the first call of a run warns about it, and the YZ warning says XY: both are
/// meant.
void SimTrans(int state);
