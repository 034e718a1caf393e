#include "job/LineRange.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kiv {
namespace {

// Moves entry `from`, of `width` numbers, to `to`; arrays that a list does not have are null.
template <class T>
void Move(Array<T>& values, std::size_t from, std::size_t to, std::size_t width = 1) {
    if (values.is_null()) return;
    for (std::size_t i = 0; i < width; ++i) values[to * width + i] = values[from * width + i];
}

constexpr std::size_t kBands = 3;   // amplitudes a line
constexpr std::size_t kLabels = 6;  // quantum numbers a line

}  // namespace

void CutToRange(const std::array<double, 2>& range, LineList& lines) {
    const auto num = static_cast<std::size_t>(lines.size);
    std::vector<std::int32_t> place(num, -1);
    std::size_t kept = 0;
    for (std::size_t n = 0; n < num; ++n) {
        if (lines.position[n] < range[0] || lines.position[n] > range[1]) continue;
        place[n] = static_cast<std::int32_t>(kept);
        Move(lines.position, n, kept);
        Move(lines.intensity, n, kept);
        Move(lines.amplitude_real, n, kept, kBands);
        Move(lines.amplitude_imag, n, kept, kBands);
        Move(lines.band, n, kept);
        Move(lines.label, n, kept, kLabels);
        Move(lines.lower_level, n, kept);
        Move(lines.upper_level, n, kept);
        ++kept;
    }
    lines.size = static_cast<std::int32_t>(kept);
    std::size_t matched = 0;
    for (std::size_t k = 0; k < static_cast<std::size_t>(lines.matched); ++k) {
        const std::int32_t to = place[static_cast<std::size_t>(lines.match_line[k])];
        if (to < 0) continue;
        lines.match_line[matched] = to;
        lines.match_assignment[matched] = lines.match_assignment[k];
        ++matched;
    }
    lines.matched = static_cast<std::int32_t>(matched);
}

}  // namespace kiv
