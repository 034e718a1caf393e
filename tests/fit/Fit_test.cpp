#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "base/ArrayName.h"
#include "fit/FitTest.h"
#include "fit/LeastSquares.h"

namespace kiv {
namespace {

constexpr MeasuredLine kNoPartner = {3, 1, 2, 0, 0, 0, 1234.5, 9.0};  // J changes by 3

// The lines of numbers of a data file.
std::vector<std::vector<double>> Numbers(const std::string& name) {
    std::ifstream file(KIV_TEST_DATA "/" + name);
    std::vector<std::vector<double>> rows;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        const std::vector<double> row{std::istream_iterator<double>(words), {}};
        if (!row.empty()) rows.push_back(row);
    }
    return rows;
}

class Fit : public FitTest {};

class MeasuredSpectrum : public Fit, public testing::WithParamInterface<const char*> {};

// Weighted, as two independent codes fit the same lines.
TEST_P(MeasuredSpectrum, GivesThePublishedConstantsAndDeviations) {
    const std::string name = GetParam();
    const auto rows = Numbers(name + "_measured.txt"), published = Numbers("fit/" + name + ".txt");
    ASSERT_TRUE(rows.size() >= 32 && published.size() == 8);
    MeasuredLines lines = {kNoPartner, {1, 0, 1, 0, 0, 0, 1e9, 5.0}};  // and an outlier
    for (const auto& row : rows) {
        const std::vector<int> q(row.begin(), row.begin() + 6);
        lines.push_back({q[0], q[1], q[2], q[3], q[4], q[5], row[6], row[7]});
    }
    Assign(lines);
    settings.max_J = 11;
    settings.fit.data = FitData::OneState;
    settings.fit.weights = FitWeights::Uncertainties;
    model.one_state = true;
    model.origin.value = 0.0;
    model.lower().reduction = name == "so2" ? Reduction::A : Reduction::S;
    for (int i = 0; i < 8; ++i) {
        model.lower().terms[i < 3 ? i : i + 6].value = i < 3 ? published[i][0] * 1.001 : 0.0;
    }
    const FitResult result = Fitted();
    EXPECT_EQ(result.used, static_cast<int>(rows.size()));
    EXPECT_EQ(result.rejected, 1);
    ASSERT_EQ(result.parameters.size(), 8U);
    for (std::size_t i = 0; i < 8; ++i) {
        const double sd = published[i][1];
        EXPECT_NEAR(result.parameters[i].value, published[i][0], 1e-3 * sd) << i;
        EXPECT_NEAR(result.parameters[i].sd, sd, 1e-5 * sd) << i;
    }
}
INSTANTIATE_TEST_SUITE_P(, MeasuredSpectrum, testing::Values("h2coh_plus", "so2"));

class KnownAnswer : public Fit, public testing::WithParamInterface<int> {};

TEST_P(KnownAnswer, IsFoundAgain) {
    const auto row = Numbers("fit/known_answers.txt").at(GetParam());
    const auto data = settings.fit.data = static_cast<FitData>(row[0]);
    for (const StateIndex i : {kLower, kUpper}) {
        State& state = model.states[i];
        state.reduction = row[1] == 1 || row[1] == 2 + i ? Reduction::A : Reduction::S;
        state.tilt = {row[3 + 3 * i], row[4 + 3 * i], row[5 + 3 * i]};
        for (std::size_t k = 9; k < row.size(); k += 2) {
            state.Set(static_cast<Constant>(row[k]), row[k + 1] * (i == kUpper ? 0.9 : 1.0));
        }
    }
    // states with different constants
    if (data == FitData::UpperDifferences) model.lower().terms[Constant::dK].on = false;
    VaryPresent();
    Assign(SlowBand(12));
    Disturb(row.size() == 9 ? 0.003 : 0.001);
    // what is not fitted is right from the start
    if (data == FitData::LowerDifferences) model.upper() = truth.upper();
    if (data == FitData::UpperDifferences) model.lower() = truth.lower();
    if (data >= FitData::LowerDifferences) model.origin = truth.origin;
    for (int c = 0; c < kNumConstants && row[2] == 1; ++c) {
        Term& upper = model.upper().terms[c];
        upper = truth.upper().terms[c];
        upper.value += model.lower().terms[c].value - truth.lower().terms[c].value;
        upper.fit = false;
    }
    const FitResult result = Fitted();
    ExpectTruth(result.model);
    EXPECT_LT(result.rms, 1e-9);
    EXPECT_GT(result.lines.size, 3 * assignments.size);  // the last pass leaves all lines
}
INSTANTIATE_TEST_SUITE_P(, KnownAnswer, testing::Range(0, 13));

struct RowListener : Listener {
    std::vector<std::array<std::int32_t, 3>> first_rows;
    int outliers = 0;

    void FirstRow(bool between, std::int32_t accepted, std::int32_t split) override {
        first_rows.push_back({between, accepted, split});
    }
    void RowRejected(const FitRowView&) override { ++outliers; }
    void MissingLine(std::int32_t, double) override {}
};

class TwoSets : public Fit, public testing::WithParamInterface<FitData> {};

TEST_P(TwoSets, BothCount) {
    settings.fit.data = GetParam();
    MeasuredLines band = SlowBand(14), rotation = SlowRotation(7);
    const int num = static_cast<int>(band.size()), of_rotation = static_cast<int>(rotation.size());
    band.insert(band.end(), {kNoPartner, kNoPartner, band[3]});  // a repeated line is missing
    rotation.push_back({2, 1, 1, 6, 0, 6});
    band[30].frequency += 5e6;  // outliers
    rotation[5].frequency += 5e6;
    Assign(band, rotation);
    Disturb(0.003);
    RowListener listener;
    const FitResult result = Fitted(listener, LineChoice::Assigned);
    ExpectTruth(result.model);
    EXPECT_EQ(result.used, num + of_rotation - 2);
    EXPECT_EQ(result.rejected, 2);  // of those with a partner
    EXPECT_EQ(result.residuals.size(), static_cast<std::size_t>(num + of_rotation));
    EXPECT_EQ(result.lines.size, num);  // of the first set alone
    EXPECT_EQ(result.lines.missing, 3);
    EXPECT_EQ(listener.outliers, 2 * settings.fit.cycles);
    EXPECT_EQ(listener.first_rows[0], (std::array{1, 0, num}));
    EXPECT_EQ(listener.first_rows[1], (std::array{0, num - 1, num - 1}));
    // a model of one state takes the second set and leaves the upper state alone
    settings.fit.data = FitData::OneState;
    model.one_state = true;
    model.origin.value = truth.origin.value = 0.0;
    truth.upper() = model.upper();
    const FitResult one = Fitted();
    ExpectTruth(one.model);
    EXPECT_EQ(one.marked, 8);
    EXPECT_EQ(one.used, of_rotation - 1);
}
INSTANTIATE_TEST_SUITE_P(, TwoSets,
                         testing::Values(FitData::TwoStates, FitData::UpperAsDifference));

// Only the origin is varied (PX is not present: counted, but without a column), so everything has a
// closed form. It starts 2 too high; one line is measured 4 too high: all misfits are 2 in size at
// first, and after the solution, the mean, they are -4/n and for the wrong line 4 - 4/n.
TEST_F(Fit, StatisticsOfALineDroppedAfterTheSolution) {
    VaryPresent(false);
    model.origin.fit = model.upper().terms[Constant::PX].fit = true;
    MeasuredLines lines = SlowBand(8);
    const double n = static_cast<double>(lines.size());
    lines[30].frequency += 4.0;
    Assign(lines);
    model.origin.value += 2.0;
    settings.fit.reject_above = 3.0;
    settings.fit.cycles = 1;
    FitResult result = Fitted();
    const double scale = 4 / n * std::sqrt((n - 1) / (n - 2));
    ASSERT_EQ(result.parameters.size(), 1U);
    const FitParameter& origin = result.parameters[0];
    EXPECT_EQ(origin.Name(), "upper.origin");
    EXPECT_EQ(origin.start, 1002.0);
    EXPECT_NEAR(origin.value, 1000.0 + 4 / n, 1e-9);
    EXPECT_NEAR(origin.sd, scale / std::sqrt(n), 1e-9);
    EXPECT_NEAR(result.rms, 4 / n, 1e-9);
    EXPECT_NEAR(result.scale, scale, 1e-9);
    EXPECT_NEAR(result.Covariance(0, 0), scale * scale / n, 1e-12);
    EXPECT_EQ(result.Covariance(1, 1), 0.0);
    EXPECT_TRUE(result.marked == 2 && result.used == n - 1 && result.rejected == 1);
    const LineList& list = result.lines;
    EXPECT_EQ(std::count(list.band.begin(), list.band.begin() + list.size, 'R'), 1);
    EXPECT_EQ(list.band[list.match_line[30]], 'R');
    EXPECT_TRUE(result.residuals[30].rejected && !result.residuals[29].rejected);
    // as many lines as constants: deviations are not scaled
    lines.resize(1);
    Assign(lines);
    model.upper().terms[Constant::PX].fit = false;
    EXPECT_NEAR(Fitted().model.origin.value, 1000.0, 1e-9);
    EXPECT_NEAR(Fitted().model.origin.sd, 1.0, 1e-12);
    // nothing varied, which needs no line: the misfit of the only one equals the level
    VaryPresent(false);
    result = Fitted();
    settings.fit.reject_above = std::fabs(lines[0].frequency - result.residuals[0].calculated);
    EXPECT_NEAR(settings.fit.reject_above, 2.0, 1e-9);
    EXPECT_FALSE(result.residuals[0].rejected);
    result = Fitted();
    EXPECT_TRUE(result.residuals[0].rejected && result.used == 0 && result.rejected == 1);
    ExpectTruth(result.model, 0.0);
}

using Matrix = std::vector<std::vector<long double>>;

// Gauss and Jordan; a positive definite matrix needs no pivots.
Matrix Inverse(Matrix a) {
    const std::size_t n = a.size();
    Matrix b(n, std::vector<long double>(n, 0.0L));
    for (std::size_t i = 0; i < n; ++i) {
        b[i][i] += 1.0L;
        const long double pivot = a[i][i];
        for (std::size_t j = 0; j < n; ++j) a[i][j] /= pivot, b[i][j] /= pivot;
        for (std::size_t k = 0; k < n; ++k) {
            const long double f = k == i ? 0.0L : a[k][i];
            for (std::size_t j = 0; j < n; ++j) a[k][j] -= f * a[i][j], b[k][j] -= f * b[i][j];
        }
    }
    return b;
}

// At the end of a fit of disturbed lines the residuals are orthogonal to the derivatives, and all
// statistics follow from both by their definitions.
TEST_F(Fit, SolvesTheNormalEquations) {
    MeasuredLines lines[] = {SlowRotation(9), SlowBand(9)};
    std::mt19937 random(11);
    for (MeasuredLines& of : lines) {
        for (MeasuredLine& line : of) line.frequency += 1e-10 * random();
    }
    settings.fit.cycles = 8;
    for (int i = 0; i < 15; ++i) {
        SCOPED_TRACE(i);
        const auto data = settings.fit.data = static_cast<FitData>(i % 5);
        settings.fit.weights = static_cast<FitWeights>(i / 5);
        model.one_state = data == FitData::OneState;
        model.origin.value = model.one_state ? 0.0 : 1000.0;
        Assign(lines[model.one_state ? 0 : 1]);
        const FitResult result = Fitted();
        const std::size_t m = result.parameters.size();
        // misfit and derivatives of lines and, in their place, differences
        std::vector<std::vector<long double>> rows;
        std::vector<double> weights;
        Keys keys;
        const bool weighted = settings.fit.weights == FitWeights::Uncertainties;
        for (const FitResidual& r : result.residuals) {
            const double sigma = weighted ? assignments.uncertainty[r.assignment] : 1.0;
            EXPECT_EQ(r.observed, assignments.frequency[r.assignment]);
            rows.emplace_back(1, r.observed - r.calculated);
            rows.back().insert(rows.back().end(), r.derivatives.begin(), r.derivatives.end());
            weights.push_back(1.0 / (sigma * sigma));
            keys.push_back(assignments.key[r.assignment]);
        }
        if (data >= FitData::LowerDifferences) {
            const auto of_lines = std::exchange(rows, {});
            const auto of_line = std::exchange(weights, {});
            int too_many = 0;
            for (const auto& [a, b] : SlowPairs(keys, data, assignments.size, too_many)) {
                rows.push_back(of_lines[b]);
                for (std::size_t k = 0; k <= m; ++k) rows.back()[k] -= of_lines[a][k];
                weights.push_back(of_line[a]);
            }
        }
        const std::size_t n = rows.size();
        Matrix normal(m + 1, std::vector<long double>(m + 1, 0.0L));  // misfits in place 0
        long double sum = 0.0L;
        for (std::size_t row = 0; row < n; ++row) {
            sum += rows[row][0] * rows[row][0];
            for (std::size_t k = 0; k <= m; ++k) {
                for (std::size_t l = 0; l <= m; ++l) {
                    normal[k][l] += weights[row] * rows[row][k] * rows[row][l];
                }
            }
        }
        for (std::size_t k = 1; k <= m; ++k) {
            EXPECT_NEAR(std::exchange(normal[0][k], 0.0L) / std::sqrt(normal[k][k]), 0.0, 1e-7);
            normal[k][0] = 0.0L;
        }
        const bool scaled = settings.fit.weights == FitWeights::Uniform;
        const auto square = static_cast<double>(sum);
        const double scale = scaled ? std::sqrt(square / static_cast<double>(n - m)) : 1.0;
        EXPECT_EQ(result.used, static_cast<std::int32_t>(n));
        EXPECT_NEAR(result.rms, std::sqrt(square / static_cast<double>(n)), 1e-6);
        EXPECT_NEAR(result.scale, scale, 1e-6 * scale);
        const Matrix inverse = Inverse(normal);
        for (std::size_t k = 0; k < m; ++k) {
            EXPECT_EQ(result.parameters[k].sd, std::sqrt(result.Covariance(k, k)));
            for (std::size_t l = 0; l < m; ++l) {
                const long double size =
                    scale * scale * std::sqrt(inverse[k + 1][k + 1] * inverse[l + 1][l + 1]);
                const long double expected = scale * scale * inverse[k + 1][l + 1];
                EXPECT_NEAR((result.Covariance(k, l) - expected) / size, 0.0, 1e-5);
                EXPECT_EQ(result.Covariance(k, l), result.Covariance(l, k));
            }
        }
    }
}

struct Variant {
    const char* name;
    void (*change)(Model& model, FitOptions& options);
};

// A fit of no cycles tells the derivatives at the start: difference quotients of its positions.
TEST_F(Fit, DerivativesAreDifferenceQuotients) {
    using enum Constant;
    const Variant variants[] = {
        {"quartic", [](Model&, FitOptions&) {}},
        {"as differences", [](Model&, FitOptions& o) { o.data = FitData::UpperAsDifference; }},
        {"one state", [](Model& m, FitOptions&) { m.one_state = true; }},
        {"imaginary", [](Model& m, FitOptions&) { m.lower().Set(PY, 0.3).Set(PZ2PY, 0.01); }},
        {"turned",
         [](Model& m, FitOptions&) {
             m.lower().tilt = {0, 20, 0};
             m.upper().tilt = {33, 21, -12};
         }},
        {"right angles",
         [](Model& m, FitOptions&) {
             m.lower().tilt = {0, 90, 0};
             m.upper().tilt = {90, 90, 0};
         }},
        {"replaced",
         [](Model& m, FitOptions&) {
             m.upper().tilt = {0, 20, 0};
             m.upper().Set(PXPZ, 0.2);
         }},
        {"always on", [](Model& m, FitOptions&) {
             m.lower().terms[B].on = m.upper().terms[A].on = false;
             m.lower().terms[B].fit = true;
         }}};
    settings.fit.cycles = 0;
    settings.max_J = 4;
    const Model before = model;
    for (const auto& [name, change] : variants) {
        SCOPED_TRACE(name);
        settings.fit.data = FitData::TwoStates;
        model = before;
        change(model, settings.fit);
        VaryPresent();
        Assign(SlowBand(5), SlowRotation(5));
        const FitResult result = Fitted();
        ASSERT_GT(result.residuals.size(), 20U);
        for (std::size_t p = 0; p < result.parameters.size(); ++p) {
            const FitParameter& parameter = result.parameters[p];
            const double h = 1e-4 * std::max(0.1, std::fabs(parameter.start));
            const auto moved = [&](double step) {
                model = truth;
                if (!parameter.constant) model.origin.value += step;
                for (const StateIndex state : {kLower, kUpper}) {
                    const bool follows = settings.fit.data == FitData::UpperAsDifference &&
                                         parameter.state == kLower;
                    if (!parameter.constant || (state != parameter.state && !follows)) continue;
                    model.states[state].terms[*parameter.constant].value += step;
                }
                return Fitted();
            };
            const FitResult up = moved(h), down = moved(-h);
            for (std::size_t k = 0; k < result.residuals.size(); ++k) {
                const double quotient =
                    (up.residuals[k].calculated - down.residuals[k].calculated) / (2 * h);
                ASSERT_NEAR(result.residuals[k].derivatives[p], quotient,
                            1e-5 * (1 + std::fabs(quotient)))
                    << parameter.Name() << " " << k;
            }
        }
    }
}

struct Failure {
    ErrorCode code;
    const char* subject;
    void (*spoil)(Model& model, Settings& settings, Assignments& assignments);
};

TEST_F(Fit, FailureSaysWhy) {
    const Failure failures[] = {
        {ErrorCode::TooFewLines, "",
         [](Model&, Settings&, Assignments& a) { a.size = a.split = 16; }},
        {ErrorCode::TooFewLines, "",
         [](Model&, Settings& s, Assignments&) { s.fit.reject_above = 0.0; }},
        {ErrorCode::BadChoice, "fit",
         [](Model&, Settings& s, Assignments&) { s.fit.data = FitData{7}; }},
        {ErrorCode::NegativeConstant, "C",
         [](Model& m, Settings& s, Assignments& a) {
             for (Term& term : m.upper().terms.values) term.fit = false;
             m.upper().terms[Constant::C].fit = true;
             s.fit.data = FitData::UpperDifferences;
             for (double& frequency : a.frequency) frequency *= -1.0;
         }},
        {ErrorCode::NegativeConstant, "A",
         [](Model&, Settings&, Assignments& a) { a.frequency[7] = std::nan(""); }},
        {ErrorCode::NotConverged, "",
         [](Model&, Settings& s, Assignments& a) {
             s.fit.weights = FitWeights::Uncertainties;
             a.uncertainty[7] = std::nan("");
         }},
        {ErrorCode::OutOfRange, "DJ",
         [](Model& m, Settings&, Assignments&) { m.lower().Set(Constant::DJ, std::nan("")); }},
        {ErrorCode::NoDifferences, "",
         [](Model& m, Settings& s, Assignments& a) {
             for (Term& term : m.upper().terms.values) term.fit = false;
             s.fit.data = FitData::UpperDifferences;
             a.size = a.split = 1;
         }},
        {ErrorCode::NoLines, "", [](Model&, Settings& s, Assignments&) { s.lines.delta_K = -1; }},
    };
    const MeasuredLines lines = SlowBand(8);
    const Settings before = settings;
    for (const Failure& failure : failures) {
        SCOPED_TRACE(static_cast<int>(failure.code));
        Assign(lines);
        failure.spoil(model, settings, assignments);
        const auto result = RunFit(model, settings, assignments, work);
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().code, failure.code);
        EXPECT_EQ(result.error().subject, failure.subject);
        EXPECT_FALSE(result.error().text.empty());
        model = truth;
        settings = before;
    }
}

// Refused or cancelled anywhere, a fit leaves its inputs and its workspace as they were; cycles
// that look at all lines change nothing.
TEST_F(Fit, LeavesNoTrace) {
    using namespace array_name;
    settings.max_J = 4;
    settings.fit.cycles = 1;
    std::set<std::string> names;
    for (const FitData data : {FitData::TwoStates, FitData::LowerDifferences}) {
        settings.fit.data = data;
        Assign(SlowBand(5), data == FitData::TwoStates ? SlowRotation(8) : MeasuredLines{});
        const std::vector<double> frequencies(assignments.frequency.begin(),
                                              assignments.frequency.end());
        const Bits expected = BitsOf(Fitted().lines);
        names.merge(
            RefuseInTurn([&](Workspace& of) { return RunFit(model, settings, assignments, of); }));
        EXPECT_GT(CancelInTurn([&](Report& report) {
                      return RunFit(model, settings, assignments, LineChoice::All, work, report);
                  }),
                  10);
        EXPECT_EQ(BitsOf(Fitted().lines), expected);
        EXPECT_EQ(std::memcmp(&model, &truth, sizeof model), 0);
        EXPECT_TRUE(
            std::equal(frequencies.begin(), frequencies.end(), assignments.frequency.begin()));
        FitTask task{&model, &settings, &assignments};
        task.cycles = LineChoice::All;
        PassRoom room;
        FitResult result;
        ASSERT_TRUE(room.Reserve(task.Pass(model, LineChoice::All), work.memory()).ok());
        ASSERT_TRUE(RunFit(task, work, silent, room, result).ok());
        EXPECT_EQ(BitsOf(room.lines), expected);
    }
    for (const char* name :
         {kFitVectors, kSingularValues, kCovariance, kObserved, kUncertainties, kFitDerivatives,
          kFitMatrix, kDifferences, kSvdRightSide, kSvdSuperdiagonal, kSvdProduct, kSvdWeights}) {
        EXPECT_TRUE(names.contains(name)) << name;
    }
}

}  // namespace
}  // namespace kiv
