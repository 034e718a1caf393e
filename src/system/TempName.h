// Names of temporary files, so that a program that is told to end can remove them.
#pragma once

#include <signal.h>

namespace kiv {

/// The name of one temporary file while that file exists. At most a handful exist at a time;
/// further ones
/// are not noted.
class TempName {
  public:
    TempName() = default;
    TempName(const TempName&) = delete;
    TempName& operator=(const TempName&) = delete;
    ~TempName() { Clear(); }

    /// Delays the end signals until Release, so that a file that is created in between is noted.
    void Hold();
    void Release();

    /// Notes `path`, which is copied.
    void Set(const char* path);

    /// The file is gone or has its final name.
    void Clear();

  private:
    int slot_ = -1;
};

/// Signals that end the program unless it is told otherwise.
inline constexpr int kEndSignals[] = {SIGINT, SIGTERM, SIGHUP};

/// Removes the noted files; may be called by a signal handler.
void RemoveTempFiles();

}  // namespace kiv
