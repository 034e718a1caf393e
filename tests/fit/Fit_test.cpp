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
    const auto rows = Numbers(name + "_measured.txt");
    const auto published = Numbers("fit/" + name + ".txt");
    ASSERT_TRUE(rows.size() >= 32 && published.size() == 8);
    MeasuredLines lines = {kNoPartner, {1, 0, 1, 0, 0, 0, 1e9, 5.0}};  // and an outlier
    for (const auto& row : rows) {
        const auto n = [&](int i) { return static_cast<int>(row[i]); };
        lines.push_back({n(0), n(1), n(2), n(3), n(4), n(5), row[6], row[7]});
    }
    Assign(lines);
    settings.max_J = 11;
    settings.fit.data = FitData::OneState;
    settings.fit.weights = FitWeights::Uncertainties;
    model.one_state = true;
    model.origin.value = 0.0;
    model.lower().reduction = name == "so2" ? Reduction::A : Reduction::S;
    for (std::size_t i = 0; i < 8; ++i) {
        const auto c = static_cast<int>(i < 3 ? i : i + 6);
        model.lower().terms[c].value = i < 3 ? published[i][0] * 1.001 : 0.0;
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
    settings.fit.data = static_cast<FitData>(row[0]);
    for (const StateIndex i : {kLower, kUpper}) {
        State& state = model.states[i];
        state.reduction = row[1] == 1 || row[1] == 2 + i ? Reduction::A : Reduction::S;
        state.tilt = {row[3 + 3 * i], row[4 + 3 * i], row[5 + 3 * i]};
        for (std::size_t k = 9; k < row.size(); k += 2) {
            state.Set(static_cast<Constant>(row[k]), row[k + 1] * (i == kUpper ? 0.9 : 1.0));
        }
    }
    // states with different constants
    if (settings.fit.data == FitData::UpperDifferences) {
        model.lower().terms[Constant::dK].on = false;
    }
    VaryPresent();
    Assign(SlowBand(12));
    Disturb(row.size() == 9 ? 0.003 : 0.001);
    State &lower = model.lower(), &upper = model.upper();
    for (int c = 0; c < kNumConstants; ++c) {  // what is not fitted is right from the start
        const double difference = truth.upper().terms[c].value - truth.lower().terms[c].value;
        if (row[2] == 1) {
            upper.terms[c].fit = false;
            upper.terms[c].value = lower.terms[c].value + difference;
        }
        if (settings.fit.data == FitData::UpperDifferences) lower.terms[c] = truth.lower().terms[c];
        if (settings.fit.data == FitData::LowerDifferences) upper.terms[c] = truth.upper().terms[c];
    }
    if (row[0] >= 3) model.origin = truth.origin;
    const FitResult result = Fitted();
    ExpectTruth(result.model);
    EXPECT_LT(result.rms, 1e-9);
    EXPECT_GT(result.lines.size, 3 * assignments.size);  // the last pass leaves all lines
}
INSTANTIATE_TEST_SUITE_P(, KnownAnswer, testing::Range(0, 12));

// What is told of the rows of a fit.
class RowListener : public Listener {
  public:
    std::vector<std::array<std::int32_t, 3>> first_rows;
    int rejected = 0, cycles = 0;

    void FirstRow(bool between, std::int32_t accepted, std::int32_t split) override {
        first_rows.push_back({between, accepted, split});
    }
    void RowRejected(const FitRowView&) override { ++rejected; }
    void CycleStarts(int) override { ++cycles; }
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
    const auto result = RunFit(model, settings, assignments, LineChoice::Assigned, work, listener);
    ASSERT_TRUE(result);
    ExpectTruth(result.value().model);
    EXPECT_EQ(result.value().used, num + of_rotation - 2);
    EXPECT_EQ(result.value().rejected, 2);  // of those with a partner
    EXPECT_EQ(result.value().residuals.size(), static_cast<std::size_t>(num + of_rotation));
    EXPECT_EQ(result.value().lines.size, num);  // of the first set alone
    EXPECT_EQ(result.value().lines.missing, 3);
    EXPECT_EQ(listener.cycles, settings.fit.cycles);
    EXPECT_EQ(listener.rejected, 2 * listener.cycles);
    EXPECT_EQ(listener.first_rows[0], (std::array{1, 0, num}));
    EXPECT_EQ(listener.first_rows[1], (std::array{0, num - 1, num - 1}));
    // a model of one state takes the second set and leaves the upper state alone
    settings.fit.data = FitData::OneState;
    model.one_state = true;
    truth.upper() = model.upper();
    truth.origin = model.origin;
    model.origin.value = 0.0;
    const FitResult one = Fitted();
    truth.origin.value = 0.0;
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
    VaryNothing();
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
    EXPECT_NEAR(result.model.origin.value, 1000.0 + 4 / n, 1e-9);
    EXPECT_NEAR(result.model.origin.sd, scale / std::sqrt(n), 1e-9);
    EXPECT_NEAR(result.rms, 4 / n, 1e-9);
    EXPECT_NEAR(result.scale, scale, 1e-9);
    EXPECT_EQ(result.marked, 2);
    ASSERT_EQ(result.parameters.size(), 1U);
    EXPECT_EQ(result.parameters[0].Name(), "origin");
    EXPECT_EQ(result.parameters[0].start, 1002.0);
    EXPECT_NEAR(result.Covariance(0, 0), scale * scale / n, 1e-12);
    EXPECT_EQ(result.Covariance(1, 1), 0.0);
    EXPECT_EQ(result.used, static_cast<int>(n) - 1);
    EXPECT_EQ(result.rejected, 1);
    const LineList& list = result.lines;
    EXPECT_EQ(std::count(list.band.begin(), list.band.begin() + list.size, 'R'), 1);
    EXPECT_EQ(list.band[list.match_line[30]], 'R');
    EXPECT_TRUE(result.residuals[30].rejected && !result.residuals[29].rejected);
    // as many lines as constants: deviations are not scaled
    lines = {lines[0]};
    Assign(lines);
    model.upper().terms[Constant::PX].fit = false;
    result = Fitted();
    EXPECT_NEAR(result.model.origin.value, 1000.0, 1e-9);
    EXPECT_NEAR(result.model.origin.sd, 1.0, 1e-12);
    // nothing varied, which needs no line: the misfit of the only one equals the level
    VaryNothing();
    model.origin.value = 1000.0;
    settings.fit.reject_above = 1e6;
    lines[0].frequency = Fitted().residuals[0].calculated + 0.5;
    Assign(lines);
    settings.fit.reject_above = lines[0].frequency - Fitted().residuals[0].calculated;
    result = Fitted();
    EXPECT_TRUE(result.residuals[0].rejected);
    EXPECT_EQ(result.used, 0);
    ExpectTruth(result.model, 0.0);
}

using Matrix = std::vector<std::vector<long double>>;

// Gauss and Jordan, with pivots.
Matrix Inverse(Matrix a) {
    const std::size_t n = a.size();
    Matrix b(n, std::vector<long double>(n, 0.0L));
    for (std::size_t i = 0; i < n; ++i) b[i][i] = 1.0L;
    for (std::size_t i = 0; i < n; ++i) {
        std::size_t pivot = i;
        for (std::size_t k = i; k < n; ++k) {
            if (std::fabs(a[k][i]) > std::fabs(a[pivot][i])) pivot = k;
        }
        std::swap(a[i], a[pivot]);
        std::swap(b[i], b[pivot]);
        const long double d = a[i][i];
        for (std::size_t j = 0; j < n; ++j) a[i][j] /= d, b[i][j] /= d;
        for (std::size_t k = 0; k < n; ++k) {
            const long double f = a[k][i];
            for (std::size_t j = 0; k != i && j < n; ++j) {
                a[k][j] -= f * a[i][j];
                b[k][j] -= f * b[i][j];
            }
        }
    }
    return b;
}

// At the end of a fit of disturbed lines the residuals are orthogonal to the derivatives, and all
// statistics follow from both by their definitions.
TEST_F(Fit, SolvesTheNormalEquations) {
    MeasuredLines lines = SlowBand(9), rotation = SlowRotation(9);
    std::mt19937 random(11);
    for (MeasuredLines* of : {&lines, &rotation}) {
        for (MeasuredLine& line : *of) line.frequency += 1e-10 * random();
    }
    settings.fit.cycles = 8;
    for (int i = 0; i < 15; ++i) {
        SCOPED_TRACE(i);
        const auto data = static_cast<FitData>(i % 5);
        settings.fit.data = data;
        settings.fit.weights = static_cast<FitWeights>(i / 5);
        model.one_state = data == FitData::OneState;
        model.origin.value = model.one_state ? 0.0 : 1000.0;
        model.upper().terms[Constant::dK].fit = i < 10;
        Assign(model.one_state ? rotation : lines);
        const FitResult result = Fitted();
        struct Row {
            double misfit, weight;
            std::vector<double> derivatives;
        };
        std::vector<Row> rows;
        Keys keys;
        for (const FitResidual& r : result.residuals) {
            const double sigma = settings.fit.weights == FitWeights::Uncertainties
                                     ? assignments.uncertainty[r.assignment]
                                     : 1.0;
            EXPECT_EQ(r.observed, assignments.frequency[r.assignment]);
            rows.push_back({r.observed - r.calculated, 1.0 / (sigma * sigma), r.derivatives});
            keys.push_back(assignments.key[r.assignment]);
        }
        if (i % 5 >= 3) {
            std::vector<Row> differences;
            int too_many = 0;
            for (const auto& [a, b] : SlowPairs(keys, data, assignments.size, too_many)) {
                Row row = rows[b];
                row.misfit -= rows[a].misfit;
                row.weight = rows[a].weight;
                for (std::size_t k = 0; k < row.derivatives.size(); ++k) {
                    row.derivatives[k] -= rows[a].derivatives[k];
                }
                differences.push_back(row);
            }
            rows = differences;
        }
        const std::size_t n = rows.size(), m = result.parameters.size();
        Matrix normal(m, std::vector<long double>(m, 0.0L));
        std::vector<long double> gradient(m, 0.0L);
        long double sum = 0.0L;
        for (const Row& row : rows) {
            sum += row.misfit * static_cast<long double>(row.misfit);
            for (std::size_t k = 0; k < m; ++k) {
                const long double wd = row.weight * static_cast<long double>(row.derivatives[k]);
                gradient[k] += wd * row.misfit;
                for (std::size_t l = 0; l < m; ++l) normal[k][l] += wd * row.derivatives[l];
            }
        }
        const bool scaled = settings.fit.weights == FitWeights::Uniform;
        const double scale = scaled ? std::sqrt(static_cast<double>(sum) / (n - m)) : 1.0;
        EXPECT_EQ(result.used, static_cast<std::int32_t>(n));
        EXPECT_NEAR(result.rms, std::sqrt(static_cast<double>(sum) / n), 1e-6);
        EXPECT_NEAR(result.scale, scale, 1e-6 * scale);
        const Matrix inverse = Inverse(normal);
        for (std::size_t k = 0; k < m; ++k) {
            EXPECT_NEAR(gradient[k] / std::sqrt(normal[k][k]), 0.0, 1e-7);
            EXPECT_EQ(result.parameters[k].sd, std::sqrt(result.Covariance(k, k)));
            for (std::size_t l = 0; l < m; ++l) {
                const auto size = static_cast<double>(std::sqrt(inverse[k][k] * inverse[l][l]));
                EXPECT_NEAR(result.Covariance(k, l) / (scale * scale * size),
                            static_cast<double>(inverse[k][l]) / size, 1e-5);
                EXPECT_EQ(result.Covariance(k, l), result.Covariance(l, k));
            }
        }
    }
}

// A fit of no cycles tells the derivatives at the start: difference quotients of its positions.
TEST_F(Fit, DerivativesAreDifferenceQuotients) {
    settings.fit.cycles = 0;
    settings.max_J = 4;
    const std::vector<std::pair<const char*, void (*)(Model&, FitOptions&)>> cases = {
        {"quartic", [](Model&, FitOptions&) {}},
        {"as differences", [](Model&, FitOptions& fit) { fit.data = FitData::UpperAsDifference; }},
        {"one state",
         [](Model& m, FitOptions& fit) {
             m.one_state = true;
             fit.data = FitData::OneState;
         }},
        {"imaginary",
         [](Model& m, FitOptions&) {
             m.lower().Set(Constant::PY, 0.3).Set(Constant::PZ, 0.5).Set(Constant::PZ2PY, 0.01);
         }},
        {"turned",
         [](Model& m, FitOptions&) {
             m.lower().tilt = {0, 20, 0};
             m.upper().tilt = {33, 21, -12};
         }},
        {"right angle",
         [](Model& m, FitOptions&) {
             m.upper().tilt = {0, 90, 0};
         }},
        {"right angles",
         [](Model& m, FitOptions&) {
             m.upper().tilt = {90, 90, 0};
         }},
        {"displaced",
         [](Model& m, FitOptions&) {
             m.upper().tilt = {0, 20, 0};
             m.upper().Set(Constant::PXPZ, 0.2);
         }},
        {"not marked as present", [](Model& m, FitOptions&) {
             m.lower().terms[Constant::B].on = false;
             m.upper().terms[Constant::A].on = false;
         }}};
    for (const auto& [name, change] : cases) {
        SCOPED_TRACE(name);
        const Model before = model;
        const FitOptions fit_before = settings.fit;
        change(model, settings.fit);
        VaryPresent();
        Assign(SlowBand(5), SlowRotation(5));
        const FitResult result = Fitted();
        ASSERT_GT(result.residuals.size(), 20U);
        for (std::size_t p = 0; p < result.parameters.size(); ++p) {
            const FitParameter& parameter = result.parameters[p];
            const double h = 1e-4 * std::max(0.1, std::fabs(parameter.start));
            const auto moved = [&](double step) {
                const Model start = model;
                if (!parameter.constant) {
                    model.origin.value += step;
                } else {
                    const bool both = settings.fit.data == FitData::UpperAsDifference &&
                                      parameter.state == kLower;
                    model.states[parameter.state].terms[*parameter.constant].value += step;
                    if (both) model.upper().terms[*parameter.constant].value += step;
                }
                FitResult there = Fitted();
                model = start;
                return there;
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
        model = before;
        settings.fit = fit_before;
    }
}

TEST_F(Fit, FailureSaysWhy) {
    struct Case {
        ErrorCode code;
        const char* subject;
        void (*spoil)(Model&, Settings&, Assignments&);
    };
    const Case cases[] = {
        {ErrorCode::TooFewLines, "",
         [](Model&, Settings&, Assignments& a) { a.size = a.split = 16; }},
        {ErrorCode::TooFewLines, "",
         [](Model&, Settings& s, Assignments&) { s.fit.reject_above = 0.0; }},
        {ErrorCode::BadChoice, "fit",
         [](Model&, Settings& s, Assignments&) { s.fit.data = FitData{7}; }},
        {ErrorCode::NegativeConstant, "C",
         [](Model& m, Settings&, Assignments& a) {
             for (State& state : m.states) {
                 for (Term& term : state.terms.values) term.fit = false;
             }
             m.origin.fit = false;
             m.upper().terms[Constant::C].fit = true;
             a.frequency[0] = -9e5;
         }},
        {ErrorCode::NegativeConstant, "A",
         [](Model&, Settings&, Assignments& a) { a.frequency[7] = std::nan(""); }},
        {ErrorCode::NotConverged, "",
         [](Model& m, Settings&, Assignments&) {
             m.lower().terms[Constant::DJ].value = std::nan("");
         }},
        {ErrorCode::NoDifferences, "",
         [](Model& m, Settings& s, Assignments& a) {
             for (Term& term : m.upper().terms.values) term.fit = false;
             s.fit.data = FitData::UpperDifferences;
             a.size = a.split = 1;
         }},
        {ErrorCode::NoLines, "", [](Model&, Settings& s, Assignments&) { s.lines.delta_K = -1; }},
        {ErrorCode::NoMemory, array_name::kEnergies,
         [](Model&, Settings& s, Assignments&) { s.max_J = -1; }},
    };
    const MeasuredLines lines = SlowBand(8);
    const Model model_before = model;
    const Settings settings_before = settings;
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.code));
        Assign(lines);
        c.spoil(model, settings, assignments);
        const auto result = Run();
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().code, c.code);
        EXPECT_EQ(result.error().subject, c.subject);
        EXPECT_FALSE(result.error().text.empty());
        model = model_before;
        settings = settings_before;
    }
}

// Refused or cancelled anywhere, a fit leaves its inputs and its workspace as they were.
TEST_F(Fit, EndsWithoutATrace) {
    using namespace array_name;
    settings.max_J = 4;
    settings.fit.cycles = 1;
    std::set<std::string> names;
    for (const FitData data : {FitData::TwoStates, FitData::LowerDifferences}) {
        settings.fit.data = data;
        Assign(SlowBand(5), data == FitData::TwoStates ? SlowRotation(8) : MeasuredLines{});
        const Model before = model;
        const std::vector<double> frequencies(assignments.frequency.begin(),
                                              assignments.frequency.end());
        const Bits expected = BitsOf(Fitted().lines);
        names.merge(RefuseInTurn([&](Workspace& of) {
            auto result = RunFit(model, settings, assignments, of);
            EXPECT_TRUE(!result || BitsOf(result.value().lines) == expected);
            return result;
        }));
        const auto fit = [&](Report& report) {
            return RunFit(model, settings, assignments, LineChoice::All, work, report);
        };
        EXPECT_GT(CancelInTurn(fit), 10);
        EXPECT_EQ(BitsOf(Fitted().lines), expected);
        EXPECT_EQ(std::memcmp(&model, &before, sizeof model), 0);
        EXPECT_TRUE(std::equal(frequencies.begin(), frequencies.end(),
                               assignments.frequency.begin(), assignments.frequency.end()));
    }
    for (const char* name :
         {kFitVectors, kSingularValues, kCovariance, kObserved, kUncertainties, kFitDerivatives,
          kFitMatrix, kDifferences, kSvdRightSide, kSvdSuperdiagonal, kSvdProduct, kSvdWeights}) {
        EXPECT_TRUE(names.contains(name)) << name;
    }
}

// Cycles may look at all lines or at the assigned ones alone.
TEST_F(Fit, CyclesNeedTheAssignedLinesAlone) {
    Assign(SlowBand(8), SlowRotation(8));
    Disturb(0.003);
    const FitResult expected = Fitted();
    FitTask task{&model, &settings, &assignments};
    task.cycles = LineChoice::All;
    PassRoom room;
    FitResult result;
    ASSERT_TRUE(room.Reserve(task.Pass(model, LineChoice::All), work.memory()).ok());
    ASSERT_TRUE(RunFit(task, work, silent, room, result).ok());
    EXPECT_EQ(BitsOf(room.lines), BitsOf(expected.lines));
    for (int i = 0; i < 2 * kNumConstants; ++i) {
        const Term& a = result.model.states[i / kNumConstants].terms[i % kNumConstants];
        const Term& b = expected.model.states[i / kNumConstants].terms[i % kNumConstants];
        EXPECT_TRUE(a.value == b.value && a.sd == b.sd) << i;
    }
}

}  // namespace
}  // namespace kiv
