// Text files that replace an older one only when they are complete.
#pragma once

#include <cstdio>
#include <string>

/// Puts the complete file `made` in the place of `name`, in one step: until then, and whenever it
/// fails, `name` is what it was. A symbolic link stays one, its target is replaced; the permissions
/// of the old file are kept, and a write-protected file is not replaced. On failure `made` stays.
bool ReplaceFile(const std::string& made, const std::string& name);

/// A text file that is written under a temporary name in the folder of `name`.
class NewFile {
  public:
    explicit NewFile(const std::string& name);
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile();  // a file that was not kept is removed

    /// The open stream; null when the file cannot be created.
    std::FILE* Stream() const { return File; }

    /// Closes the file and gives it its name; false when something could not be written.
    bool Keep();

  private:
    bool Close();

    std::string Name;
    std::string Temp;  // empty when written in place, as a device is
    std::FILE* File = nullptr;
};
