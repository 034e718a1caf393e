#include "transitions/TrsCalc.h"

#include <algorithm>
#include <cmath>

#include "frames/TransMoment.h"
#include "hamiltonian/Levels.h"
#include "run/KivKey.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"
#include "transitions/Amplitudes.h"
#include "transitions/Boltzmann.h"
#include "transitions/LineMatch.h"
#include "transitions/TrsStore.h"

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
    bool PassesParity(const LowerLevel& lower, std::int32_t upper) const;
    Projected Project(int upper_rank) const;
    double RawIntensity(const Projected& p) const;
    void StorePair(const LowerLevel& lower, int J_upper, int rank, const Projected& p, double raw,
                   bool matched);
    void StoreAmplitudes(int rank, const LowerLevel& lower, double boltzmann);
    void StoreDerivatives(std::int32_t lower, std::int32_t upper);
    void ListPair(const LowerLevel& lower, int J_upper, int rank, const Projected& p,
                  double intensity) const;
    int Finish();

    const bool Complex = Kiv.Cplx_Ham == 1;
    const bool Debug = DebugIsOn(DBG_II);
    const bool Parity = Kiv.Parity_On == 1;
    const bool Spins = Kiv.Spin_On == 1;
    const double Origin = Kiv.Prm_Val[ST_EXC][PRM_ORI];
    Boltzmann Weights;
    AmplitudeCalc Amps;
    LineMatch Match;
    // a pair without intensity can be passed over unseen: it would be dropped in any case
    bool Skip_Dark = !Debug && (Kiv.Temp[0] <= 0.0 || Kiv.Itn_Cutoff >= 0.0);
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
    if (!Amps.Init()) return 0;
    Kiv.Num_Trs = 0;
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
    const std::int64_t order = Kiv.Delta_K_Order;
    const std::int64_t start = 2 * (lower.Ka - order) - 1;
    const std::int64_t end = std::min<std::int64_t>(start + 4 * order + 2, 2 * Ju + 1);
    if (end <= 0 || end <= start) return;
    const int first = static_cast<int>(std::max<std::int64_t>(0, start));
    const int last = static_cast<int>(end);
    Weights.SetLower(lower.Erg);
    Amps.Compute(lower.Rank, first, last);
    const std::uint64_t key = LineKey(lower.J, Ju, lower.Rank, 0);
    for (int rank = first; rank < last; ++rank) {
        if (Parity && !PassesParity(lower, Ju * Ju + rank)) continue;
        const bool matched = Match.Matches(key + static_cast<std::uint64_t>(rank));
        Num_Negative += Weights.IsNegative();
        const Projected p = Project(rank);
        const double raw = RawIntensity(p);
        if (raw == 0.0 && Skip_Dark && !matched) continue;
        StorePair(lower, Ju, rank, p, raw, matched);
        if (Failed) return;
    }
}

bool TrsPass::PassesParity(const LowerLevel& lower, std::int32_t upper) const {
    const int ka = lower.Ka + Kiv.Ka_Vector[ST_EXC][upper] + Kiv.Ka_Parity_Odd;
    const int kc = lower.Kc + Kiv.Kc_Vector[ST_EXC][upper] + Kiv.Kc_Parity_Odd;
    return (ka & 1) == 0 && (kc & 1) == 0;
}

Projected TrsPass::Project(int rank) const {
    Projected p;
    for (int type = 0; type < NUM_BANDS; ++type) {
        p.Re[type] = Kiv.TM_Prj[type] * Amps.Result().Real[type][rank];
        p.Im[type] = Complex ? Kiv.TM_Prj[type] * Amps.Result().Imag[type][rank] : 0.0;
    }
    return p;
}

// Real states: a and b add coherently, c, whose amplitude is imaginary, in quadrature.
double TrsPass::RawIntensity(const Projected& p) const {
    if (!Complex) {
        const double ab = p.Re[BAND_A] + p.Re[BAND_B];
        return ab * ab + p.Re[BAND_C] * p.Re[BAND_C];
    }
    const double re = p.Re[BAND_A] + p.Re[BAND_B] + p.Re[BAND_C];
    const double im = p.Im[BAND_A] + p.Im[BAND_B] + p.Im[BAND_C];
    return re * re + im * im;
}

void TrsPass::StorePair(const LowerLevel& lower, int Ju, int rank, const Projected& p, double raw,
                        bool matched) {
    const std::int32_t upper = Ju * Ju + rank;
    const double upper_erg = Kiv.HamErg_Vector[ST_EXC][upper];
    const double boltzmann = Weights.Factor(upper_erg);
    if (Spins) raw *= lower.Spin_Wt;
    const double intensity = raw * boltzmann;
    if (Debug) ListPair(lower, Ju, rank, p, intensity);
    const bool weak = Weights.IsOn() ? intensity <= Kiv.Itn_Cutoff : intensity == 0.0;
    if (weak && !matched) return;
    const double position = Origin + upper_erg - lower.Erg;
    if (Kiv.Gnd_Only == 1 && position < 0.0) {
        if (matched) Match.Drop();
        return;
    }
    const std::int32_t n = Kiv.Num_Trs;
    if (matched) Match.Keep(n);
    Kiv.FI_Sim_Erg[n] = position;
    Kiv.FI_Sim_Itn[n] = static_cast<float>(intensity);
    Kiv.FI_BT_Lbl[n] = BandLetter(p);
    StoreAmplitudes(rank, lower, boltzmann);
    std::int16_t* label = &Kiv.FI_JKK_Lbl[6 * static_cast<std::size_t>(n)];
    label[0] = static_cast<std::int16_t>(Ju);
    label[1] = Kiv.Ka_Vector[ST_EXC][upper];
    label[2] = Kiv.Kc_Vector[ST_EXC][upper];
    label[3] = static_cast<std::int16_t>(lower.J);
    label[4] = static_cast<std::int16_t>(lower.Ka);
    label[5] = static_cast<std::int16_t>(lower.Kc);
    Kiv.FI_Erg_Idx[ST_GND][n] = lower.Index;
    if (!Kiv.FI_Erg_Idx[ST_EXC].IsNull()) Kiv.FI_Erg_Idx[ST_EXC][n] = upper;
    if (Kiv.Dev_On == 1) StoreDerivatives(lower.Index, upper);
    ++Kiv.Num_Trs;
    if (Kiv.Num_Trs >= Kiv.Trs_Max_Lines) Failed = TrsOut(1) == 0;
}

// The amplitudes carry the roots of the Boltzmann factor and, in single precision, of the spin
// weight.
void TrsPass::StoreAmplitudes(int rank, const LowerLevel& lower, double boltzmann) {
    const double scale = Weights.IsOn() ? std::sqrt(std::max(0.0, boltzmann)) : 1.0;
    const float spin = Spins ? std::sqrt(static_cast<float>(std::max(0, lower.Spin_Wt))) : 1.0F;
    const std::size_t at = 3 * static_cast<std::size_t>(Kiv.Num_Trs);
    for (int type = 0; type < NUM_BANDS; ++type) {
        const auto stored = [&](const KivArray<double>& amp) {
            return static_cast<float>(scale * amp[rank]) * spin;
        };
        Kiv.FI_ABC_RealAmp[at + type] = stored(Amps.Result().Real[type]);
        if (Complex) Kiv.FI_ABC_ImagAmp[at + type] = stored(Amps.Result().Imag[type]);
    }
}

void TrsPass::StoreDerivatives(std::int32_t lower, std::int32_t upper) {
    const int d0 = Kiv.Num_Dev[ST_GND], d1 = Kiv.Num_Dev[ST_EXC];
    double* row = &Kiv.FI_Sim_Dev[static_cast<std::size_t>(Kiv.Num_Trs) * (d0 + d1)];
    const double* gnd = Kiv.HamDev_Vector[ST_GND].Data() + static_cast<std::size_t>(lower) * d0;
    const double* exc = Kiv.HamDev_Vector[ST_EXC].Data() + static_cast<std::size_t>(upper) * d1;
    for (int i = 0; i < d0; ++i) row[i] = -gnd[i];
    std::copy_n(exc, d1, row + d0);
    if (!Debug) return;
    double erg = Origin;
    int slot = 0;
    for (int state : {ST_GND, ST_EXC}) {
        for (int prm = 0; prm < NUM_HAM_PRM && slot < (state == ST_GND ? d0 : d0 + d1); ++prm) {
            const int source = Kiv.Gnd_Only == 1 ? ST_GND : state;
            if (Kiv.Prm_Stat[source][prm] == 1) erg += Kiv.Prm_Val[source][prm] * row[slot++];
        }
    }
    LogPut("Lvl=%d, Itn[]=%f, Erg[]=%lf ==", lower,
           static_cast<double>(Kiv.FI_Sim_Itn[Kiv.Num_Trs]), Kiv.FI_Sim_Erg[Kiv.Num_Trs]);
    LogPut("DevErg[]=%lf\n", erg);
}

void TrsPass::ListPair(const LowerLevel& lower, int Ju, int rank, const Projected& p,
                       double intensity) const {
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

int CalcTransitions() {
    const double* moment = Kiv.TM_Method != 0 ? Kiv.TM_Pct : Kiv.TM_Ang;
    TransMomentOrient(Kiv.TM_Method, Kiv.TM_Frame, moment, Kiv.Rot_Mat[Kiv.TM_Frame], Kiv.TM_Comp);
    TrsPass pass;
    return pass.Run();
}

}  // namespace

int RTrsCalc() {
    TraceEnter("RTrsCalc");
    if (!CalcTransitions()) return 0;
    return TraceExit("RTrsCalc");
}

int ITrsCalc() {
    TraceEnter("ITrsCalc");
    if (!CalcTransitions()) return 0;
    return TraceExit("ITrsCalc");
}
