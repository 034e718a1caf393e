// A job: what an input file asks for, read from either form of input with all that it names, ready
// to be checked and calculated.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/features.h"
#include "kiv/files.h"
#include "named/Finding.h"
#include "named/LineFile.h"
#include "named/NamedInput.h"

namespace kiv {

enum class InputForm : std::uint8_t { Named, Old };

/// The measured lines that an input names.
struct JobLines {
    std::string file;  // its name, joined to the folder of the input
    LineFormat format = LineFormat::Csv;
    bool is_there = false;
    std::string text;
    std::vector<LineFeature> features;  // without the rows that have an error
};

struct Job {
    std::string file;  // the input as findings name it
    InputForm form = InputForm::Named;
    std::string text;
    /// What the input says, for either form in the terms of the named one, with the places of its
    /// words; defaults where something could not be used.
    NamedInput input;
    std::optional<InputFile> old;  // the document of an old input
    std::optional<JobLines> lines;
    Findings findings;

    bool usable() const { return !findings.has_errors(); }

    /// False when there is an error at the word of a path.
    bool IsSound(std::string_view path) const;

    /// True when constants are varied to match measured lines.
    bool is_fit() const;
};

}  // namespace kiv
