// kiv import, and back by kiv export lin and par, with real sets of files.
#include <cmath>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/CommandTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

constexpr const char* kMolecules[] = {"formaldehyde", "cyclopropenylidene"};

// A line of a catalogue by its fixed columns.
struct CatLine {
    double frequency, error, lgint, energy;
    std::string weight;
};

// By quantum numbers.
std::map<std::string, CatLine> CatLines(const std::string& text) {
    std::map<std::string, CatLine> lines;
    std::istringstream rows(text);
    for (std::string row; std::getline(rows, row);) {
        const auto real = [&](std::size_t first, std::size_t size) {
            return std::stod(row.substr(first, size));
        };
        const bool is_new =
            lines
                .emplace(row.substr(55), CatLine{real(0, 13), real(13, 8), real(21, 8),
                                                 real(31, 10), row.substr(41, 3)})
                .second;
        EXPECT_TRUE(is_new) << row;
    }
    return lines;
}

class ImportCommand : public CommandTest {
  protected:
    void SetUp() override {
        CommandTest::SetUp();
        for (const auto& entry : fs::directory_iterator(fs::path(KIV_TEST_DATA) / "exchange")) {
            fs::copy(entry, ".");
        }
    }

    // lg of the intensity below which lists of a set end: 10^STR0 + (frequency / 300 GHz)^2 10^STR1
    static double CutAt(double frequency, double str) {
        const double ratio = frequency / 300000.0;
        return str + std::log10(1.0 + ratio * ratio);
    }
};

TEST_F(ImportCommand, TheCatalogueIsTheSame) {
    const std::map<std::string, double> cuts{{"formaldehyde", -12.0}, {"cyclopropenylidene", -9.0}};
    for (const std::string name : kMolecules) {
        const Ended ended = Kiv("import " + name + ".int " + name + ".var -o x.toml --force");
        ASSERT_EQ(ended.status, 0) << ended.err;
        const Ended made = Kiv("export cat x.toml");
        ASSERT_EQ(made.status, 0) << made.err;
        const auto lines = CatLines(made.out), wanted = CatLines(ReadText(name + ".cat"));
        ASSERT_GT(wanted.size(), 1000U);
        for (const auto& [quanta, line] : wanted) {
            const auto found = lines.find(quanta);
            ASSERT_NE(found, lines.end()) << name << quanta;
            EXPECT_NEAR(found->second.frequency, line.frequency, 1.01e-4) << quanta;
            EXPECT_NEAR(found->second.lgint, line.lgint, 2.01e-4) << quanta;
            EXPECT_NEAR(found->second.energy, line.energy, 1.01e-4) << quanta;
            EXPECT_EQ(found->second.weight, line.weight) << quanta;
        }
        for (const auto& [quanta, line] : lines) {
            const bool is_above = line.lgint > CutAt(line.frequency, cuts.at(name)) + 3e-4;
            EXPECT_TRUE(!is_above || wanted.count(quanta)) << name << " surplus " << quanta;
        }
    }
}

TEST_F(ImportCommand, TheFitIsTheSame) {
    for (const std::string name : kMolecules) {
        const Ended ended =
            Kiv("import " + name + ".lin " + name + ".fit.int " + name + ".par -o x.toml --force");
        ASSERT_EQ(ended.status, 0) << ended.err;
        const Ended ran = Kiv("run x.toml --json -q");
        ASSERT_EQ(ran.status, 0) << ran.err;
        const auto fit = nlohmann::json::parse(ran.out)["fit"];
        std::istringstream expected(ReadText(name + ".fit.txt"));
        std::string word;
        double wrms = 0.0;
        int used = 0;
        expected >> word >> wrms >> used;
        EXPECT_NEAR(fit["wrms"], wrms, 5e-6 * wrms);
        EXPECT_EQ(fit["used"], used);
        std::map<std::string, nlohmann::json> parameters;
        for (const auto& parameter : fit["parameters"]) {
            parameters[parameter["name"]] = parameter;
        }
        double value = 0.0, sd = 0.0;
        while (expected >> word >> value >> sd) {
            const auto& parameter = parameters.at("lower." + word);
            EXPECT_NEAR(parameter["value"], value, 1e-3 * sd) << word;
            EXPECT_NEAR(parameter["sd"], sd, 1e-5 * sd) << word;
            parameters.erase("lower." + word);
        }
        EXPECT_TRUE(parameters.empty()) << parameters.begin()->first;
    }
}

// Every fifth line of the catalogues that were calculated from the fits.
TEST_F(ImportCommand, PredictedUncertaintiesAreTheSame) {
    for (const std::string name : kMolecules) {
        ASSERT_EQ(Kiv("import " + name + ".lin " + name + ".fit.int " + name +
                      ".par -q -o x.toml --force")
                      .status,
                  0);
        const Ended made = Kiv("export cat x.toml -q");
        ASSERT_EQ(made.status, 0) << made.err;
        const auto lines = CatLines(made.out), wanted = CatLines(ReadText(name + ".fit.cat"));
        ASSERT_GT(wanted.size(), 150U);
        for (const auto& [quanta, line] : wanted) {
            const auto found = lines.find(quanta);
            ASSERT_NE(found, lines.end()) << name << quanta;
            EXPECT_NEAR(found->second.frequency, line.frequency, 1.01e-4) << quanta;
            EXPECT_NEAR(found->second.error, line.error, 1.01e-4) << quanta;
        }
    }
}

// The numbers of a text, parted by anything.
std::vector<double> NumbersOf(std::string text) {
    for (char& c : text) {
        if (c == '/' || c == ',') c = ' ';
    }
    std::vector<double> numbers;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        try {
            numbers.push_back(std::stod(word));
        } catch (const std::exception&) {
        }
    }
    return numbers;
}

TEST_F(ImportCommand, ThereAndBackTheFilesSayTheSame) {
    for (const std::string name : kMolecules) {
        ASSERT_EQ(Kiv("import " + name + ".par " + name + ".lin -o x.toml --force").status, 0);
        for (const std::string format : {"par", "lin"}) {
            const Ended back = Kiv("export " + format + " x.toml -q");
            ASSERT_EQ(back.status, 0) << back.err;
            // blends without weights get their equal ones, the number of K is not kept
            std::istringstream rows(back.out), old_rows(ReadText(name + "." + format));
            std::string row, old_row;
            for (int i = 1; std::getline(old_rows, old_row); ++i) {
                ASSERT_TRUE(std::getline(rows, row)) << name << format << i;
                if (format == "par" && (i == 1 || i == 3)) continue;
                std::vector<double> numbers = NumbersOf(row), old = NumbersOf(old_row);
                if (format == "lin") numbers.resize(8), old.resize(8);
                EXPECT_EQ(numbers, old) << name << format << i;
            }
            EXPECT_FALSE(std::getline(rows, row));
        }
    }
}

// A blend without weights counts by intensities here and equally in the suite's files.
TEST_F(ImportCommand, CalculatedWeightsAreWritten) {
    WriteFit();
    std::string lines = ReadText("lines.csv");
    lines += "2,1,2,1,1,1,16000.5,0.05\n2,0,2,1,0,1,16000.5,0.05\n";
    WriteText("lines.csv", lines);
    const Ended ended = Kiv("export lin rotor.toml");
    ASSERT_EQ(ended.status, 0) << ended.err;
    std::vector<double> weights;
    std::istringstream rows(ended.out);
    for (std::string row; std::getline(rows, row);) {
        const std::vector<double> numbers = NumbersOf(row);
        if (numbers[6] == 16000.5) weights.push_back(numbers.at(8));
    }
    ASSERT_EQ(weights.size(), 2U);
    EXPECT_NEAR(weights[0] + weights[1], 1.0, 1e-12);
    EXPECT_GT(std::fabs(weights[0] - weights[1]), 0.05) << "2 0 2 - 1 0 1 is the stronger one";
}

TEST_F(ImportCommand, BothFilesOrNone) {
    const std::string set = "formaldehyde.par formaldehyde.lin";
    fs::create_directory("to");
    WriteText("to/x.csv", "mine");
    const Ended kept = Kiv("import " + set + " -o to/x.toml");
    EXPECT_EQ(kept.status, 2);
    EXPECT_TRUE(Has(kept.err, "to/x.csv is there already; --force")) << kept.err;
    EXPECT_FALSE(fs::exists("to/x.toml"));
    EXPECT_EQ(ReadText("to/x.csv"), "mine");
    EXPECT_EQ(Kiv("import " + set + " -o to/x.toml --force").status, 0);
    EXPECT_NE(ReadText("to/x.csv"), "mine");
    EXPECT_EQ(Kiv("check to/x.toml").status, 0) << "the line file is found from the input";
    const std::string text = ReadText("to/x.toml");
    ASSERT_EQ(Kiv("-C to import ../formaldehyde.lin ../formaldehyde.par -o y.toml").status, 0);
    const std::string other = ReadText("to/y.toml");
    EXPECT_EQ(other.substr(0, other.find("lines = ")), text.substr(0, text.find("lines = ")))
        << "the order and the folders do not matter";
    std::string par = ReadText("formaldehyde.par");
    WriteText("formaldehyde.par", par.replace(par.find("2.81970"), 7, "2,81970"));
    const Ended wrong = Kiv("import " + set + " -o z.toml --json");
    EXPECT_EQ(wrong.status, 3);
    EXPECT_EQ(CodesOf(wrong.err), (std::vector<std::string>{"decimal-comma:4"}));
    EXPECT_EQ(nlohmann::json::parse(wrong.out)[0]["code"], "decimal-comma");
    EXPECT_FALSE(fs::exists("z.toml") || fs::exists("z.csv"));
}

TEST_F(ImportCommand, WrongUseSaysWhatToDo) {
    const std::tuple<const char*, int, const char*> uses[] = {
        {"import formaldehyde.par", 2, "-o OUT.toml"},
        {"import formaldehyde.par -o x.in", 2, "should end in .toml"},
        {"import formaldehyde.lin -o x.toml", 2, "lines = \"...\""},
        {"import formaldehyde.int -o x.toml", 2, "name a .par or .var"},
        {"import formaldehyde.par formaldehyde.var -o x.toml", 2, "one too many"},
        {"import formaldehyde.cat -o x.toml", 2, "none of the endings"},
        {"import formaldehyde.par formaldehyde.lin -o -", 2, "standard output"},
        {"import none.par -o x.toml", 5, "none.par"},
        {"import formaldehyde.par -o none/x.toml", 5, "none/x.toml"},
    };
    for (const auto& [words, status, says] : uses) {
        const Ended ended = Kiv(words);
        EXPECT_EQ(ended.status, status) << words;
        EXPECT_TRUE(Has(ended.err, says)) << words << ": " << ended.err;
        EXPECT_FALSE(fs::exists("x.toml")) << words;
    }
    WriteText("rotor.toml",
              "kiv = 1\n[lower]\nA = 3.0\nB = 2.0\nC = 1.0\nPX = 0.1\n[moment]\nmu = [1, 1, 1]\n");
    EXPECT_TRUE(Has(Kiv("export par rotor.toml").err, "lower.PX"));
    EXPECT_EQ(Kiv("export par rotor.toml").status, 3);
    EXPECT_EQ(Kiv("export lin rotor.toml").status, 3) << "no lines";
}

}  // namespace
}  // namespace kiv
