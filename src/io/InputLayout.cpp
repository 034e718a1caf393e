#include "io/InputLayout.h"

#include <string_view>

namespace kiv {
namespace {

bool IsMajor(std::string_view version, std::string_view major) {
    return version.starts_with(major) && version.substr(major.size()).starts_with('.');
}

}  // namespace

bool HasFitStatus(const InputFile& file) {
    const std::string_view version = file.version;
    return IsMajor(version, "v5") && version != "v5.0" && version != "v5.1" && version != "v5.2" &&
           version != "v5.3";
}

bool HasGroundOnly(const InputFile& file) { return !HasFitStatus(file); }

bool HasAssignmentLimits(const InputFile& file) {
    return IsMajor(file.version, "v5") && file.version != "v5.0";
}

bool LacksUniform(const InputFile& file) { return IsMajor(file.version, "v3"); }

bool HasUniform(const InputFile& file) { return !LacksUniform(file); }

bool HasAngles(const InputFile& file) { return file.moment_method == 0; }

bool HasPercents(const InputFile& file) { return file.moment_method != 0; }

// In its place older files have a switch: 1 for a calculation of the ground state alone.
std::optional<InputFault> FitStatusFromGroundOnly(InputFile& file) {
    file.fit_status = file.fit_status == 1 ? 0 : 1;
    return {};
}

std::optional<InputFault> CheckFrame(InputFile& file) {
    if (file.moment_frame == kLower || file.moment_frame == kUpper) return {};
    return InputFault::Record;
}

std::optional<InputFault> ConvertMoment(InputFile& file) {
    MatchMoment(file);
    return {};
}

std::optional<InputFault> CheckUnit(InputFile& file) {
    if (EnergyPerKelvin(file)) return {};
    return InputFault::Unit;
}

std::optional<InputFault> SetUniform(InputFile& file) {
    file.uniform = 1;
    return {};
}

}  // namespace kiv
