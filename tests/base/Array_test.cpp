// Arrays and the accounts that they count for.
#include "kiv/array.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <optional>
#include <thread>

// A request that no machine can grant is answered, not ended.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char* __tsan_default_options() { return "allocator_may_return_null=1"; }

namespace kiv {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

TEST(Memory, RefusesWhatWouldExceedItsLimit) {
    Memory memory(100000);
    const Memory same = memory;
    Array<double> a, b;
    ASSERT_TRUE(a.Take(memory, 10000));
    EXPECT_FALSE(b.Take(same, 2501));
    EXPECT_TRUE(b.is_null());
    EXPECT_EQ(same.held(), 80000);
    ASSERT_TRUE(a.Resize(memory, 12500)) << "the old block counts for the new one";
    ASSERT_TRUE(a.Resize(memory, 1500));
    ASSERT_TRUE(b.Take(same, 11000));
    EXPECT_FALSE(a.Resize(memory, 1501));
    EXPECT_TRUE(a.is_null());
    EXPECT_EQ(memory.held(), 88000);
    EXPECT_TRUE(b.Take(memory, 12500)) << "what it held is given back first";
    b.Clear();
    EXPECT_EQ(memory.held(), 0);
    EXPECT_FALSE(b.Take(Memory(-5), 0));
}

TEST(Memory, CountsWhatItDoesNotClear) {
    Memory memory(8000);
    Array<double> a, b;
    ASSERT_TRUE(a.FitUnset(memory, 600));
    std::fill(a.begin(), a.end(), 1.0);
    ASSERT_TRUE(a.FitUnset(memory, 500));
    EXPECT_EQ(a.size(), 600u);
    EXPECT_EQ(a[599], 1.0) << "an array that is large enough stays as it is";
    EXPECT_FALSE(b.TakeUnset(memory, 401));
    EXPECT_TRUE(b.is_null());
    ASSERT_TRUE(b.TakeUnset(memory, 400));
    EXPECT_EQ(memory.held(), 8000);
    EXPECT_FALSE(a.FitUnset(memory, 601)) << "of which 600 are given back first";
    EXPECT_EQ(memory.held(), 3200);
}

TEST(Memory, RefusesWhatCannotBeCountedOrGranted) {
    Memory memory(kMax);
    Array<double> a;
    Array<char> huge;
    Table<double> t;
    for (const std::int64_t count : {kMax, kMax / 8 + 1, kMax / 4}) {
        EXPECT_FALSE(a.Take(memory, count));
        ASSERT_TRUE(a.Take(memory, 3));
        EXPECT_FALSE(a.Resize(memory, count));
        ASSERT_TRUE(t.Take(memory, 2, 3));
        EXPECT_FALSE(t.Take(memory, count, 2));
        EXPECT_EQ(t.rows() + t.cols(), 0u);
    }
    EXPECT_FALSE(t.Take(memory, -1, -1));
    EXPECT_FALSE(huge.Take(memory, kMax));
    ASSERT_TRUE(huge.Take(memory, 3));
    EXPECT_FALSE(huge.Resize(memory, kMax));
    EXPECT_EQ(memory.held(), 0) << "of an allocation that failed";
}

TEST(Memory, RefusesAfterTheGrantedRequests) {
    Memory memory(kMax);
    Array<int> a, b, c;
    memory.RefuseAfter(2);
    ASSERT_TRUE(a.Fit(memory, 10));
    EXPECT_TRUE(a.Fit(memory, 10)) << "no request";
    EXPECT_TRUE(b.Take(memory, 10));
    EXPECT_FALSE(c.Take(memory, 10));
    EXPECT_FALSE(b.Resize(memory, 5));
    EXPECT_FALSE(a.Fit(memory, 11));
    EXPECT_EQ(memory.held(), 0);
    memory.RefuseAfter(-1);
    EXPECT_TRUE(c.Take(memory, 10));
}

// Large blocks have mappings of their own: into one, inside it, to a larger one, and back.
TEST(Array, KeepsItsContentAtEverySize) {
    Memory memory;
    Array<double> a;
    std::int64_t kept = 0;
    for (const std::int64_t n : {1000, 600000, 2000000, 12000000, 700000, 100, 600000}) {
        ASSERT_TRUE(a.Resize(memory, n));
        EXPECT_EQ(memory.held(), 8 * n);
        kept = std::min(kept, n);
        for (std::int64_t i = 0; i < kept; ++i) ASSERT_EQ(a[i], static_cast<double>(i)) << n;
        for (; kept < n; ++kept) a[kept] = static_cast<double>(kept);
    }
    ASSERT_TRUE(a.Fit(memory, 500000));
    EXPECT_EQ(a[499999], 499999.0);
    ASSERT_TRUE(a.Fit(memory, 1000000));
    EXPECT_TRUE(std::all_of(a.begin(), a.end(), [](double x) { return x == 0.0; }));
    ASSERT_TRUE(a.Take(memory, 0));
    EXPECT_FALSE(a.is_null()) << "an empty array is no refusal";
}

TEST(Array, OutlivesItsAccountAndMoves) {
    std::optional<Memory> memory(1000);
    const Memory same = *memory;
    Array<int> a, c;
    ASSERT_TRUE(a.Take(*memory, 100));
    ASSERT_TRUE(c.Take(*memory, 50));
    memory.reset();
    a[99] = 7;
    Array<int> b = std::move(a);
    EXPECT_EQ(b[99], 7);
    EXPECT_EQ(same.held(), 600);
    c = std::move(b);
    EXPECT_EQ(c.end() - c.begin(), 100);
    EXPECT_EQ(c[99], 7);
    b.Clear();
    EXPECT_EQ(same.held(), 400);
    c.Clear();
    EXPECT_EQ(same.held(), 0);
}

// The limit leaves room for one block at a time, and a countdown grants exactly so many.
TEST(Memory, IsSharedByThreads) {
    Memory memory(1000);
    std::atomic<int> started{0}, inside{0}, together{0}, granted{0};
    const auto work = [&] {
        for (++started; started % 2 != 0;) std::this_thread::yield();
        for (int i = 0; i < 50000; ++i) {
            Array<char> a;
            if (!a.Take(memory, 600)) continue;
            if (++inside > 1) ++together;
            ++granted;
            --inside;
        }
    };
    for (int round = 0; round < 20; ++round) {
        granted = 0;
        memory.RefuseAfter(round < 5 ? -1 : 500);
        std::thread other(work);
        work();
        other.join();
        EXPECT_TRUE(round < 5 || granted == 500) << granted;
        EXPECT_EQ(memory.held(), 0);
    }
    EXPECT_EQ(together, 0);
}

}  // namespace
}  // namespace kiv
