// Fixture of tests that run the program itself with a command, in a folder of their own.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "support/FolderTest.h"

namespace kiv {

class CommandTest : public FolderTest {
  public:
    using Files = std::map<std::string, std::string>;  // name and content

    /// How the program ended: exit status, 128 + n after signal n, and what it said.
    struct Ended {
        int status = -1;
        std::string out, err;
    };

    /// Runs "kiv <words>", as a shell reads them; `before` stands before it, as "ulimit -f 4;".
    static Ended Kiv(const std::string& words, const std::string& before = "");

    /// Files of the working folder.
    static Files AllFiles();

    /// The codes of the findings among some lines, each with its line: "decimal-comma:4".
    static std::vector<std::string> CodesOf(const std::string& lines);

    /// A small named input: a rigid rotor with a fit of A, B, C to lines.csv, which it writes, too.
    static std::string WriteFit();

    static bool Has(const std::string& text, const std::string& part) {
        return text.find(part) != std::string::npos;
    }
};

}  // namespace kiv
