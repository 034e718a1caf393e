#include "named/Json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>

namespace kiv {
namespace {

TEST(JsonTest, IsReadBackAsItWasMeant) {
    std::string text = "quote \" slash \\ tab \t null ";
    for (int c = 0; c < 128; ++c) text += static_cast<char>(c);
    text += "\xC3\xA4 \xE2\x82\xAC \xF0\x9D\x84\x9E";
    JsonWriter json;
    json.Object().Member("text", text).Member("third", 1.0 / 3).Member("whole", std::size_t{3289});
    json.Member("big", std::int64_t{1} << 60).Member("tiny", -4.9e-324).Member("yes", true);
    json.Member("nan", std::nan("")).Member("inf", -std::numeric_limits<double>::infinity());
    json.Key("list").Array().Value(1.5).Array().End().Object().End().Null().Value("x").End();
    json.Key(text).Object().Member("in\"ner", false).End().End();

    const auto read = nlohmann::json::parse(json.text());
    EXPECT_EQ(read["text"], text);
    EXPECT_EQ(read["third"].get<double>(), 1.0 / 3);
    EXPECT_EQ(read["tiny"].get<double>(), -4.9e-324);
    EXPECT_EQ(read["big"].get<std::int64_t>(), std::int64_t{1} << 60);
    EXPECT_EQ(read["whole"], 3289);
    EXPECT_TRUE(read["nan"].is_null() && read["inf"].is_null() && read["yes"].get<bool>());
    EXPECT_EQ(read["list"], nlohmann::json::parse(R"([1.5, [], {}, null, "x"])"));
    EXPECT_EQ(read[text]["in\"ner"], false);
    EXPECT_EQ(read.size(), 10u);
}

// nlohmann reads strictly: one byte that is no UTF-8 and it throws.
TEST(JsonTest, EveryByteBecomesValidUtf8) {
    for (int first = 0x80; first < 0x100; ++first) {
        for (const char* rest :
             {"", "a", "\x80", "\xBF\x80", "\x90\x80\x80", "\xA0\x80", "\xC3\xA4"}) {
            const std::string bytes = static_cast<char>(first) + std::string(rest);
            const auto read = nlohmann::json::parse(JsonWriter().Value(bytes).text());
            EXPECT_FALSE(read.get<std::string>().empty());
        }
    }
    EXPECT_EQ(JsonWriter()
                  .Value("a\xFF"
                         "b")
                  .text(),
              "\"a\xEF\xBF\xBD"
              "b\"");
}

}  // namespace
}  // namespace kiv
