#include "run/KivArray.h"

#include <sys/mman.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

constexpr std::int64_t kNoLimit = std::numeric_limits<std::int64_t>::max();

std::int64_t Grants_Left = -1;  // negative: no request is refused
std::int64_t Limit = -1;        // bytes; negative: not asked for yet
std::int64_t Held = 0;          // bytes

// What stands before every block.
struct Header {
    std::int64_t Bytes;  // of the block
    std::int64_t Room;   // bytes that it can grow to where it is
    void* Mapped;        // the mapping that holds a large block, null for a small one
    std::size_t Mapped_Bytes;
};
constexpr std::size_t kHeader = 64;
static_assert(sizeof(Header) <= kHeader);

// Large blocks have mappings of their own, in which they grow without being moved, and large pages
// where the system has them. Only what is used of a mapping takes memory.
constexpr std::int64_t kLarge = std::int64_t{1} << 20;
constexpr std::size_t kLargePage = std::size_t{2} << 20;

Header* HeaderOf(void* block) {
    return reinterpret_cast<Header*>(static_cast<char*>(block) - kHeader);
}

std::int64_t SizeOf(void* block) { return block ? HeaderOf(block)->Bytes : 0; }

void* SetHeader(void* start, const Header& header) {
    if (!start) return nullptr;
    std::memcpy(start, &header, sizeof header);
    return static_cast<char*>(start) + kHeader;
}

// Addresses are plenty unless there is a limit for them (ulimit -v).
bool HasAddressLimit() {
    rlimit limit;
    return getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

// A mapping with room for `room` bytes that holds a block of `bytes`; null when there is none.
void* MapRoom(std::int64_t bytes, std::int64_t room) {
    const std::size_t whole = static_cast<std::size_t>(room) + kHeader + kLargePage;
    void* const mapped = mmap(nullptr, whole, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapped == MAP_FAILED) return nullptr;
    const auto past = reinterpret_cast<std::uintptr_t>(mapped) % kLargePage;
    char* const start = static_cast<char*>(mapped) + (kLargePage - past) % kLargePage;
    madvise(mapped, whole, MADV_HUGEPAGE);
    return SetHeader(start, {bytes, room, mapped, whole});
}

void* MapBlock(std::int64_t bytes) {
    std::int64_t more = bytes / 4, room = 0;
    if (!HasAddressLimit() && __builtin_mul_overflow(bytes, 15, &more)) more = 0;
    if (__builtin_add_overflow(bytes, more, &room)) room = bytes;
    void* const block = MapRoom(bytes, room);
    return block ? block : MapRoom(bytes, bytes);
}

void* NewBlock(std::int64_t bytes) {
    if (bytes >= kLarge) return MapBlock(bytes);
    return SetHeader(std::calloc(static_cast<std::size_t>(bytes) + kHeader, 1),
                     {bytes, bytes, nullptr, 0});
}

void ReleaseBlock(void* block) {
    if (!block) return;
    const Header header = *HeaderOf(block);
    if (header.Mapped) {
        munmap(header.Mapped, header.Mapped_Bytes);
    } else {
        std::free(HeaderOf(block));
    }
}

void* ResizeBlock(void* block, std::int64_t bytes) {
    if (!block) return NewBlock(bytes);
    Header* const header = HeaderOf(block);
    if (bytes <= header->Room && (header->Mapped || bytes == header->Bytes)) {
        header->Bytes = bytes;
        return block;
    }
    if (!header->Mapped && bytes < kLarge) {
        return SetHeader(std::realloc(header, static_cast<std::size_t>(bytes) + kHeader),
                         {bytes, bytes, nullptr, 0});
    }
    void* const moved = NewBlock(bytes);
    if (!moved) return nullptr;
    std::memcpy(moved, block, static_cast<std::size_t>(std::min(bytes, header->Bytes)));
    ReleaseBlock(block);
    return moved;
}

// Memory that can be had without swapping, from the line "MemAvailable:  N kB"; no limit where the
// system does not say.
std::int64_t AskMachine() {
    std::FILE* const file = std::fopen("/proc/meminfo", "r");
    if (!file) return kNoLimit;
    char line[128];
    long long kilobytes = 0;
    std::int64_t available = kNoLimit;
    while (available == kNoLimit && std::fgets(line, sizeof line, file)) {
        if (std::sscanf(line, "MemAvailable: %lld kB", &kilobytes) == 1) {
            available = kilobytes * 1024;
        }
    }
    std::fclose(file);
    return available;
}

// The bytes of a request, at least one element so that an empty array is not a failure; 0 when it
// is refused. `returned`: what the block that is resized holds.
std::int64_t Grant(std::int64_t n, std::size_t size, std::int64_t returned) {
    std::int64_t bytes = 0;
    if (__builtin_mul_overflow(n > 0 ? n : 1, static_cast<std::int64_t>(size), &bytes)) return 0;
    if (Limit < 0) Limit = AskMachine();
    if (bytes > Limit - (Held - returned)) return 0;
    if (Grants_Left == 0) return 0;
    if (Grants_Left > 0) --Grants_Left;
    return bytes;
}

}  // namespace

void* BlockAlloc(std::int64_t n, std::size_t size) {
    const std::int64_t bytes = Grant(n, size, 0);
    void* const block = bytes > 0 ? NewBlock(bytes) : nullptr;
    Held += SizeOf(block);
    return block;
}

void* BlockRealloc(void* block, std::int64_t n, std::size_t size) {
    const std::int64_t old = SizeOf(block);
    const std::int64_t bytes = Grant(n, size, old);
    void* const grown = bytes > 0 ? ResizeBlock(block, bytes) : nullptr;
    if (grown) Held += SizeOf(grown) - old;
    return grown;
}

void BlockFree(void* block) noexcept {
    Held -= SizeOf(block);
    ReleaseBlock(block);
}

void ArrRefuse(std::int64_t granted) { Grants_Left = granted; }

void ArrLimit(std::int64_t bytes) { Limit = bytes; }

std::int64_t ArrHeld() { return Held; }
