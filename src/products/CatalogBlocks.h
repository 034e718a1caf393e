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

/// A Writer has
///
///     Source                    what it is made from; each thread has a writer of its own
///     void Read(first, last)    looks at the lines at these places, kGroup at most; then for each
///     char* Put(char* out, place)    writes its row and returns the end, `out` where the line is
///                                    left out
///     kUsualRow                 characters of most rows
///     kAhead                    rows between the fetch of a line and its use
template <class Writer>
class CatalogBlocks final : public BlockFile {
  public:
    using Source = typename Writer::Source;

    CatalogBlocks(Sink& sink, const LineTable& table, const Source& source, int threads)
        : BlockFile(sink),
          catalog_(table.catalog),
          source_(source),
          rooms_(static_cast<std::size_t>(threads)) {}

    int blocks() const override { return (catalog_.size() + kBlockRows - 1) / kBlockRows; }

    std::span<const char> Make(int block, int thread) override {
        std::unique_ptr<Room>& place = rooms_[static_cast<std::size_t>(thread)];
        if (!place) place = std::make_unique<Room>(source_);
        Room& room = *place;
        room.text.Clear();
        const std::int32_t end = std::min((block + 1) * kBlockRows, catalog_.size());
        for (std::int32_t first = block * kBlockRows; first < end; first += Writer::kGroup) {
            PutGroup(room, first, std::min(first + Writer::kGroup, end));
        }
        return room.text.text();
    }

    /// Rows that were made.
    std::int32_t rows() const {
        std::int32_t sum = 0;
        for (const auto& room : rooms_) sum += room ? room->rows : 0;
        return sum;
    }

  private:
    static constexpr std::int32_t kBlockRows = 1000;
    static constexpr std::size_t kMostRow = 2048;

    struct Room {
        explicit Room(const Source& source) : writer(source) {
            text.Room(kBlockRows * Writer::kUsualRow + kMostRow);
        }

        Writer writer;
        TextBuffer text;
        std::int32_t rows = 0;
    };

    // Lines are fetched while others are made texts of: more at once would wait for each other.
    void PutGroup(Room& room, std::int32_t first, std::int32_t last) const {
        room.writer.Read(first, last);
        for (std::int32_t place = first; place < last; ++place) {
            catalog_.Fetch(std::min(place + Writer::kAhead, catalog_.size() - 1));
            char* const row = room.text.Room(kMostRow);
            char* const end = room.writer.Put(row, place);
            room.text.Add(end);
            room.rows += end > row ? 1 : 0;
        }
    }

    const Catalog& catalog_;
    const Source& source_;
    std::vector<std::unique_ptr<Room>> rooms_;  // by thread
};

/// `alone` where there are no others or the rows are too few to be worth them.
inline Threads& ThreadsForRows(const LineTable& table, Threads* threads, Threads& alone) {
    constexpr std::int32_t kFewRows = 2000;
    return threads && table.catalog.size() >= kFewRows ? *threads : alone;
}

/// Writes the rows of all lines that are accepted; returns their number.
template <class Writer>
std::int32_t WriteCatalog(Sink& sink, const LineTable& table, const typename Writer::Source& source,
                          Threads& threads) {
    CatalogBlocks<Writer> blocks(sink, table, source, threads.num());
    BlockFile* const files[] = {&blocks};
    WriteBlocks(files, threads);
    return blocks.rows();
}

}  // namespace kiv
