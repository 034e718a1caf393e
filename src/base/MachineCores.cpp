#include "base/MachineCores.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <thread>

#ifdef __linux__
#include <pthread.h>
#include <sched.h>
#endif

#include "base/ControlGroups.h"
#include "kiv/threads.h"

namespace kiv {
namespace {

// The first line of a file of the system; empty when there is none.
std::string FirstLine(const std::string& name) {
    SystemFile file(name);
    char line[512];
    return file.Line(line) ? line : "";
}

// Time that a group may use of each period: "quota period" in one file or in two. Without a limit
// the quota is "max" or negative.
int CoresOfGroup(const ControlGroup& group) {
    const bool has_one = group.version == 2;
    const std::string times = FirstLine(group.folder + (has_one ? "cpu.max" : "cpu.cfs_quota_us"));
    long long quota = 0, period = 0;
    std::sscanf(times.c_str(), "%lld %lld", &quota, &period);
    if (quota <= 0) return kAnyCores;  // each file of the system takes 25 us
    if (!has_one) {
        std::sscanf(FirstLine(group.folder + "cpu.cfs_period_us").c_str(), "%lld", &period);
    }
    if (period <= 0) return kAnyCores;
    const long long cores = quota / period + (quota % period != 0 ? 1 : 0);
    return static_cast<int>(std::min<long long>(cores, kAnyCores));
}

#ifdef __linux__
struct FreeCores {
    void operator()(cpu_set_t* set) const { CPU_FREE(set); }
};

// Cores of a machine of any size.
struct CoreSet {
    std::unique_ptr<cpu_set_t, FreeCores> set;  // null when the system does not say
    std::size_t size = 0;                       // bytes
};

// Those that the process may run on.
CoreSet CoresOfAffinity() {
    for (int room = CPU_SETSIZE; room <= 1 << 16; room *= 2) {  // larger machines need larger sets
        CoreSet cores;
        cores.set.reset(CPU_ALLOC(room));
        cores.size = CPU_ALLOC_SIZE(room);
        if (!cores.set || sched_getaffinity(0, cores.size, cores.set.get()) == 0) return cores;
    }
    return {};
}
#endif

// How many the process may run on, 0 when the system does not say.
int CountAffinity() {
#ifdef __linux__
    const CoreSet cores = CoresOfAffinity();
    if (cores.set) return CPU_COUNT_S(cores.size, cores.set.get());
#endif
    return 0;
}

}  // namespace

int CoresOfGroups(const std::string& root) {
    int cores = kAnyCores;
    for (const ControlGroup& group : ControlGroupsOf("cpu", root)) {
        cores = std::min(cores, CoresOfGroup(group));
    }
    return cores;
}

void BeginElsewhere([[maybe_unused]] std::thread& thread) {
#ifdef __linux__
    const CoreSet all = CoresOfAffinity(), others = CoresOfAffinity();
    const int here = sched_getcpu();
    if (!all.set || !others.set || here < 0) return;
    CPU_CLR_S(static_cast<std::size_t>(here), others.size, others.set.get());
    if (pthread_setaffinity_np(thread.native_handle(), others.size, others.set.get()) != 0) return;
    pthread_setaffinity_np(thread.native_handle(), all.size, all.set.get());
#endif
}

int UsableCores() {
#ifdef __EMSCRIPTEN__
    constexpr int kMost = 1;  // where there are no threads
#else
    constexpr int kMost = kAnyCores;
#endif
    const int affinity = CountAffinity();
    const int cores =
        affinity > 0 ? affinity : static_cast<int>(std::thread::hardware_concurrency());
    return std::max(1, std::min({cores, CoresOfGroups(), kMost}));
}

}  // namespace kiv
