// kiv export cat, egy and q against catalogues, level lists and partition functions of an
// independent program.
#include <cmath>
#include <filesystem>

#include "ExportReading.h"
#include "support/CommandTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

struct Molecule {
    const char* name;
    double cut;           // lg of the weakest lines that the catalogue keeps at 0 MHz
    const char* options;  // as the catalogue was made
    double Q[7];          // at 300, 225, 150, 75, 37.5, 18.75, 9.375 K
};
void PrintTo(const Molecule& molecule, std::ostream* out) { *out << molecule.name; }

class CatalogOf : public CommandTest, public testing::WithParamInterface<Molecule> {
  protected:
    static fs::path Data(const std::string& folder, const std::string& ending) {
        return fs::path(KIV_TEST_DATA) / folder / (GetParam().name + ending);
    }

    static std::string Export(const std::string& words) {
        const Ended ended = Kiv("export " + words);
        EXPECT_EQ(ended.status, 0) << ended.err;
        return ended.out;
    }

    void SetUp() override {
        CommandTest::SetUp();
        fs::copy_file(Data("catalog", ".toml"), "m.toml");
    }
};

// The weakest lines of the catalogue are stronger than 10^cut (1 + (nu / 300 GHz)^2).
TEST_P(CatalogOf, HasTheLinesOfTheCatalogue) {
    const Molecule& m = GetParam();
    std::map<std::string, CatRow> ours;
    double last = 0.0;
    for (const CatRow& row : ReadCat(Export(std::string("cat m.toml ") + m.options))) {
        EXPECT_GE(row.frequency, last);
        last = row.frequency;
        EXPECT_TRUE(ours.try_emplace(row.quanta, row).second) << row.quanta;
    }
    const auto theirs = ReadCat(ReadText(Data("exchange", ".cat")));
    for (const CatRow& row : theirs) {
        ASSERT_EQ(ours.count(row.quanta), 1u) << row.quanta;
        const CatRow& own = ours.at(row.quanta);
        EXPECT_NEAR(own.frequency, row.frequency, 1e-9);
        EXPECT_NEAR(own.lgint, row.lgint, 2e-4);
        EXPECT_NEAR(own.lower, row.lower, 1e-9);
        EXPECT_EQ(own.error, 0.0);
        EXPECT_EQ(own.weight + own.tag + own.format, row.weight + row.tag + row.format);
        ours.erase(row.quanta);
    }
    EXPECT_GT(theirs.size(), 1000u);
    for (const auto& [quanta, row] : ours) {
        const double cut = m.cut + std::log10(1.0 + std::pow(row.frequency / 3e5, 2));
        EXPECT_LT(row.lgint, cut + 2e-4) << quanta;
    }
}

TEST_P(CatalogOf, HasItsLevelsToTheByte) {
    const std::string theirs = ReadText(Data("catalog", ".egy"));
    EXPECT_GT(theirs.size(), 10000u);
    EXPECT_EQ(Export("egy m.toml").substr(0, theirs.size()), theirs);
}

TEST_P(CatalogOf, HasItsPartitionFunction) {
    const auto rows = ReadCsv(Export("q m.toml --temperature 2.5,300"));
    ASSERT_EQ(rows.size(), 8u);
    for (std::size_t i = 0; i < 7; ++i) {
        EXPECT_NEAR(Number(rows[i], "temperature"),
                    300.0 / (i == 1   ? 4.0 / 3.0
                             : i == 0 ? 1.0
                                      : std::pow(2.0, i - 1)),
                    1e-9);
        EXPECT_NEAR(Number(rows[i], "Q"), GetParam().Q[i], 1e-8 * GetParam().Q[i]);
    }
    EXPECT_EQ(rows[7].at("temperature"), "2.5");
}

// Fitted to the lines of the catalogue, every tenth prediction of the independent program.
TEST_P(CatalogOf, HasItsUncertainties) {
    std::string text = ReadText("m.toml");
    const std::size_t at = text.find("#fit");
    ASSERT_NE(at, std::string::npos);
    text.erase(at, 1);
    const std::size_t highest = text.find("J_max = 30");  // lines of formaldehyde reach J = 44
    if (highest != std::string::npos) text.replace(highest, 10, "J_max = 44");
    WriteText("fit.toml", text);
    const std::string lines = std::string(GetParam().name) + ".lin";
    fs::copy_file(Data("exchange", ".lin"), lines);
    std::map<std::string, CatRow> ours;
    for (const CatRow& row : ReadCat(Export("cat fit.toml --range 0,3e6"))) {
        ours[row.quanta] = row;
    }
    int checked = 0;
    for (const CatRow& row : ReadCat(ReadText(Data("catalog", ".fit.cat")))) {
        ASSERT_EQ(ours.count(row.quanta), 1u) << row.quanta;
        EXPECT_NEAR(ours[row.quanta].error, row.error, 1.01e-4) << row.quanta;
        EXPECT_NEAR(ours[row.quanta].frequency, row.frequency, 1.01e-4);
        checked += row.error > 0.001 ? 1 : 0;
    }
    EXPECT_GT(checked, 40);

    const std::string levels = Export("egy fit.toml");
    EXPECT_NE(levels.find("     1    1          0.000000          0.000000"), std::string::npos);
    EXPECT_EQ(levels.size() % 74, 0u);
}

INSTANTIATE_TEST_SUITE_P(Molecules, CatalogOf,
                         testing::Values(Molecule{"formaldehyde",
                                                  -12.0,
                                                  "--tag 30501 --min-lgint -12 --range 0,3e6",
                                                  {2883.023369, 1872.627461, 1019.973718, 361.72068,
                                                   128.6496507, 44.6813137, 13.8008758}},
                                         Molecule{
                                             "cyclopropenylidene",
                                             -9.0,
                                             "--tag 38508 --min-lgint -9 --range 0,1e6",
                                             {12764.30563, 8289.794388, 4513.266181, 1597.895936,
                                              566.8579303, 201.8435792, 72.40308384}}),
                         [](const auto& of) { return std::string(of.param.name); });

}  // namespace
}  // namespace kiv
