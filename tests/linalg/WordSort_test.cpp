// Sorted words against std::stable_sort.
#include "linalg/WordSort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace kiv {
namespace {

// Lines by steps of which some bits are not told, every third one left out. Those of equal numbers
// come with the last one first.
struct Lines {
    std::vector<std::uint64_t> number;
    int untold_bits = 0;

    bool Has(std::size_t line) const { return line % 3 != 1; }
    std::uint64_t StepOf(std::size_t line) const { return number[line] >> untold_bits; }
    bool ComesBefore(std::size_t a, std::size_t b) const {
        return number[a] != number[b] ? number[a] < number[b] : a > b;
    }
};

void ExpectSorted(const Lines& lines) {
    std::vector<std::size_t> expected;
    for (std::size_t line = 0; line < lines.number.size(); ++line) {
        if (lines.Has(line)) expected.push_back(line);
    }
    std::uint64_t least = ~std::uint64_t{0}, most = 0;
    for (const std::size_t line : expected) {
        least = std::min(least, lines.StepOf(line));
        most = std::max(most, lines.StepOf(line));
    }
    std::sort(expected.begin(), expected.end(),
              [&](std::size_t a, std::size_t b) { return lines.ComesBefore(a, b); });
    const WordForm form(std::min(least, most), most, lines.number.size());
    for (const int num : {1, 2, 3, 7}) {
        Threads threads(num);
        std::vector<std::uint64_t> words(expected.size());
        WordSort(lines, lines.number.size(), form, std::span(words), threads).Go();
        std::vector<std::size_t> found;
        for (const std::uint64_t word : words) found.push_back(form.LineOf(word));
        EXPECT_TRUE(found == expected) << lines.number.size() << " on " << num;
    }
}

// Even and uneven numbers, few different ones, all in one bucket but for one, all bits.
TEST(WordSort, AgreesWithASort) {
    std::mt19937_64 random(3);
    for (const std::size_t n : {0, 1, 2, 3, 100, 4999, 5001, 70000}) {
        std::vector<std::vector<std::uint64_t>> sets(6, std::vector<std::uint64_t>(n));
        for (std::size_t i = 0; i < n; ++i) {
            sets[0][i] = 5000000 + random() % 1000000000000;
            sets[1][i] = random() >> random() % 64;
            sets[2][i] = random() % 5;
            sets[3][i] = i + 1 == n ? std::uint64_t{1} << 40 : random() % 100000;
            sets[4][i] = 7;
            sets[5][i] = random();
        }
        for (const auto& set : sets) {
            for (const int untold_bits : {0, 3}) ExpectSorted({set, untold_bits});
        }
    }
}

TEST(WordForm, TakesStepsOutsideTheLimitsForTheGreatest) {
    const WordForm form(100, 200, 10);
    EXPECT_EQ(form.WordOf(1000, 3), form.WordOf(200, 3));
    EXPECT_EQ(form.WordOf(99, 3), form.WordOf(200, 3));
    EXPECT_LT(form.WordOf(199, 9), form.WordOf(200, 0));
}

}  // namespace
}  // namespace kiv
