// Lines of known models, with levels of the slow independent rotor, and seeded noise.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <utility>
#include <vector>

#include "fit/FeatureTest.h"

namespace kiv {

/// Random numbers that are the same with every compiler. Source: SplitMix64, G. L. Steele, D. Lea,
/// C. H. Flood, OOPSLA 2014; normal ones by G. E. P. Box, M. E. Muller, Ann. Math. Stat. 29 (1958).
class Noise {
  public:
    explicit Noise(std::uint64_t seed) : state_(seed) {}

    /// Above 0 and below 1.
    double Uniform() {
        std::uint64_t x = state_ += 0x9E3779B97F4A7C15U;
        x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9U;
        x = (x ^ (x >> 27)) * 0x94D049BB133111EBU;
        return (static_cast<double>((x ^ (x >> 31)) >> 12) + 0.5) / 4503599627370496.0;
    }
    double Normal() {
        const double radius = std::sqrt(-2.0 * std::log(Uniform()));
        return radius * std::cos(2.0 * std::acos(-1.0) * Uniform());
    }
    template <class T>
    void Shuffle(std::vector<T>& list) {
        for (std::size_t i = list.size(); i > 1; --i) {
            const auto k = static_cast<std::size_t>(Uniform() * static_cast<double>(i));
            std::swap(list[i - 1], list[k]);
        }
    }

  private:
    std::uint64_t state_;
};

/// What the slow rotor makes of a model; each J is solved once.
class SlowBook {
  public:
    explicit SlowBook(const Model& model) : model_(model) {}

    double Position(const LineTransition& t) {
        return (t.upper.v - t.lower.v) * model_.origin.value + Of(t.upper).energy[Rank(t.upper)] -
               Of(t.lower).energy[Rank(t.lower)];
    }
    double Strength(const LineTransition& t) {
        const auto vector = [&](const LineLevel& l) {
            return SlowVector(Of(l), static_cast<int>(Rank(l)));
        };
        return SlowStrength(t.lower.J, vector(t.lower), t.upper.J, vector(t.upper),
                            model_.moment.component);
    }

    /// dE/dp as the mean value of the operator.
    double Derivative(const LineLevel& level, Constant constant) {
        const auto v = SlowVector(Of(level), static_cast<int>(Rank(level)));
        const SlowMatrix& op = Operator(level, constant);
        Complex sum = 0.0;
        for (int i = 0; i < op.n; ++i) {
            for (int k = 0; k < op.n; ++k) {
                sum += std::conj(v[static_cast<std::size_t>(i)]) * op(i, k) *
                       v[static_cast<std::size_t>(k)];
            }
        }
        return sum.real();
    }

    /// All lines above `least` that have some moment and change Ka by 1 at most, in a random order.
    std::vector<LineTransition> Lines(int v_upper, int v_lower, int max_J, double least,
                                      Noise& noise) {
        std::vector<LineTransition> lines;
        ForEachPair(max_J, [&](int Jl, int Ju, int l, int u) {
            const Label q = LabelOf(Jl, Ju, l, u);
            const int dK = std::abs(q[1] - q[4]), dKc = std::abs(q[2] - q[5]);
            if (dK > 1 || (dK % 2 == 0 && dKc % 2 == 0)) return;
            const LineTransition t =
                Transition({v_upper, q[0], q[1], q[2]}, {v_lower, q[3], q[4], q[5]});
            if (Position(t) > least) lines.push_back(t);
        });
        noise.Shuffle(lines);
        return lines;
    }

  private:
    static std::size_t Rank(const LineLevel& l) {
        return static_cast<std::size_t>(l.J + l.Ka - l.Kc);
    }
    const SlowLevels& Of(const LineLevel& l) {
        const auto [at, is_new] = levels_.try_emplace({l.v, l.J});
        if (is_new) at->second = SlowSolve(l.J, model_.states[static_cast<std::size_t>(l.v)]);
        return at->second;
    }
    const SlowMatrix& Operator(const LineLevel& l, Constant constant) {
        const auto [at, is_new] = operators_.try_emplace({{l.v, l.J}, constant}, 0);
        const Reduction reduction = model_.states[static_cast<std::size_t>(l.v)].reduction;
        if (is_new) at->second = SlowOperator(l.J, constant, reduction);
        return at->second;
    }

    Model model_;
    std::map<std::pair<int, int>, SlowLevels> levels_;
    std::map<std::pair<std::pair<int, int>, Constant>, SlowMatrix> operators_;
};

}  // namespace kiv
