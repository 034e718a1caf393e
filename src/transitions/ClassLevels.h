// The levels of one J of a state by symmetry class, the classes being those of the rotations that
// both states keep.
//
// A level's eigenvector is given over the functions of its class (SymBlock). Where the state keeps
// no other rotations these are the vectors as the solver left them; otherwise the blocks of the
// state are finer than the classes, and the vectors are written anew.
#pragma once

#include <cstdint>

#include "hamiltonian/LevelVectors.h"
#include "hamiltonian/Symmetry.h"
#include "run/KivArray.h"

class ClassLevels {
  public:
    /// Takes the arrays for the levels of `state` up to Kiv.Max_J by the classes of `kept`. 1, or 0
    /// with a message.
    int Init(int state, std::uint8_t kept);

    /// Makes J the one at hand.
    void Load(int J);

    int J() const { return Now; }
    int NumClasses() const { return Classes.Num; }
    const SymBlock& Class(int c) const { return Classes.Block[c]; }

    /// Class of the level of an energy rank, and its number there, counted in ascending energy.
    int ClassOf(int rank) const { return Class_Of[static_cast<std::size_t>(rank)]; }
    int IndexOf(int rank) const { return Index_Of[static_cast<std::size_t>(rank)]; }

    /// Levels of the classes before c.
    int First(int c) const { return First_Level[c]; }

    /// Levels of class c below energy rank 0..2J+1.
    int Below(int c, int rank) const {
        return Num_Below[static_cast<std::size_t>(rank) * kMaxBlocks + c];
    }

    /// Components of level j of class c, filled up with zeros to VecLd of the class; one number
    /// before and a vector behind them can be read. The imaginary part in complex runs only.
    const double* Real(int c, int j) const { return Vector(Start[0], c, j); }
    const double* Imag(int c, int j) const { return Vector(Start[1], c, j); }

  private:
    const double* Vector(const double* start, int c, int j) const {
        return start + Classes.Vec[c] + std::int64_t{j} * VecLd(Classes.Block[c].N);
    }
    void SortLevels();
    void Rewrite(const KivArray<double>& part, KivArray<double>& out);

    int State = 0;
    std::uint8_t Kept = 0;
    bool Finer = false;  // the state's own blocks are finer than the classes
    int Now = -1;
    LevelBlocks Classes;
    int First_Level[kMaxBlocks] = {};
    const double* Start[2] = {};
    KivArray<std::uint8_t> Class_Of;
    KivArray<std::int32_t> Index_Of, Num_Below;
    KivArray<double> Full;                // one part over |J,K>
    KivArray<double> New_Real, New_Imag;  // rewritten vectors of one J
};
