// One of the grids on which a spectrum is summed: amounts that lie on its nodes and the values that
// they make there.
#pragma once

#include <cstdint>
#include <span>

#include "kiv/array.h"
#include "kiv/error.h"

namespace kiv {

/// Nodes first .. first + size - 1 of an equidistant grid; node I lies at I steps from the origin.
struct NodeRange {
    std::int64_t first = 0;
    std::int64_t size = 0;

    std::int64_t last() const { return first + size - 1; }
};

class LevelGrid {
  public:
    /// Nodes whose values are wanted, and how many nodes away amounts still count there.
    LevelGrid(NodeRange wanted, std::int64_t reach);

    std::int64_t reach() const { return reach_; }
    const NodeRange& wanted() const { return wanted_; }

    /// The nodes of the next level, of twice the step, that Refine needs.
    NodeRange WantedAbove() const;

    /// Takes room for amounts, all of them 0. NoMemory.
    Status TakeAmounts(const Memory& memory);

    /// True when an amount at t steps from the origin is spread over nodes of this grid alone;
    /// others are too far from the wanted nodes to count there.
    bool Holds(double t) const { return t >= lowest_ && t < highest_; }

    /// Spreads an amount over the nodes around, so that its moments stay.
    void Add(double t, double amount);

    /// Spreads the amounts of `fine`, of half the step, over this grid.
    void AddFrom(const LevelGrid& fine);

    /// Values: for each node the sum of kernel[|distance|] times amount, kernel of reach + 1
    /// numbers. The amounts are given up. NoMemory.
    Status Sum(std::span<const double> kernel, const Memory& memory);

    /// Adds the values of `coarse`, of twice the step.
    void Refine(const LevelGrid& coarse);

    /// The value at t steps from the origin, among the wanted nodes.
    double ValueAt(double t) const;

  private:
    NodeRange wanted_, held_;  // nodes with values; with amounts
    std::int64_t reach_;
    double lowest_, highest_;
    Array<double> amount_, value_;
};

}  // namespace kiv
