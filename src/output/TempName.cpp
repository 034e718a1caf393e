#include "output/TempName.h"

#include <limits.h>
#include <signal.h>
#include <unistd.h>

#include <cstring>

namespace {

constexpr int kNumSlots = 4;

// What the handler may read: fixed storage, and a flag that is set when the name is complete.
struct NameSlot {
    volatile sig_atomic_t Used = 0;
    char Path[PATH_MAX] = "";
};

NameSlot Slots[kNumSlots];
sigset_t Before_Hold;

sigset_t EndSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (int sig : kEndSignals) sigaddset(&set, sig);
    return set;
}

}  // namespace

void TempName::Hold() {
    const sigset_t set = EndSignals();
    sigprocmask(SIG_BLOCK, &set, &Before_Hold);
}

void TempName::Release() { sigprocmask(SIG_SETMASK, &Before_Hold, nullptr); }

void TempName::Set(const char* path) {
    Clear();
    const std::size_t size = std::strlen(path) + 1;
    for (int i = 0; i < kNumSlots && Slot < 0 && size <= sizeof Slots[i].Path; ++i) {
        if (Slots[i].Used) continue;
        std::memcpy(Slots[i].Path, path, size);
        Slots[i].Used = 1;
        Slot = i;
    }
}

void TempName::Clear() {
    if (Slot >= 0) Slots[Slot].Used = 0;
    Slot = -1;
}

void RemoveTempFiles() {
    for (NameSlot& slot : Slots) {
        if (slot.Used) unlink(slot.Path);
    }
}
