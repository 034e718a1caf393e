#include "fit/CombDiff.h"

#include <algorithm>

#include "run/KivKey.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"
#include "run/LineDev.h"

namespace {

// Matches in the order of the level they share, so that partners stand side by side.
struct LevelOrder {
    KivArray<std::int32_t> Match;  // sorted by level, then by match
    KivArray<std::int32_t> Place;  // place of each match in Match
    std::uint64_t Mask;

    std::uint64_t Level(std::int32_t k) const { return Kiv.AsnQN_Vector[Kiv.FI_Asn_Idx[k]] & Mask; }
};

int SortByLevel(LevelOrder& order) {
    const std::int32_t n = Kiv.Num_Asn;
    if (ArrAlloc(order.Match, n) < 0 || ArrAlloc(order.Place, n) < 0) return 0;
    for (std::int32_t k = 0; k < n; ++k) order.Match[k] = k;
    std::sort(order.Match.Data(), order.Match.Data() + n, [&](std::int32_t a, std::int32_t b) {
        const std::uint64_t la = order.Level(a), lb = order.Level(b);
        return la != lb ? la < lb : a < b;
    });
    for (std::int32_t p = 0; p < n; ++p) order.Place[order.Match[p]] = p;
    return 1;
}

void StorePair(CombPairs& pairs, std::int32_t i, std::int32_t j) {
    const bool ground = Kiv.Fit_Stat == 3;
    pairs.Idx_Mat(0, pairs.Num) = ground ? j : i;
    pairs.Idx_Mat(1, pairs.Num) = ground ? i : j;
    ++pairs.Num;
}

// Pairs of match i with later ones.
void PairWithLater(CombPairs& pairs, const LevelOrder& order, std::int32_t i) {
    for (std::int32_t p = order.Place[i] + 1; p < Kiv.Num_Asn; ++p) {
        const std::int32_t j = order.Match[p];
        if (order.Level(j) != order.Level(i)) return;
        StorePair(pairs, i, j);
        if (pairs.Num != Kiv.Num_Asn_Read) continue;
        ConPut("TOO MANY CD'S - PROGRAM BUG\n");
        --pairs.Num;
        return;
    }
}

// One difference: matches of its lines, their store entries and what it compares.
struct Difference {
    std::int32_t First, Second;  // matches
    std::size_t Line_A, Line_B;  // entries in the transition store
    double Obs, Calc;

    double Misfit() const { return Obs - Calc; }
};

Difference MakeDifference(const CombPairs& pairs, std::int32_t d) {
    Difference cd;
    cd.First = pairs.Idx_Mat(0, d);
    cd.Second = pairs.Idx_Mat(1, d);
    cd.Line_A = static_cast<std::size_t>(Kiv.FI_AsnLn_Idx[cd.First]);
    cd.Line_B = static_cast<std::size_t>(Kiv.FI_AsnLn_Idx[cd.Second]);
    cd.Obs =
        Kiv.AsnErg_Vector[Kiv.FI_Asn_Idx[cd.Second]] - Kiv.AsnErg_Vector[Kiv.FI_Asn_Idx[cd.First]];
    cd.Calc = Kiv.FI_Sim_Erg[cd.Line_B] - Kiv.FI_Sim_Erg[cd.Line_A];
    return cd;
}

// The shared level cancels; the derivatives of the other state remain.
void FillRow(double* row, const FitList& list, const Difference& cd) {
    const int offset = Kiv.Fit_Stat == 3 ? 0 : Kiv.Num_Dev[ST_GND];
    double a[2 * NUM_HAM_PRM], b[2 * NUM_HAM_PRM];
    LineDerivatives(cd.Line_A, a);
    LineDerivatives(cd.Line_B, b);
    for (int slot = 1; slot <= list.Num; ++slot) {
        row[slot] = b[offset + slot - 1] - a[offset + slot - 1];
    }
}

void ListRejected(const Difference& cd) {
    const std::int16_t* a = &Kiv.FI_JKK_Lbl[6 * cd.Line_A];
    const std::int16_t* b = &Kiv.FI_JKK_Lbl[6 * cd.Line_B];
    BothPut(
        "%3hd %3hd %3hd  %4hd %3hd %3hd  %5hd %3hd %3hd  %4hd %3hd %3hd  %11.4lf %10.4lf - "
        "REJECTED\n",
        a[0], a[1], a[2], a[3], a[4], a[5], b[0], b[1], b[2], b[3], b[4], b[5], cd.Obs,
        cd.Misfit());
}

// J', Ka', Kc', J'', Ka'', Kc'' of both lines, then observed difference and obs - calc
void ListAccepted(const Difference& cd) {
    const std::int16_t* a = &Kiv.FI_JKK_Lbl[6 * cd.Line_A];
    const std::int16_t* b = &Kiv.FI_JKK_Lbl[6 * cd.Line_B];
    LogPut("%2hd %3hd %3hd  %4hd %3hd %3hd  %5hd %3hd %3hd  %4hd %3hd %3hd  %11.4lf %10.4lf\n",
           a[0], a[1], a[2], a[3], a[4], a[5], b[0], b[1], b[2], b[3], b[4], b[5], cd.Obs,
           cd.Misfit());
}

// Two misfits: from the energies and from the derivatives.
void ListDerivatives(const FitList& list, const double* values, const double* row,
                     std::int32_t number, const Difference& cd) {
    double sum = 0.0;
    LogPut("\n\nPRM=");
    for (int slot = 1; slot <= list.Num; ++slot) {
        LogPut(" %lf", values[slot]);
        sum += values[slot] * row[slot];
    }
    LogPut("\n\nDEV CAL=%lf EIGENVALUE=%lf OBS=%lf", sum, cd.Calc, cd.Obs);
    LogPut("\nOMC[%ld]=%lf : %lf", static_cast<long>(number), cd.Misfit(), cd.Obs - sum);
    LogPut("\nDERIVATIVES = :\n");
    for (int slot = 1; slot <= list.Num; ++slot) LogPut("%.4lf ", row[slot]);
}

void ListDifferences(const CombPairs& accepted, FitRows& rows, const FitList& list,
                     const double* values) {
    if (!LogIsOn()) return;
    const bool debug = DebugIsOn(DBG_IV);
    LogPut(" J'  Ka' Kc'   J\"  Ka\" Kc\" &  J'  Ka' Kc'   J\"  Ka\" Kc\"  Energy         OMC\n");
    for (std::int32_t d = 0; d < accepted.Num; ++d) {
        const Difference cd = MakeDifference(accepted, d);
        ListAccepted(cd);
        if (debug) ListDerivatives(list, values, rows.Derivatives(d + 1), d + 1, cd);
    }
}

void AnnounceSets(const FitRows& rows) {
    ConPut("UV LAST LEVEL # = %ld\n", static_cast<long>(rows.Split));
    ConPut("MW FIRST LEVEL # = %ld ASN SPLIT = %ld\n", static_cast<long>(rows.Num + 1),
           static_cast<long>(rows.Split));
}

// Accepts or lists every difference; the accepted pairs move to the front.
void SelectDifferences(CombPairs& pairs, FitRows& rows, const FitList& list) {
    const std::int32_t found = pairs.Num;
    rows.Split = Kiv.Asn_Split;
    for (std::int32_t d = 0; d < found; ++d) {
        const Difference cd = MakeDifference(pairs, d);
        if (IsOutlier(cd.Misfit())) {
            ListRejected(cd);
            continue;
        }
        if (rows.Num == 0) AnnounceSets(rows);
        const std::int32_t row = rows.Num + 1;
        pairs.Idx_Mat(0, rows.Num) = cd.First;
        pairs.Idx_Mat(1, rows.Num) = cd.Second;
        rows.obln_vec[row] = cd.Obs;
        rows.sig_vec[row] = AsnSigma(Kiv.FI_Asn_Idx[cd.First]);
        FillRow(rows.Derivatives(row), list, cd);
        AcceptRow(rows, row, cd.Misfit());
    }
    pairs.Num = rows.Num;
}

}  // namespace

int FindCombPairs(CombPairs& pairs) {
    LevelOrder order;
    order.Mask = Kiv.Fit_Stat == 3 ? kUpperLevelMask : kLowerLevelMask;
    if (TableAlloc(pairs.Idx_Mat, 2, Kiv.Num_Asn_Read) < 0 || !SortByLevel(order)) {
        return CoreFail("CDErrorAnalysis()/Idx_Mat");
    }
    pairs.Num = 0;
    for (std::int32_t i = 0; i < Kiv.Num_Asn; ++i) PairWithLater(pairs, order, i);
    return 1;
}

int CDErrorAnalysis(FitRows& rows, const FitList& list, const double* values) {
    CombPairs pairs;
    if (!FindCombPairs(pairs)) return 0;
    if (pairs.Num == 0) return ConFail("NO COMBINATION DIFFERENCES FOUND - ABORTING!\n");
    Kiv.Num_Asn = pairs.Num;
    ConPut("NUMBER OF COMBINATION DIFFERENCES FOUND   =[%ld]\n", static_cast<long>(pairs.Num));
    LogPut("\nNUMBER OF COMBINATION DIFFERENCES FOUND   =[%ld]\n", static_cast<long>(pairs.Num));
    SelectDifferences(pairs, rows, list);
    ListDifferences(pairs, rows, list, values);
    ConPut("NUMBER OF COMBINATION DIFFERENCES ACCEPTED=[%ld] - SEE LOG FILE\n",
           static_cast<long>(rows.Num));
    LogPut("NUMBER OF COMBINATION DIFFERENCES ACCEPTED=[%ld]\n", static_cast<long>(rows.Num));
    return 1;
}
