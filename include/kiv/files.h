// The files of the program as texts: input files, assignment files, line sets and line lists.
//
// Nothing here opens a file. What is read is a text in memory, what is written goes to a Sink,
// whose ok() tells whether all of it arrived. docs/files.md describes the files.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kiv/array.h"
#include "kiv/assignments.h"
#include "kiv/error.h"
#include "kiv/levels.h"
#include "kiv/lines.h"
#include "kiv/model.h"
#include "kiv/settings.h"
#include "kiv/sink.h"
#include "kiv/workspace.h"

namespace kiv {

/// Version of the input files that are written.
inline constexpr char kInputVersion[] = "v5.6";

// ------------------------------------------------------------------------------- input files

/// Constants of one state as an input file has them; 1 switches a constant on or has it varied.
struct InputState {
    PerConstant<std::int16_t> status{{{1, 1, 1}}};  // A, B and C have none in a file
    PerConstant<double> value{};
    PerConstant<std::int16_t> fit{};
    EulerAngles angles;
};

/// First and last J of a listing.
struct ListedRange {
    std::int32_t first = 0;
    std::int32_t last = -1;
};

/// Parts of a calculation with a debug switch.
enum class DebugPart : std::uint8_t { All, Input, Levels, Lines, LineSet, Fit, Count };

/// An input file of any version as a document: all that it holds, with the integers of the file,
/// which need not be meaningful.
struct InputFile {
    std::string version = "v1.0";  // of the text that was read
    std::string comment = "NO COMMENT\n";
    std::string out_base = "Kiv";
    std::string assignment_file = "Kiv.asn";
    std::string next_input = "NextInput.in";  // carried through, never written to

    std::array<InputState, kNumStates> states;
    double origin = 0.0;
    std::int16_t origin_fit = 0;

    std::int16_t fit_status = 1;        // FitData; 0 makes a calculation of one state
    std::int16_t reduction_status = 1;  // A reduction for: 1 both, 2 lower, 3 upper; else S
    std::int32_t max_J = 35;
    std::int32_t delta_K = 2;
    double min_intensity = 0.01;
    std::array<std::int32_t, 4> spin_weights{1, 1, 1, 1};  // of Ka Kc even-even, eo, oo, oe

    std::int16_t moment_method = 1;         // 0 magnitude and angles, 1 percent intensities
    std::int16_t moment_frame = 0;          // StateIndex
    std::array<double, 3> moment_angles{};  // squared magnitude, theta, chi
    std::array<double, 3> moment_percent{100., 100., 100.};  // on a, b, c, signed

    std::array<double, 3> temperatures{1., 0., 0.};  // T1, T2 (kelvin), weight of T2
    std::string energy_unit = "MHz";                 // or "CM-1"

    std::int16_t cycles = 1;   // > 0 fit, 0 lines alone, < 0 scan
    std::int16_t uniform = 1;  // 0 weights by uncertainties, 1 uniform, else uniform and unscaled
    double reject_above = 500.0;
    std::int32_t assignment_max_J = -1;  // limits of accepted assignments, -1 = all
    std::int32_t assignment_max_Ka = -1;
    std::int32_t assignment_max_Kc = -1;

    ListedRange listed_energies, listed_vectors;
    std::string parity_status = "N";  // Y selects by
    std::string ka_parity = "E";      //   E or O: Ka' + Ka'' even or odd
    std::string kc_parity = "O";      //   and the same for Kc

    std::int16_t old_format = 0;  // 1: assignments are in the unit that energy_scale tells
    double energy_scale = 1.0;
    double intensity_scale = 1.0;
    double spectral_range = 599.504;
    std::int16_t band_split = 0;  // band-label switch of old files
    std::array<std::int16_t, static_cast<std::size_t>(DebugPart::Count)> debug{};

    bool one_state() const { return fit_status == 0; }
};

/// The molecule of a document. In calculations of one state, A, B and C of the upper one are off.
Model ModelOf(const InputFile& file);

/// How a document wants its spectrum calculated and fitted, the rule of ParityOf apart.
Settings SettingsOf(const InputFile& file);

/// kT in the unit of the document for each kelvin; none for an unknown unit.
///
/// 20836.7381265 for MHz and 0.695038770005 for CM-1: the digits on which published results rest.
std::optional<double> EnergyPerKelvin(const InputFile& file);

/// Words of a parity rule, as Error::subject.
inline constexpr char kParityStatusWord[] = "parity status";
inline constexpr char kKaParityWord[] = "Ka parity";
inline constexpr char kKcParityWord[] = "Kc parity";

/// The parity rule of a document; none when it is switched off. BadInput names the first word that
/// is none of its two; all three are looked at.
Result<std::optional<ParityRule>> ParityOf(const InputFile& file);

/// Makes the two descriptions of the moment of a document agree; axes in the order a, b, c.
///
/// moment_angles = (MAG, THETA, CHI): squared magnitude, angle from the a axis, angle from b
/// towards c, in degrees. moment_percent: percent intensities, signed. With method 0 the angles are
/// given:
///     pct_i = 100 u_i^2 / (u.u),  u = (cos THETA, sin THETA cos CHI, sin THETA sin CHI)
/// otherwise the percentages, with s = sum |p_i|:
///     MAG = s / 100,  cos_i = sign(p_i) sqrt(|p_i| / s),  THETA = acos(cos_a),
///     CHI = atan2(cos_c, cos_b)
/// and s = 0 gives 0, 0, 0. (100, 100, 100) percent are (3, 54.7356, 45).
void MatchMoment(InputFile& file);

/// Puts the constants and the origin of `model` into a document.
void PutConstants(InputFile& file, const Model& model);

/// Writes a document as an input file of the current version, which ReadInput reads back.
void WriteInputFile(Sink& sink, const InputFile& file);

/// What an input file says.
struct Input {
    InputFile file;
    Model model;
    Settings settings;
};

/// Reads an input file of any version. A version 1 file that leaves its format open is taken for
/// one of the present format.
///
/// BadInput, Truncated (`subject`: the words of the record that is cut off).
Result<Input> ReadInput(std::string_view text);

// -------------------------------------------------------------------------- assignment files

/// Largest quantum numbers of accepted assignments.
struct AssignmentLimits {
    std::int32_t J = 32767, Ka = 32767, Kc = 32767;
};

/// The limits of a document, none of them above its max_J.
AssignmentLimits LimitsOf(const InputFile& file);

/// Reads an assignment file: a line holds a band word, J' Ka' Kc', J'' Ka'' Kc'', frequency and
/// uncertainty; a line "//" starts the second set. Lines that are malformed or beyond the limits
/// are left out; without an uncertainty, or with 0, a line gets one of 1e20.
///
/// BadInput when a set has no acceptable line; NoMemory.
Result<Assignments> ReadAssignmentFile(std::string_view text, const AssignmentLimits& limits,
                                       const Memory& memory);

// --------------------------------------------------------------------------------- line sets

/// What a line set tells beside its lines.
struct LineSetHeader {
    struct Constants {
        PerConstant<std::int32_t> status{};
        PerConstant<double> value{};
        PerConstant<double> sd{};
    };
    std::array<Constants, kNumStates> states;
    Term origin{0.0, true};

    std::array<double, 3> moment_angles{};   // squared magnitude, theta, chi
    std::array<double, 3> moment_percent{};  // amplitudes are written when all are 100 or 0
    std::array<double, 3> temperatures{};  // T1, T2, weight of T2; energies are written at T1 <= 0
    double energy_per_kelvin = kMHzPerKelvin;
    double wavenumbers = 1.0;  // cm-1 in the unit of the energies

    std::int32_t assignments = 0;  // read
    std::int32_t split = 0;        // of the first set
    std::int32_t missing = 0;      // without a calculated line

    double rms = 0.0;                           // of the fit
    int num_fitted = 0;                         // constants
    const Table<double>* covariance = nullptr;  // see FitResult
    std::string version = kInputVersion;        // of the program
};

/// The header of a run without a fit; `assignments` may be null.
LineSetHeader HeaderOf(const InputFile& file, const Model& model, const LineList& lines,
                       const Assignments* assignments);

/// Lines in the order of the files, with their observed frequencies.
struct SortedLines {
    LineList lines;          // in descending frequency; match_line is in the order of calculation
    Array<double> observed;  // a line, 0 when it has none
};

/// Sorts `lines`. NoMemory.
Result<SortedLines> SortLines(LineList lines, const Assignments* assignments, const Memory& memory);

/// The calculation that lines come from. With one state, `upper` is `lower`; `assignments` may be
/// null.
struct LineSource {
    const Levels& lower;
    const Levels& upper;
    const Assignments* assignments = nullptr;
};

/// Writes the binary line set, in descending frequency, and gives back the lines, sorted while they
/// were written. NoMemory names the array; what stands before it in the file is then written.
Result<SortedLines> WriteLineSet(Sink& sink, const LineSetHeader& header, LineList lines,
                                 const LineSource& source, const Memory& memory);

/// Writes the text list, in ascending frequency. Without memory it is slower.
void WriteLineList(Sink& sink, const LineSetHeader& header, const SortedLines& sorted,
                   const Levels& lower, const Memory& memory);

/// Where the files of a list of lines go; null: not written.
struct LineFiles {
    Sink* line_set = nullptr;
    Sink* line_list = nullptr;
};

/// Writes what WriteLineSet and WriteLineList write, the same bytes, and gives back the lines,
/// sorted. The threads of `work` sort the columns, make the files in blocks and write both side by
/// side: a sink is called by one thread at a time, not always the same one. With one thread this is
/// one file after the other. NoMemory names the array; the files are then incomplete.
Result<SortedLines> WriteLineFiles(const LineFiles& files, const LineSetHeader& header,
                                   LineList lines, const LineSource& source, Workspace& work);

}  // namespace kiv
