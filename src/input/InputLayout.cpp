#include "input/InputLayout.h"

#include "input/InputParm.h"
#include "run/KivTrace.h"

namespace {

bool IsMajor(std::string_view version, std::string_view major) {
    return version.starts_with(major) && version.substr(major.size()).starts_with('.');
}

struct ErgUnit {
    std::string_view Word;
    double PerKelvin;
};

constexpr ErgUnit kErgUnits[] = {{"MHz", kErgConvMHz}, {"CM-1", kErgConvCm1}};

}  // namespace

bool HasFitStat(const KivRecord&, std::string_view version) {
    return IsMajor(version, "v5") && version != "v5.0" && version != "v5.1" && version != "v5.2" &&
           version != "v5.3";
}

bool HasGndOnly(const KivRecord& kiv, std::string_view version) {
    return !HasFitStat(kiv, version);
}

bool HasAsnLimits(const KivRecord&, std::string_view version) {
    return IsMajor(version, "v5") && version != "v5.0";
}

bool LacksUniformUnc(const KivRecord&, std::string_view version) { return IsMajor(version, "v3"); }

bool HasUniformUnc(const KivRecord&, std::string_view version) { return !IsMajor(version, "v3"); }

bool HasAngles(const KivRecord& kiv, std::string_view) { return kiv.TM_Method == 0; }

bool HasPercents(const KivRecord& kiv, std::string_view) { return kiv.TM_Method != 0; }

int FitStatFromGndOnly(KivRecord& kiv) {
    kiv.Fit_Stat = kiv.Gnd_Only == 1 ? 0 : 1;
    return 1;
}

int GndOnlyFromFitStat(KivRecord& kiv) {
    kiv.Gnd_Only = kiv.Fit_Stat == 0 ? 1 : 0;
    return 1;
}

// The frame is an index of per-state arrays.
int CheckFrame(KivRecord& kiv) { return kiv.TM_Frame == ST_GND || kiv.TM_Frame == ST_EXC; }

int ConvertMoment(KivRecord& kiv) {
    TMConvert(kiv.TM_Method, kiv.TM_Ang, kiv.TM_Pct);
    return 1;
}

int ConvertUnit(KivRecord& kiv) {
    for (const ErgUnit& unit : kErgUnits) {
        if (unit.Word != kiv.Erg_Unit) continue;
        kiv.Erg_Conv = unit.PerKelvin;
        return 1;
    }
    return ConFail("\nUNDEFINED TEMPERATURE CONVERSION UNIT [%s]!\n", kiv.Erg_Unit);
}

int SetUniformUnc(KivRecord& kiv) {
    kiv.Uniform_Unc = 1;
    return 1;
}
