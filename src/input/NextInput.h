// Next-input file: the run record written back as an input file of the current version.
#pragma once

#include <cstdio>

#include "run/KivRecord.h"

/// Writes Out_Base + ".in", whose records KivReadInputParm reads back. An older file of that name
/// is replaced when the new one is complete and kept on every failure. Returns 1, or 0 when the
/// file cannot be created or written; the message is then already printed.
int KivWriteInputParm(const KivRecord& kiv);

/// Writes the block of `state`, with the origin behind that of the excited state.
void KivWriteHamParm(const KivRecord& kiv, int state, std::FILE* file);
