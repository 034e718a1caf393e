#include "console/Listings.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "levels/LevelVectors.h"

namespace kiv {
namespace {

constexpr char kHalfRule[] = "----------------------------------------";  // 40
static_assert(sizeof kHalfRule == 41);

constexpr int kVecColumns = 8;  // eigenvectors in a block
constexpr int kColumns = 3;     // constants on a line

constexpr const char* kLabels[] = {"A    ", "B    ", "C    ", "PX   ", "PY   ", "PZ   ",
                                   "PXPY ", "PXPZ ", "PYPZ ", "DK   ", "DJK  ", "DJ   ",
                                   "dK   ", "dJ   ", "PZ3  ", "PX3  ", "PY3  ", "PZ2PX",
                                   "PZ2PY", "PX2PZ", "PY2PZ", "PZ5  ", "ORI  "};
static_assert(std::size(kLabels) == kNumFileConstants + 1);

void PutRule(Console& log, const char* before, const char* after) {
    log.Log("%s%s%s%s", before, kHalfRule, kHalfRule, after);
}

// Ka 2-3  Kc 4-6  energy 8-19
void PutEnergyRow(Console& log, int ka, int kc, double energy) {
    log.Log("|%2d%3d|%12.5lf\n", ka, kc, energy);
}

// Ka and Kc run together, Kc left-justified in 8
void PutVectorLabel(Console& log, int ka, int kc) { log.Log("%d%-8d", ka, kc); }

// K 3-6  components from 8 on, 9 columns each; component r of vector c at vectors[c * n + r]
void PutVectorRow(Console& log, int K, int n, int first, int last, const double* vectors) {
    log.Log("|K%4d|", K);
    const std::size_t row = static_cast<std::size_t>(K + n / 2);
    for (int c = first; c <= last; ++c) {
        log.Log("%9.5lf", vectors[static_cast<std::size_t>(c) * n + row]);
    }
    log.Log("\n");
}

bool IsQuartic(int constant) {
    return constant >= static_cast<int>(Constant::DK) && constant <= static_cast<int>(Constant::dJ);
}

// "A     = value", the value filled up to 22 columns unless it ends a full line of three
void PutConstant(Console& log, int constant, double value, bool ends_line) {
    const char* label = LabelOf(constant);
    if (IsQuartic(constant) && ends_line) {
        log.Log("%s = %.4le", label, value);
    } else if (IsQuartic(constant)) {
        log.Log("%s = %-22.4le", label, value);
    } else if (ends_line) {
        log.Log("%s = %.6lf", label, value);
    } else {
        log.Log("%s = %-22.6lf", label, value);
    }
}

void PutState(Console& log, const State& state) {
    for (int c = 0; c < kNumFileConstants; ++c) {
        const bool ends_line = c % kColumns == kColumns - 1;
        PutConstant(log, c, state.terms[c].value, ends_line);
        if (ends_line || c == kNumFileConstants - 1) log.Log("\n");
    }
}

// In the fit's tables all constants from DK on are small numbers.
bool HasExponent(int constant) {
    return constant >= static_cast<int>(Constant::DK) && constant != kOrigin;
}

void PutLabel(Console& log, int constant) { log.Log("%s ", LabelOf(constant)); }

// After its label: the old value
void PutOldValue(Console& log, double value, bool exponent, bool ends_line) {
    if (exponent && ends_line) {
        log.Log("= %.6le", value);
    } else if (exponent) {
        log.Log("= %-21.6le", value);
    } else if (ends_line) {
        log.Log("= %.6lf", value);
    } else {
        log.Log("= %-21.6lf", value);
    }
}

// Below the old value: new value, change or deviation, in its columns
void PutBelow(Console& log, double value, bool exponent, bool ends_line) {
    if (exponent && ends_line) {
        log.Log("      = %.6le", value);
    } else if (exponent) {
        log.Log("      = %-21.6le", value);
    } else if (ends_line) {
        log.Log("      = %.6lf", value);
    } else {
        log.Log("      = %-21.6lf", value);
    }
}

// A table of a fit: labels alone, or values.
struct FitTable {
    const FitList& list;
    const FitCycleView* cycle = nullptr;  // null: labels alone
    bool scaled = false;
    double scale = 1.0;

    int SlotAt(int position) const { return list.order[position]; }
    int ConstantAt(int position) const { return list.constant[SlotAt(position)]; }
};

// One row of a group below its old values; `value` gives the number of a slot.
template <class Value>
void PutGroupRow(Console& log, int first, int count, const FitTable& fit, bool always_exponent,
                 Value value) {
    log.Log("\n");
    for (int k = 0; k < count; ++k) {
        const bool exponent = always_exponent || HasExponent(fit.ConstantAt(first + k));
        PutBelow(log, value(fit.SlotAt(first + k)), exponent, k == kColumns - 1);
    }
}

// Up to three constants: old, new, change, deviation and, with uniform uncertainties, the
// normalised deviation.
void PutGroup(Console& log, int first, int count, const FitTable& fit) {
    const FitCycleView& cycle = *fit.cycle;
    for (int k = 0; k < count; ++k) {
        const int constant = fit.ConstantAt(first + k);
        PutLabel(log, constant);
        PutOldValue(log, cycle.old_values[fit.SlotAt(first + k)], HasExponent(constant),
                    k == kColumns - 1);
    }
    PutGroupRow(log, first, count, fit, false, [&](int slot) { return cycle.new_values[slot]; });
    PutGroupRow(log, first, count, fit, true,
                [&](int slot) { return cycle.old_values[slot] - cycle.new_values[slot]; });
    PutGroupRow(log, first, count, fit, true, [&](int slot) { return cycle.deviations[slot]; });
    if (fit.scaled) {
        PutGroupRow(log, first, count, fit, true,
                    [&](int slot) { return fit.scale * cycle.deviations[slot]; });
    }
    log.Log("\n\n");
}

void PutRun(Console& log, int first, int end, const FitTable& fit) {
    if (!fit.cycle) {
        for (int pos = first; pos < end; ++pos) PutLabel(log, fit.ConstantAt(pos));
        log.Log("\n\n");
        return;
    }
    for (int pos = first; pos < end; pos += kColumns) {
        PutGroup(log, pos, std::min(kColumns, end - pos), fit);
    }
}

void PutOrigin(Console& log, int pos, const FitTable& fit) {
    PutLabel(log, kOrigin);
    if (fit.cycle) {
        const int slot = fit.SlotAt(pos);
        const double before = fit.cycle->old_values[slot], now = fit.cycle->new_values[slot];
        const double deviation = fit.cycle->deviations[slot];
        log.Log("= %.6lf", before);
        log.Log("\n      = %.6lf", now);
        log.Log("\n      = %.6lf", before - now);
        log.Log("\n      = %.6lf", deviation);
        if (fit.scaled) log.Log("\n      = %.6le", fit.scale * deviation);
    }
    log.Log("\n\n");
}

void PutTable(Console& log, int first, int last, const FitTable& fit) {
    log.Enter("LsfPrntPrm");
    const FitList& list = fit.list;
    int upper = first;
    while (upper <= last && list.state[fit.SlotAt(upper)] == kLower) ++upper;
    int origin = upper;
    while (origin <= last && fit.ConstantAt(origin) != kOrigin) ++origin;
    if (upper > first) {
        log.Log("GROUND STATE:\n");
        PutRun(log, first, upper, fit);
    }
    if (origin > upper) {
        log.Log("EXCITED STATE:\n");
        PutRun(log, upper, origin, fit);
    }
    if (origin <= last) PutOrigin(log, origin, fit);
    log.Exit("LsfPrntPrm");
}

}  // namespace

const char* LabelOf(int constant) {
    return kLabels[constant == kOrigin ? kNumFileConstants : constant];
}

void ListEnergies(Console& console, const Levels& levels, int J) {
    console.Enter("PrntEigErg");
    if (!console.log_is_on()) return;
    PutRule(console, "\n\n", "\n");
    console.Log("|Ka Kc|     ENERGY                   J = %2d\n", J);
    PutRule(console, "", "\n");
    for (int r = 0; r <= 2 * J; ++r) {
        const std::size_t level = Levels::Index(J, r);
        PutEnergyRow(console, levels.ka[level], levels.kc[level], levels.energy[level]);
    }
}

void ListVectors(Console& console, const Levels& levels, int J) {
    console.Enter("PrntEigVec");
    if (!console.log_is_on()) return;
    const int n = 2 * J + 1;
    std::vector<double> vectors(static_cast<std::size_t>(n) * n);
    ExpandVectors(levels, J, levels.vectors_real, vectors.data());
    PutRule(console, "", "\n");
    for (int first = 0; first < n; first += kVecColumns) {
        const int last = std::min(first + kVecColumns, n) - 1;
        console.Log("|Ka Kc>  ");
        for (int c = first; c <= last; ++c) {
            const std::size_t level = Levels::Index(J, c);
            PutVectorLabel(console, levels.ka[level], levels.kc[level]);
        }
        PutRule(console, "\n", "\n");
        for (int K = -J; K <= J; ++K) PutVectorRow(console, K, n, first, last, vectors.data());
        PutRule(console, "", "\n\n");
    }
    console.Exit("PrntEigVec");
}

void ListConstants(Console& console, const Model& model) {
    console.Enter("PrntPrm");
    if (!console.log_is_on()) return;
    console.Log("GROUND  STATE :\n");
    PutState(console, model.lower());
    console.Log("\nEXCITED STATE :\n");
    PutState(console, model.upper());
    console.Log("\n%s = %.6lf\n", LabelOf(kOrigin), model.origin.value);
    console.Exit("PrntPrm");
}

void ListFitLabels(Console& console, const FitList& list, int first, int last) {
    PutTable(console, first, last, {list});
}

void ListFitValues(Console& console, const FitCycleView& cycle, bool scaled, double scale) {
    PutTable(console, 1, cycle.list->num_varied, {*cycle.list, &cycle, scaled, scale});
}

}  // namespace kiv
