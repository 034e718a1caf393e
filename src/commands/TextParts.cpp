#include "commands/TextParts.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>

namespace kiv {
namespace {

constexpr std::size_t kPageWidth = 80, kIndent = 2;

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
            const std::string word = std::to_string(number);
            const auto size = static_cast<int>(word.size());
            text.append(static_cast<std::size_t>(std::max(width - size, 0)), ' ');
            text += word + " ";
        }
    };
    add(line.upper);
    text += "- ";
    add(line.lower);
    text.pop_back();
    return text;
}

void TextTable::AddRow(const std::vector<std::string>& row, const std::vector<std::size_t>& widths,
                       std::size_t gap, std::string& text) const {
    text.append(kIndent, ' ');
    for (std::size_t i = 0; i < row.size(); ++i) {
        const std::size_t space = widths[i] - row[i].size();
        const bool is_left = columns_[i].align == Align::Left;
        if (i > 0) text.append(gap, ' ');
        if (!is_left) text.append(space, ' ');
        text += row[i];
        if (is_left) text.append(space, ' ');
    }
    text.erase(text.find_last_not_of(' ') + 1);
    text += '\n';
}

std::string TextTable::text() const {
    std::vector<std::string> headings;
    std::vector<std::size_t> widths;
    for (const Column& column : columns_) {
        headings.push_back(column.heading);
        widths.push_back(column.heading.size());
    }
    for (const auto& row : rows_) {
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    std::size_t width = kIndent;
    for (const std::size_t w : widths) width += w + 2;
    const std::size_t gap = width - 2 > kPageWidth ? 1 : 2;
    std::string text;
    text.reserve((rows_.size() + 1) * (width + 1));
    AddRow(headings, widths, gap, text);
    for (const auto& row : rows_) AddRow(row, widths, gap, text);
    return text;
}

}  // namespace kiv
