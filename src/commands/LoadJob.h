// Jobs read from the files of a command line.
#pragma once

#include <string>
#include <string_view>

#include "job/Job.h"
#include "kiv/error.h"

namespace kiv {

/// Reads the input `name` ("-": standard input) and the line file that it names, and checks both.
/// CannotRead when the input itself cannot be read; everything else is a finding.
Result<Job> LoadJob(const std::string& name);

/// A line file by itself.
struct LoadedLines {
    std::string file;
    LineFormat format = LineFormat::Csv;
    std::vector<LineFeature> features;
    Findings findings;
};

/// Reads the line file `name`. CannotRead.
Result<LoadedLines> LoadLines(const std::string& name, LineFormat format);

/// `name` as it is named inside `file`: joined to its folder.
std::string JoinedTo(const std::string& file, const std::string& name);

/// The name of a file without its folder and its last ending.
std::string StemOf(std::string_view file);

/// The folder of a file with the slash behind it, "" for none.
std::string FolderOf(std::string_view file);

}  // namespace kiv
