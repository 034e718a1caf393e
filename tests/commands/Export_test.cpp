// kiv export csv, cat, egy and q: columns, options, statuses, closed forms.
#include <cmath>
#include <filesystem>

#include "ExportReading.h"
#include "support/CommandTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

constexpr double kPerKelvin = 20836.61912;  // MHz

std::string Rotor(const std::string& constants, const std::string& spectrum) {
    return "kiv = 1\n[lower]\n" + constants + "[moment]\nmu = [0.5, 1.0, -0.7]\n[spectrum]\n" +
           spectrum;
}

const std::string kTop = "A = 9000.0\nB = 5000.0\nC = 3000.0\n";

// A row of the text list.
struct ListRow {
    char band = ' ';
    std::string quanta;
    double intensity = 0.0, observed = 0.0, position = 0.0;
};

ListRow ReadListRow(const std::string& line) {
    ListRow row;
    std::istringstream columns(line);
    columns >> row.band;
    for (int i = 0; i < 6; ++i) {
        std::string q;
        columns >> q;
        row.quanta += q + " ";
    }
    columns >> row.intensity >> row.observed >> row.position;
    return row;
}

class ExportCommand : public CommandTest {
  protected:
    static std::string Export(const std::string& words, int status = 0) {
        const Ended ended = Kiv("export " + words);
        EXPECT_EQ(ended.status, status) << words << "\n" << ended.err;
        return ended.out;
    }

    // "J' Ka' Kc' J'' Ka'' Kc''"
    static std::string QuantaOf(const CsvRow& row) {
        std::string text;
        for (const char* column : {"J_up", "Ka_up", "Kc_up", "J_lo", "Ka_lo", "Kc_lo"}) {
            text += row.at(column) + " ";
        }
        return text;
    }

    static void WriteBand() {
        WriteText("band.toml",
                  "kiv = 1\nunit = \"cm-1\"\n[lower]\nA = 0.3\nB = 0.2\nC = 0.1\n"
                  "[upper]\nA = 0.31\nB = 0.19\nC = 0.1\norigin = 3700.0\n"
                  "[moment]\nmu = [0.1, 0.0, 0.0]\n[spectrum]\nJ_max = 6\n");
    }
};

// A row is a row of the text list, with more digits and columns that follow from each other.
TEST_F(ExportCommand, CsvAgreesWithTheTextList) {
    WriteText("r.toml", Rotor("A = 9013.7\nB = 5021.3\nC = 3007.9\n",
                              "J_max = 12\nspin_weights = [3, 1, 0, 1]\n"));
    ASSERT_EQ(Kiv("run r.toml --write asc,csv,cat,egy").status, 0);
    for (const std::string format : {"csv", "cat", "egy"}) {
        EXPECT_EQ(Export(format + " r.toml"), ReadText("r." + format)) << format;
    }
    std::vector<std::string> list = LinesOf(ReadText("r.asc"));
    list.erase(list.begin());
    const auto rows = ReadCsv(Export("csv r.toml"));
    const double Q = Number(ReadCsv(Export("q r.toml"))[0], "Q");
    ASSERT_EQ(rows.size(), list.size());
    EXPECT_GT(rows.size(), 500u);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const CsvRow& row = rows[i];
        const ListRow listed = ReadListRow(list[i]);
        EXPECT_EQ(row.at("band")[0], listed.band - 'A' + 'a');
        EXPECT_EQ(QuantaOf(row), listed.quanta);
        EXPECT_NEAR(Number(row, "frequency"), listed.position, 5.1e-5);
        EXPECT_NEAR(Number(row, "intensity"), listed.intensity, 5.1e-5);
        const double nu = Number(row, "frequency"), lower = Number(row, "E_lo");
        EXPECT_NEAR(Number(row, "E_up") - lower, nu, 1e-6);
        const bool ka_odd = std::stoi(row.at("Ka_lo")) % 2 != 0,
                   kc_odd = std::stoi(row.at("Kc_lo")) % 2 != 0;
        const int w = !ka_odd && !kc_odd ? 3 : 1;
        EXPECT_FALSE(ka_odd && kc_odd) << "of spin weight 0";
        EXPECT_EQ(Number(row, "g_up"), w * (2 * std::stoi(row.at("J_up")) + 1));
        const double kT = 300.0 * kPerKelvin, S = Number(row, "strength");
        const double difference = std::exp(-lower / kT) * -std::expm1(-nu / kT);
        EXPECT_NEAR(Number(row, "intensity"), S * w * difference * nu * 1e-4,
                    (1e-6 + 1e-15 * kT / nu) * Number(row, "intensity"));
        EXPECT_NEAR(Number(row, "lgint"), std::log10(4.16231e-5 * nu * S * w * difference / Q),
                    3e-7);
        for (const char* none : {"uncertainty", "observed", "obs_uncertainty", "obs_minus_calc"}) {
            EXPECT_EQ(row.at(none), "");
        }
    }
}

// One line is measured once, one twice, two are one blend.
TEST_F(ExportCommand, ObservedValuesAndUncertainties) {
    const std::string input = WriteFit();
    WriteText("lines.csv", ReadText("lines.csv") +
                               "1,0,1,0,0,0,8000.06,0.1\n"
                               "3,1,3,2,1,2,20500.5,0.2\n"
                               "3,0,3,2,0,2,20500.5,0.2\n");
    for (const CsvRow& row : ReadCsv(Export("csv rotor.toml"))) {
        const std::string quanta = QuantaOf(row);
        const double sd = Number(row, "uncertainty");
        EXPECT_TRUE(sd > 0.0 && sd < 5.0) << quanta;
        if (quanta == "1 1 0 1 0 1 ") {
            EXPECT_EQ(row.at("observed") + " " + row.at("obs_uncertainty"), "5999.99 0.05");
        } else if (quanta == "1 0 1 0 0 0 ") {
            EXPECT_NEAR(Number(row, "observed"), (4 * 8000.03 + 8000.06) / 5, 1e-9);
            EXPECT_NEAR(Number(row, "obs_uncertainty"), 0.1 / std::sqrt(5.0), 1e-12);
        } else if (quanta == "3 1 3 2 1 2 " || quanta == "3 0 3 2 0 2 ") {
            EXPECT_EQ(row.at("observed"), "20500.5");
        } else {
            continue;
        }
        EXPECT_NEAR(Number(row, "obs_minus_calc"),
                    Number(row, "observed") - Number(row, "frequency"), 1e-9);
    }
    // 1(1,0) - 1(0,1) is A - C: its uncertainty in the catalogue is that of the csv.
    const std::string word = " 1 1 0       1 0 1      ";
    const auto rows = ReadCat(Export("cat rotor.toml"));
    const auto row = std::find_if(rows.begin(), rows.end(),
                                  [&](const CatRow& cat) { return cat.quanta == word; });
    ASSERT_NE(row, rows.end());
    EXPECT_GT(row->error, 0.01);
    EXPECT_LT(row->error, 0.05) << "that of one measurement";
}

TEST_F(ExportCommand, PartitionFunctionsOfClosedForms) {
    WriteText("top.toml", Rotor("A = 50000.0\nB = 9000.0\nC = 9000.0\n", "J_max = 2\n"));
    WriteText("rod.toml", Rotor("A = 1e10\nB = 3000.0\nC = 3000.0\n", "J_max = 2\n"));
    for (const CsvRow& row : ReadCsv(Export("q top.toml --temperature 0.001,2e3"))) {
        const double kT = kPerKelvin * Number(row, "temperature");
        double sum = 0.0;
        for (int J = 0; J < 700; ++J) {
            for (int K = -J; K <= J; ++K) {
                sum += (2 * J + 1) * std::exp(-(9000.0 * J * (J + 1) + 41000.0 * K * K) / kT);
            }
        }
        EXPECT_NEAR(Number(row, "Q"), sum, 1e-7 * sum) << kT;
    }
    for (const CsvRow& row : ReadCsv(Export("q rod.toml"))) {
        const double limit = kPerKelvin * Number(row, "temperature") / 3000.0;
        EXPECT_NEAR(Number(row, "Q"), limit + 1.0 / 3.0, 2e-1 / limit);
        EXPECT_GT(Number(row, "J"), 5.0 * std::sqrt(limit) / 2.0);
    }
}

// Cold, hot, and without a temperature: then at 300 K.
TEST_F(ExportCommand, AnyTemperature) {
    for (const char* temperature : {"0.0", "0.001", "0.5", "1e5"}) {
        WriteText("r.toml", Rotor(kTop, std::string("J_max = 6\ntemperature = ") + temperature));
        const double T = std::stod(temperature) > 0.0 ? std::stod(temperature) : 300.0;
        const std::string options = " r.toml --Q 10";
        for (const CsvRow& row : ReadCsv(Export("csv" + options))) {
            const double nu = Number(row, "frequency"), E = Number(row, "E_lo");
            const double kT = T * kPerKelvin, S = Number(row, "strength");
            EXPECT_GT(S, 0.0);
            const double lg =
                std::log10(4.16231e-6 * nu * S * -std::expm1(-nu / kT)) - E / kT / std::log(10.0);
            EXPECT_NEAR(Number(row, "lgint"), lg, 2e-6 + 1e-9 * std::fabs(lg)) << QuantaOf(row);
        }
        const auto rows = ReadCat(Export("cat" + options));
        EXPECT_GE(rows.size(), T < 0.01 ? 1u : 50u);
    }
}

TEST_F(ExportCommand, OptionsSelectLines) {
    WriteText("r.toml", Rotor(kTop, "J_max = 10\nrange = [1000.0, 5000.0]\n"));
    const auto all = ReadCat(Export("cat r.toml --range 0,1e9"));
    const auto strong = ReadCat(Export("cat r.toml --range 0,1e9 --min-lgint=-6.5 --tag 12345"));
    std::size_t expected = 0;
    for (const CatRow& row : all) expected += row.lgint >= -6.5 ? 1 : 0;
    EXPECT_NEAR(static_cast<double>(strong.size()), static_cast<double>(expected), 1.0);
    EXPECT_TRUE(expected > 10 && expected < all.size() - 10);
    EXPECT_EQ(strong[0].tag, "  12345");
    EXPECT_EQ(all[0].tag, "      0");
    for (const CatRow& row : ReadCat(Export("cat r.toml"))) {
        EXPECT_TRUE(row.frequency >= 1000.0 && row.frequency <= 5000.0);
    }
    const double Q = Number(ReadCsv(Export("q r.toml"))[0], "Q");
    const auto doubled = ReadCat(Export("cat r.toml --range 0,1e9 --Q " + std::to_string(2.0 * Q)));
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_NEAR(doubled[i].lgint, all[i].lgint - std::log10(2.0), 1.01e-4);
    }
    ASSERT_EQ(Kiv("export cat r.toml -o out.cat").status, 0);
    EXPECT_EQ(ReadText("out.cat"), Export("cat r.toml -o -"));
    const Ended few = Kiv("export q r.toml -q"), told = Kiv("export cat r.toml");
    EXPECT_EQ(few.err, "");
    EXPECT_EQ(CodesOf(told.err), std::vector<std::string>{"incomplete-Q:9"}) << told.err;
    WriteText("s.toml", Rotor(kTop, "J_max = 10\ntemperature = 0.0\n"));
    EXPECT_TRUE(Has(Kiv("export cat s.toml").err, "at 300 K")) << "that of lgint";
    EXPECT_EQ(Kiv("export csv s.toml --Q 5").err, "");
}

// Two states in cm-1, too far apart for MHz in thirteen columns.
TEST_F(ExportCommand, TwoStates) {
    WriteBand();
    const auto rows = ReadCat(Export("cat band.toml"));
    const auto csv = ReadCsv(Export("csv band.toml"));
    ASSERT_EQ(rows.size(), csv.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].format, "1404");
        EXPECT_LT(rows[i].error, 0.0) << "in cm-1";
        EXPECT_NEAR(rows[i].frequency, Number(csv[i], "frequency"), 5.1e-5);
        EXPECT_EQ(rows[i].quanta.substr(6, 6) + rows[i].quanta.substr(18), " 1     0    ");
        EXPECT_NEAR(Number(csv[i], "E_up") - Number(csv[i], "E_lo"), rows[i].frequency, 1e-4);
    }
    for (const std::string v : {"0", "1"}) {
        const auto within = ReadCat(Export("cat band.toml --v " + v + "-" + v));
        EXPECT_GT(within.size(), 20u);
        for (const CatRow& row : within) {
            EXPECT_EQ(row.quanta.substr(6, 2) + row.quanta.substr(18, 2), " " + v + " " + v);
            EXPECT_EQ(row.error, 0.0) << "in MHz";
            EXPECT_GE(row.lower, v == "1" ? 3700.0 : 0.0);
            EXPECT_LT(row.lower, v == "1" ? 3720.0 : 20.0);
        }
    }
    const auto levels = LinesOf(Export("egy band.toml"));
    EXPECT_EQ(levels.size(), 2u * 49);
    EXPECT_EQ(levels[1].substr(58), "    1:  0  0  0  1");
    EXPECT_EQ(levels[1].substr(11, 18), "       3700.000000");
}

// A band whose upper state lies below the lower one: levels change places in the catalogue alone.
TEST_F(ExportCommand, TheUpperLevelIsThatOfHigherEnergy) {
    WriteBand();
    std::string text = ReadText("band.toml");
    WriteText("down.toml", text.replace(text.find("3700.0"), 6, "-8.0"));
    const auto csv = ReadCsv(Export("csv down.toml"));
    EXPECT_LT(Number(csv.front(), "frequency"), 0.0);
    std::size_t swapped = 0;
    for (const CatRow& row : ReadCat(Export("cat down.toml"))) {
        EXPECT_GT(row.frequency, 0.0);
        const bool is_swapped = row.quanta[7] == '0';
        EXPECT_EQ(row.quanta[19], is_swapped ? '1' : '0');
        EXPECT_EQ(std::stoi(row.weight), 2 * std::stoi(row.quanta.substr(0, 2)) + 1);
        swapped += is_swapped ? 1 : 0;
    }
    EXPECT_GT(swapped, csv.size() / 2);
}

TEST_F(ExportCommand, QuantumNumbersAbove99) {
    WriteText("r.toml", Rotor(kTop, "J_max = 103\ndelta_K = 1\nrange = [600000.0, 620000.0]\n"));
    const auto csv = ReadCsv(Export("csv r.toml"));
    const auto rows = ReadCat(Export("cat r.toml"));
    std::map<std::string, int> first;
    for (const CatRow& row : rows) ++first[row.quanta.substr(0, 1)];
    EXPECT_GT(first["A"], 0);
    const auto number = [](const std::string& field) {
        return field[0] >= 'A' ? 10 * (field[0] - 'A' + 10) + field[1] - '0' : std::stoi(field);
    };
    std::map<std::string, int> seen;
    for (const CsvRow& row : csv) ++seen[QuantaOf(row)];
    for (const CatRow& row : rows) {
        std::string quanta;
        for (const std::size_t at : {0, 2, 4, 12, 14, 16}) {
            quanta += std::to_string(number(row.quanta.substr(at, 2))) + " ";
        }
        EXPECT_EQ(seen.count(quanta), 1u) << quanta;
    }
    ASSERT_EQ(rows.size(), csv.size());
}

TEST_F(ExportCommand, RefusesWhatItCannotDo) {
    WriteText("r.toml", Rotor(kTop, "J_max = 4\n"));
    WriteText("none.toml", Rotor(kTop, "J_max = 4\nrange = [1.0, 2.0]\n"));
    struct Case {
        const char* words;
        int status;
        const char* said;
    };
    for (const Case& now : {Case{"cat r.toml --tag 1.5", 2, "--tag"},
                            Case{"cat r.toml --tag -7", 2, "--tag"},
                            Case{"cat r.toml --Q 0", 2, "above 0"},
                            Case{"cat r.toml --Q 12,5", 2, "12.5"},
                            Case{"csv r.toml --min-lgint weak", 2, "weak"},
                            Case{"cat r.toml --range 5", 2, "8000,18000"},
                            Case{"cat r.toml --range 9,5", 2, "lowest"},
                            Case{"cat r.toml --range 1,2,3", 2, "lowest"},
                            Case{"csv r.toml --v 1-1", 2, "upper state"},
                            Case{"csv r.toml --v 2-1", 2, "1-0"},
                            Case{"q r.toml --temperature 10,-1", 2, "above 0 K"},
                            Case{"q r.toml --temperature ten", 2, "ten"},
                            Case{"cat r.toml --temperature 10", 2, "export q"},
                            Case{"egy r.toml --tag 1", 2, "export cat"},
                            Case{"csv r.toml --fwhm 1", 2, "export spectrum"},
                            Case{"q r.toml --range 1,2", 2, "csv and cat"},
                            Case{"cat r.toml -o r.toml", 2, "reads"},
                            Case{"cat nowhere.toml", 5, "nowhere"},
                            Case{"cat none.toml", 4, "range"},
                            Case{"cat r.toml --min-lgint 5", 4, "--min-lgint"},
                            Case{"csv r.toml -o no/such/file", 5, "no/such/file"}}) {
        const Files before = AllFiles();
        const Ended ended = Kiv(std::string("export ") + now.words);
        EXPECT_EQ(ended.status, now.status) << now.words;
        EXPECT_TRUE(Has(ended.err, now.said)) << now.words << "\n" << ended.err;
        EXPECT_EQ(ended.out, "") << now.words;
        EXPECT_TRUE(AllFiles() == before) << now.words;
    }
    EXPECT_EQ(Kiv("run r.toml --write asc,cats").status, 2);
}

// An old input: its own text list, absolute intensities with the constants of all catalogues.
TEST_F(ExportCommand, OldInputs) {
    const fs::path folder = fs::path(KIV_SOURCE_DIR) / "examples/so2";
    for (const char* name : {"so2.in", "fit.in", "so2.asn"}) fs::copy_file(folder / name, name);
    ASSERT_EQ(Kiv("run fit.in --out x").status, 0);
    const auto list = LinesOf(ReadText("x.asc"));
    const auto rows = ReadCsv(Export("csv fit.in"));
    ASSERT_EQ(rows.size() + 1, list.size());
    int observed = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const ListRow row = ReadListRow(list[i + 1]);
        EXPECT_NEAR(Number(rows[i], "frequency"), row.position, 5.1e-5);
        EXPECT_GT(Number(rows[i], "uncertainty"), 0.0);
        const double value = row.observed;
        EXPECT_EQ(rows[i].at("observed").empty(), value == 0.0);
        if (value == 0.0) continue;
        EXPECT_NEAR(Number(rows[i], "observed"), value, 5.1e-5);
        ++observed;
    }
    EXPECT_GT(observed, 50);
    EXPECT_EQ(ReadCsv(Export("q so2.in")).size(), 7u);
    EXPECT_EQ(LinesOf(Export("egy so2.in")).size(), 41u * 41);
}

}  // namespace
}  // namespace kiv
