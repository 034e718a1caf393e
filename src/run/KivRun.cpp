#include "run/KivRun.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "fit/KivScan.h"
#include "fit/LsfTrs.h"
#include "input/AsnLines.h"
#include "input/InputParm.h"
#include "input/NextInput.h"
#include "output/LineSet.h"
#include "run/KivCore.h"
#include "run/KivPhaseLog.h"
#include "run/KivRecord.h"
#include "run/KivServices.h"
#include "run/KivTrace.h"
#include "transitions/Ham2Trs.h"

namespace {

// Pauses in seconds, so that a message on the console can be read.
constexpr int kUsageWait = 5;
constexpr int kInputWait = 5;
constexpr int kEofWait = 10;
constexpr int kFailWait = 3;

constexpr char kHelp[] =
    "Usage: kiv INPUT-FILE\n"
    "       kiv --help | --version\n"
    "\n"
    "Computes and fits the rotational or rovibronic spectrum of an asymmetric-top\n"
    "molecule: levels of a lower (GROUND) and an upper (EXCITED) state, the lines\n"
    "between them and, from measured lines, the constants of both states.\n"
    "\n"
    "INPUT-FILE is a text file of settings; examples/ holds several to start from.\n"
    "It names the base name BASE of the results and the file of measured lines. Its\n"
    "number of least-squares cycles decides what is done:\n"
    "  above 0   the constants are fitted to the measured lines, all lines listed\n"
    "  0         the lines are calculated and listed\n"
    "  below 0   an Euler angle is scanned (table in KivScan.txt)\n"
    "\n"
    "Results, in the current folder unless BASE says otherwise:\n"
    "  BASE.log  settings, levels, fit and statistics (Kiv95_Debug.log to debug)\n"
    "  BASE.asc  line list, ascending frequency\n"
    "  BASE.QZS  line set in binary form, descending frequency\n"
    "  BASE.in   next input file, with the constants after the run\n"
    "Files of these names are overwritten, an input file called BASE.in included.\n"
    "\n"
    "The exit status is 1 when INPUT-FILE cannot be read, else 0, failed runs too;\n"
    "console and log say why a run stopped. README.md and docs/ explain all files,\n"
    "the formulas and the conventions.\n";

int ShowUsage() {
    ConPut("USAGE: Kiv95.exe 'INPUT FILENAME (*.in)' : ABORTED!\n");
    Services.Wait(kUsageWait);
    return 0;
}

int StopAtInputError() {
    ConPut("ERROR ON INPUT FILE [%s]!\n", Kiv.Inp_Flnm.c_str());
    Services.Wait(kInputWait);
    return 1;
}

// Status 0 is meant: a file that ends early is the user's work in progress.
int StopAtEndOfInput() {
    ConPut("INPUT FILE HAS INCORRECT FORMAT - LAST LINE = %s\n", LastReadLine());
    Services.Wait(kEofWait);
    return 0;
}

// Fit, scan or one calculation, by the sign of the number of cycles.
int Calculate() {
    if (Kiv.LS_Cycles > 0) return LsfTrs();
    if (Kiv.LS_Cycles < 0) return KivScan();
    return Ham2Trs();
}

int RunInputFile(const char* name) {
    Kiv.Log_On = 1;
    KivPhaseLog(PHASE_INPUT, 0);
    Kiv.Inp_Flnm = name;
    const int status = KivReadInputParm(Kiv);
    if (status == RD_EOF) return StopAtEndOfInput();
    if (!status) return StopAtInputError();
    KivPhaseLog(PHASE_INPUT, 1);
    if (!KivRun()) Services.Wait(kFailWait);
    KivCoreFree();
    KivPhaseLog(PHASE_END, 0);
    return 0;
}

int RunProgram(int argc, char** argv) {
    if (argc < 2) return ShowUsage();
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        ConPut("%s", kHelp);
        return 0;
    }
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        ConPut("kiv %s\n", Kiv.Version);
        return 0;
    }
    return RunInputFile(argv[1]);
}

// The end of a run that found no memory for a file name; arrays report their own.
int StopWithoutMemory() {
    CoreFail("KivMain()/name");
    Services.Wait(kFailWait);
    KivCoreFree();
    KivPhaseLog(PHASE_END, 0);
    return 0;
}

}  // namespace

int KivRun() {
    TraceEnter("KivRun");
    if (Kiv.Core_Alloc_Done == 0 && !KivCoreAlloc()) return 0;
    if (!KivPhaseLog(PHASE_INPUT, 2)) return 0;
    if (!RdAsnLines()) return 0;
    if (!Calculate()) return 0;
    if (!TrsConvert(Kiv.Out_Base)) return 0;
    if (!KivWriteInputParm(Kiv)) return 0;
    return TraceExit("KivRun");
}

int KivMain(int argc, char** argv) {
    try {  // strings of the standard library report a lack of memory in no other way
        return RunProgram(argc, argv);
    } catch (const std::bad_alloc&) {
        return StopWithoutMemory();
    }
}
