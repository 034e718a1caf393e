// Parts that are shared among threads.
#include "kiv/threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#ifdef __linux__
#include <sched.h>
#endif

namespace kiv {
namespace {

// One pool for runs of fewer, as many and more parts than threads.
TEST(Threads, DoEveryPartOnceOnThreadsInRange) {
    for (const int num : {-1, 1, 2, 3, 7}) {
        Threads threads(num);
        EXPECT_EQ(threads.num(), std::max(1, num));
        for (const int parts : {0, 1, 2, 5, 7, 1000, 3}) {
            std::vector<std::atomic<int>> times(static_cast<std::size_t>(parts));
            std::vector<std::atomic<int>> at_once(static_cast<std::size_t>(threads.num()));
            std::atomic<bool> is_apart = true;
            threads.Share(parts, [&](int part, int thread) {
                ASSERT_TRUE(thread >= 0 && thread < threads.num());
                auto& mine = at_once[static_cast<std::size_t>(thread)];
                if (++mine != 1) is_apart = false;
                ++times[static_cast<std::size_t>(part)];
                --mine;
            });
            EXPECT_TRUE(is_apart) << "two parts had one number of a thread at the same time";
            for (const auto& count : times) EXPECT_EQ(count, 1) << num << " " << parts;
        }
    }
}

TEST(Threads, CallerIsThreadZeroAndAloneWhereThereIsOne) {
    const auto caller = std::this_thread::get_id();
    Threads two(2);
    std::atomic<bool> is_right = true;
    two.Share(100, [&](int, int thread) {
        if ((std::this_thread::get_id() == caller) != (thread == 0)) is_right = false;
    });
    EXPECT_TRUE(is_right);
    std::vector<int> order;
    Threads(1).Share(4, [&](int part, int) { order.push_back(part); });
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3}));
}

// Each part waits for the one before it, which has started, so that none waits for ever.
TEST(Threads, PartsMayWaitForEarlierOnes) {
    for (const int num : {2, 3, 7}) {
        Threads threads(num);
        std::atomic<int> done = 0;
        threads.Share(500, [&](int part, int) {
            while (done.load() != part) std::this_thread::yield();
            ++done;
        });
        EXPECT_EQ(done, 500);
    }
}

TEST(Threads, ThrowWhatAPartThrowsAndGoOnAfterwards) {
    for (const int num : {1, 2, 5}) {
        Threads threads(num);
        for (int time = 0; time < 20; ++time) {
            std::atomic<int> started = 0;
            const auto run = [&] {
                threads.Share(100000, [&](int part, int) {
                    ++started;
                    if (part == 10) throw std::runtime_error("part 10");
                });
            };
            EXPECT_THROW(run(), std::runtime_error);
            EXPECT_GE(started, 11);
            EXPECT_TRUE(num > 1 || started == 11);
            std::atomic<int> sum = 0;
            threads.Share(100, [&](int part, int) { sum += part; });
            EXPECT_EQ(sum, 4950);
        }
    }
    Threads moved(3);
    moved.Share(9, [](int, int) {});
    Threads here(std::move(moved));
    std::atomic<int> count = 0;
    here.Share(9, [&](int, int) { ++count; });
    EXPECT_EQ(count, 9);
}

#ifdef __linux__
// Threads begin on other cores than the caller's, and may use it afterwards; where a process has
// one core alone, they begin on that.
TEST(Threads, MayUseTheCoresOfTheirCaller) {
    cpu_set_t all;
    ASSERT_EQ(sched_getaffinity(0, sizeof all, &all), 0);
    cpu_set_t one;
    CPU_ZERO(&one);
    for (int core = 0; CPU_COUNT(&one) == 0; ++core) {
        if (CPU_ISSET(core, &all)) CPU_SET(core, &one);
    }
    for (const cpu_set_t& allowed : {one, all}) {
        if (sched_setaffinity(0, sizeof allowed, &allowed) != 0) {
            GTEST_SKIP() << "no thread may choose its cores here";
        }
        Threads threads(3);
        std::atomic<int> done = 0;
        std::atomic<int> same = 0;
        threads.Share(3, [&](int, int) {  // a part for each, since all wait for the last one
            cpu_set_t mine;
            if (sched_getaffinity(0, sizeof mine, &mine) == 0 && CPU_EQUAL(&mine, &allowed)) ++same;
            for (++done; done < 3;) std::this_thread::yield();
        });
        EXPECT_EQ(same, 3);
    }
}
#endif

}  // namespace
}  // namespace kiv
