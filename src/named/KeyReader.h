// Keys of a named input, one by one: each is asked for by table and name, whatever is wrong with it
// is told, and what was never asked for is unknown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "named/Finding.h"
#include "named/NamedInput.h"
#include "named/TomlTree.h"
#include "named/TomlWords.h"

namespace kiv {

/// What the value of a key is.
enum class KeyKind : std::uint8_t {
    Table,
    Number,
    Whole,
    Text,
    Truth,
    Numbers,
    Wholes,
    Texts,
    WholeOrAll
};

/// What a number may be; all are finite.
enum class Limit : std::uint8_t { None, NotNegative, Positive };

/// A table of the file, or the place where one could be: without a node it has no keys.
struct KeyTable {
    std::string path;
    const TomlValue* node = nullptr;

    std::string Path(std::string_view key) const {
        return path.empty() ? std::string(key) : path + "." + std::string(key);
    }
    const TomlValue* Find(std::string_view key) const { return node ? node->Find(key) : nullptr; }
    Place place() const { return node ? node->begin : Place{}; }
};

/// The path of an item of a list: "moment.mu[1]".
std::string ItemPath(const std::string& path, std::size_t i);

class KeyReader {
  public:
    /// `wrong` are the words in whose places the tree has placeholders.
    KeyReader(const std::string& file, const std::vector<WrongWord>& wrong, Findings& findings);

    void Add(FindingCode code, Place place, std::string message);

    /// A key without which the file cannot be used. Told by TellUnknown, unless it was misspelt.
    void Missing(const std::string& path, Place place, std::string message);

    // --- Each of these tells what is wrong and leaves `to` as it is when there is no good value.

    /// The table of a key; without a node when it is missing or something else.
    KeyTable Table(const KeyTable& around, const char* key);

    /// The value of a key when it is there and of this kind.
    const TomlValue* Take(const KeyTable& table, std::string_view key, KeyKind kind);

    /// A list with this number of items, all of them good; with 0, a list of any items.
    const TomlValue* List(const KeyTable& table, const char* key, KeyKind kind, std::size_t size);

    bool Number(const KeyTable& table, const char* key, double& to, Limit limit = Limit::None);
    void Number(const KeyTable& table, const char* key, std::optional<double>& to, Limit limit);
    bool Numbers(const KeyTable& table, const char* key, std::span<double> to);

    /// A whole number from 0 to `most`.
    void Whole(const KeyTable& table, const char* key, int most, int& to);
    void WholeOf(const TomlValue& value, const std::string& path, int most, std::int32_t& to);

    void Truth(const KeyTable& table, const char* key, bool& to);

    /// One line of text.
    void Text(const KeyTable& table, const char* key, std::string& to);

    /// One of some words, as its index among them.
    template <class Choice>
    bool OneOf(const KeyTable& table, const char* key, const std::vector<std::string>& words,
               Choice& to, FindingCode code = FindingCode::BadChoice) {
        const std::optional<std::size_t> index = IndexOf(table, key, words, code);
        if (index) to = static_cast<Choice>(*index);
        return index.has_value();
    }

    // --- Afterwards

    /// Tells of values that stand behind others and of those that are not there.
    void TellSpurious();

    /// Without a tree: tells of all wrong values by the paths that they seem to have.
    void TellWrong();

    /// Tells of the keys that were not asked for, then of those that are missing.
    void TellUnknown(const TomlValue& root);

    Places places;  // of all that was asked for

  private:
    struct MissingKey {
        std::string path;
        Place place;
        std::string message;
    };

    std::optional<std::size_t> IndexOf(const KeyTable& table, const char* key,
                                       const std::vector<std::string>& words, FindingCode code);
    bool Check(const TomlValue& value, const std::string& path, KeyKind kind);
    bool Real(const TomlValue& value, const std::string& path, Limit limit, double& to);
    void TellWrong(const WrongWord& wrong, const std::string& path, KeyKind kind);
    void TellUnknown(const TomlValue& table, const std::string& path);
    std::string WhatWasMeant(const std::string& table, const std::string& key);

    const std::string& file_;
    Findings& findings_;
    std::map<Place, WrongWord> wrong_;      // by the place of their values
    std::map<std::string, KeyKind> known_;  // keys that were asked for
    std::vector<MissingKey> missing_;
    std::set<std::string> meant_;  // keys that unknown ones stand for
};

}  // namespace kiv
