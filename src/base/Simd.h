// Vector kernels that give the same digits on every processor.
//
// A kernel is written once, as a template on the vector type, and compiled for the baseline
// instruction set and for newer ones. Its lanes are independent and do the same operations in the
// same order in all of them, without contraction, so the results are bitwise equal and the choice
// at run time is only one of speed.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstring>

namespace kiv {

#define KIV_INLINE inline __attribute__((always_inline))

/// Four and eight doubles, element by element.
using Vec4 = double __attribute__((vector_size(32)));
using Vec8 = double __attribute__((vector_size(64)));

using Long4 = long long __attribute__((vector_size(32)));
using Long8 = long long __attribute__((vector_size(64)));

/// What comparisons of a Vec give: all bits of a lane or none.
template <class Vec>
struct MaskOf {
    using Type = Long4;
};
template <>
struct MaskOf<Vec8> {
    using Type = Long8;
};

template <class Vec>
KIV_INLINE void LoadVec(Vec& v, const double* p) {
    std::memcpy(&v, p, sizeof v);
}

template <class Vec>
KIV_INLINE void StoreVec(double* p, const Vec& v) {
    std::memcpy(p, &v, sizeof v);
}

template <class Vec>
KIV_INLINE void SqrtVec(Vec& v) {
    for (std::size_t i = 0; i < sizeof v / sizeof v[0]; ++i) v[i] = std::sqrt(v[i]);
}

// KIV_BASELINE leaves the newer sets out and KIV_AVX2 the newest, so that the equality can be
// shown.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(KIV_BASELINE)
enum class Isa { Base, Avx2, Avx512 };

inline Isa FindIsa() {
    __builtin_cpu_init();
#ifndef KIV_AVX2
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
        __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq")) {
        return Isa::Avx512;
    }
#endif
    return __builtin_cpu_supports("avx2") ? Isa::Avx2 : Isa::Base;
}

/// The best set of this processor.
inline const Isa kCpuIsa = FindIsa();

/// Defines `void Name(const Arg& arg)` from the template NameBody<Vec>, once for every set.
#define KIV_KERNEL(Name, Arg)                                                                  \
    void Name##Base(const Arg& arg) { Name##Body<Vec4>(arg); }                                 \
    __attribute__((target("avx2"))) void Name##Avx2(const Arg& arg) { Name##Body<Vec4>(arg); } \
    __attribute__((target("avx512f,avx512vl,avx512bw,avx512dq"))) void Name##Avx512(           \
        const Arg& arg) {                                                                      \
        Name##Body<Vec8>(arg);                                                                 \
    }                                                                                          \
    void Name(const Arg& arg) {                                                                \
        if (kCpuIsa == Isa::Avx512) return Name##Avx512(arg);                                  \
        return kCpuIsa == Isa::Avx2 ? Name##Avx2(arg) : Name##Base(arg);                       \
    }
#else
#define KIV_KERNEL(Name, Arg) \
    void Name(const Arg& arg) { Name##Body<Vec4>(arg); }
#endif

}  // namespace kiv
