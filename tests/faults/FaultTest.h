// Runs of every kind, in this process and in one of their own, and what they leave.
#pragma once

#include <sys/types.h>

#include <functional>
#include <initializer_list>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "support/InputText.h"
#include "support/KivTest.h"

/// A small run: an input file, an assignment file and what the user types.
struct RunKind {
    const char* Name;
    InputText Input;
    std::string Asn;
    std::string Old_Input;  // in place of Input, when not empty
    std::string Answers;
};
inline void PrintTo(const RunKind& kind, std::ostream* out) { *out << kind.Name; }

class FaultTest : public KivTest {
  public:
    /// One calculation, real and complex; fits of one set, of two sets and of combination
    /// differences; a scan; an old input file whose assignment file is converted.
    static std::vector<RunKind> AllKinds();
    static RunKind KindOf(const std::string& name);

    using Files = std::map<std::string, std::string>;  // name and content

    /// How a process ended (as of waitpid) and what it printed.
    struct Ended {
        int Status = -1;
        std::string Console;
    };

    using KivTest::ReadText;

  protected:
    /// Writes the input file run.in, the assignment file and earlier results.
    static void Prepare(const RunKind& kind);

    /// Runs run.in in this process.
    static int RunHere(const RunKind& kind, std::string& console);

    /// What the process that runs run.in does, from the start of the program to its exit status.
    static int RunAsProgram(const RunKind& kind);

    /// Runs run.in in a process of its own, after `start` in that process. Its standard output is a
    /// pipe to this one.
    static Ended RunApart(const RunKind& kind, const std::function<void()>& start);

    /// Results of a run without faults.
    static Files Whole(const RunKind& kind);

    /// All files of the working folder but the logs.
    static Files Results();

    /// Names of the results that are not as in `files`, or are only here or there.
    static std::string Changes(const Files& files);

    /// Every result is that of `before` or that of `after`, and there is no other file but one
    /// whose name ends as one of `spare`.
    static void ExpectWhole(const Files& before, const Files& after,
                            std::initializer_list<const char*> spare = {});
};
