// Errors of refused memory and of listeners that want to stop.
#pragma once

#include <string>

#include "kiv/error.h"
#include "kiv/report.h"

namespace kiv {

/// NoMemory for the array of this name; see ArrayName.h.
inline Error NoMemory(const char* array) {
    return {ErrorCode::NoMemory,
            *array ? std::string("not enough memory for ") + array : "not enough memory", array};
}

/// Tells the progress; Cancelled when the listener wants no more.
inline Status Tell(Report& report, Stage stage, int done, int all) {
    report.Progress(stage, done, all);
    if (report.Cancelled()) return Error{ErrorCode::Cancelled, "the calculation was cancelled", ""};
    return {};
}

}  // namespace kiv
