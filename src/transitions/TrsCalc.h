// The transition calculation: line positions and intensities between the solved states.
#pragma once

/// Computes the lines between real states into the transition store, matching assignments on the
/// way. 1 when at least one line was stored, else 0 (message printed).
///
/// Levels pair up within the window of Delta_K_Order around the lower Ka and, when Parity_On is 1,
/// with the parities asked for. Raw intensity (Pa + Pb)^2 + Pc^2 with P = projection * amplitude;
/// intensity = raw * spin weight * Boltzmann factor; position = ORI + E' - E''.
///
/// LineChoice::Assigned stores the assigned lines alone, with their positions, labels and
/// derivatives but without intensities: all that a least-squares cycle reads. Messages and counts
/// are those of a full calculation.
enum class LineChoice { All, Assigned };

int RTrsCalc(LineChoice choice);

/// The same between complex states: raw intensity |Pa + Pb + i Pc|^2, all three coherent.
int ITrsCalc(LineChoice choice);
