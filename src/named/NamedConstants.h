// The names of constants in input files. Quartic ones carry Watson's sign, -DJ P^4; sextic and
// octic ones a plus.
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "kiv/model.h"

namespace kiv {

/// All constants in the order in which files list them.
// clang-format off
inline constexpr std::array<Constant, kNumConstants> kListedConstants = {
    Constant::A, Constant::B, Constant::C,
    Constant::PX, Constant::PY, Constant::PZ, Constant::PXPY, Constant::PXPZ, Constant::PYPZ,
    Constant::DJ, Constant::DJK, Constant::DK, Constant::dJ, Constant::dK,
    Constant::HJ, Constant::HJK, Constant::HKJ, Constant::HK, Constant::hJ, Constant::hJK,
    Constant::hK,
    Constant::LJ, Constant::LJJK, Constant::LJK, Constant::LKKJ, Constant::LK, Constant::lJ,
    Constant::lJK, Constant::lKJ, Constant::lK,
    Constant::PZ3, Constant::PX3, Constant::PY3, Constant::PZ2PX, Constant::PZ2PY, Constant::PX2PZ,
    Constant::PY2PZ, Constant::PZ5};
// clang-format on

/// The constant of a name in a reduction: d1 is there in the S reduction only, as dJ.
std::optional<Constant> ConstantNamed(std::string_view name, Reduction reduction);

/// The constant of a name in either reduction.
std::optional<Constant> ConstantNamed(std::string_view name);

/// The other reduction.
constexpr Reduction OtherThan(Reduction reduction) {
    return reduction == Reduction::A ? Reduction::S : Reduction::A;
}

}  // namespace kiv
