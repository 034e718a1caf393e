#include <cstdio>

#include "products/Fields.h"
#include "products/LineTexts.h"

namespace kiv {

void WriteEgyLevels(Sink& sink, const std::vector<ListedLevel>& levels, double unit,
                    bool two_states, const Predictor* predictor) {
    RowBlock rows(sink);
    for (const ListedLevel& level : levels) {
        const auto& [J, Ka, Kc] = level.label;
        const double sd =
            predictor ? predictor->Sd({level.v, J, Ka, Kc}, {0, 0, 0, 0}) * unit : 0.0;
        char* const row = rows.next();
        int size = std::snprintf(row, RowBlock::kMostRow, "%6d%5d%18.6f%18.6f%11.6f%5d:%3d%3d%3d",
                                 level.block, level.index, level.energy * unit, sd, 1.0,
                                 level.spin_weight * (2 * J + 1), J, Ka, Kc);
        if (two_states) size += std::snprintf(row + size, 16, "%3d", level.v);
        row[size] = '\n';
        rows.Add(row + size + 1);
    }
    rows.Flush();
}

}  // namespace kiv
