#include "base/MachineMemory.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

#include "base/ControlGroups.h"

namespace kiv {
namespace {

constexpr std::int64_t kNoLimit = std::numeric_limits<std::int64_t>::max();

// The number behind `key` at the start of a line, or at the start of the file when `key` is empty;
// kNoLimit when there is none ("max").
std::int64_t NumberIn(const std::string& name, const std::string& key) {
    SystemFile file(name);
    char line[512];
    while (file.Line(line)) {
        if (std::strncmp(line, key.c_str(), key.size()) != 0) continue;
        long long number = 0;
        return std::sscanf(line + key.size(), "%lld", &number) == 1 ? number : kNoLimit;
    }
    return kNoLimit;
}

// The files of a group, by the version of its hierarchy.
struct GroupFiles {
    const char *limit, *used;
    const char* droppable;  // of memory.stat
};
constexpr GroupFiles kFiles[] = {
    {"memory.limit_in_bytes", "memory.usage_in_bytes", "total_inactive_file "},
    {"memory.max", "memory.current", "inactive_file "}};

// What a control group leaves: its limit less what it uses, files that can be dropped aside.
std::int64_t LeftInGroup(const ControlGroup& group) {
    const GroupFiles& files = kFiles[group.version - 1];
    const std::int64_t most = NumberIn(group.folder + files.limit, "");
    if (most == kNoLimit) return kNoLimit;
    const std::int64_t now = NumberIn(group.folder + files.used, "");
    if (now == kNoLimit) return most;
    const std::int64_t droppable = NumberIn(group.folder + "memory.stat", files.droppable);
    return std::max<std::int64_t>(
        0, most - now + (droppable == kNoLimit ? 0 : std::min(droppable, now)));
}

}  // namespace

std::int64_t AvailableMemory(const std::string& root) {
    const std::int64_t kilobytes = NumberIn(root + "/proc/meminfo", "MemAvailable:");
    std::int64_t left = kilobytes == kNoLimit ? kNoLimit : kilobytes * 1024;
    for (const ControlGroup& group : ControlGroupsOf("memory", root)) {
        left = std::min(left, LeftInGroup(group));
    }
    return left;
}

}  // namespace kiv
