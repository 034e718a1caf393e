#include "commands/Terminal.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "named/Text.h"
#include "system/TextFile.h"

namespace kiv {
namespace {

constexpr std::string_view kRed = "\x1b[1;31m", kMagenta = "\x1b[1;35m", kPlain = "\x1b[0m";
constexpr std::size_t kProgressWidth = 78;

bool WriteAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool IsTerminal(int fd) {
    const char* const kind = std::getenv("TERM");
    return isatty(fd) == 1 && kind && std::string_view(kind) != "dumb";
}

// The word of the severity in its colour.
std::string Colored(const Finding& finding) {
    std::string text = TextOf(finding);
    const std::string_view word = NameOf(finding.severity);
    const std::string mark = ": " + std::string(word) + ": ";
    const std::size_t at = text.find(mark, finding.file.size());
    if (at == std::string::npos) return text;
    const bool is_error = finding.severity == Severity::Error;
    text.insert(at + 2 + word.size(), kPlain);
    text.insert(at + 2, is_error ? kRed : kMagenta);
    return text;
}

}  // namespace

Terminal::Terminal(const Options& options)
    : quiet_(options.quiet),
      has_color_(!options.no_color && IsTerminal(STDERR_FILENO) && !std::getenv("NO_COLOR")),
      shows_progress_(!options.quiet && IsTerminal(STDERR_FILENO)) {}

Status Terminal::PutResult(std::string_view text) {
    errno = 0;
    if (WriteAll(STDOUT_FILENO, text)) return {};
    return Error{ErrorCode::CannotWrite, "cannot write to standard output: " + ReasonText(errno),
                 "standard output"};
}

// Where standard error does not take it there is nobody to tell.
void Terminal::Fail(std::string_view text) {
    WriteAll(STDERR_FILENO, "kiv: " + Printable(text) + "\n");
}

void Terminal::Note(std::string_view text) {
    if (!quiet_) WriteAll(STDERR_FILENO, Printable(text) + "\n");
}

void Terminal::Show(const Findings& findings) {
    if (quiet_) return;
    std::string text;
    for (const Finding& finding : findings) {
        text += (has_color_ ? Colored(finding) : TextOf(finding)) + "\n";
    }
    WriteAll(STDERR_FILENO, text);
}

void Terminal::Progress(const std::string& text) {
    if (!shows_progress_) return;
    std::string line = text.substr(0, kProgressWidth);
    const std::size_t width = line.size();
    if (width < progress_width_) line.resize(progress_width_, ' ');
    WriteAll(STDERR_FILENO, "\r" + line + (width == 0 ? "\r" : ""));
    progress_width_ = width;
}

}  // namespace kiv
