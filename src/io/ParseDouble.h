// Floating-point numbers from text, the same ones whatever the standard library can read.
#pragma once

#include <charconv>

namespace kiv {

/// What std::from_chars does, for text without a sign: decimal, inf and nan, or with `hex` the
/// digits behind 0x. The longest number at `first`, in the notation of the C locale, and the double
/// nearest to it.
///
/// Without an error `value` is set. invalid_argument: there is no number, `ptr` is `first`.
/// result_out_of_range: it is behind a number that no double is near, which includes one that is
/// not 0 and would become 0.
std::from_chars_result ParseDouble(const char* first, const char* last, double& value, bool hex);

/// The same by means of std::strtod, for standard libraries that have std::from_chars for integers
/// only, and everywhere with KIV_PARSE_STRTOD. It takes no memory, whatever the length of the text,
/// and does not depend on the locale.
std::from_chars_result ParseDoubleByStrtod(const char* first, const char* last, double& value,
                                           bool hex);

}  // namespace kiv
