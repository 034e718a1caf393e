// Conversion of inputs with their measured lines.
#include "job/Convert.h"

#include <gtest/gtest.h>

#include "io/InputFile.h"
#include "job/OldForm.h"
#include "support/FolderTest.h"

namespace kiv {
namespace {

bool Says(const std::vector<std::string>& texts, std::string_view word) {
    for (const std::string& text : texts) {
        if (text.find(word) != std::string::npos) return true;
    }
    return false;
}

class ConvertTest : public FolderTest {
  protected:
    static std::string Shipped(const std::string& name) {
        return ReadText(std::string(KIV_SOURCE_DIR) + "/" + name);
    }

    static Job OldJob(const InputFile& file, const std::string& lines) {
        Job job;
        job.form = InputForm::Old;
        job.old = file;
        job.input = NamedOf(file);
        job.lines = JobLines{"given.asn", LineFormat::Asn, true, lines, {}};
        return job;
    }

    static Job NamedJob(const std::string& text, const std::string& lines) {
        Job job;
        job.input = ReadNamed(text, "given.toml", job.findings).value_or(NamedInput{});
        const LineContext context{job.input.two_states, job.input.unit, {}, {}};
        job.lines = JobLines{"given.csv", LineFormat::Csv, true, lines, {}};
        job.lines->features =
            ReadLineFile(lines, LineFormat::Csv, context, "given.csv", job.findings);
        EXPECT_TRUE(job.usable()) << (job.usable() ? "" : TextOf(job.findings[0]));
        return job;
    }

    // One or two states with lines up to J = 9.
    static InputFile File(bool two_states) {
        NamedInput input;
        input.two_states = two_states;
        for (NamedState& state : input.states) {
            state.terms[Constant::A].value = 9.0;
            state.terms[Constant::B].value = state.terms[Constant::C].value = 5.0;
        }
        input.spectrum.max_J = 9;
        return OldOf(input);
    }
};

void ExpectSameLines(const std::string& text_a, const std::string& text_b,
                     const AssignmentLimits& limits) {
    const auto a = ReadAssignmentFile(text_a, limits, Memory());
    const auto b = ReadAssignmentFile(text_b, limits, Memory());
    ASSERT_TRUE(a.ok() && b.ok());
    ASSERT_EQ(a.value().size, b.value().size);
    EXPECT_EQ(a.value().split, b.value().split);
    for (std::size_t i = 0; i < static_cast<std::size_t>(a.value().size); ++i) {
        EXPECT_EQ(a.value().key[i], b.value().key[i]);
        EXPECT_EQ(a.value().frequency[i], b.value().frequency[i]);
        EXPECT_EQ(a.value().uncertainty[i], b.value().uncertainty[i]);
    }
}

TEST_F(ConvertTest, ExamplesThereAndBack) {
    const std::pair<const char*, const char*> examples[] = {
        {"examples/so2/fit.in", "examples/so2/so2.asn"},
        {"examples/h2coh_plus/fit.in", "examples/h2coh_plus/h2coh_plus.asn"}};
    for (const auto& [input, lines] : examples) {
        SCOPED_TRACE(input);
        const Result<Input> old = ReadInput(Shipped(input));
        ASSERT_TRUE(old.ok());
        const Conversion named =
            ConvertJob(OldJob(old.value().file, Shipped(lines)), InputForm::Named, "there");
        ASSERT_TRUE(named.ok()) << named.refusals[0];
        EXPECT_EQ(named.line_file, "there.csv");
        const Conversion back =
            ConvertJob(NamedJob(named.input, named.lines), InputForm::Old, "back");
        ASSERT_TRUE(back.ok()) << back.refusals[0];
        EXPECT_EQ(back.line_file, "back.asn");
        const Result<Input> again = ReadInput(back.input);
        ASSERT_TRUE(again.ok());
        EXPECT_EQ(again.value().file.assignment_file, "back.asn");
        EXPECT_NE(again.value().file.out_base, "back");  // results must not replace the input
        ExpectSameLines(Shipped(lines), back.lines, LimitsOf(old.value().file));
    }
}

// What a run of a positional input leaves out of its line file, or takes for something else.
TEST_F(ConvertTest, LinesThatOldRunsUse) {
    InputFile file = File(true);
    file.assignment_max_J = 5;
    const std::string lines =
        "B 1 1 1 0 0 0 100.5 0.1 first\n"
        "B 1 1 1 0 0 0 200.5 0.1 again\n"  // never matched
        "A 6 1 6 5 1 5 101.0 0.1\n"        // beyond the limit
        "A 3 1 3 1 1 1 102.0 0.1\n"        // no calculation has it
        "A 1 0 x\n"
        "A 2 0 0 1 1 0 100.5 -0.2\n"  // 2 0 0 stands for 2 1 1; the frequency of the first
        "#A 3 0 3 2 0 2 103.25\n"     // a band word like any other
        "//\n"
        "A 1 0 1 0 0 0 14.0\n"
        "//\n"
        "A 2 0 2 1 0 1 28.0\n";
    const Conversion two = ConvertJob(OldJob(file, lines), InputForm::Named, "new");
    ASSERT_TRUE(two.ok()) << two.refusals[0];
    EXPECT_EQ(two.lines,
              "J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty,v_up,v_lo,comment\n"
              "1,1,1,0,0,0,100.5,0.1,1,0,first\n"
              "3,0,3,2,0,2,103.25,,1,0,\n"
              "2,1,1,1,1,0,100.5,0.2,1,0,\n"
              "1,0,1,0,0,0,14,,0,0,\n");
    for (const char* word : {"2 lines malformed", "1 line that no", "1 line named", "1 line with a",
                             "sets behind the second"}) {
        EXPECT_TRUE(Says(two.notes, word)) << word;
    }
    const Conversion one =
        ConvertJob(OldJob(File(false), lines.substr(0, lines.rfind("//"))), InputForm::Named, "n");
    ASSERT_TRUE(one.ok()) << one.refusals[0];
    EXPECT_EQ(one.lines,
              "J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty\n"
              "1,0,1,0,0,0,14,\n");
    // Without any uncertainty they count as uniform.
    const Conversion bare =
        ConvertJob(OldJob(File(true), "A 1 0 1 0 0 0 14.0\n"), InputForm::Named, "n");
    EXPECT_NE(bare.input.find("weights = \"uniform\""), std::string::npos);
    EXPECT_EQ(one.input.find("weights"), std::string::npos);
}

TEST_F(ConvertTest, RefusedOldLines) {
    EXPECT_TRUE(Says(ConvertJob(OldJob(File(true), "A 1 0 1\n"), InputForm::Named, "n").refusals,
                     "no acceptable line"));
    const Conversion same = ConvertJob(OldJob(File(true), ""), InputForm::Old, "n");
    EXPECT_TRUE(Says(same.refusals, "already"));
    Job absent = OldJob(File(true), "");
    absent.lines->is_there = false;
    const Conversion without = ConvertJob(absent, InputForm::Named, "n");
    EXPECT_TRUE(without.ok() && without.line_file.empty());
    EXPECT_EQ(without.input.find("[fit]"), std::string::npos);
    EXPECT_TRUE(Says(without.notes, "given.asn"));
}

TEST_F(ConvertTest, RefusedNamedLines) {
    const std::string input =
        "kiv = 1\n[lower]\nA = 9\nB = 5\nC = 4\n[upper]\nA = 9\nB = 5\nC = 4\n"
        "[fit]\nlines = \"given.csv\"\n";
    const std::string head = "J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty,v_up,v_lo,";
    const std::string row = "1,0,1,0,0,0,8.5,0.1,1,0,\n";
    const auto convert = [&](const std::string& rows, const std::string& stem) {
        return ConvertJob(NamedJob(input, head + rows), InputForm::Old, stem);
    };
    EXPECT_TRUE(convert("weight\n" + row, "new").ok());
    EXPECT_TRUE(Says(convert("weight\n" + row + "1,1,1,0,0,0,8.5,0.1,1,0,\n", "new").refusals,
                     "1 0 1 - 0 0 0 is part of a blend"));
    EXPECT_TRUE(Says(convert("weight\n1,0,1,0,0,0,8.5,0.1,1,0,2\n", "new").refusals, "weight"));
    EXPECT_TRUE(Says(convert("weight\n1,0,1,0,0,0,8.5,0.1,1,1,\n", "new").refusals, "neither"));
    EXPECT_TRUE(Says(convert("weight\n" + row + "2,0,2,1,0,1,9,0.1,1,0,\n" + row, "n").refusals,
                     "1 0 1 - 0 0 0 is measured more than once"));
    EXPECT_TRUE(Says(convert("weight\n" + row, "two words").refusals, "two words"));
}

}  // namespace
}  // namespace kiv
