// Lines as a spectrum: sticks convolved with a line shape, and laid over a measured spectrum.
//
// Frequencies, widths and shifts share the unit of the lines. Widths are full widths at half
// maximum. A profile has area 1: every line adds the values of its profile times its intensity, so
// that the integral of a spectrum over the frequency is the sum of the intensities.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "kiv/array.h"
#include "kiv/error.h"
#include "kiv/lines.h"

namespace kiv {

enum class LineShape : std::uint8_t { Gauss, Lorentz, Voigt };

/// A line shape with its widths; the other shapes do not look at the width that is not theirs.
///
///     Gauss    sqrt(4 ln2 / pi) / G exp(-4 ln2 (x/G)^2)
///     Lorentz  (L / 2 pi) / (x^2 + L^2/4)
///     Voigt    the convolution of both; one of its widths may be 0
struct LineProfile {
    LineShape shape = LineShape::Gauss;
    double gauss = 0.0;
    double lorentz = 0.0;
};

/// The profile at `offset` from its centre, in 1/unit. Within 1e-12 of the exact value, as long as
/// the Lorentzian width is 0 or above 1e-28 of the Gaussian one.
double ProfileAt(const LineProfile& profile, double offset);

/// Full width at half maximum of the whole profile. Of a Voigt profile within 3e-4 of it: 0.5346 L
/// + sqrt(0.2166 L^2 + G^2). Source: J. J. Olivero and R. L. Longbothum, J. Quant. Spectrosc.
/// Radiat. Transfer 17, 233 (1977).
double WidthOf(const LineProfile& profile);

/// K(x, y) = y/pi int exp(-t^2) / ((x - t)^2 + y^2) dt, the real part of the Faddeeva function of
/// x + iy, y >= 0. Within 1e-12 of the exact value for y = 0 and y > 1e-28. By trapezoidal sums
/// with the residue of the nearest pole. Source: M. Al Azah and S. N. Chandler-Wilde, SIAM J.
/// Numer. Anal. 59, 2346 (2021).
double VoigtFunction(double x, double y);

/// Lines as positions and intensities of equal number, in any order.
struct Sticks {
    std::span<const double> position;
    std::span<const float> intensity;
};

Sticks SticksOf(const LineList& lines);

/// Equidistant frequencies.
struct FrequencyGrid {
    double first = 0.0;
    double step = 1.0;
    std::int64_t size = 0;

    double operator[](std::size_t i) const { return first + static_cast<double>(i) * step; }
};

/// The spectrum of `sticks` at the points of `grid`.
///
/// Where lines or points are few the profiles are added as they are, those of Gaussian shape up to
/// where they fall below 1e-15 of their peak. Otherwise the sum differs from that by less than 1e-8
/// of the highest value around. Time and memory then grow as lines plus points: wings are added on
/// grids that become coarser with the distance.
///
/// BadChoice for widths that are not positive, OutOfRange for grids, positions or intensities that
/// cannot be calculated with; NoMemory.
Result<Array<double>> Convolve(const Sticks& sticks, const LineProfile& profile,
                               const FrequencyGrid& grid, const Memory& memory);

/// The same at frequencies that ascend; equal neighbours are allowed.
Result<Array<double>> ConvolveAt(const Sticks& sticks, const LineProfile& profile,
                                 std::span<const double> frequencies, const Memory& memory);

/// A measured spectrum: points of ascending frequency.
struct MeasuredPoints {
    std::span<const double> frequency;
    std::span<const double> value;
};

/// measured(f) = scale calculated(f - shift) + offset, by least squares over the points.
struct Comparison {
    double scale = 1.0;
    double offset = 0.0;
    double shift = 0.0;  // 0 unless it was asked for
    bool shift_at_limit = false;
    double correlation = 0.0;
    double residual_rms = 0.0;  // root of the mean square of measured minus fitted
    Array<double> calculated;   // at the points, less the shift; without scale and offset

    double Fitted(std::size_t i) const { return scale * calculated[i] + offset; }
};

/// Lays the spectrum of `sticks` over a measured one. With `largest_shift` the shift is the best
/// one up to this size: the best of a scan in steps of a sixteenth of the width of the profile or
/// less, then refined.
///
/// OutOfRange for fewer than 3 points (4 with a shift), or numbers that cannot be calculated with;
/// NoLines when no line reaches the points or the calculated spectrum is constant there; BadInput
/// when the measured one is; BadChoice for widths or a shift that are not positive; NoMemory.
Result<Comparison> CompareSpectrum(const Sticks& sticks, const LineProfile& profile,
                                   const MeasuredPoints& measured,
                                   std::optional<double> largest_shift, const Memory& memory);

}  // namespace kiv
