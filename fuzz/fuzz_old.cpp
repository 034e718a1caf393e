// Positional inputs read with their findings, and converted.
#include <string>

#include "FuzzSupport.h"
#include "job/OldForm.h"
#include "job/OldReading.h"
#include "named/NamedInput.h"

namespace kiv {
namespace {

std::string Written(const InputFile& file) {
    StringSink text;
    WriteInputFile(text, file);
    return text.text();
}

// The named input can be read unless what is lost was told.
void CheckNamed(const InputFile& file) {
    if (!LossesOf(file).refusals.empty()) return;
    const NamedInput input = NamedOf(file);
    Findings findings;
    const auto again = ReadNamed(WriteNamed(input), "named", findings);
    bool names_lines = false;  // a file name need not have the ending of a line file
    for (const Finding& finding : findings) {
        names_lines |= finding.code == FindingCode::BadChoice;
    }
    Require(again && (names_lines || !findings.has_errors()), "the named input can be read");
}

}  // namespace
}  // namespace kiv

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kiv;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    Findings findings;
    const auto reading = ReadOld(text, "input", findings);
    for (const Finding& finding : findings) {
        Require(finding.line >= 1 && finding.column >= 1, "place of a finding");
        Require(TextOf(finding).find('\n') == std::string::npos, "a finding is one line");
    }
    Require(reading || findings.has_errors(), "what cannot be read is told");
    if (!reading || findings.has_errors()) return 0;
    const Result<Input> input = ReadInput(text);
    Require(input.ok(), "no finding, and readable");
    Require(Written(input.value().file) == Written(reading->document), "read as the same");
    CheckNamed(reading->document);
    return 0;
}
