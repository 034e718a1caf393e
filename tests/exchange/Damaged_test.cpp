// Damaged and foreign files: each has to be told by file, code and place.
#include <gtest/gtest.h>

#include "Sets.h"

namespace kiv {
namespace {

struct Damage {
    const char* file;    // par, int or lin
    const char* before;  // words of the small set; empty: the whole file
    const char* after;
    const char* finding;  // the only one
};

std::string Damaged(std::string_view text, const char* file, const Damage& damage) {
    if (std::string(file) != damage.file) return std::string(text);
    return *damage.before == '\0' ? damage.after : With(text, damage.before, damage.after);
}

std::string FindingsOf(const Damage& damage) {
    const std::string par = Damaged(kPar, "par", damage);
    const std::string intensities = Damaged(kInt, "int", damage),
                      lin = Damaged(kLin, "lin", damage);
    const SuiteImport made = Imported(par, intensities, lin.empty() ? " " : lin);
    EXPECT_EQ(made.text.empty(), made.findings.has_errors()) << damage.finding;
    for (const Finding& finding : made.findings) {  // warnings head the input
        const bool is_noted = made.text.find(finding.message) != std::string::npos;
        EXPECT_EQ(is_noted, !made.text.empty()) << finding.message;
    }
    return ShortText(made.findings);
}

constexpr char kCatRow[] =
    "   15155.1815  0.0000 -8.9143 3  455.6512135  38508 30322 914      23 617       \n";
constexpr char kEgyRow[] =
    "     1    1          0.000000          0.000000   1.000000    1:  0  0  0\n";

// clang-format off
const Damage kDamaged[] = {
    // words that should be numbers
    {"par", "9.000000000000000E+03", "9000,5", "x.par decimal-comma 4:17 error"},
    {"par", "9.0000", "9.O000", "x.par letter-for-digit 4:17 error"},
    {"par", "1.00000000E+36 /B", "free /B", "x.par not-a-number 5:39 error"},
    {"par", "  20000", "20000.5", "x.par not-a-number 5:7 error"},
    {"par", "   5    3   20", "   5    x   20", "x.par not-a-number 2:9 error"},
    {"int", "200.0", "1e999", "x.int out-of-range 2:32 error"},
    {"int", "1.00000 / a", "1,00000 / a", "x.int decimal-comma 3:8 error"},
    // counts and records
    {"par", "   5    3", "   4    3", "x.par count-mismatch 8:9 error"},
    {"par", "   5    3", "   6    3", "x.par count-mismatch 2:4 warning"},
    {"par", "   5    3", "   5    2", "x.par count-mismatch 2:9 warning"},
    {"par", "   5    3", "   0    3", "x.par out-of-range 2:4 error"},
    {"par", "   5    3", "   5   -3", "x.par out-of-range 2:8 error"},
    {"par", "a   1   1   0  99   0   2   1   3   0   1   0\n", "", "x.par missing-value 3:9 error"},
    {"par", "0   2   1   3   0   1   0", "0   2   1", "x.par missing-value 3:29 warning"},
    {"par", " 1.00000000E+36 /A", " /A", "x.par missing-value 4:17 error"},
    {"par", "        30000   3.000000000000000E+03 1.00000000E+36 /C\n",
     "          300   3.000000000000000E-09 1.00000000E-37 /HJ\n", "x.par missing-value 2:4 error"},
    {"par", "", "only a title\n", "x.par truncated 1:1 error"},
    {"par", "", "", "x.par truncated 1:1 error"},
    {"int", "", "only a title\n", "x.int truncated 1:1 error"},
    {"int", "0,10,,,", "0,,,,", "x.int missing-value 2:18 error"},
    // what a named input cannot say
    {"par", "a   1   1", "a   3   1", "x.par no-counterpart 3:5 error"},
    {"par", "a   1   1", "a  -1   1", "x.par left-out 3:4 warning"},
    {"par", "a   1   1", "a   1   3", "x.par no-counterpart 3:9 error"},
    {"par", "a   1   1", "a   1  -1", "x.par no-counterpart 3:8 error"},
    {"par", "0  99", "2  99", "x.par cut-basis 3:13 error"},
    {"par", "0  99", "0   6", "x.par cut-basis 3:17 warning"},
    {"par", "99   0   2", "99   5   2", "x.par left-out 3:21 warning"},
    {"par", "99   0   2", "99   0   6", "x.par no-counterpart 3:25 error"},
    {"par", "3   0   1   0", "3   1   1   0", "x.par no-counterpart 3:37 error"},
    {"par", "3   0   1   0", "3  -1   1   0", "x.par no-counterpart 3:36 error"},
    {"par", "3   0   1   0", "3   0   1   2", "x.par left-out 3:45 warning"},
    {"par", "3   0   1   0", "3   0   1  -1", "x.par no-counterpart 3:44 error"},
    {"par", "20    0 ", "20    2 ", "x.par left-out 2:19 warning"},
    {"par", "1.0000E+06", "5.0000E+00", "x.par reject-level 2:40 warning"},
    {"par", "1.0000E+06", "0.0", "x.par out-of-range 2:40 error"},
    {"par", "1.0000E+00", "-2.000E+00", "x.par left-out 2:55 warning"},
    {"par", "1.0000000000", "1.0001000000", "x.par no-counterpart 2:66 error"},
    {"par", "1.00000000E+36 /C", "1.0E-02 /C", "x.par a-priori 6:39 warning"},
    {"par", "1.00000000E+36 /C", "-1.0E-02 /C", "x.par out-of-range 6:39 error"},
    {"par", "   200  -1.0", "  -200  -1.0", "x.par linked-constant 7:10 error"},
    {"par", " 41000  -2.0", "-41000  -2.0", "x.par linked-constant 8:8 warning"},
    {"par", "41000", "  200", "x.par doubled-constant 8:11 warning"},
    {"par", "41000", "50000", ""},  // the other reduction
    {"par", "  200  -1.000000000000000E-03", "50000   1.0", "x.par wrong-reduction 8:9 error"},
    {"par", "41000", "41001", "x.par no-counterpart 8:9 error"},
    {"par", "    41000", "110010000", "x.par no-counterpart 8:5 error"},
    {"par", "    41000  -2.000000000000000E-03", "110010000   0.0", "x.par left-out 8:5 warning"},
    {"par", "9.000000000000000E+03", "-9.0", "x.par out-of-range 4:1 error"},
    {"int", "0011,", "2011,", "x.int bad-choice 2:1 error"},
    {"int", "100.0,0,10,,", "100.0,2,10,,", "x.int left-out 2:18 warning"},
    {"int", "10,,,1000", "10,-9,-9,1000", "x.int left-out 2:23 warning"},
    {"int", "1000.0", "0.0", "x.int out-of-range 2:25 error"},
    {"int", "200.0", "-4.0", "x.int out-of-range 2:32 error"},
    {"int", "0,10,", "0,-1,", "x.int out-of-range 2:20 error"},
    {"int", " 002", " 014", "x.int no-counterpart 4:2 error"},
    {"int", " 002", " 101", "x.int no-counterpart 4:2 error"},
    {"int", " 002", " 001", "x.int doubled-constant 4:2 error"},
    {"int", " 001   1.00000 / a\n 002  -0.50000 / b\n", "", "x.int no-moment 2:1 warning"},
    {"int", "0,10,", "0,0,", "x.int beyond-J-max 2:20 warning"},
    // line files
    {"lin", "  1  0  1  0  0  0 ", "   1  0  1  0  0  0", "x.lin shifted-columns 1:4 error"},
    {"lin", "  1  0  1  0  0  0 ", " 10  1  10 9  1  9 ", "x.lin shifted-columns 1:2 error"},
    {"lin", "  1  0  1  0  0  0      ", "  1  0  1  0  0  0  0  0", "x.lin bad-line-row 1:3 error"},
    {"lin", "8000.030000", "8000,030000", "x.lin decimal-comma 1:46 error"},
    {"lin", "  1  0  1  0", "  1  1  2  0", "x.lin impossible-level 1:3 error"},
    {"lin", "0.050000 1\n", "0.000000 1\n", "x.lin no-uncertainty 1:62 warning"},
    {"lin", "", "J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty\n", "x.lin looks-like 1:1 error"},
    // files of other kinds
    {"par", "", kInt.data(), "x.par looks-like 3:1 error"},
    {"par", "", kLin.data(), "x.par looks-like 1:1 error"},
    {"par", "", kCatRow, "x.par looks-like 1:1 error"},
    {"par", "", "kiv = 1\n[lower]\nA = 1.0\n", "x.par looks-like 1:1 error"},
    {"par", "", "<!DOCTYPE html>\n<html>\n", "x.par looks-like 1:1 error"},
    {"int", "", kPar.data(), "x.int looks-like 3:1 error"},
    {"int", "", kEgyRow, "x.int looks-like 1:1 error"},
    {"lin", "", kCatRow, "x.lin looks-like 1:1 error"},
};
// clang-format on

TEST(DamagedFiles, EachHasItsFinding) {
    for (const Damage& damage : kDamaged) {
        const std::string what = std::string(damage.before) + " -> " + damage.after;
        EXPECT_EQ(FindingsOf(damage), damage.finding) << damage.file << ": " << what;
    }
}

// Constants of two states: what ties or couples them.
TEST(DamagedFiles, TwoStates) {
    const std::string par = With(With(kPar, "a   1   1", "a   1   2"), "   5 ", "   9 ") +
                            "10011 9010 1e-37\n20011 5001 1e-37\n30011 3001 1e-37\n";
    const std::string intensities = With(With(kInt, "001 ", "101 "), "002 ", "102 ");
    const auto findings = [&](const std::string& row, std::string_view use, std::string_view lin) {
        return ShortText(Imported(par + row, use, lin).findings);
    };
    EXPECT_EQ(findings("11 3e6 1e-37\n", intensities, ""), "");
    EXPECT_EQ(findings("10001 3e2 1e-37\n", intensities, ""), "x.par no-counterpart 12:1 error");
    EXPECT_EQ(findings("299 -3e-2 1e-37\n", intensities, ""),
              "x.par doubled-constant 12:1 warning");
    EXPECT_EQ(findings("300 1e-7 1e36\n", intensities, ""), "");
    EXPECT_EQ(findings("399 1e-7 1e36\n", intensities, ""), "x.par linked-constant 12:1 error");
    EXPECT_EQ(findings("00 5.0 1e-37\n", intensities, ""), "x.par left-out 12:1 warning");
    EXPECT_EQ(findings("00 5.0 1e36\n", intensities, ""), "x.par no-counterpart 12:1 error");
    const std::string origin = "11 3e6 1e-37\n";
    EXPECT_EQ(findings(origin, kInt, ""), "x.int left-out 3:2 warning") << "dipoles of state 0";
    EXPECT_EQ(findings(origin, intensities + " 111 1.0\n", ""), "x.int left-out 5:2 warning");
    EXPECT_EQ(findings(origin, std::string(kInt) + " 111 1.0\n 112 -0.7\n", ""),
              "x.int left-out 3:2 warning\nx.int no-counterpart 6:2 error")
        << "another moment in the upper state";
    EXPECT_EQ(findings(origin, intensities, kLin.substr(0, kLin.find('\n') + 1)),
              "x.lin bad-line-row 1:3 error")
        << "lines without v";
}

}  // namespace
}  // namespace kiv
