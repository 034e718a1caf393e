// Lines of one lower J after the other, found on several threads, in one list.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

#include "kiv/lines.h"

namespace kiv {

/// Lists that are not in use, kept between searches.
struct SpareLists {
    std::vector<LineList> lists;
    bool is_complex = false, one_state = false, has_amplitudes = true;  // the lists
};

/// Appends lists to another one in the order of their numbers, whatever the order in which they
/// come. May be used from several threads at once.
class OrderedLines {
  public:
    /// Empties `all`, which grows as it must. Lists come from `spare` and go back there; new ones
    /// have room for `capacity` lines.
    OrderedLines(LineList& all, const Memory& memory, SpareLists& spare, std::int32_t capacity);

    /// An empty list for the lines of one number. NoMemory.
    Result<LineList> TakeEmpty();

    /// Appends the lines of number `n` = 0, 1 .. to `all`, at once or when those before have come.
    /// NoMemory, from then on for every list.
    Status Put(int n, LineList lines);

  private:
    struct Piece {
        LineList lines;
        std::int32_t place = 0;
    };

    bool TakeNext(Piece& piece);
    void AddMatches(const Piece& piece);
    void Copy(const Piece& piece);
    Status MakeRoom(std::int64_t lines, std::unique_lock<std::mutex>& lock);

    LineList& all_;
    const Memory& memory_;
    SpareLists& spare_;
    const std::int32_t capacity_;
    std::mutex mutex_;
    std::condition_variable copied_;
    std::map<int, LineList> waiting_;
    int next_ = 0;
    int num_copying_ = 0;
    bool is_growing_ = false;
    Status status_;
};

}  // namespace kiv
