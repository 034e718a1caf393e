// Numbers as text in fixed columns, byte for byte as printf writes them, without its cost.
#pragma once

#include <cstddef>

namespace kiv {

/// Most characters that PutFixed4 can need, its free space behind the number included: the
/// largest double has 309 digits before the point.
constexpr std::size_t kFixed4Room = 352;
/// The same for PutInt.
constexpr std::size_t kIntRoom = 32;

/// Writes `value` at `out` as "%<width>.4f" does, rounded half to even on its exact binary value;
/// width 1..16. Returns the end of the text; up to 16 characters behind it may be overwritten.
char* PutFixed4(char* out, double value, int width);

/// Writes `value` at `out` as "%<width>d" does; width 1..8. Returns the end of the text; up to 8
/// characters behind it may be overwritten.
char* PutInt(char* out, int value, int width);

}  // namespace kiv
