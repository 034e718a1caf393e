#include "input/TextScan.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <system_error>

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool IsOneOf(char c, const char* letters) {
    return c != '\0' && std::strchr(letters, c) != nullptr;
}

// True when `rest`, the text behind a complete number, shows that more was meant.
bool IsCutOff(std::string_view rest, bool finite, bool hex) {
    if (rest.empty()) return false;
    if (!finite) return IsLetter(rest[0]);
    if (hex) return IsOneOf(rest[0], "pP.");
    if (rest[0] == ',') return rest.size() > 1 && IsDigit(rest[1]);
    return IsOneOf(rest[0], "eEdD");
}

}  // namespace

void TextScan::SkipBlanks() {
    while (Pos < Text.size() && IsBlank(Text[Pos])) ++Pos;
}

// Takes a sign; true when it was a minus.
bool TextScan::TakeSign() {
    if (Pos == Text.size() || (Text[Pos] != '-' && Text[Pos] != '+')) return false;
    return Text[Pos++] == '-';
}

bool TextScan::Word(std::string_view& word) {
    SkipBlanks();
    const std::size_t first = Pos;
    while (Pos < Text.size() && !IsBlank(Text[Pos])) ++Pos;
    word = Text.substr(first, Pos - first);
    return !word.empty();
}

std::string_view TextScan::RestOfLine() {
    const std::size_t first = Pos;
    const std::size_t end = Text.find('\n', first);
    Pos = end == std::string_view::npos ? Text.size() : end + 1;
    return Text.substr(first, Pos - first);
}

ScanEnd TextScan::Int(std::int64_t low, std::int64_t high, std::int64_t& value) {
    SkipBlanks();
    const std::size_t first = Pos;
    const bool negative = TakeSign();
    if (Pos == Text.size() || !IsDigit(Text[Pos])) {
        Pos = first;
        return ScanEnd::None;
    }
    std::int64_t magnitude = 0;
    constexpr std::int64_t kTooMuch = std::int64_t{1} << 40;
    for (; Pos < Text.size() && IsDigit(Text[Pos]); ++Pos) {
        if (magnitude < kTooMuch) magnitude = 10 * magnitude + (Text[Pos] - '0');
    }
    value = negative ? -magnitude : magnitude;
    return value >= low && value <= high ? ScanEnd::Good : ScanEnd::Bad;
}

ScanEnd TextScan::Real(double& value) {
    SkipBlanks();
    const std::size_t first = Pos;
    const bool negative = TakeSign();
    const char* const end = Text.data() + Text.size();
    std::string_view rest = Text.substr(Pos);
    const bool hex = rest.size() > 1 && rest[0] == '0' && IsOneOf(rest[1], "xX");
    if (hex) rest.remove_prefix(2);
    double magnitude = 0.0;
    std::from_chars_result read{rest.data(), std::errc::invalid_argument};
    if (!rest.empty() && rest[0] != '-') {
        const auto form = hex ? std::chars_format::hex : std::chars_format::general;
        read = std::from_chars(rest.data(), end, magnitude, form);
    }
    if (read.ec == std::errc::invalid_argument) {
        Pos = first;
        return hex ? ScanEnd::Bad : ScanEnd::None;
    }
    Pos = static_cast<std::size_t>(read.ptr - Text.data());
    if (read.ec != std::errc{}) return ScanEnd::Bad;
    if (IsCutOff(Text.substr(Pos), std::isfinite(magnitude), hex)) return ScanEnd::Bad;
    value = negative ? -magnitude : magnitude;
    return ScanEnd::Good;
}

short LoadText(std::FILE* file, std::size_t limit, KivArray<char>& block, bool& broken) {
    std::size_t used = 0;
    for (std::size_t room = 1 << 14;; room *= 2) {
        if (ArrRealloc(block, static_cast<std::int64_t>(room)) < 0) return -1;
        used += std::fread(block.Data() + used, 1, room - used, file);
        if (used < room) break;
        if (room >= limit) return -1;
    }
    broken = std::ferror(file) != 0;
    const std::string_view text(block.Data(), used);
    if (text.starts_with(kByteOrderMark)) {
        used -= kByteOrderMark.size();
        std::memmove(block.Data(), block.Data() + kByteOrderMark.size(), used);
    }
    block.Num = used;
    return 1;
}

bool TextLines::Next(std::string_view& line) {
    if (End - Begin < kMaxLine && !At_End) Fill();
    if (Begin == End) return false;
    const std::size_t most = End - Begin < kMaxLine ? End - Begin : kMaxLine;
    const void* const line_end = std::memchr(Buf + Begin, '\n', most);
    const std::size_t size =
        line_end ? static_cast<std::size_t>(static_cast<const char*>(line_end) - (Buf + Begin)) + 1
                 : most;
    line = std::string_view(Buf + Begin, size);
    Begin += size;
    return true;
}

void TextLines::Fill() {
    std::memmove(Buf, Buf + Begin, End - Begin);
    End -= Begin;
    Begin = 0;
    const std::size_t read = std::fread(Buf + End, 1, sizeof Buf - End, File);
    At_End = read < sizeof Buf - End;
    End += read;
    if (At_Start && std::string_view(Buf, End).starts_with(kByteOrderMark)) {
        Begin = kByteOrderMark.size();
    }
    At_Start = false;
}

void TextLines::Rewind() {
    Begin = End = 0;
    At_Start = true;
    At_End = std::fseek(File, 0, SEEK_SET) != 0;
    std::clearerr(File);
}
