// Records of numbers and words, read and written by one and the same format text.
//
// A format is a printf format with the conversions %hd (16-bit integer), %ld (32-bit integer),
// %lf and %le (double) and %s (word), each with an optional '-', width and precision; %*hd, in
// formats that are only read, passes over a value. Reading takes the conversions alone, in order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>

#include "input/TextScan.h"

/// Where one value of a record lives: a reference to a number or to a text of fixed size.
struct Cell {
    enum class Type : std::uint8_t { None, Int16, Int32, Real, Text, HeadOfText };

    Type Kind = Type::None;
    std::uint16_t Size = 0;  // bytes of a text, its terminator included
    void* At = nullptr;

    Cell() = default;
    Cell(std::int16_t& value) : Kind(Type::Int16), At(&value) {}
    Cell(std::int32_t& value) : Kind(Type::Int32), At(&value) {}
    Cell(double& value) : Kind(Type::Real), At(&value) {}
    template <std::size_t N>
    Cell(char (&text)[N]) : Kind(Type::Text), Size(N), At(text) {}

    /// A text that takes the head of a longer word instead of refusing it.
    template <std::size_t N>
    static Cell Head(char (&text)[N]) {
        Cell cell(text);
        cell.Kind = Type::HeadOfText;
        return cell;
    }
};

/// Number of values a record of this format has, passed-over ones included.
int CountFields(const char* format);

/// Reads the values of `format` from `text` into `cells`, one after another, as scanf does: only
/// blanks between values are passed over, and what follows the last one is left alone. A 16-bit
/// value goes into the low half of a 32-bit cell, whose high half is kept. False when a value is
/// missing, malformed, out of range, or a word that starts with '#' or is longer than its cell.
bool ScanFields(TextScan& text, const char* format, std::span<const Cell> cells);

/// Writes `cells` by `format`.
void PutFields(std::FILE* file, const char* format, std::span<const Cell> cells);
