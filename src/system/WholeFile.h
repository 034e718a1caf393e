// A file that appears under its name only when it is complete.
//
// What is written goes to a temporary file in the same folder (NAME.tmp, or NAME.tmp1 and so on
// when there is such a file), which takes the place of the old file when it is whole. A full disk,
// a failure or a crash therefore leaves the old file as it was. A symbolic link stays one, its
// target is replaced; permissions are kept; a write-protected file is not replaced. A name that is
// no regular file (a device, a pipe) is written directly.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string>

#include "kiv/sink.h"
#include "system/TempName.h"

namespace kiv {

class WholeFile : public Sink {
  public:
    enum class Kind {
        Result,    // can be made again; written directly in a folder that takes no new files, and
                   // not forced to the disk when it takes the place of an old one
        Product,   // the same, but never written directly over an old one
        Precious,  // never written directly over an old one, which is replaced in the safest way
        Fresh      // must not take the place of anything
    };

    WholeFile() = default;
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;
    /// Gives the file up unless it was kept.
    ~WholeFile() override;

    /// Starts a new file for `name`. False when it cannot be written.
    bool Open(const std::string& name, Kind kind = Kind::Result);

    /// Announces the size of the file, which may be an estimate: the room is reserved where the
    /// system can, which makes writing faster.
    void Expect(std::size_t bytes) override;

    /// Appends `bytes` bytes. After a failure nothing more is written and Keep fails.
    void Put(const void* data, std::size_t bytes) override;

    bool ok() const override { return !failed_; }

    /// Closes the file, which is not yet put into its place. False when any byte of it was not
    /// written.
    bool Complete();

    /// Completes the file and puts it into its place. False when any byte of it was not written;
    /// it is then given up.
    bool Keep();

    /// The same, but an old file stays under the temporary name until Tidy: to remove a large one
    /// takes long, and may go on another thread.
    bool Place();
    void Tidy();
    bool has_remains() const { return has_remains_; }

    /// Bytes that were written.
    std::size_t size() const { return written_; }

    /// The errno of what failed first; 0 when it was not the system.
    int reason() const { return reason_; }

  private:
    bool OpenTarget(const std::string& name);
    bool OpenBeside(const struct stat* old);
    bool OpenInPlace();
    bool PutInPlace();
    void Fail();
    void GiveUp();

    std::string target_;
    std::string temp_;  // empty: written in place
    TempName mark_;     // of temp_
    Kind how_ = Kind::Result;
    int fd_ = -1;
    bool failed_ = false;
    int reason_ = 0;
    bool complete_ = false;     // and closed
    bool has_remains_ = false;  // under the temporary name
    bool reserved_ = false;     // there may be room behind what is written
    std::size_t written_ = 0;   // bytes
};

/// Puts the complete file `made` in the place of `name`, in one step: until then, and whenever it
/// fails, `name` is what it was. Links, permissions and protection are those of a WholeFile. On
/// failure `made` stays.
bool ReplaceFile(const std::string& made, const std::string& name);

}  // namespace kiv
