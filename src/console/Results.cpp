#include "console/Results.h"

#include <utility>

#include "console/Messages.h"
#include "system/WholeFile.h"

namespace kiv {
namespace {

bool FailBinary(Console& console, const std::string& name) {
    console.LogFail("FAILED TO CREATE BINARY FREQUENCY FILE [%s] FOR WRITING!\n", name.c_str());
    return false;
}

void WriteTextList(Console& console, const InputFile& file, const RunResults& results,
                   const SortedLines& sorted, const Memory& memory) {
    console.Enter("PrntTrsQZS");
    const std::string name = file.out_base + ".asc";
    WholeFile list;
    const bool opened = list.Open(name);
    if (opened) WriteLineList(list, results.header, sorted, results.source.lower, memory);
    if (!opened || !list.Keep()) {
        console.LogFail("FAILED TO CREATE ASCII FILE [%s] FOR WRITING!\n", name.c_str());
        return;
    }
    if (console.DebugIsOn(DebugPart::All)) {
        console.Log("EXIT PrntTrs()QZS\n");  // odd, and meant
        console.FlushLog();
    }
}

}  // namespace

bool WriteLines(Console& console, const InputFile& file, RunResults results, const Memory& memory) {
    console.Enter("TrsConvert");
    if (console.log_is_on()) ReportLineSet(console, file, results.report);
    const std::string name = file.out_base + ".QZS";
    WholeFile binary;
    if (!binary.Open(name)) return FailBinary(console, name);
    const Result<SortedLines> sorted =
        WriteLineSet(binary, results.header, std::move(results.lines), results.source, memory);
    if (!sorted) {
        Say(console, sorted.error());
        return false;
    }
    if (!binary.Keep()) return FailBinary(console, name);
    if (file.assignment_max_Ka >= -1 || file.assignment_max_Kc >= -1) {
        WriteTextList(console, file, results, sorted.value(), memory);
    }
    console.Exit("TrsConvert");
    return true;
}

bool WriteNextInput(Console& console, const InputFile& file) {
    console.Enter("KivWriteInputParm");
    const std::string name = file.out_base + ".in";
    WholeFile next;
    const bool opened = next.Open(name, WholeFile::Kind::Precious);  // it may be the file read
    if (opened) WriteInputFile(next, file);
    if (!opened || !next.Keep()) {
        console.Put("FAILED TO CREATE ASCII INPUT FILE [%s] FOR WRITING!\n", name.c_str());
        return false;
    }
    console.Exit("KivWriteInputParm");
    return true;
}

}  // namespace kiv
