// The line sort against std::stable_sort, the permutations against their definition.
#include "output/IndexSort.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "run/KivArray.h"
#include "support/KivTest.h"

namespace {

using Keys = std::vector<double>;
using Index = std::vector<std::int32_t>;

class IndexSort : public KivTest {};

Index SortedIndex(const Keys& keys) {
    Index index(keys.size());
    KivIndexSort(static_cast<std::int32_t>(keys.size()), {keys.data()}, {index.data()});
    return index;
}

Index Counted(std::size_t n) {
    Index index(n);
    std::iota(index.begin(), index.end(), 1);
    return index;
}

TEST_F(IndexSort, AgreesWithAStableSort) {
    const double inf = std::numeric_limits<double>::infinity();
    std::mt19937_64 random(1);
    for (std::size_t n : {0, 1, 2, 3, 255, 256, 257, 5000}) {
        const auto one_of = [&](const Keys& values) {
            Keys keys(n);
            for (double& key : keys) key = values[random() % values.size()];
            return keys;
        };
        Keys uniform(n), any_bits(n), one_less(n, 5.0);
        for (double& key : uniform) key = std::uniform_real_distribution(-1e3, 1e3)(random);
        for (double& key : any_bits) key = std::bit_cast<double>(random() & ~(1ULL << 62));
        if (n > 0) one_less.back() = 4.0;
        for (const Keys& keys :
             {uniform, any_bits, one_less, one_of({-inf, -1.0, -0.0, 0.0, 5e-324, 1.0, inf})}) {
            Index expected = Counted(n);
            std::stable_sort(expected.begin(), expected.end(),
                             [&keys](int a, int b) { return keys[a - 1] < keys[b - 1]; });
            for (int granted : {-1, 0, 1}) {  // requests for memory; -1: all
                ArrRefuse(granted);
                EXPECT_EQ(SortedIndex(keys), expected) << n << " with " << granted << " requests";
            }
            ArrRefuse(-1);
        }
        Index lines = SortedIndex(one_of({inf - inf, -(inf - inf), 1.0, 2.0}));
        std::sort(lines.begin(), lines.end());
        EXPECT_EQ(lines, Counted(n)) << "keys that are not numbers lose no line";
    }
}

// One array of every kind, the wide ones with `r` values a line.
struct Arrays {
    std::vector<char> Chr;
    std::vector<std::int16_t> Shrt;
    std::vector<std::int32_t> Lng;
    std::vector<std::int16_t> Six;
    std::vector<float> Flt;
    std::vector<double> Dbl;

    Arrays(std::size_t n, std::size_t r)
        : Chr(n), Shrt(n), Lng(n), Six(6 * n), Flt(r * n), Dbl(r * n) {
        const auto count = [](auto&... all) { (std::iota(all.begin(), all.end(), 0), ...); };
        count(Chr, Shrt, Lng, Six, Flt, Dbl);
    }

    int Permute(const Index& index, int r) {
        return csi6sfdrsort(static_cast<std::int32_t>(index.size()), {index.data()}, {Chr.data()},
                            {Shrt.data()}, {Lng.data()}, {Six.data()}, {Flt.data()}, {Dbl.data()},
                            r);
    }
};

// new element n-k+1 = old element index[k], records of r values.
template <class T>
std::vector<T> Defined(const Index& index, const std::vector<T>& old, std::size_t r) {
    std::vector<T> permuted;
    for (std::size_t k = index.size(); k-- > 0;) {
        const auto record = old.begin() + (index[k] - 1) * static_cast<std::ptrdiff_t>(r);
        permuted.insert(permuted.end(), record, record + static_cast<std::ptrdiff_t>(r));
    }
    return permuted;
}

TEST_F(IndexSort, PermutesEveryKindOfArray) {
    for (std::size_t n : {0, 1, 2, 64, 65, 1000}) {
        Index index = Counted(n);
        std::shuffle(index.begin(), index.end(), std::mt19937(7));
        for (int r : {0, 1, 3, 4, 5, 44}) {
            const auto record = static_cast<std::size_t>(std::max(r, 1));
            const Arrays old(n, record);
            Arrays now(n, record);
            ASSERT_EQ(now.Permute(index, r), 1);
            EXPECT_TRUE(now.Chr == Defined(index, old.Chr, 1));
            EXPECT_TRUE(now.Shrt == Defined(index, old.Shrt, 1));
            EXPECT_TRUE(now.Lng == Defined(index, old.Lng, 1));
            EXPECT_TRUE(now.Six == Defined(index, old.Six, 6));
            EXPECT_TRUE(now.Flt == Defined(index, old.Flt, record));
            EXPECT_TRUE(now.Dbl == Defined(index, old.Dbl, record));
        }
    }
}

TEST_F(IndexSort, RefusedWorkspacesAreNamed) {
    const std::string first = "cslsffdd";  // wide records ask for one record and for marks
    for (std::size_t granted = 0; granted < first.size(); ++granted) {
        Arrays arrays(100, 44);
        ArrRefuse(static_cast<std::int64_t>(granted));
        testing::internal::CaptureStdout();
        EXPECT_EQ(arrays.Permute(Counted(100), 44), 65535);
        EXPECT_EQ(
            testing::internal::GetCapturedStdout(),
            std::string("csi6sfdrsort()/") + first[granted] + "wksp - CORE ALLOCATION ERROR!\n");
        EXPECT_EQ(arrays.Dbl, Arrays(100, 44).Dbl);
    }
}

}  // namespace
