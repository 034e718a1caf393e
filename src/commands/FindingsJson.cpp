#include "commands/FindingsJson.h"

namespace kiv {

void PutFindings(const Findings& findings, JsonWriter& json) {
    json.Array();
    for (const Finding& finding : findings) {
        json.Object().Member("file", finding.file).Member("line", finding.line);
        json.Member("column", finding.column).Member("severity", NameOf(finding.severity));
        json.Member("code", NameOf(finding.code)).Member("message", finding.message).End();
    }
    json.End();
}

}  // namespace kiv
