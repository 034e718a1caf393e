// The tridiagonal matrices of the classes of one J'.
#pragma once

#include "levels/LevelScratch.h"
#include "lines/ClassLevels.h"
#include "lines/LineTask.h"

namespace kiv {

class UpperMatrix {
  public:
    /// Takes room for `task`, whose states both keep `kept`. Where its matrices are not known,
    /// real, tridiagonal and those of these classes, none is found later on; nor without memory.
    /// `scratch` is fitted to the task.
    void Begin(const Memory& memory, const LineTask& task, std::uint8_t kept,
               BlockScratch& scratch);

    /// Builds the matrices of J, which has these classes, in the scratch of Begin.
    void Load(int J, const ClassLevels& classes, BlockScratch& scratch);

    /// True when class c has one whose levels are those of the task.
    bool Has(int c) const { return has_[c]; }

    const double* Diagonal(int c) const { return diagonal_.data() + Place(c); }
    /// Element m with m + 1; 0 for the last one.
    const double* Beside(int c) const { return beside_.data() + Place(c); }

    /// How far the energies of the levels can be from those of the matrix, times the norm of a
    /// vector that both are applied to.
    double tolerance() const { return tolerance_; }

  private:
    std::ptrdiff_t Place(int c) const { return c * std::ptrdiff_t{ld_}; }
    bool IsOf(const ClassLevels& classes, const LevelBlocks& blocks, int c) const;

    const LineTask* task_ = nullptr;
    std::uint8_t kept_ = 0;
    bool is_known_ = false;
    int J_ = -1;
    bool has_[kMaxBlocks] = {};
    double tolerance_ = 0.0;
    int ld_ = 0;
    Array<double> diagonal_, beside_;
};

}  // namespace kiv
