#include "transitions/TrsStore.h"

#include "run/KivRecord.h"
#include "run/KivTrace.h"

namespace {

constexpr int kGrowth = 10000;

// One array of the store: `width` entries a line. Mode 0 takes it when `wanted`; mode 1 grows what
// is there.
template <class T>
int TakeArray(int mode, bool wanted, KivArray<T>& arr, std::int64_t width, const char* what) {
    const std::int64_t num = width * Kiv.Trs_Max_Lines;
    if (mode == 0 && !wanted) return 1;
    if (mode == 1 && arr.IsNull()) return 1;
    const short status = mode == 0 ? ArrAlloc(arr, num) : ArrRealloc(arr, num);
    return status > 0 ? 1 : CoreFail(what);
}

void ListDevSize(std::int64_t width) {
    if (!DebugIsOn(DBG_II)) return;
    LogPut("SIM DEV NO=%lld\n", static_cast<long long>(width * Kiv.Trs_Max_Lines));
    LogFlush();
}

}  // namespace

int TrsOut(int mode) {
    TraceEnter("TrsOut");
    if (mode == 1) Kiv.Trs_Max_Lines += kGrowth;
    const std::int64_t devs = std::int64_t{Kiv.Num_Dev[ST_GND]} + Kiv.Num_Dev[ST_EXC];
    const bool complex = Kiv.Cplx_Ham == 1;
    // the growth messages of the first two name other arrays; users know them so
    const char* erg = mode == 0 ? "TrsOut()/Kiv.FI_Sim_Erg" : "TrsOut()/Kiv.Sim_Erg";
    const char* itn = mode == 0 ? "TrsOut()/Kiv.FI_Sim_Itn" : "TrsOut()/Kiv.Sim_Itn";
    const bool taken =
        TakeArray(mode, true, Kiv.FI_Sim_Erg, 1, erg) &&
        TakeArray(mode, true, Kiv.FI_Sim_Itn, 1, itn) &&
        TakeArray(mode, true, Kiv.FI_ABC_RealAmp, 3, "TrsOut()/Kiv.FI_ABC_RealAmp") &&
        TakeArray(mode, complex, Kiv.FI_ABC_ImagAmp, 3, "TrsOut()/Kiv.FI_ABC_ImagAmp") &&
        TakeArray(mode, true, Kiv.FI_BT_Lbl, 1, "TrsOut()/Kiv.FI_BT_Lbl") &&
        TakeArray(mode, true, Kiv.FI_AsnLn_Idx, 1, "TrsOut()/Kiv.FI_AsnLn_Idx") &&
        TakeArray(mode, true, Kiv.FI_Asn_Idx, 1, "TrsOut()/Kiv.FI_AsnLn_Idx") &&
        TakeArray(mode, true, Kiv.FI_JKK_Lbl, 6, "TrsOut()/Kiv.FI_JKK_Lbl") &&
        TakeArray(mode, true, Kiv.FI_Erg_Idx[ST_GND], 1, "TrsOut()/Kiv.FI_Erg_Idx[ ST_GND ]") &&
        TakeArray(mode, Kiv.Gnd_Only == 1, Kiv.FI_Erg_Idx[ST_EXC], 1,
                  "TrsOut()/Kiv.FI_Erg_Idx[ ST_EXC ]");
    if (!taken) return 0;
    if (mode == 0 && Kiv.Dev_On == 1) ListDevSize(devs);
    return TraceExit("TrsOut");
}
