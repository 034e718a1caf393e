#include "console/RunReport.h"

#include <cmath>

#include "console/LevelListing.h"
#include "console/Listings.h"
#include "console/Messages.h"
#include "console/PhaseLog.h"
#include "lines/LineDerivatives.h"
#include "lines/LineTask.h"

namespace kiv {
namespace {

// Where a full matrix of eigenvectors for every J would have those of J: the sum of (2j+1)^2 over
// j < J. The listing counts so.
long long ListedOffset(long long J) { return J * (2 * J - 1) * (2 * J + 1) / 3; }

// What users are told of the turn of a cross term; both names of PYPZ are meant.
struct CrossTermNames {
    Constant constant;
    const char* found;    // in the debug listing
    const char* ignored;  // in the warning
};
constexpr CrossTermNames kCrossTermNames[] = {
    {Constant::PXPY, "XY", "XY"}, {Constant::PXPZ, "XZ", "XZ"}, {Constant::PYPZ, "ZY", "XY"}};

void ListFileLengths(Console& log, StateIndex index, long long N) {
    const char* label = kStateLabels[index];
    const long long levels = (N + 1) * (N + 1);
    const long long vectors = (4 * N * N + 12 * N + 11) * N / 3;  // one less than there are
    log.Log("\n%s STATE EV FILE LENGTH %lld  BYTES %lld\n", label, vectors, 8 * vectors);
    log.Log("%s STATE KAKC FILE LENGTH %lld  BYTES %lld\n", label, 2 * levels, 4 * levels);
    log.Log("%s STATE ERG FILE LENGTH %lld  BYTES %lld\n", label, levels, 8 * levels);
    log.FlushLog();
}

bool IsListed(const ListedRange& range, int max_J) {
    return range.first <= range.last && range.last >= 0 && range.first <= max_J;
}

}  // namespace

void RunReport::SayFailed(const Error& error) {
    if (error.code == ErrorCode::BadChoice) {
        console_.Both("FIT=[%d] NOT VALID!\n", file_.fit_status);
    } else {
        Say(console_, error);
    }
}

const char* RunReport::NameOf(Step step) const {
    switch (step) {
        case Step::Pass:
            return "Ham2Trs";
        case Step::SolveLevels:
            return is_complex_ ? "IHamSoln" : "RHamSoln";
        case Step::LevelScratch:
            return is_complex_ ? "IHamInit" : "RHamInit";
        case Step::ComputeLines:
            return is_complex_ ? "ITrsCalc" : "RTrsCalc";
        case Step::GrowStore:
            return "TrsOut";
        default:
            return "LsfTrs";
    }
}

void RunReport::Enter(Step step, StateIndex) {
    if (step == Step::ComputeLines && console_.log_is_on()) ReportLines(console_);
    console_.Enter(NameOf(step));
    if (step == Step::Fit && console_.log_is_on()) ReportFit(console_);
}

void RunReport::Leave(Step step, StateIndex index) {
    if (step == Step::LevelScratch && console_.DebugIsOn(DebugPart::Levels)) {
        ListFileLengths(console_, index, file_.max_J);
    }
    console_.Exit(NameOf(step));
}

// --- levels

bool RunReport::WantsLevels() const {
    return console_.DebugIsOn(DebugPart::All) || console_.DebugIsOn(DebugPart::Levels) ||
           IsListed(file_.listed_energies, file_.max_J) ||
           IsListed(file_.listed_vectors, file_.max_J);
}

void RunReport::LevelsOfJ(StateIndex index, const TurnedState& state, const Levels& levels, int J) {
    ListLevels(console_, file_, {index, &state, is_complex_}, levels, J);
}

void RunReport::Turned(StateIndex index, const State& given, const TurnedState& turned) {
    turned_[index] = turned;
    if (!turned.is_turned) return;
    console_.Enter("EulerGenMat");
    console_.Exit("EulerGenMat");
    console_.Enter("SimTrans");
    console_.Enter("EulerHamRot");
    console_.Exit("EulerHamRot");
    const char* label = kStateLabels[index];
    for (const CrossTermNames& names : kCrossTermNames) {
        if (!turned.from_turn[names.constant]) continue;
        if (console_.DebugIsOn(DebugPart::Levels)) {
            console_.Log("%s STATE %s TENSOR ELEMENTS NON-ZERO\n", label, names.found);
        }
        const double replaced = given.value(names.constant);
        if (!warned_ && replaced != 0.0) {
            console_.Put("WARNING - %s STATE %s TENSOR ELEMENT %lf IGNORED\n", label, names.ignored,
                         replaced);
        }
    }
    warned_ = true;
    console_.Exit("SimTrans");
}

void RunReport::LevelsShared(const Levels&) {
    console_.Enter(NameOf(Step::SolveLevels));  // and no EXIT
    shared_ = true;
}

void RunReport::StateReady(StateIndex index, const TurnedState& turned) {
    const auto& value = turned.value;
    const double A = value[Constant::A], B = value[Constant::B], C = value[Constant::C];
    if (!shared_) {
        kappa_[index] = Asymmetry(A, B, C);
        inertial_defect_[index] = InertialDefect(A, B, C);
    }
    shared_ = false;
    if (!console_.log_is_on()) return;
    ReportState(console_, {index, &turned, kappa_[index], inertial_defect_[index], is_complex_});
}

// --- lines

void RunReport::MomentTurned(const Moment& moment, const TurnedState& frame,
                             const std::array<double, 3>& projection) {
    LineTask task{};
    task.projection = projection;
    for (int type = 0; type < kNumBands; ++type) {
        active_bands_[static_cast<std::size_t>(type)] = task.IsActive(type);
    }
    console_.Enter("TransMomentOrient");
    if (console_.log_is_on()) {
        ReportMoment(console_, file_, moment);
        if (frame.is_turned) {
            ReportTurnedMoment(console_, moment.frame, model_.states[moment.frame].tilt,
                               projection);
        }
    }
    console_.Exit("TransMomentOrient");
}

void RunReport::LowerJ(int J) {
    if (J == 0) {
        console_.Log("J=0 - BEFORE CG\n");
        console_.Log("J=0 - AFTER CG\n");
        return;
    }
    console_.Log("CG LAST=%lld\n", static_cast<long long>(CosineOffset(J + 1) - 1));
    console_.FlushLog();
}

void RunReport::Branch(int Jl, int Ju) {
    console_.Log("jg_qn:je_qn = %d:%d gv_bssz:ev_bssz = %lld:%lld\n", Jl, Ju, ListedOffset(Jl),
                 ListedOffset(Ju));
}

void RunReport::Pair(const PairView& p) {
    double re[3], im[3];  // projected on the moment
    for (std::size_t i = 0; i < 3; ++i) {
        re[i] = p.projection[i] * p.amplitude_real[i];
        im[i] = is_complex_ ? p.projection[i] * p.amplitude_imag[i] : 0.0;
    }
    if (!is_complex_) {
        console_.Log("AR PRJ> %lf   BR PRJ> %lf   CI PRJ> %lf\n", re[0], re[1], re[2]);
        console_.Log("-- A+B R AMP> %lf  C I AMP> %lf", re[0] + re[1], re[2]);
        console_.Log("  A+B+C ITN = %lf\n ", p.strength);
        console_.FlushLog();
        return;
    }
    const int Jl = p.J_lower, Ju = p.J_upper;
    const std::size_t lower = Levels::Index(Jl, p.rank_lower);
    const std::size_t upper = Levels::Index(Ju, p.rank_upper);
    const int lower_dim = 2 * Jl + 1, upper_dim = 2 * Ju + 1;
    console_.Log("JG_QN>  %d  JE_QN>  %d  KG_OFS> %d  KE_OFS> %d", Jl, Ju, Jl * Jl, Ju * Ju);
    console_.Log("GV_OFS> %lld  EV_OFS> %lld  GV_DIM> %d  EV_DIM> %d\n", ListedOffset(Jl),
                 ListedOffset(Ju), lower_dim, upper_dim);
    console_.Log("\nKAG_QN> %hd  KCG_QN> %hd", p.lower->ka[lower], p.lower->kc[lower]);
    console_.Log("KAE_QN> %hd  KCE_QN> %hd", p.upper->ka[upper], p.upper->kc[upper]);
    console_.Log("GV_CT> %lld  EV_CT> %lld",
                 ListedOffset(Jl) + static_cast<long long>(p.rank_lower) * lower_dim,
                 ListedOffset(Ju) + static_cast<long long>(p.rank_upper) * upper_dim);
    console_.Log("KG_OFS> %d  KE_OFS> %d \n", static_cast<int>(lower), static_cast<int>(upper));
    console_.Log("AR AMP> %lf   BR AMP> %lf", p.amplitude_real[0], p.amplitude_real[1]);
    console_.Log("   CR AMP> %lf\n", p.amplitude_real[2]);
    console_.Log("AI AMP> %lf   BI AMP> %lf", p.amplitude_imag[0], p.amplitude_imag[1]);
    console_.Log("   CI AMP> %lf\n", p.amplitude_imag[2]);
    console_.Log("AR PRJ> %lf   BR PRJ> %lf   CR PRJ> %lf\n", re[0], re[1], re[2]);
    console_.Log("AI PRJ> %lf   BI PRJ> %lf   CI PRJ> %lf\n", im[0], im[1], im[2]);
    console_.Log("** A+B+C R AMP> %lf  A+B+C I AMP> %lf", re[0] + re[1] + re[2],
                 im[0] + im[1] + im[2]);
    console_.Log("  A+B+C ITN = %lf", p.strength);
    console_.FlushLog();
}

// Where the rotation produced cross terms the derivatives by A, B, C are those by the unturned
// ones, and the cross terms are part of them.
double RunReport::PositionFromDerivatives(const LineList& list, const PairView& pair,
                                          double origin) const {
    const auto n = static_cast<std::size_t>(list.size) - 1;
    double row[2 * kNumConstants];
    LineDerivatives(*pair.lower, *pair.upper, &list.label[6 * n], row);
    double position = origin;
    int slot = 0;
    for (const StateIndex index : {kLower, kUpper}) {
        const Levels& levels = index == kLower ? *pair.lower : *pair.upper;
        const TurnedState& state = turned_[pair.lower == pair.upper ? kLower : index];
        const auto& flag = state.from_turn;
        const bool any_flag = flag[Constant::PXPY] || flag[Constant::PXPZ] || flag[Constant::PYPZ];
        for (int i = 0; i < levels.num_derivatives; ++i, ++slot) {
            const Constant c = levels.derivative_of[static_cast<std::size_t>(i)];
            if (flag[c]) continue;
            const double value = any_flag && c <= Constant::C
                                     ? state.given[static_cast<std::size_t>(c)]
                                     : state.value[c];
            position += value * row[slot];
        }
    }
    return position;
}

void RunReport::KeptPair(const LineList& list, const PairView& pair, double origin) {
    const auto n = static_cast<std::size_t>(list.size) - 1;
    console_.Log("Lvl=%d, Itn[]=%f, Erg[]=%lf ==", list.lower_level[n],
                 static_cast<double>(list.intensity[n]), list.position[n]);
    console_.Log("DevErg[]=%lf\n", PositionFromDerivatives(list, pair, origin));
}

void RunReport::MissingLine(std::int32_t assignment, double frequency) {
    console_.Put("[%d] ASSIGNED FRQ [%lf] REJECTED - SIMULATED LINE MISSING\n", assignment,
                 frequency);
}

void RunReport::LinesDone(const LineList& list, std::int64_t negative) {
    num_missing_ = list.missing;
    if (console_.DebugIsOn(DebugPart::Lines)) {
        console_.Log("NUMBER OF TRANSITION CALC=%d\n", list.size);
    }
    if (list.size > 0 && negative > 0) {
        console_.Put("NEGATIVE ERGS=[%lld]\n", static_cast<long long>(negative));
    }
}

}  // namespace kiv
