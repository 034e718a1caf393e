// Numbers as texts: whole precision, the digits that an uncertainty deserves, value and uncertainty
// as journals print them.
#pragma once

#include <string>

namespace kiv {

/// The fewest digits that read back as the same double: "0.1", "60778", "1e+22", "nan"; from 1e-4
/// to 1e15 without an exponent.
std::string ShortestText(double value);

/// The same, but never without a point or an exponent: "60778.0".
std::string RealText(double value);

/// The value of a fitted constant: two digits of its standard deviation and three more, so that
/// rounding is below 1e-4 of it. The whole precision when that is no longer, or sd is 0 or not
/// finite.
std::string FittedText(double value, double sd);

/// Value and standard deviation, the latter with three digits in units of the last place:
///
///     12105.86, 0.0214   ->  12105.8600(214)
///     0.00000671, 3e-9   ->  6.71000(300)e-6
///
/// From 1e-5 to 1e13 without an exponent. An sd of 0 is left out; one that is not finite stands as
/// the word it is.
std::string WithUncertainty(double value, double sd);

}  // namespace kiv
