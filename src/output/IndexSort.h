// Sorting of the line set: an index of ascending keys, and the permutation of per-line arrays.
#pragma once

#include <cstddef>
#include <cstdint>

/// A block of numbers addressed from 1, as the published sort routines do. Does not own it.
template <class T>
struct From1 {
    T* Ptr = nullptr;

    T& operator[](std::size_t i) const { return Ptr[i - 1]; }
    bool IsNull() const { return Ptr == nullptr; }
};

/// Fills index[1..n] so that key[index[1]] <= ... <= key[index[n]]; equal keys (0.0 and -0.0 are
/// equal) keep the order of their indices. Not-a-numbers go to the ends by their sign. Always 1:
/// without memory for the fast way a slower one in place is taken.
int KivIndexSort(std::int32_t n, From1<const double> key, From1<std::int32_t> index);

/// Result of csi6sfdrsort when it ran out of memory: -1 in 16 bits.
constexpr int kSortNoCore = 65535;

/// Brings every array that is not null into descending order of the key:
///
///     new element n-k+1 = old element index[k],  k = 1..n.
///
/// `sextuple` holds 6 values a line. `flt` and `dbl` hold records of r values a line, which move
/// as a whole; r = 0 means one value. Returns 1, or kSortNoCore with a message on the console;
/// arrays before the one that failed are then already permuted.
int csi6sfdrsort(std::int32_t n, From1<const std::int32_t> index, From1<char> chr,
                 From1<std::int16_t> shrt, From1<std::int32_t> lng, From1<std::int16_t> sextuple,
                 From1<float> flt, From1<double> dbl, int r);
