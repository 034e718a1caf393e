// Owning arrays of plain numbers and the helper family that sizes them.
//
// Every array of the program is a KivArray or a KivTable, so that one place decides how memory is
// asked for, refused and released. Sizes are element counts in 64 bits. A request is refused when
// its size cannot be expressed in bytes, when the system has no memory for it, or when it and what
// the arrays already hold exceed the memory that the machine had to spare at the first request:
// systems promise more memory than they have, and a run that takes it would swap or be ended.
// Helpers return 1, or -1 with the array empty.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <type_traits>
#include <utility>

/// A block of `n` zeroed elements of `size` bytes, of one when n is less; null when refused.
void* BlockAlloc(std::int64_t n, std::size_t size);

/// Resizes `block`, keeping what fits; null when refused, `block` is then as it was.
void* BlockRealloc(void* block, std::int64_t n, std::size_t size);

void BlockFree(void* block) noexcept;

struct FreeBlock {
    void operator()(void* block) const noexcept { BlockFree(block); }
};

/// One block of plain numbers: empty until sized, released with the record that holds it.
template <class T>
struct KivArray {
    static_assert(std::is_trivially_copyable_v<T>, "blocks are moved as bytes");

    std::unique_ptr<T[], FreeBlock> Ptr;
    std::size_t Num = 0;

    T& operator[](std::size_t i) { return Ptr[i]; }
    const T& operator[](std::size_t i) const { return Ptr[i]; }
    T* Data() { return Ptr.get(); }
    const T* Data() const { return Ptr.get(); }
    bool IsNull() const { return !Ptr; }
    std::span<T> Part(std::size_t first, std::size_t n) { return {Ptr.get() + first, n}; }
    std::span<const T> Part(std::size_t first, std::size_t n) const {
        return {Ptr.get() + first, n};
    }
};

/// Rows x Cols numbers, row by row in one block; element (r, c) counts from 0.
template <class T>
struct KivTable {
    KivArray<T> Block;
    std::size_t Rows = 0;
    std::size_t Cols = 0;

    T& operator()(std::size_t r, std::size_t c) { return Block[r * Cols + c]; }
    const T& operator()(std::size_t r, std::size_t c) const { return Block[r * Cols + c]; }
    T* Row(std::size_t r) { return Block.Data() + r * Cols; }
    const T* Row(std::size_t r) const { return Block.Data() + r * Cols; }
    bool IsNull() const { return Block.IsNull(); }
};

/// Lets `granted` more requests through, then refuses every one; negative: refuse none (default).
void ArrRefuse(std::int64_t granted);

/// Refuses what would make the arrays hold more than `bytes`; negative: the machine decides
/// (default).
void ArrLimit(std::int64_t bytes);

/// Bytes that all arrays hold now.
std::int64_t ArrHeld();

/// Empties `arr`.
template <class T>
void ArrFree(KivArray<T>& arr) {
    arr.Ptr.reset();
    arr.Num = 0;
}

/// Gives `arr` room for `n` zeroed elements, dropping what it held.
template <class T>
short ArrAlloc(KivArray<T>& arr, std::int64_t n) {
    ArrFree(arr);
    arr.Ptr.reset(static_cast<T*>(BlockAlloc(n, sizeof(T))));
    if (!arr.Ptr) return -1;
    arr.Num = static_cast<std::size_t>(n > 0 ? n : 0);
    return 1;
}

/// Resizes `arr` to `n` elements, keeping what fits; new elements are not cleared.
template <class T>
short ArrRealloc(KivArray<T>& arr, std::int64_t n) {
    T* grown = static_cast<T*>(BlockRealloc(arr.Ptr.get(), n, sizeof(T)));
    if (!grown) {
        ArrFree(arr);
        return -1;
    }
    (void)arr.Ptr.release();
    arr.Ptr.reset(grown);
    arr.Num = static_cast<std::size_t>(n > 0 ? n : 0);
    return 1;
}

/// Empties `table`.
template <class T>
void TableFree(KivTable<T>& table) {
    ArrFree(table.Block);
    table.Rows = table.Cols = 0;
}

/// Gives `table` rows x cols zeroed elements, dropping what it held.
template <class T>
short TableAlloc(KivTable<T>& table, std::int64_t rows, std::int64_t cols) {
    TableFree(table);
    std::int64_t count = 0;
    if (rows < 0 || cols < 0 || __builtin_mul_overflow(rows, cols, &count)) return -1;
    if (ArrAlloc(table.Block, count) < 0) return -1;
    table.Rows = static_cast<std::size_t>(rows);
    table.Cols = static_cast<std::size_t>(cols);
    return 1;
}
