// What a command says: results on standard output, everything else on standard error.
#pragma once

#include <string>
#include <string_view>

#include "kiv/error.h"
#include "named/Finding.h"

namespace kiv {

class Terminal {
  public:
    struct Options {
        bool quiet = false;     // nothing on standard error but why there is no result
        bool no_color = false;  // also NO_COLOR and TERM=dumb
    };

    explicit Terminal(const Options& options);

    /// Writes results. CannotWrite tells why they did not arrive; a closed pipe ends the program.
    Status PutResult(std::string_view text);

    /// "kiv: <text>" on standard error, whatever the options.
    void Fail(std::string_view text);

    /// A line on standard error, unless it is quiet.
    void Note(std::string_view text);

    /// One line a finding on standard error, unless it is quiet.
    void Show(const Findings& findings);

    /// True when a person looks at standard error: progress may be shown.
    bool shows_progress() const { return shows_progress_; }

    /// Shows one line of progress in place of the last one; an empty text removes it.
    void Progress(const std::string& text);

  private:
    bool quiet_;
    bool has_color_;
    bool shows_progress_;
    std::size_t progress_width_ = 0;
};

}  // namespace kiv
