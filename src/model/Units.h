// Numbers of the model that are kept at the digits on which published results rest.
#pragma once

namespace kiv {

/// Degrees to radians and back.
inline constexpr double kRadPerDeg = 0.0174532925199;
inline constexpr double kDegPerRad = 57.29577951322445;

}  // namespace kiv
