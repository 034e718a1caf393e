// The real program where data or starting values make no fit: how it ends and what it leaves.
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "support/CommandTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

struct Hostile {
    const char* name;
    int status;
    const char* said;  // in what the program says or in its log
    void (*spoil)(std::string& input, std::vector<std::string>& lines);
};

class HostileFits : public CommandTest {
  public:
    static void Replace(std::string& text, const std::string& from, const std::string& to) {
        const std::size_t at = text.find(from);
        ASSERT_NE(at, std::string::npos) << from;
        text.replace(at, from.size(), to);
    }
    static void SetField(std::string& line, int field, const std::string& to) {
        std::size_t at = 0;
        for (int i = 0; i < field; ++i) at = line.find(',', at) + 1;
        const std::size_t end = std::min(line.find(',', at), line.size());
        line.replace(at, end - at, to);
    }
};
constexpr int kFrequency = 6, kUncertainty = 7;  // columns

constexpr Hostile kHostile[] = {
    {"all rejected by uncertainties", 4, "were rejected",
     [](std::string& input, std::vector<std::string>& lines) {
         input += "reject = 1e-9\nweights = \"uncertainties\"\n";
         for (std::string& line : lines) HostileFits::SetField(line, kUncertainty, "1e-9");
     }},
    {"uniform weights, all rejected", 4, "were rejected",
     [](std::string& input, std::vector<std::string>&) {
         input += "reject = 0.5\nweights = \"uniform\"\n";
     }},
    {"no lines", 4, "0 measured lines",
     [](std::string&, std::vector<std::string>& lines) { lines.clear(); }},
    {"as many lines as constants", 0, "",
     [](std::string&, std::vector<std::string>& lines) { lines.resize(3); }},
    {"more constants than different lines", 0, "held",
     [](std::string& input, std::vector<std::string>& lines) {
         HostileFits::Replace(input, "C = 2996.0\n", "C = 2996.0\nHJ = 0.0\nLJ = 0.0\nDJ = 0.0\n");
         HostileFits::Replace(input, "[\"A\", \"B\", \"C\"]",
                              "[\"A\", \"B\", \"C\", \"DJ\", \"HJ\", \"LJ\"]");
         lines.insert(lines.end(), lines.begin(), lines.end());
     }},
    {"wild starting values", 0, "",
     [](std::string& input, std::vector<std::string>&) {
         HostileFits::Replace(input, "A = 9010.0", "A = 1e9");
     }},
    {"starting values beyond all reason", 4, "negative",
     [](std::string& input, std::vector<std::string>&) {
         HostileFits::Replace(input, "A = 9010.0", "A = 1e150");
     }},
    {"one line 1e6 off", 4, "",
     [](std::string&, std::vector<std::string>& lines) {
         HostileFits::SetField(lines[1], kFrequency, "-988000");
     }},
    {"one line 1e6 off, rejected", 0, "rejected",
     [](std::string& input, std::vector<std::string>& lines) {
         HostileFits::Replace(input, "A = 9010.0", "A = 9000.1");
         HostileFits::Replace(input, "B = 5005.0", "B = 5000.1");
         HostileFits::Replace(input, "C = 2996.0", "C = 3000.1");
         input += "reject = 9.0\n";
         HostileFits::SetField(lines[1], kFrequency, "1012000");
     }},
    {"no uncertainty at all", 0, "",
     [](std::string&, std::vector<std::string>& lines) {
         for (std::string& line : lines) HostileFits::SetField(line, kUncertainty, "0");
     }},
    {"one without uncertainty", 0, "",
     [](std::string&, std::vector<std::string>& lines) {
         HostileFits::SetField(lines[4], kUncertainty, "0");
     }},
    {"1 kHz and 100 kHz", 0, "",
     [](std::string&, std::vector<std::string>& lines) {
         for (std::size_t i = 0; i < lines.size(); ++i) {
             HostileFits::SetField(lines[i], kUncertainty, i % 2 == 0 ? "0.1" : "0.001");
         }
     }},
    {"one uncertainty a million times too small", 0, "",
     [](std::string&, std::vector<std::string>& lines) {
         HostileFits::SetField(lines[3], kUncertainty, "5e-8");
     }},
    {"all a million times too small: three lines that make the constants", 0, "3 rejected",
     [](std::string& input, std::vector<std::string>& lines) {
         for (std::string& line : lines) HostileFits::SetField(line, kUncertainty, "5e-8");
         input += "reject = 3.0\n";
     }},
    {"all 1e100 times too small", 0, "",
     [](std::string&, std::vector<std::string>& lines) {
         for (std::string& line : lines) HostileFits::SetField(line, kUncertainty, "5e-102");
     }},
    {"frequency nan", 3, "lines.csv",
     [](std::string&, std::vector<std::string>& lines) {
         HostileFits::SetField(lines[2], kFrequency, "nan");
     }},
    {"frequency inf", 3, "lines.csv",
     [](std::string&, std::vector<std::string>& lines) {
         HostileFits::SetField(lines[2], kFrequency, "inf");
     }},
    {"frequency beyond all numbers", 3, "lines.csv",
     [](std::string&, std::vector<std::string>& lines) {
         HostileFits::SetField(lines[2], kFrequency, "1e999");
     }},
    {"negative uncertainty", 3, "lines.csv",
     [](std::string&, std::vector<std::string>& lines) {
         HostileFits::SetField(lines[2], kUncertainty, "-0.05");
     }},
};

// No number that is none in any file or on the console, no fitted input without a result.
TEST_F(HostileFits, EndClearly) {
    const std::string input = WriteFit();
    std::istringstream stream(ReadText("lines.csv"));
    std::vector<std::string> lines;
    std::string header;
    std::getline(stream, header);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    for (const Hostile& hostile : kHostile) {
        SCOPED_TRACE(hostile.name);
        std::string spoilt = input, text = header + "\n";
        std::vector<std::string> spoilt_lines = lines;
        hostile.spoil(spoilt, spoilt_lines);
        for (const std::string& line : spoilt_lines) text += line + "\n";
        fs::remove("rotor.log");
        fs::remove("rotor.fit.toml");
        WriteText("rotor.toml", spoilt);
        WriteText("lines.csv", text);
        const Ended ended = Kiv("run rotor.toml", "ulimit -t 20;");
        EXPECT_EQ(ended.status, hostile.status) << ended.out << ended.err;
        const std::string log = hostile.status == 3 ? "" : ReadText("rotor.log");
        EXPECT_TRUE(Has(ended.out + ended.err + log, hostile.said)) << ended.err << log;
        EXPECT_EQ(fs::exists("rotor.fit.toml"), hostile.status == 0);
        EXPECT_EQ(Has(log, "no result: "), hostile.status == 4) << log;
        if (hostile.status == 3) continue;
        const std::regex no_number("\\b(nan|inf)\\b");
        EXPECT_FALSE(std::regex_search(ended.out + log, no_number)) << log;
        const Ended as_json = Kiv("report rotor.toml --json", "ulimit -t 20;");
        EXPECT_EQ(as_json.status, hostile.status);
        const json object = json::parse(as_json.out, nullptr, false);
        ASSERT_FALSE(object.is_discarded()) << as_json.out;
        if (hostile.status == 4 && !object["fit"].is_null()) {
            EXPECT_FALSE(object["fit"]["converged"].get<bool>());
        }
        EXPECT_FALSE(std::regex_search(Kiv("report rotor.toml").out, no_number));
    }
}

}  // namespace
}  // namespace kiv
