// Owning arrays of plain numbers and the memory that they count for.
//
// Every array that grows with the size of a calculation is an Array or a Table that was taken from
// a Memory. A Memory is an account, shared by its copies: it adds up what its arrays hold and
// refuses what would exceed its limit. Sizes are element counts in 64 bits. Accounts may be used
// from several threads; an array, like any value, by one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <type_traits>
#include <utility>

namespace kiv {

class Memory {
  public:
    /// Limited by what the machine, or the control group of the process, has to spare when more
    /// than 16 MiB are first wanted: systems promise more memory than they have.
    Memory();

    /// Limited to `bytes`.
    explicit Memory(std::int64_t bytes);

    /// Bytes that the arrays of this account hold now.
    std::int64_t held() const;

    /// Grants `requests` more requests and refuses all that follow; negative: refuses none. For
    /// tests of what a refusal does.
    void RefuseAfter(std::int64_t requests);

    struct Account;

    /// A block that an array holds, with the account that it counts for.
    struct Block {
        void* first = nullptr;
        std::int64_t bytes = 0;
        std::shared_ptr<Account> account;
    };

    /// `count` zeroed elements of `size` bytes, one element when count is less; null when refused.
    Block Take(std::int64_t count, std::size_t size) const;

    /// The same, of no particular value.
    Block TakeUnset(std::int64_t count, std::size_t size) const;

    /// Resizes a block of this account and keeps what fits; false when it is refused, the block is
    /// then as it was.
    bool Resize(Block& block, std::int64_t count, std::size_t size) const;

    static void Release(Block& block) noexcept;

  private:
    template <class Allocate>
    Block TakeFrom(std::int64_t count, std::size_t size, Allocate allocate) const;

    std::shared_ptr<Account> account_;
};

/// One block of plain numbers: null until it is taken.
template <class T>
class Array {
    static_assert(std::is_trivially_copyable_v<T>, "blocks are moved as bytes");

  public:
    Array() = default;
    Array(Array&& other) noexcept { *this = std::move(other); }
    Array& operator=(Array&& other) noexcept {
        std::swap(block_, other.block_);
        std::swap(first_, other.first_);
        std::swap(size_, other.size_);
        return *this;
    }
    ~Array() { Memory::Release(block_); }

    /// Becomes `count` zeroed elements; false and null when they are refused.
    [[nodiscard]] bool Take(const Memory& memory, std::int64_t count) {
        Clear();
        block_ = memory.Take(count, sizeof(T));
        return Set(count);
    }

    /// Becomes `count` elements of no particular value, for what is written before it is read: none
    /// is cleared, and those that nobody touches need no memory. False and null when refused.
    [[nodiscard]] bool TakeUnset(const Memory& memory, std::int64_t count) {
        Clear();
        block_ = memory.TakeUnset(count, sizeof(T));
        return Set(count);
    }

    /// Has at least `count` elements; one that is too small loses what it held. False and null when
    /// they are refused.
    [[nodiscard]] bool Fit(const Memory& memory, std::int64_t count) {
        return (!is_null() && static_cast<std::int64_t>(size_) >= count) || Take(memory, count);
    }

    /// The same without clearing them, see TakeUnset.
    [[nodiscard]] bool FitUnset(const Memory& memory, std::int64_t count) {
        return (!is_null() && static_cast<std::int64_t>(size_) >= count) ||
               TakeUnset(memory, count);
    }

    /// Becomes `count` elements and keeps those that fit; new ones have no particular value. False
    /// and null when they are refused. A block that is there must be of this account.
    [[nodiscard]] bool Resize(const Memory& memory, std::int64_t count) {
        if (is_null()) return Take(memory, count);
        if (memory.Resize(block_, count, sizeof(T))) return Set(count);
        Clear();
        return false;
    }

    void Clear() {
        Memory::Release(block_);
        first_ = nullptr;
        size_ = 0;
    }

    /// Drops the elements from `count` on, which must not exceed size().
    void Shorten(std::size_t count) { size_ = count; }

    bool is_null() const { return first_ == nullptr; }
    std::size_t size() const { return size_; }
    T* data() { return first_; }
    const T* data() const { return first_; }
    T* begin() { return first_; }
    T* end() { return first_ + size_; }
    const T* begin() const { return first_; }
    const T* end() const { return first_ + size_; }
    T& operator[](std::size_t i) { return first_[i]; }
    const T& operator[](std::size_t i) const { return first_[i]; }
    std::span<T> Part(std::size_t first, std::size_t n) { return {first_ + first, n}; }
    std::span<const T> Part(std::size_t first, std::size_t n) const { return {first_ + first, n}; }

  private:
    bool Set(std::int64_t count) {
        first_ = static_cast<T*>(block_.first);
        size_ = first_ && count > 0 ? static_cast<std::size_t>(count) : 0;
        return first_ != nullptr;
    }

    Memory::Block block_;
    T* first_ = nullptr;
    std::size_t size_ = 0;
};

/// rows x cols numbers, row by row in one block; element (row, col) counts from 0.
template <class T>
class Table {
  public:
    /// Becomes rows x cols zeroed elements; false and null when they are refused.
    [[nodiscard]] bool Take(const Memory& memory, std::int64_t rows, std::int64_t cols) {
        Clear();
        std::int64_t count = 0;
        if (rows < 0 || cols < 0 || __builtin_mul_overflow(rows, cols, &count)) return false;
        if (!block_.Take(memory, count)) return false;
        rows_ = static_cast<std::size_t>(rows);
        cols_ = static_cast<std::size_t>(cols);
        return true;
    }

    void Clear() {
        block_.Clear();
        rows_ = cols_ = 0;
    }

    bool is_null() const { return block_.is_null(); }
    std::size_t rows() const { return rows_; }
    std::size_t cols() const { return cols_; }
    T& operator()(std::size_t row, std::size_t col) { return block_[row * cols_ + col]; }
    const T& operator()(std::size_t row, std::size_t col) const {
        return block_[row * cols_ + col];
    }
    Array<T>& block() { return block_; }
    const Array<T>& block() const { return block_; }

  private:
    Array<T> block_;
    std::size_t rows_ = 0;
    std::size_t cols_ = 0;
};

}  // namespace kiv
