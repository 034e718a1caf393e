#include "kiv/model.h"

#include <cmath>

#include "base/Trig.h"
#include "model/Units.h"

namespace kiv {
namespace {

constexpr const char* kNames[] = {"A",    "B",     "C",     "PX",    "PY",    "PZ", "PXPY", "PXPZ",
                                  "PYPZ", "DK",    "DJK",   "DJ",    "dK",    "dJ", "PZ3",  "PX3",
                                  "PY3",  "PZ2PX", "PZ2PY", "PX2PZ", "PY2PZ", "PZ5"};
static_assert(std::size(kNames) == kNumConstants);

}  // namespace

const char* NameOf(Constant constant) { return kNames[static_cast<std::size_t>(constant)]; }

State State::Rigid(double A, double B, double C) {
    State state;
    return state.Set(Constant::A, A).Set(Constant::B, B).Set(Constant::C, C);
}

State& State::Set(Constant c, double value) {
    terms[c].value = value;
    terms[c].on = true;
    return *this;
}

Moment Moment::FromAngles(double squared, double theta, double chi) {
    const double r = std::sqrt(std::fabs(squared));
    const double t = theta * kRadPerDeg, x = chi * kRadPerDeg;
    Moment moment;
    moment.component = {r * Cos(t), r * Sin(t) * Cos(x), r * Sin(t) * Sin(x)};
    return moment;
}

Moment Moment::FromPercent(const std::array<double, 3>& percent) {
    Moment moment;
    for (std::size_t i = 0; i < 3; ++i) {
        const double x = 0.01 * percent[i];
        moment.component[i] = x >= 0.0 ? std::sqrt(x) : -std::sqrt(-x);
    }
    return moment;
}

}  // namespace kiv
