// kiv run: its results, its files, its summary, its statuses.
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "support/CommandTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

class RunCommand : public CommandTest {
  protected:
    static std::string With(std::string text, const std::string& from, const std::string& to) {
        const std::size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        return at == std::string::npos ? text : text.replace(at, from.size(), to);
    }

    static json Summary(const std::string& words, int status = 0) {
        const Ended ended = Kiv("run " + words + " --json");
        EXPECT_EQ(ended.status, status) << ended.err;
        return json::parse(ended.out);
    }
};

// The lines are those of A, B, C = 9000, 5000, 3000 MHz with errors of 0.01 to 0.03 MHz.
TEST_F(RunCommand, FitsAndLeavesTheInputAsItIs) {
    const std::string input = WriteFit();
    const json summary = Summary("rotor.toml");
    EXPECT_EQ(ReadText("rotor.toml"), input);
    const json& fit = summary["fit"];
    EXPECT_TRUE(fit["converged"]);
    EXPECT_EQ(fit["used"], 6);
    const double exact[] = {9000.0, 5000.0, 3000.0};
    double chi_squared = 0.0;
    for (const json& residual : fit["residuals"]) {
        const double omc = residual["omc"];
        EXPECT_NEAR(omc, residual["observed"].get<double>() - residual["calculated"].get<double>(),
                    1e-9);
        chi_squared += omc * omc / (0.05 * 0.05);
    }
    EXPECT_NEAR(fit["wrms"], std::sqrt(chi_squared / 6.0), 1e-9);
    EXPECT_EQ(fit["residuals"][3]["source"], "lines.csv:5");
    EXPECT_EQ(fit["residuals"][3]["transitions"], json::parse("[[2,1,2,1,1,1]]"));
    double leverage = 0.0;
    for (const json& residual : fit["residuals"]) leverage += residual["leverage"].get<double>();
    EXPECT_NEAR(leverage, 3.0, 1e-9) << "the trace of the hat matrix";
    for (std::size_t i = 0; i < 3; ++i) {
        const json& parameter = fit["parameters"][i];
        EXPECT_EQ(parameter["name"], std::string("lower.") + "ABC"[i]);
        EXPECT_NEAR(parameter["value"], exact[i], 0.05);
        EXPECT_NEAR(parameter["sd_scaled"].get<double>() / parameter["sd"].get<double>(),
                    std::sqrt(chi_squared / 3.0), 1e-6);
        EXPECT_NEAR(fit["correlation"][i][i], 1.0, 1e-12);
    }
    EXPECT_EQ(summary["files"],
              json::parse("[\"rotor.log\",\"rotor.asc\",\"rotor.QZS\",\"rotor.fit.toml\"]"));

    // The user's text with other numbers, which repeats the fit.
    const std::string fitted = ReadText("rotor.fit.toml");
    EXPECT_TRUE(Has(fitted, "title = \"a rigid rotor\"  # comments stay\n"));
    EXPECT_TRUE(Has(fitted, " # MHz\n")) << fitted;
    EXPECT_FALSE(Has(fitted, "9010.0"));
    const json again = Summary("rotor.fit.toml");
    for (std::size_t i = 0; i < 3; ++i) {
        const json &first = fit["parameters"][i], &second = again["fit"]["parameters"][i];
        EXPECT_NEAR(first["value"], second["value"], 1e-3 * first["sd"].get<double>());
        EXPECT_NEAR(second["start"], first["value"], 1e-3 * first["sd"].get<double>());
    }
}

TEST_F(RunCommand, SaysOtherPlacesAndProducts) {
    const std::string input = WriteFit();
    fs::create_directory("out");
    EXPECT_EQ(Kiv("run rotor.toml --out out/r --write asc").status, 0);
    EXPECT_TRUE(fs::exists("out/r.asc") && !fs::exists("out/r.QZS") && !fs::exists("rotor.log"));
    EXPECT_TRUE(Has(ReadText("out/r.fit.toml"), "lines = \"../lines.csv\""));
    EXPECT_EQ(Kiv("run out/r.fit.toml --out out/again --write qzs").status, 0);
    EXPECT_EQ(Kiv("run rotor.toml --in-place").status, 0);
    EXPECT_EQ(ReadText("rotor.toml.bak"), input);
    EXPECT_FALSE(Has(ReadText("rotor.toml"), "9010.0"));
    EXPECT_FALSE(fs::exists("rotor.fit.toml"));
    fs::copy_file("lines.csv", "r.log");
    WriteText("r.toml", With(input, "lines.csv", "r.log.csv"));
    fs::create_symlink("r.log", "r.log.csv");
    const Ended over = Kiv("run r.toml");
    EXPECT_EQ(over.status, 2) << "the log would replace the line file";
    EXPECT_EQ(ReadText("r.log"), ReadText("lines.csv"));
}

// What has no result: the log tells why, there is no fitted input, earlier results stay.
TEST_F(RunCommand, WithoutAResult) {
    const std::string input = WriteFit();
    WriteText("rotor.asc", "earlier");
    struct Case {
        std::string text, lines;
        const char* said;
    };
    const std::string lines = ReadText("lines.csv");
    const std::string two = lines.substr(0, lines.find("\n1,1,0") + 1);
    const std::string wild = With(With(input, "A = 9010.0", "A = 90.0"), "lines = \"lines.csv\"",
                                  "lines = \"lines.csv\"\ncycles = 1");
    for (const Case& now :
         {Case{input, two, "2 "}, Case{wild, lines, "converge"},
          Case{With(input, "temperature = 0.5", "range = [1.0, 2.0]"), lines, "range"},
          Case{With(With(input, "lines = ", "# "), "temperature = 0.5",
                    "temperature = 0.5\nmin_intensity = 1e30"),
               lines, "line"}}) {
        WriteText("rotor.toml", now.text);
        WriteText("lines.csv", now.lines);
        fs::remove("rotor.log");
        const Ended ended = Kiv("run rotor.toml");
        EXPECT_EQ(ended.status, 4) << now.text;
        EXPECT_TRUE(Has(ended.err, now.said)) << ended.err;
        EXPECT_TRUE(Has(ReadText("rotor.log"), "no result: "));
        EXPECT_EQ(ReadText("rotor.asc"), "earlier");
        EXPECT_FALSE(fs::exists("rotor.fit.toml") || fs::exists("rotor.QZS"));
        const json fit = Summary("rotor.toml", 4)["fit"];
        if (!fit.is_null() && now.said != std::string("range")) {
            EXPECT_FALSE(fit["converged"].get<bool>());
        }
    }
}

TEST_F(RunCommand, StreamsAndUnusableInputs) {
    const std::string input = WriteFit();
    WriteText("rotor.toml", With(input, "B = 5005.0", "B = 5005,0"));
    const Files before = AllFiles();
    const Ended run = Kiv("run rotor.toml"), check = Kiv("check rotor.toml");
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, check.err) << "the same findings head both";
    EXPECT_EQ(CodesOf(run.err), std::vector<std::string>{"decimal-comma:5"});
    EXPECT_EQ(Kiv("run rotor.toml -q").err, "");
    const json summary = Summary("rotor.toml", 3);
    EXPECT_EQ(summary["findings"], json::parse(Kiv("check rotor.toml --json").out));
    EXPECT_EQ(summary["findings"][0]["code"], "decimal-comma");
    EXPECT_EQ(summary["findings"][0]["line"], 5);
    EXPECT_EQ(summary["findings"][0]["column"], 5);
    EXPECT_TRUE(summary["fit"].is_null() && summary["lines"].is_null());
    const Ended missing = Kiv("run nowhere.toml --json");
    EXPECT_EQ(missing.status, 5);
    EXPECT_EQ(missing.out, "");
    EXPECT_TRUE(AllFiles() == before);
}

// Rejection, in units of uncertainties: the planted line is off by 200 of them.
TEST_F(RunCommand, RejectsAndMarksLines) {
    const std::string input = WriteFit();
    WriteText("lines.csv",
              ReadText("lines.csv") + "2,0,2,1,0,1,14900.0,0.05\n9,0,9,8,0,8,70000,0.05\n");
    WriteText("rotor.toml", input + "reject = 20.0\n");
    const Ended ended = Kiv("run rotor.toml");
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(CodesOf(ended.err), std::vector<std::string>{"beyond-J-max:9"});
    EXPECT_TRUE(Has(ended.out, "6 used, 1 rejected, 1 unmatched")) << ended.out;
    const std::string list = ReadText("rotor.asc");
    EXPECT_TRUE(Has(list, "\nR  2  0  2   1  0  1")) << list;
    EXPECT_TRUE(Has(ReadText("rotor.log"), "lines.csv:8"));
}

// An old input gives the files of `kiv FILE`, under its names, and nothing else.
TEST_F(RunCommand, OldInputsGiveTheirFiles) {
    for (const std::string name : {"so2/so2.in", "so2/fit.in", "7-azaindole/tilted.in"}) {
        const fs::path source = fs::path(KIV_SOURCE_DIR) / "examples" / name;
        fs::remove_all("plain");
        fs::remove_all("made");
        for (const char* folder : {"plain", "made"}) {
            fs::create_directory(folder);
            fs::copy_file(source, std::string(folder) + "/x.in");
            const fs::path lines = source.parent_path() / "so2.asn";
            if (fs::exists(lines)) fs::copy_file(lines, std::string(folder) + "/so2.asn");
        }
        ASSERT_EQ(Kiv("x.in > /dev/null", "cd plain;").status, 0);
        const Ended run = Kiv("run made/x.in");
        EXPECT_EQ(run.status, 0) << run.err;
        const bool fits = name == "so2/fit.in";
        int same = 0, fitted = 0;
        for (const auto& entry : fs::directory_iterator("made")) {
            const std::string file = entry.path().filename();
            if (file.ends_with(".asc") || file.ends_with(".QZS")) {
                EXPECT_EQ(ReadText(entry), ReadText("plain/" + file)) << file;
                ++same;
            }
            if (!file.ends_with(".fit.in")) continue;
            const std::string next = With(file, ".fit.in", ".in");
            EXPECT_EQ(ReadText(entry), ReadText("plain/" + next)) << "the next input";
            ++fitted;
        }
        EXPECT_EQ(same, 2) << name;
        EXPECT_EQ(fitted, fits ? 1 : 0) << name;
        EXPECT_EQ(ReadText("made/x.in"), ReadText(source));
    }
}

}  // namespace
}  // namespace kiv
