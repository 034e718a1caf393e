// Data and starting values that no fit can do much with: it ends, says how, and what it gives is
// sound.
#include <limits>

#include "fit/FeatureTest.h"

namespace kiv {
namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();

using Spoil = void (*)(Model& model, FeatureFitOptions& options, Features& lines);

class HostileFits : public FeatureTest {
  protected:
    FeatureFit clean;
    Features band;

    // Band lines with noise of uncertainties 0.005 to 0.011; the smallest standard deviation of a
    // constant is 1e-5, the largest 2e-3.
    HostileFits() {
        truth = model;
        band = FeaturesOf(SlowBand(8));
        for (LineFeature& line : band) line.uncertainty *= 0.01;
        AddNoise(band, 1.0);
        clean = FittedTo(band);
    }

    Result<FeatureFit> Try(Spoil spoil) {
        Features lines = band;
        model = truth;
        options = {};
        spoil(model, options, lines);
        auto fit = FitFeatures(model, settings, lines, options, work, silent);
        if (fit) ExpectSound(fit.value());
        return fit;
    }

    // All figures are numbers and fit together.
    static void ExpectSound(const FeatureFit& fit) {
        double leverage = 0.0, sum = fit.rms + fit.wrms + fit.reduced_chi_squared + fit.condition;
        for (const FeatureResidual& r : fit.residuals) {
            leverage += r.leverage;
            sum += r.predicted_sd + r.calculated.value_or(0.0);
            EXPECT_TRUE(r.leverage >= 0.0 && r.leverage <= 1.0 + 1e-9 && r.predicted_sd >= 0.0);
            EXPECT_EQ(r.fate == FeatureFate::Used, r.reason.empty());
        }
        int determined = 0;
        for (std::size_t m = 0; m < fit.parameters.size(); ++m) {
            const FeatureParameter& p = fit.parameters[m];
            determined += p.determined ? 1 : 0;
            EXPECT_EQ(p.determined, p.parameter.sd > 0.0) << p.parameter.Name();
            EXPECT_TRUE(!p.determined || p.tied_to.empty());
            sum += p.parameter.value + p.sd_scaled;
            for (std::size_t k = 0; k < m; ++k) {
                EXPECT_LE(std::fabs(fit.Correlation(m, k)), 1.0 + 1e-9);
            }
        }
        EXPECT_TRUE(std::isfinite(sum));
        EXPECT_EQ(determined, fit.varied);
        EXPECT_NEAR(leverage, fit.varied, 1e-6);
        EXPECT_EQ(fit.used + fit.rejected + fit.unmatched, static_cast<int>(fit.residuals.size()));
    }

    // The truth within four deviations of the fit of unspoilt lines.
    void ExpectRight(const FeatureFit& fit) {
        EXPECT_TRUE(fit.converged);
        EXPECT_EQ(fit.varied, clean.varied);
        for (const FeatureParameter& p : clean.parameters) {
            const auto of = [&](const Model& m) {
                return p.parameter.constant
                           ? m.states[p.parameter.state].value(*p.parameter.constant)
                           : m.origin.value;
            };
            EXPECT_NEAR(of(fit.model), of(truth), 4.0 * p.parameter.sd) << p.parameter.Name();
        }
    }
};

struct Harmless {
    const char* name;
    int rejected;
    Spoil spoil;
};

TEST_F(HostileFits, OfDataThatCanBeFitted) {
    const Harmless harmless[] = {
        {"mixed 0.1 and 10 times the uncertainty", 0,
         [](Model&, FeatureFitOptions&, Features& f) {
             for (std::size_t i = 0; i < f.size(); ++i) {
                 const double noise =
                     std::sqrt(12.0) * (std::fmod(0.618034 * double(i), 1.0) - 0.5);
                 f[i].uncertainty *= i % 4 == 0 ? 10.0 : 0.1;
                 if (i % 4 == 0) f[i].frequency += f[i].uncertainty * noise;
             }
         }},
        {"all uncertainties a million times too small", 0,
         [](Model&, FeatureFitOptions&, Features& f) {
             for (LineFeature& line : f) line.uncertainty *= 1e-6;
         }},
        {"and 1e100 times", 0,
         [](Model&, FeatureFitOptions&, Features& f) {
             for (LineFeature& line : f) line.uncertainty *= 1e-100;
         }},
        {"no uncertainties", 0,
         [](Model&, FeatureFitOptions&, Features& f) {
             for (LineFeature& line : f) line.uncertainty = 0.0;
         }},
        {"ten without, one of them nowhere", 0,
         [](Model&, FeatureFitOptions& o, Features& f) {
             for (std::size_t i = 0; i < 10; ++i) f[i].uncertainty = 0.0;
             f[3].frequency = -1e7;
             o.reject = 5.0;
         }},
        {"one a million times too small, rejected", 1,
         [](Model&, FeatureFitOptions& o, Features& f) {
             f[3].uncertainty *= 1e-6;
             o.reject = 5.0;
         }},
        {"one line 1e6 off", 1,
         [](Model&, FeatureFitOptions& o, Features& f) {
             f[11].frequency += 1e6;
             o.reject = 5.0;
         }},
        {"one line -1e6 off, constants 1 %", 1,
         [](Model& m, FeatureFitOptions& o, Features& f) {
             f[11].frequency -= 1e6;
             o.reject = 5.0;
             for (State& state : m.states) {
                 state.terms[Constant::A].value *= 1.01;
                 state.terms[Constant::C].value *= 0.99;
             }
         }},
        {"one line -1e6 off, by a limit", 1,
         [](Model&, FeatureFitOptions& o, Features& f) {
             f[11].frequency -= 1e6;
             o.reject_above = 0.2;
         }},
        {"one line 1e6 off, equal weights", 1,
         [](Model&, FeatureFitOptions& o, Features& f) {
             f[11].frequency += 1e6;
             o.weights = FitWeights::Uniform;
             o.reject = 4.0;
         }},
        {"distortion of the other sign and ten times", 0,
         [](Model& m, FeatureFitOptions&, Features&) {
             for (int c = int(Constant::DK); c <= int(Constant::dJ); ++c) {
                 for (State& state : m.states) state.terms[c].value *= -10.0;
             }
         }},
        {"no band origin", 0,
         [](Model& m, FeatureFitOptions&, Features&) { m.origin.value = -1e6; }},
        {"a thousand times the constants", 0,
         [](Model& m, FeatureFitOptions&, Features&) {
             for (State& state : m.states) {
                 for (Term& term : state.terms.values) term.value *= 1e3;
             }
         }},
    };
    for (const auto& [name, rejected, spoil] : harmless) {
        SCOPED_TRACE(name);
        const auto fit = Try(spoil);
        ASSERT_TRUE(fit) << fit.error().text;
        EXPECT_EQ(fit.value().rejected, rejected);
        ExpectRight(fit.value());
    }
}

struct Refused {
    ErrorCode code;
    Spoil spoil;
};

TEST_F(HostileFits, OfDataThatCannotBeFitted) {
    const Refused refused[] = {
        {ErrorCode::TooFewLines, [](Model&, FeatureFitOptions&, Features& f) { f.clear(); }},
        {ErrorCode::TooFewLines, [](Model&, FeatureFitOptions& o, Features&) { o.reject = 1e-12; }},
        {ErrorCode::TooFewLines,
         [](Model&, FeatureFitOptions& o, Features&) { o.reject_above = 0.0; }},
        {ErrorCode::TooFewLines,
         [](Model&, FeatureFitOptions& o, Features&) {
             o.weights = FitWeights::Uniform;
             o.reject = 0.5;
         }},
        {ErrorCode::TooFewLines,
         [](Model&, FeatureFitOptions& o, Features& f) {
             for (LineFeature& line : f) line.uncertainty *= 1e-6;
             o.reject = 5.0;
         }},
        {ErrorCode::TooFewLines,
         [](Model&, FeatureFitOptions&, Features& f) {
             for (LineFeature& line : f) line.transitions[0].upper.J += 1000000000;
         }},
        {ErrorCode::OutOfRange,
         [](Model&, FeatureFitOptions&, Features& f) { f[7].frequency = -kInfinite; }},
        {ErrorCode::OutOfRange,
         [](Model&, FeatureFitOptions&, Features& f) { f[7].uncertainty = std::nan(""); }},
        {ErrorCode::OutOfRange,
         [](Model&, FeatureFitOptions&, Features& f) { f[7].uncertainty = kInfinite; }},
        {ErrorCode::OutOfRange,
         [](Model&, FeatureFitOptions&, Features& f) { f[7].uncertainty = -0.01; }},
        {ErrorCode::OutOfRange,
         [](Model&, FeatureFitOptions&, Features& f) { f[7].uncertainty = 1e-200; }},
        {ErrorCode::OutOfRange,
         [](Model&, FeatureFitOptions&, Features& f) { f[7].transitions[0].weight = -1.0; }},
        {ErrorCode::OutOfRange, [](Model&, FeatureFitOptions&,
                                   Features& f) { f[7].transitions[0].weight = std::nan(""); }},
        {ErrorCode::OutOfRange,
         [](Model& m, FeatureFitOptions&, Features&) { m.origin.value = std::nan(""); }},
        {ErrorCode::NegativeConstant,
         [](Model&, FeatureFitOptions&, Features& f) { f[7].frequency = 1e300; }},
    };
    for (const Refused& now : refused) {
        SCOPED_TRACE(&now - refused);
        const auto fit = Try(now.spoil);
        ASSERT_FALSE(fit);
        EXPECT_EQ(fit.error().code, now.code) << fit.error().text;
        EXPECT_FALSE(fit.error().text.empty());
    }
}

// Whatever they start from, fits end; from constants that are off by 10 % they find the minimum.
TEST_F(HostileFits, FromWildStartingValues) {
    int converged = 0;
    for (int i = 0; i < 60; ++i) {
        SCOPED_TRACE(i);
        model = truth;
        options = {};
        if (i % 3 == 1) options.reject = 5.0;
        if (i % 3 == 2) options.reject_above = 0.1;
        const double size = std::pow(10.0, i / 3 % 10 - 4);
        for (int k = 0; k < kTerms; ++k) {
            Term& term = TermOf(model, k);
            if (term.fit) term.value *= 1.0 + size * std::cos(double(k) * k + 3 * i);
        }
        const auto fit = FitFeatures(model, settings, band, options, work, silent);
        if (size < 0.2) {
            ASSERT_TRUE(fit && fit.value().converged);
            EXPECT_NEAR(fit.value().wrms, clean.wrms, 0.01);
        }
        if (!fit) {
            EXPECT_TRUE(fit.error().code == ErrorCode::TooFewLines ||
                        fit.error().code == ErrorCode::NegativeConstant)
                << fit.error().text;
            continue;
        }
        ExpectSound(fit.value());
        converged += fit.value().converged ? 1 : 0;
    }
    EXPECT_GT(converged, 30);
}

// Of the powers of J(J+1) lines up to J = 2 determine two; those within the states say nothing of
// the origin.
TEST_F(HostileFits, OfConstantsThatCannotBeToldApart) {
    using enum Constant;
    VaryPresent(false);
    for (const Constant c : {DJ, HJ, LJ}) {
        model.lower().Set(c, model.lower().value(c)).terms[c].fit = true;
    }
    model.origin.fit = true;
    truth = model;
    settings.max_J = 2;
    Features lines = FeaturesOf(SlowRotation(1), 0, 0);
    AddNoise(lines, 1e-6);
    model.lower().terms[DJ].value = model.lower().terms[LJ].value = 0.01;
    const FeatureFit fit = FittedTo(lines);
    ExpectSound(fit);
    EXPECT_TRUE(fit.converged && fit.varied == 2);
    EXPECT_NEAR(fit.wrms, 1e-6, 5e-7);
    for (const FeatureParameter& p : fit.parameters) {
        const bool is_held = !p.parameter.constant || p.parameter.constant == LJ;
        EXPECT_EQ(p.determined, !is_held) << p.parameter.Name();
        EXPECT_EQ(p.tied_to.size(), p.parameter.constant == LJ ? 2U : 0U);
        EXPECT_EQ(p.parameter.value == p.parameter.start, is_held);
    }
}

}  // namespace
}  // namespace kiv
