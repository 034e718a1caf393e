#include "output/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr mode_t kNewMode = 0666;
constexpr std::size_t kMaxWrite = std::size_t{1} << 30;  // one call may not take more everywhere

int OpenNew(const std::string& name) {
    return open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kNewMode);
}

std::string ResolveLinks(const std::string& name) {
    char* real = realpath(name.c_str(), nullptr);
    std::string resolved = real ? real : name;
    std::free(real);
    return resolved;
}

}  // namespace

WholeFile::~WholeFile() { GiveUp(); }

bool WholeFile::Open(const std::string& name) {
    GiveUp();
    Failed = false;
    Target = name;
    struct stat now;
    if (stat(name.c_str(), &now) == 0) {
        if (!S_ISREG(now.st_mode)) return OpenInPlace();
        Target = ResolveLinks(name);
        if (access(Target.c_str(), W_OK) != 0) return false;
        return OpenBeside(now.st_mode & 07777) || OpenInPlace();
    }
    if (lstat(name.c_str(), &now) == 0) return OpenInPlace();  // a link to nothing yet
    return OpenBeside(0);
}

// mode 0: that of any new file.
bool WholeFile::OpenBeside(mode_t mode) {
    Temp = Target + ".tmp";
    Fd = OpenNew(Temp);
    if (Fd < 0) return false;
    if (mode != 0 && fchmod(Fd, mode) != 0) Failed = true;
    return true;
}

bool WholeFile::OpenInPlace() {
    Temp.clear();
    Fd = OpenNew(Target);
    return Fd >= 0;
}

void WholeFile::Put(const void* data, std::size_t bytes) {
    const char* next = static_cast<const char*>(data);
    while (bytes > 0 && !Failed) {
        const ssize_t written = write(Fd, next, std::min(bytes, kMaxWrite));
        if (written > 0) {
            next += written;
            bytes -= static_cast<std::size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            Failed = true;
        }
    }
}

bool WholeFile::Keep() {
    if (Fd < 0) return false;
    if (Failed) {
        GiveUp();
        return false;
    }
    const bool closed = close(Fd) == 0;
    Fd = -1;
    if (Temp.empty()) return closed;
    if (closed && std::rename(Temp.c_str(), Target.c_str()) == 0) return true;
    unlink(Temp.c_str());
    return false;
}

void WholeFile::GiveUp() {
    if (Fd < 0) return;
    // In place, an empty file at least cannot be mistaken for a whole one.
    if (Temp.empty() && ftruncate(Fd, 0) != 0) Failed = true;
    close(Fd);
    Fd = -1;
    if (!Temp.empty()) unlink(Temp.c_str());
}
