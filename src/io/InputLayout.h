// Layout of input files: which records stand in which order, and where their values belong.
//
// Reader and writer go through the same rows, so that what is written can be read back. A row that
// only some versions have, or that depends on a value read before, carries a test; a row with
// consequences for other values carries a rule that is applied when it has been read.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "io/InputFile.h"

namespace kiv {

/// A number with a fraction, and how it is written: fixed (f) or with an exponent (e).
struct Real {
    double* value;
    char form;
    int precision;

    constexpr Real(double* to, char as = 'f', int digits = 6)
        : value(to), form(as), precision(digits) {}
};

/// A word of at most `most` characters; a longer one is refused, or cut where that is said.
struct Word {
    std::string* text;
    std::size_t most;
    bool cut = false;
};

/// An integer of 16 bits that is read and not kept.
struct PassedOver {};

/// Where one value of a record lives.
using Cell = std::variant<std::monostate, std::int16_t*, std::int32_t*, Real, Word, PassedOver>;

/// The values of a record in the order of the file; those behind them are empty.
using Cells = std::array<Cell, 6>;

/// Number of values.
inline std::size_t CountCells(const Cells& cells) {
    std::size_t count = 0;
    while (count < cells.size() && cells[count].index() != 0) ++count;
    return count;
}

/// One record. It is written as "  ", the values left-justified in columns, and `end`.
struct InputRow {
    bool (*when)(const InputFile& file);  // by version and values; null: every file has it
    const char* title;                    // comment line above it, null when it has none
    int width;                            // of the columns
    const char* end;
    Cells (*cells)(InputFile& file);
    std::optional<InputFault> (*rule)(InputFile& file);  // what is wrong; null: no rule
    bool fills_last = false;                             // the last column, too, to its width
};

/// A group of constants of one state. Its records are: status (but for the first group, A, B and C,
/// which are always on), values, Euler angles (first group only), fit indicators.
struct ConstantGroup {
    std::size_t size;       // 2 or 3
    Constant constants[3];  // in the order of the file
    const char* title;      // of the values, behind the name of the state
    const char* title_S;    // the same for the S reduction, null when it does not differ
};

// Tests
bool HasGroundOnly(const InputFile& file);
bool HasFitStatus(const InputFile& file);
bool HasAssignmentLimits(const InputFile& file);
bool HasUniform(const InputFile& file);
bool LacksUniform(const InputFile& file);
bool HasAngles(const InputFile& file);
bool HasPercents(const InputFile& file);

// Rules
std::optional<InputFault> FitStatusFromGroundOnly(InputFile& file);
std::optional<InputFault> CheckFrame(InputFile& file);
std::optional<InputFault> ConvertMoment(InputFile& file);
std::optional<InputFault> CheckUnit(InputFile& file);
std::optional<InputFault> SetUniform(InputFile& file);

// Longest words
inline constexpr std::size_t kMaxName = 199;
inline constexpr std::size_t kMaxUnit = 27;
inline constexpr std::size_t kMaxSwitch = 9;

// Records of the state block
inline constexpr char kAnglesTitle[] = "STATE PHI, THETA AND CHI EULER ANGLES (UHU-1 CCW+):\n";
inline constexpr char kFitTitle[] = "STATE FIT INDICATORS: 0|1=OFF|ON\n";
inline constexpr char kStatusTitle[] = "STATE STATUS OF CONSTANTS:\n";
inline constexpr int kColumn = 18;
inline constexpr int kConstantColumn = 19;
inline constexpr int kConstantDigits = 10;

// clang-format off

/// State block of v4 and v5. The order within a group is that of its title, not of Constant.
inline constexpr ConstantGroup kGroups[] = {
    {3, {Constant::A, Constant::B, Constant::C},
     "STATE A, B AND C ROTATIONAL CONSTANTS:\n", nullptr},
    {3, {Constant::PZ, Constant::PX, Constant::PY},
     "STATE <PZ>(A), <PX>(B) & <PY>(C) CONSTANTS:\n", nullptr},
    {3, {Constant::PXPY, Constant::PXPZ, Constant::PYPZ},
     "STATE <PXPY + PYPX>, <PXPZ + PZPX> & <PYPZ + PZPX> CONSTANTS:\n", nullptr},
    {3, {Constant::DJ, Constant::DJK, Constant::DK},
     "STATE <DJ>, <DJK> & <DK> WATSON D DISTORTION CONSTANTS:\n", nullptr},
    {2, {Constant::dJ, Constant::dK},
     "STATE <dJ> & <dK> WATSON D DISTORTION:\n",
     "STATE <d1> & <d2> WATSON D DISTORTION:\n"},
    {3, {Constant::PZ3, Constant::PX3, Constant::PY3},
     "STATE <PZ**3>, <PX**3>, <PY**3> CONSTANTS:\n", nullptr},
    {2, {Constant::PZ2PX, Constant::PZ2PY},
     "STATE <PZ**2PX>, <PZ**2PY> CONSTANTS:\n", nullptr},
    {3, {Constant::PX2PZ, Constant::PY2PZ, Constant::PZ5},
     "STATE <PX**2PZ>, <PY**2PZ>, <PZ**5> CONSTANTS:\n", nullptr},
};

/// State block of v3 and 2.x, in the order of Constant; a v1 file has the first three groups. The
/// last group mixes distortion constants with PZ3, as those files do.
inline constexpr ConstantGroup kOldGroups[] = {
    {3, {Constant::A,    Constant::B,    Constant::C},    nullptr, nullptr},
    {3, {Constant::PX,   Constant::PY,   Constant::PZ},   nullptr, nullptr},
    {3, {Constant::PXPY, Constant::PXPZ, Constant::PYPZ}, nullptr, nullptr},
    {3, {Constant::DK,   Constant::DJK,  Constant::DJ},   nullptr, nullptr},
    {3, {Constant::dK,   Constant::dJ,   Constant::PZ3},  nullptr, nullptr},
};

/// Between the comment and the state blocks, v3 to v5.
inline constexpr InputRow kNameRows[] = {
    {nullptr, "# OUT BASE FLNM (EXTENSIONS WILL BE ADDED) & ASSIGNMENT FLNM & NEXT INPUT FLNM:\n",
     17, "\n\n\n", [](InputFile& f) {
         return Cells{Word{&f.out_base, kMaxName}, Word{&f.assignment_file, kMaxName},
                      Word{&f.next_input, kMaxName}};
     }, nullptr},
};

/// Directly behind the block of the excited state.
inline constexpr InputRow kOriginRows[] = {
    {nullptr, "# ORIGIN FREQUENCY AND FIT INDICATOR: 0|1=FIXED|FIT\n",
     kColumn, "\n", [](InputFile& f) { return Cells{Real{&f.origin, 'e', 15}}; }, nullptr},
    {nullptr, nullptr,
     kColumn, "\n\n\n", [](InputFile& f) { return Cells{&f.origin_fit}; }, nullptr},
};

/// From there to the end, v3 to v5. The two scalars keep two decimals, on purpose.
inline constexpr InputRow kRunRows[] = {
    {HasGroundOnly, nullptr,
     kColumn, "", [](InputFile& f) { return Cells{&f.fit_status, &f.reduction_status}; },
     FitStatusFromGroundOnly},
    {HasFitStatus, "# FIT & A REDUCTION STATUS: 0=GND|1=EXC ABS|2=EXC DEL|3=GND CD|4=EXC CD & 0|1|2=GND|3=EXC\n",
     kColumn, "\n\n", [](InputFile& f) { return Cells{&f.fit_status, &f.reduction_status}; }, nullptr,
     true},
    {nullptr, "# MAX J & DELTA K ORDER & ITN CUTOFF: 35 & 0|1|2 & 0.01\n",
     kColumn, "\n\n", [](InputFile& f) { return Cells{&f.max_J, &f.delta_K, &f.min_intensity}; }, nullptr},
    {nullptr, "# NUCLEAR SPIN WTS (EE:EO:OO:OE): 5 & 7 & 5 & 7\n",
     kColumn, "\n\n", [](InputFile& f) {
         auto& weight = f.spin_weights;
         return Cells{&weight[0], &weight[1], &weight[2], &weight[3]};
     }, nullptr},
    {nullptr, "# TRANSITION MOMENT METHOD & REFERENCE FRAME: 0|1=ANG|%INT & 0|1=GND|EXE FRAME\n",
     kColumn, "\n\n", [](InputFile& f) { return Cells{&f.moment_method, &f.moment_frame}; }, CheckFrame},
    {HasAngles, "# TRANSITION MOMENT (CCW+): TM MAG/THETA/CHI FROM A | %INT ON A(Z) & B(X) & C(Y)\n",
     kColumn, "\n\n", [](InputFile& f) {
         return Cells{&f.moment_angles[0], &f.moment_angles[1], &f.moment_angles[2]};
     }, ConvertMoment},
    {HasPercents, "# TRANSITION MOMENT (CCW+): TM MAG/THETA/CHI FROM A | %INT ON A(Z) & B(X) & C(Y)\n",
     kColumn, "\n\n", [](InputFile& f) {
         return Cells{&f.moment_percent[0], &f.moment_percent[1], &f.moment_percent[2]};
     }, ConvertMoment},
    {nullptr, "# TEMPERATURES(K) T1 & T2 & T2 WT & ERG UNITS: 3.0 & 5.0 & 0.01 & MHz|CM-1\n",
     kColumn, "\n\n", [](InputFile& f) {
         return Cells{&f.temperatures[0], &f.temperatures[1], &f.temperatures[2],
                      Word{&f.energy_unit, kMaxUnit, true}};
     }, CheckUnit},
    {HasUniform, "# LS FIT CYCS & UNIFORM UNC STAT & REJ LEVEL: 0(-1)|1=OFF|ON & 0|1 & 1|..\n",
     kColumn, "\n\n", [](InputFile& f) { return Cells{&f.cycles, &f.uniform, &f.reject_above}; }, nullptr},
    {LacksUniform, nullptr,
     kColumn, "", [](InputFile& f) { return Cells{&f.cycles, PassedOver{}, &f.reject_above}; }, SetUniform},
    {HasAssignmentLimits, "# ASN Ka MAX & ASN Kc MAX: -1=ALL & -1=ALL\n",
     kColumn, "\n\n", [](InputFile& f) { return Cells{&f.assignment_max_Ka, &f.assignment_max_Kc}; }, nullptr},
    {nullptr, "# GND & EXC STATE EIGENVALUES & VECTORS LOGGED: 0|.. TO -1|.. & 0|.. TO -1|..\n",
     kColumn, "\n", [](InputFile& f) { return Cells{&f.listed_energies.first, &f.listed_energies.last}; }, nullptr},
    {nullptr, nullptr,
     kColumn, "\n\n", [](InputFile& f) { return Cells{&f.listed_vectors.first, &f.listed_vectors.last}; }, nullptr},
    {nullptr, "# PARITY STAT & GND & EXE KaKc PARITY PRODUCTS: N|Y=OFF|ON & E|O & E|O\n",
     kColumn, "\n\n", [](InputFile& f) {
         return Cells{Word{&f.parity_status, kMaxSwitch}, Word{&f.ka_parity, kMaxSwitch},
                      Word{&f.kc_parity, kMaxSwitch}};
     }, nullptr},
    {nullptr, "# OLD MC FORMAT STATUS & ERG & ITN SCALARS & FSR: 0|1=QZ FORMAT OFF|ON\n",
     kColumn, "\n\n", [](InputFile& f) {
         return Cells{&f.old_format, Real{&f.energy_scale, 'f', 2}, Real{&f.intensity_scale, 'f', 2},
                      &f.spectral_range};
     }, nullptr},
    {nullptr, "# DEBUG STATUS FOR PHASE ALL & 0 & I & II & III & IV: 0|1=OFF|ON\n",
     10, "\n", [](InputFile& f) {
         auto& on = f.debug;
         return Cells{&on[0], &on[1], &on[2], &on[3], &on[4], &on[5]};
     }, nullptr},
};

/// Between the comment and the state blocks, 2.x and v1.
inline constexpr InputRow kOldHeadRows[] = {
    {nullptr, nullptr, 0, "", [](InputFile& f) { return Cells{Word{&f.out_base, kMaxName}}; }, nullptr},
    {nullptr, nullptr, 0, "", [](InputFile& f) { return Cells{Word{&f.assignment_file, kMaxName}}; }, nullptr},
    {nullptr, nullptr, 0, "", [](InputFile& f) { return Cells{&f.assignment_max_J, &f.assignment_max_Ka}; }, nullptr},
    {nullptr, nullptr, 0, "", [](InputFile& f) { return Cells{&f.max_J}; }, nullptr},
};

/// From the transition moment to the cycle counts, 2.x only.
inline constexpr InputRow kOldRunRows[] = {
    {nullptr, nullptr, 0, "", [](InputFile& f) { return Cells{&f.moment_method, &f.moment_frame}; }, CheckFrame},
    {HasAngles, nullptr, 0, "", [](InputFile& f) {
         return Cells{&f.moment_angles[0], &f.moment_angles[1], &f.moment_angles[2]};
     }, ConvertMoment},
    {HasPercents, nullptr, 0, "", [](InputFile& f) {
         return Cells{&f.moment_percent[0], &f.moment_percent[1], &f.moment_percent[2]};
     }, ConvertMoment},
    {nullptr, nullptr, 0, "", [](InputFile& f) { return Cells{&f.delta_K, &f.band_split}; }, nullptr},
    {nullptr, nullptr, 0, "", [](InputFile& f) { return Cells{&f.temperatures[0], &f.min_intensity}; }, nullptr},
    {nullptr, nullptr, 0, "", [](InputFile& f) {
         return Cells{&f.old_format, &f.energy_scale, &f.intensity_scale, &f.spectral_range};
     }, nullptr},
};

/// The end of a file, 2.x and v1.
inline constexpr InputRow kOldEndRows[] = {
    {nullptr, nullptr, 0, "", [](InputFile& f) {
         return Cells{Word{&f.parity_status, kMaxSwitch}, Word{&f.ka_parity, kMaxSwitch},
                      Word{&f.kc_parity, kMaxSwitch}};
     }, nullptr},
    {nullptr, nullptr, 0, "", [](InputFile& f) { return Cells{&f.cycles, PassedOver{}, &f.reject_above}; }, SetUniform},
    {nullptr, nullptr, 0, "", [](InputFile& f) { return Cells{&f.listed_energies.first, &f.listed_energies.last}; }, nullptr},
    {nullptr, nullptr, 0, "", [](InputFile& f) { return Cells{&f.listed_vectors.first, &f.listed_vectors.last}; }, nullptr},
    {nullptr, nullptr, 0, "", [](InputFile& f) { return Cells{&f.debug[0]}; }, nullptr},
};

// clang-format on

}  // namespace kiv
