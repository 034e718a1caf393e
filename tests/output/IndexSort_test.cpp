// The line sort against std::stable_sort, the permutations against their definition.
#include "output/IndexSort.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "run/KivArray.h"
#include "support/KivTest.h"

namespace {

using Keys = std::vector<double>;
using Index = std::vector<std::int32_t>;

Index SortedIndex(const Keys& keys) {
    Index index(keys.size());
    EXPECT_EQ(KivIndexSort(static_cast<std::int32_t>(keys.size()), {keys.data()}, {index.data()}),
              1);
    return index;
}

Index StableIndex(const Keys& keys) {
    Index index(keys.size());
    std::iota(index.begin(), index.end(), 1);
    std::stable_sort(index.begin(), index.end(),
                     [&keys](int a, int b) { return keys[a - 1] < keys[b - 1]; });
    return index;
}

Keys Uniform(std::size_t n, double low, double high) {
    std::mt19937_64 random(n);
    std::uniform_real_distribution<double> key(low, high);
    Keys keys(n);
    for (double& k : keys) k = key(random);
    return keys;
}

Keys AnyBits(std::size_t n) {
    std::mt19937_64 random(n + 1);
    Keys keys;
    while (keys.size() < n) {
        const auto key = std::bit_cast<double>(random());
        if (!std::isnan(key)) keys.push_back(key);
    }
    return keys;
}

Keys OfFew(std::size_t n, const Keys& values) {
    std::mt19937_64 random(n + 2);
    Keys keys(n);
    for (double& k : keys) k = values[random() % values.size()];
    return keys;
}

class KivIndexSortTest : public KivTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(KivIndexSortTest, AgreesWithAStableSort) {
    const std::size_t n = GetParam();
    const double inf = std::numeric_limits<double>::infinity();
    Keys ascending = Uniform(n, 0.0, 1e6);
    std::sort(ascending.begin(), ascending.end());
    for (const Keys& keys :
         {Uniform(n, 0.0, 1e6), Uniform(n, -1e3, 1e3), AnyBits(n), OfFew(n, {0.0, -0.0}),
          OfFew(n, {5.0}), OfFew(n, {-inf, -1.0, -0.0, 0.0, 5e-324, 1.0, inf}), ascending}) {
        const Index expected = StableIndex(keys);
        EXPECT_EQ(SortedIndex(keys), expected);
        for (int granted : {0, 1}) {
            ArrRefuse(granted);
            EXPECT_EQ(SortedIndex(keys), expected) << "with " << granted << " requests granted";
            ArrRefuse(-1);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, KivIndexSortTest, testing::Values(0, 1, 2, 3, 255, 256, 257, 5000),
                         testing::PrintToStringParamName());

TEST_F(KivIndexSortTest, KeepsEveryLineWhenKeysAreNotNumbers) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (std::size_t n : {7u, 3000u}) {
        Index index = SortedIndex(OfFew(n, {nan, -nan, 1.0, 2.0}));
        std::sort(index.begin(), index.end());
        for (std::size_t i = 0; i < n; ++i) EXPECT_EQ(index[i], static_cast<int>(i + 1));
    }
}

// A permutation of 1..n that is not its own inverse.
Index Shuffled(std::size_t n) {
    Index index(n);
    std::iota(index.begin(), index.end(), 1);
    std::shuffle(index.begin(), index.end(), std::mt19937(7));
    return index;
}

template <class T>
std::vector<T> Counting(std::size_t n) {
    std::vector<T> values(n);
    for (std::size_t i = 0; i < n; ++i) values[i] = static_cast<T>(i % 121);
    return values;
}

// new element n-k+1 = old element index[k], records of r values.
template <class T>
std::vector<T> Defined(const Index& index, const std::vector<T>& old, std::size_t r) {
    const std::size_t n = index.size();
    std::vector<T> permuted(old.size());
    for (std::size_t k = 1; k <= n; ++k) {
        for (std::size_t i = 0; i < r; ++i) {
            permuted[(n - k) * r + i] = old[(static_cast<std::size_t>(index[k - 1]) - 1) * r + i];
        }
    }
    return permuted;
}

TEST(Csi6sfdrsort, PermutesEveryKindOfArray) {
    for (std::size_t n : {0u, 1u, 2u, 64u, 65u, 1000u}) {
        for (int r : {0, 1, 3, 4, 5, 44}) {
            const std::size_t record = r > 0 ? static_cast<std::size_t>(r) : 1;
            const Index index = Shuffled(n);
            auto chr = Counting<char>(n);
            auto shrt = Counting<std::int16_t>(n);
            auto lng = Counting<std::int32_t>(n);
            auto six = Counting<std::int16_t>(6 * n);
            auto flt = Counting<float>(record * n);
            auto dbl = Counting<double>(record * n);
            const auto old_chr = chr;
            const auto old_shrt = shrt;
            const auto old_lng = lng;
            const auto old_six = six;
            const auto old_flt = flt;
            const auto old_dbl = dbl;
            ASSERT_EQ(csi6sfdrsort(static_cast<std::int32_t>(n), {index.data()}, {chr.data()},
                                   {shrt.data()}, {lng.data()}, {six.data()}, {flt.data()},
                                   {dbl.data()}, r),
                      1);
            EXPECT_EQ(chr, Defined(index, old_chr, 1));
            EXPECT_EQ(shrt, Defined(index, old_shrt, 1));
            EXPECT_EQ(lng, Defined(index, old_lng, 1));
            EXPECT_EQ(six, Defined(index, old_six, 6));
            EXPECT_EQ(flt, Defined(index, old_flt, record));
            EXPECT_EQ(dbl, Defined(index, old_dbl, record));
        }
    }
}

struct NoCoreCase {
    const char* Array;
    int Granted;  // requests let through before the refusal
};

class Csi6sfdrsortNoCore : public KivTest, public testing::WithParamInterface<NoCoreCase> {};

TEST_P(Csi6sfdrsortNoCore, NamesTheWorkspace) {
    const Index index = Shuffled(4);
    auto chr = Counting<char>(4);
    auto shrt = Counting<std::int16_t>(4);
    auto lng = Counting<std::int32_t>(4);
    auto six = Counting<std::int16_t>(24);
    auto flt = Counting<float>(4);
    auto dbl = Counting<double>(4);
    ArrRefuse(GetParam().Granted);
    testing::internal::CaptureStdout();
    EXPECT_EQ(csi6sfdrsort(4, {index.data()}, {chr.data()}, {shrt.data()}, {lng.data()},
                           {six.data()}, {flt.data()}, {dbl.data()}, 0),
              65535);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              std::string("csi6sfdrsort()/") + GetParam().Array + " - CORE ALLOCATION ERROR!\n");
}

constexpr NoCoreCase kNoCore[] = {{"cwksp", 0}, {"swksp", 1}, {"lwksp", 2},
                                  {"swksp", 3}, {"fwksp", 4}, {"dwksp", 5}};
INSTANTIATE_TEST_SUITE_P(, Csi6sfdrsortNoCore, testing::ValuesIn(kNoCore), [](const auto& c) {
    return std::string(c.param.Array) + std::to_string(c.param.Granted);
});

TEST_F(KivIndexSortTest, WideRecordsAskForOneRecordAndMarks) {
    const Index index = Shuffled(100);
    for (int granted : {0, 1}) {
        auto dbl = Counting<double>(100 * 44);
        ArrRefuse(granted);
        testing::internal::CaptureStdout();
        EXPECT_EQ(csi6sfdrsort(100, {index.data()}, {}, {}, {}, {}, {}, {dbl.data()}, 44), 65535);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "csi6sfdrsort()/dwksp - CORE ALLOCATION ERROR!\n");
        EXPECT_EQ(dbl, Counting<double>(100 * 44));
    }
}

}  // namespace
