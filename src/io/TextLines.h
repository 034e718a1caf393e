// Bytes of a file, wherever they come from, as one text or line by line.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string_view>

#include "kiv/array.h"

namespace kiv {

/// A file that is read from its start to its end, once or more often.
class TextSource {
  public:
    virtual ~TextSource() = default;

    /// Reads the next bytes, `room` of them unless the file ends; returns their number.
    virtual std::size_t Read(char* to, std::size_t room) = 0;

    /// True when the file ended because it could not be read further.
    virtual bool broken() const { return false; }

    /// Goes back to the start; false when that cannot be.
    virtual bool Rewind() = 0;
};

/// A stream that its owner opened.
class StreamSource : public TextSource {
  public:
    explicit StreamSource(std::FILE* stream) : stream_(stream) {}

    std::size_t Read(char* to, std::size_t room) override;
    bool broken() const override;
    bool Rewind() override;

  private:
    std::FILE* stream_;
};

/// A text in memory.
class MemorySource : public TextSource {
  public:
    explicit MemorySource(std::string_view text) : text_(text) {}

    std::size_t Read(char* to, std::size_t room) override;
    bool Rewind() override;

  private:
    std::string_view text_;
    std::size_t next_ = 0;
};

/// `text` without a UTF-8 byte-order mark at its start.
std::string_view WithoutMark(std::string_view text);

/// Reads what is left of `source` into `text`; false when there are `limit` (a power of two) or
/// more bytes, or not enough memory. A source that cannot be read further ends there.
[[nodiscard]] bool LoadText(TextSource& source, std::size_t limit, const Memory& memory,
                            Array<char>& text);

/// Lines of a text file of any size, one pass after another.
///
/// A line holds at most 499 characters, its line end included; what is left of a longer one is the
/// next line. A UTF-8 byte-order mark at the start is skipped.
class TextLines {
  public:
    static constexpr std::size_t kMaxLine = 499;

    explicit TextLines(TextSource& source) : source_(source) {}

    /// Gives the next line, valid until the next call; false at the end of the file.
    bool Next(std::string_view& line);

    /// True when the file ended because it could not be read further.
    bool broken() const { return source_.broken(); }

    /// Starts again at the first line; a file that cannot be rewound stays at its end.
    void Rewind();

  private:
    void Fill();

    TextSource& source_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    bool at_start_ = true;
    bool at_end_ = false;
    char buffer_[1 << 16];
};

}  // namespace kiv
