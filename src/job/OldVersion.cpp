#include "job/OldVersion.h"

#include <algorithm>
#include <iterator>

#include "io/InputFile.h"
#include "io/TextScan.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr int kVersionWord = 7;          // of the second line
constexpr std::size_t kMaxVersion = 15;  // characters

struct VersionWord {
    std::string text;  // empty: there is none
    Place place;
};

VersionWord FindVersion(std::string_view text) {
    TextScan scan(text);
    scan.RestOfLine();
    const std::string_view line = scan.RestOfLine();
    TextScan words(line);
    std::string_view word;
    for (int n = 0; n < kVersionWord; ++n) {
        if (!words.Word(word)) return {"", {}};
    }
    PlaceCounter places(text);
    return {std::string(word), places.At(static_cast<std::size_t>(word.data() - text.data()))};
}

// True for a text that has lines of a named input.
bool LooksNamed(std::string_view text) {
    constexpr std::string_view kTables[] = {"[lower]", "[upper]", "[moment]", "[spectrum]",
                                            "[fit]"};
    TextScan scan(text);
    for (std::string_view line = scan.RestOfLine(); !line.empty(); line = scan.RestOfLine()) {
        line = Trimmed(line);
        if (std::find(std::begin(kTables), std::end(kTables), line) != std::end(kTables)) {
            return true;
        }
        if (line.starts_with("kiv") && Trimmed(line.substr(3)).starts_with('=')) return true;
    }
    return false;
}

bool IsKnown(const std::string& version) {
    return version.size() <= kMaxVersion && version.find('.') != std::string::npos &&
           version.find('\0') == std::string::npos && MajorVersion(version) > 0;
}

}  // namespace

std::optional<std::string> CheckOldVersion(std::string_view text, const std::string& file,
                                           Findings& findings) {
    const VersionWord version = FindVersion(text);
    const bool is_named = LooksNamed(text);
    if (version.text.empty() ? !is_named : IsKnown(version.text)) return version.text;
    const std::string what =
        version.text.empty()
            ? "the second line names no version"
            : Quoted(version.text) +
                  " is no version of input files, these are v1.x, 2.x, v3.x, v4.x and v5.x";
    findings.Add(FindingCode::UnknownVersion, file, version.place,
                 what + (is_named ? "; named inputs have names that end in .toml" : ""));
    return {};
}

}  // namespace kiv
