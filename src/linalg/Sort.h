// Sorting of parallel arrays: an index of ascending keys, and arrays brought into its order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "kiv/array.h"

namespace kiv {

/// Fills `order` so that key[order[0]] <= key[order[1]] <= ...; equal keys (0.0 and -0.0 are equal)
/// keep the order of their indices. Not-a-numbers go to the ends by their sign. Without memory for
/// the fast way a slower one in place is taken.
void SortIndex(std::span<const double> key, std::span<std::int32_t> order, const Memory& memory);
void SortIndex(std::span<const std::uint64_t> key, std::span<std::int32_t> order,
               const Memory& memory);

enum class Direction : bool { Ascending, Descending };

/// Brings records of Width elements into ascending or descending order: record i becomes the old
/// one order[i], or order[n - 1 - i]. False, and nothing done, without memory for a copy of them.
template <std::size_t Width = 1, class T>
[[nodiscard]] bool Permute(std::span<const std::int32_t> order, Direction direction,
                           std::span<T> records, const Memory& memory) {
    const std::size_t n = static_cast<std::uint32_t>(order.size());  // as its indices
    if (n == 0) return true;
    Array<T> copy;
    if (!copy.Resize(memory, static_cast<std::int64_t>(n * Width))) return false;
    std::memcpy(copy.data(), records.data(), n * Width * sizeof(T));
    const bool down = direction == Direction::Descending;
    for (std::size_t i = 0; i < n; ++i) {
        const auto from = static_cast<std::size_t>(order[down ? n - 1 - i : i]);
        std::memcpy(&records[i * Width], &copy[from * Width], Width * sizeof(T));
    }
    return true;
}

}  // namespace kiv
