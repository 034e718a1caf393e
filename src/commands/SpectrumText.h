// Rows of spectra as comma-separated text.
#pragma once

#include <span>

#include "kiv/sink.h"
#include "kiv/spectrum.h"

namespace kiv {

/// Writes the header `frequency,intensity` and a row for each point. Frequencies have the decimals
/// that the first one and the step need, intensities nine digits.
void WriteSpectrum(Sink& sink, const FrequencyGrid& grid, std::span<const double> intensity);

/// Writes the header `frequency,intensity,measured,difference` and a row for each measured point;
/// the difference is that to the fitted spectrum. Frequencies and measured values have all their
/// digits.
void WriteComparison(Sink& sink, const MeasuredPoints& measured, const Comparison& comparison);

}  // namespace kiv
