#include "input/OldInput.h"

#include <string_view>

#include "input/AsnConvert.h"
#include "input/InputLayout.h"
#include "input/InputParm.h"
#include "run/KivPhaseLog.h"
#include "run/KivServices.h"
#include "run/KivTrace.h"

namespace {

// Direction of the moment by band word: pure types along an axis, hybrids half way between two.
struct BandType {
    std::string_view Word;
    double Theta;
    double Chi;
};

// clang-format off
constexpr BandType kBandTypes[] = {
    {"A",    0.0,  0.0},
    {"B",   90.0,  0.0},
    {"C",   90.0, 90.0},
    {"B/A", 45.0,  0.0},
    {"C/A", 45.0, 90.0},
    {"C/B", 90.0, 45.0},
};
// clang-format on

constexpr std::span<const HamGroup> kV1Groups = std::span(kOldHamGroups).first(3);

// Constants that only newer files have.
void ClearNewConstants(KivRecord& kiv) {
    for (int state : {ST_GND, ST_EXC}) {
        for (int p = PRM_PX3; p < NUM_HAM_PRM; ++p) {
            kiv.Prm_Stat[state][p] = kiv.Prm_Fit[state][p] = 0;
            kiv.Prm_Val[state][p] = 0.0;
        }
    }
}

void ReadV3(KivRecord& kiv, RecordReader& in) {
    in.ReadComment();
    in.ReadRows(kNameRows);
    in.ReadBlock(ST_GND, kOldHamGroups);
    in.ReadBlock(ST_EXC, kOldHamGroups);
    ClearNewConstants(kiv);
    in.ReadRows(kOriginRows);
    in.ReadRows(kRunRows);
}

void ReadBlocks(KivRecord& kiv, int k, RecordReader& in) {
    OldBlock old;
    KivReadHamParm(kiv, ST_GND, k, in, old);
    KivReadHamParm(kiv, ST_EXC, k, in, old);
    ClearNewConstants(kiv);
}

// The Ka limit of these files is read and not used.
void ReadV2(KivRecord& kiv, RecordReader& in) {
    in.ReadComment();
    in.ReadRows(kOldHeadRows);
    ReadBlocks(kiv, 2, in);
    in.ReadRows(kOriginRows);
    in.ReadRows(kOldRunRows);
    in.ReadRows(kOldEndRows);
    kiv.Temp[1] = 0.0;
    kiv.Temp[2] = 1.0;
    kiv.Asn_Ka_Max = kiv.Asn_Kc_Max = -1;
}

int SetBandType(KivRecord& kiv, const char* word) {
    for (const BandType& type : kBandTypes) {
        if (type.Word != word) continue;
        kiv.TM_Method = 0;
        kiv.TM_Frame = ST_GND;
        kiv.TM_Ang[0] = 1.0;
        kiv.TM_Ang[1] = type.Theta;
        kiv.TM_Ang[2] = type.Chi;
        return ConvertMoment(kiv);
    }
    return ConFail("\nIMPROPER BAND TYPE [%s]!\n", word);
}

void AskOutputFormat(KivRecord& kiv) {
    ConPut("FORMAT OUTPUT ACCORDING TO TELVORAN QZ (y|n)?");
    kiv.QZ_Fmt = Services.AskChar() == 'y' ? 1 : 0;
    kiv.Itn_Scale = 100.0;
}

// The magnitude of the moment is read and not used: band types have the magnitude 1.
void ReadV1(KivRecord& kiv, RecordReader& in) {
    char band[10] = "";
    double magnitude = 0.0;
    in.ReadComment();
    in.ReadRows(kOldHeadRows);
    ReadBlocks(kiv, 1, in);
    in.Read("%lf%hd", {kiv.Prm_Val[ST_EXC][PRM_ORI], kiv.Prm_Fit[ST_EXC][PRM_ORI]});
    in.Read("%s%ld%hd", {band, kiv.Delta_K_Order, kiv.Band_Split});
    in.Read("%lf", {magnitude});
    if (in.Status() == 1 && !SetBandType(kiv, band)) in.Fail();
    in.Read("%lf%lf", {kiv.Temp[0], kiv.Itn_Cutoff});
    if (in.Status() != 1) return;
    AskOutputFormat(kiv);
    in.Read("%lf%lf", {kiv.Erg_Scale, kiv.FSR});
    in.ReadRows(kOldEndRows);
}

// Reads the number behind the ground block: the DJ status of a v1.2 file or the excited A of v1.1.
void FindSubVersion(KivRecord& kiv, RecordReader& in, OldBlock& old) {
    double number = 0.0;
    in.Read("%lf", {number});
    if (in.Status() != 1) return;
    old.Has_Tail = number == 0.0 || number == 1.0;
    if (old.Has_Tail) {
        kiv.Prm_Stat[ST_GND][PRM_DJ] = static_cast<std::int32_t>(number);
        ConPut("INPUT FILE HAS VERSION [1.2] FORMAT!\n");
    } else {
        old.Exc_A = number;
        ConPut("INPUT FILE HAS VERSION [1.1] FORMAT!\n");
    }
}

// Excited block of a v1.1 file, whose A was read before.
void ReadBlockWithoutA(KivRecord& kiv, RecordReader& in, const OldBlock& old) {
    double* const val = kiv.Prm_Val[ST_EXC];
    val[PRM_A] = old.Exc_A;
    in.Read("%lf%lf", {val[PRM_B], val[PRM_C]});
    in.ReadFrame(ST_EXC, kV1Groups[0]);
    in.ReadGroups(ST_EXC, kV1Groups.subspan(1));
}

// The DJ status of the ground state was read before.
void ReadV1Tail(KivRecord& kiv, int state, RecordReader& in) {
    if (state == ST_EXC) in.Read("%hd", {kiv.Prm_Stat[state][PRM_DJ]});
    in.Read("%hd", {kiv.Prm_Stat[state][PRM_PZ3]});
    in.Read("%lf%lf", {kiv.Prm_Val[state][PRM_DJ], kiv.Prm_Val[state][PRM_PZ3]});
    in.Read("%hd%hd", {kiv.Prm_Fit[state][PRM_DJ], kiv.Prm_Fit[state][PRM_PZ3]});
}

void ReadV1Block(KivRecord& kiv, int state, RecordReader& in, OldBlock& old) {
    if (state == ST_EXC && !old.Has_Tail) {
        ReadBlockWithoutA(kiv, in, old);
        return;
    }
    in.ReadBlock(state, kV1Groups);
    if (state == ST_GND) FindSubVersion(kiv, in, old);
    if (old.Has_Tail) ReadV1Tail(kiv, state, in);
}

}  // namespace

int KivReadHamParm(KivRecord& kiv, int state, int k, RecordReader& in, OldBlock& old) {
    if (k == 1) {
        ReadV1Block(kiv, state, in, old);
    } else {
        in.ReadBlock(state, kOldHamGroups);
    }
    return in.Status();
}

int KivReadOldInputParm(KivRecord& kiv, int k, TextScan& text) {
    TraceEnter("KivReadOldInputParm");
    if (k < 1 || k > 3) {
        return LogFail("KIV INPUT FILE [%s] HAS FORMAT UNKNOWN?", kiv.Inp_Flnm.c_str());
    }
    RecordReader in(kiv, text, k == 1 ? RecordReader::Mode::Direct : RecordReader::Mode::Words);
    if (k == 3) ReadV3(kiv, in);
    if (k == 2) ReadV2(kiv, in);
    if (k == 1) ReadV1(kiv, in);
    if (in.Status() != 1) return in.Status();
    KivPhaseLog(PHASE_INPUT, 0);
    if (k == 1 && kiv.QZ_Fmt == 1 && !AsnConvert(kiv.Asn_Flnm)) return 0;
    return TraceExit("KivReadOldInputParm");
}
