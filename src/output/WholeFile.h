// A result file that appears under its name only when it is complete.
//
// What is written goes to a temporary file in the same folder, which takes the place of the old
// file when it is whole. A full disk, a failure or a crash therefore leaves an earlier result as
// it was. A name that is no regular file (a device, a pipe) is written directly, and so is a file
// in a folder that takes no new ones.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

struct WholeFile {
    WholeFile() = default;
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;
    /// Gives the file up unless it was kept.
    ~WholeFile();

    /// Starts a new file for `name`. False when neither it nor its temporary can be written.
    bool Open(const std::string& name);

    /// Appends `bytes` bytes. After a failure nothing more is written and Keep fails.
    void Put(const void* data, std::size_t bytes);

    /// Closes the file and puts it into its place. False when any byte of it was not written; it
    /// is then given up.
    bool Keep();

  private:
    bool OpenBeside(mode_t mode);
    bool OpenInPlace();
    void GiveUp();

    std::string Target;
    std::string Temp;  // empty: written in place
    int Fd = -1;
    bool Failed = false;
};
