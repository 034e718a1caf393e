// A molecule as the program sees it: two states, each with its constants and its axes, the band
// origin and the transition moment.
//
// Molecule-fixed axes x = b, y = c, z = a (representation I^r); basis |J,K> with K along z.
// Constants and energies share one unit, MHz or cm-1, which nothing converts; angular momentum is
// in units of hbar.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kiv {

/// Constants of a Hamiltonian, in the order of every per-constant array. H is the sum of constant
/// times operator:
///
///     A Pz^2 + B Px^2 + C Py^2
///     PX Px + PY Py + PZ Pz
///     PXPY (PxPy + PyPx) + PXPZ (PxPz + PzPx) + PYPZ (PyPz + PzPy)
///     - DK Pz^4 - DJK P^2 Pz^2 - DJ P^4
///     A reduction: - dK/2 [Pz^2, P+^2 + P-^2]+ - dJ P^2 (P+^2 + P-^2)
///     S reduction: dJ is d1, dK is d2: + d1 P^2 (P+^2 + P-^2) + d2 (P+^4 + P-^4)
///     PZ3 Pz^3 + PX3 Px^3 + PY3 Py^3, PZ2PX, PZ2PY, PX2PZ, PY2PZ symmetrised, PZ5 Pz^5
///
/// docs/theory.md has every matrix element. Source: J. K. G. Watson, in Vibrational Spectra and
/// Structure 6, ed. J. R. Durig (Elsevier, 1977), for the quartic distortion.
enum class Constant : std::uint8_t {
    A,
    B,
    C,
    PX,
    PY,
    PZ,
    PXPY,
    PXPZ,
    PYPZ,
    DK,
    DJK,
    DJ,
    dK,
    dJ,
    PZ3,
    PX3,
    PY3,
    PZ2PX,
    PZ2PY,
    PX2PZ,
    PY2PZ,
    PZ5
};

inline constexpr int kNumConstants = 22;
static_assert(static_cast<int>(Constant::PZ5) + 1 == kNumConstants);

/// Name of a constant as in the list above.
const char* NameOf(Constant constant);

/// One value for each constant.
template <class T>
struct PerConstant {
    std::array<T, kNumConstants> values{};

    T& operator[](Constant c) { return values[static_cast<std::size_t>(c)]; }
    const T& operator[](Constant c) const { return values[static_cast<std::size_t>(c)]; }
    T& operator[](int c) { return values[static_cast<std::size_t>(c)]; }
    const T& operator[](int c) const { return values[static_cast<std::size_t>(c)]; }
};

/// A constant of a state.
struct Term {
    double value = 0.0;
    bool on = false;  // takes part in the Hamiltonian; A, B and C always do, but must be on in fits
    bool fit = false;  // is varied in a fit
    double sd = 0.0;   // standard deviation of the last fit
};

/// Watson's reduction of the distortion.
enum class Reduction : std::uint8_t { A, S };

/// Euler angles in degrees, z-y-z, positive counter-clockwise: by phi about z, by theta about the
/// new y, by chi about the new z.
struct EulerAngles {
    double phi = 0.0, theta = 0.0, chi = 0.0;

    bool IsZero() const { return phi == 0.0 && theta == 0.0 && chi == 0.0; }
};

/// One state. Its A, B and C refer to its own axes, which `tilt` turns against those of the basis;
/// all other constants are those of the turned axes.
struct State {
    PerConstant<Term> terms;
    Reduction reduction = Reduction::A;
    EulerAngles tilt;

    /// A rigid rotor.
    static State Rigid(double A, double B, double C);

    double value(Constant c) const { return terms[c].value; }

    /// Switches a constant on.
    State& Set(Constant c, double value);
};

/// Index of a state in per-state arrays.
enum StateIndex : int { kLower = 0, kUpper = 1, kNumStates = 2 };

/// Components of the transition moment on a, b, c, signed; debye, or relative.
struct Moment {
    std::array<double, 3> component{1.0, 1.0, 1.0};
    StateIndex frame = kLower;  // state in whose own axes they are given

    /// sqrt|m| (cos theta, sin theta cos chi, sin theta sin chi): `squared` is the squared
    /// magnitude, theta the angle from a, chi that from b towards c, in degrees.
    static Moment FromAngles(double squared, double theta, double chi);

    /// sign(p) sqrt(|p| / 100) for percent intensities on a, b, c.
    static Moment FromPercent(const std::array<double, 3>& percent);
};

struct Model {
    std::array<State, kNumStates> states;
    bool one_state = false;  // pure rotation of the lower state; the upper one is not looked at
    Term origin{0.0, true};  // of the band: position = origin + E' - E''
    Moment moment;

    const State& lower() const { return states[kLower]; }
    const State& upper() const { return states[kUpper]; }
    State& lower() { return states[kLower]; }
    State& upper() { return states[kUpper]; }
};

}  // namespace kiv
