#include "base/MachineMemory.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

namespace kiv {
namespace {

constexpr std::int64_t kNoLimit = std::numeric_limits<std::int64_t>::max();

// The words of one of the system's files, whatever their lines.
class SystemFile {
  public:
    explicit SystemFile(const std::string& name) : stream_(std::fopen(name.c_str(), "r")) {}
    ~SystemFile() {
        if (stream_) std::fclose(stream_);
    }
    SystemFile(const SystemFile&) = delete;
    SystemFile& operator=(const SystemFile&) = delete;

    bool Line(char (&line)[512]) { return stream_ && std::fgets(line, sizeof line, stream_); }

  private:
    std::FILE* stream_;
};

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

// What a control group leaves: its limit less what it uses, files that can be dropped aside.
std::int64_t LeftInGroup(const std::string& folder, const char* limit, const char* used,
                         const char* droppable) {
    const std::int64_t most = NumberIn(folder + limit, "");
    if (most == kNoLimit) return kNoLimit;
    const std::int64_t now = NumberIn(folder + used, "");
    if (now == kNoLimit) return most;
    const std::int64_t files = NumberIn(folder + "memory.stat", droppable);
    return std::max<std::int64_t>(0, most - now + (files == kNoLimit ? 0 : std::min(files, now)));
}

// The least that the group at `path` below `top` and the groups around it leave.
std::int64_t LeftInGroups(const std::string& top, std::string path, const char* limit,
                          const char* used, const char* droppable) {
    std::int64_t left = kNoLimit;
    for (;;) {
        left = std::min(left, LeftInGroup(top + path + "/", limit, used, droppable));
        const std::size_t parent = path.rfind('/');
        if (parent == std::string::npos) return left;
        path.resize(parent);
    }
}

// Lines "0::/path" (version 2) and "N:memory:/path" (version 1); a process in a container may see
// its own group as the top one.
std::int64_t LeftByGroups(const std::string& root) {
    SystemFile file(root + "/proc/self/cgroup");
    char text[512];
    std::int64_t left = kNoLimit;
    while (file.Line(text)) {
        std::string line(text);
        while (!line.empty() && line.back() == '\n') line.pop_back();
        const auto path_of = [&](std::size_t at) {
            const std::string path = line.substr(at);
            return path == "/" ? std::string() : path;
        };
        const std::size_t memory = line.find(":memory:/");
        if (line.starts_with("0::/")) {
            left = std::min(left, LeftInGroups(root + "/sys/fs/cgroup", path_of(3), "memory.max",
                                               "memory.current", "inactive_file "));
        } else if (memory != std::string::npos) {
            left = std::min(left, LeftInGroups(root + "/sys/fs/cgroup/memory", path_of(memory + 8),
                                               "memory.limit_in_bytes", "memory.usage_in_bytes",
                                               "total_inactive_file "));
        }
    }
    return left;
}

}  // namespace

std::int64_t AvailableMemory(const std::string& root) {
    const std::int64_t kilobytes = NumberIn(root + "/proc/meminfo", "MemAvailable:");
    const std::int64_t machine = kilobytes == kNoLimit ? kNoLimit : kilobytes * 1024;
    return std::min(machine, LeftByGroups(root));
}

}  // namespace kiv
