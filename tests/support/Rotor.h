// Small rotors for the tests of levels and lines.
#pragma once

#include <cstdint>

#include "hamiltonian/LevelVectors.h"
#include "run/KivRecord.h"

/// The asymmetric top of many checks: A, B, C = 10, 6.1, 4.3.
inline void SetStdRotor(int state) {
    Kiv.Prm_Val[state][PRM_A] = 10.0;
    Kiv.Prm_Val[state][PRM_B] = 6.1;
    Kiv.Prm_Val[state][PRM_C] = 4.3;
}

/// Switches `prm` on with `value`.
inline void SetTerm(int state, int prm, double value) {
    Kiv.Prm_Stat[state][prm] = 1;
    Kiv.Prm_Val[state][prm] = value;
}

/// Sizes the level arrays of both states for Kiv.Max_J, real and imaginary.
inline void AllocLevels() {
    const std::int64_t J = Kiv.Max_J, levels = (J + 1) * (J + 1);
    for (int state : {ST_GND, ST_EXC}) {
        Kiv.Num_Dev[state] = 0;
        for (int prm = 0; prm < NUM_HAM_PRM; ++prm) {
            Kiv.Num_Dev[state] += Kiv.Prm_Stat[state][prm] == 1 ? 1 : 0;
        }
        ArrAlloc(Kiv.HamErg_Vector[state], levels);
        ArrAlloc(Kiv.Ka_Vector[state], levels);
        ArrAlloc(Kiv.Kc_Vector[state], levels);
        ArrAlloc(Kiv.Sym_Vector[state], levels);
        ArrAlloc(Kiv.HamErgReal_Vector[state], VecLength(J));
        ArrAlloc(Kiv.HamErgImag_Vector[state], VecLength(J));
        ArrAlloc(Kiv.HamDev_Vector[state], levels * Kiv.Num_Dev[state]);
    }
}
