#include "products/CatTexts.h"

#include <algorithm>
#include <cstring>

#include "io/NumText.h"
#include "lines/PairRules.h"
#include "products/Fields.h"

namespace kiv {
namespace {

constexpr double kMostError = 999.9999, kMostNegativeError = 99.9999;  // that F8.4 holds
constexpr double kLeastNegativeError = 1e-4;

using Marks = std::vector<std::uint8_t>;  // of levels: 1 where a line needs it

// Levels of the lines of a catalogue, by their indices.
std::array<Marks, kNumStates> LevelsOfLines(const Catalog& catalog) {
    const CatalogSource& source = catalog.source();
    std::array<Marks, kNumStates> marks = {Marks(source.lower->size()),
                                           Marks(source.upper->size())};
    Marks& upper = marks[source.one_state() ? kLower : kUpper];
    for (std::int32_t place = 0; place < catalog.size(); ++place) {
        const std::int16_t* const q =
            &source.lines->label[6 * static_cast<std::size_t>(catalog.IndexOf(place))];
        upper[LevelOf(q)] = 1;
        marks[kLower][LevelOf(q + 3)] = 1;
    }
    return marks;
}

}  // namespace

CatTexts::CatTexts(const LineTable& table, Threads& threads)
    : table_(table),
      source_(table.catalog.source()),
      is_one_state_(source_.one_state()),
      unit_(table.in_wavenumbers ? table.wavenumbers : table.MHz),
      quick_lg_(source_, table.absolute) {
    char field[kFixed4Room];
    PutField4(field, ErrorOf(0.0), kErrorColumns);
    std::memcpy(no_error_.data(), field, no_error_.size());
    MakeWeights();
    MakeLevels(threads);
}

double CatTexts::ErrorOf(double sd) const {
    return table_.in_wavenumbers ? -std::clamp(sd, kLeastNegativeError, kMostNegativeError)
                                 : std::min(sd, kMostError);
}

void CatTexts::MakeWeights() {
    char field[kFixed4Room];
    weights_.reserve(static_cast<std::size_t>(kSpinClasses * (source_.upper->max_J + 1)));
    for (int J = 0; J <= source_.upper->max_J; ++J) {
        for (const int spin_weight : source_.rules.spin_weights) {
            char* end = PutLettered(field, spin_weight * (2 * J + 1), 3);
            end = PutInt(end, table_.tag, 7);
            PutInt(end, table_.two_states ? 1404 : 303, 4);
            std::array<char, kRoom>& text = weights_.emplace_back();
            std::memcpy(text.data(), field, kWeightColumns);
        }
    }
}

// All levels where there are many lines, those of the lines where there are few.
void CatTexts::MakeLevels(Threads& threads) {
    const auto lines = static_cast<std::size_t>(table_.catalog.size());
    std::array<Marks, kNumStates> needed;
    if (lines < source_.lower->size()) needed = LevelsOfLines(table_.catalog);
    for (const StateIndex state : {kLower, kUpper}) {
        if (state == kUpper && is_one_state_) continue;
        const Levels& levels = state == kUpper ? *source_.upper : *source_.lower;
        levels_[state].reset(new Level[levels.size()]);
        threads.Share(levels.max_J + 1, [&](int J, int) {
            for (int rank = 0; rank <= 2 * J; ++rank) {
                const std::size_t level = Levels::Index(J, rank);
                if (needed[state].empty() || needed[state][level]) MakeLevel(state, J, level);
            }
        });
    }
}

void CatTexts::MakeLevel(StateIndex state, int J, std::size_t level) {
    const Levels& levels = state == kUpper ? *source_.upper : *source_.lower;
    const int v = state == kUpper ? table_.v_upper : table_.v_lower;
    if (state == kLower) quick_lg_.SetLevel(level);
    Level& text = levels_[state][level];
    const int Ka = levels.ka[level], Kc = levels.kc[level];
    text.J = static_cast<std::int16_t>(J);
    text.spin_class = static_cast<std::int16_t>(SpinClass(Ka, Kc));
    char field[kFixed4Room];
    std::memcpy(field, " 3", 2);
    PutField4<10>(field + 2, (levels.energy[level] + source_.origin[state] - source_.zero) *
                                 table_.wavenumbers);
    std::memcpy(text.energy.data(), field, text.energy.size());
    char* end = field;
    for (const int q : {J, Ka, Kc}) end = PutLettered(end, q, 2);
    if (table_.two_states) end = PutLettered(end, v, 2);
    std::memset(end, ' ', kQuantaColumns + 1);
    field[kQuantaColumns + 1] = '\n';
    std::memcpy(text.last.data(), field, text.last.size());
}

}  // namespace kiv
