#include "named/TomlTree.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "named/Text.h"

namespace {

// Thrown where the parser takes for granted what a text that is no TOML does not keep: [&].
struct BrokenAssumption {};

[[noreturn]] void BreakOff() { throw BrokenAssumption(); }

}  // namespace

// Without this the parser asserts, and in optimised builds goes on regardless.
#undef NDEBUG
#define TOML_ASSERT(holds) ((holds) ? void() : BreakOff())
#define TOML_EXCEPTIONS 0
#define TOML_HEADER_ONLY 1
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

namespace kiv {
namespace {

bool IsAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

// Passes over a TOML text and stops at characters beyond ASCII outside of texts and comments, where
// there cannot be any. The parser does not stand them in all places.
class ForeignSearch {
  public:
    explicit ForeignSearch(std::string_view text) : text_(text) {}

    std::optional<std::size_t> Find() {
        while (at_ < text_.size() && !found_) {
            const char c = text_[at_];
            if (c == '#') {
                SkipTo("\n");
            } else if (c == '"' || c == '\'') {
                SkipText(std::string(text_.substr(at_).starts_with(std::string(3, c)) ? 3 : 1, c));
            } else if (IsAscii(c)) {
                ++at_;
            } else {
                found_ = at_;
            }
        }
        return found_;
    }

  private:
    void SkipTo(std::string_view end) { at_ = std::min(text_.find(end, at_), text_.size()); }

    // Skips a text between `quotes`; those of one line end there in any case.
    void SkipText(const std::string& quotes) {
        at_ += quotes.size();
        const bool has_escapes = quotes[0] == '"', has_lines = quotes.size() > 1;
        while (at_ < text_.size() && !found_) {
            if (text_.substr(at_).starts_with(quotes)) {
                at_ += quotes.size();
                return;
            }
            if (text_[at_] == '\n' && !has_lines) return;
            if (text_[at_++] == '\\' && has_escapes) SkipEscape(has_lines);
        }
    }

    // Behind a backslash: one character, or the line end and the blanks of the next lines.
    void SkipEscape(bool has_lines) {
        const std::size_t first = at_;
        if (has_lines) at_ = std::min(text_.find_first_not_of(" \t\r\n", at_), text_.size());
        if (has_lines && at_ < text_.size() && !IsAscii(text_[at_])) found_ = at_;
        if (at_ == first && at_ < text_.size() && text_[at_] != '\n') ++at_;
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::optional<std::size_t> found_;
};

Place PlaceOf(const toml::source_position& position) {
    return {static_cast<int>(position.line), static_cast<int>(position.column)};
}

TomlType TypeOf(toml::node_type type) {
    switch (type) {
        case toml::node_type::table:
            return TomlType::Table;
        case toml::node_type::array:
            return TomlType::List;
        case toml::node_type::string:
            return TomlType::Text;
        case toml::node_type::integer:
            return TomlType::Whole;
        case toml::node_type::floating_point:
            return TomlType::Real;
        case toml::node_type::boolean:
            return TomlType::Truth;
        default:
            return TomlType::Other;
    }
}

TomlValue ValueOf(const toml::node& node);

void AddMembers(const toml::table& table, TomlValue& value) {
    for (const auto& [key, member] : table) {
        value.children.push_back(ValueOf(member));
        value.children.back().key = key.str();
        value.children.back().key_place = PlaceOf(key.source().begin);
    }
    std::stable_sort(
        value.children.begin(), value.children.end(),
        [](const TomlValue& a, const TomlValue& b) { return a.key_place < b.key_place; });
}

TomlValue ValueOf(const toml::node& node) {
    TomlValue value;
    value.type = TypeOf(node.type());
    value.begin = PlaceOf(node.source().begin);
    value.end = PlaceOf(node.source().end);
    if (const auto* const table = node.as_table()) AddMembers(*table, value);
    if (const auto* const list = node.as_array()) {
        for (const toml::node& item : *list) value.children.push_back(ValueOf(item));
    }
    if (const auto* const text = node.as_string()) value.text = text->get();
    if (const auto* const truth = node.as_boolean()) value.truth = truth->get();
    if (const auto* const real = node.as_floating_point()) value.number = real->get();
    if (const auto* const whole = node.as_integer()) {
        value.whole = whole->get();
        value.number = static_cast<double>(value.whole);
    }
    return value;
}

// What the parser says, without the words that it begins each message with.
std::string WithoutPrefix(std::string_view description) {
    constexpr std::string_view kPrefix = "Error while parsing ";
    if (description.starts_with(kPrefix)) description.remove_prefix(kPrefix.size());
    return std::string(description);
}

}  // namespace

const TomlValue* TomlValue::Find(std::string_view name) const {
    for (const TomlValue& child : children) {
        if (child.key == name) return &child;
    }
    return nullptr;
}

TomlReading ReadToml(std::string_view text) {
    TomlReading reading;
    if (const std::optional<std::size_t> foreign = ForeignSearch(text).Find()) {
        reading.fault_place = PlaceCounter(text).At(*foreign);
        reading.fault =
            Quoted(FirstCharacter(text.substr(*foreign))) + " stands outside quotes and comments";
        return reading;
    }
    try {
        const toml::parse_result result = toml::parse(text);
        if (result) {
            reading.root = ValueOf(result.table());
        } else {
            reading.fault_place = PlaceOf(result.error().source().begin);
            reading.fault = WithoutPrefix(result.error().description());
        }
    } catch (const BrokenAssumption&) {
        reading.fault = "a table header without a name";
    }
    return reading;
}

}  // namespace kiv
