// Vector kernels that give the same digits on every processor.
//
// A kernel is written once, on Vec4 values whose lanes are independent, and compiled twice: for
// the baseline instruction set and for AVX2. Each lane does the same operations in the same order
// in both, without contraction, so the results are bitwise equal and the choice at run time is
// only one of speed.
#pragma once

#include <cstring>

// KIV_BASELINE leaves the second version out, so that the equality can be shown.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(KIV_BASELINE)
#define KIV_HAVE_AVX2 1
#define KIV_TARGET_AVX2 __attribute__((target("avx2")))
inline bool CpuHasAvx2() {
    static const bool has = __builtin_cpu_supports("avx2") != 0;
    return has;
}
#endif

#define KIV_INLINE inline __attribute__((always_inline))

/// Four doubles, element by element.
using Vec4 = double __attribute__((vector_size(32)));

KIV_INLINE void LoadVec(Vec4& v, const double* p) { std::memcpy(&v, p, sizeof v); }
KIV_INLINE void StoreVec(double* p, const Vec4& v) { std::memcpy(p, &v, sizeof v); }

/// Sum of the eight lanes of two partial sums, in a fixed order.
KIV_INLINE double SumLanes(const Vec4& a, const Vec4& b) {
    const Vec4 sum = a + b;
    return (sum[0] + sum[2]) + (sum[1] + sum[3]);
}

/// Dot product of n doubles: eight partial sums, then the last n modulo 8 one by one.
KIV_INLINE double DotProduct(const double* a, const double* b, int n) {
    Vec4 even = {}, odd = {};
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        Vec4 x, y;
        LoadVec(x, a + i);
        LoadVec(y, b + i);
        even += x * y;
        LoadVec(x, a + i + 4);
        LoadVec(y, b + i + 4);
        odd += x * y;
    }
    double tail = 0.0;
    for (; i < n; ++i) tail += a[i] * b[i];
    return SumLanes(even, odd) + tail;
}
