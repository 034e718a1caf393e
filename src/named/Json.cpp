#include "named/Json.h"

#include <cmath>
#include <cstdio>

#include "named/NumberText.h"
#include "named/Text.h"

namespace kiv {
namespace {

// Characters with a short escape.
constexpr std::string_view kEscaped = "\"\\\b\f\n\r\t";
constexpr std::string_view kEscapes = "\"\\bfnrt";

std::string StringOf(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : ValidUtf8(text)) {
        const std::size_t escape = kEscaped.find(c);
        if (escape != std::string_view::npos) {
            quoted += '\\';
            quoted += kEscapes[escape];
        } else if (static_cast<unsigned char>(c) < ' ') {
            char code[8];
            std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(c));
            quoted += code;
        } else {
            quoted += c;
        }
    }
    return quoted + '"';
}

}  // namespace

JsonWriter& JsonWriter::Open(char first, char last) {
    Separate();
    text_ += first;
    open_ += last;
    needs_comma_ = false;
    return *this;
}

JsonWriter& JsonWriter::End() {
    text_ += open_.back();
    open_.pop_back();
    needs_comma_ = true;
    return *this;
}

JsonWriter& JsonWriter::Key(std::string_view name) {
    Put(StringOf(name));
    text_ += ": ";
    needs_comma_ = false;
    return *this;
}

JsonWriter& JsonWriter::Value(std::string_view text) { return Put(StringOf(text)); }

JsonWriter& JsonWriter::Value(double number) {
    return std::isfinite(number) ? Put(ShortestText(number)) : Null();
}

JsonWriter& JsonWriter::Put(std::string_view text) {
    Separate();
    text_ += text;
    needs_comma_ = true;
    return *this;
}

void JsonWriter::Separate() {
    if (needs_comma_) text_ += ", ";
}

}  // namespace kiv
