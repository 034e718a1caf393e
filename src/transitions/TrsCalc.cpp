#include "transitions/TrsCalc.h"

#include <algorithm>
#include <cmath>

#include "frames/TransMoment.h"
#include "hamiltonian/Levels.h"
#include "run/KivKey.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"
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

// Projected amplitudes of one pair: P = projection * amplitude, real and imaginary part.
struct Projected {
    double Re[NUM_BANDS];
    double Im[NUM_BANDS];

    double Square(int type) const { return Re[type] * Re[type] + Im[type] * Im[type]; }
};

// One run through all pairs of levels.
class TrsPass {
  public:
    int Run();

  private:
    void RunLower(int J_lower);
    void RunBranch(int J_lower, int J_upper);
    void RunLevel(const LowerLevel& lower, int J_upper);
    int PassDownward(const LowerLevel& lower, int J_upper, const UpperRange& range);
    void FillRaw(int first, int last);
    bool PassesParity(const LowerLevel& lower, std::int32_t upper) const;
    Projected Project(int upper_rank) const;
    void StorePair(const LowerLevel& lower, int J_upper, int rank, bool matched);
    void FillAmplitudes(int rank, const LowerLevel& lower, double boltzmann,
                        LineValues& line) const;
    void ListPair(const LowerLevel& lower, int J_upper, int rank, double intensity) const;
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
    KivArray<double> Raw;  // raw intensities of the upper levels, by rank
    bool Failed = false;
    std::int64_t Num_Negative = 0;
};

char BandLetter(const Projected& p) {
    const double a = p.Square(BAND_A), b = p.Square(BAND_B), c = p.Square(BAND_C);
    if (a > b && a > c) return 'A';
    if (b > a && b > c) return 'B';
    return 'C';
}

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

int TrsPass::Run() {
    if (!Amps.Init() || !Store.Init()) return 0;
    if (ArrAlloc(Raw, 2 * std::int64_t{Kiv.Max_J} + 1) < 0) return CoreFail("TrsPass()/Raw");
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
    for (int rank = 0; rank <= 2 * Jl && !Failed; ++rank) RunLevel(MakeLower(Jl, rank), Ju);
    if (Debug) {
        LogPut("jg_qn:je_qn = %d:%d gv_bssz:ev_bssz = %lld:%lld\n", Jl, Ju,
               static_cast<long long>(VecOffset(Jl)), static_cast<long long>(VecOffset(Ju)));
    }
}

void TrsPass::RunLevel(const LowerLevel& lower, int Ju) {
    const UpperRange range = UpperRangeOf(lower.Ka, Ju);
    if (range.First >= range.Last) return;
    Weights.SetLower(lower.Erg);
    const int first = PassDownward(lower, Ju, range);
    if (first == range.Last) return;
    Amps.Compute(lower.Rank, first, range.Last);
    FillRaw(first, range.Last);
    Store.SetLower(lower.J, lower.Index);
    const std::uint64_t key = LineKey(lower.J, Ju, lower.Rank, 0);
    for (int rank = first; rank < range.Last; ++rank) {
        if (Parity && !PassesParity(lower, Ju * Ju + rank)) continue;
        const bool matched = Match.Matches(key + static_cast<std::uint64_t>(rank));
        Num_Negative += Weights.IsNegative();
        if (Raw[rank] == 0.0 && Skip_Dark && !matched) continue;
        StorePair(lower, Ju, rank, matched);
        if (Failed) return;
    }
}

// In a ground-only run the pairs that go down in energy, the first of the range, have no line: they
// are matched and counted without amplitudes. Returns the first rank after them.
int TrsPass::PassDownward(const LowerLevel& lower, int Ju, const UpperRange& range) {
    if (!Gnd_Only || Debug) return range.First;
    const double* erg = &Kiv.HamErg_Vector[ST_EXC][Ju * Ju];
    int first = range.First;
    while (first < range.Last && Origin + erg[first] - lower.Erg < 0.0) ++first;
    if (Match.IsDone() && !Weights.IsNegative()) return first;
    const std::uint64_t key = LineKey(lower.J, Ju, lower.Rank, 0);
    for (int rank = range.First; rank < first; ++rank) {
        if (Parity && !PassesParity(lower, Ju * Ju + rank)) continue;
        if (Match.Matches(key + static_cast<std::uint64_t>(rank))) Match.Drop();
        Num_Negative += Weights.IsNegative();
    }
    return first;
}

// Raw intensities. Real states: a and b add coherently, c, whose amplitude is imaginary, in
// quadrature; complex states: all three coherently.
void TrsPass::FillRaw(int first, int last) {
    const Amplitudes& amp = Amps.Result();
    const double ma = Kiv.TM_Prj[BAND_A], mb = Kiv.TM_Prj[BAND_B], mc = Kiv.TM_Prj[BAND_C];
    const double* a = amp.Real[BAND_A].Data();
    const double* b = amp.Real[BAND_B].Data();
    const double* c = amp.Real[BAND_C].Data();
    double* raw = Raw.Data();
    if (!Complex) {
        for (int i = first; i < last; ++i) {
            const double ab = ma * a[i] + mb * b[i];
            raw[i] = ab * ab + (mc * c[i]) * (mc * c[i]);
        }
        return;
    }
    const double* ia = amp.Imag[BAND_A].Data();
    const double* ib = amp.Imag[BAND_B].Data();
    const double* ic = amp.Imag[BAND_C].Data();
    for (int i = first; i < last; ++i) {
        const double re = ma * a[i] + mb * b[i] + mc * c[i];
        const double im = ma * ia[i] + mb * ib[i] + mc * ic[i];
        raw[i] = re * re + im * im;
    }
}

bool TrsPass::PassesParity(const LowerLevel& lower, std::int32_t upper) const {
    return HasParity(lower.Ka, lower.Kc, Kiv.Ka_Vector[ST_EXC][upper],
                     Kiv.Kc_Vector[ST_EXC][upper]);
}

Projected TrsPass::Project(int rank) const {
    Projected p;
    for (int type = 0; type < NUM_BANDS; ++type) {
        p.Re[type] = Kiv.TM_Prj[type] * Amps.Result().Real[type][rank];
        p.Im[type] = Complex ? Kiv.TM_Prj[type] * Amps.Result().Imag[type][rank] : 0.0;
    }
    return p;
}

void TrsPass::StorePair(const LowerLevel& lower, int Ju, int rank, bool matched) {
    const std::int32_t upper = Ju * Ju + rank;
    const double upper_erg = Kiv.HamErg_Vector[ST_EXC][upper];
    const double boltzmann = Weights.Factor(upper_erg);
    const double raw = Spins ? Raw[rank] * lower.Spin_Wt : Raw[rank];
    const double intensity = raw * boltzmann;
    if (Debug) ListPair(lower, Ju, rank, intensity);
    const bool weak = Weights.IsOn() ? intensity <= Cutoff : intensity == 0.0;
    if (weak && !matched) return;
    LineValues line;
    line.Position = Origin + upper_erg - lower.Erg;
    if (Gnd_Only && line.Position < 0.0) {
        if (matched) Match.Drop();
        return;
    }
    if (matched) Match.Keep(Kiv.Num_Trs);
    line.Intensity = static_cast<float>(intensity);
    line.Band = BandLetter(Project(rank));
    FillAmplitudes(rank, lower, boltzmann, line);
    Failed = Store.Put(Ju, upper, line) == 0;
    if (Debug && !Failed) ListDerivatives();
}

// The amplitudes carry the roots of the Boltzmann factor and, in single precision, of the spin
// weight.
void TrsPass::FillAmplitudes(int rank, const LowerLevel& lower, double boltzmann,
                             LineValues& line) const {
    const double scale = Weights.IsOn() ? std::sqrt(std::max(0.0, boltzmann)) : 1.0;
    const float spin = Spins ? std::sqrt(static_cast<float>(std::max(0, lower.Spin_Wt))) : 1.0F;
    for (int type = 0; type < NUM_BANDS; ++type) {
        line.Real_Amp[type] = static_cast<float>(scale * Amps.Result().Real[type][rank]) * spin;
        if (!Complex) continue;
        line.Imag_Amp[type] = static_cast<float>(scale * Amps.Result().Imag[type][rank]) * spin;
    }
}

// The position of the line just stored, from its derivatives.
void TrsPass::ListDerivatives() const {
    if (Kiv.Dev_On != 1) return;
    const int d0 = Kiv.Num_Dev[ST_GND], d1 = Kiv.Num_Dev[ST_EXC];
    const std::size_t n = static_cast<std::size_t>(Kiv.Num_Trs) - 1;
    const double* row = &Kiv.FI_Sim_Dev[n * static_cast<std::size_t>(d0 + d1)];
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

void TrsPass::ListPair(const LowerLevel& lower, int Ju, int rank, double intensity) const {
    const Projected p = Project(rank);
    if (!Complex) {
        LogPut("AR PRJ> %lf   BR PRJ> %lf   CI PRJ> %lf\n", p.Re[0], p.Re[1], p.Re[2]);
        LogPut("-- A+B R AMP> %lf  C I AMP> %lf", p.Re[0] + p.Re[1], p.Re[2]);
        LogPut("  A+B+C ITN = %lf\n ", intensity);
        LogFlush();
        return;
    }
    const std::int32_t upper = Ju * Ju + rank;
    const int gv_dim = 2 * lower.J + 1, ev_dim = 2 * Ju + 1;
    LogPut("JG_QN>  %d  JE_QN>  %d  KG_OFS> %d  KE_OFS> %d", lower.J, Ju, lower.J * lower.J,
           Ju * Ju);
    LogPut("GV_OFS> %lld  EV_OFS> %lld  GV_DIM> %d  EV_DIM> %d\n",
           static_cast<long long>(VecOffset(lower.J)), static_cast<long long>(VecOffset(Ju)),
           gv_dim, ev_dim);
    LogPut("\nKAG_QN> %hd  KCG_QN> %hd", Kiv.Ka_Vector[ST_GND][lower.Index],
           Kiv.Kc_Vector[ST_GND][lower.Index]);
    LogPut("KAE_QN> %hd  KCE_QN> %hd", Kiv.Ka_Vector[ST_EXC][upper], Kiv.Kc_Vector[ST_EXC][upper]);
    LogPut("GV_CT> %lld  EV_CT> %lld",
           static_cast<long long>(VecOffset(lower.J) + std::int64_t{lower.Rank} * gv_dim),
           static_cast<long long>(VecOffset(Ju) + std::int64_t{rank} * ev_dim));
    LogPut("KG_OFS> %d  KE_OFS> %d \n", lower.Index, upper);
    const Amplitudes& amp = Amps.Result();
    LogPut("AR AMP> %lf   BR AMP> %lf", amp.Real[0][rank], amp.Real[1][rank]);
    LogPut("   CR AMP> %lf\n", amp.Real[2][rank]);
    LogPut("AI AMP> %lf   BI AMP> %lf", amp.Imag[0][rank], amp.Imag[1][rank]);
    LogPut("   CI AMP> %lf\n", amp.Imag[2][rank]);
    LogPut("AR PRJ> %lf   BR PRJ> %lf   CR PRJ> %lf\n", p.Re[0], p.Re[1], p.Re[2]);
    LogPut("AI PRJ> %lf   BI PRJ> %lf   CI PRJ> %lf\n", p.Im[0], p.Im[1], p.Im[2]);
    LogPut("** A+B+C R AMP> %lf  A+B+C I AMP> %lf", p.Re[0] + p.Re[1] + p.Re[2],
           p.Im[0] + p.Im[1] + p.Im[2]);
    LogPut("  A+B+C ITN = %lf", intensity);
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
