#include "job/OldReading.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "io/InputFile.h"
#include "kiv/files.h"

namespace kiv {
namespace {

const std::string kRoot = std::string(KIV_SOURCE_DIR) + "/";
const char* const kFit = "examples/so2/fit.in";

// Inputs that are in order, one of each version among them.
const char* const kGood[] = {"examples/so2/fit.in",
                             "examples/so2/so2.in",
                             "examples/h2coh_plus/fit.in",
                             "examples/h2coh_plus/h2coh_plus.in",
                             "examples/7-azaindole/7-azaindole.in",
                             "examples/7-azaindole/tilted.in",
                             "tests/runs/a_type_J1/input.in",
                             "tests/runs/fit_J1/input.in",
                             "tests/runs/tilted_J1/input.in",
                             "tests/io/files/v1.1.in",
                             "tests/io/files/v1.2.in",
                             "tests/io/files/v2.5.in",
                             "tests/io/files/v3.1.in",
                             "tests/io/files/v4.2.in",
                             "tests/io/files/v5.0.in",
                             "tests/io/files/v5.3.in",
                             "tests/io/files/v5.6.in",
                             "tests/io/files/ground.in",
                             "tests/io/files/status.in"};

std::string FileText(const std::string& name) {
    std::ifstream file(kRoot + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The files of tests/io have a value of its own in every slot; switches get one that they may have.
std::string Text(const std::string& name) {
    const std::string text = FileText(name);
    if (!name.starts_with("tests/io/")) return text;
    static const std::regex indicator(R"(\b([12][05][012]\d|77)\b)"), minus(" -1(?=\\s+#| +10)"),
        uniform("13( +)14 ");
    const std::string positive = std::regex_replace(text, minus, "  1");
    return std::regex_replace(std::regex_replace(positive, indicator, "1"), uniform, "13$01 1 ");
}

struct Told {
    std::optional<OldReading> reading;
    Findings findings;

    explicit Told(const std::string& text) {
        reading = ReadOld(text, "f.in", findings);
        findings.Sort();
    }

    // "13:3 decimal-comma" of each error.
    std::vector<std::string> Errors() const {
        std::vector<std::string> errors;
        for (const Finding& f : findings) {
            if (f.severity != Severity::Error) continue;
            errors.push_back(std::to_string(f.line) + ":" + std::to_string(f.column) + " " +
                             NameOf(f.code));
        }
        return errors;
    }
};

using Errors = std::vector<std::string>;

std::optional<InputFile> ReadToday(const std::string& text) {
    InputListener silent;
    Result<InputFile> read = ReadInputFile(text, silent);
    return read ? std::optional(std::move(read).value()) : std::nullopt;
}

std::string Written(const InputFile& file) {
    StringSink sink;
    WriteInputFile(sink, file);
    return sink.text();
}

std::string PlaceAt(const std::string& text, std::size_t at) {
    const std::size_t line = static_cast<std::size_t>(
        std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
    const std::size_t start = at == 0 ? std::string::npos : text.rfind('\n', at - 1);
    return std::to_string(line + 1) + ":" +
           std::to_string(at - (start == std::string::npos ? 0 : start + 1) + 1);
}

// Words of a text that are values, by line.
struct Word {
    std::size_t at, size;
};

std::vector<std::vector<Word>> ValueLines(const std::string& text) {
    std::vector<std::vector<Word>> lines;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        std::vector<Word> words;
        for (std::size_t i = text.find_first_not_of(" \t", at); i < end;) {
            if (text[i] == '#') break;
            const std::size_t last = std::min(text.find_first_of(" \t\n", i), end);
            words.push_back({i, last - i});
            i = text.find_first_not_of(" \t", last);
        }
        if (!words.empty()) lines.push_back(words);
        at = end + 1;
    }
    lines.erase(lines.begin());  // the comment
    return lines;
}

TEST(OldReading, FilesInOrderHaveNoErrors) {
    for (const char* name : kGood) {
        SCOPED_TRACE(name);
        const std::string text = Text(name);
        const Told told(text);
        EXPECT_EQ(told.Errors(), Errors());
        ASSERT_TRUE(told.reading && ReadToday(text));
        EXPECT_EQ(Written(told.reading->document), Written(*ReadToday(text)));
    }
}

TEST(OldReading, KnowsThePlacesOfValues) {
    const std::string text = FileText("tests/io/files/v5.6.in");
    const Told told(text);
    const struct {
        const char *path, *word;
    } values[] = {{"out", "base_name"},
                  {"lower.A", "100.25"},
                  {"upper.C", "202.25"},
                  {"lower.tilt[1]", "12.5 "},
                  {"upper.fit.DJ", "2511"},
                  {"lower.status.PZ5", "1021"},
                  {"lower.d2", "112.25"},
                  {"upper.origin", "9000.125"},
                  {"spectrum.J_max", "41 "},
                  {"moment.percent[1]", "-20"},
                  {"unit", "CM-1"},
                  {"fit.reject_above", "15.5"},
                  {"spectrum.min_intensity", "0.0625"}};
    for (const auto& [path, word] : values) {
        const Place place = told.reading->places.Of(path);
        EXPECT_EQ(std::to_string(place.line) + ":" + std::to_string(place.column),
                  PlaceAt(text, text.find(word)))
            << path;
    }
}

// A text in which `from` becomes `to`; the finding is expected at the '^' of `to`.
struct Mistake {
    const char *from, *to, *code;
};

TEST(OldReading, TellsEachMistakeAtItsWord) {
    const Mistake mistakes[] = {
        {"6.0839330752e+04", "^60839,33", "decimal-comma"},
        {"1.0328390272e+04", "^1.0328D+04", "d-exponent"},
        {"8.8085020023e+03", "^88O8.5", "letter-for-digit"},
        {"8.8085020023e+03", "^8808.5x", "not-a-number"},
        {"8.8085020023e+03", "^-8808.5", "out-of-range"},
        {"8.8085020023e+03", "^nan", "out-of-range"},
        {"8.8085020023e+03", "^1e999", "out-of-range"},
        {"40                 7", "^40.5               7", "not-a-number"},
        {"40                 7", "^-1                 7", "out-of-range"},
        {"40                 7", "40 ^99999999999 ", "out-of-range"},
        {"300.000000", "^-5", "out-of-range"},
        {"           MHz", "           ^GHz", "bad-unit"},
        {"N                  E", "^M                  E", "bad-choice"},
        {"N                  E                  O", "N   E  ^o", "bad-choice"},
        {"5                  0                  1000", "^-5  0  1000", "bad-choice"},
        {"  0                  1                 \n", "  ^7 1\n", "bad-choice"},
        {"  0                  0\n\n# TRANSITION MOMENT (", "  0  ^2\n\n# TRANSITION MOMENT (",
         "bad-choice"},
        {"  0                  0\n\n# TRANSITION MOMENT (", "  ^5  0\n\n# TRANSITION MOMENT (",
         "bad-choice"},
        {"v5.6", "^v7.1", "unknown-version"},
        {"v5.6", "^56", "unknown-version"},
        {"so2_fit.in\n", "so2_fit.in ^more\n", "surplus-value"},
        {"  SO2 v=0", "  SO2\n ^second line v=0", "surplus-value"},
    };
    const std::string text = Text(kFit);
    for (const Mistake& mistake : mistakes) {
        std::string to = mistake.to;
        SCOPED_TRACE(to);
        const std::size_t at = text.find(mistake.from), mark = to.find('^');
        ASSERT_NE(at, std::string::npos);
        std::string changed = text;
        changed.replace(at, std::string(mistake.from).size(), to.erase(mark, 1));
        const Errors expected = {PlaceAt(changed, at + mark) + " " + mistake.code};
        EXPECT_EQ(Told(changed).Errors(), expected);
    }
}

// Each value of a file left out in turn, and one too many behind each record.
TEST(OldReading, FindsTheRecordOfAWrongNumberOfValues) {
    for (const char* name :
         {kFit, "tests/runs/rigid_J1/input.in", "tests/io/files/v5.6.in", "tests/io/files/v3.1.in",
          "tests/io/files/v2.5.in", "tests/io/files/v1.1.in", "tests/io/files/v1.2.in"}) {
        SCOPED_TRACE(name);
        const std::string text = Text(name);
        for (const auto& line : ValueLines(text)) {
            const Word& last = line.back();
            std::string more = text;
            more.insert(last.at + last.size, " 7");
            EXPECT_EQ(Told(more).Errors(),
                      Errors{PlaceAt(more, last.at + last.size + 1) + " surplus-value"});
            for (std::size_t i = 0; line.size() > 1 && i < line.size(); ++i) {
                std::string less = text;
                less.replace(line[i].at, line[i].size, std::string(line[i].size, ' '));
                const Word& end = i + 1 == line.size() ? line[i - 1] : last;
                const Errors errors = Told(less).Errors();
                ASSERT_EQ(errors.size(), 1U) << PlaceAt(less, line[i].at);
                EXPECT_EQ(errors[0].substr(0, errors[0].find(' ')), PlaceAt(less, end.at));
                EXPECT_TRUE(errors[0].ends_with("missing-value") ||
                            errors[0].ends_with("truncated"));
            }
        }
    }
}

TEST(OldReading, FindsSeveralMistakesAndReadsTheRest) {
    std::string text = Text(kFit);
    const auto replace = [&](const std::string& from, const std::string& to) {
        text.replace(text.find(from), from.size(), to);
    };
    replace("6.0839330752e+04 ", "60839,330752 ");
    replace("  0.000000           0.000000           0.000000\n", "  0.0 0.0\n");  // angles
    replace("  40                 7 ", "  40 7 8 ");
    replace("300.000000", "3OO.0");
    replace("100000.000000", "1d5");
    const Told told(text);
    const Errors expected = {"13:3 decimal-comma", "15:7 missing-value", "132:10 surplus-value",
                             "144:3 letter-for-digit", "147:41 d-exponent"};
    ASSERT_EQ(told.Errors().size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(told.Errors()[i].substr(told.Errors()[i].find(' ')),
                  expected[i].substr(expected[i].find(' ')));
    }
    ASSERT_TRUE(told.reading);
    const InputFile& document = told.reading->document;
    EXPECT_EQ(document.states[kLower].value[Constant::A], 60839.330752);
    EXPECT_EQ(document.max_J, 40);
    EXPECT_EQ(document.temperatures[0], 300.0);
    EXPECT_EQ(document.reject_above, 1e5);
    EXPECT_EQ(document.energy_unit, "MHz");
}

// A missing and a surplus value far apart cancel in the count of words.
TEST(OldReading, SeesMistakesThatCancelByTitles) {
    std::string text = Text(kFit);
    const std::size_t first = text.find("  1                  1                  1\n");
    text.replace(first, 2, "  1 ");
    const std::size_t weights = text.find("  1                  0                  1        ");
    text.replace(weights + 2, 1, " ");
    const Told told(text);
    ASSERT_EQ(told.Errors().size(), 2U);
    EXPECT_TRUE(told.Errors()[0].ends_with("surplus-value"));
    EXPECT_TRUE(told.Errors()[1].ends_with("missing-value"));
}

TEST(OldReading, AcceptsOtherLayoutsOfTheSameWords) {
    const std::string text = Text(kFit);
    std::string words, comments;
    std::vector<std::string> titles;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        (line.starts_with("#") ? comments : words) += line + "\n";
        if (line.starts_with("# G") || line.starts_with("# E")) titles.push_back(line);
    }
    const std::string head = text.substr(0, text.find("# COMMENT"));
    std::string joined = words.substr(words.find("  so2_fit"));
    std::replace(joined.begin(), joined.end(), '\n', ' ');
    std::string swapped = text;
    for (std::size_t i = 0; i + 1 < titles.size(); i += 2) {
        const std::size_t at = swapped.find(titles[i]);
        swapped.replace(at, titles[i].size(), titles[i + 1]);
    }
    const std::string comment =
        words.substr(words.find("  SO2"), words.find("  so2_fit") - words.find("  SO2"));
    const std::string below =
        "  so2_fit so2.asn so2_fit.in\n# OUT BASE FLNM\n" + words.substr(words.find("6.0839") - 2);
    const std::string today = Written(*ReadToday(text));
    for (const std::string& same : {head + words, head + comments + words, head + comment + joined,
                                    swapped, head + comment + below, "\xEF\xBB\xBF" + text}) {
        const Told told(same);
        EXPECT_EQ(told.Errors(), Errors());
        ASSERT_TRUE(told.reading);
        EXPECT_EQ(Written(told.reading->document), today);
    }
    std::string tail = text;
    tail.replace(tail.find("0.001000"), 8, "0.001#cut-off");
    EXPECT_EQ(Told(tail).Errors(), Errors());
    Told behind(text + "\nmy own remarks\n");
    EXPECT_EQ(behind.Errors(), Errors());
    ASSERT_EQ(behind.findings.size(), 1U);
    EXPECT_EQ(behind.findings[0].code, FindingCode::SurplusValue);
}

TEST(OldReading, TellsWhereAFileIsBrokenOff) {
    const std::string text = Text(kFit);
    for (const char* end : {"# MAX J", "7                  0.001000", "# GROUND STATE PHI"}) {
        const Told told(text.substr(0, text.find(end)));
        ASSERT_EQ(told.Errors().size(), 1U) << end;
        EXPECT_TRUE(told.Errors()[0].ends_with("truncated"));
    }
    const Told in_word(text.substr(0, text.find("8.8085020023e+03") + 14));  // ends in "e+"
    ASSERT_EQ(in_word.Errors().size(), 1U);
    EXPECT_NE(in_word.findings[0].message.find("PHI, THETA, CHI"), std::string::npos);
    EXPECT_EQ(Told("").Errors(), Errors{"1:1 truncated"});
}

TEST(OldReading, RefusesOtherTexts) {
    for (const char* name : {"examples/so2/so2.asn", "README.md", "tests/data/so2_measured.txt"}) {
        const Told told(Text(name));
        ASSERT_EQ(told.Errors().size(), 1U) << name;
        EXPECT_TRUE(told.Errors()[0].ends_with("unknown-version")) << name;
    }
    const Told named("kiv = 1\n[lower]\nA = 1\n");
    ASSERT_EQ(named.Errors(), Errors{"1:1 unknown-version"});
    EXPECT_NE(named.findings[0].message.find(".toml"), std::string::npos);
}

// Whatever is done to a file: without an error it can be read.
TEST(OldReading, FilesWithoutErrorsCanBeRead) {
    std::uint64_t state = 20;
    const auto random = [&state](std::size_t below) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        return static_cast<std::size_t>(state >> 33) % below;
    };
    const std::string pieces[] = {"#", " ",   "\n", "0",   "1",   "-",     ".",
                                  ",", "e",   "x",  " 7 ", "inf", "0x1p3", std::string(1, '\0'),
                                  "E", "\xC3"};
    int good = 0;
    for (const char* name : kGood) {
        const std::string text = Text(name);
        for (int n = 0; n < 60; ++n) {
            std::string changed = text;
            for (std::size_t k = 1 + random(2); k > 0; --k) {
                const std::size_t at = random(changed.size());
                changed.replace(at, random(3), pieces[random(std::size(pieces))]);
            }
            const Told told(changed);
            if (!told.Errors().empty()) continue;
            ++good;
            ASSERT_TRUE(told.reading && ReadToday(changed)) << changed;
            EXPECT_EQ(Written(told.reading->document), Written(*ReadToday(changed)));
        }
    }
    EXPECT_GT(good, 100);
}

}  // namespace
}  // namespace kiv
