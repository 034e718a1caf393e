#include "transitions/Ham2Trs.h"

#include "frames/EulerRot.h"
#include "hamiltonian/IHam.h"
#include "hamiltonian/RHam.h"
#include "run/KivPhaseLog.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"
#include "transitions/TrsCalc.h"

namespace {

// Constants to restore when the rotation produced a cross term in their plane.
struct Plane {
    int Cross, First, Second;
};

constexpr Plane kPlanes[] = {
    {PRM_PXPY, PRM_B, PRM_C},
    {PRM_PXPZ, PRM_A, PRM_B},
    {PRM_PYPZ, PRM_A, PRM_C},
};

void RotateState(int state) {
    for (int prm = PRM_A; prm <= PRM_C; ++prm) {
        Kiv.Prm_Val_Save[state][prm] = Kiv.Prm_Val[state][prm];
    }
    if (!IsRotated(Kiv, state)) return;
    EulerGenMat(Kiv.Rot_Mat[state], Kiv.Euler_Phi[state], Kiv.Euler_Theta[state],
                Kiv.Euler_Chi[state]);
    SimTrans(state);
}

void RestoreState(int state) {
    for (const Plane& plane : kPlanes) {
        if (Kiv.XTerm_Flag[state][plane.Cross] != 1) continue;
        for (int prm : {plane.First, plane.Second}) {
            Kiv.Prm_Val[state][prm] = Kiv.Prm_Val_Save[state][prm];
        }
        Kiv.Prm_Val[state][plane.Cross] = 0.0;
    }
}

// A rotation can ask for complex states only when their arrays were taken for them.
bool HasComplexArrays() {
    return Kiv.Cplx_Ham != 1 ||
           (!Kiv.HamErgImag_Vector[ST_GND].IsNull() && !Kiv.HamErgImag_Vector[ST_EXC].IsNull() &&
            !Kiv.FI_ABC_ImagAmp.IsNull());
}

int SolveState(int state) {
    const int solved = Kiv.Cplx_Ham == 1 ? IHamSoln(state) : RHamSoln(state);
    if (solved) KivPhaseLog(1, state);
    return solved;
}

}  // namespace

int Ham2Trs() {
    TraceEnter("Ham2Trs");
    for (int state : {ST_GND, ST_EXC}) RotateState(state);
    if (!HasComplexArrays()) return 0;
    for (int state : {ST_GND, ST_EXC}) {
        if (!SolveState(state)) return 0;
    }
    KivPhaseLog(2, 0);
    if (!(Kiv.Cplx_Ham == 1 ? ITrsCalc() : RTrsCalc())) return 0;
    for (int state : {ST_GND, ST_EXC}) RestoreState(state);
    return TraceExit("Ham2Trs");
}
