// The line-set files, byte by byte, from lists small enough to be sorted by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "kiv/files.h"
#include "lines/LineDerivatives.h"

namespace kiv {
namespace {

template <class T>
std::string Raw(const std::vector<T>& values) {
    return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T)};
}
const auto F64 = Raw<double>;
const auto F32 = Raw<float>;
const auto I32 = Raw<std::int32_t>;

template <class T>
void Fill(const Memory& memory, Array<T>& array, const std::vector<T>& values) {
    ASSERT_TRUE(array.Take(memory, static_cast<std::int64_t>(values.size())));
    std::copy(values.begin(), values.end(), array.begin());
}

class LineSet : public testing::Test {
  protected:
    void SetUp() override { SetUpList(); }

    // Four lines in the order of calculation, frequencies 30 10 40 20; sorted 40 30 20 10, that
    // is lines 2 0 3 1. Of three assignments the second found no line.
    void SetUpList() {
        memory = Memory();
        file = InputFile{};
        file.temperatures[0] = 5.0;
        header = {};
        lines = {};
        lines.size = 4;
        Fill(memory, lines.position, {30.0, 10.0, 40.0, 20.0});
        Fill(memory, lines.intensity, {0.3f, 0.1f, 0.4f, 0.2f});
        Fill(memory, lines.amplitude_real,
             {3.f, 3.1f, 3.2f, 1.f, 1.1f, 1.2f, 4.f, 4.1f, 4.2f, 2.f, 2.1f, 2.2f});
        Fill(memory, lines.band, {'C', 'A', 'R', 'B'});
        Fill(memory, lines.label,
             {3, 0, 3, 2, 0, 2, 1, 0, 1, 0, 0, 0, 4, 1, 4, 3, 1, 3, 12, 3, 10, 120, 11, 110});
        Fill(memory, lines.lower_level, {3, 1, 0, 2});
        lines.matched = 2;
        lines.missing = 1;
        Fill(memory, lines.match_line, {1, 3});
        Fill(memory, lines.match_assignment, {0, 2});
        assignments.size = assignments.split = 3;
        Fill(memory, assignments.frequency, {10.5, 99.0, 19.75});
        Fill(memory, assignments.uncertainty, {0.1, 9.0, 0.3});
        SetUpLevels(lower, {0.0, 1.5, 2.0, 3.0});
        SetUpLevels(upper, {100.0, 101.5, 102.0, 103.0});
        const double derivatives[4][2] = {{3.0, 3.5}, {1.0, 1.5}, {4.0, 4.5}, {2.0, 2.5}};
        for (std::size_t n = 0; n < 4; ++n) {
            lower.derivative[LevelIndex(&lines.label[6 * n + 3])] = derivatives[n][0];
            upper.derivative[LevelIndex(&lines.label[6 * n])] = derivatives[n][1];
        }
    }

    // Levels of J = 0 and 1, with derivatives of J up to 120.
    void SetUpLevels(Levels& levels, const std::vector<double>& energies) const {
        levels = {};
        levels.max_J = 1;
        levels.num_derivatives = 1;
        Fill(memory, levels.energy, energies);
        ASSERT_TRUE(levels.derivative.Take(memory, 121 * 121));
    }

    // The quantum numbers of the level with this index.
    static void SetLabel(int level, std::int16_t* q) {
        const int J = static_cast<int>(std::sqrt(level)), rank = level - J * J;
        q[0] = static_cast<std::int16_t>(J);
        q[1] = static_cast<std::int16_t>((rank + 1) / 2);
        q[2] = static_cast<std::int16_t>(J - rank / 2);
    }

    // Writes both files; false when memory is refused, to the array `missing`.
    bool Write() {
        StringSink binary, text;
        LineSetHeader as = HeaderOf(file, model, lines, &assignments);
        as.num_fitted = header.num_fitted;
        as.covariance = header.covariance;
        const LineSource source{lower, upper, &assignments};
        Result<SortedLines> sorted = WriteLineSet(binary, as, std::move(lines), source, memory);
        whole = binary.text();
        if (!sorted.ok()) {
            missing = sorted.error().subject;
            return false;
        }
        WriteLineList(text, as, sorted.value(), lower, memory);
        list = text.text();
        return true;
    }

    Memory memory;
    InputFile file;
    Model model;
    LineSetHeader header;
    LineList lines;
    Levels lower, upper;
    Assignments assignments;
    std::string whole, list, missing;

    // Sections of the file, in order.
    const std::string Head = F64({40.0, 30.0, 20.0, 10.0}) + F64({0.0, 0.0, 19.75, 10.5}) +
                             F32({0.f, 0.f, 0.3f, 0.1f}) + F32({0.4f, 0.3f, 0.2f, 0.1f});
    const std::string RealAmp =
        F32({4.f, 4.1f, 4.2f, 3.f, 3.1f, 3.2f, 2.f, 2.1f, 2.2f, 1.f, 1.1f, 1.2f});
    const std::string Lines = "RCBA" +
                              Raw<std::int16_t>({4,  1, 4,  3,   1,  3,   3, 0, 3, 2, 0, 2,
                                                 12, 3, 10, 120, 11, 110, 1, 0, 1, 0, 0, 0}) +
                              F64({-4.0, 4.5, -3.0, 3.5, -2.0, 2.5, -1.0, 1.5});
};

TEST_F(LineSet, BodyByTheFactsOfTheRun) {
    Table<double> covariance;
    const auto moment = [this](double a, double b) {
        return [=, this] { file.moment_percent = {a, b, 100.0}; };
    };
    const auto matrix = [&](int dim) {  // rows and columns 0..dim-1, elements counted
        return [&, dim] {
            header.num_fitted = 2;
            header.covariance = &covariance;
            ASSERT_TRUE(covariance.Take(memory, dim, dim));
            std::iota(covariance.block().begin(), covariance.block().end(), 0.0);
        };
    };
    const std::string ground = F64({0.0, 1.5, 2.0, 3.0}) + I32({0, 3, 2, 1});
    struct {
        std::function<void()> change;
        std::string body;
        std::vector<std::int32_t> flags;  // derivatives, energies, amplitudes twice, complex
    } const cases[] = {
        {moment(100, 0), Head + RealAmp + Lines, {1, 0, 1, 1, 0}},
        {moment(50, 50), Head + Lines, {1, 0, 0, 0, 0}},
        {[&] {
             lower.is_complex = upper.is_complex = true;
             Fill(memory, lines.amplitude_imag,
                  {3.f, 0.f, 0.f, 1.f, 0.f, 0.f, 4.f, 0.f, 0.f, 2.f, 0.f, 0.f});
         },
         Head + RealAmp + F32({4.f, 0, 0, 3.f, 0, 0, 2.f, 0, 0, 1.f, 0, 0}) + Lines,
         {1, 0, 1, 1, 1}},
        {[&] { file.temperatures[0] = 0.0; }, Head + RealAmp + Lines + ground, {1, 1, 1, 1, 0}},
        {[&] {
             file.temperatures[0] = -1.0;
             Fill(memory, lines.upper_level, {1, 2, 3, 0});
         },
         Head + RealAmp + Lines + ground + F64({100.0, 101.5, 102.0, 103.0}) + I32({3, 1, 0, 2}),
         {1, 1, 1, 1, 0}},
        {[&] { header.num_fitted = 2; },
         Head + RealAmp + Lines + F64({0, 0, 0, 0}),
         {1, 0, 1, 1, 0}},
        {matrix(2), Head + RealAmp + Lines + F64({0, 0, 0, 0}), {1, 0, 1, 1, 0}},
        {matrix(3), Head + RealAmp + Lines + F64({4, 5, 7, 8}), {1, 0, 1, 1, 0}},
        {[&] { lines.size = lines.matched = 0; }, "", {1, 0, 1, 1, 0}}};
    for (const auto& c : cases) {
        SetUpList();
        c.change();
        ASSERT_TRUE(Write());
        EXPECT_TRUE(whole.substr(13310) == c.body) << "case " << &c - cases;
        EXPECT_EQ(whole.substr(5282, 8) + whole.substr(5318, 12), I32(c.flags)) << &c - cases;
    }
}

TEST_F(LineSet, HeaderHoldsTheRun) {
    file.states[kUpper].status[Constant::DJ] = -1;
    file.temperatures = {5.0, 6.0, 0.5};
    file.moment_angles = {1.0, 2.0, 3.0};
    model.lower().Set(Constant::A, 9.0);
    model.upper().terms[Constant::PZ5].sd = 0.25;
    model.origin = {7.0, true, true, 0.125};
    header.num_fitted = 3;
    ASSERT_TRUE(Write());
    const auto zeros = [](std::size_t n) { return std::string(n, '\0'); };
    const std::pair<std::size_t, std::string> fields[] = {
        {0, "QZS v1.6" + zeros(8)},
        {1316, I32({1, 1, 1, 0})},
        {1316 + 4 * (50 + 11), I32({65535, 0})},  // as it always was
        {1316 + 4 * (50 + 22), I32({1, 0})},      // the origin
        {3008, F64({1, 2, 3, 5, 6, 0.5, 20836.7381265})},
        {3154, I32({22}) + "A    " + zeros(5) + "B    "},
        {3158 + 22 * 10, "ORI  " + zeros(5)},
        {3658, F64({9.0, 0.0})},
        {3658 + 8 * 22, F64({0.0})},  // the lower state has none
        {3658 + 8 * 72, F64({7.0})},
        {4458 + 8 * 71, F64({0.25, 0.125})},
        {5262, I32({4, 3, 2, 1, 3})},  // lines, read, matched, missing, split
        {5294, I32({2, 3, 9, 4})},     // derivatives, P, P P, levels
        {5366, "KIV v5.6" + zeros(8)}};
    for (const auto& [at, bytes] : fields) {
        EXPECT_TRUE(whole.substr(at, bytes.size()) == bytes) << at;
    }
}

// A level of many lines, whose energy is wider than its column, with and without memory for texts.
TEST_F(LineSet, TextListInInverseCentimetres) {
    file.temperatures[0] = 0.0;
    file.energy_unit = "CM-1";
    lower.energy[2] = -1e25;
    lines.lower_level[0] = 2;
    const LineSetHeader as = HeaderOf(file, model, lines, &assignments);
    const auto sorted = SortLines(std::move(lines), &assignments, memory);
    for (std::int64_t granted : {-1, 0}) {
        memory.RefuseAfter(granted);
        StringSink text;
        WriteLineList(text, as, sorted.value(), lower, memory);
        EXPECT_EQ(
            text.text(),
            "BT J'Ka'Kc'  J\"Ka\"Kc\" Sij*Mu**2       OBL        CALC         OmC"
            "     GND ERG (CM-1)\n"
            "A  1  0  1   0  0  0   0.1000     10.5000     10.0000      0.5000      1.5000\n"
            "B 12  3 10 120 11 110   0.2000     19.7500     20.0000     -0.2500"
            " -10000000000000000905969664.0000\n"
            "C  3  0  3   2  0  2   0.3000      0.0000     30.0000            "
            " -10000000000000000905969664.0000\n"
            "R  4  1  4   3  1  3   0.4000      0.0000     40.0000                  0.0000\n");
    }
}

TEST_F(LineSet, LongListsCrossTheWriteBlocks) {
    const int n = lines.size = 14000;
    lines.matched = 0;
    Fill(memory, lines.position, std::vector<double>(n));
    Fill(memory, lines.intensity, std::vector<float>(n));
    Fill(memory, lines.amplitude_real, std::vector<float>(3 * n));
    Fill(memory, lines.band, std::vector<char>(n, 'A'));
    Fill(memory, lines.label, std::vector<std::int16_t>(6 * n));
    Fill(memory, lines.lower_level, std::vector<std::int32_t>(n));
    for (int level = 0; level < 121 * 121; ++level) lower.derivative[level] = -1.0 - level;
    upper.derivative[0] = 0.25;
    std::string text = "BT J'Ka'Kc'  J\"Ka\"Kc\"     ITN         OBL        CALC         OmC\n";
    std::string derivatives;
    for (int i = 0; i < n; ++i) {
        const int position = i * 2897 % n;
        lines.position[i] = position * 1.25;
        SetLabel(position, &lines.label[6 * i + 3]);
        std::int16_t q[3];
        SetLabel(i, q);
        char row[96];
        std::snprintf(row, sizeof row, "A  0  0  0 %3hd %2hd %2hd   0.0000      0.0000%12.4f%13s",
                      q[0], q[1], q[2], i * 1.25, "\n");
        text += row;
        derivatives += F64({1.0 * n - i, 0.25});
    }
    ASSERT_TRUE(Write());
    EXPECT_TRUE(list == text);
    EXPECT_TRUE(whole.ends_with(derivatives));
}

// Every refused request names its array; what stands before it is written.
TEST_F(LineSet, RefusedRequestsAreNamed) {
    const std::pair<const char*, std::string> arrays[] = {
        {"order", ""},
        {"copy of the positions", ""},
        {"observed", Head.substr(0, 32)},
        {"copy of the positions", Head.substr(0, 32)},
        {"uncertainties", Head.substr(0, 64)},
        {"copy of the intensities", Head.substr(0, 64)},
        {"copy of the intensities", Head.substr(0, 80)},
        {"copy of the intensities", Head},
        {"copy of the band types", Head + RealAmp},
        {"copy of the line labels", Head + RealAmp + "RCBA"},
        {"copy of the level indices", Head + RealAmp + Lines}};
    for (std::int64_t granted = 0; const auto& [array, written] : arrays) {
        SetUpList();
        memory.RefuseAfter(granted++);
        EXPECT_FALSE(Write());
        EXPECT_TRUE(missing.starts_with(array)) << missing;
        EXPECT_TRUE(whole.substr(13310) == written) << array;
    }
    SetUpList();
    memory.RefuseAfter(std::size(arrays));
    EXPECT_TRUE(Write());
}

}  // namespace
}  // namespace kiv
