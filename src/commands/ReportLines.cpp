// What a report says of the measured lines.
#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numeric>
#include <string_view>
#include <type_traits>
#include <utility>

#include "commands/ReportText.h"
#include "commands/TextParts.h"

namespace kiv {
namespace {

using Align = TextTable::Align;

constexpr int kFewGroups = 20;                       // that need no ranges
constexpr std::array<int, 4> kRanges{1, 5, 10, 50};  // of J or Ka in a group

constexpr const char* kForbidden = "none";

// Type of the moment component that allows a transition, by the parities of the changes.
const char* BandOf(const LineTransition& line) {
    const bool ka_odd = (line.upper.Ka - line.lower.Ka) % 2 != 0;
    const bool kc_odd = (line.upper.Kc - line.lower.Kc) % 2 != 0;
    if (!ka_odd) return kc_odd ? "a" : kForbidden;
    return kc_odd ? "b" : "c";
}

// The type of all transitions of a feature.
std::string_view BandOf(const LineFeature& feature) {
    const std::string_view band = BandOf(feature.transitions.front());
    const bool is_pure =
        std::all_of(feature.transitions.begin(), feature.transitions.end(),
                    [&](const LineTransition& line) { return BandOf(line) == band; });
    return is_pure ? band : "mixed";
}

// Deviations of a group of lines.
struct Deviations {
    int num = 0;
    double sum = 0.0, weighted = 0.0;  // of squares

    void Add(double misfit, double uncertainty) {
        ++num;
        sum += misfit * misfit;
        weighted += misfit / uncertainty * (misfit / uncertainty);
    }
};

class LineReport {
  public:
    explicit LineReport(const RunOutcome& outcome)
        : job_(outcome.job),
          features_(outcome.calculation->features),
          fit_(*outcome.calculation->fit),
          digits_(DigitsOf(job_)) {
        for (const LineFeature& feature : features_) {
            for (const LineTransition& line : feature.transitions) {
                number_width_ = std::max({number_width_, WidthOf(line.upper), WidthOf(line.lower)});
            }
        }
    }

    std::string Text() const {
        if (features_.empty()) return "measured lines: none\n";
        return AllLines() + Groups() + NotUsed() + Repeats() + Blends();
    }

  private:
    static int WidthOf(const LineLevel& level) {
        return static_cast<int>(std::to_string(level.J).size());
    }
    std::string TransitionOf(const LineTransition& line) const {
        return TransitionText(line, job_.input.two_states, number_width_);
    }
    std::string Number(double x) const { return Fixed(x, digits_); }
    bool IsFit() const { return !fit_.parameters.empty(); }
    static std::string LineOf(const LineTransition& line) { return std::to_string(line.line); }
    double Misfit(std::size_t i) const {
        return fit_.residuals[i].observed - *fit_.residuals[i].calculated;
    }

    void PutLine(std::size_t i, TextTable& table) const;
    std::string AllLines() const;
    std::string Groups() const;
    template <class Key>
    std::string GroupText(const char* heading, const std::map<Key, Deviations>& groups) const;
    std::string Ranges(const char* heading, const std::map<int, Deviations>& groups) const;
    std::string NotUsed() const;
    std::string Repeats() const;
    void AddRepeat(const std::vector<std::size_t>& group, TextTable& table) const;
    std::string Blends() const;

    const Job& job_;
    const std::vector<LineFeature>& features_;
    const FeatureFit& fit_;
    const int digits_;
    int number_width_ = 1;
};

void LineReport::PutLine(std::size_t i, TextTable& table) const {
    const LineTransition& first = features_[i].transitions.front();
    const FeatureResidual& residual = fit_.residuals[i];
    table.Put(LineOf(first));
    table.Put(TransitionOf(first));
    table.Put(Number(residual.observed));
    if (!residual.calculated) {
        table.Put("unmatched");
        return table.EndRow();
    }
    table.Put(Number(Misfit(i)));
    table.Put(residual.uncertainty > 0.0 ? Fixed(Misfit(i) / residual.uncertainty, 2) : "");
    if (residual.fate == FeatureFate::Rejected) {
        table.Put("rejected");
    } else if (IsFit()) {
        table.Put(Fixed(residual.leverage, 4));
    }
    if (IsFit()) table.Put(Fixed(residual.predicted_sd, digits_ + 1));
    table.EndRow();
}

std::string LineReport::AllLines() const {
    TextTable table({{"line"},
                     {"transition", Align::Left},
                     {"observed"},
                     {"o-c"},
                     {"o-c/unc"},
                     {IsFit() ? "leverage" : ""},
                     {IsFit() ? "predicted" : ""}});
    for (std::size_t i = 0; i < features_.size(); ++i) {
        PutLine(i, table);
        const auto& transitions = features_[i].transitions;
        for (std::size_t k = 1; k < transitions.size(); ++k) {
            table.Add({LineOf(transitions[k]), TransitionOf(transitions[k])});
        }
    }
    return std::string("measured lines, ") + NameOf(job_.input.unit) +
           (IsFit() ? "; predicted: standard error of the calculated value\n" : "\n") +
           table.text();
}

template <class Key>
std::string LineReport::GroupText(const char* heading,
                                  const std::map<Key, Deviations>& groups) const {
    TextTable table({{heading}, {"lines"}, {"rms"}, {"wrms"}});
    for (const auto& [key, group] : groups) {
        std::string name;
        if constexpr (std::is_same_v<Key, std::pair<int, int>>) {
            name = std::to_string(key.first);
            if (key.second > key.first) name += "-" + std::to_string(key.second);
        } else {
            name = key;
        }
        table.Add({name, std::to_string(group.num),
                   Format("%.5g", std::sqrt(group.sum / group.num)),
                   Format("%.5g", std::sqrt(group.weighted / group.num))});
    }
    return table.text();
}

// By a quantum number, in ranges when it has many values.
std::string LineReport::Ranges(const char* heading, const std::map<int, Deviations>& groups) const {
    int range = kRanges.back();
    const int span = groups.empty() ? 0 : groups.rbegin()->first - groups.begin()->first;
    for (auto at = kRanges.rbegin(); at != kRanges.rend(); ++at) {
        if (span / *at < kFewGroups) range = *at;
    }
    std::map<std::pair<int, int>, Deviations> ranges;
    for (const auto& [number, group] : groups) {
        const int first = number / range * range;
        Deviations& sum = ranges[{first, first + range - 1}];
        sum.num += group.num;
        sum.sum += group.sum;
        sum.weighted += group.weighted;
    }
    return GroupText(heading, ranges);
}

std::string LineReport::Groups() const {
    std::map<std::string_view, Deviations> of_band;
    std::map<int, Deviations> of_J, of_Ka;
    for (std::size_t i = 0; i < features_.size(); ++i) {
        const FeatureResidual& residual = fit_.residuals[i];
        if (residual.fate != FeatureFate::Used) continue;
        const double given = residual.uncertainty > 0.0 ? residual.uncertainty : HUGE_VAL;
        const double uncertainty = fit_.uniform ? 1.0 : given;
        const LineLevel& lower = features_[i].transitions.front().lower;
        of_band[BandOf(features_[i])].Add(Misfit(i), uncertainty);
        of_J[lower.J].Add(Misfit(i), uncertainty);
        of_Ka[lower.Ka].Add(Misfit(i), uncertainty);
    }
    if (of_band.empty()) return "";
    return "\ndeviations by band type, and by J and Ka of the lower level, of the lines used\n" +
           GroupText("band", of_band) + Ranges("J", of_J) + Ranges("Ka", of_Ka);
}

std::string LineReport::NotUsed() const {
    TextTable table(
        {{"line"}, {"transition", Align::Left}, {"observed"}, {"o-c"}, {"reason", Align::Left}});
    for (std::size_t i = 0; i < features_.size(); ++i) {
        const FeatureResidual& residual = fit_.residuals[i];
        if (residual.fate == FeatureFate::Used) continue;
        const LineTransition& first = features_[i].transitions.front();
        const bool is_rejected = residual.fate == FeatureFate::Rejected;
        table.Add({LineOf(first), TransitionOf(first), Number(residual.observed),
                   residual.calculated ? Number(Misfit(i)) : "",
                   (is_rejected ? "rejected: " : "unmatched: ") + residual.reason});
    }
    if (table.empty()) return "\nrejected and unmatched lines: none\n";
    return "\nrejected and unmatched lines\n" + table.text();
}

void LineReport::AddRepeat(const std::vector<std::size_t>& group, TextTable& table) const {
    const bool has_weights = std::all_of(
        group.begin(), group.end(), [&](std::size_t i) { return features_[i].uncertainty > 0.0; });
    double weights = 0.0, sum = 0.0;
    double least = HUGE_VAL, most = -HUGE_VAL;
    std::string lines;
    for (const std::size_t i : group) {
        const LineFeature& feature = features_[i];
        const double weight = has_weights ? 1.0 / (feature.uncertainty * feature.uncertainty) : 1.0;
        weights += weight;
        sum += weight * feature.frequency;
        least = std::min(least, feature.frequency);
        most = std::max(most, feature.frequency);
        lines += (lines.empty() ? "" : ", ") + LineOf(feature.transitions.front());
    }
    const LineFeature& first = features_[group.front()];
    const std::size_t others = first.transitions.size() - 1;
    const auto& calculated = fit_.residuals[group.front()].calculated;
    table.Add({TransitionOf(first.transitions.front()) +
                   (others > 0 ? " +" + std::to_string(others) : ""),
               std::to_string(group.size()), Number(sum / weights),
               calculated ? Number(sum / weights - *calculated) : "", Number(most - least), lines});
}

// Features with the same transitions.
std::string LineReport::Repeats() const {
    using Key = std::vector<std::pair<LineLevel, LineLevel>>;
    std::vector<Key> keys;
    for (const LineFeature& feature : features_) {
        Key& key = keys.emplace_back();
        for (const LineTransition& line : feature.transitions) {
            key.emplace_back(line.upper, line.lower);
        }
        std::sort(key.begin(), key.end());
    }
    std::vector<std::size_t> order(keys.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        const auto by_key = keys[a] <=> keys[b];
        return by_key == 0 ? a < b : by_key < 0;
    });
    std::vector<std::vector<std::size_t>> in_order;
    for (auto first = order.begin(); first != order.end();) {
        const auto end = std::find_if(first, order.end(),
                                      [&](std::size_t i) { return keys[i] != keys[*first]; });
        if (end - first > 1) in_order.emplace_back(first, end);
        first = end;
    }
    std::sort(in_order.begin(), in_order.end(),
              [](const auto& a, const auto& b) { return a[1] < b[1]; });
    if (in_order.empty()) return "\nrepeated measurements: none\n";
    TextTable table({{"transition", Align::Left},
                     {"times"},
                     {"weighted mean"},
                     {"o-c"},
                     {"spread"},
                     {"lines", Align::Left}});
    for (const std::vector<std::size_t>& group : in_order) AddRepeat(group, table);
    return "\nrepeated measurements\n" + table.text();
}

std::string LineReport::Blends() const {
    TextTable table(
        {{"line"}, {"transition", Align::Left}, {"position"}, {"weight"}, {"observed - position"}});
    for (std::size_t i = 0; i < features_.size(); ++i) {
        const LineFeature& feature = features_[i];
        const FeatureResidual& residual = fit_.residuals[i];
        if (feature.transitions.size() < 2) continue;
        table.Add({LineOf(feature.transitions.front()), "measured", Number(feature.frequency), "",
                   residual.calculated ? Number(Misfit(i)) : "unmatched"});
        for (std::size_t k = 0; k < feature.transitions.size(); ++k) {
            std::vector<std::string> row{"", TransitionOf(feature.transitions[k])};
            if (k < residual.parts.size()) {
                const BlendPart& part = residual.parts[k];
                row.insert(row.end(), {Number(part.position), Fixed(part.weight, 4),
                                       Number(feature.frequency - part.position)});
            }
            table.Add(row);
        }
    }
    return table.empty() ? "\nblends: none\n" : "\nblends\n" + table.text();
}

}  // namespace

std::string LinesReportText(const RunOutcome& outcome) { return LineReport(outcome).Text(); }

}  // namespace kiv
