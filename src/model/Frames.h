// Turned axes: Euler matrices, and the constants of a state in the axes of the basis.
//
// Angles in degrees, z-y-z, positive counter-clockwise. Tensor and matrix indices run x, y, z with
// x = b, y = c, z = a, so the rotational tensor of a state in its own axes is diag(B, C, A).
#pragma once

#include <array>

#include "kiv/model.h"

namespace kiv {

using Matrix3 = std::array<std::array<double, 3>, 3>;

/// Direction cosines g of the turned axes (rows x, y, z) on the old ones X, Y, Z (columns).
///
/// Rotation by phi about Z, by theta about the new y, by chi about the new z:
///
///     g = Rz(chi) Ry(theta) Rz(phi),  g[2] = (sin theta cos phi, sin theta sin phi, cos theta).
///
/// Source: R. N. Zare, Angular Momentum (Wiley, 1988), section 3.4.
Matrix3 AxesOf(const EulerAngles& angles);

/// g T g^T. T is taken as symmetric from its lower triangle; the upper one is not read.
Matrix3 TurnTensor(const Matrix3& T, const Matrix3& g);

/// g^T T g.
Matrix3 TurnTensorBack(const Matrix3& T, const Matrix3& g);

Matrix3 Transposed(const Matrix3& g);

/// A state as it is solved, with its constants in the axes of the basis.
struct TurnedState {
    PerConstant<double> value;    // A, B, C and the cross terms turned
    PerConstant<bool> on;         // A, B, C and what the user switched on
    PerConstant<bool> from_turn;  // cross terms that the rotation produced
    Reduction reduction = Reduction::A;
    bool is_turned = false;
    EulerAngles tilt;
    Matrix3 axes{};                 // all 0 when it is not turned
    std::array<double, 3> given{};  // A, B, C in the state's own axes

    /// True when the terms of `c` take part in the matrix.
    bool Acts(Constant c) const { return on[c] || from_turn[c]; }

    /// Number of constants that are switched on: derivatives that a level carries.
    int NumOn() const;
};

/// The cross terms and their places in the tensor.
struct CrossTerm {
    Constant constant;
    int row, col;
};
inline constexpr CrossTerm kCrossTerms[] = {
    {Constant::PXPY, 0, 1}, {Constant::PXPZ, 0, 2}, {Constant::PYPZ, 1, 2}};

/// Rotates A, B, C into the axes of the basis. Each off-diagonal element of more than 1e-8 becomes
/// the cross term PXPY, PXPZ or PYPZ (the element itself, without a factor 2) and takes the place
/// of one that the state has; all other constants are taken as given in the turned axes.
TurnedState Turn(const State& state);

/// True when both are solved to the same levels because all they hold agrees bit for bit.
bool SameBits(const TurnedState& a, const TurnedState& b);

/// Projections (a, b, c) of the moment on the axes of the basis, `frame` being its own state.
std::array<double, 3> TurnedMoment(const Moment& moment, const TurnedState& frame);

/// Ray's asymmetry parameter kappa = (2B - A - C)/(A - C), 0 when A = C.
double Asymmetry(double A, double B, double C);

/// Inertial defect 505379.0765 (1/C - 1/B - 1/A) amu A^2, for constants in MHz; 0 when one is 0.
double InertialDefect(double A, double B, double C);

}  // namespace kiv
