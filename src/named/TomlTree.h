// A TOML text as a tree of values with their places.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "named/Finding.h"

namespace kiv {

enum class TomlType : std::uint8_t { Table, List, Text, Whole, Real, Truth, Other };

struct TomlValue {
    TomlType type = TomlType::Other;
    std::string text;        // of a Text
    double number = 0.0;     // of a Real or a Whole
    std::int64_t whole = 0;  // of a Whole
    bool truth = false;      // of a Truth
    Place begin, end;        // of the value, of the header of a table; the end is behind it
    std::string key;         // of a member of a table
    Place key_place;         // of the key
    std::vector<TomlValue> children;  // of a Table by place of their keys, of a List in its order

    /// The member of a table, null when there is none.
    const TomlValue* Find(std::string_view name) const;

    bool is_number() const { return type == TomlType::Whole || type == TomlType::Real; }
};

/// A tree, or why there is none.
struct TomlReading {
    std::optional<TomlValue> root;
    Place fault_place;
    std::string fault;
};

/// Reads TOML 1.0 without a byte-order mark.
TomlReading ReadToml(std::string_view text);

}  // namespace kiv
