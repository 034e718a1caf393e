// Lines at random and the plain sum over them.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "kiv/spectrum.h"

namespace kiv {

/// Numbers that are the same everywhere.
class Dice {
  public:
    explicit Dice(std::uint64_t seed) : bits_(seed) {}
    double Uniform() { return static_cast<double>(bits_() >> 11) * 0x1p-53; }
    double Normal() {
        return std::sqrt(-2.0 * std::log(1.0 - Uniform())) *
               std::cos(6.283185307179586 * Uniform());
    }

  private:
    std::mt19937_64 bits_;
};

struct RandomLines {
    std::vector<double> position;
    std::vector<float> intensity;

    /// From 0 to `extent`, over six orders of magnitude.
    RandomLines(std::size_t num, double extent, std::uint64_t seed) {
        Dice dice(seed);
        for (std::size_t n = 0; n < num; ++n) {
            position.push_back(extent * dice.Uniform());
            intensity.push_back(static_cast<float>(std::pow(10.0, -6.0 * dice.Uniform())));
        }
    }

    Sticks sticks() const { return {position, intensity}; }

    double At(const LineProfile& profile, double frequency) const {
        double sum = 0.0;
        for (std::size_t n = 0; n < position.size(); ++n) {
            sum += static_cast<double>(intensity[n]) * ProfileAt(profile, frequency - position[n]);
        }
        return sum;
    }

    double Area() const {
        double sum = 0.0;
        for (const float area : intensity) sum += static_cast<double>(area);
        return sum;
    }
};

}  // namespace kiv
