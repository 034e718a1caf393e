// What a page carries: base64 and measured spectra as single-precision numbers.
#include "page/PageLines.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "page/Base64.h"
#include "page/PageFiles.h"

namespace kiv {
namespace {

std::string Encoded(const std::string& text) { return Base64(std::as_bytes(std::span(text))); }

TEST(Base64, VectorsOfTheStandard) {  // RFC 4648, section 10
    const char* const kVectors[][2] = {{"", ""},
                                       {"f", "Zg=="},
                                       {"fo", "Zm8="},
                                       {"foo", "Zm9v"},
                                       {"foob", "Zm9vYg=="},
                                       {"fooba", "Zm9vYmE="},
                                       {"foobar", "Zm9vYmFy"}};
    for (const auto& [text, code] : kVectors) EXPECT_EQ(Encoded(text), code);
    EXPECT_EQ(Base64OfHex("00ff10fbef"), "AP8Q++8=");
}

TEST(Base64, BlocksFollowEachOther) {
    std::string text;
    for (int i = 0; i < 200000; ++i) text += static_cast<char>(i * 37 >> 3);
    const std::string whole = Encoded(text);
    EXPECT_EQ(whole.find('='), whole.size() - 1);  // 200000 = 3 n + 2
    for (const std::size_t at : {0U, 49152U, 98304U, 147456U}) {
        EXPECT_EQ(whole.substr(at / 3 * 4, 400), Encoded(text.substr(at, 300))) << at;
    }
}

TEST(PageFiles, FrameHasAPlaceForEachPart) {
    for (const char* part : {"{{policy}}", "{{title}}", "{{style}}", "{{data}}", "{{script}}"}) {
        const std::size_t first = PageFrame().text.find(part);
        EXPECT_NE(first, std::string_view::npos) << part;
        EXPECT_EQ(PageFrame().text.find(part, first + 1), std::string_view::npos) << part;
    }
    for (const PageFile* file : {&PageStyle(), &PageScript()}) {
        EXPECT_EQ(file->digest.size(), 64U);
        for (const char* end : {"</script", "</style", "<!--"}) {
            EXPECT_EQ(file->text.find(end), std::string_view::npos) << end;
        }
    }
}

MeasuredSpectrum SpectrumOf(std::vector<double> x) {
    MeasuredSpectrum spectrum;
    for (std::size_t i = 0; i < x.size(); ++i) {
        spectrum.value.push_back(std::sin(static_cast<double>(i)) * 1e200);
    }
    spectrum.frequency = std::move(x);
    return spectrum;
}

double PositionOf(const PageSpectrum& page, std::size_t i) {
    if (!page.position.empty()) return page.position[i];
    const double rest = page.rest.empty() ? 0.0 : static_cast<double>(page.rest[i]);
    return page.first + static_cast<double>(i) * page.step + rest;
}

TEST(PageSpectrum, PointsComeBackWhateverTheirGrid) {
    std::vector<double> exact, rounded, wild;
    for (int i = 0; i < 5000; ++i) {
        exact.push_back(1000.0 + 0.25 * i);
        rounded.push_back(std::round((1e6 + i / 3.0) * 1e4) / 1e4);
        wild.push_back(std::exp(0.01 * i));
    }
    const PageSpectrum on_grid = TakeSpectrum(SpectrumOf(exact));
    EXPECT_TRUE(on_grid.rest.empty() && on_grid.position.empty());
    const PageSpectrum beside = TakeSpectrum(SpectrumOf(rounded));
    EXPECT_EQ(beside.rest.size(), rounded.size());
    EXPECT_TRUE(beside.position.empty());
    EXPECT_EQ(TakeSpectrum(SpectrumOf(wild)).position, wild);
    const std::vector<double>* const kGrids[] = {&exact, &rounded, &wild};
    for (const auto* grid : kGrids) {
        const MeasuredSpectrum spectrum = SpectrumOf(*grid);
        const PageSpectrum page = TakeSpectrum(spectrum);
        for (std::size_t i = 0; i < grid->size(); ++i) {
            EXPECT_NEAR(PositionOf(page, i), (*grid)[i], 1e-9);
            EXPECT_NEAR(page.value[i] * page.factor / 1e200, spectrum.value[i] / 1e200, 1e-7);
        }
    }
}

TEST(PageSpectrum, FewOrEqualPoints) {
    EXPECT_EQ(TakeSpectrum(SpectrumOf({})).size, 0U);
    for (const std::vector<double>& x : {std::vector<double>{7.0}, {7.0, 7.0}, {1.0, 2.0, 2.0}}) {
        const PageSpectrum page = TakeSpectrum(SpectrumOf(x));
        for (std::size_t i = 0; i < x.size(); ++i) EXPECT_NEAR(PositionOf(page, i), x[i], 1e-6);
    }
    MeasuredSpectrum flat = SpectrumOf({1.0, 2.0});
    flat.value = {0.0, 0.0};
    EXPECT_EQ(TakeSpectrum(flat).value, (std::vector<float>{0.0F, 0.0F}));
}

}  // namespace
}  // namespace kiv
