// What the program needs of its process, whatever it was started with.
#pragma once

namespace kiv {

/// Opens closed standard streams to the null device: otherwise the next file that is opened takes
/// the place of standard output, and console lines would end up in it.
///
/// From now on SIGINT, SIGTERM and SIGHUP remove the temporary files and end the program as the
/// signal by itself does; a signal that is ignored stays so. SIGPIPE and SIGXFSZ are ignored: a
/// closed pipe or a file that may not grow is then a failed write like any other.
void PrepareProcess();

}  // namespace kiv
