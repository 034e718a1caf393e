// Memory that is refused, request by request, through whole runs; and runs that are too large.
#include <algorithm>
#include <cstdlib>
#include <new>

#include "faults/FaultTest.h"
#include "run/KivArray.h"
#include "run/KivRecord.h"
#include "run/KivRun.h"
#include "run/KivServices.h"

namespace {

long News_Left = -1;  // requests of the standard library granted; negative: all

void* TakeNew(std::size_t size) {
    if (News_Left == 0) throw std::bad_alloc();
    if (News_Left > 0) --News_Left;
    void* const block = std::malloc(size > 0 ? size : 1);
    if (!block) throw std::bad_alloc();
    return block;
}

}  // namespace

void* operator new(std::size_t size) { return TakeNew(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace {

class RefusedMemory : public FaultTest, public testing::WithParamInterface<RunKind> {
  protected:
    // A routine and an array, or what an input file says that cannot be read.
    static bool HasMessage(const std::string& console) {
        const std::string all = console + ReadText("run.log");
        return all.find(" - CORE ALLOCATION ERROR!\n") != std::string::npos ||
               all.find("FAILED TO OPEN KIV INPUT FILE [run.in] FOR READING!\n") !=
                   std::string::npos;
    }

    // The countdown is on only inside the program.
    static int RunWithFewNews(long granted, std::string& console) {
        char name[] = "kiv", input[] = "run.in";
        char* argv[] = {name, input, nullptr};
        Services.AskChar = [] { return int{'y'}; };
        Services.AskNumber = [](double& value) {
            value = 10.0;
            return true;
        };
        testing::internal::CaptureStdout();
        News_Left = granted;
        const int status = KivMain(2, argv);
        News_Left = -1;
        console = testing::internal::GetCapturedStdout();
        return status;
    }
};

// Every refusal ends the run in order, with its message, without a leak, and with every file as it
// was or whole. A scan makes the same requests 360 times, so of those only some are refused.
TEST_P(RefusedMemory, EndsTheRunInOrder) {
    const RunKind& kind = GetParam();
    const Files after = Whole(kind);
    Prepare(kind);
    const Files before = Results();
    const bool is_scan = kind.Name == std::string("scan");
    long refused = 0, sweeps = 0;
    for (;; refused += is_scan && refused > 150 ? 1777 : 1, ++sweeps) {
        ASSERT_LT(refused, 1000000);
        Prepare(kind);
        std::string console;
        ArrRefuse(refused);
        const int status = RunHere(kind, console);
        ArrRefuse(-1);
        EXPECT_EQ(ArrHeld(), 0) << refused;
        EXPECT_EQ(Kiv.Log_Fp, nullptr);
        ExpectWhole(before, after, {"KivScan.txt"});
        if (!HasMessage(console) && Waits().empty()) break;
        EXPECT_TRUE(HasMessage(console)) << console;
        EXPECT_EQ(Waits().size(), 1u);
        EXPECT_EQ(status, console.find("ERROR ON INPUT FILE") != std::string::npos ? 1 : 0);
        ASSERT_FALSE(HasFailure()) << "request " << refused;
    }
    EXPECT_GT(sweeps, 40);
    RecordProperty("refused", static_cast<int>(sweeps));
}

// The standard library reports by an exception; it may not leave the program.
TEST_P(RefusedMemory, OfNamesEndsTheRunInOrder) {
    const RunKind& kind = GetParam();
    if (kind.Name == std::string("scan")) GTEST_SKIP() << "asks for what a fit asks for";
    const Files after = Whole(kind);
    Prepare(kind);
    const Files before = Results();
    long refused = 0;
    for (;; ++refused) {
        ASSERT_LT(refused, 1000);
        Prepare(kind);
        Kiv = KivRecord{};
        Waits().clear();
        Waits().reserve(8);  // noting a pause takes no memory then
        std::string console;
        const int status = RunWithFewNews(refused, console);
        ExpectWhole(before, after, {"TEMP.TMP"});
        EXPECT_EQ(ArrHeld(), 0) << refused;
        if (Waits().empty()) break;
        EXPECT_EQ(status, 0);
        EXPECT_NE(console.find("KivMain()/name - CORE ALLOCATION ERROR!\n"), std::string::npos);
        ASSERT_FALSE(HasFailure()) << "request " << refused;
    }
    EXPECT_GT(refused, 2);
    RecordProperty("refused", static_cast<int>(refused));
}

INSTANTIATE_TEST_SUITE_P(, RefusedMemory, testing::ValuesIn(FaultTest::AllKinds()),
                         [](const auto& c) { return std::string(c.param.Name); });

class LargeRun : public FaultTest {};

// Systems promise memory they do not have: the sum counts, not the single request.
TEST_F(LargeRun, IsRefusedBeforeTheMachineIsFull) {
    RunKind kind = KindOf("complex");
    kind.Input.Range = "100 2 0.0";  // vectors of 4 x 11 MB
    Prepare(kind);
    const Files before = Results();
    ArrLimit(std::int64_t{40} << 20);
    std::string console;
    EXPECT_EQ(RunHere(kind, console), 0);
    ArrLimit(-1);
    EXPECT_EQ(Waits(), std::vector<int>{3});
    EXPECT_NE(console.find("KivCoreAlloc()/HamErgImag_Vector - CORE ALLOCATION ERROR!\n"),
              std::string::npos)
        << console;
    ExpectWhole(before, {});
    EXPECT_EQ(ArrHeld(), 0);
}

TEST_F(LargeRun, BeyondEveryMachineIsRefusedAtOnce) {
    for (const char* range : {"20000 2 0.0", "40000 2 0.0", "46340 2 0.0", "2147483647 2 0.0"}) {
        RunKind kind = KindOf("real");
        kind.Input.Range = range;
        kind.Asn = "";
        Prepare(kind);
        std::string console;
        EXPECT_EQ(RunHere(kind, console), 0);
        EXPECT_NE(console.find("KivCoreAlloc()/"), std::string::npos) << console;
        EXPECT_NE(console.find(" - CORE ALLOCATION ERROR!\n"), std::string::npos) << console;
    }
}

TEST_F(LargeRun, FreedAndResizedArraysGiveBack) {
    ArrLimit(ArrHeld() + 100000);
    KivArray<double> a, b;
    ASSERT_EQ(ArrAlloc(a, 10000), 1);
    EXPECT_EQ(ArrAlloc(b, 10000), -1);
    ASSERT_EQ(ArrRealloc(a, 12000), 1) << "the old block counts for the new one";
    ASSERT_EQ(ArrRealloc(a, 1000), 1);
    EXPECT_EQ(ArrAlloc(b, 10000), 1);
    ArrFree(b);
    EXPECT_EQ(ArrAlloc(b, 11000), 1);
    ArrLimit(-1);
}

// Large blocks have mappings of their own: into one, inside it, to a larger one, and back.
TEST_F(LargeRun, ArraysKeepTheirContentAtEverySize) {
    const std::int64_t held = ArrHeld();
    KivArray<double> a;
    std::int64_t kept = 0;
    for (std::int64_t n : {1000, 600000, 2000000, 12000000, 700000, 100, 600000}) {
        ASSERT_EQ(kept == 0 ? ArrAlloc(a, n) : ArrRealloc(a, n), 1);
        EXPECT_EQ(ArrHeld() - held, 8 * n);
        kept = std::min(kept, n);
        for (std::int64_t i = 0; i < kept; ++i) ASSERT_EQ(a[i], i) << n;
        for (; kept < n; ++kept) a[kept] = static_cast<double>(kept);
    }
    ASSERT_EQ(ArrAlloc(a, 1000000), 1);
    EXPECT_TRUE(std::all_of(a.Data(), a.Data() + 1000000, [](double x) { return x == 0.0; }));
    ArrFree(a);
    EXPECT_EQ(ArrHeld(), held);
}

}  // namespace
