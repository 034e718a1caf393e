// The data of one fit cycle: observed value, uncertainty and derivatives of every accepted row.
//
// A row is an assigned line or a combination difference. Rows count from 1. The derivatives of row
// i with respect to the constants of the fit's slots 1..T lie at (T + 1) * i + slot.
#pragma once

#include <cmath>
#include <cstdint>

#include "base/Trace.h"
#include "fit/FitList.h"
#include "kiv/assignments.h"
#include "kiv/error.h"
#include "kiv/settings.h"
#include "lines/Pass.h"

namespace kiv {

/// What the rows are made from.
struct RowSource {
    const Assignments* assignments;
    const FitOptions* options;
    const FitList* list;

    /// Uncertainty of an assignment: 1 when weights are uniform.
    double Uncertainty(std::int32_t assignment) const {
        return options->weights == FitWeights::Uncertainties
                   ? assignments->uncertainty[static_cast<std::size_t>(assignment)]
                   : 1.0;
    }

    /// True when a misfit obs - calc reaches the rejection level.
    bool IsOutlier(double misfit) const { return std::fabs(misfit) >= options->reject_above; }
};

struct FitRows {
    // Matched lines of the cycle's passes, before the selection
    std::int32_t num_lines = 0;
    Array<double> calculated;        // position
    Array<std::int32_t> assignment;  // its assignment
    Array<std::int16_t> label;       // J', Ka', Kc', J'', Ka'', Kc'' a line

    // Rows of lines, then, compacted, the accepted ones
    Array<double> observed;
    Array<double> uncertainty;
    Array<double> derivative;
    Array<double> solver_room;

    std::int32_t num = 0;    // accepted rows
    double sum_sq = 0.0;     // their squared misfits obs - calc, unweighted
    std::int32_t split = 0;  // rows of the first set among them
    int width = 0;           // numbers a row of `derivative`, T + 1

    double* Derivatives(std::int64_t row) { return derivative.data() + width * row; }

    /// Empties the rows and takes room for `lines` of them. NoMemory names the array.
    Status Begin(const Memory& memory, const FitList& list, std::int64_t lines);

    /// Moves row `from` to the end of the accepted rows, `misfit` being its obs - calc.
    void Accept(std::int64_t from, double misfit);
};

/// Derivatives of a line of `room` with respect to the slots of the list, row[1..list.num].
/// `within_lower`: both levels belong to the lower state, so that the derivatives of its constants
/// are those of both levels together.
class DerivativeMap {
  public:
    DerivativeMap(const RowSource& source, const PassRoom& room, bool within_lower);

    void Fill(std::size_t line, double* row) const;

  private:
    // Where the derivatives of a slot stand in the record of a line: the sum of one or two entries.
    struct Place {
        int first = -1;
        int second = -1;
        bool origin = false;
    };
    void MapWithinLower();
    void MapBetweenStates(FitData data);

    const FitList& list_;
    const PassRoom& room_;
    Place place_[kMaxFitConstants + 1];
};

/// Appends the matched lines of the pass just made.
void GatherLines(const RowSource& source, const PassRoom& room, bool within_lower, FitRows& rows);

/// Accepts the lines gathered and tells those whose misfit reaches the rejection level.
/// `one_state`: all lines count as lines within the lower state.
void SelectLines(const RowSource& source, bool one_state, Trace* trace, FitRows& rows);

}  // namespace kiv
