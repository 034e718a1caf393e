// Line files of each format. The first byte chooses the format and the calculation they are for.
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "named/LineFile.h"

namespace kiv {
namespace {

void CheckFeatures(const std::vector<LineFeature>& features, bool two_states) {
    for (const LineFeature& feature : features) {
        Require(!feature.transitions.empty() && feature.uncertainty >= 0.0, "feature");
        for (const LineTransition& line : feature.transitions) {
            for (const LineLevel& level : {line.upper, line.lower}) {
                const int excess = level.Ka + level.Kc - level.J;
                Require(level.J >= 0 && (excess == 0 || excess == 1), "level");
                Require(level.v == 0 || (level.v == 1 && two_states), "state");
            }
        }
    }
}

std::size_t CountLines(const std::vector<LineFeature>& features) {
    std::size_t num = 0;
    for (const LineFeature& feature : features) num += feature.transitions.size();
    return num;
}

std::vector<LineFeature> WithoutComments(std::vector<LineFeature> features) {
    for (LineFeature& feature : features) {
        for (LineTransition& line : feature.transitions) line.comment.clear();
    }
    return features;
}

// What can be written is read back without an error, all of it; then it is written the same, but
// for comments that were cut and for frequencies that change their unit on the way.
void CheckWritten(const std::vector<LineFeature>& features, LineFormat format,
                  const LineContext& context) {
    const Result<std::string> text = WriteLineFile(features, format, context);
    if (!text) return;
    Findings findings;
    const auto again = ReadLineFile(text.value(), format, context, "again", findings);
    Require(!findings.has_errors(), "what is written can be read");
    Require(again.size() == features.size() && CountLines(again) == CountLines(features),
            "all features");
    if (format == LineFormat::Lin && context.unit == EnergyUnit::Wavenumber) return;
    const Result<std::string> once = WriteLineFile(WithoutComments(features), format, context);
    const Result<std::string> twice = WriteLineFile(WithoutComments(again), format, context);
    Require(once && twice && twice.value() == once.value(), "written the same");
}

}  // namespace
}  // namespace kiv

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kiv;
    ByteSource bytes(data, size);
    const int choice = bytes.Byte();
    constexpr LineFormat kFormats[] = {LineFormat::Csv, LineFormat::Asn, LineFormat::Lin};
    const LineFormat format = kFormats[choice % 3];
    LineContext context;
    context.two_states = (choice & 16) != 0;
    context.unit = (choice & 32) != 0 ? EnergyUnit::Wavenumber : EnergyUnit::MHz;
    if ((choice & 64) != 0) context.max_J = context.delta_K = 3;
    Findings findings;
    const auto features = ReadLineFile(bytes.rest(), format, context, "lines", findings);
    for (const Finding& finding : findings) {
        Require(TextOf(finding).find('\n') == std::string::npos, "a finding is one line");
    }
    CheckFeatures(features, context.two_states);
    for (const LineFormat to : kFormats) CheckWritten(features, to, context);
    return 0;
}
