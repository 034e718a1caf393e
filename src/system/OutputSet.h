// The files that one command writes: all of them appear, or none.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "kiv/error.h"
#include "kiv/threads.h"
#include "system/WholeFile.h"

namespace kiv {

/// Every file is written beside its place first; they are put there together once all are complete.
class OutputSet {
  public:
    /// Starts the file `name`. Null when it cannot be written; Keep says so.
    Sink* Open(const std::string& name, WholeFile::Kind kind = WholeFile::Kind::Product);

    /// Starts a file and writes its whole text.
    void Add(const std::string& name, const std::string& text,
             WholeFile::Kind kind = WholeFile::Kind::Product);

    /// Puts all files into their places. CannotWrite tells which one failed and why; then none of
    /// them was, unless it was the last step that failed. Large old files are removed on `threads`,
    /// null for none; `meanwhile`, which may be empty, is called beside that where there are some.
    Status Keep(Threads* threads = nullptr, const std::function<void()>& meanwhile = {});

    /// Their names in the order in which they were started.
    const std::vector<std::string>& names() const { return names_; }

  private:
    std::deque<WholeFile> files_;
    std::vector<std::string> names_;
};

}  // namespace kiv
