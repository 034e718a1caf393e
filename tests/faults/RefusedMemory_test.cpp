// Memory that is refused, request by request, through whole runs.
#include <cstdlib>
#include <new>
#include <set>
#include <sstream>

#include "console/Run.h"
#include "support/ConsoleTest.h"

namespace {

long news_left = -1;  // requests of the standard library granted; negative: all

// Out of line, so that g++ does not take operator new for malloc and warns of free.
[[gnu::noinline]] void* TakeNew(std::size_t size) {
    void* const block = news_left == 0 ? nullptr : std::malloc(size > 0 ? size : 1);
    if (!block) throw std::bad_alloc();
    if (news_left > 0) --news_left;
    return block;
}
[[gnu::noinline]] void GiveBack(void* block) { std::free(block); }

}  // namespace

void* operator new(std::size_t size) { return TakeNew(size); }
void operator delete(void* block) noexcept { GiveBack(block); }
void operator delete(void* block, std::size_t) noexcept { GiveBack(block); }

namespace kiv {
namespace {

class RefusedMemory : public ConsoleTest, public testing::WithParamInterface<RunKind> {
  protected:
    // The routine and array of the message, or of an input file that cannot be read.
    static std::string RefusedIn(const std::string& told) {
        const std::size_t end = told.find(" - CORE ALLOCATION ERROR!\n");
        if (end == std::string::npos) {
            return Has(told, "FAILED TO OPEN KIV INPUT FILE [input.in] FOR READING!\n") ? "input"
                                                                                        : "";
        }
        const std::size_t line = told.find_last_of("?\n", end) + 1;  // or behind a question
        return told.substr(line, end - line);
    }

    // Those of tests/data/console/refusals.txt that a kind names: "routine()/array: kinds", or all.
    static std::set<std::string> ArraysOf(const std::string& kind) {
        std::set<std::string> arrays;
        std::istringstream text(ReadText(KIV_TEST_DATA "/console/refusals.txt"));
        for (std::string line; std::getline(text, line);) {
            if (Has(line + " ", " " + kind + " ") || Has(line, ": all"))
                arrays.insert(line.substr(0, line.find(": ")));
        }
        return arrays;
    }
};

// Every refusal ends the run in order, with its message, without a leak, and with every file as it
// was or whole. A scan makes the same requests 360 times, so of those only some are refused.
TEST_P(RefusedMemory, EndsTheRunInOrder) {
    const RunKind& kind = GetParam();
    const Files after = Whole(kind);
    Prepare(kind);
    const Files before = Results();
    const bool is_scan = kind.name == "scan";
    std::set<std::string> arrays;
    for (long granted = 0;; granted += is_scan && granted > 150 ? 1777 : 1) {
        ASSERT_LT(granted, 1000000);
        Prepare(kind);
        Memory memory;
        memory.RefuseAfter(granted);
        const Ran ran = RunFile("input.in", kind.answers, memory);
        EXPECT_EQ(memory.held(), 0) << granted;
        ExpectWhole(before, after, {"KivScan.txt"});
        const std::string array = RefusedIn(ran.console + ReadText("input.log"));
        if (array.empty() && ran.pauses.empty()) break;
        arrays.insert(array);
        EXPECT_EQ(ran.pauses.size(), 1u);
        EXPECT_EQ(ran.status, Has(ran.console, "ERROR ON INPUT FILE") ? 1 : 0);
        ASSERT_FALSE(HasFailure()) << "request " << granted;
    }
    const std::set<std::string> all = ArraysOf(is_scan ? "fit" : kind.name);
    if (is_scan) arrays.insert(all.begin(), all.end());
    EXPECT_EQ(arrays, all);
}

// The standard library reports by an exception; it may not leave the run.
TEST_P(RefusedMemory, OfTheStandardLibraryEndsTheRunInOrder) {
    const RunKind& kind = GetParam();
    const Files after = Whole(kind);
    Prepare(kind);
    const Files before = Results();
    long granted = 0;
    for (;; granted += kind.name == "scan" ? 37 : 1) {
        ASSERT_LT(granted, 1000000);
        Prepare(kind);
        const Memory memory;
        const Surroundings surroundings = Watched(kind.answers);
        const std::string name = "input.in";
        testing::internal::CaptureStdout();
        news_left = granted;  // only inside the run
        const int status = RunInputFile(name, surroundings, memory);
        news_left = -1;
        const std::string console = testing::internal::GetCapturedStdout();
        ExpectWhole(before, after, {"TEMP.TMP", "KivScan.txt"});
        EXPECT_EQ(memory.held(), 0) << granted;
        if (Pauses().empty()) break;
        EXPECT_EQ(status, 0);
        EXPECT_NE(RefusedIn(console + ReadText("input.log")), "") << console;
        ASSERT_FALSE(HasFailure()) << "request " << granted;
    }
    EXPECT_GT(granted, 2);
}

INSTANTIATE_TEST_SUITE_P(, RefusedMemory, testing::ValuesIn(ConsoleTest::AllKinds()), KindName);

}  // namespace
}  // namespace kiv
