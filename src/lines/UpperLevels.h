// The levels of one J' of the upper state as the partners of lower levels.
#pragma once

#include <cstdint>

#include "kiv/array.h"
#include "lines/ClassLevels.h"

namespace kiv {

/// Distance of the rows of UpperLevels for a class of N levels. It is a multiple of the widest
/// vector, but not one of many cache lines, at which all rows would compete for the same places.
constexpr int RowLd(int N) { return VecLd(N) + (VecLd(N) % (2 * kVecStep) == 0 ? kVecStep : 0); }

/// Upper levels of some classes in ascending energy, each known by its place in the list.
struct PartnerList {
    bool filled = false;
    const std::int32_t* index;  // level index, J'^2 and the energy rank
    const double* energy;
    const std::int16_t* label;     // J', Ka', Kc', 0, 0, 0
    const std::int32_t* below;     // places below energy rank 0..2J'+1
    const std::int32_t* place_of;  // place of level j of class c, at ClassLevels::First(c) + j
};

class UpperLevels {
  public:
    /// Starts on `levels`, which must stay as they are, by the classes of `kept`. NoMemory.
    Status Begin(const Memory& memory, const Levels& levels, std::uint8_t kept);

    /// Makes J the one at hand.
    void Load(int J);

    const ClassLevels& by_class() const { return by_class_; }

    /// The component m of the levels of class c, level after level, rows RowLd apart; the first
    /// level of a row begins at a multiple of 64 bytes.
    const double* Real(int c) { return Rows(c, 0); }
    const double* Imag(int c) { return Rows(c, 1); }

    /// The levels of the classes in `classes` (bit c for class c).
    const PartnerList& Partners(unsigned classes);

  private:
    int num_parts() const { return levels_->is_complex ? 2 : 1; }
    const double* Rows(int c, int part);
    void FillList(unsigned classes, PartnerList& list);

    const Levels* levels_ = nullptr;
    ClassLevels by_class_;
    std::int64_t first_row_[kMaxBlocks] = {};
    bool has_rows_[kMaxBlocks][2] = {};  // those that somebody asked for
    Array<double> rows_[2];              // real and imaginary part
    double* start_[2] = {};              // where they begin
    PartnerList lists_[1U << kMaxBlocks];
    int list_room_ = 0;  // entries between the lists, which stand in the order of their first use
    int num_lists_ = 0;
    Array<std::int32_t> index_, below_, place_of_;
    Array<double> energy_;
    Array<std::int16_t> label_;
};

}  // namespace kiv
