// Small rotors for the tests of levels, lines and fits.
#pragma once

#include "kiv/model.h"

namespace kiv {

/// The asymmetric top of many checks: A, B, C = 10, 6.1, 4.3.
inline State StdRotor() { return State::Rigid(10.0, 6.1, 4.3); }

/// The same with turned axes.
inline State StdRotor(const EulerAngles& tilt) {
    State state = StdRotor();
    state.tilt = tilt;
    return state;
}

}  // namespace kiv
