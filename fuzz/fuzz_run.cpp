// Whole runs of files: an input file, a byte 1, and an assignment file.
#include <algorithm>

#include "FuzzSupport.h"
#include "input/InputParm.h"
#include "run/KivRecord.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static MemFile input("input");
    static MemFile lines("asn");
    BeginFuzz();
    const std::string_view all(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(all.find('\1'), all.size());
    input.Set(all.substr(0, end));
    lines.Set(all.substr(std::min(end + 1, all.size())));
    Kiv.Inp_Flnm = input.Name();
    if (KivReadInputParm(Kiv) == 1) RunSmall(lines.Name(), false);
    EndFuzz();
    return 0;
}
