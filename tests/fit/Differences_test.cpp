#include "fit/CombinationDifferences.h"
#include "fit/FitTest.h"

namespace kiv {
namespace {

class Differences : public FitTest {};

struct DifferenceListener : Listener {
    int too_many = 0, found = 0, rejected = 0;

    void TooManyDifferences() override { ++too_many; }
    void DifferencesFound(std::int32_t num) override { found = num; }
    void RowRejected(const FitRowView& row) override {
        EXPECT_TRUE(std::equal(row.label, row.label + 3, row.second_label));  // the upper level
        EXPECT_GT(std::fabs(row.misfit()), 1e6);
        ++rejected;
    }
};

TEST_F(Differences, PairsAreThoseOfTheSlowSearchInItsOrder) {
    std::mt19937 random(1);
    const FitList list;
    int overflows = 0;
    for (int trial = 0; trial < 400; ++trial) {
        const unsigned levels = 1 + random() % 30;  // few levels: many pairs
        Keys keys(random() % 40), matched;
        for (std::uint64_t& key : keys) {
            const auto upper = static_cast<int>(random() % levels),
                       lower = static_cast<int>(random() % levels);
            key = LineKey(lower / 5, upper / 5, lower % 5, upper % 5);
        }
        std::sort(keys.begin(), keys.end());
        assignments = kiv::Assign(keys);
        LineList lines;
        ASSERT_TRUE(lines.Reserve(work.memory(), assignments.size, false, false).ok());
        for (std::int32_t k = 0; k < assignments.size; ++k) {
            if (random() % 4 == 0) continue;  // without a partner
            lines.match_assignment[lines.matched++] = k;
            matched.push_back(keys[k]);
        }
        for (const FitData data : {FitData::LowerDifferences, FitData::UpperDifferences}) {
            settings.fit.data = data;
            const RowSource source{&assignments, &settings.fit, &list};
            DifferenceListener listener;
            DifferencePairs pairs;
            ASSERT_TRUE(FindDifferences(source, lines, work.memory(), &listener, pairs).ok());
            std::vector<std::pair<int, int>> found;
            for (std::int32_t d = 0; d < pairs.num; ++d) {
                found.emplace_back(pairs.match(0, d), pairs.match(1, d));
            }
            int too_many = 0;
            EXPECT_EQ(found, SlowPairs(matched, data, assignments.size, too_many));
            EXPECT_EQ(listener.too_many, too_many);
            overflows += too_many > 0 ? 1 : 0;
        }
    }
    EXPECT_GT(overflows, 20);
}

// All differences of a line that is far off are rejected, and no other one.
TEST_F(Differences, OfAnOutlierAreRejected) {
    constexpr int kOutlier = 40;
    MeasuredLines lines = SlowBand(12);
    lines[40].frequency += 5e6;
    Assign(lines);
    settings.fit.data = FitData::LowerDifferences;
    Disturb(0.003);
    truth.upper() = model.upper();
    truth.origin = model.origin;
    DifferenceListener listener;
    const auto result = RunFit(model, settings, assignments, LineChoice::Assigned, work, listener);
    ASSERT_TRUE(result);
    ExpectTruth(result.value().model);
    int too_many = 0, of_outlier = 0;
    const Keys keys(assignments.key.begin(), assignments.key.end());
    const auto pairs = SlowPairs(keys, settings.fit.data, assignments.size, too_many);
    for (const auto& [a, b] : pairs) of_outlier += a == kOutlier || b == kOutlier ? 1 : 0;
    ASSERT_GT(of_outlier, 0);
    EXPECT_EQ(listener.found, static_cast<int>(pairs.size()));
    EXPECT_EQ(listener.rejected, of_outlier * settings.fit.cycles);
    EXPECT_EQ(result.value().rejected, of_outlier);
    EXPECT_EQ(result.value().used, listener.found - of_outlier);
}

}  // namespace
}  // namespace kiv
