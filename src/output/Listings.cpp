#include "output/Listings.h"

#include <algorithm>
#include <cstddef>

#include "run/KivRecord.h"
#include "run/KivTrace.h"

namespace {

constexpr char kHalfRule[] = "----------------------------------------";  // 40
static_assert(sizeof kHalfRule == 41);

constexpr int kVecColumns = 8;   // eigenvectors in a block
constexpr int kPrmColumns = 3;   // constants on a line
constexpr int kOriginCode = 23;  // code of the band origin in the fit's order

void PutRule(const char* before, const char* after) {
    LogPut("%s%s%s%s", before, kHalfRule, kHalfRule, after);
}

// Ka 2-3  Kc 4-6  energy 8-19
void PutErgRow(int ka, int kc, double erg) {
    LogPut("|%2hd%3hd|%12.5lf\n", static_cast<short>(ka), static_cast<short>(kc), erg);
}

// Ka and Kc run together, Kc left-justified in 8
void PutVecLabel(int ka, int kc) {
    LogPut("%hd%-8hd", static_cast<short>(ka), static_cast<short>(kc));
}

// K 3-6  components from 8 on, 9 columns each
void PutVecRow(int K, int n, int first, int last, const double* vec) {
    LogPut("|K%4ld|", static_cast<long>(K));
    const std::size_t row = static_cast<std::size_t>(K + n / 2);
    for (int c = first; c <= last; ++c)
        LogPut("%9.5lf", vec[static_cast<std::size_t>(c) * n + row]);
    LogPut("\n");
}

// "A     = value", the value filled up to 22 columns unless it ends a full line of three
void PutPrm(int state, int slot, bool ends_line) {
    const char* label = Kiv.Prm_Lbl[slot];
    const double value = Kiv.Prm_Val[state][slot];
    const bool exponent = slot >= PRM_DK && slot <= PRM_dJ;
    if (exponent && ends_line) {
        LogPut("%s = %.4le", label, value);
    } else if (exponent) {
        LogPut("%s = %-22.4le", label, value);
    } else if (ends_line) {
        LogPut("%s = %.6lf", label, value);
    } else {
        LogPut("%s = %-22.6lf", label, value);
    }
}

void PutStatePrm(int state) {
    for (int slot = 0; slot < NUM_HAM_PRM; ++slot) {
        const bool ends_line = slot % kPrmColumns == kPrmColumns - 1;
        PutPrm(state, slot, ends_line);
        if (ends_line || slot == NUM_HAM_PRM - 1) LogPut("\n");
    }
}

// A constant named by its code: -(p+1) ground, p+1 excited, 23 the origin.
int CodeSlot(int code) { return (code < 0 ? -code : code) - 1; }

// In the fit's tables all constants from DK on are small numbers.
bool HasExponent(int code) {
    const int slot = CodeSlot(code);
    return slot >= PRM_DK && slot <= PRM_PZ5;
}

void PutLabel(int code) { LogPut("%s ", Kiv.Prm_Lbl[CodeSlot(code)]); }

// After its label: the old value
void PutOldVal(double value, bool exponent, bool ends_line) {
    if (exponent && ends_line) {
        LogPut("= %.6le", value);
    } else if (exponent) {
        LogPut("= %-21.6le", value);
    } else if (ends_line) {
        LogPut("= %.6lf", value);
    } else {
        LogPut("= %-21.6lf", value);
    }
}

// Below the old value: new value, change or deviation, in its columns
void PutBelow(double value, bool exponent, bool ends_line) {
    if (exponent && ends_line) {
        LogPut("      = %.6le", value);
    } else if (exponent) {
        LogPut("      = %-21.6le", value);
    } else if (ends_line) {
        LogPut("      = %.6lf", value);
    } else {
        LogPut("      = %-21.6lf", value);
    }
}

// The arrays of LsfPrntPrm.
struct FitTable {
    const int* Order;
    const int* Code;
    const double* Now;
    const double* Old;
    const double* Sd;

    int PosCode(int pos) const { return Code[Order[pos]]; }
};

// One row of a group below its old values; `value` gives the number of a slot.
template <class Value>
void PutGroupRow(int first, int count, const FitTable& fit, bool always_exponent, Value value) {
    LogPut("\n");
    for (int k = 0; k < count; ++k) {
        const int slot = fit.Order[first + k];
        PutBelow(value(slot), always_exponent || HasExponent(fit.Code[slot]), k == kPrmColumns - 1);
    }
}

// Up to three constants: old, new, change, deviation and, with uniform uncertainties, the
// normalised deviation.
void PutGroup(int first, int count, const FitTable& fit) {
    for (int k = 0; k < count; ++k) {
        const int slot = fit.Order[first + k];
        PutLabel(fit.Code[slot]);
        PutOldVal(fit.Old[slot], HasExponent(fit.Code[slot]), k == kPrmColumns - 1);
    }
    PutGroupRow(first, count, fit, false, [&](int slot) { return fit.Now[slot]; });
    PutGroupRow(first, count, fit, true, [&](int slot) { return fit.Old[slot] - fit.Now[slot]; });
    PutGroupRow(first, count, fit, true, [&](int slot) { return fit.Sd[slot]; });
    if (Kiv.Uniform_Unc == 1) {
        PutGroupRow(first, count, fit, true,
                    [&](int slot) { return Kiv.Std_Dev_Scale * fit.Sd[slot]; });
    }
    LogPut("\n\n");
}

void PutRun(int first, int end, const FitTable& fit) {
    if (!fit.Now) {
        for (int pos = first; pos < end; ++pos) PutLabel(fit.PosCode(pos));
        LogPut("\n\n");
        return;
    }
    for (int pos = first; pos < end; pos += kPrmColumns) {
        PutGroup(pos, std::min(kPrmColumns, end - pos), fit);
    }
}

void PutOrigin(int pos, const FitTable& fit) {
    PutLabel(kOriginCode);
    if (fit.Now) {
        const int slot = fit.Order[pos];
        LogPut("= %.6lf", fit.Old[slot]);
        LogPut("\n      = %.6lf", fit.Now[slot]);
        LogPut("\n      = %.6lf", fit.Old[slot] - fit.Now[slot]);
        LogPut("\n      = %.6lf", fit.Sd[slot]);
        if (Kiv.Uniform_Unc == 1) LogPut("\n      = %.6le", Kiv.Std_Dev_Scale * fit.Sd[slot]);
    }
    LogPut("\n\n");
}

}  // namespace

int PrntEigErg(int J, const std::int16_t* ka, const std::int16_t* kc, const double* erg) {
    TraceEnter("PrntEigErg");
    if (!LogIsOn()) return TraceExit("PrntEigErg");
    PutRule("\n\n", "\n");
    LogPut("|Ka Kc|     ENERGY                   J = %2ld\n", static_cast<long>(J));
    PutRule("", "\n");
    for (int i = 0; i < 2 * J + 1; ++i) PutErgRow(ka[i], kc[i], erg[i]);
    return 1;
}

int PrntEigVec(int J, const std::int16_t* ka, const std::int16_t* kc, const double* vec) {
    TraceEnter("PrntEigVec");
    if (!LogIsOn()) return TraceExit("PrntEigVec");
    const int n = 2 * J + 1;
    PutRule("", "\n");
    for (int first = 0; first < n; first += kVecColumns) {
        const int last = std::min(first + kVecColumns, n) - 1;
        LogPut("|Ka Kc>  ");
        for (int c = first; c <= last; ++c) PutVecLabel(ka[c], kc[c]);
        PutRule("\n", "\n");
        for (int K = -J; K <= J; ++K) PutVecRow(K, n, first, last, vec);
        PutRule("", "\n\n");
    }
    return TraceExit("PrntEigVec");
}

int PrntPrm() {
    TraceEnter("PrntPrm");
    if (!LogIsOn()) return TraceExit("PrntPrm");
    LogPut("GROUND  STATE :\n");
    PutStatePrm(ST_GND);
    LogPut("\nEXCITED STATE :\n");
    PutStatePrm(ST_EXC);
    LogPut("\n%s = %.6lf\n", Kiv.Prm_Lbl[PRM_ORI], Kiv.Prm_Val[ST_EXC][PRM_ORI]);
    return TraceExit("PrntPrm");
}

int LsfPrntPrm(int first, int last, const int* order, const int* code, const double* now,
               const double* old, const double* sd) {
    TraceEnter("LsfPrntPrm");
    const FitTable fit = {order, code, now, old, sd};
    int excited = first;
    while (excited <= last && fit.PosCode(excited) < 0) ++excited;
    int origin = excited;
    while (origin <= last && fit.PosCode(origin) != kOriginCode) ++origin;
    if (excited > first) {
        LogPut("GROUND STATE:\n");
        PutRun(first, excited, fit);
    }
    if (origin > excited) {
        LogPut("EXCITED STATE:\n");
        PutRun(excited, origin, fit);
    }
    if (origin <= last) PutOrigin(origin, fit);
    return TraceExit("LsfPrntPrm");
}
