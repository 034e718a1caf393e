// Independent readers of exported files: columns of characters, fields between commas.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace kiv {

/// A row of a .cat file by its columns.
struct CatRow {
    double frequency = 0.0, error = 0.0, lgint = 0.0, lower = 0.0;
    std::string weight, tag, format, quanta;  // the quanta are twelve fields of two columns
};

inline CatRow ReadCatRow(const std::string& line) {
    EXPECT_EQ(line.size(), 80u) << line;
    EXPECT_EQ(line.substr(29, 2), " 3");
    const auto number = [&](std::size_t from, std::size_t width) {
        const std::string field = line.substr(from, width);
        char* end = nullptr;
        const double value = std::strtod(field.c_str(), &end);
        EXPECT_EQ(*end, '\0') << line;
        return value;
    };
    return {number(0, 13),      number(13, 8),      number(21, 8),      number(31, 10),
            line.substr(41, 3), line.substr(44, 7), line.substr(51, 4), line.substr(55, 24)};
}

inline std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

inline std::vector<CatRow> ReadCat(const std::string& text) {
    std::vector<CatRow> rows;
    for (const std::string& line : LinesOf(text)) rows.push_back(ReadCatRow(line));
    return rows;
}

/// Rows of a .csv file: field by heading.
using CsvRow = std::map<std::string, std::string>;

inline std::vector<CsvRow> ReadCsv(const std::string& text) {
    std::vector<std::vector<std::string>> table;
    for (const std::string& line : LinesOf(text)) {
        table.emplace_back(1);
        for (const char c : line) {
            if (c == ',') {
                table.back().emplace_back();
            } else {
                table.back().back() += c;
            }
        }
        EXPECT_EQ(table.back().size(), table.front().size()) << line;
    }
    std::vector<CsvRow> rows;
    for (std::size_t i = 1; i < table.size(); ++i) {
        CsvRow& row = rows.emplace_back();
        for (std::size_t k = 0; k < table[0].size(); ++k) row[table[0][k]] = table[i][k];
    }
    return rows;
}

inline double Number(const CsvRow& row, const std::string& column) {
    char* end = nullptr;
    const std::string& field = row.at(column);
    const double value = std::strtod(field.c_str(), &end);
    EXPECT_TRUE(!field.empty() && *end == '\0') << column << ": " << field;
    return value;
}

}  // namespace kiv
