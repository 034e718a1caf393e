#include "frames/PrincipalFrame.h"

#include <cmath>
#include <utility>

#include "frames/EulerRot.h"
#include "hamiltonian/Eispack.h"
#include "run/KivTrace.h"

namespace {

constexpr int kAxisPrm[3] = {PRM_PX, PRM_PY, PRM_PZ};

void GetTensor(double T[3][3], const double* prm) {
    T[0][0] = prm[PRM_B];
    T[1][1] = prm[PRM_C];
    T[2][2] = prm[PRM_A];
    T[0][1] = T[1][0] = prm[PRM_PXPY];
    T[0][2] = T[2][0] = prm[PRM_PXPZ];
    T[1][2] = T[2][1] = prm[PRM_PYPZ];
}

void SetTensor(double* prm, const double T[3][3]) {
    prm[PRM_B] = T[0][0];
    prm[PRM_C] = T[1][1];
    prm[PRM_A] = T[2][2];
    prm[PRM_PXPY] = T[0][1];
    prm[PRM_PXPZ] = T[0][2];
    prm[PRM_PYPZ] = T[1][2];
}

void ClearCrossTerms(double* prm) { prm[PRM_PXPY] = prm[PRM_PXPZ] = prm[PRM_PYPZ] = 0.0; }

// P becomes R P.
void TurnVector(double* prm, const double R[3][3]) {
    double turned[3];
    for (int i = 0; i < 3; ++i) {
        turned[i] = R[i][0] * prm[PRM_PX] + R[i][1] * prm[PRM_PY] + R[i][2] * prm[PRM_PZ];
    }
    for (int i = 0; i < 3; ++i) prm[kAxisPrm[i]] = turned[i];
}

void Transpose(double g[3][3]) {
    std::swap(g[0][1], g[1][0]);
    std::swap(g[0][2], g[2][0]);
    std::swap(g[1][2], g[2][1]);
}

void PutConstants(const char* heading, const double* prm) {
    LogPut("%s", heading);
    LogPut("A:B:C                 =%-15lf%-15lf%lf\n", prm[PRM_A], prm[PRM_B], prm[PRM_C]);
    LogPut("PX:PY:PZ              =%-15lf%-15lf%lf\n", prm[PRM_PX], prm[PRM_PY], prm[PRM_PZ]);
    LogPut("PXPY:PXPZ:PYPZ        =%-15lf%-15lf%lf\n", prm[PRM_PXPY], prm[PRM_PXPZ], prm[PRM_PYPZ]);
}

void PutTurned(const double* ang, const double* prm) {
    LogPut("\nFINAL PARAMETERS AFTER CROSSTERM CORRECTION\n");
    LogPut("PHI:THE:CHI           =%-15lf%-15lf%lf\n", ang[0], ang[1], ang[2]);
    PutConstants("\nPAF PARAMETERS\n", prm);
}

void PutRow(double x, double y, double z) {
    LogPut("                      =%-15lf%-15lf%lf\n", x, y, z);
}

double ArcCosDeg(double cosine) { return std::acos(cosine) * kDegPerRad; }

void PutDiagonalised(const double* prm, const double Z[3][3]) {
    PutConstants("\nPAF PARAMETERS\n", prm);
    LogPut("\nEIGENVECTORS\n");
    for (int k = 0; k < 3; ++k) PutRow(Z[k][0], Z[k][1], Z[k][2]);
    LogPut("\nDIRECTION COSINES ANGLES\n");
    for (int k = 0; k < 3; ++k) {
        PutRow(ArcCosDeg(Z[k][0]), ArcCosDeg(Z[k][1]), ArcCosDeg(Z[k][2]));
    }
}

int Diagonalise(double* prm) {
    const bool debug = DebugIsOn(DBG_ALL);
    if (debug) PutConstants("\nINITIAL PARAMETERS\n", prm);
    if (prm[PRM_A] == 0.0 || prm[PRM_B] == 0.0) {
        return LogFail("TRANSFORMATION ABORTED - CHECK PARAMETERS!");
    }
    KivArray<double> od_vec;
    if (ArrAlloc(od_vec, 3) < 0) {
        return ConFail("HamIAF2PAF()/od_vec - CORE ALLOCATION ERROR!");
    }
    double T[3][3], Z[3][3], erg[3];  // row k of Z is eigenvector k
    int ierr = 0;
    GetTensor(T, prm);
    tred2(3, 3, T[0], erg, od_vec.Data(), Z[0]);
    tql2(3, 3, erg, od_vec.Data(), Z[0], &ierr);
    prm[PRM_C] = erg[0];
    prm[PRM_B] = erg[1];
    prm[PRM_A] = erg[2];
    const double to_xyz[3][3] = {{Z[1][0], Z[1][1], Z[1][2]},   // B lies along x,
                                 {Z[0][0], Z[0][1], Z[0][2]},   // C along y,
                                 {Z[2][0], Z[2][1], Z[2][2]}};  // A along z
    TurnVector(prm, to_xyz);
    ClearCrossTerms(prm);
    if (debug) PutDiagonalised(prm, Z);
    return 1;
}

int RotateBack(const double* ang, double* prm) {
    double g[3][3], T[3][3];
    EulerGenMat(g, ang[0], ang[1], ang[2]);
    Transpose(g);
    GetTensor(T, prm);
    EulerHamRot(T, g);
    SetTensor(prm, T);
    TurnVector(prm, g);
    ClearCrossTerms(prm);
    if (DebugIsOn(DBG_ALL)) PutTurned(ang, prm);
    return 1;
}

}  // namespace

int HamIAF2PAF(double ang[3], double prm[NUM_PRM]) {
    return ang[2] == 0.0 ? Diagonalise(prm) : RotateBack(ang, prm);
}

int CrossTermCorrection(double ang[3], double prm[NUM_PRM]) {
    const double px = prm[PRM_PX], py = prm[PRM_PY], pz = prm[PRM_PZ];
    const double r = std::sqrt(px * px + py * py + pz * pz);
    const double rho = std::sqrt(px * px + py * py);
    ang[0] = rho == 0.0 ? 0.0 : std::atan2(py / rho, px / rho) * kDegPerRad;
    ang[1] = r == 0.0 ? 0.0 : std::atan2(rho / r, pz / r) * kDegPerRad;
    double g[3][3], T[3][3];
    EulerGenMat(g, ang[0], ang[1], ang[2]);
    GetTensor(T, prm);
    EulerHamRot(T, g);
    SetTensor(prm, T);
    TurnVector(prm, g);
    prm[PRM_PX] = prm[PRM_PY] = 0.0;
    if (DebugIsOn(DBG_ALL)) {
        PutTurned(ang, prm);
        LogFlush();
    }
    return 1;
}
