#include "console/Messages.h"

#include <algorithm>
#include <iterator>

#include "base/ArrayName.h"

namespace kiv {
namespace {

using namespace array_name;

// Where a refused array is reported, and how.
struct ArrayWords {
    const char* array;
    const char* words;
    bool to_log;
};

// clang-format off
constexpr ArrayWords kArrayWords[] = {
    {kEnergies,                "KivCoreAlloc()/HamErg_Vector",      false},
    {kLabels,                  "KivCoreAlloc()/Ka_Vector/Kc_Vector", false},
    {kVectors,                 "KivCoreAlloc()/HamErgReal_Vector",  false},
    {kImaginaryVectors,        "KivCoreAlloc()/HamErgImag_Vector",  false},
    {kDerivatives,             "KivCoreAlloc()/HamDev_Vector",      false},
    {kBlocks,                  "RHamInit()/H2V_Matrix",             true},
    {kSubdiagonal,             "RHamInit()/od_vec",                 true},
    {kComplexBlocks,           "IHamInit()/HR_Mat/HI_Mat/VR_Mat/VI_Mat", false},
    {kComplexPhases,           "IHamInit()/tau_mat",                false},
    {kComplexSubdiagonal,      "IHamInit()/od_vec/od1_vec",         false},
    {kCosines,                 "CgMakeFile()/cg_vec",               true},
    {kPositions,               "TrsOut()/Kiv.FI_Sim_Erg",           false},
    {kMorePositions,           "TrsOut()/Kiv.Sim_Erg",              false},
    {kIntensities,             "TrsOut()/Kiv.FI_Sim_Itn",           false},
    {kMoreIntensities,         "TrsOut()/Kiv.Sim_Itn",              false},
    {kAmplitudes,              "TrsOut()/Kiv.FI_ABC_RealAmp",       false},
    {kImaginaryAmplitudes,     "TrsOut()/Kiv.FI_ABC_ImagAmp",       false},
    {kBands,                   "TrsOut()/Kiv.FI_BT_Lbl",            false},
    {kMatches,                 "TrsOut()/Kiv.FI_AsnLn_Idx",         false},
    {kLineLabels,              "TrsOut()/Kiv.FI_JKK_Lbl",           false},
    {kLowerLevels,             "TrsOut()/Kiv.FI_Erg_Idx[ ST_GND ]", false},
    {kUpperLevels,             "TrsOut()/Kiv.FI_Erg_Idx[ ST_EXC ]", false},
    {kFactors,                 "AmplitudeCalc()/Factors",           false},
    {kWeights,                 "AmplitudeCalc()/Weight",            false},
    {kCouplings,               "AmplitudeCalc()/Coupling",          false},
    {kPairAmplitudes,          "AmplitudeCalc()/Amp",               false},
    {kClassLevels,             "ClassLevels()/Levels",              false},
    {kClassVectors,            "ClassLevels()/Vectors",             false},
    {kUpperRows,               "UpperLevels()/Rows",                false},
    {kUpperList,               "UpperLevels()/List",                false},
    {kPairValues,              "TrsPass()/Raw",                     false},
    {kStoredAmplitudes,        "TrsPass()/Amp",                     false},
    {kPairLines,               "TrsPass()/Lines",                   false},
    {kAssignmentKeys,          "RdAsnLines()/Kiv.AsnQN_Vector",     true},
    {kAssignmentFrequencies,   "RdAsnLines()/Kiv.AsnErg_Vector",    true},
    {kAssignmentUncertainties, "RdAsnLines()/Kiv.AsnUnc_Vector",    true},
    {kAssignmentOrder,         "RdAsnLines()/idx_ary",              true},
    {kSortedAssignments,       "iiisort123()/wksp",                 true},
    {kFitVectors,              "LsfTrs()/v_mat",                    true},
    {kSingularValues,          "LsfTrs()/w_vec",                    true},
    {kCovariance,              "LsfTrs()/Kiv.RC_CovarianceMat",     true},
    {kObserved,                "LsfTrs()/obln_vec",                 true},
    {kUncertainties,           "LsfTrs()/sig_vec",                  true},
    {kFitDerivatives,          "LsfTrs()/dvs_mat",                  true},
    {kFitMatrix,               "LsfTrs()/u_mat",                    true},
    {kDifferences,             "CDErrorAnalysis()/Idx_Mat",         false},
    {kSvdRightSide,            "svdfit()/b",                        false},
    {kSvdSuperdiagonal,        "svdcmp()/rv1",                      false},
    {kSvdProduct,              "svbksb()/tmp",                      false},
    {kSvdWeights,              "svdvar()/wti",                      false},
    {kSortIndex,               "TrsConvert()/idx_ary",              true},
    {kObservedColumn,          "TrsConvert()/td_ary",               true},
    {kUncertaintyColumn,       "TrsConvert()/tf_ary",               true},
    {kSortedChars,             "csi6sfdrsort()/cwksp",              false},
    {kSortedShorts,            "csi6sfdrsort()/swksp",              false},
    {kSortedLongs,             "csi6sfdrsort()/lwksp",              false},
    {kSortedFloats,            "csi6sfdrsort()/fwksp",              false},
    {kSortedDoubles,           "csi6sfdrsort()/dwksp",              false},
    {kAssignmentText,          "AsnConvert()/block",                false},
};
// clang-format on

void SayRefused(Console& console, const std::string& array) {
    const auto* const row =
        std::find_if(std::begin(kArrayWords), std::end(kArrayWords),
                     [&](const ArrayWords& words) { return array == words.array; });
    if (row == std::end(kArrayWords)) return SayNoMemory(console, "KivMain()/name");
    if (!row->to_log) return SayNoMemory(console, row->words);
    console.LogFail("%s - CORE ALLOCATION ERROR!\n", row->words);
}

}  // namespace

void SayNoMemory(Console& console, const char* what) {
    console.Put("%s - CORE ALLOCATION ERROR!\n", what);
}

void Say(Console& console, const Error& error) {
    switch (error.code) {
        case ErrorCode::NoMemory:
            return SayRefused(console, error.subject);
        case ErrorCode::NoLines:
            return console.Put("NO TRANSITIONS CALCULATED!\n");
        case ErrorCode::NoDifferences:
            return console.Put("NO COMBINATION DIFFERENCES FOUND - ABORTING!\n");
        case ErrorCode::NotConverged:
            return console.Put("svdcmp() - NO CONVERGENCE IN 30 SVDCMP ITERATIONS!\n");
        default:
            break;  // told to the listener, with its numbers
    }
}

}  // namespace kiv
