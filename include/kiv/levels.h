// Energy levels of one state: energies, labels, eigenvectors, derivatives.
//
// The 2J+1 levels of J stand at J*J in ascending energy; level index = J*J + rank. Labels follow
// the rank: from the lowest up J(0,J), J(1,J), J(1,J-1), ... so that rank = J + Ka - Kc.
#pragma once

#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "kiv/array.h"
#include "kiv/error.h"
#include "kiv/model.h"
#include "kiv/report.h"
#include "kiv/workspace.h"

namespace kiv {

/// Levels of J = 0..max_J.
struct Levels {
    int max_J = -1;
    bool is_complex = false;  // eigenvectors have imaginary parts
    std::uint8_t kept = 0;    // two-fold rotations that the Hamiltonian keeps: 1 about a, 2 b, 4 c

    // What a kept rotation about a, b, c of the basis is to a turned state that was solved in its
    // own axes: a rotation about one of those.
    std::array<std::uint8_t, 3> own_rotation{1, 2, 4};

    // One entry a level
    Array<double> energy;
    Array<std::int16_t> ka, kc;
    Array<std::uint8_t> odd;  // kept rotations under which it changes sign

    // Eigenvectors block by block, as the solver leaves them; Vector() gives one of them. Each J
    // has room for the blocks of the rotations `placed_by`, some of those that are kept
    Array<double> vectors_real, vectors_imag;
    std::uint8_t placed_by = 0;

    // dE/dp, num_derivatives a level: those of `derivative_of`, in the order of Constant
    Array<double> derivative;
    int num_derivatives = 0;
    std::array<Constant, kNumConstants> derivative_of{};

    std::size_t size() const {
        return static_cast<std::size_t>(max_J + 1) * static_cast<std::size_t>(max_J + 1);
    }
    static std::size_t Index(int J, int rank) {
        return static_cast<std::size_t>(J) * static_cast<std::size_t>(J) +
               static_cast<std::size_t>(rank);
    }

    /// J of the level with an index.
    static int JOf(std::size_t index);

    /// Energy of a level; rank 0..2J.
    double Energy(int J, int rank) const { return energy[Index(J, rank)]; }

    /// dE/dp of a level by Hellmann and Feynman, one number for each of derivative_of.
    std::span<const double> Derivatives(int J, int rank) const {
        const auto num = static_cast<std::size_t>(num_derivatives);
        return derivative.Part(Index(J, rank) * num, num);
    }

    /// Kept rotations of the basis under which a level changes sign that does so under the
    /// rotations `own_odd` about the state's own axes.
    std::uint8_t OddInBasis(std::uint8_t own_odd) const {
        unsigned in_basis = 0;
        for (std::size_t i = 0; i < own_rotation.size(); ++i) {
            if ((own_odd & own_rotation[i]) != 0) in_basis |= 1U << i;
        }
        return static_cast<std::uint8_t>(in_basis & kept);
    }

    /// Components of a level over |J,K>, K = -J..J, in the phases of docs/theory.md.
    std::vector<std::complex<double>> Vector(int J, int rank) const;

    /// Takes the arrays for `max_J`. NoMemory names the array; a max_J below 0 or one whose levels
    /// cannot be counted in 32 bits is refused like too large an array.
    Status Reserve(const Memory& memory, int max_J, bool is_complex, int num_derivatives);

    /// The same without the eigenvectors.
    Status ReserveFigures(const Memory& memory, int max_J, int num_derivatives);
};

/// True when `state` needs a complex Hamiltonian: a term with imaginary elements is on, or its axes
/// are turned about more than y. Two states between which lines are calculated are both real or
/// both complex.
bool NeedsComplex(const State& state);

/// Solves J = 0..max_J of `state`.
///
/// OutOfRange for a constant or an angle that is not finite; NoMemory; Cancelled.
Result<Levels> SolveLevels(const State& state, int max_J, bool is_complex, Workspace& work,
                           Report& report);
Result<Levels> SolveLevels(const State& state, int max_J, Workspace& work);

/// The same energies and labels, bit for bit, without eigenvectors, characters and derivatives.
Result<Levels> SolveEnergies(const State& state, int max_J, Workspace& work);

}  // namespace kiv
