#include "input/InputParm.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "input/InputLayout.h"
#include "input/OldInput.h"
#include "input/RecordReader.h"
#include "run/KivPhaseLog.h"
#include "run/KivTrace.h"

namespace {

constexpr std::size_t kMaxInputText = std::size_t{1} << 26;  // no input file comes near 64 MiB
constexpr int kVersionWord = 7;
constexpr int kFirstCurrent = 4;  // v4 is read like the current version

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

int LoadInput(const KivRecord& kiv, KivArray<char>& block) {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(kiv.Inp_Flnm.c_str(), "rb"));
    bool broken = false;
    const bool loaded = file && LoadText(file.get(), kMaxInputText, block, broken) == 1;
    if (loaded && (!broken || block.Num == 0)) return 1;  // a folder reads as an empty file
    return ConFail("FAILED TO OPEN KIV INPUT FILE [%s] FOR READING!\n", kiv.Inp_Flnm.c_str());
}

// The version word of the second line; empty when the line has none.
std::string_view FindVersion(TextScan text) {
    text.RestOfLine();
    TextScan line(text.RestOfLine());
    std::string_view word;
    for (int n = 0; n < kVersionWord; ++n) line.Word(word);
    return word;
}

int StoreVersion(KivRecord& kiv, std::string_view version) {
    if (version.empty()) version = "v1.0";
    if (version.size() >= sizeof kiv.Inp_Version || version.find('.') == std::string_view::npos ||
        version.find('\0') != std::string_view::npos) {
        return ConFail("KIV INPUT FILE [%s] HAS INCORRECT VERSION NUMBER!\n", kiv.Inp_Flnm.c_str());
    }
    std::memcpy(kiv.Inp_Version, version.data(), version.size());
    kiv.Inp_Version[version.size()] = '\0';
    ConPut("VERSION NUMBER OF INPUT FILE [%s] IS [%s]\n\n", kiv.Inp_Flnm.c_str(), kiv.Inp_Version);
    return 1;
}

// Index of the version in Version_Tbl, Num_Versions + 1 when it is not there.
int MajorVersion(const KivRecord& kiv) {
    const std::string_view version = kiv.Inp_Version;
    const std::string_view major = version.substr(0, version.rfind('.'));
    int k = 1;
    while (k <= kiv.Num_Versions && major != kiv.Version_Tbl[k]) ++k;
    return k;
}

int ReadCurrent(KivRecord& kiv, TextScan& text) {
    RecordReader in(kiv, text, RecordReader::Mode::Words);
    if (!HasAsnLimits(kiv, kiv.Inp_Version)) kiv.Asn_Ka_Max = kiv.Asn_Kc_Max = -1;
    in.ReadComment();
    in.ReadRows(kNameRows);
    in.ReadBlock(ST_GND, kHamGroups);
    in.ReadBlock(ST_EXC, kHamGroups);
    in.ReadRows(kOriginRows);
    in.ReadRows(kRunRows);
    if (in.Status() == 1) KivPhaseLog(PHASE_INPUT, 0);
    return in.Status();
}

// A ground-only run has no excited A, B, C; otherwise both states carry the same constants.
void MatchStatus(KivRecord& kiv) {
    if (kiv.Gnd_Only == 1) {
        for (int p : {PRM_A, PRM_B, PRM_C}) kiv.Prm_Stat[ST_EXC][p] = 0;
        return;
    }
    for (int p = 0; p < NUM_HAM_PRM; ++p) {
        if (kiv.Prm_Stat[ST_GND][p] != 1 && kiv.Prm_Stat[ST_EXC][p] != 1) continue;
        kiv.Prm_Stat[ST_GND][p] = kiv.Prm_Stat[ST_EXC][p] = 1;
    }
}

void SetSpin(KivRecord& kiv) {
    kiv.Spin_On = 0;
    for (std::int32_t weight : kiv.Spin_Wt) {
        if (weight != 1) kiv.Spin_On = 1;
    }
}

template <class T>
void Copy(T& to, const T& from) {
    std::memcpy(&to, &from, sizeof(T));
}

void SaveStart(KivRecord& kiv) {
    KivStart& start = kiv.Start;
    Copy(start.Inp_Version, kiv.Inp_Version);
    Copy(start.Comment, kiv.Comment);
    start.Inp_Flnm = kiv.Inp_Flnm;
    Copy(start.Out_Base, kiv.Out_Base);
    Copy(start.Asn_Flnm, kiv.Asn_Flnm);
    Copy(start.NextInp_Flnm, kiv.NextInp_Flnm);
    Copy(start.Prm_Stat, kiv.Prm_Stat);
    Copy(start.Prm_Val, kiv.Prm_Val);
    Copy(start.Prm_Fit, kiv.Prm_Fit);
    Copy(start.Euler_Phi, kiv.Euler_Phi);
    Copy(start.Euler_Theta, kiv.Euler_Theta);
    Copy(start.Euler_Chi, kiv.Euler_Chi);
}

void PercentsFromAngles(const double ang[3], double pct[3]) {
    const double theta = ang[1] * kRadPerDeg;
    const double chi = ang[2] * kRadPerDeg;
    const double u[3] = {std::cos(theta), std::sin(theta) * std::cos(chi),
                         std::sin(theta) * std::sin(chi)};
    const double sum = u[0] * u[0] + u[1] * u[1] + u[2] * u[2];
    for (int i = 0; i < 3; ++i) pct[i] = 100.0 * (u[i] * u[i]) / sum;
}

void AnglesFromPercents(const double pct[3], double ang[3]) {
    const double sum = std::fabs(pct[0]) + std::fabs(pct[1]) + std::fabs(pct[2]);
    ang[0] = ang[1] = ang[2] = 0.0;
    if (sum == 0.0) return;
    double cosine[3];
    for (int i = 0; i < 3; ++i) {
        cosine[i] = std::copysign(std::sqrt(std::fabs(pct[i]) / sum), pct[i]);
    }
    ang[0] = 0.01 * sum;
    ang[1] = std::acos(cosine[0]) * kDegPerRad;
    ang[2] = std::atan2(cosine[2], cosine[1]) * kDegPerRad;
}

}  // namespace

const char* LastReadLine() { return Kiv.Last_Line.c_str(); }

void TMConvert(int method, double ang[3], double pct[3]) {
    if (method == 0) {
        PercentsFromAngles(ang, pct);
    } else {
        AnglesFromPercents(pct, ang);
    }
}

int KivReadInputParm(KivRecord& kiv) {
    TraceEnter("KivReadInputParm");
    KivArray<char> block;
    if (!LoadInput(kiv, block)) return 0;
    TextScan text(std::string_view(block.Data(), block.Num));
    if (!StoreVersion(kiv, FindVersion(text))) return 0;
    const int k = MajorVersion(kiv);
    const int status = k == kiv.Num_Versions || k == kFirstCurrent
                           ? ReadCurrent(kiv, text)
                           : KivReadOldInputParm(kiv, k, text);
    if (status != 1) return status;
    MatchStatus(kiv);
    SetSpin(kiv);
    SaveStart(kiv);
    return TraceExit("KivReadInputParm");
}
