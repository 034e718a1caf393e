#include "input/RecordFormat.h"

#include <cstring>
#include <limits>
#include <string_view>

namespace {

struct Conversion {
    char Letter;  // h and l for integers of 16 and 32 bits, f, e, s; % for a percent sign
    bool Skip;    // read, not stored
    int Width;    // left-justified
    int Precision;
};

int TakeNumber(const char*& at) {
    int number = 0;
    for (; *at >= '0' && *at <= '9'; ++at) number = 10 * number + (*at - '0');
    return number;
}

// Takes the conversion that starts behind the percent sign at `at`.
Conversion TakeConversion(const char*& at) {
    Conversion conversion = {'%', false, 0, 6};
    for (; *at == '-' || *at == '*'; ++at) conversion.Skip = *at == '*';
    conversion.Width = TakeNumber(at);
    if (*at == '.') conversion.Precision = TakeNumber(++at);
    const char size = *at;
    if (size == 'h' || size == 'l') ++at;
    conversion.Letter = *at == 'd' ? size : *at;
    if (*at) ++at;
    return conversion;
}

// Moves `at` behind the next value's conversion; false when there is none left.
bool NextValue(const char*& at, Conversion& conversion) {
    while ((at = std::strchr(at, '%')) != nullptr) {
        conversion = TakeConversion(++at);
        if (conversion.Letter != '%') return true;
    }
    return false;
}

template <class T>
bool ScanInt(TextScan& text, T& value) {
    std::int64_t wide = 0;
    if (text.Int(std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), wide) !=
        ScanEnd::Good) {
        return false;
    }
    value = static_cast<T>(wide);
    return true;
}

// A word that starts like a comment is refused: it could not be written back. It can only come from
// the oldest files, which have no comments, and then it shows that the file is none of them.
bool ScanWord(TextScan& text, const Cell& cell) {
    std::string_view word;
    if (!text.Word(word) || word[0] == '#' || word.find('\0') != std::string_view::npos)
        return false;
    const std::size_t most = cell.Size - std::size_t{1};
    if (word.size() > most && cell.Kind != Cell::Type::HeadOfText) return false;
    word = word.substr(0, most);
    std::memcpy(cell.At, word.data(), word.size());
    static_cast<char*>(cell.At)[word.size()] = '\0';
    return true;
}

bool ScanShort(TextScan& text, const Cell& cell) {
    std::int16_t value = 0;
    if (!ScanInt(text, value)) return false;
    if (cell.Kind == Cell::Type::Int16) {
        *static_cast<std::int16_t*>(cell.At) = value;
    } else {
        auto& whole = *static_cast<std::int32_t*>(cell.At);
        whole = static_cast<std::int32_t>((static_cast<std::uint32_t>(whole) & 0xFFFF0000u) |
                                          static_cast<std::uint16_t>(value));
    }
    return true;
}

bool ScanField(TextScan& text, char letter, const Cell& cell) {
    switch (letter) {
        case 'h':
            return ScanShort(text, cell);
        case 'l':
            return ScanInt(text, *static_cast<std::int32_t*>(cell.At));
        case 's':
            return ScanWord(text, cell);
        default:
            return text.Real(*static_cast<double*>(cell.At)) == ScanEnd::Good;
    }
}

std::int32_t IntOf(const Cell& cell) {
    if (cell.Kind == Cell::Type::Int16) return *static_cast<const std::int16_t*>(cell.At);
    return *static_cast<const std::int32_t*>(cell.At);
}

void PutField(std::FILE* file, const Conversion& as, const Cell& cell) {
    switch (as.Letter) {
        case 'h':
            std::fprintf(file, "%-*d", as.Width, static_cast<std::int16_t>(IntOf(cell)));
            break;
        case 'l':
            std::fprintf(file, "%-*d", as.Width, IntOf(cell));
            break;
        case 's':
            std::fprintf(file, "%-*s", as.Width, static_cast<const char*>(cell.At));
            break;
        case 'e':
            std::fprintf(file, "%-*.*e", as.Width, as.Precision,
                         *static_cast<const double*>(cell.At));
            break;
        default:
            std::fprintf(file, "%-*.*f", as.Width, as.Precision,
                         *static_cast<const double*>(cell.At));
    }
}

}  // namespace

int CountFields(const char* format) {
    int count = 0;
    Conversion conversion;
    while (NextValue(format, conversion)) ++count;
    return count;
}

bool ScanFields(TextScan& text, const char* format, std::span<const Cell> cells) {
    std::size_t next = 0;
    Conversion conversion;
    while (NextValue(format, conversion)) {
        std::int16_t passed_over = 0;
        const Cell cell = conversion.Skip ? Cell(passed_over) : cells[next++];
        if (!ScanField(text, conversion.Letter, cell)) return false;
    }
    return true;
}

void PutFields(std::FILE* file, const char* format, std::span<const Cell> cells) {
    std::size_t next = 0;
    while (*format) {
        if (*format != '%') {
            std::fputc(*format++, file);
            continue;
        }
        const Conversion conversion = TakeConversion(++format);
        if (conversion.Letter == '%') {
            std::fputc('%', file);
        } else {
            PutField(file, conversion, cells[next++]);
        }
    }
}
