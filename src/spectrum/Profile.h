// A line profile made ready for many values, and its wings for coarse grids.
#pragma once

#include "kiv/error.h"
#include "kiv/spectrum.h"

namespace kiv {

class Profile {
  public:
    /// BadChoice for widths that are not positive and finite.
    static Result<Profile> Of(const LineProfile& profile);

    double At(double offset) const;

    /// Distance from which on the values are left out; infinite with a Lorentzian part.
    double reach() const { return reach_; }
    bool has_wings() const { return gamma_ > 0.0; }

    /// The widest step of a grid from which values between the nodes are interpolated, see
    /// Interpolation.h, within 1e-8 of the peak.
    double step() const { return step_; }

    /// The profile with its core taken off: for |offset| >= radius + blur() it is the profile,
    /// within 1e-11, nearer it is a smooth function of the size of `radius`. With s = (x/R)^2 the
    /// Lorentzian (gamma/pi) / (R^2 s + gamma^2) goes on below s = 1 as the first terms of its
    /// power series around s = 1; a Gaussian part blurs that. `radius` is at least 48 steps.
    double Wing(double offset, double radius) const;
    double blur() const { return blur_; }

  private:
    double sigma_ = 0.0, gamma_ = 0.0;  // standard deviation; half width at half maximum
    double peak_ = 0.0;                 // of the Gaussian
    double reach_ = 0.0, step_ = 0.0, blur_ = 0.0;
};

}  // namespace kiv
