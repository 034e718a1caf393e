// The sort index against std::stable_sort; what it permutes is tested with the files.
#include "linalg/Sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace kiv {
namespace {

using Order = std::vector<std::int32_t>;

Order Counted(std::size_t n) {
    Order order(n);
    std::iota(order.begin(), order.end(), 0);
    return order;
}

template <class Key>
void ExpectStable(const std::vector<Key>& keys) {
    Order expected = Counted(keys.size()), order = expected;
    std::stable_sort(expected.begin(), expected.end(),
                     [&keys](int a, int b) { return keys[a] < keys[b]; });
    for (int granted : {-1, 0, 1}) {  // requests for memory; -1: all
        Memory memory;
        memory.RefuseAfter(granted);
        SortIndex(std::span(keys), order, memory);
        EXPECT_EQ(order, expected) << keys.size() << " with " << granted;
    }
    if (keys.size() < kShortRange) return;
    for (int num : {1, 2, 3, 7}) {
        Threads threads(num);
        SortIndex(std::span(keys), order, Memory(), &threads);
        EXPECT_TRUE(order == expected) << keys.size() << " on " << num;
    }
}

TEST(SortIndex, AgreesWithAStableSort) {
    const double inf = std::numeric_limits<double>::infinity();
    std::mt19937_64 random(1);
    for (std::size_t n : {0, 1, 2, 3, 255, 256, 257, 5000}) {
        const auto one_of = [&](const std::vector<double>& values) {
            std::vector<double> keys(n);
            for (double& key : keys) key = values[random() % values.size()];
            return keys;
        };
        std::vector<double> uniform(n), any_bits(n), one_less(n, 5.0);
        for (double& key : uniform) key = std::uniform_real_distribution(-1e3, 1e3)(random);
        for (double& key : any_bits) key = std::bit_cast<double>(random() & ~(1ULL << 62));
        if (n > 0) one_less.back() = 4.0;
        for (const auto& keys :
             {uniform, any_bits, one_less, one_of({-inf, -1.0, -0.0, 0.0, 5e-324, 1.0, inf})}) {
            ExpectStable(keys);
        }
        std::vector<std::uint64_t> whole(n);
        for (std::uint64_t& key : whole) key = random() >> random() % 64;
        ExpectStable(whole);
        Order lines(n);
        const auto odd = one_of({inf - inf, -(inf - inf), 1.0, 2.0});
        SortIndex(std::span(odd), lines, Memory());
        std::sort(lines.begin(), lines.end());
        EXPECT_EQ(lines, Counted(n)) << "keys that are not numbers lose no line";
    }
}

// Keys that agree in more high bits than are sorted at first, apart from their lowest ones; many
// that are equal; all in one bucket but for one; many powers of two.
void ExpectStableKeys(std::size_t n) {
    std::mt19937_64 random(2);
    std::vector<std::vector<double>> sets(5, std::vector<double>(n));
    for (std::size_t i = 0; i < n; ++i) {
        sets[0][i] = std::uniform_real_distribution(-1e7, 1e7)(random);
        sets[1][i] = std::bit_cast<double>(std::bit_cast<std::uint64_t>(1e6) + random() % 5);
        sets[2][i] = static_cast<double>(random() % 100);
        sets[3][i] = std::bit_cast<double>(std::bit_cast<std::uint64_t>(1e6) + random() % 5);
    }
    sets[1][n / 2] = -sets[1][n / 2];
    sets[3][n - 1] = 0.0;
    for (double& key : sets[4]) key = std::exp(std::uniform_real_distribution(-9.0, 17.0)(random));
    for (const auto& keys : sets) ExpectStable(keys);
    std::vector<std::uint64_t> whole(n);
    for (std::uint64_t& key : whole) key = random() % 3 + (random() % 2 << 63);
    ExpectStable(whole);
}

TEST(SortIndexOnThreads, AgreesWithAStableSort) {
    ExpectStableKeys(3 * kShortRange);               // in one bucket
    ExpectStableKeys(kOneBucket + kOneBucket / 10);  // in many
}

}  // namespace
}  // namespace kiv
