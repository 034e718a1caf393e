// Measured lines with their quantum numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "kiv/array.h"
#include "kiv/error.h"

namespace kiv {

/// J' Ka' Kc' <- J'' Ka'' Kc'', a frequency and its uncertainty.
struct MeasuredLine {
    int J_upper = 0, Ka_upper = 0, Kc_upper = 0;
    int J_lower = 0, Ka_lower = 0, Kc_lower = 0;
    double frequency = 0.0;
    double uncertainty = 1.0;
};

/// Measured lines in one or two sets, each in the order of calculation. With two sets, a run of two
/// states takes the first as lines between them, the second as lines within the lower one.
struct Assignments {
    Array<std::uint64_t> key;  // J'', J', rank'', rank', 16 bits each; rank = J + Ka - Kc
    Array<double> frequency;
    Array<double> uncertainty;
    std::int32_t size = 0;   // of all sets
    std::int32_t split = 0;  // of the first set
    bool two_sets = false;

    /// The lines of `first` and, when there are any, those of `second`, each sorted by key; lines
    /// of one key keep their order. OutOfRange when quantum numbers name no level of their J.
    static Result<Assignments> From(std::span<const MeasuredLine> first,
                                    std::span<const MeasuredLine> second, const Memory& memory);

    /// Line i, counted from 0 in the order of the keys.
    MeasuredLine Line(std::int32_t i) const;
};

}  // namespace kiv
