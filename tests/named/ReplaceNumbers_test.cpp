#include <gtest/gtest.h>

#include "named/NamedInput.h"
#include "named/Samples.h"

namespace kiv {
namespace {

std::string Replace(std::string_view text, const std::vector<Replacement>& replacements) {
    return ReplaceNumbers(text, replacements);
}

TEST(ReplaceNumbersTest, TouchesNothingElse) {
    const std::string text =
        "\xEF\xBB\xBF# \xC3\xA4 A = 1\r\n"
        "kiv=1\r\n"
        "title = \"A = 1 # B\" # B = 2\r\n"
        "\r\n"
        "[ lower ]   # A = 3\r\n"
        "  C    = 8799.7     # rotational \xE2\x82\xAC\r\n"
        "  \"A\" =\t6.07785e4 # first\r\n"
        "  B    = 10_318     # second\r\n"
        "  DJ=0.0066\r\n"
        "# B = 4\r\n"
        "[moment]\r\n"
        "mu = [ 0.0, # a\r\n"
        "  1.6331 ,  0.0 ] # b, c\r\n"
        "[fit]\r\n"
        "lines = 'so2.csv'  # here\r\n";
    const std::string expected =
        With(With(With(With(With(With(text, "6.07785e4 #", "60778.5514321 #"), "10_318     #",
                                 "-3         #"),
                            "0.0066", "1e-3"),
                       "8799.7     #", "8799.70001 #"),
                  "1.6331", "2.5"),
             "'so2.csv'  #", "\"../so2.csv\" #");
    EXPECT_EQ(Replace(text, {{"lower.B", "-3"},
                             {"fit.lines", "\"../so2.csv\""},
                             {"lower.A", "60778.5514321"},
                             {"moment.mu[1]", "2.5"},
                             {"lower.DJ", "1e-3"},
                             {"lower.C", "8799.70001"}}),
              expected);
    EXPECT_EQ(Replace(text, {}), text);
    EXPECT_EQ(Replace(text, {{"upper.A", "1"}, {"lower", "1"}, {"moment.mu[7]", "1"}}), text);
    EXPECT_EQ(Replace("[lower\nA = 1", {{"lower.A", "2"}}), "[lower\nA = 1");
}

// Each number of a file in turn becomes another one, and only that one does.
TEST(ReplaceNumbersTest, EveryNumberIsReachedByItsPath) {
    const struct {
        const char *path, *before, *after;
    } numbers[] = {
        {"lower.A", "= 60778.5", "= 7"},
        {"lower.dK", "= 0.025", "= 7"},
        {"lower.tilt[1]", "1.5", "7"},
        {"upper.A", "= 60000.0", "= 7"},
        {"upper.d1", "= -0.001", "= 7"},
        {"upper.origin", "= 1e6", "= 7"},
        {"spectrum.temperature", "= 200.0", "= 7"},
        {"spectrum.range[1]", "2e6", "7"},
        {"spectrum.parity.upper", "\"O\"", "7"},
        {"fit.cycles", "= 12", "= 7"},
    };
    for (const auto& [path, before, after] : numbers) {
        EXPECT_EQ(Replace(kGood, {{path, "7"}}), With(kGood, before, after)) << path;
    }
}

TEST(ReplaceNumbersTest, FittedConstantsThatTheTextDoesNotHaveGetALine) {
    EXPECT_EQ(Replace(kGood, {{"upper.DK", "2.5"}, {"lower.C", "1"}, {"lower.PZ", "3.0"}}),
              With(With(kGood, "C = 8799.7\n", "C = 1\nPZ = 3.0\n"), "C = 8700.0\n",
                   "C = 8700.0\nDK = 2.5\n"));
    EXPECT_EQ(Replace("lower = { C = 1, A = 3 }", {{"lower.DJ", "0.1"}, {"lower.C", "22"}}),
              "lower = { C = 22, DJ = 0.1, A = 3 }");
    EXPECT_EQ(Replace("  lower.C    = 1 # x\r\n", {{"lower.DJ", "0.1"}}),
              "  lower.C    = 1 # x\r\n  lower.DJ   = 0.1\r\n");
    EXPECT_EQ(Replace("[lower]\nC = 1", {{"lower.DJ", "0.1"}}), "[lower]\nC = 1\nDJ = 0.1");
}

}  // namespace
}  // namespace kiv
