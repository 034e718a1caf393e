#include "model/Frames.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/Trig.h"
#include "model/Units.h"

namespace kiv {
namespace {

constexpr double kMinTensorElement = 1e-8;  // smaller off-diagonal elements are rounding
constexpr double kInertia = 505379.0765;  // amu A^2 MHz: h / (8 pi^2), as used with these constants

template <class Numbers>
bool SameBytes(const Numbers& a, const Numbers& b) {
    static_assert(sizeof a % sizeof(double) == 0);
    return std::memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace

Matrix3 AxesOf(const EulerAngles& angles) {
    const auto [phi, theta, chi] = angles;
    const double cp = Cos(phi * kRadPerDeg), sp = Sin(phi * kRadPerDeg);
    const double ct = Cos(theta * kRadPerDeg), st = Sin(theta * kRadPerDeg);
    const double cc = Cos(chi * kRadPerDeg), sc = Sin(chi * kRadPerDeg);
    Matrix3 g;
    g[0][0] = ct * cp * cc - sp * sc;
    g[0][1] = ct * sp * cc + cp * sc;
    g[0][2] = -st * cc;
    g[1][0] = -ct * cp * sc - sp * cc;
    g[1][1] = -ct * sp * sc + cp * cc;
    g[1][2] = st * sc;
    g[2][0] = st * cp;
    g[2][1] = st * sp;
    g[2][2] = ct;
    return g;
}

Matrix3 TurnTensor(const Matrix3& T, const Matrix3& g) {
    const double S[3][3] = {
        {T[0][0], T[1][0], T[2][0]}, {T[1][0], T[1][1], T[2][1]}, {T[2][0], T[2][1], T[2][2]}};
    Matrix3 M, turned;  // M = S g^T
    for (int j = 0; j < 3; ++j) {
        for (int i = 0; i < 3; ++i) {
            M[j][i] = S[j][0] * g[i][0] + S[j][1] * g[i][1] + S[j][2] * g[i][2];
        }
    }
    for (int j = 0; j < 3; ++j) {
        for (int i = 0; i < 3; ++i) {
            turned[j][i] = g[j][0] * M[0][i] + g[j][1] * M[1][i] + g[j][2] * M[2][i];
        }
    }
    return turned;
}

Matrix3 TurnTensorBack(const Matrix3& T, const Matrix3& g) {
    Matrix3 U, turned;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j)
            U[i][j] = T[i][0] * g[0][j] + T[i][1] * g[1][j] + T[i][2] * g[2][j];
    }
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            turned[i][j] = g[0][i] * U[0][j] + g[1][i] * U[1][j] + g[2][i] * U[2][j];
        }
    }
    return turned;
}

Matrix3 Transposed(const Matrix3& g) {
    Matrix3 t;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) t[i][j] = g[j][i];
    }
    return t;
}

int TurnedState::NumOn() const {
    return static_cast<int>(std::count(on.values.begin(), on.values.end(), true));
}

TurnedState Turn(const State& state) {
    TurnedState turned;
    turned.reduction = state.reduction;
    for (int c = 0; c < kNumConstants; ++c) {
        turned.value[c] = state.terms[c].value;
        turned.on[c] = state.terms[c].on;
    }
    for (const Constant c : {Constant::A, Constant::B, Constant::C}) turned.on[c] = true;
    auto& value = turned.value;
    turned.given = {value[Constant::A], value[Constant::B], value[Constant::C]};
    turned.is_turned = !state.tilt.IsZero();
    if (!turned.is_turned) return turned;
    turned.tilt = state.tilt;
    turned.axes = AxesOf(state.tilt);
    Matrix3 T{};
    T[0][0] = value[Constant::B];
    T[1][1] = value[Constant::C];
    T[2][2] = value[Constant::A];
    T = TurnTensor(T, turned.axes);
    value[Constant::B] = T[0][0];
    value[Constant::C] = T[1][1];
    value[Constant::A] = T[2][2];
    for (const CrossTerm& cross : kCrossTerms) {
        const double element = T[cross.row][cross.col];
        if (!(std::fabs(element) > kMinTensorElement)) continue;
        turned.from_turn[cross.constant] = true;
        value[cross.constant] = element;
    }
    return turned;
}

bool SameBits(const TurnedState& a, const TurnedState& b) {
    return SameBytes(a.value, b.value) && a.on.values == b.on.values &&
           a.from_turn.values == b.from_turn.values && a.reduction == b.reduction &&
           SameBytes(a.axes, b.axes) && SameBytes(a.tilt, b.tilt) && SameBytes(a.given, b.given);
}

std::array<double, 3> TurnedMoment(const Moment& moment, const TurnedState& frame) {
    if (!frame.is_turned) return moment.component;
    const auto& [a, b, c] = moment.component;
    const double u[3] = {b, c, a};  // x = b, y = c, z = a
    double turned[3];
    for (int i = 0; i < 3; ++i) {
        const auto& g = frame.axes[i];
        turned[i] = g[0] * u[0] + g[1] * u[1] + g[2] * u[2];
    }
    return {turned[2], turned[0], turned[1]};
}

double Asymmetry(double A, double B, double C) { return A == C ? 0.0 : (2 * B - A - C) / (A - C); }

double InertialDefect(double A, double B, double C) {
    const bool any_zero = A == 0.0 || B == 0.0 || C == 0.0;
    return any_zero ? 0.0 : kInertia * (1 / C - 1 / B - 1 / A);
}

}  // namespace kiv
