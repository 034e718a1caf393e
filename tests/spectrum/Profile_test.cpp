// Line shapes against closed forms and slow integrals.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "kiv/spectrum.h"

namespace kiv {
namespace {

constexpr double kPi = std::numbers::pi;

// K(x, y) with t = x + y sinh u: 1/pi int exp(-(x + y sinh u)^2) / cosh u du, whose trapezoidal sum
// converges beyond all digits.
double SlowVoigt(double x, double y) {
    long double sum = 0.0L;
    constexpr long double kStep = 0.01L;
    for (int i = -8000; i <= 8000; ++i) {
        const long double u = kStep * i, t = x + y * std::sinh(u);
        if (std::fabs(t) < 14.0L) sum += std::exp(-t * t) / std::cosh(u);
    }
    return static_cast<double>(sum * kStep / std::numbers::pi_v<long double>);
}

TEST(Profile, VoigtFunctionIsItsIntegral) {
    for (const double y : {1e-28, 1e-12, 1e-6, 1e-3, 0.05, 0.3, 1.0, 2.7, 6.1, 6.2, 8.0, 30.0}) {
        for (const double x : {0.0, 0.1279, 0.128, 0.3, 0.3838, 0.5117, 1.0, 2.2, 3.5, 4.9, 5.95,
                               6.5, 8.1, 9.99, 10.01, 40.0}) {
            const double slow = SlowVoigt(x, y);
            EXPECT_NEAR(VoigtFunction(x, y) / slow, 1.0, 1e-12) << x << " " << y;
            EXPECT_EQ(VoigtFunction(-x, y), VoigtFunction(x, y));
        }
    }
}

TEST(Profile, VoigtFunctionOnTheAxes) {
    for (const double t : {0.0, 0.01, 0.6, 1.3, 2.9, 5.0}) {
        EXPECT_NEAR(VoigtFunction(t, 0.0) / std::exp(-t * t), 1.0, 1e-14);
        EXPECT_NEAR(VoigtFunction(0.0, t) / (std::exp(t * t) * std::erfc(t)), 1.0, 1e-13);
    }
    for (const double y : {1e3, 1e8, 1e150}) {
        EXPECT_NEAR(VoigtFunction(0.0, y) * y * std::sqrt(kPi), 1.0, 1e-6);
        EXPECT_NEAR(VoigtFunction(y, 1.0) * y * y * std::sqrt(kPi), 1.0, 1e-5);
    }
}

TEST(Profile, GaussAndLorentzAreTheirClosedForms) {
    for (const double width : {0.01, 1.0, 3e4}) {
        const LineProfile gauss{LineShape::Gauss, width, 17.0};
        const LineProfile lorentz{LineShape::Lorentz, 17.0, width};
        for (const double x : {0.0, 0.3, 0.5, 1.0, 2.5}) {
            EXPECT_NEAR(ProfileAt(gauss, x * width) * width,
                        2.0 * std::sqrt(std::log(2.0) / kPi) * std::pow(2.0, -4.0 * x * x), 1e-14);
            EXPECT_NEAR(ProfileAt(lorentz, x * width) * width, 2.0 / kPi / (1.0 + 4.0 * x * x),
                        1e-15);
        }
    }
}

TEST(Profile, VoigtBecomesEitherOfItsParts) {
    for (const double x : {0.0, 0.4, 1.1, 2.0}) {
        const double gauss = ProfileAt({LineShape::Gauss, 1.0, 0.0}, x);
        const double lorentz = ProfileAt({LineShape::Lorentz, 0.0, 1.0}, x);
        EXPECT_EQ(ProfileAt({LineShape::Voigt, 1.0, 0.0}, x), gauss);
        EXPECT_EQ(ProfileAt({LineShape::Voigt, 0.0, 1.0}, x), lorentz);
        EXPECT_NEAR(ProfileAt({LineShape::Voigt, 1.0, 1e-9}, x), gauss, 1e-8);
        EXPECT_NEAR(ProfileAt({LineShape::Voigt, 1e-5, 1.0}, x), lorentz, 1e-8);
    }
}

TEST(Profile, VoigtHasAreaAndWidth) {
    for (const LineProfile profile :
         {LineProfile{LineShape::Voigt, 1.0, 0.02}, LineProfile{LineShape::Voigt, 1.0, 1.0},
          LineProfile{LineShape::Voigt, 0.1, 2.0}}) {
        constexpr double kEnd = 2000.0, kStep = 0.02;
        double area = 0.0;
        for (int i = -100000; i <= 100000; ++i) area += kStep * ProfileAt(profile, kStep * i);
        area += profile.lorentz / (kPi * kEnd);  // of both tails
        EXPECT_NEAR(area, 1.0, 1e-6);
        double low = 0.0, high = 5.0;
        while (high - low > 1e-9) {
            const double middle = 0.5 * (low + high);
            const bool above = ProfileAt(profile, middle) > 0.5 * ProfileAt(profile, 0.0);
            (above ? low : high) = middle;
        }
        EXPECT_NEAR(WidthOf(profile) / (2.0 * low), 1.0, 3e-4);
    }
}

}  // namespace
}  // namespace kiv
