#include "io/InputFile.h"

#include <cmath>
#include <tuple>

#include "io/Samples.h"
#include "io/TextScan.h"
#include "model/Units.h"

namespace kiv {
namespace {

class InputFileTest : public SampleTest {};

TEST_F(InputFileTest, EveryVersionFillsEverySlot) {
    for (const char* name :
         {"v5.6", "status", "ground", "v5.3", "v5.0", "v4.2", "v3.1", "v2.5", "v1.2", "v1.1"}) {
        ASSERT_TRUE(Read(Sample(name + ".in"s))) << name << heard;
        EXPECT_EQ(heard + "\n" + Slots(), Sample(name + ".txt"s));
    }
    ASSERT_TRUE(Read(With(Sample("v1.2.in"), "0 1014", "1 1014")));
    for (const InputState& state : file.states) EXPECT_EQ(state.status[Constant::DJ], 1);
    answer = true;
    ASSERT_TRUE(Read(Sample("v1.1.in")));
    EXPECT_EQ(file.old_format, 1);
}

// The words of a file but for its comments, by their definition.
std::vector<std::string> WordsOf(const std::string& text) {
    std::vector<std::string> words;
    TextScan scan(text);
    for (std::string_view word; scan.Word(word);) {
        if (word[0] == '#') {
            scan.RestOfLine();
        } else {
            words.emplace_back(word);
        }
    }
    return words;
}

const std::string kBanner = "#\n# KIV INPUT FILE : VERSION v5.6 #\n";
const std::string kComment = "distinct values in every slot, version v5.6\n";
constexpr std::size_t kCommentWords = 7;

// Line breaks, blank lines and comments carry no meaning, whatever the line ends.
TEST_F(InputFileTest, LayoutOfTheLinesDoesNotMatter) {
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
        ASSERT_TRUE(Read(text)) << heard;
        EXPECT_EQ(heard + "\n" + Slots(), Sample("v5.6.txt"));
    }
}

// Records, versions and whole texts that are no input file.
TEST_F(InputFileTest, TextsAreAcceptedOrRefused) {
    for (const auto& row : Table("records.txt")) {  // file, from, to, outcome
        SCOPED_TRACE(row[0] + ".in " + row[1] + " -> " + row[2].substr(0, 30));
        const bool read = Read(With(Sample(row[0] + ".in"), row[1], row[2]));
        const bool same =
            read && row[3].ends_with('=') && Sample(row[0] + ".txt").ends_with(Slots());
        EXPECT_EQ(heard + (same ? " =" : read ? " ok" : ""), row[3]);
    }
}

// Cut behind any word: a plain failure for version 1, a named one for the others.
TEST_F(InputFileTest, EveryPrematureEndIsNoticed) {
    for (const char* name : {"v5.6.in", "v3.1.in", "v2.5.in", "v1.2.in", "v1.1.in"}) {
        const std::string text = Sample(name);
        const std::size_t last = text.find_last_of(" \n", text.size() - 2);
        int cuts = 0;
        for (std::size_t at = text.find('\n', text.find("in every slot")); at <= last;
             at = text.find_first_of(" \n", text.find_first_not_of(" \n", at)), ++cuts) {
            ASSERT_FALSE(Read(text.substr(0, at))) << name << at;
            EXPECT_EQ(heard.ends_with(" end"), name[1] != '1') << heard;
        }
        EXPECT_GT(cuts, 70);
    }
    const std::pair<const char*, const char*> ends[] = {
        {"", ""}, {"title\nbase_name # and no more\n", "base_name "}, {"title\na b c 1 2", "1 2 "}};
    for (const auto& [end, words_left] : ends) {
        EXPECT_FALSE(Read(kBanner + end));
        EXPECT_EQ(cut_off, words_left);
    }
}

TEST_F(InputFileTest, CommentKeepsWhatFits) {
    for (std::size_t size : {497u, 498u, 499u, 1u << 20}) {
        std::string comment;
        for (std::size_t i = 0; i < size; ++i) comment += static_cast<char>('a' + i % 26);
        ASSERT_TRUE(Read(With(Sample("v5.6.in"), kComment, comment + "\n"))) << size;
        EXPECT_EQ(file.comment, comment.substr(0, 498) + "\n");
        EXPECT_EQ(file.out_base, "base_name");
    }
    EXPECT_FALSE(Read(With(Sample("v5.6.in"), kComment, "null\0byte\n"s)));
}

TEST_F(InputFileTest, BandWordsTurnTheMoment) {
    const char* const words[] = {"A", "B", "C", "B/A", "C/A", "C/B"};
    const double angles[][2] = {{0, 0}, {90, 0}, {90, 90}, {45, 0}, {45, 90}, {90, 45}};
    for (std::size_t i = 0; i < 6; ++i) {
        ASSERT_TRUE(Read(With(Sample("v1.1.in"), "C/B 5", words[i] + " 5"s))) << words[i];
        EXPECT_EQ(file.moment_angles, (std::array{1.0, angles[i][0], angles[i][1]})) << words[i];
    }
}

// The squared direction cosines, with their signs, are the shares of the percentages; and back.
TEST(MatchMoment, BothFormsDescribeOneDirection) {
    for (int i = 0; i < 36; ++i) {
        const double a[] = {-70, 0, 5, 100}, b[] = {-20, 0, 40}, c[] = {-30, 0, 50};
        const std::array<double, 3> given{a[i / 9], b[i / 3 % 3], c[i % 3]};
        const double sum = std::fabs(given[0]) + std::fabs(given[1]) + std::fabs(given[2]);
        InputFile file;
        file.moment_percent = given;
        file.moment_angles = {-1, -1, -1};
        MatchMoment(file);
        EXPECT_EQ(file.moment_percent, given);
        const auto [size, theta, chi] = file.moment_angles;
        EXPECT_NEAR(size, sum / 100, 1e-14);
        EXPECT_TRUE(theta >= 0 && (sum > 0 || (theta == 0 && chi == 0)));
        const double t = theta * kRadPerDeg, x = chi * kRadPerDeg;
        const double u[] = {std::cos(t), std::sin(t) * std::cos(x), std::sin(t) * std::sin(x)};
        file.moment_method = 0;
        MatchMoment(file);
        for (std::size_t k = 0; k < 3 && sum > 0; ++k) {
            EXPECT_NEAR(u[k] * std::fabs(u[k]), given[k] / sum, 1e-11);
            EXPECT_NEAR(file.moment_percent[k], 100 * std::fabs(given[k]) / sum, 1e-9);
        }
    }
}

// The numbers of the samples, by their rules, and the switches that they do not hold.
TEST_F(InputFileTest, ModelAndSettingsOfADocument) {
    ASSERT_TRUE(Read(Sample("status.in")));
    file.states[kUpper].fit[Constant::dJ] = 1;
    Model model = ModelOf(file);
    for (StateIndex s : {kLower, kUpper}) {
        const State& state = model.states[s];
        for (int c = 0; c < kNumFileConstants; ++c) {
            const auto which = static_cast<Constant>(c);
            EXPECT_EQ(state.value(which), 100 * (s + 1) + c + 0.25);
            EXPECT_EQ(state.terms[c].on,
                      c < 3 || which == Constant::PXPY || which == Constant::PXPZ);
            EXPECT_EQ(state.terms[c].fit, s == kUpper && which == Constant::dJ);
        }
        EXPECT_EQ(state.tilt.theta, 10 * (s + 1) + 2.5);
        EXPECT_EQ(state.reduction, s == kUpper ? Reduction::A : Reduction::S) << "status 3";
    }
    EXPECT_TRUE(!model.one_state && model.origin.on && !model.origin.fit);
    EXPECT_EQ(model.origin.value, 9000.125);
    EXPECT_EQ(model.moment.frame, kUpper);
    for (std::size_t i = 0; i < 3; ++i) {
        const double c = model.moment.component[i];
        EXPECT_NEAR(100 * c * std::fabs(c), file.moment_percent[i], 1e-12);
    }
    const Settings settings = SettingsOf(file);
    EXPECT_EQ(settings.fit.data, FitData::UpperDifferences);
    EXPECT_EQ(settings.fit.weights, FitWeights::Unscaled);
    EXPECT_EQ(settings.lines.energy_per_kelvin, 20836.7381265);
    EXPECT_EQ(settings.lines.weight2, 0.75);
    file.fit_status = 0;
    file.moment_method = 0;
    file.moment_angles = {4.0, 90.0, 0.0};
    model = ModelOf(file);
    EXPECT_TRUE(model.one_state && model.lower().terms[Constant::A].on);
    EXPECT_FALSE(model.upper().terms[Constant::C].on);
    EXPECT_NEAR(model.moment.component[1], 2.0, 1e-9);
    file.moment_method = 2;
    EXPECT_EQ(ModelOf(file).moment.component, (std::array{1.0, 1.0, 1.0}));
}

TEST(ParityOf, NamesTheWordThatIsNone) {
    const char* const words[][4] = {{"N", "O", "O", "none"},
                                    {"Y", "E", "O", "01"},
                                    {"y", "x", "x", "parity status"},
                                    {"N", "x", "x", "Ka parity"},
                                    {"Y", "O", "", "Kc parity"}};
    for (const auto& [status, ka, kc, expected] : words) {
        InputFile file;
        std::tie(file.parity_status, file.ka_parity, file.kc_parity) = std::tie(status, ka, kc);
        const auto parity = ParityOf(file);
        std::string got = parity.ok() ? "none" : parity.error().subject;
        if (parity.ok() && parity.value()) {
            got = std::to_string(parity.value()->ka_odd) + std::to_string(parity.value()->kc_odd);
        }
        EXPECT_EQ(got, expected);
    }
}

// ------------------------------------------------------------------------------------ writing

std::string Written(const InputFile& file) {
    StringSink sink;
    WriteInputFile(sink, file);
    return sink.text();
}

// The examples were written by another program to the same layout: no byte may differ.
TEST_F(InputFileTest, ExamplesAreReproduced) {
    for (const char* name :
         {"so2/so2.in", "so2/fit.in", "h2coh_plus/fit.in", "7-azaindole/7-azaindole.in"}) {
        const std::string text = ReadText(std::string(KIV_SOURCE_DIR) + "/examples/" + name);
        ASSERT_TRUE(Read(text)) << name;
        EXPECT_EQ(Written(file), text) << name;
    }
}

// Every slot survives, from whatever version it came.
TEST_F(InputFileTest, WhatIsWrittenIsReadBack) {
    for (const char* name : {"v5.6", "status", "ground", "v5.3", "v4.2", "v3.1"}) {
        ASSERT_TRUE(Read(Sample(name + ".in"s)));
        const std::string slots = Slots(), text = Written(file);
        ASSERT_TRUE(Read(text)) << heard;
        EXPECT_EQ(heard, "version v5.6");
        EXPECT_EQ(Slots(), slots) << name;
        EXPECT_EQ(Written(file), text) << name;
    }
    Model model = ModelOf(file);
    model.upper().terms[Constant::PZ5].value = 1.5;
    model.origin.value = -2.5;
    PutConstants(file, model);
    EXPECT_EQ(file.states[kUpper].value[Constant::PZ5] + file.origin, -1.0);
    EXPECT_EQ(file.states[kLower].value[Constant::A], 100.25);
    for (std::int16_t reduction : {0, 1, 2, 3, 7}) {  // names the distortion constants
        file.reduction_status = reduction;
        const std::string text = Written(file);
        for (int s : {kLower, kUpper}) {
            const bool is_A = reduction == 1 || reduction == 2 + s;
            const std::string head = s == kLower ? "# GROUND STATE " : "# EXCITED STATE ";
            EXPECT_NE(text.find(head + (is_A ? "<dJ> & <dK>" : "<d1> & <d2>")), text.npos);
        }
    }
}

// A comment that reads as none, as old files and front ends may have it, must not shift the file.
TEST_F(InputFileTest, EveryCommentIsReadBack) {
    const std::string longest = std::string(498, 'c') + "\n";
    const std::pair<std::string, std::string> cases[] = {{"# old \n", "old \n"},
                                                         {"## \t\n", "NO COMMENT\n"},
                                                         {"", "NO COMMENT\n"},
                                                         {"no line end", "no line end\n"},
                                                         {longest, longest}};
    for (const auto& [written, read] : cases) {
        file.comment = written;
        ASSERT_TRUE(Read(Written(file))) << written;
        EXPECT_EQ(file.comment, read);
        EXPECT_EQ(file.out_base, "Kiv");
    }
}

TEST_F(InputFileTest, PublicReaderGivesAllOrAnError) {
    const std::string sample = Sample("v5.6.in");
    const Result<Input> input = ReadInput(sample);
    ASSERT_TRUE(input.ok());
    EXPECT_EQ(input.value().settings.max_J, 41);
    EXPECT_TRUE(input.value().settings.lines.parity->ka_odd);
    EXPECT_EQ(ReadInput(With(sample, "CM-1", "eV")).error().subject, "eV");
    EXPECT_EQ(ReadInput(With(sample, "  Y    ", "  y    ")).error().subject, kParityStatusWord);
    EXPECT_EQ(ReadInput(kBanner).error().code, ErrorCode::Truncated);
}

}  // namespace
}  // namespace kiv
