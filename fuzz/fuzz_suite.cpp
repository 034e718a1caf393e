// Sets of files of the SPFIT/SPCAT suite, parted by bytes of value 1: constants, intensities,
// lines. What is taken without an error has to be a readable named input that goes there and back.
#include <algorithm>
#include <string>

#include "FuzzSupport.h"
#include "exchange/ImportSuite.h"
#include "exchange/WriteParameters.h"
#include "named/LineFile.h"
#include "named/LineRows.h"

namespace kiv {
namespace {

std::string TakePart(std::string_view& text) {
    const std::size_t end = std::min(text.find('\1'), text.size());
    std::string part(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    return part;
}

// Titles and numbers of cycles may be told in other words.
void CheckParameters(const NamedInput& input) {
    const WrittenParameters written = WriteParameters(input, 0, 0);
    if (!written.refusals.empty()) return;  // a named input may say more
    SuiteSet again;
    again.parameters = {"again.par", written.text};
    const SuiteImport made = ImportSuite(again, "again.csv");
    Require(!made.findings.has_errors(), "what is written can be imported");
    const auto rows = [](const NamedInput& of) {  // without labels
        const std::string text = WriteParameters(of, 0, 0).text;
        std::string codes;
        LineSplitter lines(text);
        while (lines.Next()) {
            if (lines.number() > 3) codes += lines.line().substr(0, lines.line().find('/'));
        }
        return codes;
    };
    Require(rows(made.input) == rows(input), "written the same");
}

}  // namespace
}  // namespace kiv

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kiv;
    ByteSource bytes(data, size);
    const int choice = bytes.Byte();
    std::string_view text = bytes.rest();
    SuiteSet set;
    set.is_var = (choice & 1) != 0;
    set.parameters = {"set.par", TakePart(text)};
    if ((choice & 2) == 0) set.intensities = SuiteFile{"set.int", TakePart(text)};
    if ((choice & 4) == 0) set.lines = SuiteFile{"set.lin", TakePart(text)};
    const SuiteImport made = ImportSuite(set, "set.csv");
    for (const Finding& finding : made.findings) {
        Require(finding.line >= 1 && finding.column >= 1, "place of a finding");
        Require(TextOf(finding).find('\n') == std::string::npos, "a finding is one line");
    }
    if (made.findings.has_errors()) return 0;
    Findings findings;
    const auto input = ReadNamed(made.text, "set.toml", findings);
    Require(input && !findings.has_errors(), "the named input can be read");
    Require(WriteNamed(*input) == WriteNamed(made.input), "read as the same");
    LineContext context;
    context.two_states = input->two_states;
    context.unit = input->unit;
    const auto lines = ReadLineFile(made.lines, LineFormat::Csv, context, "set.csv", findings);
    Require(!findings.has_errors() && lines.size() == made.features.size(), "all lines");
    CheckParameters(*input);
    return 0;
}
