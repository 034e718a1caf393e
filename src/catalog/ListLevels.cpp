#include <algorithm>

#include "kiv/catalog.h"
#include "lines/PairRules.h"

namespace kiv {
namespace {

constexpr int kBlocks = 4;  // of each J of a state

// Block of a level by its class of spin weights: even-even, even-odd, odd-odd, odd-even.
constexpr std::array<int, kBlocks> kBlockOf = {0, 3, 2, 1};

}  // namespace

std::vector<ListedLevel> ListLevels(const Model& model, const Levels& lower, const Levels& upper,
                                    const LineRules& rules) {
    const int num_states = model.one_state ? 1 : 2;
    const double zero = LowestEnergy(model, lower, upper);
    std::vector<ListedLevel> list;
    list.reserve(lower.size() * static_cast<std::size_t>(num_states));
    for (int J = 0; J <= lower.max_J; ++J) {
        for (int v = 0; v < num_states; ++v) {
            const Levels& levels = v == 0 ? lower : upper;
            const double origin = v == 0 ? 0.0 : model.origin.value;
            const auto first = static_cast<std::ptrdiff_t>(list.size());
            for (int rank = 0; rank <= 2 * J; ++rank) {
                const std::size_t n = Levels::Index(J, rank);
                const int Ka = levels.ka[n], Kc = levels.kc[n];
                const auto spin_class = static_cast<std::size_t>(SpinClass(Ka, Kc));
                const int block = (J * num_states + v) * kBlocks + kBlockOf[spin_class] + 1;
                list.push_back({block,
                                0,
                                v,
                                {J, Ka, Kc},
                                levels.energy[n] + origin - zero,
                                rules.spin_weights[spin_class]});
            }
            std::stable_sort(
                list.begin() + first, list.end(), [](const ListedLevel& a, const ListedLevel& b) {
                    return a.block != b.block ? a.block < b.block : a.energy < b.energy;
                });
        }
    }
    for (std::size_t n = 0; n < list.size(); ++n) {
        const bool goes_on = n > 0 && list[n - 1].block == list[n].block;
        list[n].index = goes_on ? list[n - 1].index + 1 : 1;
    }
    return list;
}

}  // namespace kiv
