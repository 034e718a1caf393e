// The log: its files, and what whole runs do not show of its text.
#include <algorithm>
#include <filesystem>

#include "console/Listings.h"
#include "console/PhaseLog.h"
#include "levels/LevelVectors.h"
#include "support/ConsoleTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

class Log : public ConsoleTest {
  protected:
    void Label(std::size_t level, int ka, int kc, double energy = 0.0) {
        levels_.ka[level] = static_cast<std::int16_t>(ka);
        levels_.kc[level] = static_cast<std::int16_t>(kc);
        levels_.energy[level] = energy;
    }

    Console console_{Watched()};
    Levels levels_;
};

// A fit of ground A B C DK, excited A PZ5 and the origin, positions `first` to `last` of it. They
// are stored backwards, so that a listing that skipped the order would show.
FitList PartOfFit(int first, int last) {
    const int constants[] = {0, kOrigin, 21, 0, 9, 2, 1, 0};
    FitList list;
    list.num_varied = last - first + 1;
    for (int slot = 1; slot <= 7; ++slot) {
        list.state[slot] = slot <= 3 ? kUpper : kLower;
        list.constant[slot] = constants[slot];
    }
    for (int n = 1; n <= 7; ++n) list.order[n] = 8 - (first + n - 1);
    return list;
}

// Laid out by hand in tests/data/console/listings.txt.
TEST_F(Log, ListingsAreLaidOutInTheirColumns) {
    ASSERT_TRUE(levels_.Reserve(Memory(), 4, false, 0));
    levels_.energy[0] = VecStart(levels_, levels_.vectors_real, 0)[0] = 1.0;
    Label(1, 3, 1, 10.4);
    Label(2, 4, 1, -13.4);
    Label(3, 10, 0, 1234567.123456);
    const int ka[] = {0, 1, 1, 2, 2, 3, 3, 4, 10}, kc[] = {4, 4, 3, 3, 2, 2, 1, 1, 0};
    double* const vectors = VecStart(levels_, levels_.vectors_real, 4);
    for (std::size_t rank = 0; rank < 9; ++rank) {
        Label(16 + rank, ka[rank], kc[rank]);
        vectors[rank * (VecLd(9) + 1)] = 1.0;
    }
    vectors[1] = -0.5;
    Model model;
    model.lower().terms[Constant::A].value = 60778.549;
    model.lower().terms[Constant::DK].value = -2.59e-2;
    model.lower().terms[Constant::dJ].value = 5.0e-5;
    model.lower().terms[Constant::PZ5].value = 0.25;
    model.origin.value = 33000.5;
    const double before[] = {0, 100.0, 1e-5, 9.0, 1e-3, 4.0, 6.0, 10.0};
    const double now[] = {0, 100.5, 3e-5, 9.5, 2e-3, 4.5, 6.25, 10.125};
    const double sd[] = {0, 0.5, 1e-6, 0.25, 1e-4, 0.1, 0.2, 0.3};
    const auto list_values = [&](int first, int last, bool scaled) {
        const FitList list = PartOfFit(first, last);
        console_.Log("\n# Positions %d to %d of a fit\n", first, last);
        ListFitValues(console_, {&list, 1, before, now, sd}, scaled, 2.0);
    };
    const auto list_labels = [&](int first, int last) {
        console_.Log("\n# Positions %d to %d of a fit\n", first, last);
        ListFitLabels(console_, PartOfFit(1, 7), first, last);
    };
    ListEnergies(console_, levels_, 1);  // without a log
    ListVectors(console_, levels_, 0);
    ListConstants(console_, model);
    ASSERT_TRUE(console_.OpenLog("a.log"));
    console_.Log("# Laid out by hand.\n\n# Energies of one J");
    ListEnergies(console_, levels_, 1);
    console_.Log("\n# Eigenvectors, eight to a block\n");
    ListVectors(console_, levels_, 4);
    console_.Log("# One level, with traces\n");
    console_.SetDebug({1});
    ListEnergies(console_, levels_, 0);  // a printed block has no exit
    ListVectors(console_, levels_, 0);
    console_.SetDebug({});
    console_.Log("# Constants\n");
    ListConstants(console_, model);
    list_labels(1, 7);
    list_labels(5, 5);
    list_labels(7, 7);
    list_labels(8, 7);
    list_values(1, 7, true);
    list_values(3, 4, false);
    list_values(7, 7, false);
    ASSERT_TRUE(console_.CloseLog());
    EXPECT_EQ(ReadText("a.log"), ReadText(KIV_TEST_DATA "/console/listings.txt"));
}

TEST_F(Log, BandLettersFollowTheTypesThatContribute) {
    InputFile file;
    file.band_split = 1;
    ASSERT_TRUE(console_.OpenLog("a.log"));
    testing::internal::CaptureStdout();
    for (int types = 0; types < 8; ++types) {  // the sum of 1 for a, 2 for b, 4 for c
        ReportLineSet(console_, file, {0, 0, 0, {(types & 1) != 0, (types & 2) != 0, types >= 4}});
    }
    testing::internal::GetCapturedStdout();
    ASSERT_TRUE(console_.CloseLog());
    const std::string log = ReadText("a.log"), label = "BAND LABEL         = ";
    std::string letters;
    for (std::size_t at = 0; (at = log.find(label, at)) != std::string::npos; at += label.size()) {
        letters += log[at + label.size()];
    }
    EXPECT_EQ(letters, "NABYCXZD");
}

TEST_F(Log, DebugLogTakesThePlaceOfTheBaseLog) {
    for (const char* switches : {"1 0 0 0 0 0", "0 1 0 0 0 0", "0 0 1 0 0 0", "0 0 0 1 0 0",
                                 "0 0 0 0 1 0", "0 0 0 0 0 1", "2 2 2 2 2 2"}) {
        const bool debug = switches[2] == '0';  // that of the input alone adds to the base log
        RunText(InputText({{"DEBUG", switches}}));
        EXPECT_EQ(fs::remove("Kiv95_Debug.log"), debug) << switches;
        EXPECT_EQ(fs::remove("input.log"), !debug) << switches;
    }
}

// A run can do without its log.
TEST_F(Log, ThatCannotBeCreatedIsToldAndCostsNothingElse) {
    fs::create_directory("Kiv95_Debug.log");
    fs::create_directory("input.log");
    for (const char* switches : {"0 0 0 0 0 0", "0 0 0 0 0 1"}) {
        const Ran ran = RunText(InputText({{"DEBUG", switches}}));
        const std::string debug = "FAILED TO CREATE ASCII DEBUG FILE Kiv95_Debug.log FOR WRITING!";
        EXPECT_EQ(Has(ran.console, debug), switches[10] == '1');
        EXPECT_TRUE(
            ran.console.ends_with("KIV VERSION v5.6\n\nPHASE    0 - PARAMETER INPUT\n"
                                  "FAILED TO CREATE ASCII LOG FILE input.log FOR WRITING!\n"))
            << ran.console;
        EXPECT_TRUE(ran.pauses.empty());
        EXPECT_TRUE(fs::remove("input.QZS") && fs::remove("input.asc"));
    }
}

}  // namespace
}  // namespace kiv
