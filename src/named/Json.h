// JSON text, put together value by value.
#pragma once

#include <concepts>
#include <string>
#include <string_view>

namespace kiv {

/// Writes one JSON value on one line. Commas come by themselves:
///
///     JsonWriter json;
///     json.Object().Key("lines").Value(3289).Key("names").Array().Value("A").End().End();
///     json.text()  // {"lines": 3289, "names": ["A"]}
///
/// Texts are written as valid UTF-8 with U+FFFD for what is none, numbers with the shortest digits
/// that read back as the same double, numbers that are not finite as null.
class JsonWriter {
  public:
    JsonWriter& Object() { return Open('{', '}'); }
    JsonWriter& Array() { return Open('[', ']'); }
    /// Closes the object or array that was opened last.
    JsonWriter& End();

    /// Name of the next value of an object.
    JsonWriter& Key(std::string_view name);

    JsonWriter& Value(std::string_view text);
    JsonWriter& Value(const char* text) { return Value(std::string_view(text)); }
    JsonWriter& Value(double number);
    JsonWriter& Value(std::integral auto number) { return Put(std::to_string(number)); }
    JsonWriter& Value(bool truth) { return Put(truth ? "true" : "false"); }
    JsonWriter& Null() { return Put("null"); }

    /// Key and value.
    template <class T>
    JsonWriter& Member(std::string_view name, const T& value) {
        return Key(name).Value(value);
    }

    const std::string& text() const { return text_; }

  private:
    JsonWriter& Open(char first, char last);
    JsonWriter& Put(std::string_view text);
    void Separate();

    std::string text_;
    std::string open_;  // what closes the objects and arrays that are open
    bool needs_comma_ = false;
};

}  // namespace kiv
