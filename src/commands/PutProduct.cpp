#include "commands/PutProduct.h"

#include "system/OutputSet.h"
#include "system/TextFile.h"

namespace kiv {

bool MayWrite(const Request& request, const std::string& name, Terminal& terminal) {
    if (request.force || !IsReplaced(name)) return true;
    terminal.Fail(name + " is there already; --force replaces it, or choose another name.");
    return false;
}

int PutProduct(const Request& request, const std::string& text, WholeFile::Kind how,
               Terminal& terminal) {
    Status put;
    if (!request.output || *request.output == kStandardInput) {
        put = terminal.PutResult(text);
    } else {
        OutputSet outputs;
        outputs.Add(*request.output, text, how);
        put = outputs.Keep();
    }
    if (put) return kDone;
    terminal.Fail(put.error().text);
    return kFileFailed;
}

}  // namespace kiv
