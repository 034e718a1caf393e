#include "console/Quirks.h"

#include <algorithm>
#include <iterator>

namespace kiv {
namespace {

constexpr Constant kRotational[] = {Constant::A, Constant::B, Constant::C};

// Constants that are put back when the rotation produced a cross term in their plane.
struct Plane {
    Constant cross, first, second;
};

constexpr Plane kPlanes[] = {
    {Constant::PXPY, Constant::B, Constant::C},
    {Constant::PXPZ, Constant::A, Constant::B},
    {Constant::PYPZ, Constant::A, Constant::C},
};

bool HasComplexTerm(const State& state) {
    constexpr Constant kConstants[] = {Constant::PY, Constant::PXPY, Constant::PYPZ,
                                       Constant::PZ2PY};
    return std::any_of(std::begin(kConstants), std::end(kConstants),
                       [&](Constant c) { return state.terms[c].on; });
}

}  // namespace

bool IsComplexRun(const Model& model) {
    return std::any_of(model.states.begin(), model.states.end(), [](const State& state) {
        return state.tilt.phi != 0.0 || state.tilt.chi != 0.0 || HasComplexTerm(state);
    });
}

void EnterCrossTerms(State& state, const TurnedState& turned) {
    for (const CrossTerm& cross : kCrossTerms) {
        if (turned.from_turn[cross.constant]) {
            state.terms[cross.constant].value = turned.value[cross.constant];
        }
    }
}

void LeaveTurned(Model& model, const PassRoom& room) {
    for (const StateIndex index : {kLower, kUpper}) {
        State& state = model.states[index];
        const TurnedState& turned = room.turned[index];
        if (!turned.is_turned) continue;
        for (const Constant c : kRotational) state.terms[c].value = turned.value[c];
        for (const Plane& plane : kPlanes) {
            if (!turned.from_turn[plane.cross]) continue;
            for (const Constant c : {plane.first, plane.second}) {
                state.terms[c].value = turned.given[static_cast<std::size_t>(c)];
            }
            state.terms[plane.cross].value = 0.0;
        }
    }
}

}  // namespace kiv
