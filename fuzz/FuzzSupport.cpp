#include "FuzzSupport.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>

#include "console/Run.h"

// A request for more memory than there is comes back empty, as it does in the program.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace kiv {
namespace {

constexpr int kMaxJ = 4;
constexpr int kMaxScanJ = 1;
constexpr std::int16_t kMaxCycles = 2;
constexpr std::int64_t kMemory = std::int64_t{1} << 29;

std::string folder;

void RemoveFolder() {
    std::error_code error;
    std::filesystem::remove_all(folder, error);
}

void EnterFolder() {
    folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm/kiv_fuzz_XXXXXX" : "/tmp/kiv_fuzz_XXXXXX";
    Require(mkdtemp(folder.data()) != nullptr && chdir(folder.c_str()) == 0, "working folder");
    std::atexit(RemoveFolder);
    Require(std::freopen("/dev/null", "w", stdout) != nullptr, "console");
}

}  // namespace

void BeginFuzz() {
    if (folder.empty()) EnterFolder();
}

void Require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "REQUIREMENT NOT MET: %s\n", what);
    std::abort();
}

Surroundings Silent() {
    return {[](int) {}, [] { return EOF; }, [](double&) { return false; }};
}

Memory SmallMemory() { return Memory(kMemory); }

void MakeSmall(InputFile& file, RunKind kind) {
    const bool scan = kind == RunKind::Scan;
    if (file.max_J >= 0) file.max_J %= kMaxJ + 1;
    if (scan) file.max_J = std::min(file.max_J, kMaxScanJ);
    if (file.cycles < 0 || scan) file.cycles = scan ? -1 : 1;
    file.cycles = std::min(file.cycles, kMaxCycles);
}

void RunDocument(InputFile file, const std::string& assignment_file) {
    static MemFile input("input");
    file.out_base = "fuzz";
    file.assignment_file = assignment_file;
    StringSink text;
    WriteInputFile(text, file);
    input.Set(text.text());
    const int status = RunInputFile(input.name(), Silent(), SmallMemory());
    Require(status == 0 || status == 1, "status");
}

MemFile::MemFile(const char* title) : fd_(memfd_create(title, MFD_CLOEXEC)) {
    Require(fd_ >= 0, "memory file");
    name_ = "/proc/self/fd/" + std::to_string(fd_);
}

void MemFile::Set(std::string_view text) {
    const auto size = static_cast<ssize_t>(text.size());
    Require(ftruncate(fd_, 0) == 0 && pwrite(fd_, text.data(), text.size(), 0) == size,
            "memory file filled");
}

std::uint64_t ByteSource::Raw(std::size_t size) {
    std::uint64_t value = 0;
    const std::size_t taken = std::min(size, bytes_.size());
    std::memcpy(&value, bytes_.data(), taken);
    bytes_.remove_prefix(taken);
    return value;
}

std::uint8_t ByteSource::Byte() { return static_cast<std::uint8_t>(Raw(1)); }

std::int32_t ByteSource::Upto(std::int32_t max) { return Byte() % (max + 1); }

std::int32_t ByteSource::Int32() {
    constexpr std::int32_t kSpecial[] = {0,
                                         1,
                                         2,
                                         3,
                                         5,
                                         7,
                                         -1,
                                         -2,
                                         100,
                                         32767,
                                         -32768,
                                         65535,
                                         std::numeric_limits<std::int32_t>::max(),
                                         std::numeric_limits<std::int32_t>::max() - 1,
                                         std::numeric_limits<std::int32_t>::min()};
    constexpr std::size_t kNum = std::size(kSpecial);
    const std::size_t choice = Byte();
    return choice < 240 ? kSpecial[choice % kNum] : static_cast<std::int32_t>(Raw(4));
}

double ByteSource::Real() {
    using Limits = std::numeric_limits<double>;
    constexpr double kSpecial[] = {0.0,
                                   -0.0,
                                   1.0,
                                   -1.0,
                                   0.5,
                                   2.0,
                                   3000.0,
                                   5000.0,
                                   9000.0,
                                   60778.55,
                                   10318.07,
                                   8799.70,
                                   30.0,
                                   45.0,
                                   57.3,
                                   90.0,
                                   180.0,
                                   360.0,
                                   -90.0,
                                   1e-8,
                                   1e-5,
                                   -1e-3,
                                   0.01,
                                   100.0,
                                   -100.0,
                                   1e5,
                                   1e10,
                                   -1e10,
                                   1e100,
                                   1e-300,
                                   1e308,
                                   -1e308,
                                   Limits::max(),
                                   Limits::lowest(),
                                   Limits::min(),
                                   Limits::denorm_min(),
                                   Limits::infinity(),
                                   -Limits::infinity(),
                                   Limits::quiet_NaN()};
    constexpr std::size_t kNum = std::size(kSpecial);
    const std::size_t choice = Byte();
    if (choice < 234) return kSpecial[choice % kNum];
    const std::uint64_t bits = Raw(8);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace kiv
