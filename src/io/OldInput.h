// Input files of versions 1 and 2.x.
#pragma once

#include "io/InputFile.h"
#include "io/RecordReader.h"

namespace kiv {

/// Reads what follows the version; values that these layouts imply are set. `in` gathers words for
/// 2.x and reads directly for version 1.
void ReadVersion2(InputFile& file, RecordReader& in);
void ReadVersion1(InputFile& file, RecordReader& in, InputListener& listener);

}  // namespace kiv
