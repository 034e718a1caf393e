// The strongest rotational lines of SO2 at room temperature.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <numeric>
#include <vector>

#include "kiv/lines.h"

namespace {

using kiv::Constant;

// Ground vibrational state, MHz, A reduction; the moment lies along b, in debye.
kiv::Model SulfurDioxide() {
    kiv::Model model;
    model.one_state = true;
    model.lower() = kiv::State::Rigid(60778.5500, 10318.0738, 8799.7023)
                        .Set(Constant::DK, 2.590)
                        .Set(Constant::DJK, -0.11694)
                        .Set(Constant::DJ, 0.0066099)
                        .Set(Constant::dK, 0.025395)
                        .Set(Constant::dJ, 0.0017017);
    model.moment.component = {0.0, 1.633189, 0.0};
    return model;
}

// Line numbers in descending intensity.
std::vector<std::size_t> ByIntensity(const kiv::LineList& lines) {
    std::vector<std::size_t> order(static_cast<std::size_t>(lines.size));
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return lines.intensity[a] > lines.intensity[b];
    });
    return order;
}

}  // namespace

int main() {
    kiv::Settings settings;
    settings.max_J = 70;
    settings.lines.temperature = 300.0;          // kelvin; kT in MHz unless told otherwise
    settings.lines.spin_weights = {1, 0, 1, 0};  // two oxygen nuclei without spin
    settings.lines.min_intensity = 1e-3;

    kiv::Workspace work;
    const auto result = kiv::ComputeLines(SulfurDioxide(), settings, work);
    if (!result) {
        std::fprintf(stderr, "line_list: %s\n", result.error().text.c_str());
        return 1;
    }
    const kiv::LineList& lines = result.value();
    std::printf("%d lines, the strongest:\n", static_cast<int>(lines.size));
    auto order = ByIntensity(lines);
    order.resize(std::min<std::size_t>(order.size(), 8));
    for (const std::size_t n : order) {
        const std::int16_t* q = &lines.label[6 * n];
        std::printf("%3d %2d %2d <- %2d %2d %2d  %14.4f MHz  %9.4f\n", q[0], q[1], q[2], q[3], q[4],
                    q[5], lines.position[n], static_cast<double>(lines.intensity[n]));
    }
    return 0;
}
