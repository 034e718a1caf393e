#include "model/PrincipalFrame.h"

#include <cmath>

#include "base/Trig.h"
#include "linalg/Eispack.h"
#include "model/Units.h"

namespace kiv {
namespace {

constexpr Constant kAxisVector[3] = {Constant::PX, Constant::PY, Constant::PZ};
constexpr Constant kAxisConstant[3] = {Constant::B, Constant::C, Constant::A};

Matrix3 TensorOf(const State& state) {
    Matrix3 T{};
    for (std::size_t i = 0; i < 3; ++i) T[i][i] = state.value(kAxisConstant[i]);
    for (const CrossTerm& cross : kCrossTerms) {
        T[cross.row][cross.col] = T[cross.col][cross.row] = state.value(cross.constant);
    }
    return T;
}

void SetTensor(State& state, const Matrix3& T) {
    for (std::size_t i = 0; i < 3; ++i) state.terms[kAxisConstant[i]].value = T[i][i];
    for (const CrossTerm& cross : kCrossTerms) {
        state.terms[cross.constant].value = T[cross.row][cross.col];
    }
}

void ClearCrossTerms(State& state) {
    for (const CrossTerm& cross : kCrossTerms) state.terms[cross.constant].value = 0.0;
}

// P becomes R P.
void TurnVector(State& state, const Matrix3& R) {
    const double P[3] = {state.value(Constant::PX), state.value(Constant::PY),
                         state.value(Constant::PZ)};
    for (std::size_t i = 0; i < 3; ++i) {
        state.terms[kAxisVector[i]].value = R[i][0] * P[0] + R[i][1] * P[1] + R[i][2] * P[2];
    }
}

PrincipalFrame Diagonalise(const State& given) {
    const Matrix3 T = TensorOf(given);
    double erg[3], subdiagonal[3];
    int failed = 0;
    PrincipalFrame frame{given, {}};
    Matrix3& Z = frame.vectors;  // row k is eigenvector k
    tred2(3, 3, T[0].data(), erg, subdiagonal, Z[0].data());
    tql2(3, 3, erg, subdiagonal, Z[0].data(), &failed);
    frame.state.terms[Constant::C].value = erg[0];
    frame.state.terms[Constant::B].value = erg[1];
    frame.state.terms[Constant::A].value = erg[2];
    TurnVector(frame.state, {Z[1], Z[0], Z[2]});  // B lies along x, C along y, A along z
    ClearCrossTerms(frame.state);
    return frame;
}

}  // namespace

Result<PrincipalFrame> ToPrincipalFrame(const State& state, const EulerAngles& angles) {
    if (angles.chi == 0.0) {
        for (const Constant c : {Constant::A, Constant::B}) {
            if (state.value(c) != 0.0) continue;
            return Error{ErrorCode::OutOfRange,
                         std::string("no principal axes: constant ") + NameOf(c) + " is 0",
                         NameOf(c)};
        }
        return Diagonalise(state);
    }
    PrincipalFrame frame{state, {}};
    const Matrix3 back = Transposed(AxesOf(angles));
    SetTensor(frame.state, TurnTensor(TensorOf(state), back));
    TurnVector(frame.state, back);
    ClearCrossTerms(frame.state);
    return frame;
}

VectorFrame ToVectorFrame(const State& state, double chi) {
    const double px = state.value(Constant::PX), py = state.value(Constant::PY);
    const double pz = state.value(Constant::PZ);
    const double r = std::sqrt(px * px + py * py + pz * pz);
    const double rho = std::sqrt(px * px + py * py);
    VectorFrame frame{state, {0.0, 0.0, chi}};
    if (rho != 0.0) frame.angles.phi = ArcTan(py / rho, px / rho) * kDegPerRad;
    if (r != 0.0) frame.angles.theta = ArcTan(rho / r, pz / r) * kDegPerRad;
    const Matrix3 g = AxesOf(frame.angles);
    SetTensor(frame.state, TurnTensor(TensorOf(state), g));
    TurnVector(frame.state, g);
    frame.state.terms[Constant::PX].value = frame.state.terms[Constant::PY].value = 0.0;
    return frame;
}

}  // namespace kiv
