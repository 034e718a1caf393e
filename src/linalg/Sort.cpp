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

// Lines as words: as many high bits of the key, less the smallest one, as there is room for above
// the number of the line. Half the memory of key and number, and fewer digits to sort by; the lines
// whose words agree in the key are compared once more at the end.
struct Packing {
    std::uint64_t least = 0;  // image
    int line_bits = 0, key_bits = 0;
    int dropped_bits = 0;  // of the key

    Packing() = default;
    Packing(std::uint64_t smallest, std::uint64_t largest, std::size_t lines) : least(smallest) {
        const auto bits = static_cast<int>(std::bit_width(largest - smallest));
        line_bits = static_cast<int>(std::bit_width(lines));
        const int room = lines < kOneBucket ? kFewKeyBits : kWordBits - line_bits;
        dropped_bits = std::max(0, bits - room);
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

// A sort of the lines by radix. Many are parted by the highest digit of their words, so that what
// is sorted after that, least significant digit first, stays near the processor. Every pass is
// stable, so equal keys keep their order. With threads each parts a range of the lines: those of a
// bucket are the lines of the first range, then of the second, ...; then each takes the next
// bucket. There is one order.
template <class Key>
class RadixSort {
  public:
    RadixSort(std::span<const Key> key, std::uint64_t* words, std::uint64_t* spare,
              std::span<std::int32_t> order, Threads* threads)
        : key_(key), words_(words), spare_(spare), order_(order) {
        if (threads && key.size() >= kShortRange) threads_ = threads;
        next_.resize(threads_ ? static_cast<std::size_t>(threads_->num()) : 1);
    }

    void Go() {
        FindLimits();
        if (key_.size() < kOneBucket) {
            for (std::size_t i = 0; i < key_.size(); ++i) {
                spare_[i] = packing_.WordOf(ImageOfLine(i), i);
            }
            return SortBucket(0, key_.size());
        }
        first_bits_ = std::min(kFirstDigitBits, packing_.key_bits);
        Part();
        const int buckets = 1 << first_bits_;
        const auto sort = [&](int bucket, int) {
            const auto at = static_cast<std::size_t>(bucket);
            SortBucket(at == 0 ? 0 : ends_[at - 1], ends_[at]);
        };
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
        packing_ = Packing(*std::min_element(least.begin(), least.end()),
                           *std::max_element(most.begin(), most.end()), key_.size());
    }

    // Makes the words and brings them to `spare_`, bucket by bucket.
    void Part() {
        const int shift = packing_.line_bits + packing_.key_bits - first_bits_;
        ShareRange(key_.size(), threads_,
                   [&](std::size_t range, std::size_t first, std::size_t last) {
                       Histogram counts{};
                       for (std::size_t i = first; i < last; ++i) {
                           words_[i] = packing_.WordOf(ImageOfLine(i), i);
                           ++counts[words_[i] >> shift];
                       }
                       next_[range] = counts;
                   });
        std::uint32_t start = 0;
        for (std::size_t bucket = 0; bucket < ends_.size(); ++bucket) {
            for (Histogram& counts : next_) start += std::exchange(counts[bucket], start);
            ends_[bucket] = start;
        }
        ShareRange(key_.size(), threads_,
                   [&](std::size_t range, std::size_t first, std::size_t last) {
                       Histogram& to = next_[range];
                       for (std::size_t i = first; i < last; ++i) {
                           spare_[to[words_[i] >> shift]++] = words_[i];
                       }
                   });
    }

    void SortBucket(std::size_t first, std::size_t last) {
        std::uint64_t *from = spare_ + first, *to = words_ + first;
        const std::size_t n = last - first;
        if (n < kFewLines) {
            std::sort(from, from + n);
        } else {
            const int bits = packing_.key_bits - first_bits_;
            const int digits = (bits + kDigitBits - 1) / kDigitBits;
            for (int done = 0, left = digits; left > 0; --left) {
                const int width = (bits - done + left - 1) / left;
                SortByDigit(from, to, n, packing_.line_bits + done, width);
                std::swap(from, to);
                done += width;
            }
        }
        PutOrder({from, n}, order_.subspan(first, n));
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

    void PutOrder(std::span<const std::uint64_t> words, std::span<std::int32_t> order) const {
        for (std::size_t i = 0; i < words.size(); ++i) {
            order[i] = static_cast<std::int32_t>(packing_.LineOf(words[i]));
        }
        if (packing_.dropped_bits == 0) return;
        for (std::size_t first = 0, end = 0; first < words.size(); first = end) {
            end = first + 1;
            while (end < words.size() && packing_.AreEqual(words[first], words[end])) ++end;
            if (end - first > 1) SortRun(order.subspan(first, end - first));
        }
    }

    void SortRun(std::span<std::int32_t> run) const {
        std::sort(run.begin(), run.end(), [&](std::int32_t a, std::int32_t b) {
            const std::uint64_t image_a = ImageOfLine(static_cast<std::size_t>(a));
            const std::uint64_t image_b = ImageOfLine(static_cast<std::size_t>(b));
            return image_a != image_b ? image_a < image_b : a < b;
        });
    }

    std::span<const Key> key_;
    std::uint64_t *words_, *spare_;
    std::span<std::int32_t> order_;
    Threads* threads_ = nullptr;
    Packing packing_;
    int first_bits_ = 0;
    std::vector<Histogram> next_;  // by range: where the next line of a bucket goes
    Histogram ends_{};             // of the buckets
};

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
void Sort(std::span<const Key> key, std::span<std::int32_t> order, const Memory& memory,
          Threads* threads) {
    const auto n = static_cast<std::int64_t>(key.size());
    Array<std::uint64_t> words, spare;
    if (key.size() >= kFewLines && words.Resize(memory, n) && spare.Resize(memory, n)) {
        RadixSort<Key>(key, words.data(), spare.data(), order.first(key.size()), threads).Go();
    } else {
        SortInPlace(key, order.first(key.size()));
    }
}

}  // namespace

void SortIndex(std::span<const double> key, std::span<std::int32_t> order, const Memory& memory,
               Threads* threads) {
    Sort(key, order, memory, threads);
}

void SortIndex(std::span<const std::uint64_t> key, std::span<std::int32_t> order,
               const Memory& memory, Threads* threads) {
    Sort(key, order, memory, threads);
}

}  // namespace kiv
