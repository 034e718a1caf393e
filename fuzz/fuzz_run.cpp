// Whole runs of files: an input file, a byte 1, and an assignment file.
#include <algorithm>

#include "FuzzSupport.h"
#include "io/InputFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kiv;
    static MemFile lines("asn");
    BeginFuzz();
    const std::string_view all(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(all.find('\1'), all.size());
    lines.Set(all.substr(std::min(end + 1, all.size())));
    InputListener silent;
    Result<InputFile> file = ReadInputFile(all.substr(0, end), silent);
    if (!file) return 0;
    MakeSmall(file.value(), RunKind::Fit);
    RunDocument(std::move(file).value(), lines.name());
    return 0;
}
