#include "fit/FeatureTest.h"
#include "fit/Rejection.h"

namespace kiv {
namespace {

class FeatureSelection : public FeatureTest {
  protected:
    static int Count(const FeatureFit& fit, FeatureFate fate) {
        return static_cast<int>(
            std::count_if(fit.residuals.begin(), fit.residuals.end(),
                          [&](const FeatureResidual& r) { return r.fate == fate; }));
    }
};

struct Outlier {
    const char* name;
    double start;  // relative error of the constants
    void (*set)(FeatureFitOptions& options);
    const char* reason;
};

// The planted lines are rejected and no other, from good and from poor starting values.
TEST_F(FeatureSelection, FindsOutliers) {
    const Outlier outliers[] = {
        {"uncertainties", 1e-7, [](FeatureFitOptions& o) { o.reject = 5; },
         "obs - calc is above 5 uncertainties"},
        {"from afar", 0.01, [](FeatureFitOptions& o) { o.reject = 5; },
         "obs - calc is above 5 uncertainties"},
        {"rms", 0.01,
         [](FeatureFitOptions& o) {
             o.weights = FitWeights::Uniform;
             o.reject = 4.5;
         },
         "obs - calc is above 4.5 times the rms"},
        {"limit", 0.01, [](FeatureFitOptions& o) { o.reject_above = 0.125; },
         "obs - calc reaches the limit of 0.125"},
    };
    Features features = FeaturesOf(SlowBand(4));
    for (LineFeature& feature : features) feature.uncertainty *= 0.01;
    AddNoise(features, 1.0);
    Features clean = features;
    truth = model;
    for (const std::size_t i : {40U, 90U}) {
        features[i].frequency += i == 40 ? 3.0 : -700.0;
        clean.erase(clean.begin() + static_cast<std::ptrdiff_t>(i) - (i > 40));
    }
    for (const auto& [name, start, set, reason] : outliers) {
        SCOPED_TRACE(name);
        options = {};
        options.weights = std::string(name) == "rms" ? FitWeights::Uniform : options.weights;
        model = truth;
        const FeatureFit expected = FittedTo(clean);
        set(options);
        Disturb(start);
        const FeatureFit fit = FittedTo(features);
        EXPECT_TRUE(fit.converged);
        EXPECT_EQ(Count(fit, FeatureFate::Rejected), 2);
        EXPECT_TRUE(fit.rejected == 2 && fit.used == int(clean.size()) && fit.unmatched == 0);
        for (const std::size_t i : {40U, 90U}) {
            EXPECT_EQ(fit.residuals[i].fate, FeatureFate::Rejected);
            EXPECT_EQ(fit.residuals[i].reason, reason);
            EXPECT_EQ(fit.residuals[i].leverage, 0.0);
            EXPECT_TRUE(fit.residuals[i].calculated.has_value());
        }
        ExpectSame(fit, expected, 1e-3);
    }
}

// Misfits by which two measurements take turns.
TEST_F(FeatureSelection, DoesNotGoRoundInCircles) {
    options.reject = 3.0;
    Rejection rejection(options, false);
    rejection.GoToLast();
    const std::vector<double> uncertainty(4, 1.0);
    using enum FeatureFate;
    std::vector<FeatureFate> fate(4, Used);
    const auto select = [&](double first, double second) {
        fate[3] = Unmatched;
        rejection.Select(std::vector{first, second, 0.5, 9.0}, uncertainty, fate);
        return std::pair(fate[0], fate[1]);
    };
    EXPECT_EQ(select(4, 1), std::pair(Rejected, Used));
    EXPECT_EQ(select(4, 1), std::pair(Rejected, Used));
    EXPECT_EQ(select(1, 4), std::pair(Used, Rejected));
    EXPECT_EQ(select(4, 1), std::pair(Rejected, Rejected));
    EXPECT_EQ(select(1, 1), std::pair(Rejected, Rejected));
    EXPECT_TRUE(fate[2] == Used && fate[3] == Unmatched);
}

struct Absent {
    LineLevel upper, lower;
    const char* reason;
};

// One part without a line takes the feature with it.
TEST_F(FeatureSelection, NamesWhatHasNoLine) {
    const Absent absent[] = {
        {{1, 7, 0, 7}, {0, 6, 0, 6}, "J = 7 is above the highest J, 6"},
        {{1, 2, 2, 2}, {0, 2, 0, 2}, "the quantum numbers name no level of J = 2"},
        {{1, 3, 0, 3}, {0, 1, 0, 1}, "J changes by more than 1"},
        {{1, 0, 0, 0}, {0, 0, 0, 0}, "there is no line from J = 0 to J = 0"},
        {{1, 4, 4, 1}, {0, 4, 1, 4}, "the change of Ka is beyond delta_K = 1"},
        {{0, 1, 0, 1}, {0, 1, 1, 0}, "the calculated line goes down in energy"},
        {{2, 1, 0, 1}, {0, 1, 1, 0}, "there is no such state"},
    };
    settings.lines.delta_K = 1;
    VaryPresent(false);
    for (const auto& [upper, lower, reason] : absent) {
        SCOPED_TRACE(reason);
        LineFeature feature{1e3, 1.0, {Transition(upper, lower)}};
        EXPECT_EQ(Judged({feature}).residuals[0].reason, reason);
        feature.transitions.insert(feature.transitions.begin(),
                                   Transition({1, 1, 1, 1}, {0, 1, 0, 1}));
        const FeatureFit fit = Judged({feature});
        EXPECT_TRUE(fit.unmatched == 1 && fit.used == 0);
        EXPECT_EQ(fit.residuals[0].fate, FeatureFate::Unmatched);
        EXPECT_TRUE(std::string_view(fit.residuals[0].reason).ends_with(reason));
        EXPECT_FALSE(fit.residuals[0].calculated.has_value());
    }
    settings.lines.parity = ParityRule{true, false};
    EXPECT_EQ(Judged({{1e3, 1.0, {Transition({1, 2, 0, 2}, {0, 1, 0, 1})}}}).residuals[0].reason,
              "the parity rule excludes it");
    model.one_state = true;
    EXPECT_EQ(Judged({{1e3, 1.0, {Transition({1, 2, 0, 2}, {0, 1, 0, 1})}}}).residuals[0].reason,
              "the model has no upper state");
}

// Blends and lines without a partner take no part in combination differences.
TEST_F(FeatureSelection, NamesWhatMakesNoDifference) {
    options.data = FitData::LowerDifferences;
    const LineTransition a = Transition({1, 1, 1, 1}, {0, 0, 0, 0}),
                         b = Transition({1, 1, 1, 1}, {0, 2, 1, 1}),
                         c = Transition({1, 2, 2, 1}, {0, 1, 1, 0}),
                         within = Transition({0, 1, 1, 1}, {0, 0, 0, 0});
    VaryPresent(false);
    const FeatureFit fit = Judged({{1e3, 1, {a}},
                                   {1e3, 1, {b}},
                                   {1e3, 1, {c}},
                                   {1e3, 1, {a}},
                                   {1e3, 1, {a, b}},
                                   {9, 1, {within}}});
    EXPECT_TRUE(fit.equations == 2 && fit.used == 3 && fit.unmatched == 3);
    EXPECT_EQ(fit.residuals[2].reason, "no other line shares its upper level");
    EXPECT_EQ(fit.residuals[4].reason, "blends are not used in combination differences");
    EXPECT_EQ(fit.residuals[5].reason,
              "combination differences are those of lines from the lower to the upper state");
}

struct Blends {
    const char* name;
    bool one_state;
    double temperature;
    EulerAngles tilt;
};

// A blend without weights lies at the mean of the listed lines by their listed intensities.
TEST_F(FeatureSelection, WeighsBlendsByIntensity) {
    const Blends cases[] = {{"band", false, 5, {}},
                            {"strengths", false, 0, {}},
                            {"rotation", true, 8, {}},
                            {"turned", false, 5, {0, 25, 0}},
                            {"complex", false, 5, {20, 25, -40}}};
    VaryPresent(false);
    settings.lines.spin_weights = {1, 3, 2, 4};
    for (const auto& [name, one_state, temperature, tilt] : cases) {
        SCOPED_TRACE(name);
        model.one_state = one_state;
        model.origin.value = one_state ? 0.0 : 1000.0;
        model.upper().tilt = tilt;
        settings.lines.temperature = temperature;
        const auto list = ComputeLines(model, settings, work);
        ASSERT_TRUE(list);
        Features features;
        std::vector<double> mean;
        for (std::int32_t n = 0; n + 40 < list.value().size; n += 7) {
            double weights = 0.0, sum = 0.0, equal = 0.0;
            LineFeature feature{1e3, 1.0, {}};
            for (const int k : {n, n + 40, n + 3, n}) {  // one of them twice
                const LineView line = list.value().Line(k);
                feature.transitions.push_back(
                    Transition({one_state ? 0 : 1, line.upper.J, line.upper.Ka, line.upper.Kc},
                               {0, line.lower.J, line.lower.Ka, line.lower.Kc}));
                weights += line.intensity;
                sum += line.intensity * line.position;
                equal += line.position / 4;
            }
            features.push_back(feature);
            mean.push_back(sum / weights);
            options.has_moment = false;
            EXPECT_NEAR(*Judged({feature}).residuals[0].calculated, equal, 1e-9);
            options.has_moment = true;
        }
        ASSERT_GT(features.size(), 20U);
        const FeatureFit fit = Judged(features);
        for (std::size_t i = 0; i < features.size(); ++i) {  // listed in single precision
            EXPECT_NEAR(*fit.residuals[i].calculated, mean[i], 1e-5) << i;
        }
    }
    // forbidden lines alone: equal weights
    model = TwoStates();
    model.moment = Moment::FromPercent({100, 0, 0});
    const FeatureFit dark = Judged(
        {{1e3,
          1,
          {Transition({1, 1, 1, 1}, {0, 0, 0, 0}), Transition({1, 1, 1, 0}, {0, 0, 0, 0})}}});
    EXPECT_NEAR(*dark.residuals[0].calculated, 100 + 9.3 + (4.1 + 6.3) / 2, 1e-9);
}

}  // namespace
}  // namespace kiv
