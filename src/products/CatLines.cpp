#include <algorithm>
#include <cmath>
#include <cstring>

#include "io/NumText.h"
#include "products/CatTexts.h"
#include "products/CatalogBlocks.h"
#include "products/Fields.h"
#include "products/LineTexts.h"

namespace kiv {
namespace {

constexpr double kMostMHz = 99999999.99995;  // that F13.4 holds
constexpr double kLeastLg = -99.9999;

// Copies a text with what stands behind its columns, in whose place the next one comes.
template <std::size_t Size>
char* PutText(char* out, const std::array<char, Size>& text, std::size_t columns = Size) {
    std::memcpy(out, text.data(), Size);
    return out + columns;
}

class CatWriter {
  public:
    using Source = CatTexts;
    static constexpr std::size_t kUsualRow = 81;
    static constexpr std::int32_t kGroup = QuickLg::kLanes, kAhead = kGroup;

    explicit CatWriter(const CatTexts& texts)
        : texts_(texts), table_(texts.table()), lines_(*table_.catalog.source().lines) {}

    // The numbers of a group come before its texts: they are found side by side.
    void Read(std::int32_t first, std::int32_t last) {
        const Catalog& catalog = table_.catalog;
        const auto num = static_cast<std::size_t>(last - first);
        for (std::size_t i = 0; i < num; ++i) {
            const std::int32_t place = first + static_cast<std::int32_t>(i);
            const auto n = static_cast<std::size_t>(catalog.IndexOf(place));
            const std::int16_t* const q = &lines_.label[6 * n];
            run_.position[i] = lines_.position[n];
            run_.intensity[i] = lines_.intensity[n];
            run_.lower[i] = LevelOf(q + 3);
            run_.upper[i] = LevelOf(q);
        }
        double shown[kGroup];
        for (std::size_t i = 0; i < num; ++i) shown[i] = run_.position[i] * texts_.unit();
        FindUnits({shown, num}, frequency_units_);
        texts_.quick_lg().Tell(run_, num);
        std::copy_n(run_.lg, num, shown);
        FindUnits({shown, num}, lg_units_);
        for (std::size_t i = 0; i < num; ++i) {
            // A digit that is shown, or the choice, may hang on the error of the quick way.
            double& lg = run_.lg[i];
            if (lg_units_[i] >= 0 && std::fabs(lg - table_.min_lgint) >= QuickLg::kError) continue;
            lg = catalog.Line(first + static_cast<std::int32_t>(i), table_.absolute).lg;
            lg_units_[i] = UnitsOf(lg);
        }
        first_ = first;
    }

    char* Put(char* out, std::int32_t place) const {
        const auto i = static_cast<std::size_t>(place - first_);
        const double lg = run_.lg[i];
        if (!std::isfinite(lg) || lg < table_.min_lgint) return out;

        const CatTexts::Level &upper = texts_.upper()[run_.upper[i]],
                              &lower = texts_.lower()[run_.lower[i]];
        const bool is_swapped = run_.position[i] < 0.0;
        const CatTexts::Level &high = is_swapped ? lower : upper, &low = is_swapped ? upper : lower;
        out = FitUnits<13>(frequency_units_[i], false)
                  ? PutUnits<13>(out, frequency_units_[i], false)
                  : PutField4(out, std::fabs(run_.position[i]) * texts_.unit(), 13);
        out = table_.predictor ? PutError(out, place) : PutText(out, texts_.no_error());
        out = PutLg(out, lg, lg_units_[i]);
        out = PutText(out, low.energy);
        out = PutText(out, texts_.WeightOf(high.J, lower.spin_class), CatTexts::kWeightColumns);
        PutText(out, high.last);
        return PutText(out + CatTexts::kQuantaColumns, low.last, CatTexts::kQuantaColumns + 2);
    }

  private:
    static char* PutLg(char* out, double lg, std::int64_t units) {
        const bool is_negative = std::signbit(lg);
        return lg > kLeastLg && FitUnits<8>(units, is_negative)
                   ? PutUnits<8>(out, units, is_negative)
                   : PutField4(out, std::max(lg, kLeastLg), 8);
    }

    char* PutError(char* out, std::int32_t place) const {
        const std::int16_t* const q =
            &lines_.label[6 * static_cast<std::size_t>(table_.catalog.IndexOf(place))];
        const double sd = table_.predictor->Sd({table_.v_upper, q[0], q[1], q[2]},
                                               {table_.v_lower, q[3], q[4], q[5]});
        return PutField4(out, texts_.ErrorOf(texts_.unit() * sd), CatTexts::kErrorColumns);
    }

    const CatTexts& texts_;
    const LineTable& table_;
    const LineList& lines_;
    std::int32_t first_ = 0;  // of the group
    QuickLg::Run run_;
    std::int64_t frequency_units_[kGroup], lg_units_[kGroup];
};

}  // namespace

bool HasRoomInMHz(const LineList& lines, double MHz) {
    return std::none_of(lines.position.begin(), lines.position.begin() + lines.size,
                        [&](double x) { return std::fabs(x) * MHz >= kMostMHz; });
}

std::int32_t WriteCatLines(Sink& sink, const LineTable& table, Threads* threads) {
    sink.Expect(static_cast<std::size_t>(table.catalog.size()) * CatWriter::kUsualRow);
    Threads alone;
    Threads& sharing = ThreadsForRows(table, threads, alone);
    const CatTexts texts(table, sharing);
    return WriteCatalog<CatWriter>(sink, table, texts, sharing);
}

}  // namespace kiv
