// The header of the binary line set: what stands where.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "kiv/model.h"

namespace kiv::line_set {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the binary file is little-endian");
static_assert(sizeof(float) == 4 && sizeof(double) == 8);

// Offsets in the header of the binary file. Bytes without an entry are zero.
// clang-format off
enum HeaderOffset : std::size_t {
    kFormat        = 0,     // char[1316]     "QZS v1.6"
    kStatus        = 1316,  // int32[2][50]   constants of each state, the origin behind the upper
    kMomentAngles  = 3008,  // double[3]      squared magnitude, theta, chi
    kTemperatures  = 3032,  // double[3]      T1, T2, weight of T2
    kEnergyScale   = 3056,  // double         energy units per kelvin
    kConstants     = 3154,  // int32          22
    kLabels        = 3158,  // char[50][10]   labels of the constants and of the origin
    kValues        = 3658,  // double[2][50]  as the switches
    kDeviations    = 4458,  // double[2][50]  as the switches
    kRms           = 5258,  // float          standard deviation of the fit
    kLines         = 5262,  // int32          lines, N
    kAssignments   = 5266,  // int32          assignments read
    kMatched       = 5270,  // int32          of these with a calculated line
    kMissing       = 5274,  // int32          of these without one
    kSplit         = 5278,  // int32          assignments of the first set
    kHasDerivatives= 5282,  // int32          1: derivatives are in the file
    kHasEnergies   = 5286,  // int32          1: level energies are in the file
    kDerivatives   = 5294,  // int32          derivatives a line, K
    kFitted        = 5298,  // int32          fitted constants, P
    kCovariances   = 5302,  // int32          P * P
    kLevels        = 5306,  // int32          levels a state, L
    kHasAmplitudes = 5318,  // int32          1: amplitudes are in the file
    kHasAmplitudes2= 5322,  // int32          the same again
    kIsComplex     = 5326,  // int32          1: complex Hamiltonians
    kProgram       = 5366,  // char[7944]     "KIV " and the version
    kHeaderSize    = 13310
};
// clang-format on

inline constexpr std::size_t kHeaderSlots = 50;  // room for constants of a state
inline constexpr std::size_t kLabelSize = 10;    // of a label
inline constexpr std::size_t kOriginSlot = kNumFileConstants;

/// Slot of a constant: those of positional files, the origin, then the higher ones.
constexpr std::size_t SlotOf(int constant) {
    return static_cast<std::size_t>(constant < kNumFileConstants ? constant : constant + 1);
}
static_assert(SlotOf(kNumConstants - 1) < kHeaderSlots);
static_assert(kLabels + kHeaderSlots * kLabelSize == kValues);
static_assert(kValues + 2 * kHeaderSlots * sizeof(double) == kDeviations);
static_assert(kDeviations + 2 * kHeaderSlots * sizeof(double) == kRms);
static_assert(kProgram + 7944 == kHeaderSize);

/// The first bytes of the file.
class HeaderBytes {
  public:
    template <class T>
    void Set(std::size_t offset, T value) {
        std::memcpy(&bytes_[offset], &value, sizeof value);
    }

    void SetInt(std::size_t offset, std::int64_t value) {
        Set(offset, static_cast<std::int32_t>(value));
    }

    void SetText(std::size_t offset, const std::string& text) {
        std::memcpy(&bytes_[offset], text.data(), text.size());
    }

    // One number for each constant of both states, and for the origin.
    template <class T>
    void SetConstants(std::size_t offset, const PerConstant<T>& lower, const PerConstant<T>& upper,
                      T origin) {
        const std::size_t second = offset + kHeaderSlots * sizeof(T);
        for (int c = 0; c < kNumConstants; ++c) {
            Set(offset + SlotOf(c) * sizeof(T), lower[c]);
            Set(second + SlotOf(c) * sizeof(T), upper[c]);
        }
        Set(second + kOriginSlot * sizeof(T), origin);
    }

    const char* data() const { return bytes_.data(); }

  private:
    std::array<char, kHeaderSize> bytes_{};
};

}  // namespace kiv::line_set
