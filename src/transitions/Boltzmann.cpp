#include "transitions/Boltzmann.h"

#include "run/KivRecord.h"

Boltzmann::Boltzmann()
    : On(Kiv.Temp[0] > 0.0),
      Two_Temps(Kiv.Temp[1] > 0.0),
      One_State(Kiv.Gnd_Only == 1),
      kT1(Kiv.Temp[0] * Kiv.Erg_Conv),
      kT2(Kiv.Temp[1] * Kiv.Erg_Conv),
      Weight(Kiv.Temp[2]) {}

void Boltzmann::SetLower(double erg) {
    Lower = erg;
    Negative = IsNegative(erg);
    if (!On || Negative) return;
    X1 = ExpFunc(-erg / kT1);
    X2 = Two_Temps ? Weight * ExpFunc(-erg / kT2) : 0.0;
}
