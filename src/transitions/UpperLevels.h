// The levels of one J' of the excited state as the partners of lower levels.
#pragma once

#include <cstdint>

#include "run/KivArray.h"
#include "transitions/ClassLevels.h"

/// Distance of the rows of UpperLevels for a class of N levels. It is a multiple of the widest
/// vector, but not one of many cache lines, at which all rows would compete for the same places.
constexpr int RowLd(int N) { return VecLd(N) + (VecLd(N) % (2 * kVecStep) == 0 ? kVecStep : 0); }

/// Upper levels of some classes in ascending energy, each known by its place in the list.
struct PartnerList {
    bool Filled = false;
    const std::int32_t* Index;    // level index, J'^2 and the energy rank
    const double* Erg;            // energy
    const std::int16_t* Label;    // J', Ka', Kc', 0, 0, 0
    const std::int32_t* Below;    // places below energy rank 0..2J'+1
    const std::int32_t* PlaceOf;  // place of level j of class c, at ClassLevels::First(c) + j
};

class UpperLevels {
  public:
    /// Takes the arrays up to Kiv.Max_J by the classes of `kept`. 1, or 0 with a message.
    int Init(std::uint8_t kept);

    /// Makes J the one at hand.
    void Load(int J);

    const ClassLevels& Levels() const { return By_Class; }

    /// The component m of the levels of class c, level after level, rows RowLd apart; the first
    /// level of a row begins at a multiple of 64 bytes.
    const double* Real(int c) const { return Start[0] + First_Row[c]; }
    const double* Imag(int c) const { return Start[1] + First_Row[c]; }

    /// The levels of the classes in `classes` (bit c for class c).
    const PartnerList& Partners(unsigned classes);

  private:
    void FillRows(int part);
    void FillList(unsigned classes, PartnerList& list);

    ClassLevels By_Class;
    std::int64_t First_Row[kMaxBlocks] = {};
    KivArray<double> Rows[2];  // real and imaginary part
    double* Start[2] = {};     // where they begin
    PartnerList List[1U << kMaxBlocks];
    KivArray<std::int32_t> Index, Below, PlaceOf;
    KivArray<double> Erg;
    KivArray<std::int16_t> Label;
};
