#include "run/KivArray.h"

#include <limits>

namespace {

std::int64_t GrantsLeft = -1;  // negative: no request is refused

}  // namespace

bool ArrGrant(std::int64_t n, std::size_t size) {
    const auto limit = std::numeric_limits<std::int64_t>::max() / static_cast<std::int64_t>(size);
    if (n > limit) return false;
    if (GrantsLeft < 0) return true;
    if (GrantsLeft == 0) return false;
    --GrantsLeft;
    return true;
}

void ArrRefuse(std::int64_t granted) { GrantsLeft = granted; }
