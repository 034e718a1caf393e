#include "transitions/TrsCalc.h"

#include <algorithm>
#include <cmath>

#include "frames/TransMoment.h"
#include "run/KivKey.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"
#include "run/LineDev.h"
#include "run/Simd.h"
#include "transitions/Amplitudes.h"
#include "transitions/AsnPass.h"
#include "transitions/Boltzmann.h"
#include "transitions/LineMatch.h"
#include "transitions/LineStore.h"
#include "transitions/PairRules.h"

namespace {

// The lower level of the pairs at hand.
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

// The pairs of one lower level with the upper levels of a list: what becomes of their amplitudes.
// Real states: a and b add coherently, c, whose amplitude is imaginary, in quadrature; complex
// states: all three coherently. The stored amplitudes carry the roots of the Boltzmann factor and,
// in single precision, of the spin weight.
struct PairRun {
    int Num;
    bool Complex, Spins, Scaled;
    const double* Re[NUM_BANDS];  // amplitudes
    const double* Im[NUM_BANDS];
    double Prj[NUM_BANDS];
    const double* Erg;  // of the upper levels
    double Origin, Lower_Erg;
    double Spin_Wt;
    float Spin_Root;
    const double* Boltzmann;
    // results
    double* Raw;
    double* Strength;
    double* Position;
    float* Intensity;
    char* Band;
    float* Real_Amp[NUM_BANDS];
    float* Imag_Amp[NUM_BANDS];
};

KIV_INLINE char BandLetter(double a, double b, double c) {
    return a > b && a > c ? 'A' : b > a && b > c ? 'B' : 'C';
}

template <class>
KIV_INLINE void EvaluateBody(const PairRun& run) {
    const double ma = run.Prj[BAND_A], mb = run.Prj[BAND_B], mc = run.Prj[BAND_C];
    const double *a = run.Re[BAND_A], *b = run.Re[BAND_B], *c = run.Re[BAND_C];
    const double *ia = run.Im[BAND_A], *ib = run.Im[BAND_B], *ic = run.Im[BAND_C];
    for (int i = 0; i < run.Num; ++i) {
        run.Position[i] = run.Origin + run.Erg[i] - run.Lower_Erg;
    }
    if (run.Complex) {
        for (int i = 0; i < run.Num; ++i) {
            const double re = ma * a[i] + mb * b[i] + mc * c[i];
            const double im = ma * ia[i] + mb * ib[i] + mc * ic[i];
            run.Raw[i] = re * re + im * im;
            const auto square = [](double m, double x, double y) {
                return (m * x) * (m * x) + (m * y) * (m * y);
            };
            run.Band[i] = BandLetter(square(ma, a[i], ia[i]), square(mb, b[i], ib[i]),
                                     square(mc, c[i], ic[i]));
        }
    } else {
        for (int i = 0; i < run.Num; ++i) {
            const double pa = ma * a[i], pb = mb * b[i], pc = mc * c[i];
            const double ab = pa + pb;
            run.Raw[i] = ab * ab + pc * pc;
            run.Band[i] = BandLetter(pa * pa, pb * pb, pc * pc);
        }
    }
    for (int i = 0; i < run.Num; ++i) {
        const double raw = run.Spins ? run.Raw[i] * run.Spin_Wt : run.Raw[i];
        run.Strength[i] = raw * run.Boltzmann[i];
        run.Intensity[i] = static_cast<float>(run.Strength[i]);
    }
    for (int type = 0; type < NUM_BANDS; ++type) {
        for (int part = 0; part < (run.Complex ? 2 : 1); ++part) {
            const double* amp = part == 0 ? run.Re[type] : run.Im[type];
            float* out = part == 0 ? run.Real_Amp[type] : run.Imag_Amp[type];
            if (!run.Scaled) {
                for (int i = 0; i < run.Num; ++i) {
                    out[i] = static_cast<float>(amp[i]) * run.Spin_Root;
                }
                continue;
            }
            for (int i = 0; i < run.Num; ++i) {
                const double scale = std::sqrt(std::max(0.0, run.Boltzmann[i]));
                out[i] = static_cast<float>(scale * amp[i]) * run.Spin_Root;
            }
        }
    }
}

KIV_KERNEL(Evaluate, PairRun)

// Where a full matrix of eigenvectors for every J would have those of J: the sum of (2j+1)^2 over
// j < J. The listing counts so.
long long ListedOffset(long long J) { return J * (2 * J - 1) * (2 * J + 1) / 3; }

// One run through all pairs of levels.
class TrsPass {
  public:
    int Run();

  private:
    int Init();
    void RunLower(int J_lower);
    void RunBranch(int J_lower, int J_upper);
    void RunLevel(const LowerLevel& lower, int J_upper);
    void FillHighest(int J_upper);
    int FirstUpward(const LowerLevel& lower, int J_upper);
    void PassDownward(const LowerLevel& lower, int J_upper, int first, int last);
    void EvaluateLevel(const LowerLevel& lower, const PartnerList& list, int place, int num);
    void KeepLines(const LowerLevel& lower, int J_upper, int num);
    void KeepMatched(const LowerLevel& lower, int J_upper, int first, int num);
    bool PassesParity(const LowerLevel& lower, std::int32_t upper) const;
    bool IsWeak(int pair) const;
    Projected Project(int pair) const;
    void ListPair(const LowerLevel& lower, int J_upper, int rank, int pair) const;
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

    // The pairs of one lower level with the upper levels of one J', from 0 on
    LineBatch Batch;
    KivArray<double> Position, Raw, Strength, Factor;
    KivArray<float> Intensity;
    KivArray<float> Real_Amp[NUM_BANDS], Imag_Amp[NUM_BANDS];
    KivArray<char> Band;
    KivArray<std::int32_t> Lines;  // pairs that are lines
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
    const std::int64_t n = 2 * std::int64_t{Kiv.Max_J} + 1;
    if (!Amps.Init()) return 0;
    for (KivArray<double>* arr : {&Position, &Raw, &Strength, &Factor, &Highest}) {
        if (ArrAlloc(*arr, n) < 0) return CoreFail("TrsPass()/Raw");
    }
    for (int type = 0; type < NUM_BANDS; ++type) {
        if (ArrAlloc(Real_Amp[type], n) < 0 || ArrAlloc(Imag_Amp[type], n) < 0) {
            return CoreFail("TrsPass()/Amp");
        }
        Batch.Real_Amp[type] = Real_Amp[type].Data();
        Batch.Imag_Amp[type] = Imag_Amp[type].Data();
    }
    if (ArrAlloc(Intensity, n) < 0 || ArrAlloc(Band, n) < 0 || ArrAlloc(Lines, n) < 0) {
        return CoreFail("TrsPass()/Lines");
    }
    std::fill_n(Factor.Data(), n, 1.0);
    Batch.Position = Position.Data();
    Batch.Intensity = Intensity.Data();
    Batch.Band = Band.Data();
    return 1;
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
    Weights.SetLower(lower.Erg);
    const int first = std::min(std::max(range.First, FirstUpward(lower, Ju)), range.Last);
    const bool matched = Match.HasUpTo(LineKey(lower.J, Ju, lower.Rank, range.Last - 1));
    // pairs that are matched, counted or listed are looked at one by one, the dark ones included
    const bool all = Debug || matched || Weights.IsNegative();
    if (all) PassDownward(lower, Ju, range.First, first);
    const PartnerList& list = all ? Amps.AllPartners() : Amps.Partners(lower.Rank);
    const int place = list.Below[first], num = list.Below[range.Last] - place;
    if (num == 0) return;
    Amps.Compute(lower.Rank, list, first, range.Last);
    EvaluateLevel(lower, list, place, num);
    Store.SetLower(lower.J, lower.Index);
    Batch.J = Ju;
    Batch.Rank = list.Rank + place;
    Batch.Label = list.Label + place;
    if (all) {
        KeepMatched(lower, Ju, first, num);
    } else {
        KeepLines(lower, Ju, num);
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
        Num_Negative += Weights.IsNegative();
    }
}

void TrsPass::EvaluateLevel(const LowerLevel& lower, const PartnerList& list, int place, int num) {
    PairRun run{};
    run.Num = num;
    run.Complex = Complex;
    run.Spins = Spins;
    run.Scaled = Weights.IsOn();
    for (int type = 0; type < NUM_BANDS; ++type) {
        run.Re[type] = Amps.Result().Real[type].Data();
        run.Im[type] = Amps.Result().Imag[type].Data();
        run.Prj[type] = Kiv.TM_Prj[type];
        run.Real_Amp[type] = Real_Amp[type].Data();
        run.Imag_Amp[type] = Imag_Amp[type].Data();
    }
    run.Erg = list.Erg + place;
    run.Origin = Origin;
    run.Lower_Erg = lower.Erg;
    run.Spin_Wt = lower.Spin_Wt;
    run.Spin_Root = Spins ? std::sqrt(static_cast<float>(std::max(0, lower.Spin_Wt))) : 1.0F;
    if (Weights.IsOn()) {
        for (int i = 0; i < num; ++i) Factor[i] = Weights.Factor(run.Erg[i]);
    }
    run.Boltzmann = Factor.Data();
    run.Raw = Raw.Data();
    run.Strength = Strength.Data();
    run.Position = Position.Data();
    run.Intensity = Intensity.Data();
    run.Band = Band.Data();
    Evaluate(run);
}

bool TrsPass::IsWeak(int pair) const {
    return Weights.IsOn() ? Strength[pair] <= Cutoff : Strength[pair] == 0.0;
}

// No pair of the level is assigned.
void TrsPass::KeepLines(const LowerLevel& lower, int Ju, int num) {
    std::size_t kept = 0;
    for (std::int32_t i = 0; i < num; ++i) {
        Lines[kept] = i;
        const bool dark = Skip_Dark && Raw[i] == 0.0;
        const bool down = Gnd_Only && Position[i] < 0.0;
        kept += !dark && !down && !IsWeak(i);
    }
    if (Parity) {
        std::int32_t* end = std::remove_if(Lines.Data(), Lines.Data() + kept, [&](std::int32_t i) {
            return !PassesParity(lower, Ju * Ju + Batch.Rank[i]);
        });
        kept = static_cast<std::size_t>(end - Lines.Data());
    }
    Failed = Store.Put(Batch, {Lines.Data(), kept}) == 0;
}

// All upper levels of the range, one after the other; `first` is the energy rank of pair 0.
void TrsPass::KeepMatched(const LowerLevel& lower, int Ju, int first, int num) {
    const std::uint64_t key = LineKey(lower.J, Ju, lower.Rank, first);
    for (std::int32_t i = 0; i < num && !Failed; ++i) {
        if (Parity && !PassesParity(lower, Ju * Ju + first + i)) continue;
        const bool matched = Match.Matches(key + static_cast<std::uint64_t>(i));
        Num_Negative += Weights.IsNegative();
        if (Raw[i] == 0.0 && Skip_Dark && !matched) continue;
        if (Debug) ListPair(lower, Ju, first + i, i);
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
    Projected p;
    for (int type = 0; type < NUM_BANDS; ++type) {
        p.Re[type] = Kiv.TM_Prj[type] * Amps.Result().Real[type][pair];
        p.Im[type] = Complex ? Kiv.TM_Prj[type] * Amps.Result().Imag[type][pair] : 0.0;
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

void TrsPass::ListPair(const LowerLevel& lower, int Ju, int rank, int pair) const {
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
    const Amplitudes& amp = Amps.Result();
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
