#include "frames/TransMoment.h"

#include <cmath>

#include "run/KivPhaseLog.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"

namespace {

constexpr double kMinProjection = 1e-5;

void ComponentsFromAngles(const double ang[3], double comp[3]) {
    const double r = std::sqrt(std::fabs(ang[0]));
    const double theta = ang[1] * kRadPerDeg, chi = ang[2] * kRadPerDeg;
    comp[0] = r * std::cos(theta);
    comp[1] = r * std::sin(theta) * std::cos(chi);
    comp[2] = r * std::sin(theta) * std::sin(chi);
}

void ComponentsFromPercent(const double pct[3], double comp[3]) {
    for (int i = 0; i < 3; ++i) {
        const double x = 0.01 * pct[i];
        comp[i] = x >= 0.0 ? std::sqrt(x) : -std::sqrt(-x);
    }
}

void Rotate(const double comp[3], const double g[3][3], double prj[3]) {
    const double u[3] = {comp[1], comp[2], comp[0]};  // x = b, y = c, z = a
    double turned[3];
    for (int i = 0; i < 3; ++i) turned[i] = g[i][0] * u[0] + g[i][1] * u[1] + g[i][2] * u[2];
    prj[0] = turned[2];
    prj[1] = turned[0];
    prj[2] = turned[1];
}

}  // namespace

int TransMomentOrient(int method, int ref_state, const double in[3], const double g[3][3],
                      double comp[3]) {
    TraceEnter("TransMomentOrient");
    if (method == 0) ComponentsFromAngles(in, comp);
    if (method == 1) ComponentsFromPercent(in, comp);
    for (int i = 0; i < 3; ++i) Kiv.TM_Prj[i] = comp[i];
    KivPhaseLog(2, 1);
    if (IsRotated(Kiv, ref_state)) {
        Rotate(comp, g, Kiv.TM_Prj);
        KivPhaseLog(2, 2);
    }
    for (int i = 0; i < 3; ++i) {
        Kiv.Band_Active[i] = std::fabs(Kiv.TM_Prj[i]) > kMinProjection ? 1 : 0;
    }
    if (Kiv.Band_Split == 1) {
        Kiv.Band_Count += Kiv.Band_Active[0] + Kiv.Band_Active[1] + Kiv.Band_Active[2];
    }
    return TraceExit("TransMomentOrient");
}
