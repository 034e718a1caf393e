#include "kiv/array.h"

#include <atomic>
#include <cstdlib>
#include <limits>

#ifdef __linux__
#include <sys/mman.h>
#include <unistd.h>
#endif

#include "base/MachineMemory.h"

namespace kiv {

struct Memory::Account {
    std::atomic<std::int64_t> limit{-1};        // bytes; negative: not asked for yet
    std::atomic<std::int64_t> held{0};          // bytes
    std::atomic<std::int64_t> grants_left{-1};  // negative: no request is refused

    // What may be held when `wanted` is to be.
    std::int64_t Limit(std::int64_t wanted);

    // True when a block of `bytes` may take the place of one of `returned`, which then counts.
    bool Grant(std::int64_t bytes, std::int64_t returned);
};

namespace {

// Bytes of a request, of one element at least so that an empty array is not a failure; -1 when
// they cannot be expressed.
std::int64_t BytesOf(std::int64_t count, std::size_t size) {
    std::int64_t bytes = 0;
    if (__builtin_mul_overflow(count > 0 ? count : 1, static_cast<std::int64_t>(size), &bytes)) {
        return -1;
    }
    const auto most = static_cast<std::uint64_t>(PTRDIFF_MAX);
    return static_cast<std::uint64_t>(bytes) <= most ? bytes : -1;
}

// Asks for pages of 2 MiB, where the system has them, for a block that is filled from its beginning
// on: they come in a third of the time. Blocks of this size have mappings of their own.
void PreferLargePages([[maybe_unused]] void* first, [[maybe_unused]] std::int64_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    constexpr std::int64_t kLarge = std::int64_t{1} << 22;
    if (bytes < kLarge) return;
    const auto within = reinterpret_cast<std::uintptr_t>(first) %
                        static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    madvise(static_cast<char*>(first) - within, static_cast<std::size_t>(bytes) + within,
            MADV_HUGEPAGE);  // a wish
#endif
}

}  // namespace

std::int64_t Memory::Account::Limit(std::int64_t wanted) {
    if (limit < 0 && wanted <= kSureMemory) return kSureMemory;
    if (limit < 0) {
        const std::int64_t spare = AvailableMemory(),
                           most = std::numeric_limits<std::int64_t>::max();
        limit = spare < most - held ? spare + held : most;
    }
    return limit;
}

bool Memory::Account::Grant(std::int64_t bytes, std::int64_t returned) {
    if (bytes < 0) return false;
    const std::int64_t more = bytes - returned;
    std::int64_t before = held;
    do {
        std::int64_t wanted = 0;
        if (__builtin_add_overflow(before, more, &wanted) || wanted > Limit(wanted)) return false;
    } while (!held.compare_exchange_weak(before, before + more));
    std::int64_t left = grants_left;
    while (left > 0 && !grants_left.compare_exchange_weak(left, left - 1)) {
    }
    if (left == 0) held -= more;
    return left != 0;
}

Memory::Memory() : account_(std::make_shared<Account>()) {}

Memory::Memory(std::int64_t bytes) : Memory() { account_->limit = bytes > 0 ? bytes : 0; }

std::int64_t Memory::held() const { return account_->held; }

void Memory::RefuseAfter(std::int64_t requests) { account_->grants_left = requests; }

template <class Allocate>
Memory::Block Memory::TakeFrom(std::int64_t count, std::size_t size, Allocate allocate) const {
    const std::int64_t bytes = BytesOf(count, size);
    if (!account_->Grant(bytes, 0)) return {};
    void* const first = allocate(static_cast<std::size_t>(bytes));
    if (first) {
        PreferLargePages(first, bytes);
        return {first, bytes, account_};
    }
    account_->held -= bytes;
    return {};
}

Memory::Block Memory::Take(std::int64_t count, std::size_t size) const {
    return TakeFrom(count, size, [](std::size_t bytes) { return std::calloc(bytes, 1); });
}

Memory::Block Memory::TakeUnset(std::int64_t count, std::size_t size) const {
    return TakeFrom(count, size, [](std::size_t bytes) { return std::malloc(bytes); });
}

bool Memory::Resize(Block& block, std::int64_t count, std::size_t size) const {
    const std::int64_t bytes = BytesOf(count, size);
    if (!account_->Grant(bytes, block.bytes)) return false;
    void* const first = std::realloc(block.first, static_cast<std::size_t>(bytes));
    if (!first) {
        account_->held -= bytes - block.bytes;
        return false;
    }
    block.first = first;
    block.bytes = bytes;
    return true;
}

void Memory::Release(Block& block) noexcept {
    if (!block.first) return;
    block.account->held -= block.bytes;
    std::free(block.first);
    block = {};
}

}  // namespace kiv
