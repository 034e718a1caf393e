// kiv view: what the page carries against `kiv export csv`, names, options, statuses, --watch.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "support/CommandTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

// The text of an element of a page, "" without one.
std::string ElementOf(const std::string& page, const std::string& id) {
    const std::size_t name = page.find(" id=\"" + id + "\"");
    if (name == std::string::npos) return "";
    const std::size_t begin = page.find('>', name) + 1;
    return page.substr(begin, page.find("</script>", begin) - begin);
}

// An independent reader of base64.
std::string BytesOf(const std::string& code) {
    const std::string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    unsigned bits = 0;
    int num = 0;
    for (const char c : code) {
        const std::size_t value = letters.find(c);
        if (value == std::string::npos) break;
        bits = bits << 6 | static_cast<unsigned>(value);
        num += 6;
        if (num < 8) continue;
        num -= 8;
        bytes += static_cast<char>(bits >> num & 255U);
    }
    return bytes;
}

template <class T>
std::vector<T> ArrayOf(const std::string& page, const std::string& id) {
    const std::string bytes = BytesOf(ElementOf(page, id));
    std::vector<T> values(bytes.size() / sizeof(T));
    std::copy_n(bytes.data(), values.size() * sizeof(T), reinterpret_cast<char*>(values.data()));
    return values;
}

std::vector<std::vector<std::string>> RowsOf(const std::string& csv) {
    std::vector<std::vector<std::string>> rows;
    std::istringstream lines(csv);
    for (std::string line; std::getline(lines, line);) {
        rows.emplace_back();
        std::istringstream words(line);
        for (std::string word; std::getline(words, word, ',');) rows.back().push_back(word);
    }
    rows.erase(rows.begin());
    return rows;
}

std::size_t LevelOf(const std::vector<std::string>& row, std::size_t first) {
    const int J = std::stoi(row[first]), Ka = std::stoi(row[first + 1]),
              Kc = std::stoi(row[first + 2]);
    return static_cast<std::size_t>(J * J + J + Ka - Kc);
}

class View : public CommandTest {
  protected:
    void SetUp() override {
        CommandTest::SetUp();
        input_ = WriteFit();
    }

    // Every line of the page is the row of export csv, to the last bit.
    static void ExpectLinesOf(const std::string& input) {
        ASSERT_EQ(Kiv("view '" + input + "' -o page.html").status, 0);
        const std::string page = ReadText("page.html");
        const Json meta = Json::parse(ElementOf(page, "meta"));
        const auto rows = RowsOf(Kiv("export csv '" + input + "'").out);
        const auto lower = ArrayOf<std::uint16_t>(page, "line-lower");
        const auto upper = ArrayOf<std::uint16_t>(page, "line-upper");
        const auto strength = ArrayOf<float>(page, "line-strength");
        const auto intensity = ArrayOf<float>(page, "line-intensity");
        const auto band = ArrayOf<std::uint8_t>(page, "line-band");
        const auto position = ArrayOf<double>(page, "line-position");
        const auto E_lower = ArrayOf<double>(page, "lower-energy");
        const auto E_upper = meta["two_states"] ? ArrayOf<double>(page, "upper-energy") : E_lower;
        ASSERT_EQ(lower.size(), rows.size());
        ASSERT_EQ(meta["lines"]["count"], rows.size());
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const std::vector<std::string>& row = rows[i];
            ASSERT_EQ(upper[i], LevelOf(row, 0));
            ASSERT_EQ(lower[i], LevelOf(row, 3));
            const double shown = position.empty() ? meta["origin"].get<double>() +
                                                        E_upper[upper[i]] - E_lower[lower[i]]
                                                  : position[i];
            ASSERT_EQ(shown, std::stod(row[6]));
            ASSERT_EQ(strength[i], std::stof(row[8]));
            ASSERT_EQ(intensity[i], std::stof(row[9]));
            const double above = E_lower[lower[i]] - meta["lowest"].get<double>();
            ASSERT_NEAR(above, std::stod(row[11]), 1e-12 * (1.0 + above));
            if (!band.empty()) {
                ASSERT_EQ(band[i], row[14][0] - 'a');
            }
        }
    }

    std::string input_;
};

TEST_F(View, LinesAreThoseOfExportCsv) {
    const std::string examples = KIV_SOURCE_DIR "/examples/";
    for (const char* input : {"so2/so2.toml", "so2/fit.toml", "so2/so2.in", "so2/fit.in",
                              "7-azaindole/7-azaindole.toml", "7-azaindole/tilted.toml"}) {
        SCOPED_TRACE(input);
        ExpectLinesOf(examples + input);
    }
    ExpectLinesOf("rotor.toml");
    const Json meta = Json::parse(ElementOf(ReadText("page.html"), "meta"));
    ASSERT_EQ(meta["features"].size(), 6U);
    EXPECT_EQ(meta["features"][0]["frequency"], 8000.03);
    EXPECT_EQ(meta["features"][0]["transitions"][0]["quanta"], Json({1, 0, 1, 0, 0, 0}));
    EXPECT_EQ(meta["line_file"], "lines.csv");
    EXPECT_EQ(ArrayOf<float>(ReadText("page.html"), "line-sd").size(), meta["lines"]["count"]);
}

TEST_F(View, TheStrongestLinesAreKept) {
    const auto rows = RowsOf(Kiv("export csv rotor.toml").out);
    std::vector<float> all;
    for (const auto& row : rows) all.push_back(std::stof(row[9]));
    std::sort(all.begin(), all.end(), std::greater<>());
    for (const std::size_t most : {std::size_t{1}, std::size_t{7}, all.size(), all.size() + 5}) {
        ASSERT_EQ(Kiv("view rotor.toml --max-lines " + std::to_string(most)).status, 0);
        auto kept = ArrayOf<float>(ReadText("rotor.html"), "line-intensity");
        std::sort(kept.begin(), kept.end(), std::greater<>());
        const std::size_t num = std::min(most, all.size());
        EXPECT_EQ(kept, std::vector<float>(all.begin(), all.begin() + static_cast<int>(num)));
        const Json meta = Json::parse(ElementOf(ReadText("rotor.html"), "meta"));
        EXPECT_EQ(Has(meta["notes"].dump(), "the strongest "), num < all.size());
    }
    const float middle = all[all.size() / 2];
    ASSERT_EQ(Kiv("view rotor.toml --min-intensity " + std::to_string(middle)).status, 0);
    const auto above = ArrayOf<float>(ReadText("rotor.html"), "line-intensity").size();
    EXPECT_LT(above, all.size());
    EXPECT_GE(above, all.size() / 4);
}

TEST_F(View, Names) {
    fs::create_directory("inner");
    fs::rename("rotor.toml", "inner/rotor.toml");
    fs::rename("lines.csv", "inner/lines.csv");
    const Ended ended = Kiv("view inner/rotor.toml");
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_TRUE(ended.out.starts_with("written: inner/rotor.html, ")) << ended.out;
    const std::string page = ReadText("inner/rotor.html");
    EXPECT_EQ(Kiv("view inner/rotor.toml -o -").out, page);
    EXPECT_EQ(Kiv("view -C inner rotor.toml -o there.html").status, 0);
    EXPECT_EQ(ReadText("inner/there.html"), page) << "the same bytes from every folder";
    EXPECT_FALSE(Has(page, fs::current_path().string()));
    const Json summary = Json::parse(Kiv("view inner/rotor.toml --json").out);
    EXPECT_EQ(summary["files"], Json({"inner/rotor.html"}));
    EXPECT_EQ(summary["fit"]["used"], 6);
}

TEST_F(View, WrongUse) {
    WriteText("s.txt", "1 2\n2 3\n");
    WriteText("page.html", "earlier");
    const std::pair<const char*, int> kCases[] = {
        {"view rotor.toml -o rotor.toml", 2},
        {"view rotor.toml -o ./lines.csv", 2},
        {"view rotor.toml --spectrum s.txt -o s.txt", 2},
        {"view - < rotor.toml", 2},
        {"view rotor.toml --max-lines 0", 2},
        {"view rotor.toml --max-lines 1e3", 2},
        {"view rotor.toml --min-intensity -1", 2},
        {"view rotor.toml --min-intensity 0,5", 2},
        {"view rotor.toml --watch -o -", 2},
        {"view rotor.toml other.toml", 2},
        {"view missing.toml -o page.html", 5},
        {"view rotor.toml --spectrum missing.txt -o page.html", 5},
        {"view rotor.toml -o missing/page.html", 5},
    };
    const Files before = AllFiles();
    for (const auto& [words, status] : kCases) {
        const Ended ended = Kiv(words);
        EXPECT_EQ(ended.status, status) << words << ": " << ended.err;
        EXPECT_EQ(ended.out, "") << words;
        EXPECT_TRUE(ended.err.starts_with("kiv: ")) << words << ": " << ended.err;
        EXPECT_TRUE(AllFiles() == before) << words;
    }
    WriteText("broken.toml", "kiv = 1\n[lower]\nA = 1,5\n");
    EXPECT_EQ(Kiv("view broken.toml").status, 3);
    EXPECT_FALSE(fs::exists("broken.html"));
}

TEST_F(View, SpectraStandBeforeOrBehindTheInput) {
    WriteText("s1.txt", "1 2\n2 3\n");
    WriteText("s2.txt", "1 2\n2 3\n");
    for (const char* words :
         {"view rotor.toml --spectrum s1.txt s2.txt", "view --spectrum s1.txt s2.txt rotor.toml",
          "view rotor.toml --spectrum s1.txt --spectrum s2.txt",
          "view --spectrum s1.txt s2.txt -o rotor.html rotor.toml"}) {
        ASSERT_EQ(Kiv(words).status, 0) << words;
        const Json meta = Json::parse(ElementOf(ReadText("rotor.html"), "meta"));
        ASSERT_EQ(meta["spectra"].size(), 2U) << words;
        EXPECT_EQ(meta["spectra"][1]["name"], "s2.txt");
        fs::remove("rotor.html");
    }
    EXPECT_EQ(Kiv("view --spectrum rotor.toml").status, 2);
}

// Waits for a text to stand in a file.
bool Appears(const std::string& file, const std::string& text) {
    for (int n = 0; n < 200; ++n) {
        std::error_code none;
        if (fs::exists(file, none)) {
            const int fd = open(file.c_str(), O_RDONLY);
            std::string read_text(1 << 20, '\0');
            const ssize_t size = read(fd, read_text.data(), read_text.size());
            close(fd);
            if (size > 0 && read_text.find(text) != std::string::npos) return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

TEST_F(View, WatchMakesThePageAnewUntilItIsEnded) {
    const pid_t child = fork();
    if (child == 0) {
        const int nothing = open("/dev/null", O_WRONLY);
        dup2(nothing, 1);
        dup2(nothing, 2);
        execl(KIV_PROGRAM, KIV_PROGRAM, "view", "--watch", "rotor.toml", nullptr);
        _exit(99);
    }
    EXPECT_TRUE(Appears("rotor.html", "a rigid rotor"));
    std::string other = input_;
    other.replace(other.find("a rigid rotor"), 13, "another title");
    WriteText("rotor.toml", other);
    EXPECT_TRUE(Appears("rotor.html", "another title"));
    WriteText("rotor.toml", "broken");
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    EXPECT_TRUE(Appears("rotor.html", "another title")) << "the last good page stays";
    WriteText("rotor.toml", input_);
    EXPECT_TRUE(Appears("rotor.html", "a rigid rotor"));
    std::string lines = ReadText("lines.csv");
    lines.replace(lines.find("8000.03"), 7, "8000.04");
    WriteText("lines.csv", lines);
    EXPECT_TRUE(Appears("rotor.html", "\"frequency\": 8000.04"));
    kill(child, SIGINT);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT);
    for (const auto& [name, text] : AllFiles()) {
        EXPECT_FALSE(name.ends_with(".tmp")) << name;
    }
}

}  // namespace
}  // namespace kiv
