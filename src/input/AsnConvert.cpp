#include "input/AsnConvert.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string_view>

#include "input/TextScan.h"
#include "output/TempName.h"
#include "output/WholeFile.h"
#include "run/KivArray.h"
#include "run/KivServices.h"
#include "run/KivTrace.h"

namespace {

constexpr char kTempName[] = "TEMP.TMP";
constexpr std::size_t kMaxAsnText = std::size_t{1} << 32;

// 1 with the text of the file; 0 when it cannot be read.
int LoadAsn(std::FILE* file, KivArray<char>& block) {
    bool broken = false;
    const short status = LoadText(file, kMaxAsnText, block, broken);
    std::fclose(file);
    if (status < 0) return CoreFail("AsnConvert()/block");
    return broken ? 0 : 1;
}

// A factor of zero or one that is not finite would wipe the frequencies out.
bool AskScale(double& scale) {
    ConPut("SCALE FREQUENCIES IN ASSIGNMENT FILE BY (1|10|100) ?");
    return Services.AskNumber(scale) && std::isfinite(scale) && scale != 0.0;
}

// Band word, J' Ka' Kc' and J" Ka" Kc" of the upper and the lower level, frequency
bool ConvertLine(std::FILE* out, std::string_view band, TextScan line, double scale) {
    std::int64_t qn[6];
    for (std::int64_t& number : qn) {
        if (line.Int(std::numeric_limits<std::int32_t>::min(),
                     std::numeric_limits<std::int32_t>::max(), number) != ScanEnd::Good) {
            return false;
        }
    }
    double erg = 0.0;
    if (line.Real(erg) != ScanEnd::Good) return false;
    std::fprintf(out, "%2.*s %-4ld %-3ld %-3ld   %-3ld %-3ld %-3ld   %lf\n",
                 static_cast<int>(band.size()), band.data(), static_cast<long>(qn[0]),
                 static_cast<long>(qn[1]), static_cast<long>(qn[2]), static_cast<long>(qn[3]),
                 static_cast<long>(qn[4]), static_cast<long>(qn[5]), erg * scale);
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

int FailToWrite(const char* name) {
    return ConFail("FAILED TO CREATE ASCII FILE [%s] FOR WRITING!\n", name);
}

int WriteConverted(const char* name, TextScan text, double scale) {
    std::FILE* const out = std::fopen(kTempName, "w");
    if (!out) return FailToWrite(kTempName);
    const bool converted = ConvertText(out, text, scale);
    const bool written = std::fflush(out) == 0 && std::ferror(out) == 0;
    const bool closed = std::fclose(out) == 0;
    if (!converted) return ConFail("FORMAT ERROR IN ASSIGNMENT FILE [%s]!", name);
    return written && closed ? 1 : FailToWrite(kTempName);
}

}  // namespace

int AsnConvert(const char* name) {
    std::FILE* const file = std::fopen(name, "rb");
    if (!file) return 1;
    KivArray<char> block;
    if (!LoadAsn(file, block)) return 0;
    double scale = 0.0;
    if (!AskScale(scale)) return 0;
    const TextScan text(std::string_view(block.Data(), block.Num));
    TempName mark;
    mark.Set(kTempName);
    if (!WriteConverted(name, text, scale)) return 0;
    return ReplaceFile(kTempName, name) ? 1 : FailToWrite(name);
}
