#include "linalg/Sort.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

namespace kiv {
namespace {

constexpr int kDigitBits = 11;
constexpr int kDigits = 6;  // of 11 bits cover 64
constexpr std::size_t kBuckets = std::size_t{1} << kDigitBits;

// Below this many lines the tables of the radix sort cost more than they save.
constexpr std::size_t kFewLines = 256;

struct KeyedLine {
    std::uint64_t image;
    std::int32_t line;
};

using Histogram = std::array<std::uint32_t, kBuckets>;

// Unsigned integer in the order of the key. Adding 0.0 turns -0.0 into 0.0.
std::uint64_t ImageOf(double key) {
    const double plain = key + 0.0;
    std::uint64_t bits = 0;
    std::memcpy(&bits, &plain, sizeof bits);
    const std::uint64_t sign = std::uint64_t{1} << 63;
    return (bits & sign) != 0 ? ~bits : bits | sign;
}

std::uint64_t ImageOf(std::uint64_t key) { return key; }

std::size_t Digit(std::uint64_t image, int digit) {
    return image >> (digit * kDigitBits) & (kBuckets - 1);
}

// Turns counts into first positions; false when all lines share one bucket.
bool CountsToStarts(Histogram& counts, std::size_t n) {
    std::uint32_t start = 0;
    for (auto& count : counts) {
        if (count == n) return false;
        start += std::exchange(count, start);
    }
    return true;
}

// Least significant digit first; every pass is stable, so equal keys keep their order.
template <class Key>
void RadixSort(std::span<const Key> key, std::span<std::int32_t> order, KeyedLine* lines,
               KeyedLine* spare) {
    const std::size_t n = key.size();
    std::array<Histogram, kDigits> counts{};
    for (std::size_t i = 0; i < n; ++i) {
        lines[i] = {ImageOf(key[i]), static_cast<std::int32_t>(i)};
        for (int d = 0; d < kDigits; ++d) ++counts[d][Digit(lines[i].image, d)];
    }
    for (int d = 0; d < kDigits; ++d) {
        Histogram& next = counts[d];
        if (!CountsToStarts(next, n)) continue;
        for (std::size_t i = 0; i < n; ++i) spare[next[Digit(lines[i].image, d)]++] = lines[i];
        std::swap(lines, spare);
    }
    for (std::size_t i = 0; i < n; ++i) order[i] = lines[i].line;
}

// The same order without memory of its own.
template <class Key>
void SortInPlace(std::span<const Key> key, std::span<std::int32_t> order) {
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), [key](std::int32_t a, std::int32_t b) {
        const std::uint64_t image_a = ImageOf(key[static_cast<std::size_t>(a)]);
        const std::uint64_t image_b = ImageOf(key[static_cast<std::size_t>(b)]);
        return image_a != image_b ? image_a < image_b : a < b;
    });
}

template <class Key>
void Sort(std::span<const Key> key, std::span<std::int32_t> order, const Memory& memory) {
    const auto n = static_cast<std::int64_t>(key.size());
    Array<KeyedLine> lines, spare;
    if (key.size() >= kFewLines && lines.Resize(memory, n) && spare.Resize(memory, n)) {
        RadixSort(key, order, lines.data(), spare.data());
    } else {
        SortInPlace(key, order.first(key.size()));
    }
}

}  // namespace

void SortIndex(std::span<const double> key, std::span<std::int32_t> order, const Memory& memory) {
    Sort(key, order, memory);
}

void SortIndex(std::span<const std::uint64_t> key, std::span<std::int32_t> order,
               const Memory& memory) {
    Sort(key, order, memory);
}

}  // namespace kiv
