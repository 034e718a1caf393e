#include "page/Page.h"

#include <algorithm>
#include <bit>
#include <span>
#include <string_view>

#include "kiv/files.h"
#include "named/EnergyUnit.h"
#include "named/Json.h"
#include "named/NumberText.h"
#include "named/Text.h"
#include "page/Base64.h"
#include "page/PageFiles.h"

namespace kiv {
namespace {

static_assert(std::endian::native == std::endian::little, "the page's arrays are little-endian");

constexpr std::size_t kMostShortLevels = 65536;  // whose indices have two bytes
// The page calculates intensities to about seven digits. Up to this number of lines it has those of
// the lists as well, with which the last digit agrees, too.
constexpr std::size_t kMostListed = 200000;

void Put(Sink& sink, std::string_view text) { sink.Put(text.data(), text.size()); }

// As text between tags.
std::string Escaped(std::string_view text) {
    std::string escaped;
    for (const char c : Printable(text)) {
        if (c == '&') {
            escaped += "&amp;";
        } else if (c == '<') {
            escaped += "&lt;";
        } else if (c == '>') {
            escaped += "&gt;";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

// In JSON a '<' only stands in strings; without it no tag can begin.
std::string WithoutTags(const std::string& json) {
    std::string text;
    for (const char c : json) text += c == '<' ? std::string("\\u003c") : std::string(1, c);
    return text;
}

template <class T>
constexpr const char* kTypeName = nullptr;
template <>
constexpr const char* kTypeName<std::uint8_t> = "u8";
template <>
constexpr const char* kTypeName<std::uint16_t> = "u16";
template <>
constexpr const char* kTypeName<std::uint32_t> = "u32";
template <>
constexpr const char* kTypeName<float> = "f32";
template <>
constexpr const char* kTypeName<double> = "f64";

// An element with an array; nothing when it is empty.
template <class T>
void PutArray(Sink& sink, const std::string& id, std::span<const T> values) {
    if (values.empty()) return;
    Put(sink, "<script type=\"application/octet-stream\" id=\"" + id + "\" data-type=\"" +
                  kTypeName<T> + "\">");
    PutBase64(sink, std::as_bytes(values));
    Put(sink, "</script>\n");
}

void PutLevels(Sink& sink, const std::string& id, const std::vector<std::uint32_t>& levels,
               std::size_t num) {
    if (num > kMostShortLevels) return PutArray<std::uint32_t>(sink, id, levels);
    const std::vector<std::uint16_t> narrow(levels.begin(), levels.end());
    PutArray<std::uint16_t>(sink, id, narrow);
}

void PutEnergies(Sink& sink, const std::string& id, const Levels& levels) {
    PutArray<double>(sink, id, levels.energy.Part(0, levels.size()));
}

// --------------------------------------------------------------------------------- what is said

void PutTransition(const LineTransition& line, JsonWriter& json) {
    json.Object().Key("quanta").Array();
    for (const LineLevel* level : {&line.upper, &line.lower}) {
        json.Value(level->J).Value(level->Ka).Value(level->Kc);
    }
    json.End().Key("states").Array().Value(line.upper.v).Value(line.lower.v).End();
    if (line.weight) json.Member("weight", *line.weight);
    if (!line.comment.empty()) json.Member("comment", line.comment);
    json.End();
}

void PutFeatures(const std::vector<LineFeature>& features, JsonWriter& json) {
    json.Key("features").Array();
    for (const LineFeature& feature : features) {
        json.Object().Member("frequency", feature.frequency);
        json.Member("uncertainty", feature.uncertainty).Key("transitions").Array();
        for (const LineTransition& line : feature.transitions) PutTransition(line, json);
        json.End().End();
    }
    json.End();
}

void PutSpectra(const PageContent& content, JsonWriter& json) {
    json.Key("spectra").Array();
    for (std::size_t k = 0; k < content.spectra.size(); ++k) {
        const PageSpectrum& spectrum = content.spectra[k];
        json.Object().Member("name", content.spectrum_names[k]);
        json.Member("count", spectrum.size).Member("first", spectrum.first);
        json.Member("step", spectrum.step).Member("factor", spectrum.factor).End();
    }
    json.End();
}

// What was left out, so that nobody takes it for missing from the calculation.
void PutNotes(const PageContent& content, JsonWriter& json) {
    json.Key("notes").Array();
    const auto count = static_cast<std::int64_t>(content.lines.lower.size());
    if (count < content.lines.all) {
        json.Value("the strongest " + std::to_string(count) + " of " +
                   std::to_string(content.lines.all) + " lines (--max-lines)");
    }
    const LineRules& rules = content.calculation.settings.lines;
    if (rules.min_intensity > 0.0 && rules.temperature > 0.0) {
        json.Value("lines above an intensity of " + ShortestText(rules.min_intensity) + " at " +
                   ShortestText(rules.temperature) + " K");
    }
    if (!content.has_moment) json.Value("without a moment: strengths are relative");
    json.End();
}

std::string MetaText(const PageContent& content) {
    const Calculation& calculation = content.calculation;
    const LineRules& rules = calculation.settings.lines;
    JsonWriter json;
    json.Object().Member("program", std::string("kiv ") + kInputVersion);
    json.Member("title", content.job.input.title).Member("input", content.input);
    json.Member("stem", content.stem).Member("line_file", content.line_file);
    json.Member("unit", NameOf(content.job.input.unit));
    json.Member("two_states", !calculation.model.one_state);
    json.Member("origin", calculation.model.origin.value).Member("lowest", content.zero);
    json.Member("has_moment", content.has_moment);
    json.Member("temperature", std::max(0.0, rules.temperature));
    json.Member("temperature2", rules.temperature2).Member("weight2", rules.weight2);
    json.Member("energy_per_kelvin", rules.energy_per_kelvin).Key("spin_weights").Array();
    for (const std::int32_t weight : rules.spin_weights) json.Value(weight);
    json.End().Key("lines").Object().Member("count", content.lines.lower.size());
    json.Member("all", content.lines.all).End();
    PutFeatures(calculation.features, json);
    PutSpectra(content, json);
    PutNotes(content, json);
    return WithoutTags(json.End().text());
}

void PutData(Sink& sink, const PageContent& content) {
    Put(sink, "<script type=\"application/json\" id=\"meta\">" + MetaText(content) + "</script>\n");
    const PassRoom& room = content.calculation.room;
    PutEnergies(sink, "lower-energy", room.lower());
    if (!content.calculation.model.one_state) PutEnergies(sink, "upper-energy", room.upper());
    const PageLines& lines = content.lines;
    PutLevels(sink, "line-lower", lines.lower, room.lower().size());
    PutLevels(sink, "line-upper", lines.upper, room.upper().size());
    PutArray<float>(sink, "line-strength", lines.strength);
    if (lines.intensity.size() <= kMostListed) {
        PutArray<float>(sink, "line-intensity", lines.intensity);
    }
    PutArray<std::uint8_t>(sink, "line-band", lines.band);
    PutArray<double>(sink, "line-position", lines.position);
    PutArray<float>(sink, "line-sd", lines.sd);
    for (std::size_t k = 0; k < content.spectra.size(); ++k) {
        const PageSpectrum& spectrum = content.spectra[k];
        const std::string id = "spectrum-" + std::to_string(k);
        PutArray<float>(sink, id + "-x", spectrum.rest);
        PutArray<double>(sink, id + "-x", spectrum.position);
        PutArray<float>(sink, id + "-y", spectrum.value);
    }
}

// Nothing is loaded, and no script or style acts but those of this very text.
std::string Policy() {
    const auto allowed = [](const PageFile& file) {
        return "'sha256-" + Base64OfHex(file.digest) + "'";
    };
    return "default-src 'none'; script-src " + allowed(PageScript()) + "; style-src " +
           allowed(PageStyle()) + "; img-src data: blob:; base-uri 'none'; form-action 'none'";
}

}  // namespace

void WritePage(Sink& sink, const PageContent& content) {
    const std::string& title = content.job.input.title;
    std::string_view rest = PageFrame().text;
    while (!rest.empty()) {
        const std::size_t begin = std::min(rest.find("{{"), rest.size());
        Put(sink, rest.substr(0, begin));
        if (begin == rest.size()) return;
        const std::size_t end = rest.find("}}", begin);
        const std::string_view name = rest.substr(begin + 2, end - begin - 2);
        if (name == "policy") {
            Put(sink, Policy());
        } else if (name == "title") {
            Put(sink, Escaped(title.empty() ? content.input : title));
        } else if (name == "style") {
            Put(sink, PageStyle().text);
        } else if (name == "script") {
            Put(sink, PageScript().text);
        } else {
            PutData(sink, content);
        }
        rest.remove_prefix(end + 2);
    }
}

}  // namespace kiv
