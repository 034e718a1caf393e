#include "console/Scan.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "base/Trig.h"
#include "console/Listings.h"
#include "model/PrincipalFrame.h"
#include "model/Units.h"

namespace kiv {
namespace {

constexpr char kScanFile[] = "KivScan.txt";
constexpr double kFullTurn = 360.0;  // degrees
constexpr double kStep = 1.0;
constexpr double kDeviationScale = 1000.0;
constexpr int kMaxCycles = 32767;  // what an input file can hold

constexpr Constant kScanned = Constant::PYPZ;  // the cross term that the turn produces
constexpr int kScannedAngle = 2;               // CHI

// The table; lines are dropped once it is closed.
class ScanFile {
  public:
    explicit ScanFile(const char* name) : stream_(std::fopen(name, "w")) {}
    ~ScanFile() { Close(); }
    ScanFile(const ScanFile&) = delete;
    ScanFile& operator=(const ScanFile&) = delete;

    bool is_open() const { return stream_ != nullptr; }

    /// False when some line could not be written.
    bool Close() {
        if (!stream_) return true;
        const bool written = IsWritten();
        const bool closed = std::fclose(stream_) == 0;
        stream_ = nullptr;
        return written && closed;
    }
    bool IsWritten() const { return !stream_ || std::ferror(stream_) == 0; }

    void Put(const char* line) {
        if (!stream_) return;
        std::fputs(line, stream_);
        std::fflush(stream_);
    }

    void PutHeading() {
        if (!stream_) return;
        std::fprintf(stream_, "PARAMETER SCANNED [%s] ANGLE SCANNED [%d]\n",
                     LabelOf(static_cast<int>(kScanned)), kScannedAngle);
    }

    // Angles, constants as the fit left them, deviation of obs - calc.
    void PutFit(const EulerAngles& angles, const State& state, double rms) {
        if (!stream_) return;
        const auto value = [&](Constant c) { return state.value(c); };
        std::fprintf(
            stream_,
            "%-7.2lf %-7.2lf %-7.2lf %-9.3lf %-9.3lf %-9.3lf %-9.2lf %-9.2lf %-9.2lf %.3lf\n",
            angles.phi, angles.theta, angles.chi, value(Constant::A), value(Constant::B),
            value(Constant::C), value(Constant::PXPY), value(Constant::PXPZ), value(Constant::PYPZ),
            rms * kDeviationScale);
        std::fflush(stream_);
    }

  private:
    std::FILE* stream_;
};

// What the ALL switch lists of the frames.
class FrameListing {
  public:
    explicit FrameListing(Console& console) : log_(console) {}

    void PutInitial(const State& state) {
        if (IsOn()) PutConstants("\nINITIAL PARAMETERS\n", state);
    }

    void PutPrincipal(const PrincipalFrame& frame) {
        if (!IsOn()) return;
        PutConstants("\nPAF PARAMETERS\n", frame.state);
        log_.Log("\nEIGENVECTORS\n");
        for (const auto& row : frame.vectors) PutRow(row[0], row[1], row[2]);
        log_.Log("\nDIRECTION COSINES ANGLES\n");
        for (const auto& row : frame.vectors)
            PutRow(Degrees(row[0]), Degrees(row[1]), Degrees(row[2]));
    }

    void PutTurned(const VectorFrame& frame) {
        log_.Enter("EulerGenMat");
        log_.Exit("EulerGenMat");
        log_.Enter("EulerHamRot");
        log_.Exit("EulerHamRot");
        if (!IsOn()) return;
        log_.Log("\nFINAL PARAMETERS AFTER CROSSTERM CORRECTION\n");
        log_.Log("PHI:THE:CHI           =%-15lf%-15lf%lf\n", frame.angles.phi, frame.angles.theta,
                 frame.angles.chi);
        PutConstants("\nPAF PARAMETERS\n", frame.state);
        log_.FlushLog();
    }

  private:
    bool IsOn() const { return log_.DebugIsOn(DebugPart::All); }
    static double Degrees(double cosine) { return ArcCos(cosine) * kDegPerRad; }

    void PutRow(double x, double y, double z) {
        log_.Log("                      =%-15lf%-15lf%lf\n", x, y, z);
    }

    void PutConstants(const char* heading, const State& state) {
        const auto value = [&](Constant c) { return state.value(c); };
        log_.Log("%s", heading);
        log_.Log("A:B:C                 =%-15lf%-15lf%lf\n", value(Constant::A), value(Constant::B),
                 value(Constant::C));
        log_.Log("PX:PY:PZ              =%-15lf%-15lf%lf\n", value(Constant::PX),
                 value(Constant::PY), value(Constant::PZ));
        log_.Log("PXPY:PXPZ:PYPZ        =%-15lf%-15lf%lf\n", value(Constant::PXPY),
                 value(Constant::PXPZ), value(Constant::PYPZ));
    }

    Console& log_;
};

// The constants of `to` become those of `from`; all else stays.
void CopyConstants(const Model& from, Model& to) {
    for (const StateIndex index : {kLower, kUpper}) {
        for (int c = 0; c < kNumFileConstants; ++c) {
            to.states[index].terms[c].value = from.states[index].terms[c].value;
        }
    }
    to.origin.value = from.origin.value;
}

class Scan {
  public:
    Scan(Console& console, const InputFile& input, const FitTask& task, Workspace& work,
         RunReport& report, PassRoom& room, FitResult& result)
        : console_(console),
          input_(input),
          task_(task),
          work_(work),
          report_(report),
          room_(room),
          result_(result),
          model_(*task.model),
          listing_(console),
          file_(kScanFile) {}

    bool Run();

  private:
    void ToPrincipalAxes();
    void Step(const Model& start, bool is_last);

    Console& console_;
    const InputFile& input_;
    const FitTask& task_;
    Workspace& work_;
    RunReport& report_;
    PassRoom& room_;
    FitResult& result_;
    Model model_;
    FrameListing listing_;
    ScanFile file_;
    EulerAngles angles_;
};

void Scan::ToPrincipalAxes() {
    listing_.PutInitial(model_.lower());
    const Result<PrincipalFrame> frame = ToPrincipalFrame(model_.lower(), angles_);
    if (frame) {
        model_.lower() = frame.value().state;
        listing_.PutPrincipal(frame.value());
        return;
    }
    console_.LogFail("TRANSFORMATION ABORTED - CHECK PARAMETERS!");
    file_.Put("IAF2PAF ERROR\n");
    file_.Close();  // the steps are run all the same, without a table
}

// The lines that stay in the room are those of the last step: only there are all of them wanted.
void Scan::Step(const Model& start, bool is_last) {
    console_.Put("%-7.2lf %-7.2lf %.2lf\n", angles_.phi, angles_.theta, angles_.chi);
    const VectorFrame frame = ToVectorFrame(model_.lower(), angles_.chi);
    angles_ = frame.angles;
    model_.lower() = frame.state;
    listing_.PutTurned(frame);
    FitTask task = task_;
    task.model = &model_;
    task.cycles = task.last = is_last ? LineChoice::All : LineChoice::Assigned;
    const Status fitted = RunFit(task, work_, report_, room_, result_);
    if (fitted) {
        file_.PutFit(angles_, result_.model.lower(), result_.rms);
    } else {
        report_.SayFailed(fitted.error());
        file_.Put("LSF FIT ERROR\n");
    }
    model_ = result_.model;
    CopyConstants(start, model_);
}

bool Scan::Run() {
    if (!file_.is_open()) return false;
    if (input_.states[kLower].fit[kScanned] != 0) {
        file_.Put("THE PYPZ CROSS TERM MUST NOT BE VARIED\n");
        return false;
    }
    file_.PutHeading();
    ToPrincipalAxes();
    const Model start = model_;
    file_.Put(
        "PHI     THE     CHI     A         B         C         XY        XZ        YZ        "
        "OMC\n");
    const double first = angles_.chi;
    for (; first + kFullTurn > angles_.chi && file_.IsWritten(); angles_.chi += kStep) {
        Step(start, !(first + kFullTurn > angles_.chi + kStep));
    }
    result_.model = model_;
    if (file_.Close()) return true;
    console_.Put("FAILED TO CREATE ASCII FILE [%s] FOR WRITING!\n", kScanFile);
    return false;
}

}  // namespace

int ScanCycles(int cycles) { return std::min(std::abs(cycles), kMaxCycles); }

bool RunScan(Console& console, const InputFile& file, const FitTask& task, Workspace& work,
             RunReport& report, PassRoom& room, FitResult& result) {
    console.Enter("KivScan");
    if (!Scan(console, file, task, work, report, room, result).Run()) return false;
    console.Exit("KivScan");
    return true;
}

}  // namespace kiv
