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
