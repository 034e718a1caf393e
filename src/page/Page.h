// The page of `kiv view`: one file that shows a calculated spectrum, offline, in any browser.
#pragma once

#include <string>
#include <vector>

#include "job/Calculation.h"
#include "job/Job.h"
#include "kiv/sink.h"
#include "page/PageLines.h"

namespace kiv {

struct PageContent {
    const Job& job;
    const Calculation& calculation;
    double zero = 0.0;       // energy of the lowest level of all
    bool has_moment = true;  // without one strengths are relative
    std::string input;       // name of the input
    std::string stem;        // of the names of what is saved
    std::string line_file;   // name under which measured lines are saved
    PageLines lines;
    std::vector<std::string> spectrum_names;
    std::vector<PageSpectrum> spectra;
};

/// Writes the page. Texts of the content stay texts: nothing in them is taken for markup, and only
/// the page's own script and style may act.
void WritePage(Sink& sink, const PageContent& content);

}  // namespace kiv
