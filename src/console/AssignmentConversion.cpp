#include "console/AssignmentConversion.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string_view>

#include "base/ArrayName.h"
#include "console/Messages.h"
#include "io/TextLines.h"
#include "io/TextScan.h"
#include "kiv/error.h"
#include "system/TempName.h"
#include "system/WholeFile.h"

namespace kiv {
namespace {

constexpr char kTempName[] = "TEMP.TMP";

// Texts of assignment files end here, or where sizes do.
constexpr std::size_t kMaxText = std::numeric_limits<std::size_t>::max() / 2 + 1 < (1ULL << 32)
                                     ? std::numeric_limits<std::size_t>::max() / 2 + 1
                                     : static_cast<std::size_t>(1ULL << 32);

bool Load(Console& console, std::FILE* file, const Memory& memory, Array<char>& text) {
    StreamSource source(file);
    const bool loaded = LoadText(source, kMaxText, memory, text);
    const bool broken = source.broken();
    std::fclose(file);
    if (!loaded) Say(console, {ErrorCode::NoMemory, "", array_name::kAssignmentText});
    return loaded && !broken;
}

// A factor of zero or one that is not finite would wipe the frequencies out.
bool AskScale(Console& console, double& scale) {
    console.Put("SCALE FREQUENCIES IN ASSIGNMENT FILE BY (1|10|100) ?");
    return console.surroundings().ask_number(scale) && std::isfinite(scale) && scale != 0.0;
}

// Band word, J' Ka' Kc' and J" Ka" Kc" of the upper and the lower level, frequency
bool ConvertLine(std::FILE* out, std::string_view band, TextScan line, double scale) {
    std::int64_t number[6];
    for (std::int64_t& n : number) {
        if (line.Int(std::numeric_limits<std::int32_t>::min(),
                     std::numeric_limits<std::int32_t>::max(), n) != ScanEnd::Good) {
            return false;
        }
    }
    double frequency = 0.0;
    if (line.Real(frequency) != ScanEnd::Good) return false;
    std::fprintf(out, "%2.*s %-4d %-3d %-3d   %-3d %-3d %-3d   %lf\n",
                 static_cast<int>(band.size()), band.data(), static_cast<int>(number[0]),
                 static_cast<int>(number[1]), static_cast<int>(number[2]),
                 static_cast<int>(number[3]), static_cast<int>(number[4]),
                 static_cast<int>(number[5]), frequency * scale);
    return true;
}

bool ConvertText(std::FILE* out, TextScan text, double scale) {
    std::string_view band;
    while (text.Word(band)) {
        if (band == "//") {
            std::fputs("//\n", out);
        } else if (!ConvertLine(out, band, TextScan(text.RestOfLine()), scale)) {
            return false;
        }
    }
    return true;
}

bool FailToWrite(Console& console, const std::string& name) {
    console.Put("FAILED TO CREATE ASCII FILE [%s] FOR WRITING!\n", name.c_str());
    return false;
}

bool WriteConverted(Console& console, const std::string& name, TextScan text, double scale) {
    std::FILE* const out = std::fopen(kTempName, "w");
    if (!out) return FailToWrite(console, kTempName);
    const bool converted = ConvertText(out, text, scale);
    const bool written = std::fflush(out) == 0 && std::ferror(out) == 0;
    const bool closed = std::fclose(out) == 0;
    if (!converted) {
        console.Put("FORMAT ERROR IN ASSIGNMENT FILE [%s]!", name.c_str());
        return false;
    }
    return (written && closed) || FailToWrite(console, kTempName);
}

}  // namespace

bool ConvertAssignments(Console& console, const std::string& name, const Memory& memory) {
    std::FILE* const file = std::fopen(name.c_str(), "rb");
    if (!file) return true;
    Array<char> block;
    if (!Load(console, file, memory, block)) return false;
    double scale = 0.0;
    if (!AskScale(console, scale)) return false;
    const TextScan text(WithoutMark({block.data(), block.size()}));
    TempName mark;
    mark.Set(kTempName);
    if (!WriteConverted(console, name, text, scale)) return false;
    return ReplaceFile(kTempName, name) || FailToWrite(console, name);
}

}  // namespace kiv
