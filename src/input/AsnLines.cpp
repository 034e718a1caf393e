#include "input/AsnLines.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <numeric>
#include <string_view>

#include "input/TextScan.h"
#include "run/KivArray.h"
#include "run/KivKey.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"

namespace {

constexpr double kNoWeight = 1.0e20;      // uncertainty of a line that has none
constexpr std::int32_t kMaxKeyJ = 32767;  // 2J still fits a field of the key
constexpr char kHalfRule[] = "----------------------------------------";
static_assert(sizeof kHalfRule == 41);

struct AsnLimits {
    std::int32_t J, Ka, Kc;
};

struct AsnLine {
    std::int64_t Ju, Kau, Kcu, Jl, Kal, Kcl;
    double Erg, Unc;
};

enum class LineKind { Blank, Separator, Malformed, Beyond, Accepted };

struct SetCount {
    std::int32_t Lines = 0;
    std::int32_t Accepted = 0;
    bool More = false;  // the set ended at a separator
};

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

void PutRule() { LogPut("%s%s\n", kHalfRule, kHalfRule); }

std::int32_t LimitOf(std::int32_t wanted) {
    return wanted >= 0 && wanted <= Kiv.Max_J ? wanted : Kiv.Max_J;
}

AsnLimits FindLimits() {
    return {std::min(LimitOf(Kiv.Asn_J_Max), kMaxKeyJ), LimitOf(Kiv.Asn_Ka_Max),
            LimitOf(Kiv.Asn_Kc_Max)};
}

// Eight fields make a line; what stands in the place of the ninth without being a number is a
// remark.
bool ScanLine(TextScan text, AsnLine& line) {
    for (std::int64_t* number : {&line.Ju, &line.Kau, &line.Kcu, &line.Jl, &line.Kal, &line.Kcl}) {
        if (text.Int(std::numeric_limits<std::int32_t>::min(),
                     std::numeric_limits<std::int32_t>::max(), *number) != ScanEnd::Good) {
            return false;
        }
    }
    line.Unc = 0.0;
    return text.Real(line.Erg) == ScanEnd::Good && text.Real(line.Unc) != ScanEnd::Bad;
}

bool IsLevel(std::int64_t J, std::int64_t ka, std::int64_t kc, const AsnLimits& limits) {
    return J >= 0 && J <= limits.J && ka >= 0 && ka <= limits.Ka && kc >= 0 && kc <= limits.Kc &&
           J + ka - kc >= 0 && J + ka - kc <= 2 * J;
}

LineKind ReadLine(std::string_view text, const AsnLimits& limits, AsnLine& line) {
    TextScan scan(text);
    std::string_view band;
    if (!scan.Word(band)) return LineKind::Blank;
    if (band == "//") return LineKind::Separator;
    if (!ScanLine(scan, line)) return LineKind::Malformed;
    const bool within = IsLevel(line.Ju, line.Kau, line.Kcu, limits) &&
                        IsLevel(line.Jl, line.Kal, line.Kcl, limits);
    return within ? LineKind::Accepted : LineKind::Beyond;
}

std::uint64_t KeyOf(const AsnLine& line) {
    return LineKey(static_cast<int>(line.Jl), static_cast<int>(line.Ju),
                   static_cast<int>(line.Jl + line.Kal - line.Kcl),
                   static_cast<int>(line.Ju + line.Kau - line.Kcu));
}

// A line for a message: as it was read, with a plain line end
struct LineText {
    char Text[TextLines::kMaxLine + 2];

    explicit LineText(std::string_view line) {
        if (line.ends_with('\n')) line.remove_suffix(1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        std::memcpy(Text, line.data(), line.size());
        std::memcpy(Text + line.size(), "\n", 2);
    }
};

void ReportMalformed(std::string_view line, bool first) {
    BothPut("ASN LINE FORMAT INCORRECT IN [%s]\n  %s\n", Kiv.Asn_Flnm, LineText(line).Text);
    if (first) {
        BothPut("PROPER FORMAT:  BT J'Ka' Kc'  J\"Ka\"Kc\"  Expt Frq  Expt Uncertainty\n");
    }
}

void ReportBeyond(std::string_view line) {
    BothPut("QUANTUM NUMBERS OF LINE EXCEED MAX VALUES IN [%s]\n  %s\n", Kiv.Asn_Flnm,
            LineText(line).Text);
}

void ReportEarlyEnd() { BothPut("PREMATURE EOF IN ASSIGNMENT FILE [%s]\n", Kiv.Asn_Flnm); }

// First pass over a set: counts and reports. Separators in front of the first line are skipped.
SetCount CountSet(TextLines& lines, const AsnLimits& limits) {
    const bool debug = DebugIsOn(DBG_0);
    SetCount count;
    std::string_view text;
    AsnLine line;
    while (lines.Next(text)) {
        const LineKind kind = ReadLine(text, limits, line);
        if (kind == LineKind::Blank) continue;
        if (kind == LineKind::Separator) {
            if (count.Lines == 0) continue;
            count.More = true;
            break;
        }
        ++count.Lines;
        if (kind == LineKind::Accepted) ++count.Accepted;
        if (kind == LineKind::Malformed) ReportMalformed(text, count.Lines == 1);
        if (kind == LineKind::Beyond) ReportBeyond(text);
        if (debug && kind == LineKind::Accepted) {
            LogPut("I [%ld][%ld] %s", static_cast<long>(count.Lines),
                   static_cast<long>(count.Accepted), LineText(text).Text);
        }
    }
    if (count.Lines > 0 && lines.Broken()) ReportEarlyEnd();
    return count;
}

void ReportSet(const SetCount& count) {
    LogPut("ASSIGNMENT FILENAME              = %s\n", Kiv.Asn_Flnm);
    LogPut("NUMBER OF ASSIGNMENTS READ       = %ld\n", static_cast<long>(count.Lines));
    LogPut("REJECTED ASN Ka:Kc > Ka:Kc MAX   = %ld\n",
           static_cast<long>(count.Lines - count.Accepted));
}

// Nothing that was stored before survives a failure here: the three arrays belong together.
int GrowArrays(std::int64_t num) {
    const char* missing = nullptr;
    if (ArrRealloc(Kiv.AsnQN_Vector, num) < 0) {
        missing = "RdAsnLines()/Kiv.AsnQN_Vector";
    } else if (ArrRealloc(Kiv.AsnErg_Vector, num) < 0) {
        missing = "RdAsnLines()/Kiv.AsnErg_Vector";
    } else if (ArrRealloc(Kiv.AsnUnc_Vector, num) < 0) {
        missing = "RdAsnLines()/Kiv.AsnUnc_Vector";
    }
    if (!missing) return 1;
    ArrFree(Kiv.AsnQN_Vector);
    ArrFree(Kiv.AsnErg_Vector);
    ArrFree(Kiv.AsnUnc_Vector);
    Kiv.Num_Asn_Read = Kiv.Asn_Split = 0;
    return CoreFailLog(missing);
}

// The next line that is not blank; false at the end of the file.
bool NextWritten(TextLines& lines, const AsnLimits& limits, LineKind& kind, AsnLine& line,
                 std::string_view& text) {
    while (lines.Next(text)) {
        kind = ReadLine(text, limits, line);
        if (kind != LineKind::Blank) return true;
    }
    return false;
}

// Moves `lines` from the start of the file behind the separator of the first set. The separators
// of further sets are not counted, so only a second one can be found.
bool FindSet(TextLines& lines, const AsnLimits& limits) {
    lines.Rewind();
    if (Kiv.Num_Asn_Read == 0) return true;
    if (Kiv.Asn_Multi_Set == 1) return false;
    LineKind kind = LineKind::Blank;
    AsnLine line;
    std::string_view text;
    for (std::int32_t n = Kiv.Num_Asn_Read + Kiv.Num_Rej; n >= 0; --n) {
        if (!NextWritten(lines, limits, kind, line, text)) return false;
    }
    return kind == LineKind::Separator;
}

void StoreLine(const AsnLine& line, std::size_t at, std::int32_t& num_zero) {
    Kiv.AsnQN_Vector[at] = KeyOf(line);
    Kiv.AsnErg_Vector[at] = Kiv.QZ_Fmt != 0 ? line.Erg * Kiv.Erg_Scale : line.Erg;
    Kiv.AsnUnc_Vector[at] = line.Unc;
    if (line.Unc != 0.0) return;
    Kiv.AsnUnc_Vector[at] = kNoWeight;
    ++num_zero;
}

// Second pass over a set: stores its accepted lines and returns their number. The file may have
// changed since it was counted; no more lines are stored than there is room for.
std::int32_t StoreSet(TextLines& lines, const AsnLimits& limits, const SetCount& count,
                      std::int32_t& num_zero) {
    const bool debug = DebugIsOn(DBG_0);
    std::int32_t stored = 0;
    LineKind kind = LineKind::Blank;
    AsnLine line;
    std::string_view text;
    for (std::int32_t num = 0; num < count.Lines;) {
        if (!NextWritten(lines, limits, kind, line, text)) {
            ReportEarlyEnd();
            break;
        }
        if (num == 0 && kind == LineKind::Separator) continue;
        ++num;
        if (kind != LineKind::Accepted || stored == count.Accepted) continue;
        StoreLine(line, static_cast<std::size_t>(Kiv.Num_Asn_Read + stored), num_zero);
        ++stored;
        if (debug) {
            LogPut("F [%ld][%ld] %s", static_cast<long>(num), static_cast<long>(stored),
                   LineText(text).Text);
        }
    }
    PutRule();
    return stored;
}

int SortSet(std::int32_t stored) {
    if (stored < 2) return 1;
    const auto first = static_cast<std::size_t>(Kiv.Num_Asn_Read);
    const auto n = static_cast<std::size_t>(stored);
    const std::span<std::uint64_t> key = Kiv.AsnQN_Vector.Part(first, n);
    if (std::is_sorted(key.begin(), key.end())) return 1;
    KivArray<std::int32_t> idx_ary;
    if (ArrRealloc(idx_ary, stored + std::int64_t{1}) < 0) {
        return CoreFailLog("RdAsnLines()/idx_ary");
    }
    AsnIndexSort(key, idx_ary.Part(0, n + 1));
    if (iiisort123(stored, idx_ary.Part(0, n + 1), key, {}, Kiv.AsnErg_Vector.Part(first, n),
                   Kiv.AsnUnc_Vector.Part(first, n)) < 0) {
        return CoreFailLog("iiisort123()/wksp");
    }
    return 1;
}

void CloseSet(const SetCount& count, std::int32_t stored) {
    if (Kiv.Num_Asn_Read > 0) {
        Kiv.Asn_Multi_Set = 1;
    } else {
        Kiv.Asn_Split = stored;
    }
    Kiv.Num_Asn_Read += stored;
    Kiv.Num_Rej += count.Lines - count.Accepted;
}

void CheckUncertainties(std::int32_t num_zero) {
    if (Kiv.Uniform_Unc == 0 && num_zero > 0) {
        BothPut(
            "ASN FILE [%s] CONTAINS [%ld] LINES WITH ZERO UNCERTAINTY - ASSIGNED UNCERTAINTY "
            "VALUE=[%.1e]\n",
            Kiv.Asn_Flnm, static_cast<long>(num_zero), kNoWeight);
        if (num_zero == Kiv.Num_Asn_Read) {
            Kiv.Uniform_Unc = 1;
            BothPut(
                "NORM STAT FALSE FOR ASN FILE [%s] BUT NO UNCERTINTIES ASSIGNED - SET NORM STAT "
                "TRUE\n",
                Kiv.Asn_Flnm);
        }
    }
    if (Kiv.Uniform_Unc == 1) BothPut("ASN UNCERTAINTIES IGNORED - PRM STD DEV BASED ON OMC\n");
}

void StartListing() {
    PutRule();
    LogPut("                              ASSIGNMENT INFORMATION\n");
    PutRule();
    Kiv.Num_Asn_Read = Kiv.Num_Rej = Kiv.Asn_Split = Kiv.Asn_Multi_Set = 0;
}

enum class SetEnd { More, Last, Stop, Fail };

// Reads one set: Last when the file holds no further one, Stop when the run goes on without lines.
SetEnd ReadSet(TextLines& lines, const AsnLimits& limits, std::int32_t& num_zero) {
    const SetCount count = CountSet(lines, limits);
    if (count.Lines == 0 && Kiv.Num_Asn_Read > 0) return SetEnd::Last;
    ReportSet(count);
    if (count.Accepted == 0) {
        LogFail("ASSIGNMENT FILE [%s] EXISTS BUT ZERO LINES ACCEPTED!\n", Kiv.Asn_Flnm);
        return SetEnd::Fail;
    }
    if (!GrowArrays(std::int64_t{Kiv.Num_Asn_Read} + count.Accepted)) return SetEnd::Fail;
    if (!FindSet(lines, limits)) {
        BothPut("ASSIGNED LINE SETS MUST BE SEPARATED BY // IN ASN FILE [%s]\n", Kiv.Asn_Flnm);
        return SetEnd::Last;
    }
    const std::int32_t stored = StoreSet(lines, limits, count, num_zero);
    if (stored == 0) {
        LogPut("ASSIGNMENT FILE [%s] EXISTS BUT NO ASSIGNED LINES ACCEPTED\n", Kiv.Asn_Flnm);
        return SetEnd::Stop;
    }
    if (!SortSet(stored)) return SetEnd::Fail;
    CloseSet(count, stored);
    return count.More ? SetEnd::More : SetEnd::Last;
}

}  // namespace

void AsnIndexSort(std::span<const std::uint64_t> key, std::span<std::int32_t> idx) {
    const auto keys = [key](std::int32_t i) { return key[static_cast<std::size_t>(i) - 1]; };
    const auto order = idx.subspan(1, key.size());
    std::iota(order.begin(), order.end(), 1);
    std::sort(order.begin(), order.end(), [&](std::int32_t a, std::int32_t b) {
        return keys(a) != keys(b) ? keys(a) < keys(b) : a < b;
    });
}

short iiisort123(std::int32_t n, std::span<const std::int32_t> idx, std::span<std::uint64_t> key,
                 std::span<const std::int32_t>, std::span<double> erg, std::span<double> unc) {
    KivArray<std::uint64_t> old_key;
    KivArray<double> old_erg, old_unc;
    if (ArrRealloc(old_key, n) < 0 || ArrRealloc(old_erg, n) < 0 || ArrRealloc(old_unc, n) < 0) {
        return -1;
    }
    std::copy_n(key.begin(), n, old_key.Data());
    std::copy_n(erg.begin(), n, old_erg.Data());
    std::copy_n(unc.begin(), n, old_unc.Data());
    for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
        const auto from = static_cast<std::size_t>(idx[i + 1]) - 1;
        key[i] = old_key[from];
        erg[i] = old_erg[from];
        unc[i] = old_unc[from];
    }
    return 1;
}

int RdAsnLines() {
    TraceEnter("RdAsnLines");
    StartListing();
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(Kiv.Asn_Flnm, "rb"));
    if (!file) return TraceExit("RdAsnLines");
    TextLines lines(file.get());
    const AsnLimits limits = FindLimits();
    std::int32_t num_zero = 0;
    SetEnd end = SetEnd::More;
    while (end == SetEnd::More) end = ReadSet(lines, limits, num_zero);
    if (end == SetEnd::Fail) return 0;
    if (end == SetEnd::Last) CheckUncertainties(num_zero);
    return TraceExit("RdAsnLines");
}
