// Assignment files. The first bytes are the settings that limit and scale the lines.
#include <algorithm>

#include "FuzzSupport.h"
#include "base/LineKey.h"
#include "console/AssignmentReport.h"

namespace kiv {
namespace {

InputFile TakeSettings(ByteSource& bytes) {
    InputFile file;
    file.max_J = bytes.Byte() < 250 ? bytes.Upto(60) : bytes.Int32();
    file.assignment_max_J = bytes.Upto(30) - 1;
    file.assignment_max_Ka = bytes.Upto(30) - 1;
    file.assignment_max_Kc = bytes.Upto(30) - 1;
    const int switches = bytes.Byte();
    file.old_format = switches & 1;
    file.uniform = switches >> 1 & 1;
    file.debug[static_cast<std::size_t>(DebugPart::Input)] = switches >> 2 & 1;
    file.energy_scale = bytes.Real();
    return file;
}

void CheckKey(std::uint64_t key, int max_J) {
    const int J_lower = KeyJLower(key), J_upper = KeyJUpper(key);
    Require(J_lower <= max_J && J_upper <= max_J, "J within the run");
    Require(KeyTauLower(key) <= 2 * J_lower && KeyTauUpper(key) <= 2 * J_upper,
            "level within its J");
}

void CheckLines(const Assignments& lines, int max_J) {
    const auto num = static_cast<std::size_t>(lines.size);
    const auto split = static_cast<std::size_t>(lines.split);
    Require(lines.size >= 0 && split <= num, "counts");
    if (num == 0) return;
    Require(
        lines.key.size() >= num && lines.frequency.size() >= num && lines.uncertainty.size() >= num,
        "arrays hold the lines");
    const std::uint64_t* const key = lines.key.data();
    for (std::size_t k = 0; k < num; ++k) CheckKey(key[k], max_J);
    Require(std::is_sorted(key, key + split) && std::is_sorted(key + split, key + num),
            "sets are sorted");
}

}  // namespace
}  // namespace kiv

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kiv;
    static MemFile lines("asn");
    BeginFuzz();
    ByteSource bytes(data, size);
    InputFile file = TakeSettings(bytes);
    file.assignment_file = lines.name();
    lines.Set(bytes.rest());
    Console console(Silent());
    console.SetDebug(file.debug);
    if (console.IsSwitchedOn(DebugPart::Input)) Require(console.OpenLog("/dev/null"), "log");
    const auto by_console = ReadAssignmentsOf(console, file, SmallMemory());
    const auto by_library = ReadAssignmentFile(bytes.rest(), LimitsOf(file), SmallMemory());
    Require(by_console.ok() == by_library.ok(), "the text in memory is read like the file");
    if (!by_console) return 0;
    CheckLines(by_console.value().assignments, file.max_J);
    Require(by_console.value().assignments.size == by_library.value().size, "the same lines");
    return 0;
}
