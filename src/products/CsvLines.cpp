#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

#include "products/CatalogBlocks.h"
#include "products/Fields.h"
#include "products/LineTexts.h"

namespace kiv {
namespace {

constexpr std::string_view kHeader =
    "J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty,strength,intensity,lgint,E_lo,E_up,"
    "g_up,band,observed,obs_uncertainty,obs_minus_calc\n";

constexpr double kNoUncertainty = 1e19;  // larger ones stand for none

char* PutWhole(char* out, int value) { return std::to_chars(out, out + kShortestRoom, value).ptr; }

// Texts of a level, made when they are first needed.
struct LevelText {
    static constexpr std::size_t kRoom = 32;

    std::uint8_t label_size = 0, energy_size = 0;
    char label[kRoom];   // "J,Ka,Kc,"
    char energy[kRoom];  // "E,"
};

const LevelText& Known(LevelText& text, const LevelLabel& label, double energy) {
    if (text.label_size != 0) return text;
    char* end = text.label;
    for (const int q : {label.J, label.Ka, label.Kc}) {
        end = PutWhole(end, q);
        *end++ = ',';
    }
    text.label_size = static_cast<std::uint8_t>(end - text.label);
    end = PutShortest(text.energy, energy);
    *end++ = ',';
    text.energy_size = static_cast<std::uint8_t>(end - text.energy);
    return text;
}

char* PutText(char* out, const char* text, std::uint8_t size) {
    std::memcpy(out, text, LevelText::kRoom);
    return out + size;
}

class CsvWriter {
  public:
    using Source = LineTable;
    static constexpr std::size_t kUsualRow = 120;
    static constexpr std::int32_t kGroup = 50, kAhead = 12;

    explicit CsvWriter(const LineTable& table)
        : table_(table),
          lower_(table.catalog.source().lower->size()),
          upper_(table.catalog.source().upper->size()) {}

    void Read(std::int32_t, std::int32_t) {}  // each row looks at its line

    char* Put(char* out, std::int32_t place) {
        const CatalogLine line = table_.catalog.Line(place, table_.absolute);
        if (line.lg < table_.min_lgint) return out;
        const LevelText& upper = Known(upper_[static_cast<std::size_t>(line.upper_level)],
                                       line.upper, line.upper_energy);
        const LevelText& lower = Known(lower_[static_cast<std::size_t>(line.lower_level)],
                                       line.lower, line.lower_energy);
        out = PutText(out, upper.label, upper.label_size);
        out = PutText(out, lower.label, lower.label_size);
        out = PutShortest(out, line.frequency);
        *out++ = ',';
        if (table_.predictor) out = PutShortest(out, Uncertainty(line));
        *out++ = ',';
        if (table_.has_moment) out = PutShortest(out, static_cast<float>(line.strength));
        *out++ = ',';
        out = PutShortest(out, line.intensity);
        *out++ = ',';
        if (table_.has_moment) out = PutFixed7(out, line.lg);
        *out++ = ',';
        out = PutText(out, lower.energy, lower.energy_size);
        out = PutText(out, upper.energy, upper.energy_size);
        out = PutWhole(out, line.spin_weight * (2 * line.upper.J + 1));
        *out++ = ',';
        *out++ = line.band;
        *out++ = ',';
        return PutObserved(out, line);
    }

  private:
    double Uncertainty(const CatalogLine& line) const {
        return table_.predictor->Sd({table_.v_upper, line.upper.J, line.upper.Ka, line.upper.Kc},
                                    {table_.v_lower, line.lower.J, line.lower.Ka, line.lower.Kc});
    }

    char* PutObserved(char* out, const CatalogLine& line) const {
        const std::int32_t assignment =
            table_.assignment_of.empty()
                ? 0
                : table_.assignment_of[static_cast<std::size_t>(line.line)];
        if (assignment > 0) {
            const auto i = static_cast<std::size_t>(assignment - 1);
            const double observed = table_.assignments->frequency[i];
            const double uncertainty = table_.assignments->uncertainty[i];
            out = PutShortest(out, observed);
            *out++ = ',';
            if (uncertainty < kNoUncertainty) out = PutShortest(out, uncertainty);
            *out++ = ',';
            out = PutShortest(out, observed - line.frequency);
        } else {
            *out++ = ',';
            *out++ = ',';
        }
        *out++ = '\n';
        return out;
    }

    const LineTable& table_;
    std::vector<LevelText> lower_, upper_;
};

}  // namespace

std::int32_t WriteCsvLines(Sink& sink, const LineTable& table, Threads* threads) {
    sink.Expect(static_cast<std::size_t>(table.catalog.size()) * CsvWriter::kUsualRow);
    sink.Put(kHeader.data(), kHeader.size());
    Threads alone;
    return WriteCatalog<CsvWriter>(sink, table, table, ThreadsForRows(table, threads, alone));
}

}  // namespace kiv
