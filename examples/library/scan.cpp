// What a tilt of the upper axes does to the band types of 7-azaindole: scan [THREADS]
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "kiv/lines.h"

namespace {

// Percentage of the intensity in lines that are mostly of b type.
kiv::Result<double> PercentOfB(double theta, kiv::Workspace& work) {
    kiv::Model model;
    model.lower() = kiv::State::Rigid(3921.885, 1701.922, 1190.176);  // MHz
    model.upper() = kiv::State::Rigid(3737.812, 1701.382, 1172.488);
    model.upper().tilt.theta = theta;
    model.moment = kiv::Moment::FromAngles(1.0, 21.0, 0.0);
    kiv::Settings settings;
    settings.max_J = 25;
    settings.lines.temperature = 4.0;  // kelvin
    const auto result = kiv::ComputeLines(model, settings, work);
    if (!result) return result.error();

    const kiv::LineList& lines = result.value();
    double all = 0.0, b = 0.0;
    for (std::size_t n = 0; n < static_cast<std::size_t>(lines.size); ++n) {
        const auto intensity = static_cast<double>(lines.intensity[n]);
        all += intensity;
        if (lines.band[n] == 'B') b += intensity;
    }
    return 100.0 * b / all;
}

}  // namespace

int main(int argc, char** argv) {
    constexpr std::size_t kAngles = 13;  // 0, 1, ... degrees
    std::vector<kiv::Result<double>> percent(kAngles, 0.0);
    const kiv::Memory memory;  // one account for all threads
    std::atomic<std::size_t> next{0};
    const auto work_off = [&] {
        kiv::Workspace work(memory);  // and one of these for each
        for (std::size_t i = next++; i < kAngles; i = next++) {
            percent[i] = PercentOfB(static_cast<double>(i), work);
        }
    };
    std::vector<std::thread> threads;
    for (int n = argc > 1 ? std::atoi(argv[1]) : 2; n > 0; --n) threads.emplace_back(work_off);
    for (std::thread& thread : threads) thread.join();

    for (std::size_t i = 0; i < kAngles; i += 3) {
        if (!percent[i]) {
            std::fprintf(stderr, "scan: %s\n", percent[i].error().text.c_str());
            return 1;
        }
        std::printf("theta %2zu: %7.4f %% of b type\n", i, percent[i].value());
    }
    return 0;
}
