// What is wrong or doubtful about a measured line, and which lines are one feature.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "named/LineRows.h"

namespace kiv {
namespace {

std::string TextOf(const LineLevel& level) {
    return std::to_string(level.J) + " " + std::to_string(level.Ka) + " " +
           std::to_string(level.Kc);
}

// Ka + Kc is J or J + 1.
bool Exists(const LineLevel& level) {
    const int excess = level.Ka + level.Kc - level.J;
    return level.J >= 0 && level.Ka >= 0 && level.Kc >= 0 && level.Ka <= level.J &&
           level.Kc <= level.J && (excess == 0 || excess == 1);
}

// What there is in the place of a level that does not exist.
std::string Existing(const LineLevel& level) {
    const std::string J = std::to_string(level.J);
    if (level.J < 0) return "J is not negative";
    if (level.Ka < 0 || level.Ka > level.J) return "for J = " + J + " Ka is from 0 to " + J;
    const int Kc = level.J - level.Ka;
    return "for J = " + J + " and Ka = " + std::to_string(level.Ka) + " Kc is " +
           std::to_string(Kc) + (level.Ka > 0 ? " or " + std::to_string(Kc + 1) : "");
}

}  // namespace

// By multiplication with odd numbers, the way of Fowler, Noll and Vo.
std::size_t LinePairHash::operator()(const LinePair& pair) const {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const LineLevel& level : {pair.first, pair.second}) {
        for (const int number : {level.v, level.J, level.Ka, level.Kc}) {
            hash = (hash ^ static_cast<std::uint32_t>(number)) * 0x100000001b3U;
        }
    }
    return hash;
}

bool LineCollector::CheckState(const LineRow& row, LineColumn column, int v) const {
    if (v == 0 || (v == 1 && context_.two_states)) return true;
    report_.Add(FindingCode::BadLineRow, row.place(column),
                std::string(NameOf(column)) + ": " + std::to_string(v) + " is no state, " +
                    (context_.two_states ? "0 is the lower and 1 the upper one"
                                         : "there is only 0, the lower one"));
    return false;
}

bool LineCollector::CheckLevel(const LineLevel& level, Place place) const {
    if (Exists(level)) return true;
    report_.Add(FindingCode::ImpossibleLevel, place,
                TextOf(level) + " is no level: " + Existing(level));
    return false;
}

bool LineCollector::CheckJumps(const LineRow& row) const {
    const LineLevel &upper = row.transition.upper, &lower = row.transition.lower;
    const char* why = nullptr;
    if (std::abs(upper.J - lower.J) > 1) why = " changes J by more than 1";
    if (upper.J == 0 && lower.J == 0) why = " leads from J = 0 to J = 0";
    if (upper == lower) why = " leads from a level to itself";
    if (!why) return true;
    report_.Add(FindingCode::ForbiddenTransition, row.place(LineColumn::JUp),
                TextOf(upper) + " - " + TextOf(lower) + why);
    return false;
}

bool LineCollector::Joins(const LineRow& row) const {
    if (blends_ == BlendRule::None || features_.empty()) return false;
    return features_.back().frequency == row.frequency &&
           (blends_ == BlendRule::Frequency || last_uncertainty_ == row.uncertainty);
}

void LineCollector::TellDoubts(const LineRow& row, bool joins) {
    const LineLevel &upper = row.transition.upper, &lower = row.transition.lower;
    const auto tell = [&](FindingCode code, LineColumn column, const std::string& message) {
        report_.Add(code, row.place(column), message);
    };
    const int line = row.transition.line;
    const auto [known, is_new] = lines_.try_emplace({upper, lower}, line);
    if (!is_new) {
        tell(FindingCode::DuplicateLine, LineColumn::JUp,
             TextOf(upper) + " - " + TextOf(lower) + " stands in line " +
                 std::to_string(known->second) + ", too");
    }
    if (context_.max_J && std::max(upper.J, lower.J) > *context_.max_J) {
        const bool is_upper = upper.J > *context_.max_J;
        tell(FindingCode::BeyondJMax, is_upper ? LineColumn::JUp : LineColumn::JLo,
             "J = " + std::to_string(is_upper ? upper.J : lower.J) + " is beyond the highest J, " +
                 std::to_string(*context_.max_J));
    }
    const int delta_K = std::abs(upper.Ka - lower.Ka);
    if (context_.delta_K && delta_K > *context_.delta_K) {
        tell(FindingCode::DeltaKLimit, LineColumn::KaUp,
             "Ka changes by " + std::to_string(delta_K) + ", the limit is " +
                 std::to_string(*context_.delta_K));
    }
    if (row.uncertainty == 0.0 && !joins) {
        tell(FindingCode::NoUncertainty, LineColumn::Uncertainty,
             "the line has no uncertainty and no weight in a weighted fit");
    }
    if (joins && row.uncertainty != 0.0 && row.uncertainty != features_.back().uncertainty) {
        tell(FindingCode::BlendUncertainty, LineColumn::Uncertainty,
             "the uncertainty of a blend is that of its first row");
    }
}

void LineCollector::Take(const LineRow& row) {
    const LineTransition& transition = row.transition;
    bool good = CheckState(row, LineColumn::VUp, transition.upper.v);
    good &= CheckState(row, LineColumn::VLo, transition.lower.v);
    good &= CheckLevel(transition.upper, row.place(LineColumn::JUp));
    good &= CheckLevel(transition.lower, row.place(LineColumn::JLo));
    if (!good || !CheckJumps(row)) return;
    const bool joins = Joins(row);
    TellDoubts(row, joins);
    if (!joins) {
        CloseFeature();
        features_.push_back({row.frequency, std::fabs(row.uncertainty), {}});  // 0 where it was -0
    }
    features_.back().transitions.push_back(transition);
    last_uncertainty_ = row.uncertainty;
    weight_place_ = row.place(LineColumn::Weight);
}

// All rows of a feature have a weight or none has; in rows of fixed columns one that is left out
// is 1, so that blends without weights count equally there.
void LineCollector::CloseFeature() {
    if (features_.empty()) return;
    auto& transitions = features_.back().transitions;
    const auto has_weight = [](const LineTransition& t) { return t.weight.has_value(); };
    const auto weighted = std::count_if(transitions.begin(), transitions.end(), has_weight);
    const bool has_default =
        blends_ == BlendRule::FrequencyAndUncertainty && transitions.size() > 1;
    if (weighted == 0 && !has_default) return;
    double sum = 0.0;
    for (LineTransition& transition : transitions) {
        if (!transition.weight && blends_ == BlendRule::FrequencyAndUncertainty) {
            transition.weight = 1.0;
        }
        if (!transition.weight) {
            report_.Add(FindingCode::BadLineRow, {transition.line, weight_place_.column},
                        "weight: other rows of this blend have one");
            features_.pop_back();
            return;
        }
        sum += *transition.weight;
    }
    if (sum > 0.0) return;
    report_.Add(FindingCode::OutOfRange, weight_place_, "the weights of this blend are all 0");
    features_.pop_back();
}

std::vector<LineFeature> LineCollector::Finish() {
    CloseFeature();
    return std::move(features_);
}

}  // namespace kiv
