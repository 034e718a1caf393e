// Names of the arrays that a request for memory can be refused for: Error::subject of NoMemory.
#pragma once

namespace kiv::array_name {

// Levels
inline constexpr char kEnergies[] = "level energies";
inline constexpr char kLabels[] = "level labels";
inline constexpr char kVectors[] = "eigenvectors";
inline constexpr char kImaginaryVectors[] = "imaginary parts of the eigenvectors";
inline constexpr char kDerivatives[] = "derivatives of the levels";

// Scratch of the solution
inline constexpr char kBlocks[] = "symmetry blocks";
inline constexpr char kSubdiagonal[] = "subdiagonal";
inline constexpr char kComplexBlocks[] = "complex symmetry blocks";
inline constexpr char kComplexPhases[] = "phases of the complex reduction";
inline constexpr char kComplexSubdiagonal[] = "subdiagonal of the complex reduction";

// Lines
inline constexpr char kCosines[] = "direction cosines";
inline constexpr char kPositions[] = "line positions";
inline constexpr char kMorePositions[] = "more line positions";
inline constexpr char kIntensities[] = "line intensities";
inline constexpr char kMoreIntensities[] = "more line intensities";
inline constexpr char kAmplitudes[] = "line amplitudes";
inline constexpr char kImaginaryAmplitudes[] = "imaginary parts of the line amplitudes";
inline constexpr char kBands[] = "band types";
inline constexpr char kMatches[] = "lines of the assignments";
inline constexpr char kLineLabels[] = "line labels";
inline constexpr char kLowerLevels[] = "lower levels of the lines";
inline constexpr char kUpperLevels[] = "upper levels of the lines";

// Scratch of the lines
inline constexpr char kFactors[] = "direction cosines of a branch";
inline constexpr char kWeights[] = "weights of a lower level";
inline constexpr char kCouplings[] = "couplings of two classes";
inline constexpr char kPairAmplitudes[] = "amplitudes of a lower level";
inline constexpr char kClassLevels[] = "levels by class";
inline constexpr char kClassVectors[] = "eigenvectors by class";
inline constexpr char kUpperRows[] = "rows of the upper levels";
inline constexpr char kUpperList[] = "list of the upper levels";
inline constexpr char kPairValues[] = "values of the pairs";
inline constexpr char kStoredAmplitudes[] = "stored amplitudes of the pairs";
inline constexpr char kPairLines[] = "lines of the pairs";

// Assignments
inline constexpr char kAssignmentKeys[] = "keys of the assignments";
inline constexpr char kAssignmentFrequencies[] = "frequencies of the assignments";
inline constexpr char kAssignmentUncertainties[] = "uncertainties of the assignments";
inline constexpr char kAssignmentOrder[] = "order of the assignments";
inline constexpr char kSortedAssignments[] = "sorted assignments";

// Fits
inline constexpr char kFitVectors[] = "vectors of the fit";
inline constexpr char kSingularValues[] = "singular values";
inline constexpr char kCovariance[] = "covariance";
inline constexpr char kObserved[] = "observed values of the fit";
inline constexpr char kUncertainties[] = "uncertainties of the fit";
inline constexpr char kFitDerivatives[] = "derivatives of the fit";
inline constexpr char kFitMatrix[] = "matrix of the fit";
inline constexpr char kDifferences[] = "combination differences";
inline constexpr char kSvdRightSide[] = "right side of the fit";
inline constexpr char kSvdSuperdiagonal[] = "superdiagonal of the decomposition";
inline constexpr char kSvdProduct[] = "product of the back substitution";
inline constexpr char kSvdWeights[] = "weights of the singular values";

// Files
inline constexpr char kSortIndex[] = "order of the lines";
inline constexpr char kObservedColumn[] = "observed frequencies of the lines";
inline constexpr char kUncertaintyColumn[] = "uncertainties of the lines";
inline constexpr char kSortedChars[] = "copy of the band types";
inline constexpr char kSortedShorts[] = "copy of the line labels";
inline constexpr char kSortedLongs[] = "copy of the level indices";
inline constexpr char kSortedFloats[] = "copy of the intensities";
inline constexpr char kSortedDoubles[] = "copy of the positions";
inline constexpr char kInputText[] = "text of the input file";
inline constexpr char kAssignmentText[] = "text of the assignment file";

}  // namespace kiv::array_name
