// The run record: every setting, count and large array of a run, in one global object.
//
// Per-state arrays are indexed by ST_GND or ST_EXC first, constants by the PRM_ index. Axes:
// x = b, y = c, z = a. Energies, constants and line positions share the unit of the input file.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "run/KivArray.h"

constexpr int ST_GND = 0;  // lower state of every line
constexpr int ST_EXC = 1;  // upper state

/// Index of a Hamiltonian constant in every per-constant array.
enum PrmIdx : int {
    PRM_A,
    PRM_B,
    PRM_C,
    PRM_PX,
    PRM_PY,
    PRM_PZ,
    PRM_PXPY,
    PRM_PXPZ,
    PRM_PYPZ,
    PRM_DK,
    PRM_DJK,
    PRM_DJ,
    PRM_dK,
    PRM_dJ,
    PRM_PZ3,
    PRM_PX3,
    PRM_PY3,
    PRM_PZ2PX,
    PRM_PZ2PY,
    PRM_PX2PZ,
    PRM_PY2PZ,
    PRM_PZ5,
    PRM_ORI,  // band origin, used for the excited state only
    NUM_PRM
};
static_assert(NUM_PRM == 23);

/// Constants that enter a Hamiltonian: all but the origin.
constexpr int NUM_HAM_PRM = PRM_ORI;

/// Switches of Debug_Stat.
enum DebugIdx : int { DBG_ALL, DBG_0, DBG_I, DBG_II, DBG_III, DBG_IV, NUM_DBG };

/// Degrees to radians and back, kept at the digits on which all published results rest.
constexpr double kRadPerDeg = 0.0174532925199;
constexpr double kDegPerRad = 57.29577951322445;

/// kT in energy units per kelvin, by unit word.
constexpr double kErgConvMHz = 20836.7381265;
constexpr double kErgConvCm1 = 0.695038770005;

/// Longest file name inside an input file, without its terminator.
constexpr std::size_t kMaxName = 199;

/// The input values as they were read, untouched by a fit or a scan.
struct KivStart {
    char Inp_Version[16] = {};
    char Comment[500] = {};
    std::string Inp_Flnm;
    char Out_Base[kMaxName + 1] = {};
    char Asn_Flnm[kMaxName + 1] = {};
    char NextInp_Flnm[kMaxName + 1] = {};
    std::int32_t Prm_Stat[2][NUM_PRM] = {};
    double Prm_Val[2][NUM_PRM] = {};  // the origin included
    std::int32_t Prm_Fit[2][NUM_PRM] = {};
    double Euler_Phi[2] = {};
    double Euler_Theta[2] = {};
    double Euler_Chi[2] = {};
};

/// What the levels of a state were last made from; Source -1 when they were not made yet.
struct KivSolved {
    int Source = -1;  // state whose constants they are
    std::int32_t Cplx_Ham = 0;
    std::int32_t Red_Stat = 0;
    std::int32_t Max_J = 0;
    double Prm_Val[NUM_HAM_PRM] = {};
    std::int32_t Prm_Stat[NUM_HAM_PRM] = {};
    std::int32_t XTerm_Flag[NUM_HAM_PRM] = {};
    double Rot_Mat[9] = {};
};

struct KivRecord {
    // Versions
    std::int16_t Num_Versions = 5;  // entries 1..5 of Version_Tbl are known
    char Version[16] = "v5.6";      // written into the next-input file
    char Inp_Version[16] = "v1.0";  // found in the input file
    char Version_Tbl[6][16] = {"v0", "v1", "2", "v3", "v4", "v5"};  // "2" is meant: files say 2.x

    // Names
    char Comment[500] = "NO COMMENT\n";
    std::string Inp_Flnm = "Kiv.in";  // any path the system accepts
    std::string Last_Line;            // words of the record that the end of the input file cut off
    char Out_Base[kMaxName + 1] = "Kiv";
    char NextInp_Flnm[kMaxName + 1] = "NextInput.in";  // carried through, never written to
    char Asn_Flnm[kMaxName + 1] = "Kiv.asn";
    char Debug_Flnm[kMaxName + 1] = "Kiv95_Debug.log";

    // Switches of the calculation
    std::int32_t Dev_On = 1;    // 1: energy derivatives are computed
    std::int32_t Gnd_Only = 0;  // 1: the excited state takes the ground state's levels
    std::int32_t Cplx_Ham = 0;  // 1: complex Hamiltonians
    std::int32_t Red_Stat = 1;  // A reduction for: 1 both, 2 ground, 3 excited; else S reduction
    std::int16_t Fit_Stat = 1;  // 0 GND, 1 EXC ABS, 2 EXC DEL, 3 GND CD, 4 EXC CD
    std::int32_t Max_J = 35;
    std::int32_t Asn_J_Max = -1;  // limits of accepted assignments, -1 = all
    std::int32_t Asn_Ka_Max = -1;
    std::int32_t Asn_Kc_Max = -1;
    std::int32_t Delta_K_Order = 2;
    std::int32_t Spin_Wt[4] = {1, 1, 1, 1};  // Ka Kc parities EE, EO, OO, OE
    std::int32_t Spin_On = 0;                // 1: some spin weight differs from 1

    // Transition moment; triples in the order a, b, c
    std::int16_t TM_Method = 1;  // 0 magnitude and angles, 1 percent intensities
    std::int16_t TM_Frame = 0;   // state whose rotation turns the moment
    double Itn_Cutoff = 0.01;
    double TM_Ang[3] = {0.0, 0.0, 0.0};        // squared magnitude, theta, chi (degrees)
    double TM_Pct[3] = {100.0, 100.0, 100.0};  // percent intensity, signed
    double TM_Comp[3] = {1.0, 1.0, 1.0};       // components before the rotation
    double TM_Prj[3] = {};                     // projections after it
    std::int32_t Band_Active[3] = {};          // 1: the band type contributes
    std::int32_t Band_Split = 0;               // band-label switch of old input files
    std::int32_t Band_Count = 0;               // active band types, summed over all passes

    // Constants, one row a state
    std::int32_t Prm_Stat[2][NUM_PRM] = {{1, 1, 1}, {1, 1, 1}};  // 1: present (ORI: constructor)
    double Prm_Val[2][NUM_PRM] = {};
    double Prm_Sd[2][NUM_PRM] = {};            // standard deviations of the last fit
    double Prm_Val_Save[2][NUM_PRM] = {};      // A, B, C as they were before the rotation
    std::int32_t Prm_Fit[2][NUM_PRM] = {};     // 1: varied in the fit
    std::int32_t XTerm_Flag[2][NUM_PRM] = {};  // 1: the rotation produced this cross term
    double Kappa[2] = {};
    double Inertial_Defect[2] = {};  // amu A^2, for constants in MHz

    // Axis frames
    double Euler_Phi[2] = {};  // degrees
    double Euler_Theta[2] = {};
    double Euler_Chi[2] = {};
    double IAF_Ang[2][3] = {};        // inertial-to-principal frame angles PHI, THE, CHI
    double Rot_Mat[2][3][3] = {};     // direction cosines, rows x y z, columns X Y Z
    double Rot_Tensor[2][3][3] = {};  // rotational tensor, order x y z
    std::int32_t SimTrans_Ran = 0;    // 1 after the first SimTrans of the run

    // Parity selection and temperatures
    std::int16_t Parity_On = 0;
    std::int16_t Ka_Parity_Odd = 0;
    std::int16_t Kc_Parity_Odd = 0;
    char Parity_Stat[10] = "N";
    char Gnd_Parity[10] = "E";
    char Exc_Parity[10] = "O";
    double Temp[3] = {1.0, 0.0, 0.0};  // T1, T2 (kelvin), weight of T2
    double Erg_Conv = kErgConvMHz;     // energy units per kelvin
    char Erg_Unit[28] = "MHz";

    // Output and old-format scalars
    std::int32_t QZ_Fmt = 0;
    double Itn_Scale = 1.0;
    double Erg_Scale = 1.0;
    double FSR = 599.504;

    // Fit
    std::int16_t LS_Cycles = 1;  // > 0 fit, 0 simulate only, < 0 scan
    std::int32_t Uniform_Unc = 1;
    double Rej_Level = 500.0;
    std::int32_t Num_Fit_Prm = 0;
    double Omc_Std_Dev = 0.0;
    double Std_Dev_Scale = 1.0;
    KivTable<double> RC_CovarianceMat;  // rows and columns 1..Num_Fit_Prm are used

    // Assignments
    std::int32_t Num_Asn_Read = 0;         // accepted lines of all sets
    std::int32_t Num_Asn = 0;              // lines with a calculated partner
    std::int32_t Num_Rej = 0;              // lines without one
    std::int32_t Asn_Split = 0;            // lines of the first set
    std::int32_t Asn_Multi_Set = 0;        // 1: there is a second set
    KivArray<std::uint64_t> AsnQN_Vector;  // LineKey, ascending in each set
    KivArray<double> AsnErg_Vector;
    KivArray<double> AsnUnc_Vector;

    // Listings
    std::int32_t Erg_Print_J_Min = 0;
    std::int32_t Erg_Print_J_Max = -1;
    std::int32_t Vec_Print_J_Min = 0;
    std::int32_t Vec_Print_J_Max = -1;
    std::int32_t Debug_Stat[NUM_DBG] = {};
    std::int32_t Log_On = 0;
    std::FILE* Log_Fp = nullptr;  // open between phases 0 and X

    // Labels
    char State_Lbl[2][10] = {"GROUND", "EXCITED"};
    char Prm_Lbl[NUM_PRM][10] = {"A    ", "B    ", "C    ", "PX   ", "PY   ", "PZ   ",
                                 "PXPY ", "PXPZ ", "PYPZ ", "DK   ", "DJK  ", "DJ   ",
                                 "dK   ", "dJ   ", "PZ3  ", "PX3  ", "PY3  ", "PZ2PX",
                                 "PZ2PY", "PX2PZ", "PY2PZ", "PZ5  ", "ORI  "};

    // Levels: the 2J+1 levels of J at J*J, ascending; see the Hamiltonian headers
    std::int32_t Core_Alloc_Done = 0;
    std::int16_t Num_Dev[2] = {};           // derivatives a level carries
    KivArray<double> HamErg_Vector[2];      // energies
    KivArray<double> HamErgReal_Vector[2];  // eigenvectors, real parts
    KivArray<double> HamErgImag_Vector[2];  // imaginary parts, complex runs only
    KivArray<double> HamDev_Vector[2];      // Num_Dev derivatives a level
    KivArray<std::int16_t> Ka_Vector[2];
    KivArray<std::int16_t> Kc_Vector[2];
    KivArray<std::uint8_t> Sym_Vector[2];  // characters of each level, see hamiltonian/Symmetry.h
    std::uint8_t Sym_Kept[2] = {};         // two-fold rotations that the state's terms leave

    KivSolved Solved[2];

    // Direction cosines
    KivArray<double> cg_vec;  // all branches of all J, see transitions/DirCos.h
    KivArray<double> ap_cg_vec, bp_cg_vec, cp_cg_vec;
    KivArray<double> aq_cg_vec, bq_cg_vec, cq_cg_vec;
    KivArray<double> ar_cg_vec, br_cg_vec, cr_cg_vec;

    // Transition store, parallel arrays of Num_Trs lines; see transitions/TrsStore.h
    std::int32_t Trs_Max_Lines = 100000;
    std::int32_t Num_Trs = 0;
    KivArray<double> FI_Sim_Erg;           // line positions
    KivArray<float> FI_Sim_Itn;            // intensities
    KivArray<float> FI_ABC_RealAmp;        // a, b, c a line
    KivArray<float> FI_ABC_ImagAmp;        // a, b, c a line, complex runs only
    KivArray<char> FI_BT_Lbl;              // 'A', 'B', 'C', or 'R' for a rejected line
    KivArray<std::int32_t> FI_AsnLn_Idx;   // line of the k-th matched assignment
    KivArray<std::int32_t> FI_Asn_Idx;     // assignment of the k-th match
    KivArray<std::int16_t> FI_JKK_Lbl;     // J', Ka', Kc', J'', Ka'', Kc'' a line
    KivArray<std::int32_t> FI_Erg_Idx[2];  // level indices; the upper one in ground-only runs

    KivStart Start;

    KivRecord() { Prm_Stat[ST_EXC][PRM_ORI] = 1; }
};

extern KivRecord Kiv;

/// True when the Watson A reduction applies to `state`; otherwise the S reduction (d1, d2) does.
inline bool IsAReduction(const KivRecord& kiv, int state) {
    return kiv.Red_Stat == 1 || (kiv.Red_Stat == 2 && state == ST_GND) ||
           (kiv.Red_Stat == 3 && state == ST_EXC);
}

/// True when any Euler angle of `state` is not exactly zero.
inline bool IsRotated(const KivRecord& kiv, int state) {
    return kiv.Euler_Phi[state] != 0.0 || kiv.Euler_Theta[state] != 0.0 ||
           kiv.Euler_Chi[state] != 0.0;
}
