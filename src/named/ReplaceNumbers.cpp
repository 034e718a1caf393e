// Replacement of values in the text of a named input.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "io/TextLines.h"
#include "named/NamedInput.h"
#include "named/Text.h"
#include "named/TomlTree.h"

namespace kiv {
namespace {

struct Edit {
    std::size_t offset = 0;
    std::size_t size = 0;
    std::string text;
};

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// A text and the bytes at which its lines begin.
class PlacedText {
  public:
    explicit PlacedText(std::string_view text) : text_(text), starts_{0} {
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] == '\n') starts_.push_back(i + 1);
        }
    }

    std::size_t LineStart(Place place) const {
        return starts_[static_cast<std::size_t>(place.line - 1)];
    }

    std::size_t Offset(Place place) const {
        std::size_t at = LineStart(place);
        for (int column = 1; column < place.column && at < text_.size(); ++column) {
            do ++at;
            while (at < text_.size() && IsContinuation(text_[at]));
        }
        return at;
    }

    // Behind the line end of a line.
    std::size_t LineEnd(Place place) const {
        return std::min(text_.find('\n', LineStart(place)), text_.size());
    }

    std::string_view text() const { return text_; }

  private:
    std::string_view text_;
    std::vector<std::size_t> starts_;
};

// The table and the key of "lower.A".
struct SplitPath {
    std::string_view table, key;
};

SplitPath Split(std::string_view path) {
    const std::size_t point = path.rfind('.');
    if (point == std::string_view::npos) return {{}, path};
    return {path.substr(0, point), path.substr(point + 1)};
}

const TomlValue* Find(const TomlValue& root, std::string_view path) {
    const TomlValue* value = &root;
    while (value && !path.empty()) {
        const std::size_t size = std::min(path.find_first_of(".["), path.size());
        const std::string_view name = path.substr(0, size);
        if (path[0] == '[') {
            const auto i = static_cast<std::size_t>(std::atoi(std::string(path.substr(1)).c_str()));
            value = i < value->children.size() ? &value->children[i] : nullptr;
            path.remove_prefix(std::min(path.find(']'), path.size() - 1) + 1);
        } else {
            value = value->Find(name);
            path.remove_prefix(size);
        }
        if (path.starts_with('.')) path.remove_prefix(1);
    }
    return value;
}

// Another text for a value; a comment behind it keeps its column.
Edit Replaced(const PlacedText& placed, const TomlValue& value, const std::string& with) {
    const std::size_t first = placed.Offset(value.begin), end = placed.Offset(value.end);
    const std::string_view text = placed.text();
    const std::size_t next = std::min(text.find_first_not_of(" \t", end), text.size());
    if (next == end || next == text.size() || text[next] != '#') {
        return {first, end - first, with};
    }
    const int before = CountCharacters(text.substr(first, next - first));
    const int blanks = std::max(before - CountCharacters(with), 1);
    return {first, next - first, with + std::string(static_cast<std::size_t>(blanks), ' ')};
}

// A new key behind another one of its table, laid out like that one.
Edit Inserted(const PlacedText& placed, const TomlValue& neighbour, std::string_view key,
              const std::string& value) {
    const std::string_view text = placed.text();
    const std::size_t start = placed.LineStart(neighbour.key_place);
    const std::size_t key_at = placed.Offset(neighbour.key_place);
    const std::string_view prefix = text.substr(start, key_at - start);
    if (prefix.find_first_of("{,") != std::string_view::npos) {  // within an inline table
        return {placed.Offset(neighbour.end), 0, ", " + std::string(key) + " = " + value};
    }
    const std::size_t equals = std::min(text.find('=', key_at), text.size());
    std::string padded(key);
    padded.resize(std::max(padded.size() + 1, equals - key_at), ' ');
    const std::string line = std::string(prefix) + padded + "= " + value;
    const std::size_t end = placed.LineEnd(neighbour.key_place);
    const bool has_return = end > start && text[end - 1] == '\r';
    const std::size_t at = has_return ? end - 1 : end;
    return {at, 0, (has_return ? "\r\n" : "\n") + line};
}

std::string Applied(std::string_view text, std::vector<Edit> edits) {
    std::stable_sort(edits.begin(), edits.end(),
                     [](const Edit& a, const Edit& b) { return a.offset < b.offset; });
    std::string result;
    std::size_t copied = 0;
    for (const Edit& edit : edits) {
        result += text.substr(copied, edit.offset - copied);
        result += edit.text;
        copied = edit.offset + edit.size;
    }
    return result += text.substr(copied);
}

}  // namespace

std::string ReplaceNumbers(std::string_view text, std::span<const Replacement> replacements) {
    const std::string_view body = WithoutMark(text);
    const TomlReading toml = ReadToml(body);
    if (!toml.root) return std::string(text);
    const PlacedText placed(body);
    std::vector<Edit> edits;
    for (const auto& [path, with] : replacements) {
        const auto [table, key] = Split(path);
        const TomlValue* const value = Find(*toml.root, path);
        const TomlValue* const state = Find(*toml.root, table);
        const TomlValue* const neighbour = state ? state->Find("C") : nullptr;
        if (value && value->type != TomlType::Table) {
            edits.push_back(Replaced(placed, *value, with));
        } else if (!value && neighbour) {
            edits.push_back(Inserted(placed, *neighbour, key, with));
        }
    }
    return std::string(text.substr(0, text.size() - body.size())) + Applied(body, edits);
}

}  // namespace kiv
