#include "named/Text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace kiv {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::size_t kMaxQuoted = 60;    // bytes of a word in a message
constexpr std::size_t kMaxCompared = 64;  // of a word that is looked for

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// First bytes of UTF-8 sequences with the range of their second byte.
struct Lead {
    unsigned char first, last;
    std::size_t size;
    unsigned char low, high;
};

constexpr Lead kLeads[] = {
    {0x00, 0x7F, 1, 0x00, 0x00}, {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF},
    {0xE1, 0xEC, 3, 0x80, 0xBF}, {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF},
    {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

// Bytes of the sequence at the start of `text`, 0 when there is none.
std::size_t SequenceSize(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    for (const Lead& lead : kLeads) {
        if (byte(0) < lead.first || byte(0) > lead.last) continue;
        if (text.size() < lead.size) return 0;
        if (lead.size > 1 && (byte(1) < lead.low || byte(1) > lead.high)) return 0;
        for (std::size_t i = 2; i < lead.size; ++i) {
            if (!IsContinuation(text[i])) return 0;
        }
        return lead.size;
    }
    return 0;
}

char LowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

int ReplacementCost(char a, char b) {
    if (a == b) return 0;
    return LowerCase(a) == LowerCase(b) ? 1 : 2;
}

}  // namespace

std::string_view FirstCharacter(std::string_view text) {
    return text.substr(0, std::max<std::size_t>(SequenceSize(text), 1));
}

int CountCharacters(std::string_view text) {
    int count = 0;
    while (!text.empty()) {
        const bool is_ascii = static_cast<unsigned char>(text[0]) < 0x80;
        text.remove_prefix(is_ascii ? 1 : FirstCharacter(text).size());
        ++count;
    }
    return count;
}

Place PlaceCounter::At(std::size_t offset) {
    if (offset < line_start_) {
        counted_ = line_start_ = 0;
        line_ = 1;
    }
    for (; counted_ < offset; ++counted_) {
        if (text_[counted_] != '\n') continue;
        ++line_;
        line_start_ = counted_ + 1;
    }
    return {line_, CountCharacters(text_.substr(line_start_, offset - line_start_)) + 1};
}

std::string ValidUtf8(std::string_view text) {
    std::string valid;
    valid.reserve(text.size());
    while (!text.empty()) {
        const std::size_t size = SequenceSize(text);
        valid += size > 0 ? text.substr(0, size) : kReplacement;
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return valid;
}

std::string Printable(std::string_view text) {
    std::string printable = ValidUtf8(text);
    for (char& c : printable) {
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7F') c = '?';
    }
    return printable;
}

std::string Quoted(std::string_view word) {
    const bool is_long = word.size() > kMaxQuoted;
    if (is_long) {
        std::size_t size = kMaxQuoted;
        while (size > 0 && IsContinuation(word[size])) --size;
        word = word.substr(0, size);
    }
    return "\"" + std::string(word) + (is_long ? "...\"" : "\"");
}

int EditDistance(std::string_view a, std::string_view b) {
    a = a.substr(0, kMaxCompared);
    b = b.substr(0, kMaxCompared);
    // row[j]: the distance of what was read of a to the first j letters of b
    std::array<int, kMaxCompared + 1> row{};
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = 2 * static_cast<int>(j);
    for (const char letter : a) {
        int diagonal = row[0];
        row[0] += 2;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const int replaced = diagonal + ReplacementCost(letter, b[j - 1]);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 2, row[j - 1] + 2});
        }
    }
    return row[b.size()];
}

std::string_view Nearest(std::string_view word, std::span<const std::string> known) {
    std::string_view nearest;
    int least = std::numeric_limits<int>::max();
    for (const std::string& candidate : known) {
        const int distance = EditDistance(word, candidate);
        if (distance >= least) continue;
        least = distance;
        nearest = candidate;
    }
    return nearest;
}

std::string_view Trimmed(std::string_view text) {
    const auto is_blank = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
    return text;
}

}  // namespace kiv
