// Principal axes of a state whose constants carry cross terms, and the turn about its vector.
//
// T is the rotational tensor, indices x, y, z with x = b, y = c, z = a: diagonal B, C, A,
// off-diagonal PXPY (xy), PXPZ (xz), PYPZ (yz), each the element itself; P is the first-order
// vector (PX, PY, PZ). Angles in degrees. Whether a constant is switched on does not matter here.
#pragma once

#include "kiv/error.h"
#include "kiv/model.h"
#include "model/Frames.h"

namespace kiv {

/// A state in its principal axes.
struct PrincipalFrame {
    State state;
    Matrix3 vectors{};  // eigenvectors of T, one a row, by ascending eigenvalue (CHI = 0 only)
};

/// Carries the constants from the inertial into the principal frame; the cross terms become 0.
///
/// CHI exactly 0: T is diagonalised; C, B, A are its eigenvalues in ascending order and PY, PX, PZ
/// the components of P on their eigenvectors. CHI not 0: T' = g^T T g and P' = g^T P with the
/// matrix g of the three angles; the off-diagonal elements of T' are dropped, which is meant.
/// OutOfRange when A or B is 0 and CHI is (C is not tested, which is meant).
Result<PrincipalFrame> ToPrincipalFrame(const State& state, const EulerAngles& angles);

/// A state whose vector lies along z, and the angles of the turn.
struct VectorFrame {
    State state;
    EulerAngles angles;
};

/// Turns the frame until P lies along z, then about z by `chi`; the cross terms are kept.
///
/// PHI = atan2(PY, PX) and THE = atan2(sqrt(PX^2 + PY^2), PZ), in degrees; T' = g T g^T,
/// P' = (0, 0, |P|). P = 0 gives angles 0, P along -z gives THE = 180.
VectorFrame ToVectorFrame(const State& state, double chi);

}  // namespace kiv
