// Sorting of parallel arrays: an index of ascending keys, and arrays brought into its order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "kiv/array.h"
#include "kiv/threads.h"

namespace kiv {

/// Fills `order` so that key[order[0]] <= key[order[1]] <= ...; equal keys (0.0 and -0.0 are equal)
/// are in the order of their indices. Not-a-numbers go to the ends by their sign. Without memory
/// for the fast way a slower one in place is taken. Long ones are sorted on `threads`, null for
/// none; there is one order, whatever their number.
void SortIndex(std::span<const double> key, std::span<std::int32_t> order, const Memory& memory,
               Threads* threads = nullptr);
void SortIndex(std::span<const std::uint64_t> key, std::span<std::int32_t> order,
               const Memory& memory, Threads* threads = nullptr);

enum class Direction : bool { Ascending, Descending };

/// What is shorter takes less time than to share it.
inline constexpr std::size_t kShortRange = 5000;

/// Fewer lines stay near the processor together and are sorted in one bucket.
inline constexpr std::size_t kOneBucket = 100000;

/// Calls part(range, first, last) for ranges that together are 0..n-1: one a thread, the whole when
/// it is short or `threads` is null.
template <class Part>
void ShareRange(std::size_t n, Threads* threads, const Part& part) {
    if (!threads || threads->num() == 1 || n < kShortRange) {
        return part(std::size_t{0}, std::size_t{0}, n);
    }
    const auto ranges = static_cast<std::size_t>(threads->num());
    threads->Share(threads->num(), [&](int i, int) {
        const auto range = static_cast<std::size_t>(i);
        part(range, n * range / ranges, n * (range + 1) / ranges);
    });
}

/// Brings records of Width elements into ascending or descending order: record i becomes the old
/// one order[i], or order[n - 1 - i], on threads where there are some (null: none). False, and
/// nothing done, without memory for a copy of them.
template <std::size_t Width = 1, class T>
[[nodiscard]] bool Permute(std::span<const std::int32_t> order, Direction direction,
                           std::span<T> records, const Memory& memory, Threads* threads = nullptr) {
    const std::size_t n = static_cast<std::uint32_t>(order.size());  // as its indices
    if (n == 0) return true;
    Array<T> copy;
    if (!copy.Resize(memory, static_cast<std::int64_t>(n * Width))) return false;
    ShareRange(n, threads, [&](std::size_t, std::size_t first, std::size_t last) {
        std::memcpy(&copy[first * Width], &records[first * Width],
                    (last - first) * Width * sizeof(T));
    });
    const bool down = direction == Direction::Descending;
    ShareRange(n, threads, [&](std::size_t, std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i) {
            const auto from = static_cast<std::size_t>(order[down ? n - 1 - i : i]);
            std::memcpy(&records[i * Width], &copy[from * Width], Width * sizeof(T));
        }
    });
    return true;
}

}  // namespace kiv
