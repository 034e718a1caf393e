// The levels of one J of a state by symmetry class, the classes being those of the rotations that
// both states keep.
//
// A level's eigenvector is given over the functions of its class (SymBlock). Where the state keeps
// no other rotations these are the vectors as the solver left them; otherwise the blocks of the
// state are finer than the classes, and the vectors are written anew.
#pragma once

#include <cstdint>

#include "kiv/array.h"
#include "kiv/error.h"
#include "kiv/levels.h"
#include "levels/LevelVectors.h"
#include "levels/Symmetry.h"

namespace kiv {

class ClassLevels {
  public:
    /// Starts on `levels`, which must stay as they are, by the classes of `kept`. NoMemory.
    Status Begin(const Memory& memory, const Levels& levels, std::uint8_t kept);

    /// Makes J the one at hand.
    void Load(int J);

    int J() const { return J_; }
    int num_classes() const { return classes_.num; }
    const SymBlock& Class(int c) const { return classes_.block[c]; }

    /// Class of the level of an energy rank, and its number there, counted in ascending energy.
    int ClassOf(int rank) const { return class_of_[static_cast<std::size_t>(rank)]; }
    int IndexOf(int rank) const { return index_of_[static_cast<std::size_t>(rank)]; }

    /// Levels of the classes before c.
    int First(int c) const { return first_level_[c]; }

    /// Place of the level of an energy rank when the levels stand class by class.
    int Place(int rank) const { return First(ClassOf(rank)) + IndexOf(rank); }

    /// Levels of class c below energy rank 0..2J+1.
    int Below(int c, int rank) const {
        return num_below_[static_cast<std::size_t>(rank) * kMaxBlocks + c];
    }

    /// Indices and energies of the levels of class c, in ascending energy; whole vectors can be
    /// read behind the last one.
    const std::int32_t* LevelsOf(int c) const { return level_.data() + First(c); }
    const double* EnergiesOf(int c) const { return energy_.data() + First(c); }

    /// Components of level j of class c, filled up with zeros to VecLd of the class; one number
    /// before and a vector behind them can be read. The imaginary part of complex levels only.
    const double* Real(int c, int j) const { return Vector(start_[0], c, j); }
    const double* Imag(int c, int j) const { return Vector(start_[1], c, j); }

  private:
    const double* Vector(const double* start, int c, int j) const {
        return start + classes_.vec[c] + std::int64_t{j} * VecLd(classes_.block[c].N);
    }
    void SortLevels();
    void Rewrite(const Array<double>& part, Array<double>& out);

    const Levels* levels_ = nullptr;
    std::uint8_t kept_ = 0;
    bool finer_ = false;  // the state's own blocks are finer than the classes
    int J_ = -1;
    LevelBlocks classes_;
    int first_level_[kMaxBlocks] = {};
    const double* start_[2] = {};
    Array<std::uint8_t> class_of_;
    Array<std::int32_t> index_of_, num_below_;
    Array<std::int32_t> level_;   // class by class
    Array<double> energy_;        // the same
    Array<double> full_;          // one part over |J,K>
    Array<double> rewritten_[2];  // vectors of one J, real and imaginary part
};

}  // namespace kiv
