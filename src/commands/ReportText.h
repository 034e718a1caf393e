// The parts of `kiv report`, of a calculation that has a fit: one of measured lines to constants,
// or those lines beside constants that nothing varies.
#pragma once

#include <string>

#include "commands/RunOutcome.h"

namespace kiv {

/// Constants, figures of the fit, correlations above 0.95 or `all_correlations`.
std::string FitReportText(const RunOutcome& outcome, bool all_correlations);

/// Every measured line, deviations by band type, J and Ka, lines that were not used, repeated
/// measurements, blends. The source of a line is its row in the line file.
std::string LinesReportText(const RunOutcome& outcome);

/// The measured lines as comma-separated values, a header and one row for each transition:
///
///     source,v_up,J_up,Ka_up,Kc_up,v_lo,J_lo,Ka_lo,Kc_lo,observed,calculated,omc,uncertainty,ratio,
///     leverage,predicted_sd,used,reason
///
/// The rows of a blend share the figures of the feature, calculated its weighted mean. Numbers have
/// all their digits; what there is not, as a calculated value without a partner, is empty.
std::string LinesCsv(const RunOutcome& outcome);

/// The constants as a LaTeX table that needs no package: symbols, units, uncertainties in
/// parentheses, deviation of the fit and number of lines.
std::string ConstantsLatex(const RunOutcome& outcome);

}  // namespace kiv
