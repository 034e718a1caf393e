// Layout of the input parameter file: which records stand in which order, and where they belong.
//
// Reader and writer go through the same rows, so that what is written can be read back. A row that
// only some versions have, or that depends on a value read before, carries a test; a row with
// consequences for other fields carries a rule that is applied when it has been read.
#pragma once

#include <array>
#include <span>
#include <string_view>

#include "input/RecordFormat.h"
#include "run/KivRecord.h"

using Cells = std::array<Cell, 6>;

/// One record.
struct ParmRow {
    /// Whether a file of `version` ("v5.6") has this record; null: every file has it.
    bool (*When)(const KivRecord& kiv, std::string_view version);
    const char* Title;            // comment line above the record, null when it has none
    const char* Format;           // see RecordFormat.h
    Cells (*At)(KivRecord& kiv);  // the values, in the order of the file
    int (*After)(
        KivRecord& kiv);  // 1, or 0 when the values are not acceptable; null: nothing to do
};

/// A group of constants of one state. Its records are: status (but for the first group, A, B and C,
/// which are always on), values, Euler angles (first group only), fit indicators.
struct HamGroup {
    int Num;             // constants of the group, 2 or 3
    PrmIdx Prm[3];       // in the order of the file
    const char* Title;   // comment line above the values; %s stands for the state's label
    const char* TitleS;  // the same for the S reduction, null when it does not differ
};

// Tests
bool HasGndOnly(const KivRecord& kiv, std::string_view version);
bool HasFitStat(const KivRecord& kiv, std::string_view version);
bool HasAsnLimits(const KivRecord& kiv, std::string_view version);
bool HasUniformUnc(const KivRecord& kiv, std::string_view version);
bool LacksUniformUnc(const KivRecord& kiv, std::string_view version);
bool HasAngles(const KivRecord& kiv, std::string_view version);
bool HasPercents(const KivRecord& kiv, std::string_view version);

// Rules
int FitStatFromGndOnly(KivRecord& kiv);
int GndOnlyFromFitStat(KivRecord& kiv);
int CheckFrame(KivRecord& kiv);
int ConvertMoment(KivRecord& kiv);
int ConvertUnit(KivRecord& kiv);
int SetUniformUnc(KivRecord& kiv);

// Records of the state block
inline constexpr char kAnglesTitle[] = "# %s STATE PHI, THETA AND CHI EULER ANGLES (UHU-1 CCW+):\n";
inline constexpr char kFitTitle[] = "# %s STATE FIT INDICATORS: 0|1=OFF|ON\n";
inline constexpr char kStatTitle[] = "# %s STATE STATUS OF CONSTANTS:\n";
inline constexpr char kAnglesFormat[] = "  %-18lf %-18lf %lf\n";
inline constexpr const char* kValFormat[] = {nullptr, nullptr, "  %-19.10le %.10le\n",
                                             "  %-19.10le %-19.10le %.10le\n"};
inline constexpr const char* kFitFormat[] = {nullptr, nullptr, "  %-18hd %hd\n\n",
                                             "  %-18hd %-18hd %hd\n\n"};
inline constexpr const char* kStatFormat[] = {nullptr, nullptr, "  %-18hd %hd\n",
                                              "  %-18hd %-18hd %hd\n"};

// clang-format off

/// State block of v4 and v5. The order within a group is that of its comment, not of PrmIdx.
inline constexpr HamGroup kHamGroups[] = {
    {3, {PRM_A, PRM_B, PRM_C},
     "# %s STATE A, B AND C ROTATIONAL CONSTANTS:\n", nullptr},
    {3, {PRM_PZ, PRM_PX, PRM_PY},
     "# %s STATE <PZ>(A), <PX>(B) & <PY>(C) CONSTANTS:\n", nullptr},
    {3, {PRM_PXPY, PRM_PXPZ, PRM_PYPZ},
     "# %s STATE <PXPY + PYPX>, <PXPZ + PZPX> & <PYPZ + PZPX> CONSTANTS:\n", nullptr},
    {3, {PRM_DJ, PRM_DJK, PRM_DK},
     "# %s STATE <DJ>, <DJK> & <DK> WATSON D DISTORTION CONSTANTS:\n", nullptr},
    {2, {PRM_dJ, PRM_dK},
     "# %s STATE <dJ> & <dK> WATSON D DISTORTION:\n",
     "# %s STATE <d1> & <d2> WATSON D DISTORTION:\n"},
    {3, {PRM_PZ3, PRM_PX3, PRM_PY3},
     "# %s STATE <PZ**3>, <PX**3>, <PY**3> CONSTANTS:\n", nullptr},
    {2, {PRM_PZ2PX, PRM_PZ2PY},
     "# %s STATE <PZ**2PX>, <PZ**2PY> CONSTANTS:\n", nullptr},
    {3, {PRM_PX2PZ, PRM_PY2PZ, PRM_PZ5},
     "# %s STATE <PX**2PZ>, <PY**2PZ>, <PZ**5> CONSTANTS:\n", nullptr},
};

/// State block of v3 and 2.x, in the order of PrmIdx; a v1 file has the first three groups. The
/// last group mixes distortion constants with PZ3, as those files do.
inline constexpr HamGroup kOldHamGroups[] = {
    {3, {PRM_A,    PRM_B,    PRM_C},    nullptr, nullptr},
    {3, {PRM_PX,   PRM_PY,   PRM_PZ},   nullptr, nullptr},
    {3, {PRM_PXPY, PRM_PXPZ, PRM_PYPZ}, nullptr, nullptr},
    {3, {PRM_DK,   PRM_DJK,  PRM_DJ},   nullptr, nullptr},
    {3, {PRM_dK,   PRM_dJ,   PRM_PZ3},  nullptr, nullptr},
};

/// Between the comment and the state blocks, v3 to v5.
inline constexpr ParmRow kNameRows[] = {
    {nullptr, "# OUT BASE FLNM (EXTENSIONS WILL BE ADDED) & ASSIGNMENT FLNM & NEXT INPUT FLNM:\n",
     "  %-17s %-17s %s\n\n\n",
     [](KivRecord& k) { return Cells{k.Out_Base, k.Asn_Flnm, k.NextInp_Flnm}; }, nullptr},
};

/// Directly behind the block of the excited state.
inline constexpr ParmRow kOriginRows[] = {
    {nullptr, "# ORIGIN FREQUENCY AND FIT INDICATOR: 0|1=FIXED|FIT\n",
     "  %.15le\n",
     [](KivRecord& k) { return Cells{k.Prm_Val[ST_EXC][PRM_ORI]}; }, nullptr},
    {nullptr, nullptr,
     "  %hd\n\n\n",
     [](KivRecord& k) { return Cells{k.Prm_Fit[ST_EXC][PRM_ORI]}; }, nullptr},
};

/// From there to the end, v3 to v5. The two scalars keep two decimals, on purpose.
inline constexpr ParmRow kRunRows[] = {
    {HasGndOnly, nullptr,
     "%hd%hd",
     [](KivRecord& k) { return Cells{k.Gnd_Only, k.Red_Stat}; }, FitStatFromGndOnly},
    {HasFitStat, "# FIT & A REDUCTION STATUS: 0=GND|1=EXC ABS|2=EXC DEL|3=GND CD|4=EXC CD & 0|1|2=GND|3=EXC\n",
     "  %-18hd %-18hd\n\n",
     [](KivRecord& k) { return Cells{k.Fit_Stat, k.Red_Stat}; }, GndOnlyFromFitStat},
    {nullptr, "# MAX J & DELTA K ORDER & ITN CUTOFF: 35 & 0|1|2 & 0.01\n",
     "  %-18ld %-18ld %-lf\n\n",
     [](KivRecord& k) { return Cells{k.Max_J, k.Delta_K_Order, k.Itn_Cutoff}; }, nullptr},
    {nullptr, "# NUCLEAR SPIN WTS (EE:EO:OO:OE): 5 & 7 & 5 & 7\n",
     "  %-18ld %-18ld %-18ld %ld\n\n",
     [](KivRecord& k) { return Cells{k.Spin_Wt[0], k.Spin_Wt[1], k.Spin_Wt[2], k.Spin_Wt[3]}; }, nullptr},
    {nullptr, "# TRANSITION MOMENT METHOD & REFERENCE FRAME: 0|1=ANG|%%INT & 0|1=GND|EXE FRAME\n",
     "  %-18hd %hd\n\n",
     [](KivRecord& k) { return Cells{k.TM_Method, k.TM_Frame}; }, CheckFrame},
    {HasAngles, "# TRANSITION MOMENT (CCW+): TM MAG/THETA/CHI FROM A | %%INT ON A(Z) & B(X) & C(Y)\n",
     "  %-18lf %-18lf %lf\n\n",
     [](KivRecord& k) { return Cells{k.TM_Ang[0], k.TM_Ang[1], k.TM_Ang[2]}; }, ConvertMoment},
    {HasPercents, "# TRANSITION MOMENT (CCW+): TM MAG/THETA/CHI FROM A | %%INT ON A(Z) & B(X) & C(Y)\n",
     "  %-18lf %-18lf %lf\n\n",
     [](KivRecord& k) { return Cells{k.TM_Pct[0], k.TM_Pct[1], k.TM_Pct[2]}; }, ConvertMoment},
    {nullptr, "# TEMPERATURES(K) T1 & T2 & T2 WT & ERG UNITS: 3.0 & 5.0 & 0.01 & MHz|CM-1\n",
     "  %-18.6lf %-18.6lf %-18.6lf %s\n\n",
     [](KivRecord& k) { return Cells{k.Temp[0], k.Temp[1], k.Temp[2], Cell::Head(k.Erg_Unit)}; }, ConvertUnit},
    {HasUniformUnc, "# LS FIT CYCS & UNIFORM UNC STAT & REJ LEVEL: 0(-1)|1=OFF|ON & 0|1 & 1|..\n",
     "  %-18hd %-18hd %lf\n\n",
     [](KivRecord& k) { return Cells{k.LS_Cycles, k.Uniform_Unc, k.Rej_Level}; }, nullptr},
    {LacksUniformUnc, nullptr,
     "%hd%*hd%lf",
     [](KivRecord& k) { return Cells{k.LS_Cycles, k.Rej_Level}; }, SetUniformUnc},
    {HasAsnLimits, "# ASN Ka MAX & ASN Kc MAX: -1=ALL & -1=ALL\n",
     "  %-18ld %ld\n\n",
     [](KivRecord& k) { return Cells{k.Asn_Ka_Max, k.Asn_Kc_Max}; }, nullptr},
    {nullptr, "# GND & EXC STATE EIGENVALUES & VECTORS LOGGED: 0|.. TO -1|.. & 0|.. TO -1|..\n",
     "  %-18ld %ld\n",
     [](KivRecord& k) { return Cells{k.Erg_Print_J_Min, k.Erg_Print_J_Max}; }, nullptr},
    {nullptr, nullptr,
     "  %-18ld %ld\n\n",
     [](KivRecord& k) { return Cells{k.Vec_Print_J_Min, k.Vec_Print_J_Max}; }, nullptr},
    {nullptr, "# PARITY STAT & GND & EXE KaKc PARITY PRODUCTS: N|Y=OFF|ON & E|O & E|O\n",
     "  %-18s %-18s %s\n\n",
     [](KivRecord& k) { return Cells{k.Parity_Stat, k.Gnd_Parity, k.Exc_Parity}; }, nullptr},
    {nullptr, "# OLD MC FORMAT STATUS & ERG & ITN SCALARS & FSR: 0|1=QZ FORMAT OFF|ON\n",
     "  %-18hd %-18.2lf %-18.2lf %lf\n\n",
     [](KivRecord& k) { return Cells{k.QZ_Fmt, k.Erg_Scale, k.Itn_Scale, k.FSR}; }, nullptr},
    {nullptr, "# DEBUG STATUS FOR PHASE ALL & 0 & I & II & III & IV: 0|1=OFF|ON\n",
     "  %-10hd %-10hd %-10hd %-10hd %-10hd %hd\n",
     [](KivRecord& k) {
         return Cells{k.Debug_Stat[DBG_ALL], k.Debug_Stat[DBG_0],   k.Debug_Stat[DBG_I],
                      k.Debug_Stat[DBG_II],  k.Debug_Stat[DBG_III], k.Debug_Stat[DBG_IV]};
     }, nullptr},
};

/// Between the comment and the state blocks, 2.x and v1.
inline constexpr ParmRow kOldHeadRows[] = {
    {nullptr, nullptr, "%s", [](KivRecord& k) { return Cells{k.Out_Base}; }, nullptr},
    {nullptr, nullptr, "%s", [](KivRecord& k) { return Cells{k.Asn_Flnm}; }, nullptr},
    {nullptr, nullptr, "%ld%ld",
     [](KivRecord& k) { return Cells{k.Asn_J_Max, k.Asn_Ka_Max}; }, nullptr},
    {nullptr, nullptr, "%ld", [](KivRecord& k) { return Cells{k.Max_J}; }, nullptr},
};

/// From the transition moment to the cycle counts, 2.x only.
inline constexpr ParmRow kOldRunRows[] = {
    {nullptr, nullptr, "%hd%hd",
     [](KivRecord& k) { return Cells{k.TM_Method, k.TM_Frame}; }, CheckFrame},
    {HasAngles, nullptr, "%lf%lf%lf",
     [](KivRecord& k) { return Cells{k.TM_Ang[0], k.TM_Ang[1], k.TM_Ang[2]}; }, ConvertMoment},
    {HasPercents, nullptr, "%lf%lf%lf",
     [](KivRecord& k) { return Cells{k.TM_Pct[0], k.TM_Pct[1], k.TM_Pct[2]}; }, ConvertMoment},
    {nullptr, nullptr, "%ld%hd",
     [](KivRecord& k) { return Cells{k.Delta_K_Order, k.Band_Split}; }, nullptr},
    {nullptr, nullptr, "%lf%lf",
     [](KivRecord& k) { return Cells{k.Temp[0], k.Itn_Cutoff}; }, nullptr},
    {nullptr, nullptr, "%hd%lf%lf%lf",
     [](KivRecord& k) { return Cells{k.QZ_Fmt, k.Erg_Scale, k.Itn_Scale, k.FSR}; }, nullptr},
};

/// The end of a file, 2.x and v1.
inline constexpr ParmRow kOldEndRows[] = {
    {nullptr, nullptr, "%s%s%s",
     [](KivRecord& k) { return Cells{k.Parity_Stat, k.Gnd_Parity, k.Exc_Parity}; }, nullptr},
    {nullptr, nullptr, "%hd%*hd%lf",
     [](KivRecord& k) { return Cells{k.LS_Cycles, k.Rej_Level}; }, SetUniformUnc},
    {nullptr, nullptr, "%ld%ld",
     [](KivRecord& k) { return Cells{k.Erg_Print_J_Min, k.Erg_Print_J_Max}; }, nullptr},
    {nullptr, nullptr, "%ld%ld",
     [](KivRecord& k) { return Cells{k.Vec_Print_J_Min, k.Vec_Print_J_Max}; }, nullptr},
    {nullptr, nullptr, "%hd",
     [](KivRecord& k) { return Cells{k.Debug_Stat[DBG_ALL]}; }, nullptr},
};

// clang-format on
