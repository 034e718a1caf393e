// The levels of one J' of the excited state as the partners of lower levels.
#pragma once

#include <cstdint>

#include "run/KivArray.h"
#include "transitions/ClassLevels.h"

/// Distance of the rows of UpperLevels for a class of N levels: whole vectors can be read from any
/// level on.
constexpr int RowLd(int N) { return VecLd(N) + kVecStep; }

/// J', Ka', Kc' of an upper level in one integer, 16 bits each from the lowest up.
constexpr std::uint64_t UpperLabel(int J, int ka, int kc) {
    const auto bits = [](int number) {
        return static_cast<std::uint64_t>(static_cast<std::uint16_t>(number));
    };
    return bits(J) | bits(ka) << 16 | bits(kc) << 32;
}

/// Upper levels of some classes in ascending energy, each known by its place in the list.
struct PartnerList {
    bool Filled = false;
    const std::int32_t* Rank;     // energy rank
    const double* Erg;            // energy
    const std::uint64_t* Label;   // UpperLabel
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

    /// The component m of the levels of class c, level after level, rows RowLd apart.
    const double* Real(int c) const { return Rows[0].Data() + First_Row[c]; }
    const double* Imag(int c) const { return Rows[1].Data() + First_Row[c]; }

    /// The levels of the classes in `classes` (bit c for class c).
    const PartnerList& Partners(unsigned classes);

  private:
    void FillRows(int part);
    void FillList(unsigned classes, PartnerList& list);

    ClassLevels By_Class;
    std::int64_t First_Row[kMaxBlocks] = {};
    KivArray<double> Rows[2];  // real and imaginary part
    PartnerList List[1U << kMaxBlocks];
    KivArray<std::int32_t> Rank, Below, PlaceOf;
    KivArray<double> Erg;
    KivArray<std::uint64_t> Label;
};
