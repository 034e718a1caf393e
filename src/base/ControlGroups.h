// The control groups of the process, which limit what it may use of the machine.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace kiv {

/// A file of the system, line by line; empty when it cannot be read.
class SystemFile {
  public:
    explicit SystemFile(const std::string& name) : stream_(std::fopen(name.c_str(), "r")) {}
    ~SystemFile() {
        if (stream_) std::fclose(stream_);
    }
    SystemFile(const SystemFile&) = delete;
    SystemFile& operator=(const SystemFile&) = delete;

    /// Reads the next line, or as much of it as there is room for; false at the end.
    bool Line(char (&line)[512]) { return stream_ && std::fgets(line, sizeof line, stream_); }

  private:
    std::FILE* stream_;
};

/// A group that has a say: that of the process or one around it.
struct ControlGroup {
    std::string folder;  // of its files, with a slash behind it
    int version = 2;     // of the files: 1 or 2
};

/// The groups by which `controller` ("memory", "cpu") may limit the process, each hierarchy from
/// the innermost group to the top. Some need not be there: a process in a container may see its own
/// group as the top one.
///
/// `root` stands before the names of the system's files, for tests.
std::vector<ControlGroup> ControlGroupsOf(const std::string& controller, const std::string& root);

}  // namespace kiv
