// Names of temporary files, so that a program that is told to end can remove them.
#pragma once

/// The name of one temporary file while that file exists. At most a handful exist at a time;
/// further ones are not noted.
class TempName {
  public:
    TempName() = default;
    TempName(const TempName&) = delete;
    TempName& operator=(const TempName&) = delete;
    ~TempName() { Clear(); }

    /// Delays the signals that end the program until Release, so that a file that is created in
    /// between is noted.
    void Hold();
    void Release();

    /// Notes `path`, which is copied.
    void Set(const char* path);

    /// The file is gone or has its final name.
    void Clear();

  private:
    int Slot = -1;
};

/// From now on SIGINT, SIGTERM and SIGHUP remove the noted files and end the program, as the
/// signal does by itself. A signal that is ignored stays so. SIGPIPE and SIGXFSZ are ignored: a
/// closed pipe or a file that may not grow is then a failed write, which is reported.
void EndCleanlyOnSignals();
