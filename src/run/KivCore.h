// Memory of a run: everything allocated once before it, everything released after it.
#pragma once

/// Allocates levels, eigenvectors, derivatives, the transition store and the direction cosines for
/// Kiv.Max_J, builds the frames of rotated states and fills the direction cosines; decides whether
/// the run is complex (Cplx_Ham) and reads the parity words.
///
/// A state takes (Max_J+1)^2 levels and sum of (2J+1)^2 vector components. Returns 1, or 0 with a
/// message printed; what was allocated by then waits for KivCoreFree.
int KivCoreAlloc();

/// Releases every array of the run record that exists.
void KivCoreFree();
