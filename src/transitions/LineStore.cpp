#include "transitions/LineStore.h"

#include <algorithm>

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

int LineStore::Put(int J, std::int32_t index, const LineValues& line) {
    const std::size_t n = static_cast<std::size_t>(Num);
    Erg[n] = line.Position;
    Itn[n] = line.Intensity;
    std::copy_n(line.Real_Amp, 3, Real_Amp + 3 * n);
    if (Imag_Amp) std::copy_n(line.Imag_Amp, 3, Imag_Amp + 3 * n);
    std::int16_t* label = Label + 6 * n;
    label[0] = static_cast<std::int16_t>(J);
    label[1] = Kiv.Ka_Vector[ST_EXC][index];
    label[2] = Kiv.Kc_Vector[ST_EXC][index];
    std::copy_n(Lower_Label, 3, label + 3);
    Lower_Idx[n] = Lower;
    if (Upper_Idx) Upper_Idx[n] = index;
    const int num_dev = Num_Lower_Dev + Num_Upper_Dev;
    if (num_dev > 0) {
        double* row = Dev + n * num_dev;
        const double* upper =
            Kiv.HamDev_Vector[ST_EXC].Data() + static_cast<std::size_t>(index) * Num_Upper_Dev;
        for (int i = 0; i < Num_Lower_Dev; ++i) row[i] = Lower_Dev[i];
        for (int i = 0; i < Num_Upper_Dev; ++i) row[Num_Lower_Dev + i] = upper[i];
    }
    Band[n] = line.Band;
    Kiv.Num_Trs = ++Num;
    if (Num < Kiv.Trs_Max_Lines) return 1;
    if (!TrsOut(1)) return 0;
    Attach();
    return 1;
}
