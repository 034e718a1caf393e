// Bytes as texts in base64 (RFC 4648).
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "kiv/sink.h"

namespace kiv {

/// Writes `bytes` in base64, padded, without line ends.
void PutBase64(Sink& sink, std::span<const std::byte> bytes);

std::string Base64(std::span<const std::byte> bytes);

/// The same of bytes that are given as hexadecimal digits.
std::string Base64OfHex(std::string_view digits);

}  // namespace kiv
