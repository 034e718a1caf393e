// kiv report: its figures against kiv run --json, its refits against inputs changed by hand, what
// it says where a fit is hardly one.
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "support/CommandTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using Row = std::vector<std::string>;

class ReportCommand : public CommandTest {
  protected:
    static std::string With(std::string text, const std::string& from, const std::string& to) {
        const std::size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        return at == std::string::npos ? text : text.replace(at, from.size(), to);
    }

    // A report writes no file.
    static std::string Report(const std::string& words, int status = 0) {
        const Files before = AllFiles();
        const Ended ended = Kiv("report " + words);
        EXPECT_EQ(ended.status, status) << words << "\n" << ended.err;
        EXPECT_TRUE(AllFiles() == before) << words;
        return ended.out;
    }

    static json Fit(const std::string& words, int status = 0) {
        return json::parse(Report(words + " --format json", status))["fit"];
    }

    // The words of the first line behind `after` that begins with `first`.
    static Row LineOf(const std::string& text, const std::string& first,
                      const std::string& after = "") {
        std::istringstream lines(text.substr(std::min(text.find(after), text.size())));
        for (std::string line; std::getline(lines, line);) {
            std::istringstream words(line);
            Row row;
            for (std::string word; words >> word;) row.push_back(word);
            if (!row.empty() && row[0] == first) return row;
        }
        ADD_FAILURE() << "no line \"" << first << "\" in\n" << text;
        return Row(20);
    }

    // Rows of comma-separated values whose fields may be quoted.
    static std::vector<Row> Table(const std::string& text) {
        std::vector<Row> rows;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            rows.emplace_back(1);
            bool is_quoted = false;
            for (const char c : line) {
                if (c == '"') is_quoted = !is_quoted;
                if (c == ',' && !is_quoted) rows.back().emplace_back();
                if (c != '"' && (c != ',' || is_quoted)) rows.back().back() += c;
            }
        }
        return rows;
    }

    // The number of "12105.8600(214)" and its uncertainty.
    static std::pair<double, double> Parsed(const std::string& text) {
        const std::size_t open = text.find('(');
        const double value = std::stod(text.substr(0, open));
        if (open == std::string::npos) return {value, 0.0};
        const std::size_t point = text.find('.');
        const double places = point < open ? static_cast<double>(open - point - 1) : 0.0;
        return {value, std::stod(text.substr(open + 1)) * std::pow(10.0, -places)};
    }

    // As plain LaTeX takes it: braces and dollars in pairs, nothing special without a backslash.
    static void ExpectLatex(const std::string& text) {
        int depth = 0, dollars = 0;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] == '\\' && std::string("&%$#_{}").find(text[i + 1]) != std::string::npos) {
                ++i;
                continue;
            }
            depth += text[i] == '{' ? 1 : text[i] == '}' ? -1 : 0;
            dollars += text[i] == '$' ? 1 : 0;
            EXPECT_GE(depth, 0);
            EXPECT_TRUE(std::string("%#~").find(text[i]) == std::string::npos) << text.substr(i);
            const bool is_math = dollars % 2 != 0;
            EXPECT_FALSE(std::string("<>|").find(text[i]) != std::string::npos && !is_math);
            const bool is_script = text[i] == '_' || text[i] == '^';
            EXPECT_FALSE(is_script && !is_math) << text.substr(i);
        }
        EXPECT_EQ(depth, 0) << text;
        EXPECT_EQ(dollars % 2, 0) << text;
    }
};

TEST_F(ReportCommand, ShowsWhatRunFinds) {
    WriteFit();
    const json run = json::parse(Kiv("run rotor.toml --out x --json").out);
    json same = run;
    same["files"] = json::array();
    EXPECT_EQ(json::parse(Report("rotor.toml --json")), same);
    const std::string text = Report("rotor.toml");
    const json& fit = run["fit"];
    for (const json& parameter : fit["parameters"]) {
        const Row row = LineOf(text, parameter["name"]);
        const auto [value, sd] = Parsed(row[1]);
        EXPECT_NEAR(value, parameter["value"], 0.006 * sd);
        EXPECT_NEAR(sd, parameter["sd"], 0.01 * sd);
        EXPECT_NEAR(std::stod(row[2]), parameter["sd_scaled"], 0.01 * sd);
        EXPECT_EQ(std::stod(row[3]), parameter["start"].get<double>());
        EXPECT_NEAR(std::stod(row[4]), value - std::stod(row[3]), 2e-4 * std::stod(row[3]));
    }
    const double wrms = fit["wrms"];
    EXPECT_NEAR(std::stod(LineOf(text, "wrms")[1]), wrms, 1e-5 * wrms);
    EXPECT_NEAR(std::stod(LineOf(text, "reduced")[2]), wrms * wrms * 6.0 / 3.0, 1e-4);
    const std::vector<Row> table = Table(Report("rotor.toml --format csv"));
    ASSERT_EQ(table.size(), 7U);
    const Row columns{"source",      "v_up",  "J_up",     "Ka_up",        "Kc_up",      "v_lo",
                      "J_lo",        "Ka_lo", "Kc_lo",    "observed",     "calculated", "omc",
                      "uncertainty", "ratio", "leverage", "predicted_sd", "used",       "reason"};
    EXPECT_EQ(table[0], columns);
    for (std::size_t i = 0; i < 6; ++i) {
        const json& residual = fit["residuals"][i];
        const Row &row = table[i + 1], line = LineOf(text, std::to_string(i + 2), "measured lines");
        const char* const figures[] = {"observed", "calculated", "omc", "uncertainty"};
        EXPECT_EQ(row[0], residual["source"]);
        for (std::size_t k = 0; k < 4; ++k) {
            EXPECT_EQ(std::stod(row[9 + k]), residual[figures[k]].get<double>()) << figures[k];
        }
        EXPECT_EQ(std::stod(row[14]), residual["leverage"].get<double>());
        EXPECT_EQ(std::stod(row[15]), residual["predicted_sd"].get<double>());
        EXPECT_NEAR(std::stod(line[9]), residual["omc"], 6e-5);
        EXPECT_NEAR(std::stod(line[10]), std::stod(row[13]), 6e-3);
        EXPECT_NEAR(std::stod(line[11]), std::stod(row[14]), 6e-5);
        EXPECT_NEAR(std::stod(line[12]), std::stod(row[15]), 6e-6);
    }
    const std::string all = Report("rotor.toml --correlations all");
    EXPECT_NEAR(std::stod(LineOf(all, "3", "correlations")[3]), fit["correlation"][2][1], 6e-5);
    EXPECT_EQ(Kiv("report rotor.toml -o report.txt").out, "");
    EXPECT_EQ(ReadText("report.txt"), text);
}

// Each refit is the fit of an input changed by hand, whatever its form.
TEST_F(ReportCommand, RefitsAreFitsOfChangedInputs) {
    const fs::path so2 = fs::path(KIV_SOURCE_DIR) / "examples/so2";
    for (const char* name : {"fit.toml", "so2.csv", "fit.in", "so2.asn"}) {
        fs::copy_file(so2 / name, name);
    }
    ASSERT_EQ(Kiv("convert fit.in -o named.toml").status, 0);
    const std::string input = ReadText("fit.toml");
    WriteText("less.toml", With(input, "\"dJ\", \"dK\"]", "\"dJ\"]"));
    WriteText("more.toml", With(input, "\"dJ\", \"dK\"]", "\"dJ\", \"dK\", \"HK\"]"));
    const double wrms = Fit("fit.toml")["wrms"];
    const json less = Fit("less.toml"), more = Fit("more.toml");
    const std::string text = Report("fit.toml --omit lower.dK --add lower.HK");
    const Row without = LineOf(text, "lower.dK", "refits"),
              with = LineOf(text, "lower.HK", "refits");
    EXPECT_NEAR(std::stod(without[2]), less["wrms"], 1e-5 * less["wrms"].get<double>());
    EXPECT_NEAR(std::stod(without[3]), less["wrms"].get<double>() - wrms, 6e-3);
    EXPECT_NEAR(std::stod(with[2]), more["wrms"], 1e-5 * more["wrms"].get<double>());
    EXPECT_NEAR(std::stod(with[3]), more["wrms"].get<double>() - wrms, 1e-3);
    const json& added = more["parameters"].back();
    EXPECT_EQ(added["name"], "lower.HK");
    EXPECT_NEAR(Parsed(with[5]).first, added["value"], 1e-2 * added["sd"].get<double>());
    const std::string old = Report("fit.in --omit lower.dK");
    EXPECT_NEAR(std::stod(LineOf(old, "lower.dK", "refits")[2]), less["wrms"], 1e-3);

    const std::string trials = Report("fit.toml --trials");
    const std::string table = trials.substr(trials.find("refits"));
    double last = HUGE_VAL;
    int rows = 0;
    std::istringstream lines(table.substr(0, table.find("\n\n")));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string name, how;
        double of_refit = 0.0, change = 0.0;
        if (!(words >> name >> how)) continue;
        if (!(words >> of_refit >> change)) continue;
        EXPECT_LE(std::fabs(change), last) << line;
        last = std::fabs(change);
        ++rows;
    }
    EXPECT_EQ(rows, 8 + 7) << "eight that are varied, seven sextic ones\n" << table;
}

TEST_F(ReportCommand, WrongUse) {
    WriteFit();
    const std::pair<const char*, const char*> wrong[] = {
        {"--omit lower.Dj", "lower.DJ"},       {"--add B", "lower.B"},
        {"--omit lower.DJ", "not varied"},     {"--add lower.A", "varied already"},
        {"--add upper.origin", "lower."},      {"--format pdf", "latex"},
        {"--format csv --trials", "--trials"}, {"--format csv --json", "two formats"},
        {"--correlations some", "all"},        {"-o lines.csv", "lines.csv"},
    };
    const Files before = AllFiles();
    for (const auto& [words, named] : wrong) {
        const Ended ended = Kiv(std::string("report rotor.toml ") + words);
        EXPECT_EQ(ended.status, 2) << words;
        EXPECT_TRUE(Has(ended.err, named)) << words << "\n" << ended.err;
        EXPECT_EQ(ended.out, "") << words;
    }
    EXPECT_TRUE(AllFiles() == before);
}

// Fits that are hardly ones: the report says so and shows what there is.
TEST_F(ReportCommand, HostileFits) {
    const std::string input = WriteFit(), lines = ReadText("lines.csv");
    const auto text_of = [&](const std::string& of_input, const std::string& of_lines, int status) {
        WriteText("rotor.toml", of_input);
        WriteText("lines.csv", of_lines);
        ExpectLatex(Report("rotor.toml --format latex", status));
        const std::vector<Row> table = Table(Report("rotor.toml --format csv", status));
        for (const Row& row : table) EXPECT_EQ(row.size(), 18U);
        std::string text = Report("rotor.toml --correlations all", status);
        EXPECT_FALSE(std::regex_search(text, std::regex("\\b(nan|inf)\\b"))) << text;
        return text;
    };
    const std::string wild = With(input, "A = 9010.0", "A = 90.0");

    std::string text = text_of(input + "reject_above = 1e-30\n", lines, 4);
    EXPECT_TRUE(Has(text, "no result: ") && Has(text, "6 rejected")) << text;
    text = text_of(input, lines.substr(0, lines.find("\n1,1,0") + 1), 4);
    EXPECT_TRUE(Has(text, "2 of 2 measured lines can be used for 3 constants")) << text;
    text = text_of(With(wild, "[fit]", "[fit]\ncycles = 1"), lines, 4);
    EXPECT_TRUE(Has(text, "NOT converged in 1 cycle")) << text;
    text = text_of(input, lines.substr(0, lines.find("2,1,2")), 0);
    EXPECT_TRUE(Has(text, "not defined")) << "as many lines as constants";

    // R branch of K = 0 alone: B + C.
    const std::string sum =
        "J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty\n"
        "1,0,1,0,0,0,8000,0.05\n1,0,1,0,0,0,8000.2,0.05\n"
        "1,1,0,1,0,1,6000,0.05\n1,1,0,1,0,1,6000.1,0.05\n";
    text = text_of(With(input, "\"A\", \"B\", \"C\"", "\"A\", \"B\", \"C\", \"PZ\""), sum, 0);
    EXPECT_TRUE(Has(text, "held; only together with")) << text;
    EXPECT_EQ(LineOf(text, "1", "repeated measurements")[7], "2");
    EXPECT_NEAR(std::stod(LineOf(text, "1", "repeated measurements")[10]), 0.2, 1e-9);

    std::string blind;  // without uncertainties
    std::istringstream rows(lines);
    for (std::string row; std::getline(rows, row);)
        blind += row.substr(0, row.rfind(',')) + (blind.empty() ? ",uncertainty\n" : ",0\n");
    text = text_of(input, blind, 0);
    EXPECT_TRUE(Has(text, "with all uncertainties 1")) << text;
    EXPECT_TRUE(Fit("rotor.toml")["parameters"][0]["sd"].is_null());
}

// Unmatched and rejected lines with their reasons, blends with their parts, odd titles.
TEST_F(ReportCommand, LinesThatAreNotUsedAndBlends) {
    const std::string input =
        With(WriteFit(), "a rigid rotor", "50 % of #1 <- |2> & $x_2^3$ {~} \\\\");
    WriteText("rotor.toml", input + "reject = 20.0\n");
    WriteText("lines.csv", ReadText("lines.csv") +
                               "2,0,2,1,0,1,14900.0,0.05\n9,0,9,8,0,8,70000,0.05\n"
                               "2,2,1,1,1,0,31327,0.5\n2,2,0,1,1,1,31327,0.5\n");
    const std::string text = Report("rotor.toml");
    EXPECT_TRUE(Has(text, "9 lines of 10 transitions: 7 used, 1 rejected, 1 unmatched")) << text;
    EXPECT_TRUE(Has(text, "rejected: ") && Has(text, "unmatched: J = 9")) << text;
    double weights = 0.0, mean = 0.0;
    const std::string blends = text.substr(text.find("\nblends"));
    const std::regex part("2 2 . - 1 1 .  +([0-9.]+)  ([0-9.]+)");
    for (std::sregex_iterator at(blends.begin(), blends.end(), part), end; at != end; ++at) {
        weights += std::stod((*at)[2]);
        mean += std::stod((*at)[1]) * std::stod((*at)[2]);
    }
    EXPECT_NEAR(weights, 1.0, 2e-4) << blends;
    const json fit = Fit("rotor.toml");
    EXPECT_NEAR(mean, fit["residuals"][8]["calculated"], 2e-4 * 31327) << blends;
    const std::vector<Row> table = Table(Report("rotor.toml --format csv"));
    ASSERT_EQ(table.size(), 11U);
    EXPECT_EQ(table[7][16], "false");
    EXPECT_NE(table[7][17], "");
    EXPECT_EQ(table[8][10], "") << "no calculated value";
    EXPECT_EQ(table[9][10], table[10][10]);
    EXPECT_EQ(table[10][0], "lines.csv:11");
    ExpectLatex(Report("rotor.toml --format latex"));
}

TEST_F(ReportCommand, WithoutAFit) {
    const std::string input = WriteFit();
    const std::string none = With(input, "fit = [\"A\", \"B\", \"C\"]", "");
    WriteText("rotor.toml", none);
    std::string text = Report("rotor.toml");
    const json run = json::parse(Kiv("run rotor.toml --out x --json").out);
    EXPECT_TRUE(Has(text, "Nothing is fitted.\n" + run["lines"].dump() + " lines")) << text;
    EXPECT_TRUE(Has(text, "Q(0.5 K)") && Has(text, "6 used")) << text;
    EXPECT_EQ(Table(Report("rotor.toml --format csv")).size(), 7U);
    EXPECT_TRUE(json::parse(Report("rotor.toml --json"))["fit"].is_null());
    // A, B and C start somewhere: adding A fits it alone.
    WriteText("a.toml", With(input, "[\"A\", \"B\", \"C\"]", "[\"A\"]"));
    EXPECT_NEAR(std::stod(LineOf(Report("rotor.toml --add lower.A"), "lower.A", "refits")[2]),
                Fit("a.toml")["wrms"], 1e-3);
    WriteText("rotor.toml", With(none, "lines = ", "# "));
    EXPECT_EQ(Table(Report("rotor.toml --format csv")).size(), 1U);
    const std::string latex = Report("rotor.toml --format latex");
    ExpectLatex(latex);
    EXPECT_TRUE(Has(latex, "$B$ & MHz & $5005$ ")) << latex;
    EXPECT_TRUE(Has(Report("rotor.toml"), "measured lines: none"));
    EXPECT_EQ(Kiv("report rotor.toml --trials").status, 2);
    WriteText("rotor.toml", With(input, "B = 5005.0", "B = 5005,0"));
    const Ended unusable = Kiv("report rotor.toml"), check = Kiv("check rotor.toml");
    EXPECT_EQ(unusable.status, 3);
    EXPECT_EQ(unusable.err, check.err);
    EXPECT_EQ(unusable.out, "");
}

}  // namespace
}  // namespace kiv
