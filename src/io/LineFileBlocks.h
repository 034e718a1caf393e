// The files of a list of lines in blocks, to be written side by side.
#pragma once

#include <memory>

#include "base/BlockFile.h"
#include "io/LineSorter.h"
#include "kiv/files.h"

namespace kiv {

/// The line set that WriteLineSet writes; what is passed must outlive it. Announces its size.
/// NoMemory.
Result<std::unique_ptr<BlockFile>> CutLineSet(Sink& sink, const LineSetHeader& header,
                                              LineSorter& sorter, const LineSource& source,
                                              int threads);

/// The text list that WriteLineList writes, of lines that are sorted. Announces its size and writes
/// its heading.
std::unique_ptr<BlockFile> CutLineList(Sink& sink, const LineSetHeader& header,
                                       const LineList& lines, const Array<double>& observed,
                                       const Levels& lower, const Memory& memory, int threads);

}  // namespace kiv
