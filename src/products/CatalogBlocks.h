// Rows of a catalogue made in blocks, on threads where there are some.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "base/BlockFile.h"
#include "base/TextBuffer.h"
#include "products/LineTexts.h"

namespace kiv {

/// A Writer has Accepts(line) and char* Put(char* out, line), which writes the row of a line and
/// returns its end; each thread has one of its own, made from a table.
template <class Writer>
class CatalogBlocks final : public BlockFile {
  public:
    CatalogBlocks(Sink& sink, const LineTable& table, int threads)
        : BlockFile(sink), table_(table), rooms_(static_cast<std::size_t>(threads)) {}

    int blocks() const override { return (table_.catalog.size() + kBlockRows - 1) / kBlockRows; }

    std::span<const char> Make(int block, int thread) override {
        std::unique_ptr<Room>& room = rooms_[static_cast<std::size_t>(thread)];
        if (!room) room = std::make_unique<Room>(table_);
        room->text.Clear();
        const Catalog& catalog = table_.catalog;
        const std::int32_t first = block * kBlockRows;
        const std::int32_t last = std::min(first + kBlockRows, catalog.size());
        for (std::int32_t i = first; i < last; ++i) {
            if (i + kAhead < last) catalog.Fetch(i + kAhead);
            const CatalogLine line = catalog.Line(i, table_.absolute);
            if (!room->writer.Accepts(line)) continue;
            room->text.Add(room->writer.Put(room->text.Room(kMostRow), line));
            ++room->rows;
        }
        return room->text.text();
    }

    /// Rows that were made.
    std::int32_t rows() const {
        std::int32_t sum = 0;
        for (const auto& room : rooms_) sum += room ? room->rows : 0;
        return sum;
    }

  private:
    static constexpr std::int32_t kBlockRows = 1000;
    static constexpr std::int32_t kAhead = 12;  // rows between a fetch and its use
    static constexpr std::size_t kMostRow = 2048;

    struct Room {
        explicit Room(const LineTable& table) : writer(table) {}

        Writer writer;
        TextBuffer text;
        std::int32_t rows = 0;
    };

    const LineTable& table_;
    std::vector<std::unique_ptr<Room>> rooms_;  // by thread
};

/// Writes the rows of all lines that are accepted; returns their number.
template <class Writer>
std::int32_t WriteCatalog(Sink& sink, const LineTable& table, Threads* threads) {
    constexpr std::int32_t kFewRows = 2000;  // take less time than threads are worth
    Threads alone;
    if (!threads || table.catalog.size() < kFewRows) threads = &alone;
    CatalogBlocks<Writer> blocks(sink, table, threads->num());
    BlockFile* const files[] = {&blocks};
    WriteBlocks(files, *threads);
    return blocks.rows();
}

}  // namespace kiv
