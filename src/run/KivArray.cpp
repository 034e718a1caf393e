#include "run/KivArray.h"

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <limits>

namespace {

constexpr std::int64_t kNoLimit = std::numeric_limits<std::int64_t>::max();

std::int64_t Grants_Left = -1;  // negative: no request is refused
std::int64_t Limit = -1;        // bytes; negative: not asked for yet
std::int64_t Held = 0;          // bytes

std::int64_t SizeOf(void* block) {
    return block ? static_cast<std::int64_t>(malloc_usable_size(block)) : 0;
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
std::size_t Grant(std::int64_t n, std::size_t size, std::int64_t returned) {
    std::int64_t bytes = 0;
    if (__builtin_mul_overflow(n > 0 ? n : 1, static_cast<std::int64_t>(size), &bytes)) return 0;
    if (Limit < 0) Limit = AskMachine();
    if (bytes > Limit - (Held - returned)) return 0;
    if (Grants_Left == 0) return 0;
    if (Grants_Left > 0) --Grants_Left;
    return static_cast<std::size_t>(bytes);
}

}  // namespace

void* BlockAlloc(std::int64_t n, std::size_t size) {
    const std::size_t bytes = Grant(n, size, 0);
    void* const block = bytes > 0 ? std::calloc(bytes, 1) : nullptr;
    Held += SizeOf(block);
    return block;
}

void* BlockRealloc(void* block, std::int64_t n, std::size_t size) {
    const std::int64_t old = SizeOf(block);
    const std::size_t bytes = Grant(n, size, old);
    void* const grown = bytes > 0 ? std::realloc(block, bytes) : nullptr;
    if (grown) Held += SizeOf(grown) - old;
    return grown;
}

void BlockFree(void* block) noexcept {
    Held -= SizeOf(block);
    std::free(block);
}

void ArrRefuse(std::int64_t granted) { Grants_Left = granted; }

void ArrLimit(std::int64_t bytes) { Limit = bytes; }

std::int64_t ArrHeld() { return Held; }
