// Features made of measured lines, and fits of them.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "fit/FitTest.h"
#include "kiv/feature_fit.h"

namespace kiv {

using Features = std::vector<LineFeature>;

inline LineTransition Transition(const LineLevel& upper, const LineLevel& lower) {
    LineTransition t;
    t.upper = upper;
    t.lower = lower;
    return t;
}

inline LineTransition TransitionOf(const MeasuredLine& line, int v_upper, int v_lower) {
    return Transition({v_upper, line.J_upper, line.Ka_upper, line.Kc_upper},
                      {v_lower, line.J_lower, line.Ka_lower, line.Kc_lower});
}

inline Features FeaturesOf(const MeasuredLines& lines, int v_upper = 1, int v_lower = 0) {
    Features features;
    for (const MeasuredLine& line : lines) {
        features.push_back(
            {line.frequency, line.uncertainty, {TransitionOf(line, v_upper, v_lower)}});
    }
    return features;
}

class FeatureTest : public FitTest {
  protected:
    FeatureFitOptions options;

    /// Disturbs frequencies by a normal variable of their uncertainty times `size`.
    static void AddNoise(Features& features, double size, unsigned seed = 3) {
        std::mt19937 random(seed);
        for (LineFeature& feature : features) {
            double sum = -6.0;
            for (int i = 0; i < 12; ++i) sum += random() / 4294967296.0;
            feature.frequency += size * feature.uncertainty * sum;
        }
    }

    void VaryOnly(std::initializer_list<Term*> terms) {
        VaryPresent(false);
        for (Term* term : terms) term->fit = true;
    }

    FeatureFit FittedTo(const Features& features) {
        auto fit = FitFeatures(model, settings, features, options, work, silent);
        if (fit) return std::move(fit).value();
        ADD_FAILURE() << fit.error().text;
        return {};
    }
    FeatureFit Judged(const Features& features) {
        auto fit = JudgeFeatures(model, settings, features, options, work, silent);
        if (fit) return std::move(fit).value();
        ADD_FAILURE() << fit.error().text;
        return {};
    }

    /// All constants agree within `most` standard deviations of `expected`.
    static void ExpectSame(const FeatureFit& found, const FeatureFit& expected, double most) {
        ASSERT_EQ(found.parameters.size(), expected.parameters.size());
        for (std::size_t m = 0; m < found.parameters.size(); ++m) {
            const FitParameter &a = found.parameters[m].parameter,
                               &b = expected.parameters[m].parameter;
            EXPECT_NEAR(a.value, b.value, most * b.sd) << a.Name();
            EXPECT_NEAR(a.sd, b.sd, 1e-6 * b.sd) << a.Name();
        }
    }
};

}  // namespace kiv
