#include "named/KeyReader.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "named/NumberText.h"
#include "named/NumberWord.h"
#include "named/Text.h"

namespace kiv {
namespace {

// clang-format off
struct KindRow {
    KeyKind kind;
    const char* name;
    KeyKind item;  // what a list is of
};

constexpr KindRow kKinds[] = {
    {KeyKind::Table,      "a table",                 KeyKind::Table},
    {KeyKind::Number,     "a number",                KeyKind::Number},
    {KeyKind::Whole,      "a whole number",          KeyKind::Whole},
    {KeyKind::Text,       "a text in quotes",        KeyKind::Text},
    {KeyKind::Truth,      "true or false",           KeyKind::Truth},
    {KeyKind::Numbers,    "a list of numbers",       KeyKind::Number},
    {KeyKind::Wholes,     "a list of whole numbers", KeyKind::Whole},
    {KeyKind::Texts,      "a list of texts",         KeyKind::Text},
    {KeyKind::WholeOrAll, "a whole number or \"all\"", KeyKind::WholeOrAll},
};

constexpr const char* kTypeNames[] = {"a table", "a list", "a text", "a whole number", "a decimal number",
                                      "true or false", "a date or time"};
// clang-format on

const KindRow& RowOf(KeyKind kind) { return kKinds[static_cast<std::size_t>(kind)]; }

bool IsList(KeyKind kind) { return RowOf(kind).item != kind; }

const char* NameOf(TomlType type) { return kTypeNames[static_cast<std::size_t>(type)]; }

bool Accepts(KeyKind kind, TomlType type) {
    switch (kind) {
        case KeyKind::Table:
            return type == TomlType::Table;
        case KeyKind::Number:
            return type == TomlType::Whole || type == TomlType::Real;
        case KeyKind::Whole:
            return type == TomlType::Whole;
        case KeyKind::Text:
            return type == TomlType::Text;
        case KeyKind::Truth:
            return type == TomlType::Truth;
        case KeyKind::WholeOrAll:
            return type == TomlType::Whole || type == TomlType::Text;
        default:
            return type == TomlType::List;
    }
}

bool IsWithin(double value, Limit limit) {
    return limit == Limit::None || value > 0.0 || (limit == Limit::NotNegative && value == 0.0);
}

// "lower" and "A" of "lower.A".
std::string TableOf(const std::string& path) {
    const std::size_t point = path.rfind('.');
    return point == std::string::npos ? "" : path.substr(0, point);
}

std::string KeyOf(const std::string& path) {
    const std::size_t point = path.rfind('.');
    return point == std::string::npos ? path : path.substr(point + 1);
}

std::string HeaderOf(const std::string& table) {
    return table.empty() ? "the lines before the first table" : "[" + table + "]";
}

std::string ListOf(std::span<const std::string> words) {
    std::string list;
    for (const std::string& word : words) {
        const bool is_last = &word == &words.back();
        list += (list.empty() ? "" : is_last ? " or " : ", ") + TomlString(word);
    }
    return list;
}

// What a wrong word of a key is, in the words of that key.
std::pair<FindingCode, std::string> Explained(const WrongWord& wrong, KeyKind kind) {
    const NumberWord number = ReadNumberWord(wrong.word);
    const bool takes_number = kind == KeyKind::Number || kind == KeyKind::Whole;
    const bool is_choice = kind == KeyKind::WholeOrAll && number.fault == WordFault::NotANumber;
    if (kind == KeyKind::Text || is_choice) {
        return {FindingCode::BadToml, "a text stands in quotes, write " + TomlString(wrong.rest)};
    }
    if (takes_number || kind == KeyKind::WholeOrAll) {
        if (number.fault != WordFault::None) {
            const bool is_one_word = wrong.word == wrong.rest;
            const bool is_other = number.fault == WordFault::NotANumber && !is_one_word;
            return {CodeOf(number.fault), Explain(is_other ? wrong.rest : wrong.word, number)};
        }
        const std::string written =
            kind == KeyKind::Number ? RealText(number.value) : ShortestText(number.value);
        return {FindingCode::BadToml, Quoted(wrong.word) + " is no TOML number, write " + written};
    }
    if (IsList(kind)) {
        return {FindingCode::BadToml, "a list stands in brackets, write [" + wrong.rest + "]"};
    }
    return {FindingCode::BadToml, Quoted(wrong.rest) + " is not " + RowOf(kind).name};
}

}  // namespace

std::string ItemPath(const std::string& path, std::size_t i) {
    return path + "[" + std::to_string(i) + "]";
}

KeyReader::KeyReader(const std::string& file, const std::vector<WrongWord>& wrong,
                     Findings& findings)
    : file_(file), findings_(findings) {
    for (const WrongWord& word : wrong) wrong_.emplace(word.value, word);
}

void KeyReader::Add(FindingCode code, Place place, std::string message) {
    findings_.Add(code, file_, place, std::move(message));
}

void KeyReader::Missing(const std::string& path, Place place, std::string message) {
    missing_.push_back({path, place, std::move(message)});
}

KeyTable KeyReader::Table(const KeyTable& around, const char* key) {
    return {around.Path(key), Take(around, key, KeyKind::Table)};
}

const TomlValue* KeyReader::Take(const KeyTable& table, std::string_view key, KeyKind kind) {
    const std::string path = table.Path(key);
    known_[path] = kind;
    const TomlValue* const value = table.Find(key);
    if (!value) return nullptr;
    places.Set(path, value->begin);
    return Check(*value, path, kind) ? value : nullptr;
}

const TomlValue* KeyReader::List(const KeyTable& table, const char* key, KeyKind kind,
                                 std::size_t size) {
    const TomlValue* const list = Take(table, key, kind);
    if (!list) return nullptr;
    const std::string path = table.Path(key);
    const auto& items = list->children;
    bool good = true;
    for (std::size_t i = 0; i < items.size(); ++i) {
        places.Set(ItemPath(path, i), items[i].begin);
        if (size == 0 || i < size) {
            good &= Check(items[i], ItemPath(path, i), RowOf(kind).item);
        }
    }
    if (size == 0) return list;
    if (items.size() == size) return good ? list : nullptr;
    const std::string counts =
        path + " has " + std::to_string(size) + " values, not " + std::to_string(items.size());
    if (items.size() > size) {
        Add(FindingCode::SurplusValue, items[size].begin, counts + " (a comma parts values)");
    } else {
        Add(FindingCode::MissingValue, items.empty() ? list->begin : items.back().begin, counts);
    }
    return nullptr;
}

bool KeyReader::Number(const KeyTable& table, const char* key, double& to, Limit limit) {
    const TomlValue* const value = Take(table, key, KeyKind::Number);
    return value && Real(*value, table.Path(key), limit, to);
}

void KeyReader::Number(const KeyTable& table, const char* key, std::optional<double>& to,
                       Limit limit) {
    double value = 0.0;
    if (Number(table, key, value, limit)) to = value;
}

bool KeyReader::Numbers(const KeyTable& table, const char* key, std::span<double> to) {
    const TomlValue* const list = List(table, key, KeyKind::Numbers, to.size());
    if (!list) return false;
    bool good = true;
    for (std::size_t i = 0; i < to.size(); ++i) {
        good &= Real(list->children[i], ItemPath(table.Path(key), i), Limit::None, to[i]);
    }
    return good;
}

void KeyReader::Whole(const KeyTable& table, const char* key, int most, int& to) {
    const TomlValue* const value = Take(table, key, KeyKind::Whole);
    if (value) WholeOf(*value, table.Path(key), most, to);
}

void KeyReader::WholeOf(const TomlValue& value, const std::string& path, int most,
                        std::int32_t& to) {
    if (value.whole >= 0 && value.whole <= most) {
        to = static_cast<std::int32_t>(value.whole);
    } else {
        Add(FindingCode::OutOfRange, value.begin,
            path + " is a whole number from 0 to " + std::to_string(most));
    }
}

void KeyReader::Truth(const KeyTable& table, const char* key, bool& to) {
    const TomlValue* const value = Take(table, key, KeyKind::Truth);
    if (value) to = value->truth;
}

void KeyReader::Text(const KeyTable& table, const char* key, std::string& to) {
    const TomlValue* const value = Take(table, key, KeyKind::Text);
    if (!value) return;
    to = value->text;
    if (to.find_first_of("\r\n") != std::string::npos) {
        Add(FindingCode::BadChoice, value->begin, table.Path(key) + " is one line");
    }
}

std::optional<std::size_t> KeyReader::IndexOf(const KeyTable& table, const char* key,
                                              const std::vector<std::string>& words,
                                              FindingCode code) {
    const TomlValue* const value = Take(table, key, KeyKind::Text);
    if (!value) return {};
    const auto found = std::find(words.begin(), words.end(), value->text);
    if (found != words.end()) return static_cast<std::size_t>(found - words.begin());
    Add(code, value->begin,
        table.Path(key) + ": " + Quoted(value->text) + " is not " + ListOf(words));
    return {};
}

void KeyReader::TellSpurious() {
    for (const auto& [value, wrong] : wrong_) {
        if (wrong.kind == WrongKind::Missing) {
            Add(FindingCode::BadToml, wrong.place, wrong.path + " has no value");
        }
        if (wrong.kind == WrongKind::Surplus) {
            Add(FindingCode::BadToml, wrong.place,
                wrong.path + ": one value stands on a line, " + Quoted(wrong.rest) +
                    " is behind it");
        }
    }
}

void KeyReader::TellWrong() {
    for (const auto& [value, wrong] : wrong_) {
        if (wrong.kind != WrongKind::Value) continue;
        const std::string path = wrong.path.substr(0, wrong.path.find('['));
        const auto known = known_.find(path);
        if (known == known_.end()) continue;
        const bool is_item = path != wrong.path && IsList(known->second);
        TellWrong(wrong, wrong.path, is_item ? RowOf(known->second).item : known->second);
    }
}

void KeyReader::TellUnknown(const TomlValue& root) {
    TellUnknown(root, "");
    for (const auto& [path, place, message] : missing_) {
        if (meant_.count(path) == 0) Add(FindingCode::MissingKey, place, message);
    }
}

void KeyReader::TellWrong(const WrongWord& wrong, const std::string& path, KeyKind kind) {
    auto [code, message] = Explained(wrong, kind);
    Add(code, wrong.place, path + ": " + message);
}

bool KeyReader::Check(const TomlValue& value, const std::string& path, KeyKind kind) {
    const auto wrong = wrong_.find(value.begin);
    if (wrong != wrong_.end()) {
        if (wrong->second.kind == WrongKind::Value) TellWrong(wrong->second, path, kind);
        return false;
    }
    if (Accepts(kind, value.type)) return true;
    std::string message = path + " is " + RowOf(kind).name + ", not " + NameOf(value.type);
    if (kind == KeyKind::Number && value.type == TomlType::Text) {
        const NumberWord number = ReadNumberWord(Trimmed(value.text));
        const bool is_number = number.fault == WordFault::None;
        if (is_number) message += ", write " + RealText(number.value) + " without quotes";
    }
    Add(FindingCode::WrongType, value.begin, message);
    return false;
}

bool KeyReader::Real(const TomlValue& value, const std::string& path, Limit limit, double& to) {
    if (std::isnan(value.number)) {
        Add(FindingCode::NotANumber, value.begin, path + ": \"nan\" is not a number");
    } else if (!std::isfinite(value.number)) {
        Add(FindingCode::OutOfRange, value.begin, path + " is not finite");
    } else if (!IsWithin(value.number, limit)) {
        Add(FindingCode::OutOfRange, value.begin,
            path + (limit == Limit::Positive ? " is not positive" : " is negative"));
    } else {
        to = value.number;
        return true;
    }
    return false;
}

void KeyReader::TellUnknown(const TomlValue& table, const std::string& path) {
    for (const TomlValue& member : table.children) {
        const std::string inner = path.empty() ? member.key : path + "." + member.key;
        const auto known = known_.find(inner);
        const bool has_point = member.key.find('.') != std::string::npos;
        if (known == known_.end() || has_point) {
            Add(FindingCode::UnknownKey, member.key_place, WhatWasMeant(path, member.key));
        } else if (known->second == KeyKind::Table && member.type == TomlType::Table) {
            TellUnknown(member, inner);
        }
    }
}

std::string KeyReader::WhatWasMeant(const std::string& table, const std::string& key) {
    const std::string what = "unknown key " + Quoted(key) + " in " + HeaderOf(table) + ", ";
    std::vector<std::string> keys;
    for (const auto& [path, kind] : known_) {
        if (KeyOf(path) == key) {
            meant_.insert(path);
            meant_.insert(TableOf(path));
            return what + "it belongs to " + HeaderOf(TableOf(path));
        }
        if (TableOf(path) == table) keys.push_back(KeyOf(path));
    }
    const std::string nearest(Nearest(key, keys));
    meant_.insert(table.empty() ? nearest : table + "." + nearest);
    return what + "the nearest known one is " + Quoted(nearest);
}

}  // namespace kiv
