#include "io/TextScan.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <random>
#include <string>

#include "io/ParseDouble.h"
#include "io/Samples.h"
#include "io/TextLines.h"

namespace kiv {
namespace {

class TextTest : public SampleTest {};

TEST_F(TextTest, NumbersAreReadAsFarAsTheyGo) {
    for (const auto& row : Table("numbers.txt")) {  // kind, text, outcome, value, next word
        SCOPED_TRACE(row[1]);
        TextScan text(row[1]);
        double real = -7.0;
        std::int64_t whole = 0;
        const bool is_int = row[0] == "int";
        const ScanEnd end = is_int ? text.Int(-32768, 32767, whole) : text.Real(real);
        EXPECT_EQ(end == ScanEnd::Good ? "Good" : end == ScanEnd::Bad ? "Bad" : "None", row[2]);
        if (is_int && end == ScanEnd::Good) real = static_cast<double>(whole);
        const double value = std::strtod(row[3].c_str(), nullptr);
        EXPECT_TRUE(real == value || (std::isnan(real) && std::isnan(value))) << real;
        std::string_view word;
        text.Word(word);
        EXPECT_EQ(word, row[4]);
    }
}

TEST_F(TextTest, PlacesCountFromOne) {
    TextScan text("a bc\r\n\n  d\n e");
    std::string found;
    std::string_view word, first;
    while (text.Word(word)) {
        if (first.empty()) first = word;
        const TextPlace place = text.PlaceOf(word);
        found += std::string(word) + std::to_string(place.line) + std::to_string(place.column);
    }
    EXPECT_EQ(found, "a11bc13d33e42");
    EXPECT_EQ(text.PlaceOf(first).line, 1u) << "and back";
}

TEST_F(TextTest, LinesAndWholeTextsOfEverySource) {
    std::string text = "\xEF\xBB\xBF";
    for (int i = 0; i < 30000; ++i) text += std::to_string(i) + "\n";
    std::FILE* const stream = std::tmpfile();
    std::fwrite(text.data(), 1, text.size(), stream);
    StreamSource from_stream(stream);
    MemorySource from_memory(text);
    for (TextSource* source : std::initializer_list<TextSource*>{&from_stream, &from_memory}) {
        TextLines lines(*source);
        for (int pass = 0; pass < 2; ++pass) {
            lines.Rewind();
            std::string_view line;
            int num = 0;
            while (lines.Next(line)) ASSERT_EQ(line, std::to_string(num++) + "\n");
            EXPECT_TRUE(num == 30000 && !lines.broken()) << num;
        }
        Array<char> whole, part;
        const Memory memory;
        source->Rewind();
        ASSERT_TRUE(LoadText(*source, 1 << 18, memory, whole));
        EXPECT_EQ(std::string_view(whole.data(), whole.size()), text);
        source->Rewind();
        EXPECT_FALSE(LoadText(*source, 1 << 17, memory, part)) << "more than the limit";
        source->Rewind();
        EXPECT_FALSE(LoadText(*source, 1 << 18, Memory(100000), part));
    }
    std::fclose(stream);
}

// The reader for libraries without one agrees with that of the library, in value and in length, on
// words that are made of pieces of numbers.
TEST_F(TextTest, NumbersAreTheSameWithEveryLibrary) {
    constexpr const char* kPieces[] = {
        "0",   "1", "9", "5", "00", ".",  "e", "E-", "e+3", "e3",  "308",  "324", "1e5", "inf",
        "nan", "x", " ", "d", "-",  "17", ",", "0.", "e-",  "4.9", "2225", "INF", "p4"};
    std::mt19937 gen(11);
    for (int i = 0; i < 200000; ++i) {
        std::string word;
        for (unsigned n = gen() % 8 + 1; n > 0; --n) word += kPieces[gen() % std::size(kPieces)];
        const bool hex = i % 4 == 0;
        double ours = -7.0, theirs = -7.0;
        const auto got = ParseDoubleByStrtod(word.data(), word.data() + word.size(), ours, hex);
        const auto want = ParseDouble(word.data(), word.data() + word.size(), theirs, hex);
        if (word[0] == '-' || (hex && word.find("p") != word.npos)) continue;  // no text for it
        EXPECT_EQ(got.ptr, want.ptr) << word;
        EXPECT_EQ(got.ec, want.ec) << word;
        EXPECT_TRUE(ours == theirs || (std::isnan(ours) && std::isnan(theirs))) << word;
    }
}

}  // namespace
}  // namespace kiv
