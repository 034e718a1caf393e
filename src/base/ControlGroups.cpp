#include "base/ControlGroups.h"

namespace kiv {
namespace {

// The group at `path` below `top`, and those around it.
void AddGroups(const std::string& top, std::string path, int version,
               std::vector<ControlGroup>& groups) {
    if (path == "/") path.clear();
    for (;;) {
        groups.push_back({top + path + "/", version});
        const std::size_t parent = path.rfind('/');
        if (parent == std::string::npos) return;
        path.resize(parent);
    }
}

}  // namespace

// Lines "0::/path" (version 2) and "N:controller,controller:/path" (version 1).
std::vector<ControlGroup> ControlGroupsOf(const std::string& controller, const std::string& root) {
    const std::string top = root + "/sys/fs/cgroup";
    std::vector<ControlGroup> groups;
    SystemFile file(root + "/proc/self/cgroup");
    char text[512];
    while (file.Line(text)) {
        std::string line(text);
        while (!line.empty() && line.back() == '\n') line.pop_back();
        const std::size_t names = line.find(':') + 1, path = line.find(":/", names) + 1;
        if (names == 0 || path == 0) continue;
        std::string controllers = line.substr(names - 1, path - names);
        controllers.front() = ',';
        controllers += ',';
        if (line.starts_with("0::")) {
            AddGroups(top, line.substr(path), 2, groups);
        } else if (controllers.find("," + controller + ",") != std::string::npos) {
            AddGroups(top + "/" + controller, line.substr(path), 1, groups);
        }
    }
    return groups;
}

}  // namespace kiv
