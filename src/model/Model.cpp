#include "kiv/model.h"

#include <cmath>

#include "base/Trig.h"
#include "model/Units.h"

namespace kiv {
namespace {

struct ConstantName {
    const char* of_A;
    const char* of_S;
};

constexpr ConstantName kNames[] = {
    {"A", "A"},         {"B", "B"},         {"C", "C"},         {"PX", "PX"},
    {"PY", "PY"},       {"PZ", "PZ"},       {"PXPY", "PXPY"},   {"PXPZ", "PXPZ"},
    {"PYPZ", "PYPZ"},   {"DK", "DK"},       {"DJK", "DJK"},     {"DJ", "DJ"},
    {"dK", "d2"},       {"dJ", "d1"},       {"PZ3", "PZ3"},     {"PX3", "PX3"},
    {"PY3", "PY3"},     {"PZ2PX", "PZ2PX"}, {"PZ2PY", "PZ2PY"}, {"PX2PZ", "PX2PZ"},
    {"PY2PZ", "PY2PZ"}, {"PZ5", "PZ5"},     {"HJ", "HJ"},       {"HJK", "HJK"},
    {"HKJ", "HKJ"},     {"HK", "HK"},       {"hJ", "h1"},       {"hJK", "h2"},
    {"hK", "h3"},       {"LJ", "LJ"},       {"LJJK", "LJJK"},   {"LJK", "LJK"},
    {"LKKJ", "LKKJ"},   {"LK", "LK"},       {"lJ", "l1"},       {"lJK", "l2"},
    {"lKJ", "l3"},      {"lK", "l4"}};
static_assert(std::size(kNames) == kNumConstants);

}  // namespace

const char* NameOf(Constant constant, Reduction reduction) {
    const ConstantName& name = kNames[static_cast<std::size_t>(constant)];
    return reduction == Reduction::A ? name.of_A : name.of_S;
}

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
