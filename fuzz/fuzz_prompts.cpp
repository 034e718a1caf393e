// The prompts on standard input and the conversion of the assignment file of an old run: the first
// line of the data is what the user types, the rest is the file.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "FuzzSupport.h"
#include "console/AssignmentConversion.h"

namespace kiv {
namespace {

constexpr char kName[] = "old.asn";

void Write(std::string_view text) {
    const int fd = open(kName, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    Require(fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                close(fd) == 0,
            "assignment file");
}

bool Holds(std::string_view text) {
    std::string got(text.size() + 1, '\0');
    const int fd = open(kName, O_RDONLY);
    Require(fd >= 0, "assignment file is there");
    const ssize_t size = read(fd, got.data(), got.size());
    close(fd);
    return size == static_cast<ssize_t>(text.size()) && got.compare(0, text.size(), text) == 0;
}

void Type(std::string_view answer) {
    static MemFile keys("keys");
    keys.Set(answer);
    Require(std::freopen(keys.name().c_str(), "r", stdin) != nullptr, "standard input");
}

}  // namespace
}  // namespace kiv

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kiv;
    BeginFuzz();
    Surroundings surroundings = Surroundings::Real();
    surroundings.wait = Silent().wait;
    const std::string_view all(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(all.find('\n'), all.size());
    Type(all.substr(0, end));
    if (size % 2 == 0) surroundings.ask_char();  // the question that comes before in the same input
    const std::string_view old = all.substr(end);
    Write(old);
    Console console(surroundings);
    if (!ConvertAssignments(console, kName, SmallMemory())) {
        Require(Holds(old), "a file that was not converted is unchanged");
    }
    return 0;
}
