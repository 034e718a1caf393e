// The products of `kiv export`, one function each.
#pragma once

#include "commands/Request.h"
#include "commands/Terminal.h"
#include "job/Job.h"

namespace kiv {

/// What a product is made from: the job has no errors, its findings were shown. The product may
/// change it.
struct ExportTask {
    const Request& request;
    Terminal& terminal;
    Job& job;
};

// Each writes its product to standard output or the file of -o and returns the exit status.
int ExportCsv(const ExportTask& task);
int ExportCat(const ExportTask& task);
int ExportEgy(const ExportTask& task);
int ExportQ(const ExportTask& task);
int ExportLin(const ExportTask& task);
int ExportPar(const ExportTask& task);
int ExportSpectrum(const ExportTask& task);

}  // namespace kiv
