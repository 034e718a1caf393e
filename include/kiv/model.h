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
/// times operator, P+- = Px +- i Py, [u,v]+ = uv + vu:
///
///     A Pz^2 + B Px^2 + C Py^2
///     PX Px + PY Py + PZ Pz
///     PXPY (PxPy + PyPx) + PXPZ (PxPz + PzPx) + PYPZ (PyPz + PzPy)
///     - DK Pz^4 - DJK P^2 Pz^2 - DJ P^4
///     PZ3 Pz^3 + PX3 Px^3 + PY3 Py^3, PZ2PX, PZ2PY, PX2PZ, PY2PZ symmetrised, PZ5 Pz^5
///     HJ P^6 + HJK P^4 Pz^2 + HKJ P^2 Pz^4 + HK Pz^6
///     LJ P^8 + LJJK P^6 Pz^2 + LJK P^4 Pz^4 + LKKJ P^2 Pz^6 + LK Pz^8
///     A reduction: 1/2 [- dJ P^2 - dK Pz^2 + hJ P^4 + hJK P^2 Pz^2 + hK Pz^4 + lJ P^6
///                       + lJK P^4 Pz^2 + lKJ P^2 Pz^4 + lK Pz^6, P+^2 + P-^2]+
///     S reduction: (d1 P^2 + h1 P^4 + l1 P^6)(P+^2 + P-^2) + (d2 + h2 P^2 + l2 P^4)(P+^4 + P-^4)
///                  + (h3 + l3 P^2)(P+^6 + P-^6) + l4 (P+^8 + P-^8)
///
/// In the S reduction d1, d2 stand in the places of dJ, dK, h1, h2, h3 in those of hJ, hJK, hK, and
/// l1, l2, l3, l4 in those of lJ, lJK, lKJ, lK. docs/theory.md has every matrix element. Source:
/// J. K. G. Watson, in Vibrational Spectra and Structure 6, ed. J. R. Durig (Elsevier, 1977).
// clang-format off
enum class Constant : std::uint8_t {
    A, B, C,
    PX, PY, PZ,
    PXPY, PXPZ, PYPZ,
    DK, DJK, DJ, dK, dJ,
    PZ3, PX3, PY3, PZ2PX, PZ2PY, PX2PZ, PY2PZ, PZ5,
    HJ, HJK, HKJ, HK, hJ, hJK, hK,
    LJ, LJJK, LJK, LKKJ, LK, lJ, lJK, lKJ, lK
};
// clang-format on

inline constexpr int kNumConstants = 38;
static_assert(static_cast<int>(Constant::lK) + 1 == kNumConstants);

/// The constants of positional input files: those up to PZ5.
inline constexpr int kNumFileConstants = 22;
static_assert(static_cast<int>(Constant::PZ5) + 1 == kNumFileConstants);

/// Watson's reduction of the distortion.
enum class Reduction : std::uint8_t { A, S };

/// Name of a constant as in the list above.
const char* NameOf(Constant constant, Reduction reduction = Reduction::A);

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
    bool on = false;   // takes part in the Hamiltonian; A, B and C always do
    bool fit = false;  // is varied in a fit
    double sd = 0.0;   // standard deviation of the last fit
};

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
    StateIndex frame = kLower;  // state in whose own axes they are given, whatever the lines are

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
