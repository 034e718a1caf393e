// kiv export spectrum: spectra of known lines, comparisons, and what cannot be done.
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/CommandTest.h"

namespace kiv {
namespace {

using nlohmann::json;

// Lines of J = 1 - 0 at B + C = 8000 and A + C = 12000 MHz, of strength 1 for moments of 1, and
// within J = 1 at A - C = 6000 and B - C = 2000, of strength 3/2.
constexpr char kRotor[] =
    "kiv = 1\n[lower]\nA = 9000.0\nB = 5000.0\nC = 3000.0\n[moment]\nmu = [1.0, 1.0, 0.0]\n"
    "[spectrum]\nJ_max = 1\ntemperature = 0.0\n";

using Rows = std::vector<std::vector<double>>;

class SpectrumCommand : public CommandTest {
  protected:
    void SetUp() override {
        CommandTest::SetUp();
        WriteText("r.toml", kRotor);
    }

    static Rows RowsOf(const std::string& csv, const std::string& header) {
        std::istringstream lines(csv);
        std::string line;
        std::getline(lines, line);
        EXPECT_EQ(line, header);
        Rows rows;
        while (std::getline(lines, line)) {
            std::istringstream fields(line);
            rows.emplace_back();
            for (std::string field; std::getline(fields, field, ',');) {
                rows.back().push_back(std::stod(field));
            }
        }
        return rows;
    }

    static Rows Spectrum(const std::string& options) {
        const Ended ended = Kiv("export spectrum r.toml " + options);
        EXPECT_EQ(ended.status, 0) << ended.err;
        return RowsOf(ended.out, "frequency,intensity");
    }

    // The lines of the rotor of these strengths in Gaussians of a full width.
    static double Gaussians(double frequency, double width) {
        constexpr double kLines[][2] = {
            {8000.0, 1.0}, {12000.0, 1.0}, {6000.0, 1.5}, {2000.0, 1.5}};
        double sum = 0.0;
        for (const auto& [position, strength] : kLines) {
            const double x = (frequency - position) / width;
            sum += strength * 2.0 * std::sqrt(std::log(2.0) / std::acos(-1.0)) / width *
                   std::pow(2.0, -4.0 * x * x);
        }
        return sum;
    }
};

TEST_F(SpectrumCommand, LinesBecomeProfiles) {
    const Rows rows = Spectrum("--fwhm 4 --from 5990 --to 8010.4 --step 0.8");
    ASSERT_EQ(rows.size(), 2526U);
    EXPECT_EQ(rows[3][0], 5992.4);
    for (const auto& row : rows) EXPECT_NEAR(row[1], Gaussians(row[0], 4.0), 1e-6);
}

TEST_F(SpectrumCommand, DefaultsShowAllLines) {
    for (const char* options :
         {"", "--fwhm 20", "--shape lorentz --fwhm 3", "--shape voigt --fwhm 3,2"}) {
        const Rows rows = Spectrum(options);
        const double step = rows[1][0] - rows[0][0];
        double area = 0.0;
        for (const auto& row : rows) area += row[1] * step;
        EXPECT_NEAR(area, 5.0,
                    std::string(options).find("shape") == std::string::npos ? 1e-6 : 0.3);
        EXPECT_LT(rows.front()[0], 2000.0);
        EXPECT_GT(rows.back()[0], 12000.0);
    }
    const Rows rows = Spectrum("--fwhm 20");
    EXPECT_NEAR(rows[1][0] - rows[0][0], 2.0, 1e-12);
    for (const double width : {0.7, 0.3, 30.0}) {  // steps and frequencies are short decimals
        const Ended made =
            Kiv("export spectrum r.toml -q --to 2000 --fwhm " + std::to_string(width));
        std::istringstream lines(made.out);
        std::string line;
        std::getline(lines, line);
        while (std::getline(lines, line)) ASSERT_LE(line.find(','), 7U) << line;
    }
    const Ended told = Kiv("export spectrum r.toml -o out.csv");
    EXPECT_EQ(told.out, "");
    EXPECT_TRUE(Has(told.err, "gauss of full width 5 MHz")) << told.err;
    EXPECT_EQ(RowsOf(ReadText("out.csv"), "frequency,intensity").size(), 20101U);
    EXPECT_EQ(Kiv("export spectrum r.toml -q").err, "");
}

// A detector of its own scale, offset and clock, in GHz and descending.
TEST_F(SpectrumCommand, ComparesWithAMeasurement) {
    std::ostringstream text;
    text.precision(12);
    text << "; from the archive\nf [GHz]\tU\n";
    for (int i = 5000; i >= 0; --i) {
        const double f = 5900.0 + 0.5 * i;
        text << f / 1000.0 << "\t" << 40.0 * Gaussians(f - 0.7, 6.0) + 3.0 << "\n";
    }
    WriteText("m.txt", text.str());
    const std::string command = "export spectrum r.toml --fwhm 6 --compare m.txt --shift";
    const Ended ended = Kiv(command + " --json");
    ASSERT_EQ(ended.status, 0) << ended.err;
    const json found = json::parse(ended.out);
    EXPECT_NEAR(found["scale"].get<double>(), 40.0, 1e-4);
    EXPECT_NEAR(found["offset"].get<double>(), 3.0, 1e-6);
    EXPECT_NEAR(found["shift"].get<double>(), 0.7, 1e-5);
    EXPECT_NEAR(found["correlation"].get<double>(), 1.0, 1e-9);
    EXPECT_LT(found["residual_rms"].get<double>(), 1e-5);
    EXPECT_EQ(found.size(), 5U);
    EXPECT_TRUE(Has(ended.err, "5001 points from 5900 to 8400 MHz, read as GHz")) << ended.err;
    EXPECT_TRUE(Has(ended.err, "scale 40, offset 3, shift 0.7 MHz")) << ended.err;

    const Ended table = Kiv(command + " --from 7990 --to 8010");
    const Rows rows = RowsOf(table.out, "frequency,intensity,measured,difference");
    ASSERT_EQ(rows.size(), 41U);
    for (const auto& row : rows) {
        EXPECT_NEAR(row[1], Gaussians(row[0] - 0.7, 6.0), 1e-6);
        EXPECT_NEAR(row[2], 40.0 * Gaussians(row[0] - 0.7, 6.0) + 3.0, 1e-6);
        EXPECT_NEAR(row[3], 0.0, 1e-4);
    }
    EXPECT_LT(
        json::parse(
            Kiv("export spectrum r.toml --fwhm 6 --compare m.txt --json -q").out)["correlation"]
            .get<double>(),
        0.99);
}

struct Refused {
    const char* words;
    int status;
    const char* message;
};

TEST_F(SpectrumCommand, SaysWhatItCannotDo) {
    WriteText("flat.txt", "7990 1\n8000 1\n8010 1\n");
    WriteText("ghz.txt", "7.9 1\n8.0 2\n8.1 1\n");
    WriteText("short.txt", "7.9 1\n");
    WriteText("odd.txt", "7990 1\n8000,5 1\n8010 1\n");
    WriteText("nothing.toml", std::string(kRotor) + "range = [1.0, 2.0]\n");
    const Refused cases[] = {
        {"r.toml --shape box", 2, "--shape knows no \"box\", it takes gauss, lorentz or voigt"},
        {"r.toml --fwhm 0", 2, "--fwhm takes a width above 0"},
        {"r.toml --fwhm 1,5", 2, "\"1,5\" has a decimal comma"},
        {"r.toml --shape voigt --fwhm 1", 2, "takes two widths"},
        {"r.toml --shape voigt --fwhm 0,0", 2, "--fwhm takes a width above 0"},
        {"r.toml --shape voigt --fwhm 1,x", 2, "\"x\" is not a number"},
        {"r.toml --step -1", 2, "--step takes a number above 0"},
        {"r.toml --from 9000 --to 8000", 2, "--from 9000 is above --to 8000"},
        {"r.toml --from 50000", 2, "the lines lie from 2000 to 12000"},
        {"r.toml --step 1e-9", 2, "more than 10000000 points"},
        {"r.toml --shift", 2, "--shift needs a measured spectrum"},
        {"r.toml --json", 2, "--compare"},
        {"r.toml --tag 7", 2, "--tag"},
        {"r.toml --step 1 --compare ghz.txt", 2, "leave --step out"},
        {"r.toml --compare none.txt", 5, "cannot read none.txt"},
        {"r.toml --compare odd.txt", 3, "odd.txt:2:1: error: frequency: \"8000,5\" has a decimal"},
        {"r.toml --compare flat.txt --fwhm 9", 4, "the measured spectrum is constant"},
        {"r.toml --compare ghz.txt", 4, "if they are in GHz, begin the file with the line # GHz"},
        {"r.toml --compare short.txt", 4, "at least 3 measured points"},
        {"r.toml --compare flat.txt --from 100 --to 200", 4, "no point of flat.txt lies in"},
        {"r.toml --compare flat.txt -o flat.txt", 2, "is a file that the command reads"},
        {"nothing.toml", 4, "nothing.toml: "},
    };
    const Files before = AllFiles();
    for (const Refused& row : cases) {
        const Ended ended = Kiv(std::string("export spectrum ") + row.words);
        EXPECT_EQ(ended.status, row.status) << row.words << "\n" << ended.err;
        EXPECT_TRUE(Has(ended.err, row.message)) << row.words << "\n" << ended.err;
        EXPECT_EQ(ended.out, "") << row.words;
    }
    EXPECT_TRUE(AllFiles() == before);
}

TEST_F(SpectrumCommand, WavenumbersAndSingleLines) {
    WriteText("cm.toml",
              "kiv = 1\nunit = \"cm-1\"\n[lower]\nA = 0.9\nB = 0.5\nC = 0.3\n[moment]\n"
              "mu = [1.0, 0.0, 0.0]\n[spectrum]\nJ_max = 1\ntemperature = 0.0\n"
              "range = [0.5, 2.0]\n");
    const Ended ended = Kiv("export spectrum cm.toml");
    const Rows rows = RowsOf(ended.out, "frequency,intensity");
    double area = 0.0;
    for (const auto& row : rows) area += row[1] * (rows[1][0] - rows[0][0]);
    EXPECT_NEAR(area, 1.0, 1e-6) << ended.err;
    EXPECT_TRUE(Has(ended.err, "cm-1")) << ended.err;
}

}  // namespace
}  // namespace kiv
