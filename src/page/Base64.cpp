#include "page/Base64.h"

#include <algorithm>
#include <vector>

namespace kiv {
namespace {

constexpr char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kBlock = 3 * 16384;  // bytes that are written at once

char* PutGroup(char* out, std::span<const std::byte> group) {
    unsigned bits = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        bits = bits << 8 | (i < group.size() ? std::to_integer<unsigned>(group[i]) : 0U);
    }
    for (std::size_t i = 0; i < 4; ++i) {
        *out++ = i <= group.size() ? kLetters[bits >> (18 - 6 * i) & 63U] : '=';
    }
    return out;
}

unsigned ValueOf(char digit) {
    return static_cast<unsigned>(digit <= '9' ? digit - '0' : digit - 'a' + 10);
}

}  // namespace

void PutBase64(Sink& sink, std::span<const std::byte> bytes) {
    std::vector<char> text(kBlock / 3 * 4);
    while (!bytes.empty()) {
        const std::span<const std::byte> block = bytes.first(std::min(kBlock, bytes.size()));
        char* end = text.data();
        for (std::size_t i = 0; i < block.size(); i += 3) {
            end = PutGroup(end, block.subspan(i, std::min<std::size_t>(3, block.size() - i)));
        }
        sink.Put(text.data(), static_cast<std::size_t>(end - text.data()));
        bytes = bytes.subspan(block.size());
    }
}

std::string Base64(std::span<const std::byte> bytes) {
    StringSink sink;
    PutBase64(sink, bytes);
    return sink.text();
}

std::string Base64OfHex(std::string_view digits) {
    std::vector<std::byte> bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(std::byte(ValueOf(digits[i]) << 4 | ValueOf(digits[i + 1])));
    }
    return Base64(bytes);
}

}  // namespace kiv
