#include "fit/FitRows.h"

#include <algorithm>
#include <cmath>

#include "run/KivTrace.h"
#include "run/LineDev.h"

namespace {

// Where the derivatives of a slot stand in the record of a line: the sum of one or two entries.
struct Source {
    int First = -1;
    int Second = -1;
    bool Origin = false;
};

struct SourceMap {
    Source Slot[kMaxFitPrm + 1];
};

// Both levels belong to the ground state: its j-th constant moves both.
SourceMap GroundSources(const FitList& list) {
    SourceMap map;
    const int Kg = Kiv.Num_Dev[ST_GND], Ke = Kiv.Num_Dev[ST_EXC];
    int j = 0;
    for (int slot = 1; slot <= list.Num && list.State[slot] == ST_GND; ++slot, ++j) {
        map.Slot[slot].First = j;
        map.Slot[slot].Second = j < Ke ? Kg + j : -1;
    }
    return map;
}

// Position of every constant among the derivatives of its state, -1 when it has none.
void DerivativeSlots(int state, int* place) {
    int next = 0;
    for (int prm = 0; prm < NUM_HAM_PRM; ++prm) {
        place[prm] = Kiv.Prm_Stat[state][prm] == 1 ? next++ : -1;
    }
}

// Levels of two states; as differences, an excited constant follows its ground partner.
SourceMap BandSources(const FitList& list) {
    SourceMap map;
    const int Kg = Kiv.Num_Dev[ST_GND];
    int place[2][NUM_HAM_PRM];
    for (int state : {ST_GND, ST_EXC}) DerivativeSlots(state, place[state]);
    for (int slot = 1; slot <= list.Num; ++slot) {
        Source& source = map.Slot[slot];
        const int prm = list.Prm[slot];
        source.Origin = prm == PRM_ORI;
        if (source.Origin) continue;
        const int upper = place[ST_EXC][prm] >= 0 ? Kg + place[ST_EXC][prm] : -1;
        source.First = list.State[slot] == ST_GND ? place[ST_GND][prm] : upper;
        if (list.State[slot] == ST_GND && Kiv.Fit_Stat == 2) source.Second = upper;
    }
    return map;
}

void FillRow(double* row, const FitList& list, const SourceMap& map, const double* record) {
    for (int slot = 1; slot <= list.Num; ++slot) {
        const Source& source = map.Slot[slot];
        row[slot] = source.Origin ? 1.0 : 0.0;
        if (source.First >= 0) row[slot] = record[source.First];
        if (source.Second >= 0) row[slot] += record[source.Second];
    }
}

// Says where the two sets begin and end, before the first row of each.
void AnnounceSet(const FitRows& rows, bool ground, bool band, bool& band_seen, bool& rot_seen) {
    if (!ground && band) {
        if (!band_seen) ConPut("UV LAST LEVEL # = %ld\n", static_cast<long>(rows.Split));
        band_seen = true;
        return;
    }
    if (!rot_seen) {
        ConPut("MW FIRST LEVEL # = %ld ASN SPLIT = %ld\n", static_cast<long>(rows.Num + 1),
               static_cast<long>(rows.Split));
    }
    rot_seen = true;
}

void ListRejected(const std::int16_t* q, double obs, double misfit) {
    BothPut("%3hd %3hd %3hd  %3hd %3hd %3hd  %11.4lf %10.4lf - REJECTED\n", q[0], q[1], q[2], q[3],
            q[4], q[5], obs, misfit);
}

}  // namespace

int AllocRows(FitRows& rows, const FitList& list, std::int64_t num) {
    rows.Width = list.Num + 1;
    if (ArrAlloc(rows.obln_vec, num + 1) < 0 || ArrAlloc(rows.Calc, num + 1) < 0 ||
        ArrAlloc(rows.Asn, num + 1) < 0 || ArrAlloc(rows.Label, 6 * (num + 1)) < 0) {
        return CoreFailLog("LsfTrs()/obln_vec");
    }
    if (ArrAlloc(rows.sig_vec, num + 1) < 0) return CoreFailLog("LsfTrs()/sig_vec");
    if (ArrAlloc(rows.dvs_mat, (num + 1) * rows.Width) < 0) {
        return CoreFailLog("LsfTrs()/dvs_mat");
    }
    if (ArrAlloc(rows.u_mat, (num + 1) * (list.Num_Varied + 1)) < 0) {
        return CoreFailLog("LsfTrs()/u_mat");
    }
    return 1;
}

void GatherLines(FitRows& rows, const FitList& list, bool ground) {
    const SourceMap map = ground ? GroundSources(list) : BandSources(list);
    double record[2 * NUM_HAM_PRM];
    for (std::int32_t k = 0; k < Kiv.Num_Asn; ++k) {
        const auto line = static_cast<std::size_t>(Kiv.FI_AsnLn_Idx[k]);
        const std::int32_t asn = Kiv.FI_Asn_Idx[k];
        const std::int32_t i = ++rows.Num_Lines;
        rows.Calc[i] = Kiv.FI_Sim_Erg[line];
        rows.Asn[i] = asn;
        std::copy_n(&Kiv.FI_JKK_Lbl[6 * line], 6, &rows.Label[6 * static_cast<std::size_t>(i)]);
        rows.obln_vec[i] = Kiv.AsnErg_Vector[asn];
        rows.sig_vec[i] = AsnSigma(asn);
        LineDerivatives(line, record);
        FillRow(rows.Derivatives(i), list, map, record);
        if (asn < Kiv.Asn_Split) ++rows.Split;
    }
}

double AsnSigma(std::int32_t asn) { return Kiv.Uniform_Unc != 0 ? 1.0 : Kiv.AsnUnc_Vector[asn]; }

bool IsOutlier(double misfit) { return std::fabs(misfit) >= Kiv.Rej_Level; }

void AcceptRow(FitRows& rows, std::int64_t from, double misfit) {
    const std::int64_t to = ++rows.Num;
    rows.Sum_Sq += misfit * misfit;
    if (to == from) return;
    rows.obln_vec[to] = rows.obln_vec[from];
    rows.sig_vec[to] = rows.sig_vec[from];
    std::copy_n(rows.Derivatives(from), rows.Width, rows.Derivatives(to));
}

void SelectLines(FitRows& rows) {
    const bool ground = Kiv.Fit_Stat == 0 || Kiv.Gnd_Only == 1;
    bool band_seen = false, rot_seen = false;
    for (std::int32_t k = 1; k <= rows.Num_Lines; ++k) {
        const double misfit = rows.obln_vec[k] - rows.Calc[k];
        const bool band = rows.Asn[k] < Kiv.Asn_Split;
        if (IsOutlier(misfit)) {
            ListRejected(&rows.Label[6 * static_cast<std::size_t>(k)], rows.obln_vec[k], misfit);
            if (band) --rows.Split;
            continue;
        }
        AnnounceSet(rows, ground, band, band_seen, rot_seen);
        AcceptRow(rows, k, misfit);
    }
}
