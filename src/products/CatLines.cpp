#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "io/NumText.h"
#include "products/CatalogBlocks.h"
#include "products/Fields.h"
#include "products/LineTexts.h"

namespace kiv {
namespace {

constexpr double kMostMHz = 99999999.99995;                            // that F13.4 holds
constexpr double kMostError = 999.9999, kMostNegativeError = 99.9999;  // that F8.4 holds
constexpr double kLeastNegativeError = 1e-4;
constexpr int kErrorColumns = 8;
constexpr double kLeastLg = -99.9999;
constexpr std::size_t kRow = 81;

// Texts of a level, made when they are first needed.
struct LevelText {
    char quanta[12];  // six times two columns
    char energy[10];
    bool is_known = false;
};

class CatWriter {
  public:
    explicit CatWriter(const LineTable& table)
        : table_(table),
          lower_(table.catalog.source().lower->size()),
          upper_(table.catalog.source().upper->size()) {
        char* end = PutInt(tail_, table.tag, 7);
        PutInt(end, table.two_states ? 1404 : 303, 4);
        char field[kFixed4Room];
        PutField4(field, ErrorOf(0.0), kErrorColumns);
        std::memcpy(no_error_, field, sizeof no_error_);
    }

    bool Accepts(const CatalogLine& line) const {
        return !(line.lg < table_.min_lgint) && std::isfinite(line.lg);
    }

    char* Put(char* out, const CatalogLine& line) {
        LevelText& upper =
            Known(upper_, line.upper_level, table_.v_upper, line.upper, line.upper_energy);
        LevelText& lower =
            Known(lower_, line.lower_level, table_.v_lower, line.lower, line.lower_energy);
        const bool is_swapped = line.frequency < 0.0;
        const LevelText &high = is_swapped ? lower : upper, &low = is_swapped ? upper : lower;
        const int J = is_swapped ? line.lower.J : line.upper.J;
        out = PutField4(out, std::fabs(line.frequency) * Unit(), 13);
        out = PutError(out, line);
        out = PutField4(out, std::max(line.lg, kLeastLg), 8);
        std::memcpy(out, " 3", 2);
        out += 2;
        std::memcpy(out, low.energy, sizeof low.energy);
        out += sizeof low.energy;
        out = PutLettered(out, line.spin_weight * (2 * J + 1), 3);
        std::memcpy(out, tail_, 11);
        out += 11;
        for (const LevelText* level : {&high, &low}) {
            std::memcpy(out, level->quanta, sizeof level->quanta);
            out += sizeof level->quanta;
        }
        *out++ = ' ';
        *out++ = '\n';
        return out;
    }

  private:
    double Unit() const { return table_.in_wavenumbers ? table_.wavenumbers : table_.MHz; }

    // Without a fit no line has an uncertainty.
    char* PutError(char* out, const CatalogLine& line) const {
        if (!table_.predictor) {
            std::memcpy(out, no_error_, sizeof no_error_);
            return out + sizeof no_error_;
        }
        const double sd =
            table_.predictor->Sd({table_.v_upper, line.upper.J, line.upper.Ka, line.upper.Kc},
                                 {table_.v_lower, line.lower.J, line.lower.Ka, line.lower.Kc});
        return PutField4(out, ErrorOf(Unit() * sd), kErrorColumns);
    }

    double ErrorOf(double sd) const {
        return table_.in_wavenumbers ? -std::clamp(sd, kLeastNegativeError, kMostNegativeError)
                                     : std::min(sd, kMostError);
    }

    LevelText& Known(std::vector<LevelText>& texts, std::int32_t level, int v,
                     const LevelLabel& label, double energy) const {
        LevelText& text = texts[static_cast<std::size_t>(level)];
        if (text.is_known) return text;
        text.is_known = true;
        char field[kFixed4Room];
        std::memset(text.quanta, ' ', sizeof text.quanta);
        char* end = field;
        for (const int q : {label.J, label.Ka, label.Kc}) end = PutLettered(end, q, 2);
        if (table_.two_states) end = PutLettered(end, v, 2);
        std::memcpy(text.quanta, field, static_cast<std::size_t>(end - field));
        PutField4(field, energy * table_.wavenumbers, 10);
        std::memcpy(text.energy, field, sizeof text.energy);
        return text;
    }

    const LineTable& table_;
    std::vector<LevelText> lower_, upper_;
    char tail_[64];  // tag and format
    char no_error_[kErrorColumns];
};

}  // namespace

bool HasRoomInMHz(const LineList& lines, double MHz) {
    return std::none_of(lines.position.begin(), lines.position.begin() + lines.size,
                        [&](double x) { return std::fabs(x) * MHz >= kMostMHz; });
}

std::int32_t WriteCatLines(Sink& sink, const LineTable& table, Threads* threads) {
    sink.Expect(static_cast<std::size_t>(table.catalog.size()) * kRow);
    return WriteCatalog<CatWriter>(sink, table, threads);
}

}  // namespace kiv
