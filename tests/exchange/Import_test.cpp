// What the suite's files say, and the many forms in which they say it.
#include <gtest/gtest.h>

#include "Sets.h"
#include "exchange/MeasuredLines.h"

namespace kiv {
namespace {

TEST(SuiteImport, SaysWhatTheSetSays) {
    const SuiteImport made = Imported(kPar);
    EXPECT_EQ(ShortText(made.findings), "");
    const NamedInput& input = made.input;
    const NamedState& state = input.lower();
    EXPECT_EQ(state.reduction, Reduction::A);
    EXPECT_EQ(state.terms[Constant::A].value, 9000.0);
    EXPECT_EQ(state.terms[Constant::DJ].value, 1e-3) << "-DJ stands there";
    EXPECT_EQ(state.terms[Constant::dK].value, 2e-3);
    EXPECT_TRUE(state.terms[Constant::C].fit);
    EXPECT_FALSE(state.terms[Constant::DJ].fit);
    EXPECT_EQ(input.moment->values, (std::array<double, 3>{1.0, -0.5, 0.0}));
    EXPECT_EQ(input.spectrum.max_J, 10);
    EXPECT_EQ(input.spectrum.rules.temperature, 200.0);
    EXPECT_EQ((*input.spectrum.range)[1], 1e6) << "GHz";
    EXPECT_EQ(input.spectrum.rules.spin_weights, (std::array<std::int32_t, 4>{1, 3, 1, 3}));
    EXPECT_EQ(made.features.size(), 3U);
    EXPECT_EQ(input.fit.lines, "x.csv");
    EXPECT_TRUE(made.text.starts_with("# Imported from x.par, x.int and x.lin")) << made.text;
}

// The same files as other hands and programs write them.
TEST(SuiteImport, TakesWhatExists) {
    const std::string usual = WriteNamed(Imported(kPar).input);
    const auto same = [&](const char* what, const SuiteImport& made) {
        EXPECT_EQ(ShortText(made.findings), "") << what;
        EXPECT_EQ(WriteNamed(made.input), usual) << what;
        EXPECT_EQ(made.lines, Imported(kPar).lines) << what;
    };
    const auto with = [](std::string text, const std::string& from, const std::string& to) {
        for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
            text.replace(at, from.size(), to);
        }
        return text;
    };
    const std::string par(kPar), intensities(kInt), lin(kLin);
    same("CRLF", Imported(with(par, "\n", "\r\n"), with(intensities, "\n", "\r\n"),
                          with(lin, "\n", "\r\n")));
    same("no end of the last line", Imported(par.substr(0, par.size() - 1)));
    same("byte-order mark", Imported("\xEF\xBB\xBF" + par));
    same("end-of-file mark", Imported(par + "\x1A", intensities + "\x1A", lin + "\x1A"));
    same("D exponents", Imported(with(par, "E+", "D+")));
    same("no labels", Imported(with(with(par, " /A\n", "\n"), " /-DJ", "")));
    same("words for labels", Imported(with(par, " /A\n", " A\n")));
    same("points on codes", Imported(with(par, "30000 ", "30000.")));
    same("commas", Imported(with(with(par, "10000   9.0", "10000,9.0"), "E+03 1.", "E+03, 1.")));
    same("blank lines", Imported(with(par, "\n", "\n\n"), with(intensities, "\n", "\n \n"),
                                 with(lin, "\n", "\n\n/ remark\n")));
    same("quoted letter", Imported(with(par, "\na   1", "\n 'a'  1")));
    same("no letter", Imported(with(par, "\na   1", "\n    1")));
    same("short option line", Imported(with(par, "3   0   1   0\n", "3\n")));
    same("option line without blanks", Imported(with(par, "a   1   1   0  99", "a,1,1,0,99")));
    same("every state", Imported(with(par, "  10000", "  10099")));
    same(
        "few counts",
        Imported(with(par, "    0     0.0000E+00     1.0000E+06     1.0000E+00 1.0000000000", "")));
    same("more room than lines", Imported(with(par, "    3   20", " 5000   20")));
    same("remarks", Imported(par + "\nwritten in 1999\n"));
}

TEST(SuiteImport, AVarWithItsCovariance) {
    const std::string var = With(kPar, "1.00000000E+36", "3.20000000E-04") +
                            " 0.0845277 0.0022267-0.0840164-0.0799629\n-0.2534655 1.0000000\n";
    const SuiteImport fitted = Imported(var, kInt, kLin, true);
    EXPECT_EQ(ShortText(fitted.findings), "") << "the error of a fit is no a-priori error";
    EXPECT_TRUE(fitted.input.lower().terms[Constant::A].fit);
    EXPECT_EQ(ShortText(Imported(var, kInt, "", true).findings), "x.var left-out 4:39 warning");
    EXPECT_EQ(ShortText(Imported(With(var, "   5 ", "   8 "), kInt, kLin, true).findings),
              "x.var count-mismatch 2:4 warning")
        << "the covariance is no constant";
}

// Codes and signs: DJ, DJK, DK, dJ, dK stand with a minus, all others with their own sign.
TEST(SuiteImport, CodesAndSigns) {
    struct Row {
        int code;
        const char *in_A, *in_S;
    };
    constexpr Row kRows[] = {
        {200, "-DJ", "-DJ"},    {1100, "-DJK", "-DJK"}, {2000, "-DK", "-DK"},   {300, "HJ", "HJ"},
        {1200, "HJK", "HJK"},   {2100, "HKJ", "HKJ"},   {3000, "HK", "HK"},     {400, "LJ", "LJ"},
        {1300, "LJJK", "LJJK"}, {2200, "LJK", "LJK"},   {3100, "LKKJ", "LKKJ"}, {4000, "LK", "LK"},
        {40100, "-dJ", "d1"},   {41000, "-dK", ""},     {40200, "hJ", "h1"},    {41100, "hJK", ""},
        {42000, "hK", ""},      {40300, "lJ", "l1"},    {41200, "lJK", ""},     {42100, "lKJ", ""},
        {43000, "lK", ""},      {50000, "", "d2"},      {50100, "", "h2"},      {60000, "", "h3"},
        {50200, "", "l2"},      {60100, "", "l3"},      {70000, "", "l4"}};
    for (const Reduction reduction : {Reduction::A, Reduction::S}) {
        const bool is_S = reduction == Reduction::S;
        std::string par(kPar.substr(0, kPar.find("          200")));
        par = With(par, "\na ", is_S ? "\ns " : "\na ");
        for (const Row& row : kRows) {
            const std::string name = is_S ? row.in_S : row.in_A;
            if (name.empty()) continue;
            const std::string code = std::to_string(row.code);
            const SuiteImport made =
                Imported(With(par, "   5 ", "   4 ") + code + " 2.5D-5 1e-37\n", kInt, "");
            EXPECT_EQ(ShortText(made.findings), "") << name;
            const bool is_minus = name.starts_with('-');
            const std::string says =
                "\n" + name.substr(is_minus ? 1 : 0) + (is_minus ? " = -2.5e-05" : " = 2.5e-05");
            EXPECT_NE(made.text.find(says + "\n"), std::string::npos) << says << made.text;
            EXPECT_EQ(made.text.find("reduction = \"S\"") != std::string::npos, is_S);
        }
    }
}

TEST(SuiteImport, SpinWeightsByAxis) {
    const auto weights = [](const char* option) {
        const SuiteImport made = Imported(With(kPar, "2   1   3   0", option));
        EXPECT_EQ(ShortText(made.findings), "") << option;
        return made.input.spectrum.rules.spin_weights;
    };
    using Weights = std::array<std::int32_t, 4>;  // Ka Kc even-even, eo, oo, oe
    EXPECT_EQ(weights("1   1   3   0"), (Weights{1, 1, 3, 3})) << "a: parity of Ka";
    EXPECT_EQ(weights("2   9   7   0"), (Weights{9, 7, 9, 7})) << "b: of Ka + Kc";
    EXPECT_EQ(weights("3   5   3   0"), (Weights{5, 3, 3, 5})) << "c: of Kc";
    EXPECT_EQ(weights("0   2   2   0"), (Weights{2, 2, 2, 2}));
}

TEST(SuiteImport, TwoStates) {
    std::string par = With(With(kPar, "a   1   1", "a   1   2"), "   5 ", "   9 ");
    par += "10011 9010 1e36\n20011 5001 1e36\n30011 3001 1e-37\n11 3e6 1e36 /E\n";
    const std::string intensities = With(With(kInt, "001 ", "101 "), "002 ", "102 ");
    const std::string lin =
        "  1  0  1  1  0  0  0  0                     3008000.0       0.050\n"
        "  1  1  1  1  0  0  0  0                     100.5          -0.001\n"
        "  2  1  2  1  1  1  1  0                     100.5          -0.001 /blend\n";
    const SuiteImport made = Imported(par, intensities, lin);
    EXPECT_EQ(ShortText(made.findings), "");
    const NamedInput& input = made.input;
    ASSERT_TRUE(input.two_states);
    EXPECT_EQ(input.origin.value, 3e6);
    EXPECT_TRUE(input.origin.fit);
    EXPECT_EQ(input.upper().terms[Constant::A].value, 9010.0);
    EXPECT_TRUE(input.upper().terms[Constant::B].fit);
    EXPECT_FALSE(input.upper().terms[Constant::C].fit);
    EXPECT_EQ(input.moment->values, (std::array<double, 3>{1.0, -0.5, 0.0}));
    ASSERT_EQ(made.features.size(), 2U);
    EXPECT_DOUBLE_EQ(made.features[1].frequency, 100.5 * 29979.2458) << "cm-1";
    EXPECT_DOUBLE_EQ(made.features[1].uncertainty, 0.001 * 29979.2458);
    EXPECT_EQ(made.features[1].transitions[1].weight, 1.0) << "parts of a blend count equally";
}

TEST(SuiteImport, ConstantsInWavenumbers) {
    const SuiteImport made = Imported(kPar, With(kInt, "0011,", "1011,"),
                                      "  1  0  1  0  0  0                   0.2668 -1e-5\n");
    EXPECT_EQ(made.input.unit, EnergyUnit::Wavenumber);
    EXPECT_EQ(made.features[0].frequency, 0.2668);
    EXPECT_NEAR((*made.input.spectrum.range)[1], 33.356, 1e-3);
    EXPECT_EQ(ShortText(Imported(kPar, With(kInt, "0011,", "1011,")).findings),
              "x.lin unit-mismatch 1:1 warning");
}

// Whatever combination there is becomes an input that can be read.
TEST(SuiteImport, EveryCombinationCanBeRead) {
    for (const std::string_view intensities : {kInt, std::string_view()}) {
        for (const std::string_view lines : {kLin, std::string_view()}) {
            const SuiteImport made = Imported(kPar, intensities, lines);
            Findings findings;
            const auto again = ReadNamed(made.text, "x.toml", findings);
            EXPECT_EQ(ShortText(findings), "") << made.text;
            ASSERT_TRUE(again);
            EXPECT_EQ(again->moment.has_value(), !intensities.empty() || lines.empty());
            EXPECT_EQ(made.lines.empty(), lines.empty());
        }
    }
}

}  // namespace
}  // namespace kiv
