#include "named/NamedConstants.h"

namespace kiv {

std::optional<Constant> ConstantNamed(std::string_view name, Reduction reduction) {
    for (const Constant constant : kListedConstants) {
        if (name == NameOf(constant, reduction)) return constant;
    }
    return {};
}

std::optional<Constant> ConstantNamed(std::string_view name) {
    const std::optional<Constant> constant = ConstantNamed(name, Reduction::A);
    return constant ? constant : ConstantNamed(name, Reduction::S);
}

}  // namespace kiv
