// Measured spectra, and what is compared with them. The first byte chooses the unit, the line shape
// and whether a shift is looked for.
#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include "FuzzSupport.h"
#include "exchange/MeasuredSpectrum.h"
#include "kiv/spectrum.h"

namespace kiv {
namespace {

void CheckFindings(const Findings& findings) {
    int errors = 0;
    for (const Finding& finding : findings) {
        Require(TextOf(finding).find('\n') == std::string::npos, "a finding is one line");
        Require(finding.line >= 1 && finding.column >= 1, "a place");
        if (finding.severity == Severity::Error) ++errors;
    }
    Require(errors <= 5, "few errors");
}

void Compare(const MeasuredSpectrum& spectrum, const LineProfile& profile, bool has_shift) {
    const double middle = spectrum.frequency[spectrum.frequency.size() / 2];
    const std::array<double, 2> position{middle, middle + 3.0};
    constexpr std::array<float, 2> kIntensity{1.0F, 0.5F};
    const auto compared =
        CompareSpectrum({position, kIntensity}, profile, {spectrum.frequency, spectrum.value},
                        has_shift ? std::optional<double>(1.0) : std::nullopt, SmallMemory());
    if (!compared) return;
    const Comparison& found = compared.value();
    Require(std::fabs(found.correlation) <= 1.0 + 1e-9, "correlation");
    Require(found.calculated.size() == spectrum.value.size(), "all points");
    Require(found.shift == 0.0 || (has_shift && std::fabs(found.shift) <= 1.0), "shift");
}

}  // namespace
}  // namespace kiv

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kiv;
    ByteSource bytes(data, size);
    const int choice = bytes.Byte();
    const EnergyUnit unit = (choice & 1) != 0 ? EnergyUnit::Wavenumber : EnergyUnit::MHz;
    Findings findings;
    const MeasuredSpectrum spectrum =
        ReadMeasuredSpectrum(bytes.rest(), unit, "spectrum", findings);
    CheckFindings(findings);
    Require(spectrum.frequency.size() == spectrum.value.size(), "two columns");
    Require(std::is_sorted(spectrum.frequency.begin(), spectrum.frequency.end()), "ascending");
    if (spectrum.value.empty()) {
        Require(findings.has_errors(), "nothing has a reason");
        return 0;
    }
    constexpr LineShape kShapes[] = {LineShape::Gauss, LineShape::Lorentz, LineShape::Voigt};
    Compare(spectrum, {kShapes[(choice >> 1) % 3], 1.0, 0.5}, (choice & 64) != 0);
    return 0;
}
