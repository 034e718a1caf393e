// std::bit_cast where the standard library has it.
#pragma once

#include <version>
#ifdef __cpp_lib_bit_cast
#include <bit>
#else
#include <cstring>
#include <type_traits>
#endif

namespace kiv {

/// The value of type To with the bits of `from`.
template <class To, class From>
inline To BitCast(const From& from) {
#ifdef __cpp_lib_bit_cast
    return std::bit_cast<To>(from);
#else
    static_assert(sizeof(To) == sizeof(From) && std::is_trivially_copyable_v<To> &&
                  std::is_trivially_copyable_v<From>);
    To to;
    std::memcpy(&to, &from, sizeof to);
    return to;
#endif
}

}  // namespace kiv
