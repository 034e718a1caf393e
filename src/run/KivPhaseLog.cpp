#include "run/KivPhaseLog.h"

#include <string>

#include "output/Listings.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"

namespace {

constexpr char kHalfEquals[] = "========================================";  // 40
constexpr char kHalfDashes[] = "----------------------------------------";  // 40
static_assert(sizeof kHalfEquals == 41 && sizeof kHalfDashes == 41);

void PutRule(const char* half) { LogPut("%s%s\n", half, half); }

void PutBanner(const char* left, const char* right) {
    PutRule(kHalfEquals);
    LogPut("%s%s", left, right);
    PutRule(kHalfEquals);
}

// Three columns of a frame: angles
void PutAngles(double phi, double theta, double chi) {
    LogPut("%-34.3lf%-34.3lf%-.3lf\n", phi, theta, chi);
}

// Three columns of a frame: a row of a matrix
void PutMatrixRow(double x, double y, double z) { LogPut("%-34.6lf%-34.6lf%.6lf\n", x, y, z); }

void PutProjections(const double prj[3]) {
    LogPut("A PRJ= %-12lf           B PRJ= %-12lf           C PRJ= %-lf\n", prj[0], prj[1], prj[2]);
}

bool WantsDebugLog() {
    for (int idx : {DBG_ALL, DBG_I, DBG_II, DBG_III, DBG_IV}) {
        if (Kiv.Debug_Stat[idx] == 1) return true;
    }
    return false;
}

int FailDebugLog() {
    return ConFail("FAILED TO CREATE ASCII DEBUG FILE %s FOR WRITING!", Kiv.Debug_Flnm);
}

int FailBaseLog() {
    return ConFail("FAILED TO CREATE ASCII LOG FILE %s.log FOR WRITING!\n", Kiv.Out_Base);
}

int OpenDebugLog() {
    if (Kiv.Log_Fp || !WantsDebugLog()) return 1;
    Kiv.Log_Fp = std::fopen(Kiv.Debug_Flnm, "w");
    return Kiv.Log_Fp ? 1 : FailDebugLog();
}

int OpenBaseLog() {
    if (Kiv.Log_Fp) return 1;
    const std::string name = std::string(Kiv.Out_Base) + ".log";
    Kiv.Log_Fp = std::fopen(name.c_str(), "w");
    return Kiv.Log_Fp ? 1 : FailBaseLog();
}

int ReportInput() {
    ConPut("KIV VERSION %s\n\n", Kiv.Version);
    ConPut("PHASE    0 - PARAMETER INPUT\n");
    if (!OpenBaseLog()) return 0;
    PutRule(kHalfEquals);
    LogPut(
        ">>>>>>>>>>>>>>>> KIVANTA (kiv) PROGRAM VERSION %s "
        "<<<<<<<<<<<<<<<<\n",
        Kiv.Version);
    PutRule(kHalfEquals);
    LogPut("\n");
    PutBanner(">>>>>>>>>>>>>>>>>>>>>>>> PHASE 0 - PARAMETER INPUT ",
              "<<<<<<<<<<<<<<<<<<<<<<<<<<<<<\n");
    LogPut("\n");
    LogPut("%s\n", Kiv.Comment);
    PutRule(kHalfDashes);
    LogPut("                             HAMILTONIAN PARAMETERS\n");
    PrntPrm();
    PutRule(kHalfDashes);
    LogPut("MAXIMUM J AND K CALCULATED = %ld\n", static_cast<long>(Kiv.Max_J));
    return 1;
}

void ReportFrame(int state) {
    PutRule(kHalfDashes);
    LogPut("             %s STATE EULER ANGLES [F TO g: HAM CCW(+) & CW(-)]\n",
           Kiv.State_Lbl[state]);
    LogPut("PHI                               THETA                             CHI\n");
    PutAngles(Kiv.Euler_Phi[state], Kiv.Euler_Theta[state], Kiv.Euler_Chi[state]);
    PutRule(kHalfDashes);
    LogPut("                 %s STATE DIRECTION COSINE MATRIX (g TO F)\n", Kiv.State_Lbl[state]);
    LogPut("X                                 Y                                 Z\n");
    for (const auto& row : Kiv.Rot_Mat[state]) PutMatrixRow(row[0], row[1], row[2]);
}

int ReportFrames() {
    if (!Kiv.Log_Fp) return 1;
    for (int state : {ST_GND, ST_EXC}) {
        if (IsRotated(Kiv, state)) ReportFrame(state);
    }
    PutRule(kHalfDashes);
    LogPut("                       TRANSFORMED HAMILTONIAN PARAMETERS\n");
    PrntPrm();
    return 1;
}

int ReportPhase0(int sub) {
    if (sub == 0) return OpenDebugLog();
    return sub == 1 ? ReportInput() : ReportFrames();
}

// A cross term as it stands in the matrix: 0 unless it was switched on or came from the rotation.
double CrossTerm(int state, int slot) {
    const bool active = Kiv.Prm_Stat[state][slot] == 1 || Kiv.XTerm_Flag[state][slot] == 1;
    return active ? Kiv.Prm_Val[state][slot] : 0.0;
}

void AnnounceEnergies(int state) {
    if (state == ST_EXC) {
        ConPut("PHASE    I - EXCITED STATE EIGEN ENERGIES AND VECTORS\n");
        return;
    }
    ConPut("PHASE    I - GROUND STATE EIGEN ENERGIES AND VECTORS\n");
    PutBanner(">>>>>>>>>>>>>>>>>>>> PHASE I - EIGEN ENERGIES AND VECTORS ",
              "<<<<<<<<<<<<<<<<<<<<<<\n");
}

void ReportEnergies(int state) {
    AnnounceEnergies(state);
    const double* prm = Kiv.Prm_Val[state];
    const double xy = CrossTerm(state, PRM_PXPY);
    const double xz = CrossTerm(state, PRM_PXPZ);
    const double yz = CrossTerm(state, PRM_PYPZ);
    PutRule(kHalfDashes);
    LogPut("                 %s STATE HAMILTONIAN PARAMETER MATRIX\n", Kiv.State_Lbl[state]);
    PutRule(kHalfDashes);
    LogPut("B(X)                              C(Y)                              A(Z)\n");
    PutMatrixRow(prm[PRM_B], xy, xz);
    PutMatrixRow(xy, prm[PRM_C], yz);
    PutMatrixRow(xz, yz, prm[PRM_A]);
    LogPut("%s", Kiv.Cplx_Ham == 1 ? "\nREAL AND IMAGINARY MATRIX ELEMENTS\n"
                                   : "\nREAL MATRIX ELEMENTS ONLY\n");
    LogPut("%s STATE KAPPA=%-18.6lf INERTIAL DEFECT=%-.6lf\n", Kiv.State_Lbl[state],
           Kiv.Kappa[state], Kiv.Inertial_Defect[state]);
}

void AnnounceTransitions() {
    ConPut("PHASE   II - CALCULATION OF TRANSITIONS\n");
    PutBanner(">>>>>>>>>>>>>>>>>>> PHASE II - TRANSITIONS AND INTENSITIES ",
              "<<<<<<<<<<<<<<<<<<<<<\n");
    LogPut("              TRANSITION MOMENT ORIENTATION AND BAND TYPE CHARACTER \n");
    LogPut("TM ORIENTATION WITH MU PROJECTIONS:\n");
}

void ReportMoment() {
    const double* comp = Kiv.TM_Comp;
    LogPut("MAG  = %-12lf           THE  = %-12lf           CHI  = %-lf\n", Kiv.TM_Ang[0],
           Kiv.TM_Ang[1], Kiv.TM_Ang[2]);
    LogPut("A MAG= %-12lf           B MAG= %-12lf           C MAG= %-lf\n", comp[0] * comp[0],
           comp[1] * comp[1], comp[2] * comp[2]);
    PutProjections(Kiv.TM_Prj);
}

void ReportTurnedMoment() {
    const int state = Kiv.TM_Frame;
    LogPut("\nTM WITH %s STATE AXIS ROTATION:\n", Kiv.State_Lbl[state]);
    LogPut("PHI  = %-12lf           THE  = %-12lf           CHI  = %-lf\n", Kiv.Euler_Phi[state],
           Kiv.Euler_Theta[state], Kiv.Euler_Chi[state]);
    PutProjections(Kiv.TM_Prj);
}

void ReportTransitions(int sub) {
    if (sub == 0) {
        AnnounceTransitions();
    } else if (sub == 1) {
        ReportMoment();
    } else {
        ReportTurnedMoment();
    }
}

// Letter of a hybrid band by the types that contribute; bit 0 a, bit 1 b, bit 2 c.
char BandLetter() {
    constexpr char kLetters[] = "NABYCXZD";
    int types = 0;
    for (int i = 0; i < 3; ++i) {
        if (Kiv.Band_Active[i] == 1) types |= 1 << i;
    }
    return kLetters[types];
}

void ReportLineSet() {
    ConPut("PHASE  III - GENERATION OF LINESET\n");
    PutBanner(">>>>>>>>>>>>>>>>>>>>>>>>>>>> PHASE III - LINESET ",
              "<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<\n");
    if (Kiv.Band_Split == 1) LogPut("BAND LABEL         = %c\n", BandLetter());
    LogPut("DELTA K ORDER      = %-3ld\n", static_cast<long>(Kiv.Delta_K_Order));
    LogPut("TEMPERATURES(K) T1 = %-10.3lf T2 = %-10.3lf WT = %-10.3lf\n", Kiv.Temp[0], Kiv.Temp[1],
           Kiv.Temp[2]);
    LogPut("INTENSITY CUT      = %.3lf\n\n", Kiv.Itn_Cutoff);
    const std::string name = std::string(Kiv.Out_Base) + ".QZS";
    LogPut("LINESET %s\n", name.c_str());
    LogPut("NUMBER OF CALCULATED LINES        = %ld\n", static_cast<long>(Kiv.Num_Trs));
    LogPut("NUMBER OF ASSIGNED LINES          = %ld\n", static_cast<long>(Kiv.Num_Asn));
    LogPut("NUMBER OF REJECTED LINES          = %ld\n", static_cast<long>(Kiv.Num_Rej));
}

void ReportFit(int sub) {
    if (sub < 0) {
        BothPut(
            "NUMBER OF ASSIGNED LINES [%ld] MUST BE >= "
            "NUMBER OF PARAMETERS TO FIT [%hd]!\n",
            static_cast<long>(Kiv.Num_Asn_Read), static_cast<short>(Kiv.Num_Fit_Prm));
    } else if (sub == 0) {
        ConPut("PHASE   IV - LINEAR LEAST SQUARES CALCULATION\n");
        PutBanner(">>>>>>>>>>>>>>>>>>> PHASE IV - LINEAR LEAST SQUARES PHASE ",
                  "<<<<<<<<<<<<<<<<<<<<<<\n");
    } else {
        PutRule(kHalfDashes);
        LogPut("                             EXACT ENERGY CYCLE # %hd\n", static_cast<short>(sub));
    }
    LogFlush();
}

// A log that could not be written to its end, on a full disk for one, costs nothing but itself.
void CloseLog() {
    ConPut("PHASE    X - PROGRAM TERMINATION\n");
    PutRule(kHalfEquals);
    const bool written = std::ferror(Kiv.Log_Fp) == 0;
    const bool closed = std::fclose(Kiv.Log_Fp) == 0;
    Kiv.Log_Fp = nullptr;
    if (written && closed) return;
    if (WantsDebugLog()) {
        FailDebugLog();
    } else {
        FailBaseLog();
    }
}

}  // namespace

int KivPhaseLog(int phase, int sub) {
    if (Kiv.Log_On == 0) return 1;
    if (phase == PHASE_INPUT) return ReportPhase0(sub);
    if (!Kiv.Log_Fp) return 1;
    switch (phase) {
        case PHASE_ENERGY:
            ReportEnergies(sub);
            break;
        case PHASE_TRS:
            ReportTransitions(sub);
            break;
        case PHASE_LINESET:
            ReportLineSet();
            break;
        case PHASE_FIT:
            ReportFit(sub);
            break;
        case PHASE_END:
            CloseLog();
            break;
        default:
            break;
    }
    return 1;
}
