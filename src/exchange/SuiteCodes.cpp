#include "exchange/SuiteCodes.h"

namespace kiv {
namespace {

constexpr std::optional<Reduction> kBoth, kA = Reduction::A, kS = Reduction::S;

// clang-format off
constexpr SuiteType kTypes[] = {
    {100, Constant::A, kBoth, 1.0},   {200, Constant::B, kBoth, 1.0},
    {300, Constant::C, kBoth, 1.0},
    {2, Constant::DJ, kBoth, -1.0},   {11, Constant::DJK, kBoth, -1.0},
    {20, Constant::DK, kBoth, -1.0},
    {401, Constant::dJ, kA, -1.0},    {410, Constant::dK, kA, -1.0},
    {401, Constant::dJ, kS, 1.0},     {500, Constant::dK, kS, 1.0},
    {3, Constant::HJ, kBoth, 1.0},    {12, Constant::HJK, kBoth, 1.0},
    {21, Constant::HKJ, kBoth, 1.0},  {30, Constant::HK, kBoth, 1.0},
    {402, Constant::hJ, kA, 1.0},     {411, Constant::hJK, kA, 1.0},
    {420, Constant::hK, kA, 1.0},
    {402, Constant::hJ, kS, 1.0},     {501, Constant::hJK, kS, 1.0},
    {600, Constant::hK, kS, 1.0},
    {4, Constant::LJ, kBoth, 1.0},    {13, Constant::LJJK, kBoth, 1.0},
    {22, Constant::LJK, kBoth, 1.0},  {31, Constant::LKKJ, kBoth, 1.0},
    {40, Constant::LK, kBoth, 1.0},
    {403, Constant::lJ, kA, 1.0},     {412, Constant::lJK, kA, 1.0},
    {421, Constant::lKJ, kA, 1.0},    {430, Constant::lK, kA, 1.0},
    {403, Constant::lJ, kS, 1.0},     {502, Constant::lJK, kS, 1.0},
    {601, Constant::lKJ, kS, 1.0},    {700, Constant::lK, kS, 1.0},
};
// clang-format on

bool IsOf(const SuiteType& row, Reduction reduction) {
    return !row.reduction || *row.reduction == reduction;
}

}  // namespace

std::span<const SuiteType> SuiteTypes() { return kTypes; }

const SuiteType* SuiteTypeOf(int type, Reduction reduction) {
    for (const SuiteType& row : kTypes) {
        if (row.type == type && IsOf(row, reduction)) return &row;
    }
    return nullptr;
}

const SuiteType* SuiteTypeOf(Constant constant, Reduction reduction) {
    for (const SuiteType& row : kTypes) {
        if (row.constant == constant && IsOf(row, reduction)) return &row;
    }
    return nullptr;
}

bool HasEvenWeight(WeightAxis axis, int level_class) {
    const bool ka_odd = level_class >= 2, kc_odd = level_class == 1 || level_class == 2;
    if (axis == WeightAxis::A) return !ka_odd;
    if (axis == WeightAxis::C) return !kc_odd;
    return ka_odd == kc_odd;
}

}  // namespace kiv
