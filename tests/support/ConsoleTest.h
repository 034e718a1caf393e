// Fixture of tests that run input files, in this process or in one of their own.
#pragma once

#include <functional>
#include <initializer_list>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "console/Console.h"
#include "kiv/array.h"
#include "support/FolderTest.h"

namespace kiv {

/// A line in place of that `offset` lines below the first comment that contains `comment`.
struct Edit {
    std::string comment, line;
    int offset = 1;
};

/// A small run: an input file, an assignment file and what the user types.
struct RunKind {
    std::string name, input, lines, answers;
};
inline void PrintTo(const RunKind& kind, std::ostream* out) { *out << kind.name; }
inline std::string KindName(const testing::TestParamInfo<RunKind>& info) { return info.param.name; }

class ConsoleTest : public FolderTest {
  public:
    using Files = std::map<std::string, std::string>;  // name and content

    /// How a run in this process ended.
    struct Ran {
        int status;
        std::string console;
        std::vector<int> pauses;  // seconds
    };

    /// How a process ended (as of waitpid) and what it printed.
    struct Ended {
        int status = -1;
        std::string console;
    };

    /// The input file of two rigid rotors up to J = 1 in tests/runs/rigid_J1, edited. Its results
    /// are called "input", its measured lines "lines.asn"; levels and lines have closed forms.
    static std::string InputText(const std::vector<Edit>& edits = {});

    /// A file of a version 1 with the same names: it asks whether to convert the measured lines.
    static std::string OldInputText();

    /// `text` with the first of each `from` replaced.
    static std::string With(std::string text,
                            const std::vector<std::pair<std::string, std::string>>& changes);

    /// One calculation, real, complex and of one state; fits of one set, of two sets and of
    /// combination differences; a scan; an old input file whose assignment file is converted.
    static std::vector<RunKind> AllKinds();
    static RunKind KindOf(const std::string& name);

    /// Empties the working folder and writes input file, assignments and earlier results.
    static void Prepare(const RunKind& kind);

    /// Notes pauses in place of making them and answers with `answers`.
    static Surroundings Watched(const std::string& answers = "");
    static const std::vector<int>& Pauses();

    /// Runs an input file of the working folder.
    static Ran RunFile(const std::string& name = "input.in", const std::string& answers = "",
                       const Memory& memory = Memory());

    /// Writes input file and, if there are any, measured lines and runs them.
    static Ran RunText(const std::string& input, const std::string& lines = "");

    /// What the process of a run does, from the start of the program to its exit status.
    static int RunAsProgram(const RunKind& kind);

    /// The same in a process of its own, after `start` in that process. Its standard output is a
    /// pipe to this one.
    static Ended RunApart(
        const RunKind& kind, const std::function<void()>& start = [] {});

    static Files FilesIn(const std::filesystem::path& folder);

    /// All files of a folder but the logs.
    static Files Results(const std::string& folder = ".");

    /// Results of a run without faults.
    static Files Whole(const RunKind& kind);

    /// Every result is that of `before` or that of `after`, and there is no other file but one
    /// whose name ends as one of `spare`.
    static void ExpectWhole(const Files& before, const Files& after,
                            std::initializer_list<const char*> spare = {});

    static bool Has(const std::string& text, const std::string& part) {
        return text.find(part) != std::string::npos;
    }
};

}  // namespace kiv
