// What the rows of a .cat file share: texts of levels, weights, tag.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "catalog/QuickLg.h"
#include "kiv/threads.h"
#include "products/LineTexts.h"

namespace kiv {

/// Index of the level J, Ka, Kc.
inline std::size_t LevelOf(const std::int16_t* q) {
    return static_cast<std::size_t>(q[0] * q[0] + q[0] + q[1] - q[2]);
}

/// Parts of rows that are made once, before the rows; threads read them side by side.
class CatTexts {
  public:
    static constexpr std::size_t kQuantaColumns = 12;  // six times two
    static constexpr std::size_t kErrorColumns = 8, kEnergyColumns = 12, kWeightColumns = 14;
    static constexpr std::size_t kRoom = 16;  // of a text that is copied as a whole

    struct alignas(32) Level {
        std::array<char, kEnergyColumns> energy;  // after I2 3
        std::array<char, kRoom> last;             // the quanta, a blank and the end of the row
        std::int16_t J;
        std::int16_t spin_class;
    };

    /// `table` must outlive it. The threads share the levels that its lines need.
    CatTexts(const LineTable& table, Threads& threads);

    const LineTable& table() const { return table_; }
    const QuickLg& quick_lg() const { return quick_lg_; }
    double unit() const { return unit_; }  // of the frequencies

    /// Both levels of a line within one state are among the lower ones.
    const Level* lower() const { return levels_[kLower].get(); }
    const Level* upper() const { return levels_[is_one_state_ ? kLower : kUpper].get(); }

    /// Weight, tag and format of rows with a level of this J above a lower one of this class.
    const std::array<char, kRoom>& WeightOf(int J, int spin_class) const {
        return weights_[static_cast<std::size_t>(kSpinClasses * J + spin_class)];
    }

    /// Uncertainty of lines without one.
    const std::array<char, kErrorColumns>& no_error() const { return no_error_; }

    /// The uncertainty that is printed for one in the unit of the frequencies.
    double ErrorOf(double sd) const;

  private:
    static constexpr int kSpinClasses = 4;

    void MakeWeights();
    void MakeLevels(Threads& threads);
    void MakeLevel(StateIndex state, int J, std::size_t level);

    const LineTable& table_;
    const CatalogSource& source_;
    const bool is_one_state_;
    const double unit_;
    QuickLg quick_lg_;
    std::unique_ptr<Level[]> levels_[kNumStates];
    std::vector<std::array<char, kRoom>> weights_;
    std::array<char, kErrorColumns> no_error_;
};

}  // namespace kiv
