#include "input/InputParm.h"

#include <sys/stat.h>

#include <cmath>
#include <fstream>
#include <regex>
#include <thread>

#include "InputTest.h"
#include "input/InputLayout.h"
#include "input/RecordReader.h"
#include "input/TextScan.h"

namespace {

TEST_F(InputTest, NumbersAreReadAsFarAsTheyGo) {
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

// A row whose format names another type than its cell would write over its neighbours.
TEST(InputLayout, FormatsFitTheirCells) {
    const std::regex value("%-?[0-9.]*(hd|ld|lf|le|s)");                   // %*hd has no cell
    const char* const fitting[] = {"", "hd", "hd ld", "lf le", "s", "s"};  // by Cell::Type
    for (std::span<const ParmRow> rows : std::initializer_list<std::span<const ParmRow>>{
             kNameRows, kOriginRows, kRunRows, kOldHeadRows, kOldRunRows, kOldEndRows}) {
        for (const ParmRow& row : rows) {
            const std::string format = row.Format;
            std::sregex_iterator at(format.begin(), format.end(), value), none;
            for (const Cell& cell : row.At(Kiv)) {
                const std::string fits = fitting[static_cast<int>(cell.Kind)];
                ASSERT_EQ(at == none, fits.empty()) << format;
                EXPECT_TRUE(at == none || fits.find((*at++)[1]) != fits.npos) << format;
            }
        }
    }
}

// What a version fills takes the place of what was there, and is kept as the start values.
TEST_F(InputTest, EveryVersionFillsEverySlot) {
    const auto same = [](const auto& a, const auto& b) { return !std::memcmp(&a, &b, sizeof a); };
    for (const char* name :
         {"v5.6", "status", "ground", "v5.3", "v5.0", "v4.2", "v3.1", "v2.5", "v1.2", "v1.1"}) {
        SCOPED_TRACE(name);
        if (name[1] < '3') {  // fills less, but clears the constants that it cannot hold
            Kiv = KivRecord{};
            Kiv.Prm_Val[ST_GND][PRM_PX3] = Kiv.Prm_Stat[ST_EXC][PRM_PZ5] = 99;
            Kiv.Prm_Fit[ST_EXC][PRM_PX3] = 99;
        }
        ASSERT_EQ(ReadAgain(Sample(name + ".in"s)), 1) << Console;
        EXPECT_EQ(Console + Slots(), Sample(name + ".txt"s));
        const KivStart& s = Kiv.Start;
        const KivRecord& k = Kiv;
        EXPECT_TRUE(s.Inp_Flnm == k.Inp_Flnm && same(s.Inp_Version, k.Inp_Version) &&
                    same(s.Comment, k.Comment) && same(s.Out_Base, k.Out_Base) &&
                    same(s.Asn_Flnm, k.Asn_Flnm) && same(s.NextInp_Flnm, k.NextInp_Flnm));
        EXPECT_TRUE(same(s.Prm_Stat, k.Prm_Stat) && same(s.Prm_Val, k.Prm_Val) &&
                    same(s.Prm_Fit, k.Prm_Fit) && same(s.Euler_Phi, k.Euler_Phi) &&
                    same(s.Euler_Theta, k.Euler_Theta) && same(s.Euler_Chi, k.Euler_Chi));
    }
    ASSERT_EQ(Read(With(Sample("v1.2.in"), "0 1014", "1 1014")), 1);
    EXPECT_EQ(Kiv.Prm_Stat[ST_GND][PRM_DJ] + 2 * Kiv.Prm_Stat[ST_EXC][PRM_DJ], 3);
    Kiv.QZ_Fmt = 0x50000;  // short integers fill the low half
    ASSERT_EQ(ReadAgain(Sample("v5.6.in")), 1);
    EXPECT_EQ(Kiv.QZ_Fmt, 0x50000 + 27);
}

std::vector<std::string> WordsOf(const std::string& text) {
    std::vector<std::string> words;
    KivLine line;
    for (TextScan scan(text); KivReadLine(scan, line, 1) == 1;) words.push_back(line.Text);
    return words;
}

const std::string kBanner = "#\n# KIV INPUT FILE : VERSION v5.6 #\n";
const std::string kComment = "distinct values in every slot, version v5.6\n";
constexpr std::size_t kCommentWords = 7;

// Line breaks, blank lines and comments carry no meaning, whatever the line ends.
TEST_F(InputTest, LayoutOfTheLinesDoesNotMatter) {
    const std::string sample = Sample("v5.6.in");
    const std::vector<std::string> words = WordsOf(sample);
    std::string column = kBanner + kComment, row = column, remarks = column, crlf;
    for (std::size_t i = kCommentWords; i < words.size(); ++i) {
        column += "\n\t" + words[i] + "\n";
        row += words[i] + (i + 1 < words.size() ? " " : "");
        remarks += words[i] + " # remark 1 2 3\n#\n";
    }
    for (char c : sample) crlf += c == '\n' ? "\r\n"s : std::string(1, c);
    for (const std::string& text : {column, row, remarks, crlf, "\xEF\xBB\xBF" + sample}) {
        ASSERT_EQ(Read(text), 1) << Console;
        EXPECT_EQ(Console + Slots(), Sample("v5.6.txt"));
    }
    ASSERT_EQ(mkfifo("pipe.in", 0600), 0);
    std::thread writer([&] { std::ofstream("pipe.in") << sample; });
    EXPECT_EQ(ReadFile("pipe.in"), 1);
    writer.join();
    EXPECT_TRUE(Sample("v5.6.txt").ends_with(Slots()));
}

// Records, versions and whole texts that are no input file. A console of "=" stands for the slots
// of the sample.
TEST_F(InputTest, TextsAreAcceptedOrRefused) {
    for (const auto& row : Table("records.txt")) {  // file, from, to, status, end of the console
        SCOPED_TRACE(row[0] + ".in " + row[1] + " -> " + row[2].substr(0, 30));
        ASSERT_EQ(Read(With(Sample(row[0] + ".in"), row[1], row[2])), std::stoi(row[3]));
        EXPECT_TRUE(row[4] == "=" ? Sample(row[0] + ".txt").ends_with(Slots())
                                  : Console.ends_with(row[4]))
            << Console;
    }
}

// Cut behind any word: never more than the words there are, and the cut-off record is named.
TEST_F(InputTest, EveryPrematureEndIsNoticed) {
    const std::vector<std::string> words = WordsOf(Sample("v5.6.in"));
    std::string text = kBanner + kComment;
    for (std::size_t i = kCommentWords; i < words.size(); text += words[i++] + "\n") {
        ASSERT_EQ(Read(text), RD_EOF) << text;
        EXPECT_EQ(Console, "VERSION NUMBER OF INPUT FILE [test.in] IS [v5.6]\n\n");
    }
    EXPECT_EQ(Read(text), 1);
    const std::pair<const char*, const char*> ends[] = {
        {"", ""}, {"title\nbase_name # and no more\n", "base_name "}, {"title\na b c 1 2", "1 2 "}};
    for (const auto& [end, words_left] : ends) {
        ASSERT_EQ(Read(kBanner + end), RD_EOF);
        EXPECT_STREQ(LastReadLine(), words_left);
    }
}

TEST_F(InputTest, CommentKeepsWhatFits) {
    for (std::size_t size : {497u, 498u, 499u, 1u << 20}) {
        std::string comment;
        for (std::size_t i = 0; i < size; ++i) comment += static_cast<char>('a' + i % 26);
        ASSERT_EQ(Read(With(Sample("v5.6.in"), kComment, comment + "\n")), 1) << size;
        EXPECT_EQ(Kiv.Comment, comment.substr(0, 498) + "\n");
        EXPECT_STREQ(Kiv.Out_Base, "base_name");
    }
    EXPECT_EQ(Read(With(Sample("v5.6.in"), kComment, "null\0byte\n"s)), 0);
    EXPECT_EQ(Read(kBanner + "the end"), RD_EOF);
    EXPECT_STREQ(Kiv.Comment, "the end\n");
}

// The debug log is opened as soon as the switches are known.
TEST_F(InputTest, DebugSwitchOpensTheLog) {
    for (const char* name : {"v5.6.in", "v3.1.in", "v2.5.in", "v1.1.in"}) {
        std::string text = Sample(name);
        text.replace(text.rfind("31"), 2, "1 ");
        Kiv = KivRecord{};
        Kiv.Log_On = 1;
        ASSERT_EQ(ReadAgain(text), 1);
        ASSERT_NE(Kiv.Log_Fp, nullptr) << name;
        std::fclose(Kiv.Log_Fp);
        Kiv.Log_Fp = nullptr;
        EXPECT_EQ(
            ReadText("Kiv95_Debug.log"),
            (name[1] < '4' ? "EXIT KivReadOldInputParm()\n"s : ""s) + "EXIT KivReadInputParm()\n");
    }
}

TEST_F(InputTest, FilesThatCannotBeRead) {
    EXPECT_EQ(ReadFile("none.in"), 0);
    EXPECT_EQ(Console, "FAILED TO OPEN KIV INPUT FILE [none.in] FOR READING!\n");
    ArrRefuse(0);
    EXPECT_EQ(Read(Sample("v5.6.in")), 0);
    EXPECT_EQ(Console, "FAILED TO OPEN KIV INPUT FILE [test.in] FOR READING!\n");
    ArrRefuse(-1);
    std::filesystem::create_directory("folder");
    EXPECT_EQ(ReadFile("folder"), 0);
    EXPECT_EQ(Console, "VERSION NUMBER OF INPUT FILE [folder] IS [v1.0]\n\n");
}

// The squared direction cosines, with their signs, are the shares of the percentages; and back.
TEST(TMConvert, BothFormsDescribeOneDirection) {
    for (int i = 0; i < 36; ++i) {
        const double a[] = {-70, 0, 5, 100}, b[] = {-20, 0, 40}, c[] = {-30, 0, 50};
        const double pct[] = {a[i / 9], b[i / 3 % 3], c[i % 3]};
        const double sum = std::fabs(pct[0]) + std::fabs(pct[1]) + std::fabs(pct[2]);
        double given[] = {pct[0], pct[1], pct[2]}, ang[] = {-1, -1, -1}, back[3];
        TMConvert(1, ang, given);
        TMConvert(0, ang, back);
        EXPECT_NEAR(ang[0], sum / 100, 1e-14);
        EXPECT_TRUE(ang[1] >= 0 && (sum > 0 || (ang[1] == 0 && ang[2] == 0)));
        const double theta = ang[1] * kRadPerDeg, chi = ang[2] * kRadPerDeg;
        const double u[] = {std::cos(theta), std::sin(theta) * std::cos(chi),
                            std::sin(theta) * std::sin(chi)};
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(given[k], pct[k]);
            if (sum == 0) continue;
            EXPECT_NEAR(u[k] * std::fabs(u[k]), pct[k] / sum, 1e-11);
            EXPECT_NEAR(back[k], 100 * std::fabs(pct[k]) / sum, 1e-9);
        }
    }
}

}  // namespace
