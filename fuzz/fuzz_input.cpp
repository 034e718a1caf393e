// Input files of every version: the second line chooses it. The answers at the prompts of the
// oldest files come from the last byte.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "FuzzSupport.h"
#include "input/InputParm.h"
#include "run/KivRecord.h"
#include "run/KivServices.h"

namespace {

int Choice = 0;

// A file is only converted in the working folder.
int AnswerChar() {
    if (std::strchr(Kiv.Asn_Flnm, '/')) return 'n';
    return Choice % 4 == 0 ? EOF : Choice % 4 == 1 ? 'n' : 'y';
}

bool AnswerNumber(double& value) {
    constexpr double kAnswers[] = {1.0, 10.0, 0.0, NAN, INFINITY, -1e308, 1e-300};
    if (Choice % 8 == 7) return false;
    value = kAnswers[Choice % 7];
    return true;
}

bool IsText(const char* text, std::size_t size) { return std::memchr(text, '\0', size) != nullptr; }

void CheckRecord(int status) {
    Require(status == 1 || status == 0 || status == RD_EOF, "status");
    Require(IsText(Kiv.Comment, sizeof Kiv.Comment) && IsText(Kiv.Out_Base, sizeof Kiv.Out_Base) &&
                IsText(Kiv.Asn_Flnm, sizeof Kiv.Asn_Flnm) &&
                IsText(Kiv.NextInp_Flnm, sizeof Kiv.NextInp_Flnm) &&
                IsText(Kiv.Erg_Unit, sizeof Kiv.Erg_Unit) &&
                IsText(Kiv.Inp_Version, sizeof Kiv.Inp_Version),
            "texts end");
    Require(LastReadLine() != nullptr, "last line");
    if (status == 1)
        Require(Kiv.TM_Frame == ST_GND || Kiv.TM_Frame == ST_EXC, "frame of the moment");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static MemFile input("input");
    BeginFuzz();
    Choice = size > 0 ? data[size - 1] : 0;
    Services.AskChar = AnswerChar;
    Services.AskNumber = AnswerNumber;
    input.Set({reinterpret_cast<const char*>(data), size});
    Kiv.Inp_Flnm = input.Name();
    CheckRecord(KivReadInputParm(Kiv));
    EndFuzz();
    return 0;
}
