// Boltzmann factors of a pair of levels.
#pragma once

#include "transitions/ExpFunc.h"

/// Factor B of a line by the temperatures T1, T2 (kelvin) and the weight of T2.
///
/// T1 <= 0: B = 1. Otherwise, with kT in energy units and E'' the lower energy:
///   two states:   B = exp(-E''/kT1) [+ WT exp(-E''/kT2) when T2 > 0]
///   one state:    B = { [1 - exp(-dE/kT1)] exp(-E''/kT1) [+ WT the same with T2] } dE * 1e-4
/// B = 0 when E'' < 0, and for one state when E' < 0.
class Boltzmann {
  public:
    /// Reads temperatures and unit from the run record.
    Boltzmann();

    /// Makes `erg` the lower level's energy.
    void SetLower(double erg);

    /// Factor of the line to the upper level of energy `erg`.
    double Factor(double erg) const;

    /// True when `erg` as the lower level's energy makes B 0.
    bool IsNegative(double erg) const { return On && erg < 0.0; }

    /// False when T1 <= 0: then intensities are pure line strengths.
    bool IsOn() const { return On; }

  private:
    bool On;
    bool Two_Temps;
    bool One_State;
    double kT1, kT2, Weight;
    bool Negative = false;
    double Lower = 0.0;
    double X1 = 1.0, X2 = 0.0;  // exp(-E''/kT1), WT exp(-E''/kT2)
};

inline double Boltzmann::Factor(double erg) const {
    if (!On) return 1.0;
    if (Negative) return 0.0;
    if (!One_State) return Two_Temps ? X1 + X2 : X1;
    if (erg < 0.0) return 0.0;
    const double dE = erg - Lower;
    const double first = X1 * (1.0 - ExpFunc(-dE / kT1));
    const double sum = Two_Temps ? X2 * (1.0 - ExpFunc(-dE / kT2)) + first : first;
    return sum * (dE * 0.0001);
}
