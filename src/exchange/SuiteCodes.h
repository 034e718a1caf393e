// The codes of constants in parameter files of the SPFIT/SPCAT suite.
//
//     code = 100 type + 10 V2 + V1     states V1 = V2 of a constant; 99: every state; two digits
//                                      each when ten or more states are declared
#pragma once

#include <optional>
#include <span>

#include "kiv/model.h"

namespace kiv {

/// What a type means in a reduction.
struct SuiteType {
    int type;
    Constant constant;
    std::optional<Reduction> reduction;  // none: the same in both
    double sign;                         // value of the constant = sign times that of the file
};

/// All types, in the order in which files list constants.
std::span<const SuiteType> SuiteTypes();

/// The row of a type in a reduction; null when there is none.
const SuiteType* SuiteTypeOf(int type, Reduction reduction);

/// The row of a constant in a reduction; null when the suite's files have no word for it.
const SuiteType* SuiteTypeOf(Constant constant, Reduction reduction);

/// States of a code.
inline constexpr int kEveryState = 99;

/// A-priori errors: up to kHeldError a constant is held, from kFreeError on it is free.
inline constexpr double kHeldError = 1e-20, kFreeError = 1e5;

/// Axes of spin weights, IAX: which parity chooses between WTPL and WTMN.
enum class WeightAxis : int { A = 1, B = 2, C = 3 };

/// True for a level class (0 Ka Kc even-even, 1 eo, 2 oo, 3 oe) with the weight WTPL.
bool HasEvenWeight(WeightAxis axis, int level_class);

}  // namespace kiv
