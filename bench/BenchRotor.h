// The rotors that are measured, and how a measurement is named.
#pragma once

#include <benchmark/benchmark.h>

#include <string>

/// Registers `body` as a row of the table: what is done, by whom ("kiv" or what it is compared
/// with), for which Max_J. Rows of one `what` and `max_J` share a line.
///
/// The table shows the median of `repetitions` runs. A body may set the counters "items", the
/// number of lines or levels it made, and "peak MB", its memory.
benchmark::internal::Benchmark* AddRow(const std::string& what, const std::string& by, int max_J,
                                       void (*body)(benchmark::State&, int max_J),
                                       int repetitions = 5);

/// A fresh run record of a near-prolate rotor: A reduction with all quartic constants, a and b
/// type, line strengths, one state (ground only), every line of |dKa| <= BenchDeltaK(max_J).
void SetBenchRotor(int max_J);

/// The same rotor with an excited state of its own: all P, Q and R lines between the two.
void SetBenchBand(int max_J);

/// Tilts the axes of both states by three angles, so that no symmetry is left: complex matrices of
/// the full size.
void TiltBenchRotor();

/// Window of Ka of the measured rotor. It lets 43,000 lines through at J 35, 163,000 at J 60,
/// 560,000 at J 100, 1.5 million at J 150 and 3.2 million at J 200.
int BenchDeltaK(int max_J);

/// Allocates what SetBenchRotor asked for; ends the program when that fails.
void AllocBenchRotor();
