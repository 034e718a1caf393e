#include "fit/FeatureTest.h"

namespace kiv {
namespace {

class FeatureFits : public FeatureTest {};

// Only the origin is varied: everything is that of a weighted mean. A line measured twice counts
// as one of the combined weight; a blend of two lines with weights 3 to 1 is one equation, and a
// line named twice in it counts twice.
TEST_F(FeatureFits, OfOneLinearConstantAreWeightedMeans) {
    VaryOnly({&model.origin});
    const MeasuredLines lines = SlowBand(60);
    Features features = FeaturesOf(lines);
    const auto blend = [&](std::size_t i, std::size_t k) {
        LineFeature& feature = features[i];
        feature.transitions[0].weight = 1.5;
        feature.transitions.push_back(features[i].transitions[0]);
        feature.transitions.push_back(TransitionOf(lines[k], 1, 0));
        feature.transitions.back().weight = 1.0;
        feature.frequency = 0.75 * lines[i].frequency + 0.25 * lines[k].frequency;
    };
    blend(2, 3);
    features.push_back(features[1]);
    AddNoise(features, 1.0);
    features.push_back(features[4]);
    features.back().uncertainty = 0.0;  // no weight, whatever was measured
    features.back().frequency += 100.0;
    model.origin.value = 1002.0;
    const FeatureFit fit = FittedTo(features);
    double weights = 0.0, mean = 0.0;
    const std::size_t n = features.size();
    const auto truth_of = [&](std::size_t i) {
        if (i == 2) return 0.75 * lines[2].frequency + 0.25 * lines[3].frequency;
        return lines[i < lines.size() ? i : i == lines.size() ? 1 : 4].frequency;
    };
    const auto weight_of = [&](std::size_t i) {
        const double u = features[i].uncertainty;
        return u > 0.0 ? 1.0 / (u * u) : 0.0;
    };
    for (std::size_t i = 0; i < n; ++i) {
        weights += weight_of(i);
        mean += weight_of(i) * (features[i].frequency - truth_of(i));
    }
    mean /= weights;
    const double sd = std::sqrt(1.0 / weights);
    double chi_squared = 0.0, sum = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        const FeatureResidual& r = fit.residuals[i];
        const double misfit = features[i].frequency - truth_of(i) - mean;
        EXPECT_NEAR(r.observed - r.calculated.value_or(0.0), misfit, 1e-8) << i;
        EXPECT_NEAR(r.leverage, weight_of(i) / weights, 1e-12) << i;
        EXPECT_NEAR(r.predicted_sd, sd, 1e-12) << i;
        chi_squared += weight_of(i) * misfit * misfit;
        sum += misfit * misfit;
    }
    ASSERT_EQ(fit.parameters.size(), 1U);
    EXPECT_TRUE(fit.converged && fit.cycles <= 2 && fit.used == int(n));
    EXPECT_NEAR(fit.model.origin.value, 1000.0 + mean, 1e-8);
    EXPECT_EQ(fit.parameters[0].parameter.start, 1002.0);
    EXPECT_NEAR(fit.model.origin.sd, sd, 1e-12);
    EXPECT_NEAR(fit.rms, std::sqrt(sum / double(n)), 1e-8);
    EXPECT_NEAR(fit.wrms, std::sqrt(chi_squared / double(n)), 1e-8);
    EXPECT_NEAR(fit.reduced_chi_squared, chi_squared / double(n - 1), 1e-8);
    EXPECT_NEAR(fit.parameters[0].sd_scaled, sd * std::sqrt(fit.reduced_chi_squared), 1e-12);
    EXPECT_EQ(fit.condition, 1.0);
    // without any uncertainty all weights are 1 and predictions are scaled
    for (LineFeature& feature : features) feature.uncertainty = 0.0;
    const FeatureFit uniform = FittedTo(features);
    EXPECT_TRUE(uniform.uniform && uniform.wrms == uniform.rms);
    EXPECT_NEAR(uniform.parameters[0].parameter.sd, 1.0 / std::sqrt(double(n)), 1e-12);
    EXPECT_NEAR(uniform.residuals[0].predicted_sd, uniform.parameters[0].sd_scaled, 1e-12);
    EXPECT_EQ(uniform.model.origin.sd, uniform.parameters[0].sd_scaled);
}

class OldFit : public FeatureFits, public testing::WithParamInterface<int> {};

// The undamped fit of the constants themselves by many cycles ends where this one does.
TEST_P(OldFit, GivesTheSameConstantsAndDeviations) {
    const auto data = settings.fit.data = options.data = static_cast<FitData>(GetParam() % 5);
    const bool uniform = GetParam() >= 5;
    settings.fit.weights = options.weights =
        uniform ? FitWeights::Uniform : FitWeights::Uncertainties;
    settings.fit.cycles = 12;
    model.one_state = data == FitData::OneState;
    if (model.one_state) model.origin.value = 0.0;
    model.lower().tilt = {0, 12, 0};
    // few pairs for each line: the old search has room for no more pairs than lines
    const bool of_pairs = data >= FitData::LowerDifferences;
    Features first = model.one_state ? FeaturesOf(SlowRotation(9), 0, 0)
                                     : FeaturesOf(SlowBand(of_pairs ? 22 : 14));
    Features second = of_pairs || model.one_state ? Features{} : FeaturesOf(SlowRotation(7), 0, 0);
    AddNoise(first, 1e-4);
    AddNoise(second, 1e-4);
    MeasuredLines lines[2];
    Features all;
    for (int set = 0; set < 2; ++set) {
        for (const LineFeature& f : set == 0 ? first : second) {
            const LineLevel &u = f.transitions[0].upper, &l = f.transitions[0].lower;
            lines[set].push_back({u.J, u.Ka, u.Kc, l.J, l.Ka, l.Kc, f.frequency, f.uncertainty});
            all.insert(all.begin(), f);
        }
    }
    Assign(lines[0], lines[1]);
    const FitResult old = Fitted();
    const FeatureFit fit = FittedTo(all);
    ASSERT_TRUE(fit.converged);
    EXPECT_EQ(fit.equations, old.used);
    EXPECT_NEAR(fit.rms, old.rms, 1e-6 * old.rms);
    ASSERT_EQ(fit.parameters.size(), old.parameters.size());
    double leverage = 0.0;
    for (const FeatureResidual& r : fit.residuals) leverage += r.leverage;
    EXPECT_NEAR(leverage, fit.varied, 1e-9);
    for (std::size_t m = 0; m < old.parameters.size(); ++m) {
        const FitParameter& expected = old.parameters[m];
        const FeatureParameter& found = fit.parameters[m];
        const double sd = uniform ? found.sd_scaled : found.parameter.sd;
        EXPECT_EQ(found.parameter.Name(), expected.Name());
        EXPECT_NEAR(sd, expected.sd, 1e-6 * expected.sd) << expected.Name();
        // the columns of the old one are not scaled
        EXPECT_NEAR(found.parameter.value, expected.value, 1e-5 * sd) << expected.Name();
        EXPECT_EQ(found.relative, data == FitData::UpperAsDifference && expected.state == kUpper &&
                                      expected.constant.has_value());
    }
}
INSTANTIATE_TEST_SUITE_P(, OldFit, testing::Range(0, 10));

// Lines within the upper state alone determine its constants.
TEST_F(FeatureFits, OfLinesWithinTheUpperState) {
    Features features = FeaturesOf(SlowBand(9));
    const Features within =
        FeaturesOf(SlowLines(model.upper(), model.upper(), 0.0, settings.max_J, 3, 1e-3), 1, 1);
    features.insert(features.end(), within.begin(), within.end());
    truth = model;
    Disturb(0.01);
    ExpectTruth(FittedTo(features).model);
    model = truth;
    for (Term& term : model.lower().terms.values) term.fit = false;
    model.origin.fit = false;
    Disturb(0.01);
    ExpectTruth(FittedTo(within).model);
}

// The constants differ from the truth by what their deviations say, and by the same numbers
// whatever the order of the lines; a fit of the fitted model leaves it, and judging it gives the
// same figures.
TEST_F(FeatureFits, OfNoiseAreRightWithinTheirDeviations) {
    Features features = FeaturesOf(SlowBand(2));
    std::sort(features.begin(), features.end(),
              [](const LineFeature& a, const LineFeature& b) { return a.frequency < b.frequency; });
    AddNoise(features, 1.0);
    for (std::size_t i = 0; i + 1 < features.size(); i += 9) {  // weights follow the constants
        features[i].transitions.push_back(features[i + 1].transitions[0]);
        features[i].frequency = 0.0;
    }
    settings.lines.temperature = 3.0;
    const FeatureFit perfect = Judged(features);
    for (std::size_t i = 0; i < features.size(); ++i) {
        if (features[i].transitions.size() > 1)
            features[i].frequency = *perfect.residuals[i].calculated;
    }
    truth = model;
    Disturb(0.001);
    const FeatureFit fit = FittedTo(features);
    ASSERT_TRUE(fit.converged);
    EXPECT_NEAR(fit.wrms, 1.0, 0.15);
    double worst = 0.0;
    Model fitted = fit.model;
    for (const FeatureParameter& p : fit.parameters) {
        const Term& was = p.parameter.constant
                              ? truth.states[p.parameter.state].terms[*p.parameter.constant]
                              : truth.origin;
        worst = std::max(worst, std::fabs(p.parameter.value - was.value) / p.parameter.sd);
    }
    EXPECT_GT(worst, 0.5);
    EXPECT_LT(worst, 3.5);
    std::reverse(features.begin(), features.end());
    std::rotate(features.begin(), features.begin() + 17, features.end());
    ExpectSame(FittedTo(features), fit, 1e-7);
    model = fitted;
    const FeatureFit again = FittedTo(features), judged = Judged(features);
    EXPECT_LE(again.cycles, 2);
    ExpectSame(again, fit, 1e-4);
    ExpectSame(judged, fit, 0.0);
    EXPECT_EQ(judged.cycles, 0);
    EXPECT_NEAR(judged.wrms, fit.wrms, 1e-9);
    EXPECT_NEAR(judged.condition, fit.condition, 1e-6 * fit.condition);
}

// Where the fit of the constants themselves goes astray.
TEST_F(FeatureFits, ConvergeFromPoorStartingValues) {
    settings.max_J = 10;
    const MeasuredLines lines = SlowBand(30);
    Assign(lines);
    int astray = 0;
    for (int i = 0; i < 6; ++i) {
        model = truth;
        for (const Constant c : {Constant::A, Constant::B, Constant::C}) {
            for (State& state : model.states) {
                state.terms[c].value *= 1.0 + 0.15 * std::cos(i + 2.0 * static_cast<int>(c));
            }
        }
        const auto old = RunFit(model, settings, assignments, work);
        astray += !old || !(old.value().rms < 1e-6) ? 1 : 0;
        const FeatureFit fit = FittedTo(FeaturesOf(lines));
        EXPECT_TRUE(fit.converged) << i;
        ExpectTruth(fit.model);
    }
    EXPECT_GT(astray, 0);
}

// 1(01) - 0(00) = B + C holds nothing of A and only the sum of B and C.
TEST_F(FeatureFits, HoldWhatTheDataDoNotDetermine) {
    model = OneState();
    model.lower() = State::Rigid(9, 5, 3);
    for (int c = 0; c < 3; ++c) model.lower().terms[c].fit = true;
    LineFeature line{8.4, 0.1, {Transition({0, 1, 0, 1}, {0, 0, 0, 0})}};
    const FeatureFit fit = FittedTo({line, line, line});
    EXPECT_TRUE(fit.converged && fit.varied == 1);
    const auto &A = fit.parameters[0], &B = fit.parameters[1], &C = fit.parameters[2];
    EXPECT_TRUE(!A.determined && B.determined && !C.determined);
    EXPECT_TRUE(A.tied_to.empty() && C.tied_to == std::vector<std::string>{"lower.B"});
    EXPECT_TRUE(A.parameter.value == 9.0 && A.parameter.sd == 0.0 && C.parameter.value == 3.0);
    EXPECT_NEAR(B.parameter.value, 5.4, 1e-12);
    EXPECT_NEAR(B.parameter.sd, 0.1 / std::sqrt(3.0), 1e-12);
    EXPECT_EQ(fit.Covariance(1, 2), 0.0);
    EXPECT_EQ(fit.Correlation(0, 1), 0.0);
    // fewer lines than constants are an error of a fit, not of a judgement
    const auto few = FitFeatures(model, settings, Features{line}, options, work, silent);
    ASSERT_FALSE(few);
    EXPECT_EQ(few.error().code, ErrorCode::TooFewLines);
    EXPECT_EQ(few.error().text, "1 of 1 measured lines can be used for 3 constants to fit");
    EXPECT_NEAR(*Judged({line}).residuals[0].calculated, 8.0, 1e-12);
}

// The deviations of positions are those of a difference quotient in every parameter.
TEST_F(FeatureFits, PredictDeviations) {
    options.data = FitData::UpperAsDifference;
    Features features = FeaturesOf(SlowBand(5));
    AddNoise(features, 1.0);
    const FeatureFit fit = FittedTo(features);
    Report report;
    const auto lower = SolveLevels(fit.model.lower(), settings.max_J, work).value();
    const auto upper = SolveLevels(fit.model.upper(), settings.max_J, work).value();
    const Predictor predictor(fit, lower, upper);
    for (std::size_t i = 0; i < features.size(); ++i) {
        const LineTransition& t = features[i].transitions[0];
        const double sd = fit.residuals[i].predicted_sd;
        EXPECT_NEAR(predictor.Sd(t.upper, t.lower), sd, 1e-9 * sd);
        EXPECT_NEAR(fit.residuals[i].leverage, std::pow(sd / features[i].uncertainty, 2), 1e-9);
    }
    const LineLevel u{0, 4, 2, 3}, l{0, 3, 1, 2};
    std::vector<double> d;
    model = fit.model;
    for (const FeatureParameter& p : fit.parameters) {
        const double h = 1e-4 * std::max(0.1, std::fabs(p.parameter.value));
        double position[2];
        for (const int sign : {0, 1}) {
            State state = model.lower();
            if (p.parameter.constant && p.parameter.state == kLower) {
                state.terms[*p.parameter.constant].value += sign == 0 ? -h : h;
            }
            const auto levels = SolveLevels(state, 4, work).value();
            position[sign] = levels.Energy(4, 3) - levels.Energy(3, 2);
        }
        d.push_back((position[1] - position[0]) / (2 * h));
    }
    double variance = 0.0;
    for (std::size_t m = 0; m < d.size(); ++m) {
        for (std::size_t k = 0; k < d.size(); ++k) variance += d[m] * fit.Covariance(m, k) * d[k];
    }
    EXPECT_NEAR(predictor.Sd(u, l), std::sqrt(variance), 1e-5 * std::sqrt(variance));
}

struct Failure {
    ErrorCode code;
    void (*spoil)(Model& model, FeatureFitOptions& options, Features& features);
};

TEST_F(FeatureFits, FailuresSayWhy) {
    const Failure failures[] = {
        {ErrorCode::TooFewLines, [](Model&, FeatureFitOptions&, Features& f) { f.resize(16); }},
        {ErrorCode::TooFewLines,
         [](Model&, FeatureFitOptions& o, Features& f) {
             o.reject_above = 1e-3;
             for (LineFeature& line : f)
                 line.frequency += f.size() + 50.0 * std::cos(line.frequency);
         }},
        {ErrorCode::NegativeConstant,  // 1(01) - 0(00) lies B' + C' above the origin
         [](Model& m, FeatureFitOptions&, Features& f) {
             for (State& state : m.states) {
                 for (Term& term : state.terms.values) term.fit = false;
             }
             m.origin.fit = false;
             m.upper().terms[Constant::C].fit = true;
             f = {{900.0, 1.0, {Transition({1, 1, 0, 1}, {0, 0, 0, 0})}}};
         }},
        {ErrorCode::OutOfRange,
         [](Model&, FeatureFitOptions&, Features& f) { f[7].frequency = std::nan(""); }},
        {ErrorCode::OutOfRange,
         [](Model& m, FeatureFitOptions&, Features&) { m.lower().Set(Constant::DJ, INFINITY); }},
        {ErrorCode::NoDifferences,
         [](Model&, FeatureFitOptions& o, Features& f) {
             o.data = FitData::LowerDifferences;
             f.resize(1);
         }},
    };
    const Features lines = FeaturesOf(SlowBand(8));
    const Model before = model;
    for (const Failure& failure : failures) {
        SCOPED_TRACE(&failure - failures);
        Features features = lines;
        failure.spoil(model, options, features);
        const auto result = FitFeatures(model, settings, features, options, work, silent);
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().code, failure.code) << result.error().text;
        model = before;
        options = {};
    }
    settings.max_J = 3;
    const Features few = FeaturesOf(SlowBand(2));
    EXPECT_GE(RefuseInTurn([&](Workspace& of) {
                  return FitFeatures(model, settings, few, options, of, silent);
              }).size(),
              8U);
    EXPECT_GT(CancelInTurn([&](Report& report) {
                  return FitFeatures(model, settings, few, options, work, report);
              }),
              3);
}

}  // namespace
}  // namespace kiv
