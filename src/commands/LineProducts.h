// The lines and levels of a calculation as files: .csv, .cat and .egy.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <vector>

#include "job/Calculation.h"
#include "job/Job.h"
#include "kiv/catalog.h"
#include "kiv/feature_fit.h"
#include "kiv/partition.h"
#include "kiv/report.h"
#include "kiv/sink.h"
#include "kiv/workspace.h"
#include "products/LineTexts.h"

namespace kiv {

struct LineProductOptions {
    std::optional<double> Q;  // none: it is summed
    double min_lgint = -std::numeric_limits<double>::infinity();
    int tag = 0;
    std::optional<StateIndex> within;  // lines within this state of two; none: the band
};

/// The molecule of a calculation as Q is summed for it.
Model SummedModel(const Job& job, const Calculation& calculation);

/// How Q is summed at a temperature, 300 K for 0: with k/h of SI 2019, whatever the input is.
Settings SummedSettings(const Job& job, Settings settings, double temperature);

/// What is doubtful about a partition function and the lines up to max_J at its temperature.
Findings DoubtsOf(const Job& job, const Partition& sum, int max_J, double temperature);

/// Writes the levels of a model as a .egy file; without a fit `predictor` is null.
void WriteLevels(Sink& sink, const Job& job, const Model& model, const Levels& lower,
                 const Levels& upper, const LineRules& rules, const Predictor* predictor);

/// Makes products of a calculation that has lines; both must outlive it, the list unchanged.
class LineProducts {
  public:
    LineProducts(const Job& job, Calculation& calculation, const LineProductOptions& options,
                 Workspace& work, Report& report)
        : job_(job), calculation_(calculation), options_(options), work_(work), report_(report) {}
    LineProducts(const LineProducts&) = delete;
    LineProducts& operator=(const LineProducts&) = delete;

    /// Finds what rows of lines need, with Q when they have absolute intensities. NoLines;
    /// NoMemory; Cancelled; OutOfRange for quantum numbers that a .cat file has no text for, when
    /// it is asked for one.
    Status PrepareLines(bool makes_cat);

    /// Solves levels with derivatives where the fit of an old input needs them.
    Status PrepareFit();

    /// What `visit` makes of the lines in this order. NoMemory.
    Result<std::int32_t> VisitLines(CatalogOrder order,
                                    const std::function<std::int32_t(const LineTable&)>& visit);

    // Each returns the number of lines. NoMemory.
    Result<std::int32_t> WriteCsv(Sink& sink);
    Result<std::int32_t> WriteCat(Sink& sink);
    void WriteEgy(Sink& sink);

    /// What is doubtful about intensities and was not told with the input: Q, when it was summed,
    /// and a missing moment.
    Findings Doubts() const;

  private:
    Status FindWithin();
    Status Observe();
    Status SumQ();
    const LineList& lines() const { return within_ ? within_->lines : calculation_.room.lines; }
    const Predictor* predictor() const { return predictor_ ? &*predictor_ : nullptr; }
    double MHz() const;
    bool has_moment() const { return job_.form == InputForm::Old || job_.input.moment.has_value(); }

    const Job& job_;
    Calculation& calculation_;
    const LineProductOptions& options_;
    Workspace& work_;
    Report& report_;

    std::optional<LinesWithin> within_;
    Array<float> strength_;
    CatalogSource source_;
    double Q_ = 1.0;
    double temperature_ = 0.0;
    std::optional<Partition> partition_;
    Assignments own_assignments_;  // of lines within a state
    const Assignments* assignments_ = nullptr;
    std::vector<std::int32_t> assignment_of_;
    std::optional<Levels> fit_levels_[kNumStates];
    std::optional<Predictor> predictor_;
};

}  // namespace kiv
