#include "FuzzSupport.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>

#include "run/KivCore.h"
#include "run/KivPhaseLog.h"
#include "run/KivRecord.h"
#include "run/KivRun.h"
#include "run/KivServices.h"

// A request for more memory than there is comes back empty, as it does in the program.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace {

constexpr int kMaxJ = 4;
constexpr int kMaxCycles = 2;
constexpr int kFirstLines = 50;  // lines the store holds before it grows

std::string Folder;

void NoWait(int) {}

int NoChar() { return EOF; }

bool NoNumber(double&) { return false; }

void RemoveFolder() {
    std::error_code error;
    std::filesystem::remove_all(Folder, error);
}

void EnterFolder() {
    Folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm/kiv_fuzz_XXXXXX" : "/tmp/kiv_fuzz_XXXXXX";
    Require(mkdtemp(Folder.data()) != nullptr && chdir(Folder.c_str()) == 0, "working folder");
    std::atexit(RemoveFolder);
    Require(std::freopen("/dev/null", "w", stdout) != nullptr, "console");
}

}  // namespace

void BeginFuzz() {
    if (Folder.empty()) EnterFolder();
    Kiv = KivRecord{};
    Services = {NoWait, NoChar, NoNumber};
}

void EndFuzz() {
    if (Kiv.Log_Fp) std::fclose(Kiv.Log_Fp);
    Kiv = KivRecord{};
}

void RunSmall(const char* asn_name, bool scan) {
    std::strcpy(Kiv.Out_Base, "fuzz");
    std::strcpy(Kiv.Asn_Flnm, asn_name);
    if (Kiv.Max_J >= 0) Kiv.Max_J %= kMaxJ + 1;
    if (Kiv.LS_Cycles < 0 || scan) Kiv.LS_Cycles = scan ? -1 : 1;
    if (scan) Kiv.Max_J = std::min(Kiv.Max_J, 1);
    if (Kiv.LS_Cycles > kMaxCycles) Kiv.LS_Cycles = kMaxCycles;
    Kiv.Trs_Max_Lines = kFirstLines;
    Kiv.Log_On = 1;
    KivPhaseLog(PHASE_INPUT, 0);
    KivPhaseLog(PHASE_INPUT, 1);
    const int status = KivRun();
    Require(status == 0 || status == 1, "status");
    Require(status == 0 || (Kiv.Num_Trs >= 0 && Kiv.Num_Asn <= Kiv.Num_Asn_Read), "counts");
    KivCoreFree();
    KivPhaseLog(PHASE_END, 0);
    Require(Kiv.Log_Fp == nullptr, "log closed");
}

void Require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "REQUIREMENT NOT MET: %s\n", what);
    std::abort();
}

MemFile::MemFile(const char* title) : Fd(memfd_create(title, MFD_CLOEXEC)) {
    Require(Fd >= 0, "memory file");
    Path = "/proc/self/fd/" + std::to_string(Fd);
}

void MemFile::Set(std::string_view text) {
    const auto size = static_cast<ssize_t>(text.size());
    Require(ftruncate(Fd, 0) == 0 && pwrite(Fd, text.data(), text.size(), 0) == size,
            "memory file filled");
}

std::string MemFile::Get() const {
    struct stat now;
    Require(fstat(Fd, &now) == 0, "memory file");
    std::string text(static_cast<std::size_t>(now.st_size), '\0');
    Require(pread(Fd, text.data(), text.size(), 0) == now.st_size, "memory file read");
    return text;
}

std::uint64_t ByteSource::Raw(std::size_t size) {
    std::uint64_t value = 0;
    const std::size_t taken = std::min(size, Bytes.size());
    std::memcpy(&value, Bytes.data(), taken);
    Bytes.remove_prefix(taken);
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
