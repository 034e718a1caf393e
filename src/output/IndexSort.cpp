#include "output/IndexSort.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <utility>

#include "run/KivArray.h"
#include "run/KivTrace.h"

namespace {

constexpr int kDigitBits = 11;
constexpr int kDigits = 6;  // of 11 bits cover 64
constexpr std::size_t kBuckets = std::size_t{1} << kDigitBits;

// Below this many lines the tables of the radix sort cost more than they save.
constexpr std::int32_t kFewLines = 256;

// Records wider than this are permuted in place: a second copy of them would cost more time in
// fresh memory than the walk along the cycles does, and would double the largest array.
constexpr std::size_t kMaxCopiedBytes = 32;

struct KeyedLine {
    std::uint64_t Image;
    std::int32_t Line;
};

using Histogram = std::array<std::uint32_t, kBuckets>;

// Unsigned integer in the order of the key. Adding 0.0 turns -0.0 into 0.0.
std::uint64_t OrderImage(double key) {
    const auto bits = std::bit_cast<std::uint64_t>(key + 0.0);
    const std::uint64_t sign = std::uint64_t{1} << 63;
    return (bits & sign) != 0 ? ~bits : bits | sign;
}

std::size_t Digit(std::uint64_t image, int digit) {
    return image >> (digit * kDigitBits) & (kBuckets - 1);
}

// Turns counts into first positions; false when all lines share one bucket.
bool CountsToStarts(Histogram& counts, std::uint32_t n) {
    std::uint32_t start = 0;
    for (auto& count : counts) {
        if (count == n) return false;
        start += std::exchange(count, start);
    }
    return true;
}

// Least significant digit first; every pass is stable, so equal keys keep their order.
void RadixSort(std::int32_t n, From1<const double> key, From1<std::int32_t> index, KeyedLine* lines,
               KeyedLine* spare) {
    std::array<Histogram, kDigits> counts{};
    for (std::int32_t i = 0; i < n; ++i) {
        lines[i] = {OrderImage(key[i + 1]), i + 1};
        for (int d = 0; d < kDigits; ++d) ++counts[d][Digit(lines[i].Image, d)];
    }
    for (int d = 0; d < kDigits; ++d) {
        Histogram& next = counts[d];
        if (!CountsToStarts(next, static_cast<std::uint32_t>(n))) continue;
        for (std::int32_t i = 0; i < n; ++i) spare[next[Digit(lines[i].Image, d)]++] = lines[i];
        std::swap(lines, spare);
    }
    for (std::int32_t i = 0; i < n; ++i) index[i + 1] = lines[i].Line;
}

// The same order without memory of its own.
void SortInPlace(std::int32_t n, From1<const double> key, From1<std::int32_t> index) {
    for (std::int32_t i = 1; i <= n; ++i) index[i] = i;
    std::sort(index.Ptr, index.Ptr + n, [key](std::int32_t a, std::int32_t b) {
        const std::uint64_t image_a = OrderImage(key[a]);
        const std::uint64_t image_b = OrderImage(key[b]);
        return image_a != image_b ? image_a < image_b : a < b;
    });
}

// Where the permutation takes its lines from, both counted from 0.
struct Descent {
    std::int32_t Num;
    From1<const std::int32_t> Index;

    std::size_t Source(std::size_t line) const {
        return static_cast<std::size_t>(Index[Num - line]) - 1;
    }
};

// Copies the array and gathers it back. Kept for narrow records, where independent reads from a
// copy are faster than following a chain.
template <class T>
bool GatherFromCopy(const Descent& order, T* arr, std::size_t width) {
    const auto n = static_cast<std::size_t>(order.Num);
    KivArray<T> copy;
    if (ArrRealloc(copy, static_cast<std::int64_t>(n * width)) < 0) return false;
    std::memcpy(copy.Data(), arr, n * width * sizeof(T));
    for (std::size_t line = 0; line < n; ++line) {
        const T* source = copy.Data() + order.Source(line) * width;
        for (std::size_t i = 0; i < width; ++i) arr[line * width + i] = source[i];
    }
    return true;
}

// Follows the cycles of the permutation with one record in hand and one mark a line.
template <class T>
bool FollowCycles(const Descent& order, T* arr, std::size_t width) {
    const auto n = static_cast<std::size_t>(order.Num);
    KivArray<T> first;
    KivArray<std::uint64_t> moved;
    if (ArrAlloc(first, static_cast<std::int64_t>(width)) < 0) return false;
    if (ArrAlloc(moved, static_cast<std::int64_t>(n / 64 + 1)) < 0) return false;
    const std::size_t bytes = width * sizeof(T);
    for (std::size_t start = 0; start < n; ++start) {
        if ((moved[start / 64] >> start % 64 & 1) != 0) continue;
        std::memcpy(first.Data(), arr + start * width, bytes);
        std::size_t line = start;
        for (std::size_t source = order.Source(line); source != start;
             source = order.Source(line)) {
            std::memcpy(arr + line * width, arr + source * width, bytes);
            line = source;
            moved[line / 64] |= std::uint64_t{1} << line % 64;
        }
        std::memcpy(arr + line * width, first.Data(), bytes);
    }
    return true;
}

template <class T>
bool Permute(const Descent& order, From1<T> arr, std::size_t width) {
    if (arr.IsNull() || order.Num < 1) return true;
    return width * sizeof(T) > kMaxCopiedBytes ? FollowCycles(order, arr.Ptr, width)
                                               : GatherFromCopy(order, arr.Ptr, width);
}

int NoCore(const char* what) {
    CoreFail(what);
    return kSortNoCore;
}

}  // namespace

int KivIndexSort(std::int32_t n, From1<const double> key, From1<std::int32_t> index) {
    KivArray<KeyedLine> lines;
    KivArray<KeyedLine> spare;
    if (n >= kFewLines && ArrRealloc(lines, n) > 0 && ArrRealloc(spare, n) > 0) {
        RadixSort(n, key, index, lines.Data(), spare.Data());
    } else {
        SortInPlace(n, key, index);
    }
    return 1;
}

int csi6sfdrsort(std::int32_t n, From1<const std::int32_t> index, From1<char> chr,
                 From1<std::int16_t> shrt, From1<std::int32_t> lng, From1<std::int16_t> sextuple,
                 From1<float> flt, From1<double> dbl, int r) {
    const Descent order = {n, index};
    const std::size_t record = r > 0 ? static_cast<std::size_t>(r) : 1;
    if (!Permute(order, chr, 1)) return NoCore("csi6sfdrsort()/cwksp");
    if (!Permute(order, shrt, 1)) return NoCore("csi6sfdrsort()/swksp");
    if (!Permute(order, lng, 1)) return NoCore("csi6sfdrsort()/lwksp");
    if (!Permute(order, sextuple, 6)) return NoCore("csi6sfdrsort()/swksp");
    if (!Permute(order, flt, record)) return NoCore("csi6sfdrsort()/fwksp");
    if (!Permute(order, dbl, record)) return NoCore("csi6sfdrsort()/dwksp");
    return 1;
}
