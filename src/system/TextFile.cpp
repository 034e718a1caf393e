#include "system/TextFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace kiv {
namespace {

constexpr std::size_t kBlock = std::size_t{1} << 16;

// A descriptor that is closed unless it is that of standard input.
class Descriptor {
  public:
    explicit Descriptor(const std::string& name)
        : fd_(name == kStandardInput ? STDIN_FILENO : open(name.c_str(), O_RDONLY | O_CLOEXEC)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (fd_ > STDIN_FILENO) close(fd_);
    }

    int get() const { return fd_; }

  private:
    const int fd_;
};

Error CannotRead(const std::string& name, const std::string& reason) {
    const std::string shown = name == kStandardInput ? kStandardInputName : name;
    return {ErrorCode::CannotRead, "cannot read " + shown + ": " + reason, shown};
}

}  // namespace

std::string ReasonText(int error) { return std::strerror(error); }

Result<std::string> ReadTextFile(const std::string& name, std::size_t most) {
    const Descriptor file(name);
    struct stat info;
    if (file.get() < 0 || fstat(file.get(), &info) != 0) {
        return CannotRead(name, ReasonText(errno));
    }
    if (S_ISDIR(info.st_mode)) return CannotRead(name, "it is a folder");
    const bool is_sized =
        S_ISREG(info.st_mode) && info.st_size > 0 && static_cast<std::size_t>(info.st_size) <= most;
    // of a file of known size all at once, with a byte that tells its end
    std::string text(is_sized ? static_cast<std::size_t>(info.st_size) + 1 : kBlock, '\0');
    std::size_t size = 0;
    for (;;) {
        if (size == text.size()) text.resize(size + kBlock);
        const ssize_t got = read(file.get(), text.data() + size, text.size() - size);
        if (got < 0 && errno != EINTR) return CannotRead(name, ReasonText(errno));
        if (got > 0) size += static_cast<std::size_t>(got);
        if (size > most) {
            return CannotRead(name, "it has more than " + std::to_string(most >> 20) + " MiB");
        }
        if (got == 0) break;
    }
    text.resize(size);
    return text;
}

bool IsReplaced(const std::string& name) {
    struct stat info;
    return stat(name.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

bool IsSameFile(const std::string& a, const std::string& b) {
    struct stat first, second;
    return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

}  // namespace kiv
