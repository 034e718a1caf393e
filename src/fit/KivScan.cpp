#include "fit/KivScan.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fit/LsfTrs.h"
#include "frames/PrincipalFrame.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"

namespace {

constexpr char kScanFlnm[] = "KivScan.txt";
constexpr double kFullTurn = 360.0;  // degrees
constexpr double kStep = 1.0;
constexpr double kOmcScale = 1000.0;
constexpr int kMaxCycles = 32767;  // what LS_Cycles can hold

constexpr int kScanPrm = PRM_PYPZ;  // the cross term that the turn produces
constexpr int kScanAngle = 2;       // CHI

// The table; lines are dropped once it is closed.
struct ScanFile {
    std::FILE* Fp;

    explicit ScanFile(const char* name) : Fp(std::fopen(name, "w")) {}
    ~ScanFile() { Close(); }
    ScanFile(const ScanFile&) = delete;
    ScanFile& operator=(const ScanFile&) = delete;

    /// False when some line could not be written.
    bool Close() {
        if (!Fp) return true;
        const bool written = IsWritten();
        const bool closed = std::fclose(Fp) == 0;
        Fp = nullptr;
        return written && closed;
    }
    bool IsWritten() const { return !Fp || std::ferror(Fp) == 0; }
    void Put(const char* line) {
        if (!Fp) return;
        std::fputs(line, Fp);
        std::fflush(Fp);
    }
};

void PutHeading(const ScanFile& file) {
    if (!file.Fp) return;
    std::fprintf(file.Fp, "PARAMETER SCANNED [%s] ANGLE SCANNED [%ld]\n", Kiv.Prm_Lbl[kScanPrm],
                 static_cast<long>(kScanAngle));
}

// Angles, constants as the fit left them, deviation of obs - calc.
void PutFit(const ScanFile& file, const double* ang) {
    if (!file.Fp) return;
    const double* prm = Kiv.Prm_Val[ST_GND];
    std::fprintf(file.Fp,
                 "%-7.2lf %-7.2lf %-7.2lf %-9.3lf %-9.3lf %-9.3lf %-9.2lf %-9.2lf %-9.2lf %.3lf\n",
                 ang[0], ang[1], ang[2], prm[PRM_A], prm[PRM_B], prm[PRM_C], prm[PRM_PXPY],
                 prm[PRM_PXPZ], prm[PRM_PYPZ], Kiv.Omc_Std_Dev * kOmcScale);
    std::fflush(file.Fp);
}

// The lines that stay in the store are those of the last step: only there are all of them wanted.
FitPasses PassesOf(bool last_step) {
    const LineChoice choice = last_step ? LineChoice::All : LineChoice::Assigned;
    return {choice, choice};
}

void ScanStep(ScanFile& file, double* ang, const double (&start)[2][NUM_PRM], bool last) {
    ConPut("%-7.2lf %-7.2lf %.2lf\n", ang[0], ang[1], ang[2]);
    CrossTermCorrection(ang, Kiv.Prm_Val[ST_GND]);
    if (LsfTrs(PassesOf(last))) {
        PutFit(file, ang);
    } else {
        file.Put("LSF FIT ERROR\n");
    }
    std::memcpy(Kiv.Prm_Val, start, sizeof start);
}

}  // namespace

int KivScan() {
    TraceEnter("KivScan");
    Kiv.LS_Cycles = static_cast<std::int16_t>(std::min(std::abs(int{Kiv.LS_Cycles}), kMaxCycles));
    ScanFile file(kScanFlnm);
    if (!file.Fp) return 0;
    if (Kiv.Prm_Fit[ST_GND][kScanPrm] != 0) {
        file.Put("THE PYPZ CROSS TERM MUST NOT BE VARIED\n");
        return 0;
    }
    PutHeading(file);
    double* ang = Kiv.IAF_Ang[ST_GND];
    if (!HamIAF2PAF(ang, Kiv.Prm_Val[ST_GND])) {
        file.Put("IAF2PAF ERROR\n");
        file.Close();  // the steps are run all the same, without a table
    }
    double start[2][NUM_PRM];
    std::memcpy(start, Kiv.Prm_Val, sizeof start);
    file.Put(
        "PHI     THE     CHI     A         B         C         XY        XZ        YZ        "
        "OMC\n");
    const double first = ang[kScanAngle];
    for (; first + kFullTurn > ang[kScanAngle] && file.IsWritten(); ang[kScanAngle] += kStep) {
        ScanStep(file, ang, start, !(first + kFullTurn > ang[kScanAngle] + kStep));
    }
    if (!file.Close()) {
        return ConFail("FAILED TO CREATE ASCII FILE [%s] FOR WRITING!\n", kScanFlnm);
    }
    return TraceExit("KivScan");
}
