// Whole runs of records: every setting a reader accepts, special values preferred, with a few
// assigned lines near the levels of the run.
#include <cstdio>
#include <cstring>
#include <string>

#include "FuzzSupport.h"
#include "input/InputParm.h"
#include "run/KivRecord.h"

namespace {

#ifdef KIV_FUZZ_SCAN
constexpr bool kScan = true;
#else
constexpr bool kScan = false;
#endif

std::int32_t Switch(ByteSource& bytes) {
    constexpr std::int32_t kSwitches[] = {0, 1, 1, 0, 2, 65535};
    return kSwitches[bytes.Upto(5)];
}

// A file has one list of switches for both states, unless only the ground state is calculated.
void SetConstants(ByteSource& bytes) {
    const int form = bytes.Upto(3);
    for (int state : {ST_GND, ST_EXC}) {
        for (int prm = 0; prm < NUM_PRM; ++prm) {
            if (prm > PRM_C && form == 0) continue;
            Kiv.Prm_Val[state][prm] = bytes.Real();
            if (prm > PRM_C && prm != PRM_ORI) Kiv.Prm_Stat[state][prm] = Switch(bytes);
            Kiv.Prm_Fit[state][prm] = Switch(bytes);
        }
        if (form == 1) Kiv.Prm_Val[state][PRM_B] = Kiv.Prm_Val[state][PRM_A];
        if (form == 1) Kiv.Prm_Val[state][PRM_C] = Kiv.Prm_Val[state][PRM_A];
        if (form < 2) continue;
        Kiv.Euler_Phi[state] = bytes.Real();
        Kiv.Euler_Theta[state] = bytes.Real();
        Kiv.Euler_Chi[state] = bytes.Real();
    }
    for (int prm = 0; prm < NUM_HAM_PRM; ++prm) {
        const bool on = Kiv.Prm_Stat[ST_GND][prm] == 1 || Kiv.Prm_Stat[ST_EXC][prm] == 1;
        if (on) Kiv.Prm_Stat[ST_GND][prm] = Kiv.Prm_Stat[ST_EXC][prm] = 1;
    }
}

void SetSwitches(ByteSource& bytes) {
    Kiv.Max_J = bytes.Byte();
    Kiv.Fit_Stat = static_cast<std::int16_t>(bytes.Upto(7) - 1);
    Kiv.Gnd_Only = Kiv.Fit_Stat == 0 ? 1 : 0;
    Kiv.Red_Stat = bytes.Upto(4);
    Kiv.LS_Cycles = static_cast<std::int16_t>(bytes.Upto(3));
    Kiv.Uniform_Unc = bytes.Upto(2);
    Kiv.Rej_Level = bytes.Real();
    Kiv.Delta_K_Order = bytes.Int32();
    Kiv.Itn_Cutoff = bytes.Real();
    for (std::int32_t& weight : Kiv.Spin_Wt) weight = bytes.Int32();
    Kiv.Spin_On = bytes.Upto(1);
    for (double& temp : Kiv.Temp) temp = bytes.Real();
    Kiv.QZ_Fmt = bytes.Upto(1);
    Kiv.Erg_Scale = bytes.Real();
    Kiv.Asn_Ka_Max = bytes.Upto(4) - 2;
    Kiv.Asn_Kc_Max = bytes.Upto(4) - 2;
    if (bytes.Upto(4) == 0) std::strcpy(Kiv.Parity_Stat, "Y");
    if (bytes.Upto(1) == 0) std::strcpy(Kiv.Gnd_Parity, "O");
    if (bytes.Upto(1) == 0) std::strcpy(Kiv.Exc_Parity, "E");
    for (std::int32_t& debug : Kiv.Debug_Stat) debug = bytes.Byte() > 240 ? 1 : 0;
    if (bytes.Byte() < 128) return;
    Kiv.Erg_Print_J_Min = bytes.Int32();
    Kiv.Erg_Print_J_Max = bytes.Int32();
    Kiv.Vec_Print_J_Min = bytes.Int32();
    Kiv.Vec_Print_J_Max = bytes.Int32();
}

void SetMoment(ByteSource& bytes) {
    Kiv.TM_Method = static_cast<std::int16_t>(bytes.Upto(2));
    Kiv.TM_Frame = static_cast<std::int16_t>(bytes.Upto(1));
    for (double& value : Kiv.TM_Method == 0 ? Kiv.TM_Ang : Kiv.TM_Pct) value = bytes.Real();
    TMConvert(Kiv.TM_Method, Kiv.TM_Ang, Kiv.TM_Pct);
}

std::string MakeLines(ByteSource& bytes) {
    std::string text;
    for (int num = bytes.Upto(40); num > 0; --num) {
        char line[200];
        int qn[6];
        for (int i = 0; i < 6; ++i) qn[i] = bytes.Upto(4);
        const double erg = bytes.Real();
        std::snprintf(line, sizeof line, "A %d %d %d %d %d %d %.17g", qn[0], qn[1], qn[2], qn[3],
                      qn[4], qn[5], erg);
        text += line;
        if (bytes.Byte() > 127) text += " " + std::to_string(bytes.Upto(3) * 0.1);
        text += bytes.Byte() > 245 ? "\n//\n" : "\n";
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static MemFile lines("asn");
    BeginFuzz();
    ByteSource bytes({reinterpret_cast<const char*>(data), size});
    SetSwitches(bytes);
    SetConstants(bytes);
    SetMoment(bytes);
    lines.Set(MakeLines(bytes));
    RunSmall(lines.Name(), kScan);
    EndFuzz();
    return 0;
}
