#include "transitions/LineStore.h"

#include "run/KivRecord.h"
#include "run/KivTrace.h"
#include "transitions/TrsStore.h"

int LineStore::Init() {
    Kiv.Num_Trs = 0;
    Num = 0;
    Num_Lower_Dev = Kiv.Dev_On == 1 ? Kiv.Num_Dev[ST_GND] : 0;
    Num_Upper_Dev = Kiv.Dev_On == 1 ? Kiv.Num_Dev[ST_EXC] : 0;
    if (ArrAlloc(Lower_Dev, Num_Lower_Dev) < 0) return CoreFail("LineStore()/Lower_Dev");
    Attach();
    return 1;
}

void LineStore::Attach() {
    Erg = Kiv.FI_Sim_Erg.Data();
    Itn = Kiv.FI_Sim_Itn.Data();
    Real_Amp = Kiv.FI_ABC_RealAmp.Data();
    Imag_Amp = Kiv.FI_ABC_ImagAmp.Data();
    Band = Kiv.FI_BT_Lbl.Data();
    Label = Kiv.FI_JKK_Lbl.Data();
    Lower_Idx = Kiv.FI_Erg_Idx[ST_GND].Data();
    Upper_Idx = Kiv.FI_Erg_Idx[ST_EXC].Data();
    Dev = Kiv.FI_Sim_Dev.Data();
    Upper_Ka = Kiv.Ka_Vector[ST_EXC].Data();
    Upper_Kc = Kiv.Kc_Vector[ST_EXC].Data();
    Upper_Dev = Kiv.HamDev_Vector[ST_EXC].Data();
    Room = Kiv.Trs_Max_Lines;
}

void LineStore::SetLower(int J, std::int32_t index) {
    Lower = index;
    Lower_Label[0] = static_cast<std::int16_t>(J);
    Lower_Label[1] = Kiv.Ka_Vector[ST_GND][index];
    Lower_Label[2] = Kiv.Kc_Vector[ST_GND][index];
    const double* dev = Kiv.HamDev_Vector[ST_GND].Data();
    for (int i = 0; i < Num_Lower_Dev; ++i) {
        Lower_Dev[i] = -dev[static_cast<std::size_t>(index) * Num_Lower_Dev + i];
    }
}

int LineStore::Grow() {
    if (!TrsOut(1)) return 0;
    Attach();
    return 1;
}
