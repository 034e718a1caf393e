#include "job/Physics.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "job/LineCount.h"
#include "job/OldForm.h"
#include "job/OldReading.h"
#include "job/Understood.h"
#include "kiv/lines.h"
#include "kiv/partition.h"

namespace kiv {
namespace {

using Codes = std::vector<std::string>;

const char* const kRotor =
    "kiv = 1\n[lower]\nA = 60778.5\nB = 10317.9\nC = 8799.8\n[moment]\nmu = [0.0, 1.6, 0.0]\n"
    "[spectrum]\nJ_max = 30\ntemperature = 0.0\n";

// A job of a named input, with the text of a line file of its lines if there is one.
Job Named(const std::string& text, const std::string& lines = "",
          LineFormat format = LineFormat::Csv) {
    Job job;
    job.file = "f.toml";
    job.text = text;
    if (auto input = ReadNamed(text, job.file, job.findings)) job.input = *input;
    if (!lines.empty()) {
        job.lines = {"f.csv", format, true, lines, {}};
        LineContext context;
        context.two_states = job.input.two_states;
        context.unit = job.input.unit;
        job.lines->features = ReadLineFile(lines, format, context, "f.csv", job.findings);
    }
    CheckPhysics(job);
    job.findings.Sort();
    return job;
}

Job Old(const InputFile& document, const std::string& name = "f.in") {
    StringSink sink;
    WriteInputFile(sink, document);
    Job job;
    job.file = name;
    job.form = InputForm::Old;
    job.text = sink.text();
    auto reading = ReadOld(job.text, job.file, job.findings);
    job.input = NamedOf(reading->document);
    job.input.places = reading->places;
    job.old = reading->document;
    CheckPhysics(job);
    job.findings.Sort();
    return job;
}

// "3 not-abc-order" of each finding: its line and code.
Codes Told(const Job& job) {
    Codes codes;
    for (const Finding& finding : job.findings) {
        codes.push_back(std::to_string(finding.line) + " " + NameOf(finding.code));
    }
    return codes;
}

std::string With(std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
}

TEST(Physics, TellsWhatIsDoubtfulOfNamedInputs) {
    const struct {
        const char *from, *to;
        Codes told;
    } cases[] = {
        {"", "", {}},
        {"B = 10317.9", "B = 8000.0", {"5 not-abc-order"}},
        {"A = 60778.5", "A = 9000.0", {"4 not-abc-order"}},
        {"kiv = 1", "kiv = 1\nunit = \"cm-1\"", {"5 unit-mismatch"}},
        {"C = 8799.8\n", "C = 8799.8\nDJ = 104.0\n", {"6 suspicious-constant"}},
        {"C = 8799.8\n", "C = 8799.8\nDJ = -0.01\n", {"6 suspicious-constant"}},
        {"C = 8799.8\n", "C = 8799.8\nDJ = 103.0\nDK = 1.0\n", {}},
        {"C = 8799.8\n",
         "C = 8799.8\nfit = [\"PX\", \"A\"]\n",
         {"6 zero-start", "6 nothing-to-fit"}},
        {"[0.0, 1.6, 0.0]", "[0.0, 0.0, 0.0]", {"7 no-moment"}},
        {"J_max = 30", "J_max = 30\nspin_weights = [0, 0, 0, 0]", {"10 zero-weights"}},
        {"temperature = 0.0", "temperature = 300.0", {"9 incomplete-Q"}},
        {"temperature = 0.0", "temperature = 20.0", {}},
        {"J_max = 30", "J_max = 32000", {"9 out-of-range"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.to);
        EXPECT_EQ(Told(Named(With(kRotor, c.from, c.to))), c.told);
    }
}

TEST(Physics, LetsConstantsOfMoleculesPass) {
    for (const double B : {100.0, 1e3, 1e6}) {
        const std::string b = std::to_string(B);
        EXPECT_EQ(Told(Named("kiv = 1\n[lower]\nA = " + b + "\nB = " + b + "\nC = " + b +
                             "\n[moment]\nmu = [1.0, 0.0, 0.0]\n[spectrum]\ntemperature = 0.0\n")),
                  Codes());
    }
    for (const double B : {0.003, 1.0, 60.0}) {
        const std::string b = std::to_string(B);
        EXPECT_EQ(
            Told(Named("kiv = 1\nunit = \"cm-1\"\n[lower]\nA = " + b + "\nB = " + b + "\nC = " + b +
                       "\n[moment]\nmu = [1.0, 0.0, 0.0]\n[spectrum]\ntemperature = 0.0\n")),
            Codes());
    }
}

// 1_01 - 0_00 at B + C, 2_02 - 1_11 a little below.
TEST(Physics, ComparesMeasuredLinesWithTheModel) {
    const std::string head =
        "J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty\n1,1,1,0,0,0,";
    const std::string input =
        With(kRotor, "C = 8799.8\n", "C = 8799.8\nfit = [\"A\"]\n") + "[fit]\nlines = \"f.csv\"\n";
    const struct {
        const char* frequency;
        Codes told;
    } cases[] = {{"69578.3", {}},
                 {"52000.0", {}},
                 {"69.5783", {"2 unit-mismatch"}},
                 {"69578300.0", {"2 unit-mismatch"}},
                 {"2.3209", {"2 unit-mismatch"}}};
    for (const auto& c : cases) {
        EXPECT_EQ(Told(Named(input, head + c.frequency + ",0.1\n")), c.told) << c.frequency;
    }
    EXPECT_EQ(Told(Named(With(input, "[\"A\"]", "[]"), head + "69578.3,0.1\n")),
              Codes{"13 nothing-to-fit"});
    const Job words = Named(With(input, "f.csv", "f.asn"),
                            "B 1 1 1 0 0 0 69578.3 0.1\n a 2 0 2 1 1 1 9000 0.1\n"
                            "PQ 2 1 2 1 0 1 9000 0.1\n",
                            LineFormat::Asn);
    EXPECT_EQ(Told(words), Codes{"2 band-word"});
    EXPECT_EQ(words.findings[0].column, 2);
}

// A constant has no slope at 0 while an operation that flips its operator keeps the rest.
TEST(Physics, KnowsWhichConstantsCannotStartAtZero) {
    const struct {
        const char *constants, *fitted;
        bool is_told;
    } cases[] = {{"", "PX", true},
                 {"", "PXPZ", true},
                 {"", "PZ5", true},
                 {"", "PZ2PY", true},
                 {"", "DJ", false},
                 {"", "dK", false},
                 {"PZ = 5.0", "PZ3", false},
                 {"PZ = 5.0", "PXPY", true},
                 {"PX = 5.0", "PZ3", true},
                 {"PXPY = 5.0", "PZ", true},
                 {"tilt = [0, 20, 0]", "PXPZ", true},
                 {"PZ3 = 1.0\nPXPY = 5.0", "PX2PZ", false},
                 {"PX = 5.0\nPZ = 5.0", "PXPZ", false}};
    for (const auto& c : cases) {
        const std::string text =
            With(kRotor, "C = 8799.8\n",
                 std::string("C = 8799.8\n") + c.constants + "\nfit = [\"" + c.fitted + "\"]\n");
        bool is_told = false;
        for (const Finding& f : Named(text).findings) is_told |= f.code == FindingCode::ZeroStart;
        EXPECT_EQ(is_told, c.is_told) << c.constants << " " << c.fitted;
        // the levels say the same
        const NamedInput input = Named(text).input;
        State state = ModelOf(input).lower();
        const Constant constant = *ConstantNamed(c.fitted);
        Workspace work;
        state.Set(constant, 1e-3);
        Report silent;
        const Levels plus = SolveLevels(state, 4, true, work, silent).value();
        state.Set(constant, -1e-3);
        const Levels minus = SolveLevels(state, 4, true, work, silent).value();
        double slope = 0.0;
        for (std::size_t i = 0; i < plus.size(); ++i) {
            slope = std::max(slope, std::fabs(plus.energy[i] - minus.energy[i]));
        }
        EXPECT_EQ(slope < 1e-8, c.is_told) << c.constants << " " << c.fitted << " " << slope;
    }
}

TEST(Physics, TellsWhatIsDoubtfulOfOldInputs) {
    InputFile file;
    file.fit_status = 0;
    file.max_J = 30;
    file.temperatures = {20.0, 0.0, 0.0};
    file.cycles = 0;
    InputState& lower = file.states[kLower];
    lower.value[Constant::A] = 60778.5;
    lower.value[Constant::B] = 10317.9;
    lower.value[Constant::C] = 8799.8;
    file.out_base = "g";
    EXPECT_EQ(Told(Old(file)), Codes());
    EXPECT_EQ(Told(Old(file, "g.in")), Codes{"9 overwrites-input"});
    EXPECT_EQ(Told(Old(file, "./x/../g.in")), Codes{"9 overwrites-input"});
    InputFile off = file;
    off.states[kLower].fit[Constant::DJ] = 1;
    EXPECT_EQ(Told(Old(off)).at(0).substr(3), "fit-but-off");
    InputFile origin = file;
    origin.origin = 1000.0;
    origin.cycles = 3;
    ASSERT_EQ(Told(Old(origin)).size(), 2U);
    EXPECT_EQ(Told(Old(origin))[0].substr(4), "origin-unused");
    EXPECT_EQ(Told(Old(origin))[1].substr(4), "nothing-to-fit");
}

TEST(Physics, NamesTheJThatHoldsTheWholePartitionFunction) {
    for (const char* temperature : {"100.0", "200.0", "2000.0"}) {
        const Job job = Named(With(kRotor, "ature = 0.0", std::string("ature = ") + temperature));
        ASSERT_EQ(Told(job), Codes{"9 incomplete-Q"});
        Workspace work;
        const int J =
            SumPartition(ModelOf(job.input), SettingsOf(job.input), work).value().J_needed;
        const std::string& message = job.findings[0].message;
        const std::size_t at = message.find("J_max = ") + 8;
        EXPECT_NEAR(std::stoi(message.substr(at)), J, 1) << message;
    }
    const Job turned = Named(With(With(kRotor, "C = 8799.8\n", "C = 8799.8\nDJ = 10.0\n"),
                                  "ature = 0.0", "ature = 500.0"));
    ASSERT_EQ(turned.findings.size(), 1U);
    EXPECT_NE(turned.findings[0].message.find("fall from J"), std::string::npos);
}

TEST(Physics, CountsTheLinesThatARunFinds) {
    const struct {
        const char *mu, *extra;
    } cases[] = {{"[1.0, 0.0, 0.0]", ""},
                 {"[1.0, 0.5, 0.25]", ""},
                 {"[0.0, 1.0, 0.25]", "delta_K = 1\n"},
                 {"[0.0, 1.0, 0.0]", "spin_weights = [1, 0, 1, 0]\n"},
                 {"[1.0, 0.5, 0.25]", "parity = { lower = \"O\", upper = \"O\" }\n"}};
    for (const auto& [mu, extra] : cases) {
        std::string text = With(kRotor, "[0.0, 1.6, 0.0]", mu);
        text = With(With(text, "J_max = 30", std::string(extra) + "J_max = 7"), "60778.5", "14e3");
        for (const char* upper : {"", "[upper]\nA = 13e3\nB = 1e4\nC = 85e2\norigin = 1e8\n"}) {
            const NamedInput input = Named(text + upper).input;
            const Model model = ModelOf(input);
            Workspace work;
            const LineList lines = ComputeLines(model, SettingsOf(input), work).value();
            int bright = 0;
            for (std::int32_t i = 0; i < lines.size; ++i) {
                bright += lines.Line(i).intensity > 1e-20 ? 1 : 0;
            }
            EXPECT_EQ(CountLines(model, SettingsOf(input)), bright) << text << upper;
        }
    }
}

TEST(Understood, NamesDefaultsAndFiles) {
    const std::vector<std::string> files{"f.asc", "f.QZS"};
    const std::string text = UnderstoodText(Named(kRotor), files);
    for (const char* part :
         {"A  60778.5 MHz", "Watson's A reduction in representation I^r", "b 1.6", "J up to 30",
          "line strengths", "ee 1, eo 1, oo 1, oe 1", "961 levels", "f.asc, f.QZS", "parity"}) {
        EXPECT_NE(text.find(part), std::string::npos) << part << " in\n" << text;
    }
    EXPECT_EQ(UnderstoodText(Named("not toml"), files), "input      f.toml\n");
}

}  // namespace
}  // namespace kiv
