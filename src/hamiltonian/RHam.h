// Real rotor Hamiltonian of one state: built, diagonalised and labelled for every J.
//
// Basis |J,K>, K = -J..J; component k of a level is K = k - J. Axes I^r: x = b, y = c, z = a.
// Constants and energies share the run's unit; angular momentum is in units of hbar. PY, PXPY,
// PYPZ, PY3, PZ2PY and PY2PZ take no part here.
#pragma once

/// Solves J = 0..Kiv.Max_J of `state`; fills its energies (ascending in each J), labels,
/// characters, eigenvectors and, when Dev_On is 1, derivatives. With Gnd_Only 1 the excited state
/// is a copy of the ground state. Returns 1, or 0 when memory is exhausted (message printed).
int RHamSoln(int state);
