// What every fuzz target needs: a private working folder, a silent console, files in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "console/Console.h"
#include "kiv/array.h"
#include "kiv/files.h"

namespace kiv {

/// Starts one execution. The first call moves the process into an empty temporary folder, so that
/// a target may write relative names, and silences the console.
void BeginFuzz();

/// Ends the process with a report unless `holds`.
void Require(bool holds, const char* what);

/// No pauses and no answers.
Surroundings Silent();

/// An account of less memory than the fuzzer may take.
Memory SmallMemory();

enum class RunKind : bool { Fit, Scan };

/// Leaves few levels and cycles of a document. A scan is 360 fits, so it is only run where it is
/// wanted, and as a fit otherwise.
void MakeSmall(InputFile& file, RunKind kind);

/// Runs a small document as the program does, from a file to files of the working folder, and
/// checks that the run ends in order.
void RunDocument(InputFile file, const std::string& assignment_file);

/// A file in memory that can be opened by its name.
class MemFile {
  public:
    explicit MemFile(const char* title);
    void Set(std::string_view text);
    const std::string& name() const { return name_; }

  private:
    int fd_;
    std::string name_;
};

/// Takes settings from the fuzzer's bytes; zeros when they are used up.
class ByteSource {
  public:
    ByteSource(const std::uint8_t* data, std::size_t size)
        : bytes_(reinterpret_cast<const char*>(data), size) {}

    std::uint8_t Byte();
    std::int32_t Int32();                 // any, extremes preferred
    std::int32_t Upto(std::int32_t max);  // 0..max
    double Real();                        // any, special values preferred
    std::string_view rest() const { return bytes_; }

  private:
    std::uint64_t Raw(std::size_t size);

    std::string_view bytes_;
};

}  // namespace kiv
