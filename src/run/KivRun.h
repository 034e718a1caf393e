// The program: its entry and the sequence of a run.
#pragma once

/// One run on the parameters in Kiv: memory, assignments, then fit, scan or one calculation, then
/// the line set and the next input file. Returns 1, or 0 when a stage failed.
int KivRun();

/// The program behind main(). argv[1] names the input file, or is --help or --version.
///
/// Returns the exit status: 1 when the input file could not be read, else 0, failed runs included.
int KivMain(int argc, char** argv);
