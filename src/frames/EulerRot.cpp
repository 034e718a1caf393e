#include "frames/EulerRot.h"

#include <cmath>

#include "run/KivRecord.h"
#include "run/KivTrace.h"

namespace {

constexpr double kMinTensorElement = 1e-8;  // smaller off-diagonal elements are rounding

struct CrossTerm {
    int Prm, Row, Col;
    bool Complex;         // the element makes the Hamiltonian complex
    const char* Found;    // name in the debug listing
    const char* Ignored;  // name in the warning
};

constexpr CrossTerm kCrossTerms[] = {
    {PRM_PXPY, 0, 1, true, "XY", "XY"},
    {PRM_PXPZ, 0, 2, false, "XZ", "XZ"},
    {PRM_PYPZ, 1, 2, true, "ZY", "XY"},  // both names are meant
};

void TakeCrossTerm(int state, const CrossTerm& term) {
    const double element = Kiv.Rot_Tensor[state][term.Row][term.Col];
    double& constant = Kiv.Prm_Val[state][term.Prm];
    Kiv.XTerm_Flag[state][term.Prm] = std::fabs(element) > kMinTensorElement ? 1 : 0;
    if (Kiv.XTerm_Flag[state][term.Prm] == 0) return;
    const char* label = Kiv.State_Lbl[state];
    if (DebugIsOn(DBG_I)) LogPut("%s STATE %s TENSOR ELEMENTS NON-ZERO\n", label, term.Found);
    if (Kiv.SimTrans_Ran == 0 && constant != 0.0) {
        ConPut("WARNING - %s STATE %s TENSOR ELEMENT %lf IGNORED\n", label, term.Ignored, constant);
    }
    constant = element;
    if (term.Complex) Kiv.Cplx_Ham = 1;
}

}  // namespace

void EulerGenMat(double g[3][3], double phi, double theta, double chi) {
    TraceEnter("EulerGenMat");
    const double cp = std::cos(phi * kRadPerDeg), sp = std::sin(phi * kRadPerDeg);
    const double ct = std::cos(theta * kRadPerDeg), st = std::sin(theta * kRadPerDeg);
    const double cc = std::cos(chi * kRadPerDeg), sc = std::sin(chi * kRadPerDeg);
    g[0][0] = ct * cp * cc - sp * sc;
    g[0][1] = ct * sp * cc + cp * sc;
    g[0][2] = -st * cc;
    g[1][0] = -ct * cp * sc - sp * cc;
    g[1][1] = -ct * sp * sc + cp * cc;
    g[1][2] = st * sc;
    g[2][0] = st * cp;
    g[2][1] = st * sp;
    g[2][2] = ct;
    TraceExit("EulerGenMat");
}

int EulerHamRot(double T[3][3], const double g[3][3]) {
    TraceEnter("EulerHamRot");
    const double S[3][3] = {
        {T[0][0], T[1][0], T[2][0]}, {T[1][0], T[1][1], T[2][1]}, {T[2][0], T[2][1], T[2][2]}};
    double M[3][3];  // S g^T
    for (int j = 0; j < 3; ++j) {
        for (int i = 0; i < 3; ++i) {
            M[j][i] = S[j][0] * g[i][0] + S[j][1] * g[i][1] + S[j][2] * g[i][2];
        }
    }
    for (int j = 0; j < 3; ++j) {
        for (int i = 0; i < 3; ++i) {
            T[j][i] = g[j][0] * M[0][i] + g[j][1] * M[1][i] + g[j][2] * M[2][i];
        }
    }
    return TraceExit("EulerHamRot");
}

void SimTrans(int state) {
    TraceEnter("SimTrans");
    double* prm = Kiv.Prm_Val[state];
    double(&T)[3][3] = Kiv.Rot_Tensor[state];
    const double unrotated[3] = {prm[PRM_B], prm[PRM_C], prm[PRM_A]};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) T[i][j] = i == j ? unrotated[i] : 0.0;
    }
    EulerHamRot(T, Kiv.Rot_Mat[state]);
    prm[PRM_B] = T[0][0];
    prm[PRM_C] = T[1][1];
    prm[PRM_A] = T[2][2];
    for (const CrossTerm& term : kCrossTerms) TakeCrossTerm(state, term);
    Kiv.SimTrans_Ran = 1;
    TraceExit("SimTrans");
}
