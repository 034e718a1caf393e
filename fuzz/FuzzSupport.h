// What every fuzz target needs: a private working folder, a silent console, files in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Starts one execution: a fresh run record, no pauses, no answers. The first call moves the
/// process into an empty temporary folder, so that a target may write relative names.
void BeginFuzz();

/// Ends one execution: closes the log and releases all memory, so that a leak shows at once.
void EndFuzz();

/// Ends the process with a report unless `holds`.
void Require(bool holds, const char* what);

/// Runs the record as the program does, with few levels, cycles and names in the working folder,
/// and checks that the run ends in order. `asn_name`: the assignment file. A scan is 360 fits, so
/// it is only run where it is wanted, and as a fit otherwise.
void RunSmall(const char* asn_name, bool scan);

/// A file in memory that can be opened by its name.
class MemFile {
  public:
    explicit MemFile(const char* title);
    void Set(std::string_view text);
    std::string Get() const;
    const char* Name() const { return Path.c_str(); }

  private:
    int Fd;
    std::string Path;
};

/// Takes settings from the fuzzer's bytes; zeros when they are used up.
class ByteSource {
  public:
    explicit ByteSource(std::string_view bytes) : Bytes(bytes) {}

    std::uint8_t Byte();
    std::int32_t Int32();                 // any, extremes preferred
    std::int32_t Upto(std::int32_t max);  // 0..max
    double Real();                        // any, special values preferred
    std::string_view Rest() const { return Bytes; }

  private:
    std::uint64_t Raw(std::size_t size);

    std::string_view Bytes;
};
