#include "transitions/TrsCalc.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "frames/TransMoment.h"
#include "run/KivKey.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"
#include "run/LineDev.h"
#include "transitions/AsnPass.h"
#include "transitions/Boltzmann.h"
#include "transitions/LineMatch.h"
#include "transitions/LineStore.h"
#include "transitions/PairRules.h"
#include "transitions/PairValues.h"

namespace {

// A lower level.
struct LowerLevel {
    int J, Rank;
    std::int32_t Index;
    int Ka, Kc;
    double Erg;
    std::int32_t Spin_Wt;  // nuclear spin weight of its Ka Kc parities
};

// Amplitudes of one pair, projected on the moment.
struct Projected {
    double Re[NUM_BANDS];
    double Im[NUM_BANDS];
};

// Where a full matrix of eigenvectors for every J would have those of J: the sum of (2j+1)^2 over
// j < J. The listing counts so.
long long ListedOffset(long long J) { return J * (2 * J - 1) * (2 * J + 1) / 3; }

// The pairs of one lower level with upper levels of one J' that follow each other in a list.
struct PairsOfLevel {
    LowerLevel Lower;
    int Ju = 0;
    const PartnerList* List = nullptr;
    int Place = 0;  // of the first one
    int Num = 0;
    Amplitudes Amp;
};

// One run through all pairs of levels.
class TrsPass {
  public:
    int Run();

  private:
    int Init();
    void SetValues();
    void RunLower(int J_lower);
    void RunBranch(int J_lower, int J_upper);
    void RunLevel(const LowerLevel& lower, int J_upper);
    void FillHighest(int J_upper);
    int FirstUpward(const LowerLevel& lower, int J_upper);
    void PassDownward(const LowerLevel& lower, int J_upper, int first, int last);
    void EvaluateLevel(bool all);
    void KeepLines();
    void KeepMatched();
    bool PassesParity(const LowerLevel& lower, std::int32_t upper) const;
    bool IsWeak(int pair) const;
    Projected Project(int pair) const;
    void ListPair(int pair) const;
    void ListDerivatives() const;
    int Finish();

    const bool Complex = Kiv.Cplx_Ham == 1;
    const bool Debug = DebugIsOn(DBG_II);
    const bool Parity = Kiv.Parity_On == 1;
    const bool Spins = Kiv.Spin_On == 1;
    const bool Gnd_Only = Kiv.Gnd_Only == 1;
    const double Origin = Kiv.Prm_Val[ST_EXC][PRM_ORI];
    const double Cutoff = Kiv.Itn_Cutoff;
    // a pair without intensity can be passed over unseen: it would be dropped in any case
    const bool Skip_Dark = !Debug && (Kiv.Temp[0] <= 0.0 || Kiv.Itn_Cutoff >= 0.0);
    Boltzmann Weights;
    AmplitudeCalc Amps;
    LineMatch Match;
    LineStore Store;
    int Upward = 0;  // ground-only runs: the first upper level that lies above the lower one
    KivArray<double> Highest;  // highest energy up to each rank: levels that agree have no order

    // The pairs of the level at hand and what becomes of them
    PairsOfLevel Pairs;
    LineBatch Batch;
    PairRun Values{};
    LineValues Scratch;
    KivArray<double> Position, Raw, Strength, Factor;
    KivArray<float> Intensity;
    KivArray<float> Real_Amp, Imag_Amp;
    KivArray<char> Band;
    KivArray<std::int32_t> Lines;  // pairs that are lines
    KivArray<long long> Dropped;
    bool Any_Dropped = false;
    bool Failed = false;
    std::int64_t Num_Negative = 0;
};

// EE, EO, OO, OE.
int SpinClass(int ka, int kc) {
    if ((ka & 1) == 0) return (kc & 1) == 0 ? 0 : 1;
    return (kc & 1) != 0 ? 2 : 3;
}

LowerLevel MakeLower(int J, int rank) {
    const std::int32_t index = J * J + rank;
    const int ka = Kiv.Ka_Vector[ST_GND][index], kc = Kiv.Kc_Vector[ST_GND][index];
    return {
        J, rank, index, ka, kc, Kiv.HamErg_Vector[ST_GND][index], Kiv.Spin_Wt[SpinClass(ka, kc)]};
}

int TrsPass::Init() {
    const std::int64_t n = 2 * std::int64_t{Kiv.Max_J} + 1 + kLineGroup;
    if (!Amps.Init() || !Amps.Init(Pairs.Amp)) return 0;
    for (KivArray<double>* arr : {&Position, &Raw, &Strength, &Factor, &Highest}) {
        if (ArrAlloc(*arr, n) < 0) return CoreFail("TrsPass()/Raw");
    }
    if (ArrAlloc(Real_Amp, NUM_BANDS * n) < 0 || ArrAlloc(Imag_Amp, NUM_BANDS * n) < 0) {
        return CoreFail("TrsPass()/Amp");
    }
    if (ArrAlloc(Intensity, n) < 0 || ArrAlloc(Band, n) < 0 || ArrAlloc(Lines, n) < 0 ||
        ArrAlloc(Dropped, n) < 0) {
        return CoreFail("TrsPass()/Lines");
    }
    std::fill_n(Factor.Data(), n, 1.0);
    SetValues();
    return 1;
}

// What the pairs of all levels have in common.
void TrsPass::SetValues() {
    Values.Complex = Complex;
    Values.Scaled = Weights.IsOn();
    Values.Skip_Dark = Skip_Dark;
    Values.Upward_Only = Gnd_Only;
    Values.Cutoff = Cutoff;
    Values.Origin = Origin;
    std::copy_n(Kiv.TM_Prj, NUM_BANDS, Values.Prj);
    Values.Boltzmann = Factor.Data();
    Values.Raw = Raw.Data();
    Values.Strength = Strength.Data();
    Scratch = {Position.Data(), Intensity.Data(), Band.Data(), Real_Amp.Data(), Imag_Amp.Data()};
    Values.Dropped = Dropped.Data();
    Values.Any_Dropped = &Any_Dropped;
}

int TrsPass::Run() {
    if (!Init()) return 0;
    for (int J = 0; J <= Kiv.Max_J && !Failed; ++J) RunLower(J);
    return Failed ? 0 : Finish();
}

void TrsPass::RunLower(int J) {
    CgUnpack(J);
    for (int Ju = J == 0 ? 1 : J - 1; Ju <= std::min(J + 1, Kiv.Max_J) && !Failed; ++Ju) {
        RunBranch(J, Ju);
    }
}

void TrsPass::RunBranch(int Jl, int Ju) {
    Amps.SetBranch(Jl, Ju);
    FillHighest(Ju);
    for (int rank = 0; rank <= 2 * Jl && !Failed; ++rank) RunLevel(MakeLower(Jl, rank), Ju);
    if (Debug) {
        LogPut("jg_qn:je_qn = %d:%d gv_bssz:ev_bssz = %lld:%lld\n", Jl, Ju, ListedOffset(Jl),
               ListedOffset(Ju));
    }
}

void TrsPass::RunLevel(const LowerLevel& lower, int Ju) {
    const UpperRange range = UpperRangeOf(lower.Ka, Ju);
    if (range.First >= range.Last) return;
    const int first = std::min(std::max(range.First, FirstUpward(lower, Ju)), range.Last);
    const bool matched = Match.HasUpTo(LineKey(lower.J, Ju, lower.Rank, range.Last - 1));
    // pairs that are matched, counted or listed are looked at one by one, the dark ones included
    const bool all = Debug || matched || Weights.IsNegative(lower.Erg);
    if (all) PassDownward(lower, Ju, range.First, first);
    const PartnerList& list = all ? Amps.AllPartners() : Amps.Partners(lower.Rank);
    Pairs.Lower = lower;
    Pairs.Ju = Ju;
    Pairs.List = &list;
    Pairs.Place = list.Below[first];
    Pairs.Num = list.Below[range.Last] - Pairs.Place;
    if (Pairs.Num == 0) return;
    Amps.Compute(lower.Rank, list, first, range.Last, Pairs.Amp);
    Weights.SetLower(lower.Erg);
    EvaluateLevel(all);
    Store.SetLower(lower.J, lower.Index);
    if (all) {
        KeepMatched();
    } else {
        KeepLines();
    }
}

void TrsPass::FillHighest(int Ju) {
    Upward = 0;
    if (!Gnd_Only || Debug) return;
    const double* erg = &Kiv.HamErg_Vector[ST_EXC][Ju * Ju];
    double highest = erg[0];
    for (int rank = 0; rank <= 2 * Ju; ++rank) {
        highest = std::max(highest, erg[rank]);
        Highest[rank] = highest;
    }
}

// In a ground-only run the pairs that go down in energy, the first of a J', have no line. From one
// lower level to the next the first one that goes up hardly moves.
int TrsPass::FirstUpward(const LowerLevel& lower, int Ju) {
    if (!Gnd_Only || Debug) return 0;
    const auto goes_down = [&](int rank) { return Origin + Highest[rank] - lower.Erg < 0.0; };
    while (Upward > 0 && !goes_down(Upward - 1)) --Upward;
    while (Upward <= 2 * Ju && goes_down(Upward)) ++Upward;
    return Upward;
}

// Pairs without a line are matched and counted without amplitudes.
void TrsPass::PassDownward(const LowerLevel& lower, int Ju, int first, int last) {
    const std::uint64_t key = LineKey(lower.J, Ju, lower.Rank, 0);
    for (int rank = first; rank < last; ++rank) {
        if (Parity && !PassesParity(lower, Ju * Ju + rank)) continue;
        if (Match.Matches(key + static_cast<std::uint64_t>(rank))) Match.Drop();
        Num_Negative += Weights.IsNegative(lower.Erg);
    }
}

void TrsPass::EvaluateLevel(bool all) {
    const std::int32_t spin_wt = Pairs.Lower.Spin_Wt;
    Values.Num = Pairs.Num;
    for (int type = 0; type < NUM_BANDS; ++type) {
        Values.Re[type] = Pairs.Amp.Real[type].Data();
        Values.Im[type] = Pairs.Amp.Imag[type].Data();
    }
    Values.Erg = Pairs.List->Erg + Pairs.Place;
    Values.Lower_Erg = Pairs.Lower.Erg;
    Values.Spin_Wt = Spins ? spin_wt : 1;
    Values.Spin_Root = Spins ? std::sqrt(static_cast<float>(std::max(0, spin_wt))) : 1.0F;
    if (Weights.IsOn()) {
        for (int i = 0; i < Pairs.Num; ++i) Factor[i] = Weights.Factor(Values.Erg[i]);
    }
    // pairs that are looked at one by one stay out of the store until then
    Values.Lines = all ? Scratch : Store.PlaceFor(Pairs.Num, Scratch);
    Evaluate(Values);
    Batch = {Pairs.List->Index + Pairs.Place, Pairs.List->Label + std::ptrdiff_t{6} * Pairs.Place,
             Values.Lines};
}

bool TrsPass::IsWeak(int pair) const {
    return Weights.IsOn() ? Strength[pair] <= Cutoff : Strength[pair] == 0.0;
}

// No pair of the level is assigned.
void TrsPass::KeepLines() {
    if (!Any_Dropped && !Parity) {
        Failed = Store.PutAll(Batch, Pairs.Num) == 0;
        return;
    }
    std::size_t kept = 0;
    for (std::int32_t i = 0; i < Pairs.Num; ++i) {
        Lines[kept] = i;
        kept += Dropped[i] == 0 && (!Parity || PassesParity(Pairs.Lower, Batch.Upper[i]));
    }
    Failed = Store.Put(Batch, {Lines.Data(), kept}) == 0;
}

// All upper levels of the range, one after the other; places are energy ranks.
void TrsPass::KeepMatched() {
    const std::uint64_t key = LineKey(Pairs.Lower.J, Pairs.Ju, Pairs.Lower.Rank, Pairs.Place);
    for (std::int32_t i = 0; i < Pairs.Num && !Failed; ++i) {
        if (Parity && !PassesParity(Pairs.Lower, Batch.Upper[i])) continue;
        const bool matched = Match.Matches(key + static_cast<std::uint64_t>(i));
        Num_Negative += Weights.IsNegative(Pairs.Lower.Erg);
        if (Raw[i] == 0.0 && Skip_Dark && !matched) continue;
        if (Debug) ListPair(i);
        if (IsWeak(i) && !matched) continue;
        if (Gnd_Only && Position[i] < 0.0) {
            if (matched) Match.Drop();
            continue;
        }
        if (matched) Match.Keep(Kiv.Num_Trs);
        Failed = Store.Put(Batch, {&i, 1}) == 0;
        if (Debug && !Failed) ListDerivatives();
    }
}

bool TrsPass::PassesParity(const LowerLevel& lower, std::int32_t upper) const {
    return HasParity(lower.Ka, lower.Kc, Kiv.Ka_Vector[ST_EXC][upper],
                     Kiv.Kc_Vector[ST_EXC][upper]);
}

Projected TrsPass::Project(int pair) const {
    const Amplitudes& amp = Pairs.Amp;
    Projected p;
    for (int type = 0; type < NUM_BANDS; ++type) {
        p.Re[type] = Kiv.TM_Prj[type] * amp.Real[type][pair];
        p.Im[type] = Complex ? Kiv.TM_Prj[type] * amp.Imag[type][pair] : 0.0;
    }
    return p;
}

// The position of the line just stored, from its derivatives.
void TrsPass::ListDerivatives() const {
    if (Kiv.Dev_On != 1) return;
    const int d0 = Kiv.Num_Dev[ST_GND], d1 = Kiv.Num_Dev[ST_EXC];
    const std::size_t n = static_cast<std::size_t>(Kiv.Num_Trs) - 1;
    double row[2 * NUM_HAM_PRM];
    LineDerivatives(n, row);
    double erg = Origin;
    int slot = 0;
    for (int state : {ST_GND, ST_EXC}) {
        const int source = Gnd_Only ? ST_GND : state;
        for (int prm = 0; prm < NUM_HAM_PRM && slot < (state == ST_GND ? d0 : d0 + d1); ++prm) {
            if (Kiv.Prm_Stat[source][prm] == 1) erg += Kiv.Prm_Val[source][prm] * row[slot++];
        }
    }
    LogPut("Lvl=%d, Itn[]=%f, Erg[]=%lf ==", Kiv.FI_Erg_Idx[ST_GND][n],
           static_cast<double>(Kiv.FI_Sim_Itn[n]), Kiv.FI_Sim_Erg[n]);
    LogPut("DevErg[]=%lf\n", erg);
}

void TrsPass::ListPair(int pair) const {
    const LowerLevel& lower = Pairs.Lower;
    const int Ju = Pairs.Ju, rank = Pairs.Place + pair;  // all upper levels are listed
    const Amplitudes& amp = Pairs.Amp;
    const Projected p = Project(pair);
    if (!Complex) {
        LogPut("AR PRJ> %lf   BR PRJ> %lf   CI PRJ> %lf\n", p.Re[0], p.Re[1], p.Re[2]);
        LogPut("-- A+B R AMP> %lf  C I AMP> %lf", p.Re[0] + p.Re[1], p.Re[2]);
        LogPut("  A+B+C ITN = %lf\n ", Strength[pair]);
        LogFlush();
        return;
    }
    const std::int32_t upper = Ju * Ju + rank;
    const int gv_dim = 2 * lower.J + 1, ev_dim = 2 * Ju + 1;
    LogPut("JG_QN>  %d  JE_QN>  %d  KG_OFS> %d  KE_OFS> %d", lower.J, Ju, lower.J * lower.J,
           Ju * Ju);
    LogPut("GV_OFS> %lld  EV_OFS> %lld  GV_DIM> %d  EV_DIM> %d\n", ListedOffset(lower.J),
           ListedOffset(Ju), gv_dim, ev_dim);
    LogPut("\nKAG_QN> %hd  KCG_QN> %hd", Kiv.Ka_Vector[ST_GND][lower.Index],
           Kiv.Kc_Vector[ST_GND][lower.Index]);
    LogPut("KAE_QN> %hd  KCE_QN> %hd", Kiv.Ka_Vector[ST_EXC][upper], Kiv.Kc_Vector[ST_EXC][upper]);
    LogPut("GV_CT> %lld  EV_CT> %lld",
           ListedOffset(lower.J) + static_cast<long long>(lower.Rank) * gv_dim,
           ListedOffset(Ju) + static_cast<long long>(rank) * ev_dim);
    LogPut("KG_OFS> %d  KE_OFS> %d \n", lower.Index, upper);
    LogPut("AR AMP> %lf   BR AMP> %lf", amp.Real[0][pair], amp.Real[1][pair]);
    LogPut("   CR AMP> %lf\n", amp.Real[2][pair]);
    LogPut("AI AMP> %lf   BI AMP> %lf", amp.Imag[0][pair], amp.Imag[1][pair]);
    LogPut("   CI AMP> %lf\n", amp.Imag[2][pair]);
    LogPut("AR PRJ> %lf   BR PRJ> %lf   CR PRJ> %lf\n", p.Re[0], p.Re[1], p.Re[2]);
    LogPut("AI PRJ> %lf   BI PRJ> %lf   CI PRJ> %lf\n", p.Im[0], p.Im[1], p.Im[2]);
    LogPut("** A+B+C R AMP> %lf  A+B+C I AMP> %lf", p.Re[0] + p.Re[1] + p.Re[2],
           p.Im[0] + p.Im[1] + p.Im[2]);
    LogPut("  A+B+C ITN = %lf", Strength[pair]);
    LogFlush();
}

int TrsPass::Finish() {
    if (Debug) LogPut("NUMBER OF TRANSITION CALC=%d\n", Kiv.Num_Trs);
    Match.Finish();
    if (Kiv.Num_Trs == 0) return ConFail("NO TRANSITIONS CALCULATED!\n");
    if (Num_Negative > 0) ConPut("NEGATIVE ERGS=[%lld]\n", static_cast<long long>(Num_Negative));
    return 1;
}

// The moment as given, turned to the frame of its reference state.
void OrientMoment() {
    const double* moment = Kiv.TM_Method != 0 ? Kiv.TM_Pct : Kiv.TM_Ang;
    TransMomentOrient(Kiv.TM_Method, Kiv.TM_Frame, moment, Kiv.Rot_Mat[Kiv.TM_Frame], Kiv.TM_Comp);
}

int CalcTransitions(LineChoice choice) {
    OrientMoment();
    if (choice == LineChoice::Assigned) {
        const AsnPass pass = CalcAssigned();
        if (pass != AsnPass::Not_Enough) return pass == AsnPass::Done ? 1 : 0;
    }
    return TrsPass().Run();
}

}  // namespace

int RTrsCalc(LineChoice choice) {
    TraceEnter("RTrsCalc");
    if (!CalcTransitions(choice)) return 0;
    return TraceExit("RTrsCalc");
}

int ITrsCalc(LineChoice choice) {
    TraceEnter("ITrsCalc");
    if (!CalcTransitions(choice)) return 0;
    return TraceExit("ITrsCalc");
}
