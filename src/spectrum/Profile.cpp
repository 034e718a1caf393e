#include "spectrum/Profile.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "base/ExpFunc.h"
#include "spectrum/HermiteRule.h"

namespace kiv {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kWidthPerSigma = 2.3548200450309493;  // 2 sqrt(2 ln 2)
constexpr double kSqrtTwoPi = 2.5066282746310002;
constexpr double kGaussReach = 8.5;  // in standard deviations: 2e-16 of the peak

// Nodes that interpolation needs on a standard deviation and on a half width.
constexpr double kNodesPerSigma = 6.0, kNodesPerGamma = 14.0;

constexpr int kWingTerms = 8;  // of the power series behind the first

double Lorentzian(double offset, double gamma) {
    return gamma / (kPi * (offset * offset + gamma * gamma));
}

double LorentzianWing(double offset, double gamma, double radius) {
    if (std::fabs(offset) >= radius) return Lorentzian(offset, gamma);
    const double ratio = offset / radius, narrow = gamma / radius;
    const double edge = 1.0 + narrow * narrow;
    const double u = (1.0 - ratio * ratio) / edge;
    double sum = 1.0;
    for (int j = 0; j < kWingTerms; ++j) sum = sum * u + 1.0;
    return sum * narrow / (kPi * edge * radius);
}

bool IsWidth(double width) { return width > 0.0 && std::isfinite(width); }

}  // namespace

Result<Profile> Profile::Of(const LineProfile& from) {
    const bool is_voigt = from.shape == LineShape::Voigt;
    const double gauss = from.shape == LineShape::Lorentz ? 0.0 : from.gauss;
    const double lorentz = from.shape == LineShape::Gauss ? 0.0 : from.lorentz;
    const bool is_good = is_voigt
                             ? (IsWidth(gauss) || gauss == 0.0) &&
                                   (IsWidth(lorentz) || lorentz == 0.0) && gauss + lorentz > 0.0
                             : IsWidth(gauss + lorentz);
    if (!is_good) {
        return Error{ErrorCode::BadChoice, "the width of a line shape is a positive number", ""};
    }
    Profile profile;
    profile.sigma_ = gauss / kWidthPerSigma;
    profile.gamma_ = 0.5 * lorentz;
    profile.peak_ = gauss > 0.0 ? 1.0 / (kSqrtTwoPi * profile.sigma_) : 0.0;
    profile.reach_ =
        lorentz > 0.0 ? std::numeric_limits<double>::infinity() : kGaussReach * profile.sigma_;
    profile.step_ = std::max(profile.sigma_ / kNodesPerSigma, profile.gamma_ / kNodesPerGamma);
    profile.blur_ = kHermiteNodes[kHermiteSize - 1] * profile.sigma_;
    return profile;
}

double Profile::At(double offset) const {
    if (sigma_ == 0.0) return Lorentzian(offset, gamma_);
    const double x = offset / sigma_;
    if (gamma_ == 0.0) return peak_ * ExpFunc(-0.5 * x * x);
    constexpr double kHalfRoot = 1.0 / std::numbers::sqrt2;
    return peak_ * VoigtFunction(x * kHalfRoot, gamma_ / sigma_ * kHalfRoot);
}

double Profile::Wing(double offset, double radius) const {
    if (sigma_ == 0.0) return LorentzianWing(offset, gamma_, radius);
    double sum = 0.0;
    for (int j = 0; j < kHermiteSize; ++j) {
        const double node = sigma_ * kHermiteNodes[j];
        sum += kHermiteWeights[j] * (LorentzianWing(offset - node, gamma_, radius) +
                                     LorentzianWing(offset + node, gamma_, radius));
    }
    return sum;
}

double ProfileAt(const LineProfile& profile, double offset) {
    const Result<Profile> made = Profile::Of(profile);
    return made ? made.value().At(offset) : std::numeric_limits<double>::quiet_NaN();
}

double WidthOf(const LineProfile& profile) {
    const double G = profile.gauss, L = profile.lorentz;
    if (profile.shape == LineShape::Gauss) return G;
    if (profile.shape == LineShape::Lorentz) return L;
    return 0.5346 * L + std::sqrt(0.2166 * L * L + G * G);
}

}  // namespace kiv
