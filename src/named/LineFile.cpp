#include "named/LineFile.h"

#include <algorithm>

#include "io/TextLines.h"
#include "named/LineRows.h"

namespace kiv {
namespace {

struct FormatRow {
    LineFormat format;
    const char* ending;
    BlendRule blends;
    void (*read)(std::string_view, const LineContext&, const LineReport&, LineCollector&);
};

constexpr FormatRow kFormats[] = {
    {LineFormat::Csv, ".csv", BlendRule::Frequency, ReadCsv},
    {LineFormat::Asn, ".asn", BlendRule::None, ReadAsn},
    {LineFormat::Lin, ".lin", BlendRule::FrequencyAndUncertainty, ReadLin},
};

bool EndsWith(std::string_view name, std::string_view ending) {
    if (name.size() < ending.size()) return false;
    return std::equal(ending.rbegin(), ending.rend(), name.rbegin(), [](char a, char b) {
        return a == b || (b >= 'A' && b <= 'Z' && a == b + 32);
    });
}

}  // namespace

std::optional<LineFormat> LineFormatOf(std::string_view name) {
    for (const FormatRow& row : kFormats) {
        if (EndsWith(name, row.ending)) return row.format;
    }
    return {};
}

std::vector<LineFeature> ReadLineFile(std::string_view text, LineFormat format,
                                      const LineContext& context, const std::string& file,
                                      Findings& findings) {
    const FormatRow& row = kFormats[static_cast<std::size_t>(format)];
    const LineReport report{file, findings};
    LineCollector lines(row.blends, context, report);
    row.read(WithoutMark(text), context, report, lines);
    return lines.Finish();
}

}  // namespace kiv
