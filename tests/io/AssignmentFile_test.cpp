#include "io/AssignmentFile.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "base/LineKey.h"
#include "io/Samples.h"

namespace kiv {
namespace {

#define LINE_1 "A 1 0 1 0 0 0 10 .1\n"
#define LINE_2 "A 2 0 2 1 0 1 20 .2\n"
#define LINE_3 "A 3 0 3 2 0 2 30 .3\n"

using Stored = std::tuple<std::uint64_t, double, double>;  // key, frequency, uncertainty

// What is heard, as words; rows of a first pass are told as I, those of a second as F.
class HeardLines : public AssignmentListener {
  public:
    void Malformed(const char* row, bool first) override {
        Put(first ? "first malformed" : "malformed");
        rows += row;
    }
    void BeyondLimits(const char*) override { Put("beyond"); }
    void Counted(const char* row, const SetCount& n) override { PutRow("I ", row, n); }
    void SetCounted(const SetCount& n) override { PutRow("set", "\n", n); }
    void NoneAccepted() override { Put("none"); }
    void EarlyEnd() override { Put("early"); }
    void NotSeparated() override { Put("separate"); }
    void Stored(const char* row, const SetCount& n) override { PutRow("F ", row, n); }
    void SetStored() override { rows += "stored\n"; }
    void NoneStored() override { Put("none stored"); }
    void WithoutUncertainty(std::int32_t lines) override { Put("zero " + std::to_string(lines)); }
    void MadeUniform() override { Put("uniform"); }
    void UncertaintiesIgnored() override { Put("ignored"); }

    std::string text, rows;

  private:
    void Put(const std::string& word) { text += (text.empty() ? "" : " ") + word; }
    void PutRow(const char* what, const char* row, const SetCount& n) {
        rows += what + std::to_string(n.rows) + " " + std::to_string(n.accepted) + " " + row;
    }
};

// A text that one pass, counted from 0, cannot read beyond `end`.
struct FailingSource : TextSource {
    const std::string text;
    const std::size_t end;
    const int failing;
    const bool rewinds;
    int pass = 0;
    std::size_t next = 0;

    FailingSource(const std::string& whole, std::size_t at, int in, bool again = true)
        : text(whole), end(at), failing(in), rewinds(again) {}
    bool broken() const override { return pass == failing && next == end; }
    bool Rewind() override {
        ++pass;
        next = 0;
        return rewinds;
    }
    std::size_t Read(char* to, std::size_t room) override {
        const std::size_t left = (pass == failing ? end : text.size()) - next;
        const std::size_t size = text.copy(to, std::min(room, left), next);
        next += size;
        return size;
    }
};

class AssignmentTest : public SampleTest {
  protected:
    bool ReadFrom(TextSource& source) {
        HeardLines listener;
        TextLines lines(source);
        Result<AssignmentReading> result = ReadAssignments(lines, options, memory, listener);
        heard = listener.text;
        rows = listener.rows;
        missing = result.ok() ? "" : result.error().subject;
        read = result.ok() ? std::move(result).value() : AssignmentReading{};
        return result.ok();
    }

    bool ReadLines(const std::string& text) {
        MemorySource source(text);
        return ReadFrom(source);
    }

    static std::vector<Stored> LinesOf(const Assignments& from) {
        std::vector<Stored> lines;
        for (std::size_t i = 0; i < static_cast<std::size_t>(from.size); ++i) {
            lines.emplace_back(from.key[i], from.frequency[i], from.uncertainty[i]);
        }
        return lines;
    }

    void ExpectCounts(int size, int rejected, int split, bool two_sets) const {
        const Assignments& sets = read.assignments;
        EXPECT_EQ(std::tuple(sets.size, read.rejected, sets.split, sets.two_sets),
                  std::tuple(size, rejected, split, two_sets));
    }

    AssignmentOptions options{{35, 35, 35}};
    Memory memory;
    AssignmentReading read;
    std::string heard, rows, missing;
};

TEST_F(AssignmentTest, EachSetIsSortedOnItsOwn) {
    // tau of each level: 1_01 0, 0_00 0, 2_12 1, 3_21 4, 2_20 4
    const std::string text =
        "A 3 2 1  2 2 0  300.5 0.3\n"
        "B  1 0 1 0 0 0 100.5 0.1 and a remark\r\n\n   \t\r\nbad\n//\n\n" LINE_3
        "A 99 0 99 98 0 98 1 1\nC/A 2 1 2 1 0 1 200.5 0.2";
    ASSERT_TRUE(ReadLines(text));
    const std::vector<Stored> expected = {{LineKey(0, 1, 0, 0), 100.5, 0.1},
                                          {LineKey(2, 3, 4, 4), 300.5, 0.3},
                                          {LineKey(1, 2, 0, 1), 200.5, 0.2},
                                          {LineKey(2, 3, 0, 0), 30.0, 0.3}};
    EXPECT_EQ(LinesOf(read.assignments), expected);
    ExpectCounts(4, 2, 2, true);
    const MeasuredLine lines[] = {{3, 2, 1, 2, 2, 0, 300.5, 0.3},
                                  {1, 0, 1, 0, 0, 0, 100.5, 0.1},
                                  {3, 0, 3, 2, 0, 2, 30.0, 0.3},
                                  {2, 1, 2, 1, 0, 1, 200.5, 0.2}};
    const auto made = Assignments::From({lines, 2}, {lines + 2, 2}, memory);
    EXPECT_EQ(LinesOf(made.value()), expected);
    EXPECT_TRUE(made.value().split == 2 && made.value().two_sets);
    const auto plain = ReadAssignmentFile(text, {35, 35, 35}, memory);
    EXPECT_EQ(LinesOf(plain.value()), expected);
}

// The table gives lines and their letters, then files in these letters.
TEST_F(AssignmentTest, SetsAndUncertainties) {
    std::map<char, std::string> lines;
    options.scale = 10.0;
    for (const auto& row : Table("sets.txt")) {
        if (row.size() == 2) lines[row[0][0]] = row[1];
        if (row.size() == 2) continue;
        SCOPED_TRACE(row[0]);
        std::string text;
        for (char line : row[0]) text += lines.at(line);
        options.uniform = static_cast<std::int16_t>(std::stoi(row[1]));
        EXPECT_EQ(ReadLines(text), row[2] != "-");
        EXPECT_EQ(heard, row[5]);
        if (row[2] == "-") continue;
        const int size = std::stoi(row[2]), split = std::stoi(row[3]);
        ExpectCounts(size, 0, split, size > split);
        EXPECT_EQ(read.uniform, std::stoi(row[4]));
        for (int i = 0; const auto& [key, frequency, uncertainty] : LinesOf(read.assignments)) {
            const bool none = row[0].find("uv."[i]) != row[0].npos;
            EXPECT_EQ(frequency, 100 * ++i);
            EXPECT_DOUBLE_EQ(uncertainty, none ? 1e20 : 0.1 * i);
        }
    }
}

// An impossible label whose tau is one of its J passes; the format is told for a first row only.
TEST_F(AssignmentTest, RowsAreCheckedOneByOne) {
    ASSERT_TRUE(ReadLines(Sample("bad.asn")));
    std::string told = "first malformed";
    for (int i = 1; i < 11; ++i) told += " malformed";
    for (int i = 0; i < 9; ++i) told += " beyond";
    EXPECT_EQ(heard, told + " ignored");
    ExpectCounts(2, 20, 2, false);
    EXPECT_EQ(read.assignments.key[1], LineKey(1, 2, 0, 2));
}

// In the ninth place words are remarks, also when they begin like a number that is none.
TEST_F(AssignmentTest, NinthWords) {
    const std::pair<const char*, double> words[] = {
        {"blended", 1e20},  {"inferred", 1e20}, {"nanotube", 1e20}, {"#.5", 1e20},
        {"0.01Debye", .01}, {".5 1.5D-3", .5},  {"45deg", 45},      {"0x1p-1", .5}};
    for (const auto& [word, uncertainty] : words) {
        ASSERT_TRUE(ReadLines("A 1 0 1 0 0 0 10 "s + word)) << word;
        EXPECT_EQ(read.assignments.uncertainty[0], uncertainty) << word;
    }
    for (const char* word : {"1.5D-3", "0,05", "1e999"}) {
        EXPECT_FALSE(ReadLines("A 1 0 1 0 0 0 10 "s + word)) << word;
        EXPECT_EQ(heard, "first malformed none");
    }
}

TEST_F(AssignmentTest, LimitsApplyWithinMaxJ) {
    const std::int32_t cases[][5] = {{9, -1, -1, -1, 1}, {8, -1, -1, -1, 0}, {9, 8, -1, -1, 0},
                                     {9, 10, -1, -1, 1}, {9, -1, 3, -1, 1},  {9, -1, 2, -1, 0},
                                     {9, -1, -1, 6, 1},  {9, -1, -1, 5, 0},  {9, -1, 99, 99, 1},
                                     {9, -1, 0, -1, 0}};
    for (const auto& [max_J, J, Ka, Kc, is_read] : cases) {
        std::tie(file.max_J, file.assignment_max_J, file.assignment_max_Ka,
                 file.assignment_max_Kc) = std::tie(max_J, J, Ka, Kc);
        options.limits = LimitsOf(file);
        EXPECT_EQ(ReadLines("A 9 3 6 8 2 6 1 1\n"), is_read == 1);
    }
    file = {};
    file.max_J = 2147483647;
    options.limits = LimitsOf(file);  // what the 16-bit fields of a key hold
    ASSERT_TRUE(
        ReadLines("A 300 300 0 299 0 299 1 1\nA 32767 32767 0 32766 0 32766 2 1\n"
                  "A 32768 0 32768 32767 0 32767 3 1\n"));
    ExpectCounts(2, 1, 2, false);
    EXPECT_EQ(read.assignments.key[0], LineKey(299, 300, 0, 600));
    EXPECT_EQ(read.assignments.key[1], LineKey(32766, 32767, 0, 65534));
    const MeasuredLine far{32768, 0, 32768, 32767, 0, 32767}, none{1, 0, 2, 0, 0, 0};
    for (const MeasuredLine& line : {far, none}) {
        EXPECT_EQ(Assignments::From({&line, 1}, {}, memory).error().code, ErrorCode::OutOfRange);
    }
}

TEST_F(AssignmentTest, RowsAreToldInBothPasses) {
    ASSERT_TRUE(ReadLines(LINE_2 "bad\r\n" LINE_1 "//\n" LINE_3));
    EXPECT_EQ(rows, "I 1 1 " LINE_2 "bad\nI 3 2 " LINE_1 "set3 2 \nF 1 1 " LINE_2 "F 3 2 " LINE_1
                    "stored\nI 1 1 " LINE_3 "set1 1 \nF 1 1 " LINE_3 "stored\n");
}

// Each refused request ends the reading with its name; the sweep ends with the first success.
TEST_F(AssignmentTest, EveryRefusedRequestIsNamed) {
    // two sets of which the first is to be sorted
    const char* const names[] = {
        "keys of", "frequencies of", "uncertainties of", "order of",       "sorted",
        "sorted",  "sorted",         "keys of",          "frequencies of", "uncertainties of"};
    for (std::int64_t granted = 0; const char* name : names) {
        memory.RefuseAfter(granted++);
        EXPECT_FALSE(ReadLines(LINE_2 LINE_1 "//\n" LINE_3));
        EXPECT_TRUE(missing.starts_with(name)) << missing;
        EXPECT_EQ(memory.held(), 0);
    }
    memory.RefuseAfter(std::size(names));
    EXPECT_TRUE(ReadLines(LINE_2 LINE_1 "//\n" LINE_3));
    ExpectCounts(3, 0, 2, true);
}

// A line of more than 499 characters goes on as a further line, in both passes alike; foreign bytes
// do no harm.
TEST_F(AssignmentTest, LongLinesAreSplit) {
    const std::string head = "A 1 0 1 0 0 0 10 .1 ";
    for (std::size_t size : {498u, 499u, 500u, 997u, 998u, 999u}) {
        for (char filler : {' ', 'x'}) {
            ASSERT_TRUE(ReadLines(head + std::string(size - head.size(), filler) + "\n" LINE_2));
            const int rest = filler == ' ' || size <= 499 ? 0 : size <= 998 ? 1 : 2;
            ExpectCounts(2, rest, 2, false);
        }
    }
    ASSERT_TRUE(ReadLines(std::string(1 << 20, 'x') + "\n" + std::string(499, ' ') + LINE_1));
    ExpectCounts(1, ((1 << 20) + 498) / 499, 1, false);
    ASSERT_TRUE(ReadLines(LINE_1 "A 2 0 2\0 1 0 1 20 .2\n"s + std::string(5000, '\0') + "\n"));
    ExpectCounts(1, 1 + 11, 1, false);
    ASSERT_TRUE(ReadLines("\xEF\xBB\xBF//\n" LINE_1));
    ExpectCounts(1, 0, 1, false);
}

// A disk that fails in the middle of a file is no end of the file, in either pass; and a pipe
// cannot be read twice.
TEST_F(AssignmentTest, BrokenReadsAreTold) {
    const std::string text = LINE_1 LINE_2 "//\n" LINE_3;
    const std::size_t first = std::string(LINE_1).size();
    FailingSource counting(text, 2 * first, 0), storing(text, first, 1), pipe(text, 0, 9, false);
    EXPECT_TRUE(ReadFrom(counting));
    EXPECT_EQ(heard, "early ignored");
    ExpectCounts(2, 0, 2, false);
    EXPECT_TRUE(ReadFrom(storing));
    EXPECT_EQ(heard, "early ignored");
    ExpectCounts(1, 0, 1, false);
    EXPECT_TRUE(ReadFrom(pipe));
    EXPECT_EQ(heard, "early none stored");
    ExpectCounts(0, 0, 0, false);
}

}  // namespace
}  // namespace kiv
