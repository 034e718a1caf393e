#include "commands/TextParts.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace kiv {
namespace {

constexpr std::size_t kPageWidth = 80, kIndent = 2;

// Numbers that are split into a whole and a rounded fraction, unless that is too close to a half:
// the product of the fraction with a power of ten is off by 2^-27 at most.
constexpr double kMostSplit = 0x1p53;
constexpr int kMostSplitDigits = 8;
constexpr double kDoubt = 0x1p-20;

// Writes a number so that it ends before `end`, at least so many digits. Returns its start.
char* PutDigitsBefore(char* end, std::uint64_t number, int digits) {
    for (; digits > 0 || number > 0; --digits, number /= 10) {
        *--end = static_cast<char>('0' + number % 10);
    }
    return end;
}

void AppendNumber(int number, std::size_t width, std::string& text) {
    char word[16];
    const std::size_t size =
        static_cast<std::size_t>(std::to_chars(word, word + sizeof word, number).ptr - word);
    if (size < width) text.append(width - size, ' ');
    text.append(word, size);
}

}  // namespace

std::string Format(const char* format, ...) {
    char text[401];
    std::va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return text;
}

std::string Fixed(double value, int digits) {
    char text[400];  // 309 digits in front of the point at most
    const double magnitude = std::fabs(value);
    if (digits > 0 && digits <= kMostSplitDigits && magnitude < kMostSplit) {
        std::uint64_t units = 1;
        for (int i = 0; i < digits; ++i) units *= 10;
        auto whole = static_cast<std::uint64_t>(magnitude);
        const double scaled = (magnitude - static_cast<double>(whole)) * static_cast<double>(units);
        auto fraction = static_cast<std::uint64_t>(scaled);
        const double rest = scaled - static_cast<double>(fraction);
        if (std::fabs(rest - 0.5) > kDoubt) {
            if (rest > 0.5) ++fraction;
            if (fraction == units) ++whole, fraction = 0;
            char* const end = text + sizeof text;
            char* at = PutDigitsBefore(end, fraction, digits);
            *--at = '.';
            at = PutDigitsBefore(at, whole, 1);
            if (std::signbit(value)) *--at = '-';
            return {at, end};
        }
    }
    const auto end =
        std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, digits);
    return {text, end.ptr};
}

std::string Plural(std::int64_t number, const char* word) {
    return std::to_string(number) + " " + word + (number == 1 ? "" : "s");
}

std::string Padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

int DigitsOf(const Job& job) { return job.input.unit == EnergyUnit::MHz ? 4 : 8; }

std::string TransitionText(const LineTransition& line, bool two_states, int width) {
    std::string text;
    const bool with_v = two_states && line.upper.v == line.lower.v;
    const auto add = [&](const LineLevel& level) {
        if (with_v) text += "v" + std::to_string(level.v) + " ";
        for (const int number : {level.J, level.Ka, level.Kc}) {
            AppendNumber(number, static_cast<std::size_t>(width), text);
            text += ' ';
        }
    };
    add(line.upper);
    text += "- ";
    add(line.lower);
    text.pop_back();
    return text;
}

std::string TextTable::text() const {
    const std::size_t columns = columns_.size();
    std::vector<std::size_t> widths, starts;
    for (const Column& column : columns_) widths.push_back(column.heading.size());
    std::size_t cell = 0;
    for (const std::size_t end : rows_) {
        for (std::size_t i = 0; cell < end; ++i, ++cell) {
            widths[i] = std::max(widths[i], Cell(cell).size());
        }
    }
    std::size_t width = kIndent;
    for (const std::size_t w : widths) width += w + 2;
    const std::size_t gap = width - 2 > kPageWidth ? 1 : 2;
    std::size_t at = kIndent;
    for (const std::size_t w : widths) {
        starts.push_back(at);
        at += w + gap;
    }
    std::string text;
    text.reserve((rows_.size() + 1) * (width + 1));
    std::string line(width, ' ');
    const auto put = [&](std::size_t i, std::string_view word) {
        const bool is_left = columns_[i].align == Align::Left;
        word.copy(&line[starts[i] + (is_left ? 0 : widths[i] - word.size())], word.size());
    };
    const auto end_line = [&] {
        text.append(line, 0, line.find_last_not_of(' ') + 1);
        text += '\n';
        line.assign(width, ' ');
    };
    for (std::size_t i = 0; i < columns; ++i) put(i, columns_[i].heading);
    end_line();
    cell = 0;
    for (const std::size_t end : rows_) {
        for (std::size_t i = 0; cell < end; ++i, ++cell) put(i, Cell(cell));
        end_line();
    }
    return text;
}

}  // namespace kiv
