#include "system/TempName.h"

#include <limits.h>
#include <signal.h>
#include <unistd.h>

#include <cstring>

namespace kiv {
namespace {

constexpr int kNumSlots = 8;

// What the handler may read: fixed storage, and a flag that is set when the name is complete.
struct NameSlot {
    volatile sig_atomic_t used = 0;
    char path[PATH_MAX] = "";
};

NameSlot slots[kNumSlots];
sigset_t before_hold;

sigset_t EndSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (int sig : kEndSignals) sigaddset(&set, sig);
    return set;
}

}  // namespace

void TempName::Hold() {
    const sigset_t set = EndSignals();
    sigprocmask(SIG_BLOCK, &set, &before_hold);
}

void TempName::Release() { sigprocmask(SIG_SETMASK, &before_hold, nullptr); }

void TempName::Set(const char* path) {
    Clear();
    const std::size_t size = std::strlen(path) + 1;
    for (int i = 0; i < kNumSlots && slot_ < 0 && size <= sizeof slots[i].path; ++i) {
        if (slots[i].used) continue;
        std::memcpy(slots[i].path, path, size);
        slots[i].used = 1;
        slot_ = i;
    }
}

void TempName::Clear() {
    if (slot_ >= 0) slots[slot_].used = 0;
    slot_ = -1;
}

void RemoveTempFiles() {
    for (NameSlot& slot : slots) {
        if (slot.used) unlink(slot.path);
    }
}

}  // namespace kiv
