// Writing of line files.
#include <algorithm>
#include <cstdio>
#include <list>

#include "named/LineRows.h"
#include "named/NumberText.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr int kMostFixedQuantum = 999, kLeastFixedQuantum = -99;  // in three columns
constexpr std::size_t kMostAsnLine = 498;  // characters that its readers take as one line

std::string QuantaText(const LineLevel& level) {
    return std::to_string(level.J) + " " + std::to_string(level.Ka) + " " +
           std::to_string(level.Kc);
}

Error Refused(const LineTransition& line, const std::string& why) {
    return {ErrorCode::BadInput,
            "the line " + QuantaText(line.upper) + " - " + QuantaText(line.lower) + " " + why,
            QuantaText(line.upper) + " - " + QuantaText(line.lower)};
}

// A comment on one line.
std::string OneLine(std::string comment) {
    for (char& c : comment) {
        if (c == '\n' || c == '\r') c = ' ';
    }
    return std::string(Trimmed(comment));
}

bool WouldBlend(const LineFeature& a, const LineFeature& b, BlendRule rule) {
    return a.frequency == b.frequency &&
           (rule == BlendRule::Frequency || a.uncertainty == b.uncertainty);
}

// Features in an order in which no neighbours would be taken for one; the first one for which
// there is no place ends the search.
class Parting {
  public:
    using Order = std::list<const LineFeature*>;

    Parting(const std::vector<LineFeature>& features, BlendRule rule) : rule_(rule) {
        for (const LineFeature& feature : features) {
            if (!order_.empty() && WouldBlend(*order_.back(), feature, rule_)) {
                waiting_.push_back(&feature);
            } else {
                order_.push_back(&feature);
            }
            if (!waiting_.empty() && !WouldBlend(*order_.back(), *waiting_.front(), rule_)) {
                order_.splice(order_.end(), waiting_, waiting_.begin());
            }
        }
        while (!waiting_.empty() && PlaceFirst()) {
        }
    }

    const Order& order() const { return order_; }
    const LineFeature* unplaced() const { return waiting_.empty() ? nullptr : waiting_.front(); }

  private:
    // Puts the first of those that wait between two others.
    bool PlaceFirst() {
        const LineFeature& feature = *waiting_.front();
        const auto fits = [&](const LineFeature* other) {
            return !WouldBlend(*other, feature, rule_);
        };
        for (auto next = order_.begin(); next != order_.end(); ++next) {
            if (!fits(*next) || (next != order_.begin() && !fits(*std::prev(next)))) continue;
            order_.splice(next, waiting_, waiting_.begin());
            return true;
        }
        return false;
    }

    BlendRule rule_;
    Order order_, waiting_;
};

// --------------------------------------------------------------------------------------- .csv

std::string CsvText(const std::string& text) {
    if (text.find_first_of("\",;#\t") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + "\"";
}

// The columns that a file needs beside the required ones.
struct CsvColumns {
    bool states = false, weight = false, comment = false;
};

CsvColumns ColumnsFor(const std::vector<LineFeature>& features, const LineContext& context) {
    CsvColumns columns;
    for (const LineFeature& feature : features) {
        for (const LineTransition& line : feature.transitions) {
            const int usual_upper = context.two_states ? 1 : 0;
            columns.states |= line.upper.v != usual_upper || line.lower.v != 0;
            columns.weight |= line.weight.has_value();
            columns.comment |= !line.comment.empty();
        }
    }
    return columns;
}

std::string CsvRow(const LineFeature& feature, const LineTransition& line,
                   const CsvColumns& columns) {
    std::string row;
    const auto put = [&](const std::string& text) { row += (row.empty() ? "" : ",") + text; };
    for (const LineLevel* level : {&line.upper, &line.lower}) {
        for (const int quantum : {level->J, level->Ka, level->Kc}) put(std::to_string(quantum));
    }
    put(ShortestText(feature.frequency));
    put(feature.uncertainty == 0.0 ? "" : ShortestText(feature.uncertainty));
    if (columns.states) {
        put(std::to_string(line.upper.v));
        put(std::to_string(line.lower.v));
    }
    if (columns.weight) put(line.weight ? ShortestText(*line.weight) : "");
    if (columns.comment) put(CsvText(OneLine(line.comment)));
    return row + "\n";
}

Result<std::string> WriteCsv(const std::vector<LineFeature>& features, const LineContext& context) {
    const CsvColumns columns = ColumnsFor(features, context);
    std::string text = "J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty";
    if (columns.states) text += ",v_up,v_lo";
    if (columns.weight) text += ",weight";
    if (columns.comment) text += ",comment";
    text += '\n';
    const Parting parted(features, BlendRule::Frequency);
    if (parted.unplaced()) {
        return Refused(parted.unplaced()->transitions.front(),
                       "would become part of a blend, too many others have its frequency");
    }
    for (const LineFeature* feature : parted.order()) {
        for (const LineTransition& line : feature->transitions) {
            text += CsvRow(*feature, line, columns);
        }
    }
    return text;
}

// --------------------------------------------------------------------------------------- .asn

// The band of a line by the changes of Ka and Kc.
const char* BandOf(const LineTransition& line) {
    const bool ka_odd = (line.upper.Ka - line.lower.Ka) % 2 != 0;
    const bool kc_odd = (line.upper.Kc - line.lower.Kc) % 2 != 0;
    if (ka_odd) return kc_odd ? "B" : "C";
    return kc_odd ? "A" : "X";
}

std::string AsnRow(const LineFeature& feature, const LineTransition& line) {
    char quanta[120];
    const LineLevel &upper = line.upper, &lower = line.lower;
    std::snprintf(quanta, sizeof quanta, "%s %3d %3d %3d  %3d %3d %3d  ", BandOf(line), upper.J,
                  upper.Ka, upper.Kc, lower.J, lower.Ka, lower.Kc);
    std::string row =
        quanta + ShortestText(feature.frequency) + " " + ShortestText(feature.uncertainty);
    const std::string comment = OneLine(line.comment);
    if (!comment.empty()) row += "  " + comment;
    return row.substr(0, kMostAsnLine) + "\n";
}

Result<std::string> WriteAsn(const std::vector<LineFeature>& features, const LineContext& context) {
    std::string sets[2];
    for (const LineFeature& feature : features) {
        const LineTransition& line = feature.transitions.front();
        if (feature.transitions.size() > 1) return Refused(line, "is part of a blend");
        if (line.weight) return Refused(line, "has a weight");
        const bool is_within_lower = line.upper.v == 0 && line.lower.v == 0;
        const bool is_between = line.upper.v == 1 && line.lower.v == 0;
        if (!is_within_lower && !(is_between && context.two_states)) {
            return Refused(line, "is neither one between the states nor one within the lower one");
        }
        sets[context.two_states && is_within_lower ? 1 : 0] += AsnRow(feature, line);
    }
    if (sets[0].empty() && !sets[1].empty()) {
        return Refused(features.front().transitions.front(),
                       "is one within the lower state, with none between the states before it");
    }
    return sets[1].empty() ? sets[0] : sets[0] + "//\n" + sets[1];
}

// --------------------------------------------------------------------------------------- .lin

// J 1-3  Ka 4-6  Kc 7-9  (v 10-12), the lower level behind it, blanks up to column 36
std::string LinQuanta(const LineTransition& line, bool with_states) {
    std::string text;
    const auto put = [&](int quantum) {
        char field[16];
        std::snprintf(field, sizeof field, "%3d", quantum);
        text += field;
    };
    for (const LineLevel* level : {&line.upper, &line.lower}) {
        for (const int quantum : {level->J, level->Ka, level->Kc}) put(quantum);
        if (with_states) put(level->v);
    }
    text.resize(36, ' ');
    return text;
}

std::string Padded(const std::string& text, std::size_t width) {
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

// Frequencies in cm-1 carry a minus before their uncertainty, those without one become MHz.
std::string LinRow(const LineFeature& feature, const LineTransition& line, bool with_states,
                   EnergyUnit unit) {
    const bool is_wavenumber = unit == EnergyUnit::Wavenumber;
    const bool can_tell = feature.uncertainty != 0.0;
    const double frequency =
        is_wavenumber && !can_tell ? feature.frequency * kMHzPerWavenumber : feature.frequency;
    const double uncertainty = is_wavenumber ? -feature.uncertainty : feature.uncertainty;
    std::string row = LinQuanta(line, with_states) + " " + Padded(ShortestText(frequency), 17) +
                      " " + Padded(can_tell ? ShortestText(uncertainty) : "0", 11);
    if (line.weight) row += " " + ShortestText(*line.weight);
    const std::string comment = OneLine(line.comment);
    if (!comment.empty()) row += " /" + comment;
    return row + "\n";
}

Result<std::string> WriteLin(const std::vector<LineFeature>& features, const LineContext& context) {
    const Parting parted(features, BlendRule::FrequencyAndUncertainty);
    if (parted.unplaced()) {
        return Refused(parted.unplaced()->transitions.front(),
                       "would become part of a blend, too many others have its frequency");
    }
    std::string text;
    for (const LineFeature* feature : parted.order()) {
        for (const LineTransition& line : feature->transitions) {
            const LineLevel &upper = line.upper, &lower = line.lower;
            const auto [least, most] =
                std::minmax({upper.J, upper.Ka, upper.Kc, lower.J, lower.Ka, lower.Kc});
            if (least < kLeastFixedQuantum || most > kMostFixedQuantum) {
                return Refused(line, "has quantum numbers of more than three digits");
            }
            if (feature->transitions.size() > 1 && !line.weight) {
                return Refused(line, "has no weight in its blend, where it would count as 1");
            }
            text += LinRow(*feature, line, context.two_states, context.unit);
        }
    }
    return text;
}

}  // namespace

Result<std::string> WriteLineFile(const std::vector<LineFeature>& features, LineFormat format,
                                  const LineContext& context) {
    if (format == LineFormat::Csv) return WriteCsv(features, context);
    if (format == LineFormat::Asn) return WriteAsn(features, context);
    return WriteLin(features, context);
}

}  // namespace kiv
