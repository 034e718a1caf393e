// The figures of a fit against normal equations in long double, with derivatives that are mean
// values of the slow rotor's operators, and what must not depend on how data are written down.
#include <string>

#include "fit/Synthetic.h"

namespace kiv {
namespace {

using Long = long double;

// C = N^-1 of symmetric equations by elimination, the units of the constants divided out first.
class NormalEquations {
  public:
    explicit NormalEquations(std::size_t size) : size_(size), sum_(size * size), inverse_(sum_) {}

    void Add(const std::vector<Long>& row) {
        for (std::size_t i = 0; i < size_; ++i) {
            for (std::size_t k = 0; k < size_; ++k) sum_[i * size_ + k] += row[i] * row[k];
        }
    }
    void Invert() {
        std::vector<Long> a(size_ * size_), length;
        for (std::size_t i = 0; i < size_; ++i) length.push_back(std::sqrt(sum_[i * size_ + i]));
        for (std::size_t i = 0; i < size_; ++i) {
            for (std::size_t k = 0; k < size_; ++k) {
                a[i * size_ + k] = sum_[i * size_ + k] / (length[i] * length[k]);
                inverse_[i * size_ + k] = i == k ? 1 : 0;
            }
        }
        for (std::size_t i = 0; i < size_; ++i) {  // positive definite: no exchanges
            for (std::size_t k = 0; k < size_; ++k) {
                if (k == i) continue;
                const Long factor = a[k * size_ + i] / a[i * size_ + i];
                for (std::size_t j = 0; j < size_; ++j) {
                    a[k * size_ + j] -= factor * a[i * size_ + j];
                    inverse_[k * size_ + j] -= factor * inverse_[i * size_ + j];
                }
            }
        }
        for (std::size_t i = 0; i < size_; ++i) {
            for (std::size_t k = 0; k < size_; ++k) {
                inverse_[i * size_ + k] /= a[i * size_ + i] * length[i] * length[k];
            }
        }
    }
    Long C(std::size_t i, std::size_t k) const { return inverse_[i * size_ + k]; }
    Long Product(const std::vector<Long>& d, const std::vector<Long>& e) const {
        Long sum = 0;
        for (std::size_t i = 0; i < size_; ++i) {
            for (std::size_t k = 0; k < size_; ++k) sum += d[i] * C(i, k) * e[k];
        }
        return sum;
    }

  private:
    std::size_t size_;
    std::vector<Long> sum_, inverse_;
};

class Identities : public FeatureTest {
  protected:
    // Sextic constants in both states; J up to 6.
    Identities() {
        using enum Constant;
        for (const auto& [c, value] : {std::pair(HJ, 2e-6), {HK, -3e-5}, {hJK, 1e-5}}) {
            model.lower().Set(c, value).terms[c].fit = true;
            model.upper().Set(c, 0.7 * value).terms[c].fit = true;
        }
        truth = model;
    }

    // Lines between and within the states, blends with and without weights, repeats, one that must
    // be rejected and one that the rules exclude.
    Features Measured(double uncertainty) {
        SlowBook book(model);
        Noise noise(11);
        Features features;
        const auto add = [&](int v_upper, int v_lower, std::size_t num, std::size_t blends) {
            std::vector<LineTransition> lines =
                book.Lines(v_upper, v_lower, settings.max_J, 0.1, noise);
            for (std::size_t i = 0; i < num; ++i) {
                LineFeature f{0.0, uncertainty * (1.0 + noise.Uniform()), {lines[i]}};
                if (i < 2 * blends) f.transitions.push_back(lines[lines.size() - 1 - i]);
                if (i < blends) f.transitions[0].weight = f.transitions[1].weight = 0.5 + double(i);
                if (i < blends) f.transitions[1].weight = 2.0;
                features.push_back(f);
                if (i % 5 == 0) features.push_back(f);
            }
        };
        if (!model.one_state) add(1, 0, 60, 5);
        add(0, 0, 50, 5);
        if (!model.one_state) add(1, 1, 25, 0);
        for (LineFeature& f : features) {
            f.frequency = Calculated(f, book) + f.uncertainty * noise.Normal();
        }
        features[8].frequency += 1e3 * uncertainty;
        features[9].transitions[0].upper.J = 40;
        return features;
    }

    static std::vector<double> Weights(const LineFeature& f, SlowBook& book) {
        std::vector<double> weights;
        double sum = 0.0;
        for (const LineTransition& t : f.transitions) {
            weights.push_back(t.weight ? *t.weight : book.Strength(t));
            sum += weights.back();
        }
        for (double& weight : weights) weight /= sum;
        return weights;
    }
    static double Calculated(const LineFeature& f, SlowBook& book) {
        const std::vector<double> weights = Weights(f, book);
        double sum = 0.0;
        for (std::size_t i = 0; i < weights.size(); ++i) {
            sum += weights[i] * book.Position(f.transitions[i]);
        }
        return sum;
    }

    // Derivatives of the calculated frequency.
    static std::vector<Long> Row(const FeatureFit& fit, const LineFeature& f, SlowBook& book) {
        const std::vector<double> weights = Weights(f, book);
        std::vector<Long> row;
        for (const FeatureParameter& p : fit.parameters) {
            Long sum = 0;
            for (std::size_t i = 0; i < weights.size(); ++i) {
                const LineTransition& t = f.transitions[i];
                const auto of_level = [&](const LineLevel& level) -> Long {
                    if (!p.parameter.constant) return level.v;
                    const bool moves_both =
                        fit.data == FitData::UpperAsDifference && p.parameter.state == kLower;
                    if (!moves_both && level.v != p.parameter.state) return 0;
                    return book.Derivative(level, *p.parameter.constant);
                };
                sum += static_cast<Long>(weights[i]) * (of_level(t.upper) - of_level(t.lower));
            }
            row.push_back(sum);
        }
        return row;
    }

    // Two fits of data that say the same.
    static void ExpectSameFit(const FeatureFit& found, const FeatureFit& expected) {
        ExpectSame(found, expected, 1e-6);
        for (std::size_t m = 0; m < found.parameters.size(); ++m) {
            for (std::size_t k = 0; k < m; ++k) {
                EXPECT_NEAR(found.Correlation(m, k), expected.Correlation(m, k), 1e-7);
            }
        }
        EXPECT_EQ(found.varied, expected.varied);
        EXPECT_NEAR(found.condition, expected.condition, 1e-6 * expected.condition);
    }
    static void ExpectSameResidual(const FeatureResidual& found, const FeatureResidual& expected) {
        EXPECT_EQ(found.fate, expected.fate);
        EXPECT_EQ(found.reason, expected.reason);
        EXPECT_NEAR(found.leverage, expected.leverage, 1e-8);
        EXPECT_NEAR(found.predicted_sd, expected.predicted_sd, 1e-7 * expected.predicted_sd);
        EXPECT_NEAR(found.calculated.value_or(0.0), expected.calculated.value_or(0.0), 1e-8);
    }
};

struct Choice {
    const char* name;
    FitData data;
    FitWeights weights;
};
void PrintTo(const Choice& choice, std::ostream* out) { *out << choice.name; }

class PlainFit : public Identities, public testing::WithParamInterface<Choice> {};

TEST_P(PlainFit, GivesTheSameFigures) {
    options.data = GetParam().data;
    options.weights = GetParam().weights;
    model.one_state = options.data == FitData::OneState;
    model.origin.fit = !model.one_state;
    const bool uniform = options.weights != FitWeights::Uncertainties;
    options.reject = uniform ? 6.0 : 10.0;
    const Features features = Measured(1e-3);
    Disturb(1e-3);
    const FeatureFit fit = FittedTo(features);
    ASSERT_TRUE(fit.converged && fit.rejected == 1 && fit.unmatched == 1);
    const std::size_t p = fit.parameters.size();
    ASSERT_EQ(fit.varied, static_cast<int>(p));
    SlowBook book(fit.model);
    NormalEquations normal(p);
    std::vector<std::vector<Long>> rows;
    std::vector<Long> gradient(p);
    Long chi_squared = 0;
    for (std::size_t i = 0; i < features.size(); ++i) {
        const FeatureResidual& r = fit.residuals[i];
        rows.push_back(r.fate == FeatureFate::Unmatched ? std::vector<Long>()
                                                        : Row(fit, features[i], book));
        if (r.fate == FeatureFate::Unmatched) continue;
        EXPECT_NEAR(r.calculated.value(), Calculated(features[i], book), 1e-9) << i;
        if (r.fate != FeatureFate::Used) continue;
        const Long u = uniform ? 1.0 : features[i].uncertainty;
        const Long misfit = (features[i].frequency - *r.calculated) / u;
        std::vector<Long> weighted = rows[i];
        for (std::size_t m = 0; m < p; ++m) {
            weighted[m] /= u;
            gradient[m] += weighted[m] * misfit;
        }
        normal.Add(weighted);
        chi_squared += misfit * misfit;
    }
    normal.Invert();
    const double free = static_cast<double>(fit.equations) - double(p);
    const double scale = std::sqrt(double(chi_squared) / free);
    const double predictions = options.weights == FitWeights::Uniform ? scale : 1.0;
    EXPECT_NEAR(fit.scale, scale, 1e-8 * scale);
    EXPECT_NEAR(fit.predictions, predictions, 1e-8 * predictions);
    for (std::size_t m = 0; m < p; ++m) {
        const FeatureParameter& found = fit.parameters[m];
        const double sd = double(std::sqrt(normal.C(m, m)));
        EXPECT_NEAR(found.parameter.sd, sd, 1e-8 * sd) << found.parameter.Name();
        EXPECT_NEAR(found.sd_scaled, sd * scale, 1e-8 * sd * scale);
        Long step = 0;  // that is left to the minimum
        for (std::size_t k = 0; k < p; ++k) {
            const double both = sd * double(std::sqrt(normal.C(k, k)));
            EXPECT_NEAR(fit.Covariance(m, k), double(normal.C(m, k)), 1e-8 * both);
            EXPECT_NEAR(fit.Correlation(m, k), double(normal.C(m, k)) / both, 1e-8);
            step += normal.C(m, k) * gradient[k];
        }
        EXPECT_LT(std::fabs(double(step)), 1e-4 * sd * (uniform ? scale : 1.0));
    }
    Long leverages = 0;
    for (std::size_t i = 0; i < features.size(); ++i) {
        const FeatureResidual& r = fit.residuals[i];
        leverages += r.leverage;
        if (r.fate == FeatureFate::Unmatched) continue;
        const Long variance = normal.Product(rows[i], rows[i]);
        const Long u = uniform ? 1.0 : features[i].uncertainty;
        const double sd = predictions * double(std::sqrt(variance));
        EXPECT_NEAR(r.predicted_sd, sd, 1e-8 * sd) << i;
        EXPECT_NEAR(r.leverage, r.fate == FeatureFate::Used ? double(variance / (u * u)) : 0.0,
                    1e-8);
    }
    EXPECT_NEAR(double(leverages), double(p), 1e-9);
    // of lines that were not measured, beyond the highest J
    const int max_J = settings.max_J + 2;
    const auto lower = SolveLevels(fit.model.lower(), max_J, work).value();
    const auto upper = SolveLevels(fit.model.upper(), max_J, work).value();
    const Predictor predictor(fit, lower, model.one_state ? lower : upper);
    Noise noise(2);
    std::vector<LineTransition> lines = book.Lines(model.one_state ? 0 : 1, 0, max_J, 0.1, noise);
    lines.resize(40);
    for (const LineTransition& t : lines) {
        const std::vector<Long> row = Row(fit, {0.0, 0.0, {t}}, book);
        const double sd = predictions * double(std::sqrt(normal.Product(row, row)));
        EXPECT_NEAR(predictor.Sd(t.upper, t.lower), sd, 1e-7 * sd);
    }
}

constexpr Choice kChoices[] = {
    {"OneState", FitData::OneState, FitWeights::Uncertainties},
    {"TwoStates", FitData::TwoStates, FitWeights::Uncertainties},
    {"Relative", FitData::UpperAsDifference, FitWeights::Uncertainties},
    {"OneStateUniform", FitData::OneState, FitWeights::Uniform},
    {"TwoStatesUnscaled", FitData::TwoStates, FitWeights::Unscaled},
    {"RelativeUniform", FitData::UpperAsDifference, FitWeights::Uniform},
};
std::string NameOf(const testing::TestParamInfo<Choice>& choice) { return choice.param.name; }
INSTANTIATE_TEST_SUITE_P(, PlainFit, testing::ValuesIn(kChoices), NameOf);

// Whatever its weight is, and however often it is named.
TEST_F(Identities, BlendOfOneIsThatLine) {
    const Features features = Measured(1e-3);
    options.reject = 10.0;
    Disturb(1e-3);
    const FeatureFit expected = FittedTo(features);
    ASSERT_TRUE(expected.converged && expected.rejected == 1);
    Features blends = features;
    for (std::size_t i = 0; i < blends.size(); ++i) {
        std::vector<LineTransition>& parts = blends[i].transitions;
        if (parts.size() > 1) continue;
        if (i % 3 == 0) parts[0].weight = 0.37;
        if (i % 3 == 1) parts.resize(3, parts[0]);
        if (i % 3 == 2) {
            parts.resize(2, parts[0]);
            parts[0].weight = 4.0;
            parts[1].weight = 1.0;
        }
    }
    const FeatureFit fit = FittedTo(blends);
    ExpectSameFit(fit, expected);
    for (std::size_t i = 0; i < blends.size(); ++i) {
        if (fit.residuals[i].fate == FeatureFate::Unmatched) continue;
        ExpectSameResidual(fit.residuals[i], expected.residuals[i]);
    }
    EXPECT_NEAR(fit.wrms, expected.wrms, 1e-8);
}

// n repeats are their mean with uncertainty u / sqrt(n): chi-square differs by their scatter.
TEST_F(Identities, RepeatsAreTheirMean) {
    Features means = Measured(1e-3), repeats;
    means.erase(means.begin() + 8, means.begin() + 10);
    Noise noise(5);
    std::vector<int> times;
    double scatter = 0.0;
    for (std::size_t i = 0; i < means.size(); ++i) {
        const int n = 1 + static_cast<int>(i % 5);
        times.push_back(n);
        double sum = 0.0, squares = 0.0;
        for (int k = 0; k < n; ++k) {
            const double off = noise.Normal();
            repeats.push_back(means[i]);
            repeats.back().frequency += off * means[i].uncertainty;
            sum += off;
            squares += off * off;
        }
        scatter += squares - sum * sum / n;
        means[i].frequency += sum / n * means[i].uncertainty;
        means[i].uncertainty /= std::sqrt(n);
    }
    Disturb(1e-4);
    const FeatureFit fit = FittedTo(repeats), expected = FittedTo(means);
    ExpectSameFit(fit, expected);
    EXPECT_NEAR(fit.wrms * fit.wrms * fit.equations,
                expected.wrms * expected.wrms * expected.equations + scatter, 1e-6);
    std::size_t at = 0;
    for (std::size_t i = 0; i < means.size(); ++i) {
        double leverage = 0.0;
        for (int k = 0; k < times[i]; ++k) leverage += fit.residuals[at++].leverage;
        EXPECT_NEAR(leverage, expected.residuals[i].leverage, 1e-8) << i;
    }
}

// Fates and figures go with the lines, from near and from poor starting values.
TEST_F(Identities, OrderOfLinesDoesNotMatter) {
    const Features features = Measured(1e-3);
    options.reject = 10.0;
    for (const double start : {1e-5, 1e-4, 0.03}) {
        model = truth;
        Disturb(start);
        const FeatureFit expected = FittedTo(features);
        ASSERT_TRUE(expected.converged && expected.rejected == 1);
        Noise noise(9);
        for (int i = 0; i < 4; ++i) {
            std::vector<std::size_t> order(features.size());
            for (std::size_t k = 0; k < order.size(); ++k) order[k] = k;
            noise.Shuffle(order);
            Features shuffled;
            for (const std::size_t k : order) {
                shuffled.push_back(features[k]);
                noise.Shuffle(shuffled.back().transitions);
            }
            const FeatureFit fit = FittedTo(shuffled);
            ExpectSameFit(fit, expected);
            for (std::size_t k = 0; k < order.size(); ++k) {
                ExpectSameResidual(fit.residuals[k], expected.residuals[order[k]]);
            }
            EXPECT_NEAR(fit.wrms, expected.wrms, 1e-8);
        }
    }
}

}  // namespace
}  // namespace kiv
