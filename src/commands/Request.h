// What a command line asks for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kiv/error.h"

namespace kiv {

enum class CommandName : std::uint8_t {
    Check,
    Run,
    Report,
    Export,
    Import,
    Convert,
    New,
    View,
    Help,
    Version,
    Count
};

struct Request {
    CommandName command = CommandName::Help;
    std::vector<std::string> arguments;  // files, or the words of a command

    // Options of every command
    std::optional<std::string> output;  // -o; "-" is standard output
    bool quiet = false;
    bool verbose = false;
    bool json = false;
    bool no_color = false;
    std::string folder;          // -C: of every name on the command line
    std::optional<int> threads;  // none: see WorkspaceFor

    // Options of some
    std::optional<std::string> base;      // run --out
    std::optional<std::string> products;  // run --write
    bool in_place = false;
    bool force = false;
    std::optional<std::string> format;        // report --format
    std::optional<std::string> correlations;  // report --correlations
    std::vector<std::string> omit, add;       // report --omit, --add
    bool trials = false;

    // Options of export, as they were written
    std::optional<std::string> tag, q_value, min_lgint, range, temperatures, states;
    std::optional<std::string> shape, fwhm, from, to, step, measured;
    bool shift = false;

    // Options of view
    std::vector<std::string> spectra;
    std::optional<std::string> min_intensity, max_lines;
    bool watch = false;
};

/// How a command line is read.
///
/// BadChoice tells what is wrong and what was meant.
Result<Request> ReadCommandLine(int argc, const char* const* argv);

/// The exit statuses of commands.
enum ExitStatus : int {
    kDone = 0,
    kProgramFault = 1,
    kWrongUse = 2,
    kUnusableInput = 3,
    kNoResult = 4,
    kFileFailed = 5
};

}  // namespace kiv
