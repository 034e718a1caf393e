#include "linalg/Sort.h"

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>
#include <utility>
#include <vector>

namespace kiv {
namespace {

constexpr int kFirstDigitBits = 10, kDigitBits = 11;
constexpr int kWordBits = 64;

// Below this many lines the tables of the radix sort cost more than they save.
constexpr std::size_t kFewLines = 256;

// So many bits of a key tell most of a few lines from each other.
constexpr int kFewKeyBits = 3 * kDigitBits;

constexpr int kFractionBits = 52;

static_assert(kFirstDigitBits <= kDigitBits);
using Histogram = std::array<std::uint32_t, std::size_t{1} << kDigitBits>;

// Unsigned integer in the order of the key. Adding 0.0 turns -0.0 into 0.0.
std::uint64_t ImageOf(double key) {
    const double plain = key + 0.0;
    std::uint64_t bits = 0;
    std::memcpy(&bits, &plain, sizeof bits);
    const std::uint64_t sign = std::uint64_t{1} << 63;
    return (bits & sign) != 0 ? ~bits : bits | sign;
}

std::uint64_t ImageOf(std::uint64_t key) { return key; }

// High bits of keys, whose images lie so far apart, that tell most of a few lines from each other:
// frequencies lie within a few powers of two, in each of which there are four places a line.
int BitsThatTell(double, std::uint64_t distance, std::size_t lines) {
    const int bits = std::bit_width(distance >> kFractionBits) + std::bit_width(lines) + 2;
    return std::min(bits, kFewKeyBits);
}

int BitsThatTell(std::uint64_t, std::uint64_t, std::size_t) { return kFewKeyBits; }

// Lines as words: as many high bits of the key, less the smallest one, as there is room for above
// the number of the line. Half the memory of key and number, and fewer digits to sort by; the lines
// whose words agree in the key are compared once more at the end.
struct Packing {
    std::uint64_t least = 0;  // image
    int line_bits = 0, key_bits = 0;
    int dropped_bits = 0;  // of the key

    Packing() = default;
    // `few`: bits of a key that are enough for one bucket
    Packing(std::uint64_t smallest, std::uint64_t largest, std::size_t lines, int few)
        : least(smallest) {
        const auto bits = static_cast<int>(std::bit_width(largest - smallest));
        line_bits = static_cast<int>(std::bit_width(lines));
        dropped_bits = std::max(0, bits - (lines < kOneBucket ? few : kWordBits - line_bits));
        key_bits = bits - dropped_bits;
    }

    std::uint64_t WordOf(std::uint64_t image, std::size_t line) const {
        return (image - least) >> dropped_bits << line_bits | line;
    }

    std::size_t LineOf(std::uint64_t word) const {
        return word & ((std::uint64_t{1} << line_bits) - 1);
    }

    bool AreEqual(std::uint64_t a, std::uint64_t b) const {
        return a >> line_bits == b >> line_bits;
    }
};

// What decides between lines when words do not.
template <class Key>
struct ByKey {
    std::span<const Key> key;

    bool operator()(std::int32_t a, std::int32_t b) const {
        const std::uint64_t image_a = ImageOf(key[static_cast<std::size_t>(a)]);
        const std::uint64_t image_b = ImageOf(key[static_cast<std::size_t>(b)]);
        if (image_a != image_b) return image_a < image_b;
        return a < b;
    }
};

// A sort of the lines by radix. Those of one bucket are sorted by one digit after the other, least
// significant digit first. Many are parted by the highest digit of their words, so that what is
// sorted after that in the same way stays near the processor. Lines whose words agree in the key
// are compared at the end. With threads each parts a range of the lines: those of a digit are the
// lines of the first range, then of the second, ...; then, where there are many, each takes the
// next bucket. There is one order.
template <class Key>
class RadixSort {
  public:
    RadixSort(const ByKey<Key>& by_key, std::uint64_t* words, std::uint64_t* spare,
              std::span<std::int32_t> order, Threads* threads)
        : key_(by_key.key), by_key_(by_key), words_(words), spare_(spare), order_(order) {
        if (threads && key_.size() >= kShortRange) threads_ = threads;
        next_.resize(threads_ ? static_cast<std::size_t>(threads_->num()) : 1);
    }

    void Go() {
        FindLimits();
        MakeWords();
        if (key_.size() < kOneBucket) return SortTogether();
        const int first_bits = std::min(kFirstDigitBits, packing_.key_bits);
        Part(words_, spare_, packing_.line_bits + packing_.key_bits - first_bits, first_bits);
        const auto sort = [&](int bucket, int) {
            const auto at = static_cast<std::size_t>(bucket);
            SortBucket(at == 0 ? 0 : ends_[at - 1], ends_[at], packing_.key_bits - first_bits);
        };
        const int buckets = 1 << first_bits;
        if (threads_) {
            threads_->Share(buckets, sort);
        } else {
            for (int bucket = 0; bucket < buckets; ++bucket) sort(bucket, 0);
        }
    }

  private:
    std::uint64_t ImageOfLine(std::size_t line) const { return ImageOf(key_[line]); }

    void FindLimits() {
        std::vector<std::uint64_t> least(next_.size()), most(next_.size());
        ShareRange(key_.size(), threads_,
                   [&](std::size_t range, std::size_t first, std::size_t last) {
                       std::uint64_t low = ~std::uint64_t{0}, high = 0;
                       for (std::size_t i = first; i < last; ++i) {
                           low = std::min(low, ImageOfLine(i));
                           high = std::max(high, ImageOfLine(i));
                       }
                       least[range] = low, most[range] = high;
                   });
        const std::uint64_t smallest = *std::min_element(least.begin(), least.end()),
                            largest = *std::max_element(most.begin(), most.end());
        packing_ = Packing(smallest, largest, key_.size(),
                           BitsThatTell(Key{}, largest - smallest, key_.size()));
    }

    void MakeWords() {
        ShareRange(key_.size(), threads_, [&](std::size_t, std::size_t first, std::size_t last) {
            for (std::size_t i = first; i < last; ++i) {
                words_[i] = packing_.WordOf(ImageOfLine(i), i);
            }
        });
    }

    // Brings all words into the order of a digit, whose ends are then known.
    void Part(const std::uint64_t* from, std::uint64_t* to, int shift, int width) {
        const std::uint64_t mask = (std::uint64_t{1} << width) - 1;
        ShareRange(key_.size(), threads_,
                   [&](std::size_t range, std::size_t first, std::size_t last) {
                       Histogram counts{};
                       for (std::size_t i = first; i < last; ++i) ++counts[from[i] >> shift & mask];
                       next_[range] = counts;
                   });
        std::uint32_t start = 0;
        for (std::size_t digit = 0; digit <= mask; ++digit) {
            for (Histogram& counts : next_) start += std::exchange(counts[digit], start);
            ends_[digit] = start;
        }
        ShareRange(key_.size(), threads_,
                   [&](std::size_t range, std::size_t first, std::size_t last) {
                       Histogram& next = next_[range];
                       for (std::size_t i = first; i < last; ++i) {
                           to[next[from[i] >> shift & mask]++] = from[i];
                       }
                   });
    }

    // Calls sort(shift, width) for the digits of so many bits of the keys, from the lowest on.
    template <class SortDigit>
    void ForEachDigit(int bits, const SortDigit& sort) const {
        int done = 0;
        for (int left = (bits + kDigitBits - 1) / kDigitBits; left > 0; --left) {
            const int width = (bits - done + left - 1) / left;
            sort(packing_.line_bits + done, width);
            done += width;
        }
    }

    void SortTogether() {
        std::uint64_t *from = words_, *to = spare_;
        ForEachDigit(packing_.key_bits, [&](int shift, int width) {
            Part(from, to, shift, width);
            std::swap(from, to);
        });
        const std::span<const std::uint64_t> words(from, key_.size());
        ShareRange(key_.size(), threads_, [&](std::size_t, std::size_t first, std::size_t last) {
            PutOrder(words, first, last, order_);
        });
    }

    // `bits`: of the keys, by which the lines of the bucket differ.
    void SortBucket(std::size_t first, std::size_t last, int bits) {
        std::uint64_t *from = spare_ + first, *to = words_ + first;
        const std::size_t n = last - first;
        if (n < kFewLines) {
            std::sort(from, from + n);
        } else {
            ForEachDigit(bits, [&](int shift, int width) {
                SortByDigit(from, to, n, shift, width);
                std::swap(from, to);
            });
        }
        PutOrder({from, n}, 0, n, order_.subspan(first, n));
    }

    static void SortByDigit(const std::uint64_t* from, std::uint64_t* to, std::size_t n, int shift,
                            int width) {
        const std::uint64_t mask = (std::uint64_t{1} << width) - 1;
        Histogram next{};
        for (std::size_t i = 0; i < n; ++i) ++next[from[i] >> shift & mask];
        std::uint32_t start = 0;
        for (std::size_t digit = 0; digit <= mask; ++digit) {
            start += std::exchange(next[digit], start);
        }
        for (std::size_t i = 0; i < n; ++i) to[next[from[i] >> shift & mask]++] = from[i];
    }

    // The order of sorted words, as far as their runs of equal keys begin in first..last-1. The
    // runs are looked for last: so the processor waits for the keys of several at once.
    void PutOrder(std::span<const std::uint64_t> words, std::size_t first, std::size_t last,
                  std::span<std::int32_t> order) const {
        const auto end_of_run = [&](std::size_t at) {
            while (at < words.size() && packing_.AreEqual(words[at - 1], words[at])) ++at;
            return at;
        };
        if (first > 0) first = end_of_run(first);
        last = end_of_run(last);
        for (std::size_t at = first; at < last; ++at) {
            order[at] = static_cast<std::int32_t>(packing_.LineOf(words[at]));
        }
        for (std::size_t at = first, end = at; at < last; at = end) {
            end = end_of_run(at + 1);
            if (end - at > 1) SortRun(order.subspan(at, end - at));
        }
    }

    void SortRun(std::span<std::int32_t> run) const {
        if (run.size() == 2) {  // as most are
            if (by_key_(run[1], run[0])) std::swap(run[0], run[1]);
        } else if (!std::is_sorted(run.begin(), run.end(), by_key_)) {
            std::sort(run.begin(), run.end(), by_key_);
        }
    }

    std::span<const Key> key_;
    ByKey<Key> by_key_;
    std::uint64_t *words_, *spare_;
    std::span<std::int32_t> order_;
    Threads* threads_ = nullptr;
    Packing packing_;
    std::vector<Histogram> next_;  // by range: where the next line of a bucket goes
    Histogram ends_{};             // of the digits
};

template <class Key>
void Sort(const ByKey<Key>& by_key, std::span<std::int32_t> order, const Memory& memory,
          Threads* threads) {
    const auto n = static_cast<std::int64_t>(order.size());
    Array<std::uint64_t> words, spare;
    if (order.size() >= kFewLines && words.Resize(memory, n) && spare.Resize(memory, n)) {
        RadixSort<Key>(by_key, words.data(), spare.data(), order, threads).Go();
    } else {
        std::iota(order.begin(), order.end(), 0);
        std::sort(order.begin(), order.end(), by_key);
    }
}

}  // namespace

void SortIndex(std::span<const double> key, std::span<std::int32_t> order, const Memory& memory,
               Threads* threads) {
    Sort(ByKey<double>{key}, order.first(key.size()), memory, threads);
}

void SortIndex(std::span<const std::uint64_t> key, std::span<std::int32_t> order,
               const Memory& memory, Threads* threads) {
    Sort(ByKey<std::uint64_t>{key}, order.first(key.size()), memory, threads);
}

}  // namespace kiv
