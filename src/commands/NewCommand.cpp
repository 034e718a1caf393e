// kiv new
#include "commands/Commands.h"
#include "commands/PutProduct.h"
#include "named/Templates.h"
#include "named/Text.h"

namespace kiv {

int New(const Request& request, Terminal& terminal) {
    const std::string kind = request.arguments.empty() ? "rotor" : request.arguments.front();
    if (kind != "rotor" && kind != "band") {
        terminal.Fail("there is no template " + Quoted(kind) + ", kiv new knows rotor and band.");
        return kWrongUse;
    }
    const std::string text(kind == "rotor" ? RotorTemplate() : BandTemplate());
    if (request.output && !MayWrite(request, *request.output, terminal)) return kWrongUse;
    const WholeFile::Kind how = request.force ? WholeFile::Kind::Precious : WholeFile::Kind::Fresh;
    return PutProduct(request, text, how, terminal);
}

}  // namespace kiv
