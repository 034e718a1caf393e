// Turned states that are solved in their own axes.
//
// A, B and C in turned axes leave a matrix without the symmetry that the state has in its own axes,
// where its levels fall into four blocks. Solved without them, the members of an asymmetry doublet
// whose splitting is below the rounding of the arithmetic would come out as any mixture of the two.
// So where nothing else acts, or only what is the same in all axes, the state is solved in its own
// axes and its eigenvectors are turned into those of the basis:
//
//     v = exp(i chi Pz) exp(i theta Py) exp(i phi Pz) v_own
//
// which is the matrix of the turn g = Rz(chi) Ry(theta) Rz(phi) (model/Frames.h) over |J,K>.
// Source: R. N. Zare, Angular Momentum (Wiley, 1988), sections 3.5 and 3.6.
#pragma once

#include <array>
#include <cstdint>

#include "kiv/array.h"
#include "kiv/error.h"
#include "levels/LevelScratch.h"
#include "levels/TurnMatrix.h"

namespace kiv {

/// True when `H` is that of a turned state in which A, B, C and multiples of P^2, P^4 .. act and
/// nothing else.
bool IsSolvedInOwnAxes(const Hamiltonian& H);

/// The turn of such a state, from its own axes to those of the basis.
class OwnAxes {
  public:
    /// Has the room that `max_J` needs. NoMemory names the array.
    Status Fit(const Memory& memory, int max_J);

    /// Starts on a Hamiltonian, which must stay as it is.
    void Begin(const Hamiltonian& H, int max_J);

    /// The Hamiltonian in the state's own axes, a real one.
    Hamiltonian own() const { return {&own_, false}; }

    /// Turns the levels of `J`, solved, ranked and with derivatives as own() in `scratch`: vectors,
    /// characters, and derivatives by the constants that are not those of the own axes. J ascends
    /// from 0.
    void TurnLevels(int J, BlockScratch& scratch, Levels& levels);

  private:
    /// exp(i K angle) for K = 0, 1, ...
    static void FillFactors(double angle, int max_J, Array<double>& re, Array<double>& im);

    void FindKept();
    void FillColumns(int J);
    void TurnBlock(int J, const SymBlock& block, int first, const double* vectors);
    void PutVector(int J, int place, const SymBlock& from, const SymBlock& to, double* re,
                   double* im);
    void PutVectors(int J, BlockScratch& scratch, Levels& levels);
    void TurnDerivatives(int J, BlockScratch& scratch, Levels& levels);

    Hamiltonian H_{};
    TurnedState own_;
    std::uint8_t kept_ = 0;
    std::array<std::uint8_t, 3> own_rotation_{};
    bool mixes_ = false;  // phi is not 0: a vector gets a part of its partner's symmetry

    TurnMatrix matrix_;
    Array<double> columns_[2][2];  // by parity of K and sign: the turn of a Wang function
    Array<double> phi_[2], chi_[2];
    Array<double> own_vectors_[2];  // of a block, times the factors of phi
    Array<double> turned_[2];       // components m = 0..J of all levels
    Array<double> no_imag_;
    Array<double> records_;  // derivatives by A, B, C
};

}  // namespace kiv
