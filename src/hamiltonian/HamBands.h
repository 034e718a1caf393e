// The Hamiltonian of one J as bands of its symmetry blocks.
#pragma once

#include "hamiltonian/HamScratch.h"

/// Sets up the blocks of `J` for `state` and fills scratch.Op (every operator in use) and
/// scratch.Ham (their sum with the state's constants; Ham[1] is the imaginary part).
void BuildBlocks(int state, int J, HamScratch& scratch);

/// Lists the full matrix <J,K'|H|J,K> in the log, K' = -J..J a line each: the real parts, or with
/// `imag` the imaginary parts as entered (row K+d, column K holds +element).
void ListMatrix(int state, int J, bool imag);
