// Vector kernels that give the same digits on every processor.
//
// A kernel is written once, as a template on the vector type, and compiled for the baseline
// instruction set and for newer ones. Its lanes are independent and do the same operations in the
// same order in all of them, without contraction, so the results are bitwise equal and the choice
// at run time is only one of speed.
#pragma once

#include <cmath>
#include <cstring>

#define KIV_INLINE inline __attribute__((always_inline))

/// Four and eight doubles, element by element.
using Vec4 = double __attribute__((vector_size(32)));
using Vec8 = double __attribute__((vector_size(64)));

template <class Vec>
KIV_INLINE void LoadVec(Vec& v, const double* p) {
    std::memcpy(&v, p, sizeof v);
}

template <class Vec>
KIV_INLINE void StoreVec(double* p, const Vec& v) {
    std::memcpy(p, &v, sizeof v);
}

KIV_INLINE void SqrtVec(Vec4& v) {
    for (int i = 0; i < 4; ++i) v[i] = std::sqrt(v[i]);
}

// KIV_BASELINE leaves the newer sets out and KIV_AVX2 the newest, so that the equality can be
// shown.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(KIV_BASELINE)
enum class Isa { Base, Avx2, Avx512 };

/// The best set of this processor.
inline Isa CpuIsa() {
    static const Isa isa = [] {
#ifndef KIV_AVX2
        if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl")) {
            return Isa::Avx512;
        }
#endif
        return __builtin_cpu_supports("avx2") ? Isa::Avx2 : Isa::Base;
    }();
    return isa;
}

/// Defines `void Name(const Arg& arg)` from the template NameBody<Vec>, once for every set.
#define KIV_KERNEL(Name, Arg)                                                                  \
    void Name##Base(const Arg& arg) { Name##Body<Vec4>(arg); }                                 \
    __attribute__((target("avx2"))) void Name##Avx2(const Arg& arg) { Name##Body<Vec4>(arg); } \
    __attribute__((target("avx512f,avx512vl"))) void Name##Avx512(const Arg& arg) {            \
        Name##Body<Vec8>(arg);                                                                 \
    }                                                                                          \
    void Name(const Arg& arg) {                                                                \
        if (CpuIsa() == Isa::Avx512) return Name##Avx512(arg);                                 \
        return CpuIsa() == Isa::Avx2 ? Name##Avx2(arg) : Name##Base(arg);                      \
    }
#else
#define KIV_KERNEL(Name, Arg) \
    void Name(const Arg& arg) { Name##Body<Vec4>(arg); }
#endif
