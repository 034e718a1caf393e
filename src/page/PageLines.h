// The lines and spectra of a page as arrays of numbers.
#pragma once

#include <cstdint>
#include <vector>

#include "exchange/MeasuredSpectrum.h"
#include "products/LineTexts.h"

namespace kiv {

/// Lines in ascending frequency; the level J, rank of the two states has the index J*J + rank.
struct PageLines {
    std::int64_t all = 0;  // lines there were; the strongest are here
    std::vector<std::uint32_t> lower, upper;
    std::vector<float> strength;   // squared amplitude sum, without spin weight
    std::vector<float> intensity;  // as the text list shows them
    /// 0 a, 1 b, 2 c; only when some type is not that of the changes of Ka and Kc: even odd a, odd
    /// odd b, odd even c.
    std::vector<std::uint8_t> band;
    std::vector<float> sd;  // predicted deviation; empty without a fit
    /// Only when some position is not exactly origin + E' - E''.
    std::vector<double> position;
};

/// The `most` strongest lines of a table; of equal ones the first.
PageLines TakeLines(const LineTable& table, double origin, std::int64_t most);

/// A spectrum; point i is at first + i step + rest[i], or at position[i].
struct PageSpectrum {
    std::size_t size = 0;
    double first = 0.0, step = 0.0;
    std::vector<float> rest;       // empty: nothing is left over
    std::vector<double> position;  // of a grid that is not uniform
    double factor = 1.0;           // values are `value` times this
    std::vector<float> value;      // at most 1 in size
};

PageSpectrum TakeSpectrum(const MeasuredSpectrum& spectrum);

}  // namespace kiv
