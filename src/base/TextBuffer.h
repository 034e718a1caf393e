// Text that is put together in memory, a row at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <utility>

namespace kiv {

/// Grows as rows need it, and keeps its size when it is cleared.
class TextBuffer {
  public:
    /// Where the next row goes, with room for `most` characters.
    char* Room(std::size_t most) {
        if (room_ - size_ < most) Grow(most);
        return chars_.get() + size_;
    }

    /// Ends a row that began where Room said.
    void Add(const char* end) { size_ = static_cast<std::size_t>(end - chars_.get()); }

    void Clear() { size_ = 0; }

    std::size_t size() const { return size_; }
    std::span<const char> text() const { return {chars_.get(), size_}; }

  private:
    void Grow(std::size_t most) {
        room_ = std::max(2 * room_, size_ + most);
        std::unique_ptr<char[]> larger(new char[room_]);
        if (size_ > 0) std::memcpy(larger.get(), chars_.get(), size_);
        chars_ = std::move(larger);
    }

    std::unique_ptr<char[]> chars_;
    std::size_t size_ = 0, room_ = 0;
};

}  // namespace kiv
