#include "system/WholeFile.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace kiv {
namespace {

constexpr mode_t kNewMode = 0666;
constexpr mode_t kPermissions = 07777;
constexpr int kMaxTemp = 100;  // temporary names tried; others are left over from broken-off runs
constexpr std::size_t kMaxWrite = std::size_t{1} << 30;  // one call may not take more everywhere

int OpenNew(const std::string& name, int how) {
    return open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | how, kNewMode);
}

std::string ResolveLinks(const std::string& name) {
    char real[PATH_MAX];
    return realpath(name.c_str(), real) ? real : name;
}

// The owner can only be kept by the superuser; others own the old file or may not.
bool TakeOver(int fd, const struct stat& old) {
    if (fchown(fd, old.st_uid, old.st_gid) != 0) errno = 0;
    return fchmod(fd, old.st_mode & kPermissions) == 0;
}

// Lets two files change their names in one step, where the system can. Some file systems write a
// file to the disk before they let it replace another one, which takes longer than to calculate it;
// of two that change places neither is lost.
bool ChangePlaces(const std::string& made, const std::string& old) {
#ifdef RENAME_EXCHANGE
    return renameat2(AT_FDCWD, made.c_str(), AT_FDCWD, old.c_str(), RENAME_EXCHANGE) == 0;
#else
    static_cast<void>(made), static_cast<void>(old);
    return false;
#endif
}

// For a file of another file system: a copy beside the target, which can be renamed.
bool CopyOver(const std::string& made, const std::string& target) {
    WholeFile copy;
    const int from = open(made.c_str(), O_RDONLY | O_CLOEXEC);
    if (from < 0) return false;
    char block[1 << 14];
    ssize_t size = 0;
    const bool opened = copy.Open(target, WholeFile::Kind::Precious);
    while (opened && (size = read(from, block, sizeof block)) > 0) {
        copy.Put(block, static_cast<std::size_t>(size));
    }
    close(from);
    return opened && size == 0 && copy.Keep() && unlink(made.c_str()) == 0;
}

}  // namespace

WholeFile::~WholeFile() { GiveUp(); }

bool WholeFile::Open(const std::string& name, Kind kind) {
    GiveUp();
    failed_ = complete_ = false;
    reason_ = 0;
    written_ = 0;
    how_ = kind;
    target_ = name;
    errno = 0;
    const bool opened = OpenTarget(name);
    if (!opened) Fail();
    return opened;
}

bool WholeFile::OpenTarget(const std::string& name) {
    struct stat now;
    if (stat(name.c_str(), &now) == 0) {
        if (!S_ISREG(now.st_mode)) return OpenInPlace();
        if (how_ == Kind::Fresh) {
            errno = EEXIST;
            return false;
        }
        target_ = ResolveLinks(name);
        if (access(target_.c_str(), W_OK) != 0) return false;
        return OpenBeside(&now) || (how_ == Kind::Result && OpenInPlace());
    }
    if (lstat(name.c_str(), &now) == 0) return OpenInPlace();  // a link to nothing yet
    return OpenBeside(nullptr);
}

// old: the file that is replaced; null when there is none.
bool WholeFile::OpenBeside(const struct stat* old) {
    for (int n = 0; n < kMaxTemp && fd_ < 0; ++n) {
        temp_ = target_ + ".tmp" + (n > 0 ? std::to_string(n) : "");
        mark_.Hold();  // no signal between the file and the note of its name
        fd_ = OpenNew(temp_, O_EXCL);
        if (fd_ >= 0) mark_.Set(temp_.c_str());
        mark_.Release();
        if (fd_ < 0 && errno != EEXIST) break;
    }
    if (fd_ < 0) return false;
    if (old && !TakeOver(fd_, *old)) Fail();
    return true;
}

bool WholeFile::OpenInPlace() {
    temp_.clear();
    fd_ = OpenNew(target_, O_TRUNC);
    return fd_ >= 0;
}

void WholeFile::Expect(std::size_t bytes) {
#ifdef __linux__
    reserved_ = fallocate(fd_, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(bytes)) == 0;
#else
    static_cast<void>(bytes);
#endif
}

void WholeFile::Put(const void* data, std::size_t bytes) {
    const char* next = static_cast<const char*>(data);
    while (bytes > 0 && !failed_) {
        const ssize_t written = write(fd_, next, std::min(bytes, kMaxWrite));
        if (written > 0) {
            next += written;
            bytes -= static_cast<std::size_t>(written);
            written_ += static_cast<std::size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            Fail();
        }
    }
}

void WholeFile::Fail() {
    if (!failed_) reason_ = errno;
    failed_ = true;
}

bool WholeFile::Complete() {
    if (complete_) return !failed_;
    if (fd_ < 0) return false;
    errno = 0;
    if (reserved_ && !failed_ && ftruncate(fd_, static_cast<off_t>(written_)) != 0) Fail();
    reserved_ = false;
    // In place, an empty file at least cannot be mistaken for a whole one.
    if (failed_ && temp_.empty() && ftruncate(fd_, 0) != 0) errno = 0;
    if (close(fd_) != 0) Fail();
    fd_ = -1;
    complete_ = true;
    return !failed_;
}

// What is left under the temporary name goes: the old file, a second name, or one that failed. A
// file that was renamed leaves nothing, and the name may already be that of another program.
bool WholeFile::PutInPlace() {
    const bool may_change = how_ == Kind::Result || how_ == Kind::Product;
    bool placed = how_ == Kind::Fresh ? link(temp_.c_str(), target_.c_str()) == 0
                                      : may_change && ChangePlaces(temp_, target_);
    if (!placed && how_ != Kind::Fresh) {
        placed = std::rename(temp_.c_str(), target_.c_str()) == 0;
        if (placed) {
            has_remains_ = false;
            mark_.Clear();
            return true;
        }
    }
    if (!placed) Fail();
    return placed;
}

bool WholeFile::Place() {
    if (fd_ < 0 && !complete_) return false;
    const bool is_whole = Complete();
    complete_ = false;
    if (temp_.empty()) return is_whole;
    has_remains_ = true;
    return is_whole && PutInPlace();
}

void WholeFile::Tidy() {
    if (!has_remains_) return;
    unlink(temp_.c_str());
    mark_.Clear();
    has_remains_ = false;
}

bool WholeFile::Keep() {
    const bool kept = Place();
    Tidy();
    return kept;
}

void WholeFile::GiveUp() {
    Tidy();
    if (fd_ < 0 && !complete_) return;
    failed_ = true;
    Complete();
    complete_ = false;
    if (!temp_.empty()) unlink(temp_.c_str());
    mark_.Clear();
}

bool ReplaceFile(const std::string& made, const std::string& name) {
    const std::string target = ResolveLinks(name);
    struct stat fresh, old;
    // what a link points to is not ours: neither its mode is changed nor the link moved
    if (lstat(made.c_str(), &fresh) != 0 || !S_ISREG(fresh.st_mode)) return false;
    if (stat(target.c_str(), &old) == 0) {
        if (access(target.c_str(), W_OK) != 0) return false;
        if (chmod(made.c_str(), old.st_mode & kPermissions) != 0) return false;
    }
    return std::rename(made.c_str(), target.c_str()) == 0 || CopyOver(made, target);
}

}  // namespace kiv
