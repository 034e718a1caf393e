// Named inputs: a text without an error is written, read back and gets other numbers.
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "job/OldForm.h"
#include "named/NamedInput.h"

namespace kiv {
namespace {

void CheckFindings(const Findings& findings) {
    for (const Finding& finding : findings) {
        Require(finding.line >= 1 && finding.column >= 1, "place of a finding");
        Require(TextOf(finding).find('\n') == std::string::npos, "a finding is one line");
    }
}

// The same as far as a text can say it.
std::string Written(const NamedInput& input) {
    const std::string text = WriteNamed(input);
    Findings findings;
    const auto again = ReadNamed(text, "again", findings);
    Require(again && !findings.has_errors(), "what is written can be read");
    Require(WriteNamed(*again) == text, "and says the same");
    return text;
}

void CheckReplaced(std::string_view text, const NamedInput& input) {
    const Replacement other[] = {{"lower.A", "4321.5"}, {"lower.DJ", "0.25"}};
    const std::string replaced = ReplaceNumbers(text, other);
    Findings findings;
    const auto again = ReadNamed(replaced, "replaced", findings);
    Require(again && !findings.has_errors(), "what is replaced can be read");
    NamedInput expected = input;
    expected.lower().terms[Constant::A].value = 4321.5;
    expected.lower().terms[Constant::DJ].value = 0.25;
    Require(WriteNamed(*again) == WriteNamed(expected), "only those numbers are others");
}

// A positional input says the same, or what is lost is told.
void CheckOld(const NamedInput& input) {
    if (!LossesOf(input).refusals.empty()) return;
    StringSink text;
    WriteInputFile(text, OldOf(input));
    Require(ReadInput(text.text()).ok(), "the positional input can be read");
}

}  // namespace
}  // namespace kiv

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kiv;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    Findings findings;
    const auto input = ReadNamed(text, "input", findings);
    CheckFindings(findings);
    Require(input || findings.has_errors(), "what cannot be read is told");
    if (!input || findings.has_errors()) return 0;
    Written(*input);
    CheckReplaced(text, *input);
    CheckOld(*input);
    return 0;
}
