#include "console/PhaseLog.h"

#include <string>

#include "console/Listings.h"

namespace kiv {
namespace {

constexpr char kDebugLog[] = "Kiv95_Debug.log";

constexpr char kHalfEquals[] = "========================================";  // 40
constexpr char kHalfDashes[] = "----------------------------------------";  // 40
static_assert(sizeof kHalfEquals == 41 && sizeof kHalfDashes == 41);

void PutBanner(Console& log, const char* left, const char* right) {
    PutEquals(log);
    log.Log("%s%s", left, right);
    PutEquals(log);
}

// Three columns of a frame: angles
void PutAngles(Console& log, const EulerAngles& angles) {
    log.Log("%-34.3lf%-34.3lf%-.3lf\n", angles.phi, angles.theta, angles.chi);
}

// Three columns of a frame: a row of a matrix
void PutMatrixRow(Console& log, double x, double y, double z) {
    log.Log("%-34.6lf%-34.6lf%.6lf\n", x, y, z);
}

void PutProjections(Console& log, const std::array<double, 3>& projection) {
    log.Log("A PRJ= %-12lf           B PRJ= %-12lf           C PRJ= %-lf\n", projection[0],
            projection[1], projection[2]);
}

void FailDebugLog(Console& console) {
    console.Put("FAILED TO CREATE ASCII DEBUG FILE %s FOR WRITING!", kDebugLog);
}

void FailLog(Console& console, const InputFile& file) {
    console.Put("FAILED TO CREATE ASCII LOG FILE %s.log FOR WRITING!\n", file.out_base.c_str());
}

void ReportFrame(Console& log, StateIndex index, const EulerAngles& angles,
                 const TurnedState& turned) {
    PutDashes(log);
    log.Log("             %s STATE EULER ANGLES [F TO g: HAM CCW(+) & CW(-)]\n",
            kStateLabels[index]);
    log.Log("PHI                               THETA                             CHI\n");
    PutAngles(log, angles);
    PutDashes(log);
    log.Log("                 %s STATE DIRECTION COSINE MATRIX (g TO F)\n", kStateLabels[index]);
    log.Log("X                                 Y                                 Z\n");
    for (const auto& row : turned.axes) PutMatrixRow(log, row[0], row[1], row[2]);
}

void AnnounceState(Console& console, StateIndex index) {
    if (index == kUpper) {
        console.Put("PHASE    I - EXCITED STATE EIGEN ENERGIES AND VECTORS\n");
        return;
    }
    console.Put("PHASE    I - GROUND STATE EIGEN ENERGIES AND VECTORS\n");
    PutBanner(console, ">>>>>>>>>>>>>>>>>>>> PHASE I - EIGEN ENERGIES AND VECTORS ",
              "<<<<<<<<<<<<<<<<<<<<<<\n");
}

// Letter of a hybrid band by the types that contribute; bit 0 a, bit 1 b, bit 2 c.
char BandLetter(const std::array<bool, 3>& is_active) {
    constexpr char kLetters[] = "NABYCXZD";
    int types = 0;
    for (std::size_t i = 0; i < 3; ++i) types |= is_active[i] ? 1 << i : 0;
    return kLetters[types];
}

}  // namespace

void PutEquals(Console& console) { console.Log("%s%s\n", kHalfEquals, kHalfEquals); }

void PutDashes(Console& console) { console.Log("%s%s\n", kHalfDashes, kHalfDashes); }

void OpenDebugLog(Console& console) {
    if (!console.WantsDebugLog() || console.log_is_on()) return;
    if (!console.OpenLog(kDebugLog)) FailDebugLog(console);
}

bool ReportInput(Console& console, const InputFile& file, const Model& model) {
    console.Put("KIV VERSION %s\n\n", kInputVersion);
    console.Put("PHASE    0 - PARAMETER INPUT\n");
    if (!console.log_is_on() && !console.OpenLog(file.out_base + ".log")) {
        FailLog(console, file);
        return false;
    }
    PutEquals(console);
    console.Log(
        ">>>>>>>>>>>>>>>> KIVANTA (kiv) PROGRAM VERSION %s "
        "<<<<<<<<<<<<<<<<\n",
        kInputVersion);
    PutEquals(console);
    console.Log("\n");
    PutBanner(console, ">>>>>>>>>>>>>>>>>>>>>>>> PHASE 0 - PARAMETER INPUT ",
              "<<<<<<<<<<<<<<<<<<<<<<<<<<<<<\n");
    console.Log("\n");
    console.Log("%s\n", file.comment.c_str());
    PutDashes(console);
    console.Log("                             HAMILTONIAN PARAMETERS\n");
    ListConstants(console, model);
    PutDashes(console);
    console.Log("MAXIMUM J AND K CALCULATED = %d\n", file.max_J);
    return true;
}

void ReportFrames(Console& console, const Model& model,
                  const std::array<TurnedState, kNumStates>& turned) {
    if (!console.log_is_on()) return;
    for (const StateIndex index : {kLower, kUpper}) {
        if (!turned[index].is_turned) continue;
        ReportFrame(console, index, model.states[index].tilt, turned[index]);
    }
    PutDashes(console);
    console.Log("                       TRANSFORMED HAMILTONIAN PARAMETERS\n");
    ListConstants(console, model);
}

void ReportState(Console& console, const SolvedState& state) {
    AnnounceState(console, state.index);
    const TurnedState& turned = *state.turned;
    // a cross term as it stands in the matrix
    const auto cross = [&](Constant c) { return turned.Acts(c) ? turned.value[c] : 0.0; };
    const double xy = cross(Constant::PXPY), xz = cross(Constant::PXPZ);
    const double yz = cross(Constant::PYPZ);
    const char* label = kStateLabels[state.index];
    PutDashes(console);
    console.Log("                 %s STATE HAMILTONIAN PARAMETER MATRIX\n", label);
    PutDashes(console);
    console.Log("B(X)                              C(Y)                              A(Z)\n");
    PutMatrixRow(console, turned.value[Constant::B], xy, xz);
    PutMatrixRow(console, xy, turned.value[Constant::C], yz);
    PutMatrixRow(console, xz, yz, turned.value[Constant::A]);
    console.Log("%s", state.is_complex ? "\nREAL AND IMAGINARY MATRIX ELEMENTS\n"
                                       : "\nREAL MATRIX ELEMENTS ONLY\n");
    console.Log("%s STATE KAPPA=%-18.6lf INERTIAL DEFECT=%-.6lf\n", label, state.kappa,
                state.inertial_defect);
}

void ReportLines(Console& console) {
    console.Put("PHASE   II - CALCULATION OF TRANSITIONS\n");
    PutBanner(console, ">>>>>>>>>>>>>>>>>>> PHASE II - TRANSITIONS AND INTENSITIES ",
              "<<<<<<<<<<<<<<<<<<<<<\n");
    console.Log("              TRANSITION MOMENT ORIENTATION AND BAND TYPE CHARACTER \n");
    console.Log("TM ORIENTATION WITH MU PROJECTIONS:\n");
}

void ReportMoment(Console& console, const InputFile& file, const Moment& moment) {
    const auto& [a, b, c] = moment.component;
    console.Log("MAG  = %-12lf           THE  = %-12lf           CHI  = %-lf\n",
                file.moment_angles[0], file.moment_angles[1], file.moment_angles[2]);
    console.Log("A MAG= %-12lf           B MAG= %-12lf           C MAG= %-lf\n", a * a, b * b,
                c * c);
    PutProjections(console, moment.component);
}

void ReportTurnedMoment(Console& console, StateIndex index, const EulerAngles& angles,
                        const std::array<double, 3>& projection) {
    console.Log("\nTM WITH %s STATE AXIS ROTATION:\n", kStateLabels[index]);
    console.Log("PHI  = %-12lf           THE  = %-12lf           CHI  = %-lf\n", angles.phi,
                angles.theta, angles.chi);
    PutProjections(console, projection);
}

void ReportLineSet(Console& console, const InputFile& file, const LineSetReport& report) {
    console.Put("PHASE  III - GENERATION OF LINESET\n");
    PutBanner(console, ">>>>>>>>>>>>>>>>>>>>>>>>>>>> PHASE III - LINESET ",
              "<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<\n");
    if (file.band_split == 1) {
        console.Log("BAND LABEL         = %c\n", BandLetter(report.is_active));
    }
    console.Log("DELTA K ORDER      = %-3d\n", file.delta_K);
    console.Log("TEMPERATURES(K) T1 = %-10.3lf T2 = %-10.3lf WT = %-10.3lf\n", file.temperatures[0],
                file.temperatures[1], file.temperatures[2]);
    console.Log("INTENSITY CUT      = %.3lf\n\n", file.min_intensity);
    console.Log("LINESET %s.QZS\n", file.out_base.c_str());
    console.Log("NUMBER OF CALCULATED LINES        = %d\n", report.calculated);
    console.Log("NUMBER OF ASSIGNED LINES          = %d\n", report.assigned);
    console.Log("NUMBER OF REJECTED LINES          = %d\n", report.missing);
}

void ReportFit(Console& console) {
    console.Put("PHASE   IV - LINEAR LEAST SQUARES CALCULATION\n");
    PutBanner(console, ">>>>>>>>>>>>>>>>>>> PHASE IV - LINEAR LEAST SQUARES PHASE ",
              "<<<<<<<<<<<<<<<<<<<<<<\n");
    console.FlushLog();
}

void ReportFitCycle(Console& console, int cycle) {
    PutDashes(console);
    console.Log("                             EXACT ENERGY CYCLE # %d\n", cycle);
    console.FlushLog();
}

void ReportTooFewLines(Console& console, std::int32_t assigned, int marked) {
    console.Both(
        "NUMBER OF ASSIGNED LINES [%d] MUST BE >= "
        "NUMBER OF PARAMETERS TO FIT [%d]!\n",
        assigned, marked);
    console.FlushLog();
}

void CloseLog(Console& console, const InputFile& file) {
    console.Put("PHASE    X - PROGRAM TERMINATION\n");
    PutEquals(console);
    if (console.CloseLog()) return;
    if (console.WantsDebugLog()) {
        FailDebugLog(console);
    } else {
        FailLog(console, file);
    }
}

}  // namespace kiv
