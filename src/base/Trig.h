// Trigonometric functions with the same digits whatever the C library is.
#pragma once

#include <cmath>

namespace kiv {

/// sin(x), cos(x), arccos(x) and the angle of the point (x, y), in radians, from additions,
/// multiplications and divisions alone: they are carried out with twice the digits and rounded
/// once, so that the result is the double nearest to the exact value (two doubles would have to be
/// equally near within 1 in 10^12 for another one).
///
/// Beyond 10^5 and where an argument is zero, not finite or outside the domain, the result is that
/// of the library. NearestArcTan(1, 1) = pi/4. Source for the arithmetic: T. J. Dekker, Numer.
/// Math. 18, 224 (1971).
double NearestSin(double x);
double NearestCos(double x);
double NearestArcCos(double x);
double NearestArcTan(double y, double x);

/// The functions that the program calculates with: those of glibc, with which its results have
/// always been made and which are the nearest doubles in all but one of 700 cases; elsewhere the
/// nearest doubles.
#ifdef __GLIBC__
inline double Sin(double x) { return std::sin(x); }
inline double Cos(double x) { return std::cos(x); }
inline double ArcCos(double x) { return std::acos(x); }
inline double ArcTan(double y, double x) { return std::atan2(y, x); }
#else
inline double Sin(double x) { return NearestSin(x); }
inline double Cos(double x) { return NearestCos(x); }
inline double ArcCos(double x) { return NearestArcCos(x); }
inline double ArcTan(double y, double x) { return NearestArcTan(y, x); }
#endif

}  // namespace kiv
