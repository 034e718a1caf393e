// Complex rotor Hamiltonian of one state: the Hermitian counterpart of RHam.h with all constants.
#pragma once

/// Solves J = 0..Kiv.Max_J of `state` as RHamSoln does, with real and imaginary eigenvector parts.
/// Eigenvectors are not listed in this variant. Returns 1, or 0 when memory is exhausted (message
/// printed).
int IHamSoln(int state);
