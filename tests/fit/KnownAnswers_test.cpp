// Fits of many synthetic sets: the truth is known, so that deviations can be counted.
#include <cstdio>
#include <string>

#include "fit/Synthetic.h"

namespace kiv {
namespace {

constexpr int kSets = 200;  // of each kind
// Standard deviations by which a statistic may be off. There are 1200: chance takes one in a
// hundred such runs beyond it.
constexpr double kMost = 4.5;
constexpr int kBeyond = 2;  // J above the measured ones for which lines are predicted
constexpr std::size_t kPredicted = 40;

struct Value {
    Constant constant;
    double value;
};

State StateOf(std::initializer_list<double> rotational, std::initializer_list<Value> others) {
    const double* const r = rotational.begin();
    State state = State::Rigid(r[0], r[1], r[2]);
    for (const auto& [constant, value] : others) state.Set(constant, value);
    for (Term& term : state.terms.values) term.fit = term.on;
    for (int c = 0; c < 3; ++c) state.terms[c].fit = true;
    return state;
}

// MHz, all constants to the eighth power.
Model Rotation(Reduction reduction) {
    using enum Constant;
    Model model;
    model.one_state = true;
    model.lower() =
        StateOf({30000.0, 15000.0, 9000.0},
                {{DK, 1.5},    {DJK, -0.06}, {DJ, 0.02},   {dK, 0.03},   {dJ, 0.007}, {HJ, 1e-6},
                 {HJK, -4e-6}, {HKJ, -3e-5}, {HK, 3e-4},   {hJ, 4e-7},   {hJK, 5e-7}, {hK, 3e-5},
                 {LJ, -1e-10}, {LJJK, 1e-9}, {LJK, -5e-9}, {LKKJ, 3e-8}, {LK, -5e-8}, {lJ, 1e-10},
                 {lJK, 2e-10}, {lKJ, -1e-9}, {lK, 5e-9}});
    model.lower().reduction = reduction;
    if (reduction == Reduction::A) return model;
    for (const auto& [constant, value] : {Value{dJ, -0.007},
                                          {dK, -2e-3},
                                          {hJ, 4e-7},
                                          {hJK, 2e-7},
                                          {hK, 1e-7},
                                          {lJ, -1e-11},
                                          {lJK, -8e-12},
                                          {lKJ, -4e-12},
                                          {lK, 1e-12}}) {
        model.lower().terms[constant].value = value;
    }
    return model;
}
Model RotationA() { return Rotation(Reduction::A); }
Model RotationS() { return Rotation(Reduction::S); }

// MHz, to the fourth power.
Model Quartic() {
    using enum Constant;
    Model model;
    model.one_state = true;
    model.lower() = StateOf({9012.3, 4321.0, 2987.6},
                            {{DK, 0.05}, {DJK, -0.008}, {DJ, 2e-3}, {dK, 3e-3}, {dJ, 6e-4}});
    return model;
}

// cm-1, two states.
Model Band() {
    using enum Constant;
    Model model;
    model.lower() =
        StateOf({0.5234, 0.3012, 0.1923},
                {{DK, 2e-6}, {DJK, -5e-7}, {DJ, 3e-7}, {dK, 2e-7}, {dJ, 1e-7}, {HK, 3e-10}});
    model.upper() =
        StateOf({0.5301, 0.2988, 0.1931},
                {{DK, 2.5e-6}, {DJK, -4e-7}, {DJ, 2.8e-7}, {dK, 3e-7}, {dJ, 1.2e-7}, {HK, -2e-10}});
    model.origin = {1234.5, true, true};
    return model;
}

struct Kind {
    const char* name;
    Model (*model)();
    FitData data;
    std::size_t between, within_lower, within_upper;  // measured lines
    double uncertainty;                               // the smallest
    bool has_blends = false, has_repeats = false, is_uniform = false;
};
void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

constexpr Kind kKinds[] = {
    {"RotationA", RotationA, FitData::OneState, 0, 260, 0, 0.02},
    {"RotationS", RotationS, FitData::OneState, 0, 260, 0, 0.02},
    {"Band", Band, FitData::TwoStates, 260, 0, 0, 2e-4},
    {"Relative", Band, FitData::UpperAsDifference, 260, 0, 0, 2e-4},
    {"WithinStates", Band, FitData::TwoStates, 120, 60, 60, 2e-4},
    {"Blends", Band, FitData::TwoStates, 300, 40, 40, 2e-4, true},
    {"Repeats", Quartic, FitData::OneState, 0, 80, 0, 0.01, false, true},
    {"Uniform", Quartic, FitData::OneState, 0, 120, 0, 0.03, false, false, true},
};

// A chi-square of `num` degrees of freedom as a normal variable. Source: E. B. Wilson, M. M.
// Hilferty, Proc. Natl. Acad. Sci. 17, 684 (1931).
double NormalOf(double chi_squared, double num) {
    const double variance = 2.0 / (9.0 * num);
    return (std::cbrt(chi_squared / num) - 1.0 + variance) / std::sqrt(variance);
}

// Deviations over their standard deviation, one for each set.
struct Scatter {
    double sum = 0.0, squares = 0.0;

    void Add(double deviation) {
        sum += deviation;
        squares += deviation * deviation;
    }
    // The largest of what mean and scatter are off, in their standard deviations.
    double Off() const {
        return std::max(std::fabs(sum) / std::sqrt(kSets), std::fabs(NormalOf(squares, kSets)));
    }
};

class KnownAnswers : public FeatureTest, public testing::WithParamInterface<Kind> {
  protected:
    const Kind& kind = GetParam();
    SlowBook book{kind.model()};
    Features exact;
    std::vector<LineTransition> unmeasured;

    KnownAnswers() {
        truth = model = kind.model();
        settings = Strengths(12);
        options.data = kind.data;
        if (kind.is_uniform) options.weights = FitWeights::Uniform;
        Noise noise(7);
        Measure(1, 0, kind.between, noise);
        Measure(0, 0, kind.within_lower, noise);
        Measure(1, 1, kind.within_upper, noise);
        if (kind.has_blends) Blend();
        if (kind.has_repeats) Repeat(noise);
    }

    void Measure(int v_upper, int v_lower, std::size_t num, Noise& noise) {
        if (num == 0) return;
        const double least = 10.0 * kind.uncertainty;  // narrower doublets are rounding
        const std::vector<LineTransition> lines =
            book.Lines(v_upper, v_lower, settings.max_J + kBeyond, least, noise);
        std::size_t left = kPredicted;
        for (const LineTransition& t : lines) {
            if (num > 0 && t.upper.J <= settings.max_J && t.lower.J <= settings.max_J) {
                const double more = kind.is_uniform ? 1.0 : std::floor(1.0 + 4.0 * noise.Uniform());
                exact.push_back({book.Position(t), more * kind.uncertainty, {t}});
                --num;
            } else if (left > 0) {
                unmeasured.push_back(t);
                --left;
            }
        }
        ASSERT_EQ(num, 0U);
    }

    // Neighbours in frequency, in turn: two weighed by their strengths, single lines, three with
    // weights of their own.
    void Blend() {
        const auto is_low = [](const LineFeature& f) { return f.transitions[0].lower.Ka < 5; };
        std::stable_partition(exact.begin(), exact.end(), is_low);
        const auto low = std::find_if_not(exact.begin(), exact.end(), is_low);
        std::sort(exact.begin(), low, [](const LineFeature& a, const LineFeature& b) {
            return a.frequency < b.frequency;
        });
        Features features(low, exact.end());
        const auto num = static_cast<std::size_t>(low - exact.begin());
        for (std::size_t i = 0, size = 0; i < num; i += size) {
            size = std::min(num - i, std::array<std::size_t, 4>{2, 1, 3, 1}[features.size() % 4]);
            LineFeature feature{0.0, exact[i].uncertainty, {}};
            double weights = 0.0;
            for (std::size_t k = i; k < i + size; ++k) {
                LineTransition t = exact[k].transitions[0];
                if (size == 3) t.weight = 0.5 * static_cast<double>(k - i + 1);
                const double weight = t.weight ? *t.weight : book.Strength(t);
                feature.frequency += weight * exact[k].frequency;
                weights += weight;
                feature.transitions.push_back(t);
            }
            feature.frequency /= weights;
            features.push_back(feature);
        }
        exact = features;
    }

    // Up to four measurements of a line.
    void Repeat(Noise& noise) {
        Features features;
        for (const LineFeature& feature : exact) {
            for (double left = 4.0 * noise.Uniform(); left > 0.0; left -= 1.0) {
                features.push_back(feature);
                features.back().uncertainty *= 1.0 + noise.Uniform();
            }
        }
        exact = features;
    }

    double Of(const Model& of, const FeatureParameter& p) const {
        if (!p.parameter.constant) return of.origin.value;
        const Constant c = *p.parameter.constant;
        return of.states[p.parameter.state].value(c) - (p.relative ? of.lower().value(c) : 0.0);
    }

    // Constants that are off by up to three standard deviations and a thousandth.
    Model StartingValues(const FeatureFit& perfect, Noise& noise) const {
        Model start = truth;
        for (const FeatureParameter& p : perfect.parameters) {
            Term& term = p.parameter.constant
                             ? start.states[p.parameter.state].terms[*p.parameter.constant]
                             : start.origin;
            const double size = 3.0 * p.parameter.sd + 1e-3 * std::fabs(term.value);
            term.value += size * (2.0 * noise.Uniform() - 1.0);
        }
        return start;
    }

    void Predict(const FeatureFit& fit, std::vector<Scatter>& predicted) {
        const int max_J = settings.max_J + kBeyond;
        const auto lower = SolveLevels(fit.model.lower(), max_J, work).value();
        const auto upper = SolveLevels(fit.model.upper(), max_J, work).value();
        const Predictor predictor(fit, lower, upper);
        const auto energy = [&](const LineLevel& l) {
            return (l.v == 0 ? lower : upper).Energy(l.J, l.J + l.Ka - l.Kc);
        };
        predicted.resize(unmeasured.size());
        for (std::size_t i = 0; i < unmeasured.size(); ++i) {
            const LineTransition& t = unmeasured[i];
            const double position = (t.upper.v - t.lower.v) * fit.model.origin.value +
                                    energy(t.upper) - energy(t.lower);
            predicted[i].Add((position - book.Position(t)) / predictor.Sd(t.upper, t.lower));
        }
    }
};

TEST_P(KnownAnswers, AreFoundWithinTheirDeviations) {
    const FeatureFit perfect = Judged(exact);
    const std::size_t p = perfect.parameters.size();
    const int free = static_cast<int>(exact.size() - p);
    std::vector<Scatter> constants(p), predicted;
    double chi_squared = 0.0;
    int outside = 0;
    std::uint64_t seed = 0;
    for (const char* c = kind.name; *c; ++c) seed = 31 * seed + static_cast<unsigned char>(*c);
    Noise noise(seed);
    for (int set = 0; set < kSets; ++set) {
        SCOPED_TRACE(set);
        Features features = exact;
        for (LineFeature& feature : features) {
            feature.frequency += feature.uncertainty * noise.Normal();
        }
        model = StartingValues(perfect, noise);
        const FeatureFit fit = FittedTo(features);
        ASSERT_TRUE(fit.converged);
        ASSERT_EQ(fit.varied, static_cast<int>(p));
        ASSERT_EQ(fit.equations - fit.varied, free);
        const double unit = kind.is_uniform ? kind.uncertainty : 1.0;
        chi_squared += fit.wrms * fit.wrms * fit.equations / (unit * unit);
        for (std::size_t m = 0; m < p; ++m) {
            const FeatureParameter& c = fit.parameters[m];
            const double sd = kind.is_uniform ? c.sd_scaled : c.parameter.sd;
            constants[m].Add((Of(fit.model, c) - Of(truth, c)) / sd);
            outside += std::fabs(Of(fit.model, c) - Of(truth, c)) > 3.0 * sd ? 1 : 0;
        }
        Predict(fit, predicted);
    }
    const double within = 100.0 - 100.0 * outside / (kSets * double(p));
    EXPECT_GE(within, 99.0);
    const double chi_off = NormalOf(chi_squared, double(kSets) * free);
    EXPECT_LT(std::fabs(chi_off), kMost);
    for (std::size_t m = 0; m < p; ++m) {
        EXPECT_LT(constants[m].Off(), kMost) << perfect.parameters[m].parameter.Name();
    }
    double least = 1e9, most = 0.0;
    for (std::size_t i = 0; i < predicted.size(); ++i) {
        EXPECT_LT(predicted[i].Off(), kMost) << i;
        least = std::min(least, std::sqrt(predicted[i].squares / kSets));
        most = std::max(most, std::sqrt(predicted[i].squares / kSets));
    }
    std::printf(
        "%s: %.2f %% within 3 sd, chi-square %.2f of %d (%+.1f sd), scatter over sd of "
        "predictions %.2f to %.2f\n",
        kind.name, within, chi_squared / kSets, free, chi_off, least, most);
}

std::string NameOf(const testing::TestParamInfo<Kind>& kind) { return kind.param.name; }
INSTANTIATE_TEST_SUITE_P(, KnownAnswers, testing::ValuesIn(kKinds), NameOf);

}  // namespace
}  // namespace kiv
