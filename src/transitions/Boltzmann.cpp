#include "transitions/Boltzmann.h"

#include "run/KivRecord.h"
#include "transitions/ExpFunc.h"

namespace {

constexpr double kOneStateScale = 0.0001;

}  // namespace

Boltzmann::Boltzmann()
    : On(Kiv.Temp[0] > 0.0),
      Two_Temps(Kiv.Temp[1] > 0.0),
      One_State(Kiv.Gnd_Only == 1),
      kT1(Kiv.Temp[0] * Kiv.Erg_Conv),
      kT2(Kiv.Temp[1] * Kiv.Erg_Conv),
      Weight(Kiv.Temp[2]) {}

void Boltzmann::SetLower(double erg) {
    Lower = erg;
    Negative = On && erg < 0.0;
    if (!On || Negative) return;
    X1 = ExpFunc(-erg / kT1);
    X2 = Two_Temps ? Weight * ExpFunc(-erg / kT2) : 0.0;
}

double Boltzmann::Factor(double erg) const {
    if (!On) return 1.0;
    if (Negative) return 0.0;
    if (!One_State) return Two_Temps ? X1 + X2 : X1;
    if (erg < 0.0) return 0.0;
    const double dE = erg - Lower;
    const double first = X1 * (1.0 - ExpFunc(-dE / kT1));
    const double sum = Two_Temps ? X2 * (1.0 - ExpFunc(-dE / kT2)) + first : first;
    return sum * (dE * kOneStateScale);
}
