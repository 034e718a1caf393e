// What a job comes to: its lines and, of a fit, its constants.
#pragma once

#include <array>
#include <optional>

#include "job/Job.h"
#include "kiv/assignments.h"
#include "kiv/error.h"
#include "kiv/feature_fit.h"
#include "kiv/files.h"
#include "kiv/report.h"
#include "kiv/workspace.h"
#include "lines/Pass.h"

namespace kiv {

struct Calculation {
    Model model;  // with the fitted constants
    Settings settings;
    std::vector<LineFeature> features;  // that were fitted, or laid beside the lines
    std::optional<FeatureFit> fit;
    /// A fit of an old input does the cycles that it asks for: whether the last one changed
    /// nothing any more.
    bool settled = true;

    Assignments assignments;  // observed values of the lines
    PassRoom room;            // levels and lines; empty when a fit did not converge
    LineSetHeader header;
    Table<double> covariance;             // of the header
    std::optional<InputFile> next_input;  // of an old input: the document after the run

    Calculation() = default;
    Calculation(const Calculation&) = delete;  // the header points to the covariance
    Calculation& operator=(const Calculation&) = delete;

    bool has_lines() const { return room.lines.size > 0; }
};

/// What is needed beside the lines.
struct CalculationNeeds {
    /// Derivatives of the levels, which line sets hold. Of a fit there are always those.
    bool derivatives = true;
    /// Amplitudes of the lines, which line sets hold. Of a fit there are always those: they tell
    /// the band of a line that it rejects.
    bool amplitudes = true;
};

inline constexpr CalculationNeeds kLinesAlone{.derivatives = false, .amplitudes = false};

/// Calculates, or fits and calculates, a job without errors among its findings.
///
/// Named inputs are fitted until they converge; a fit that does not leaves no lines and no error.
/// Old inputs give the lines and constants of `kiv FILE`. TooFewLines, NoLines, NoDifferences,
/// NegativeConstant, NotConverged, NoMemory, Cancelled; what was reached until then is in `result`.
Status Calculate(const Job& job, Workspace& work, Report& report, Calculation& result,
                 const CalculationNeeds& needs = {});

/// The fit of a job alone: model, settings, features and fit are those of Calculate. Levels are
/// solved up to the highest J of a measured line, and no line but these is looked at.
Status FitAlone(const Job& job, Workspace& work, Report& report, Calculation& result);

/// The measured lines of a job beside its constants as they are: a fit that varies nothing.
Status JudgeLines(const Job& job, Workspace& work, Report& report, Calculation& result);

/// The constants of a fit that are varied, as options of the library.
FeatureFitOptions FitOptionsOf(const Job& job, const Settings& settings);

}  // namespace kiv
