#include "io/TextLines.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace kiv {

std::size_t StreamSource::Read(char* to, std::size_t room) {
    return std::fread(to, 1, room, stream_);
}

bool StreamSource::broken() const { return std::ferror(stream_) != 0; }

bool StreamSource::Rewind() {
    const bool rewound = std::fseek(stream_, 0, SEEK_SET) == 0;
    std::clearerr(stream_);
    return rewound;
}

std::size_t MemorySource::Read(char* to, std::size_t room) {
    const std::size_t size = text_.copy(to, room, next_);
    next_ += size;
    return size;
}

bool MemorySource::Rewind() {
    next_ = 0;
    return true;
}

std::string_view WithoutMark(std::string_view text) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
}

bool LoadText(TextSource& source, std::size_t limit, const Memory& memory, Array<char>& text) {
    std::size_t used = 0;
    for (std::size_t room = 1 << 14;; room *= 2) {
        if (!text.Resize(memory, static_cast<std::int64_t>(room))) return false;
        used += source.Read(text.data() + used, room - used);
        if (used < room) break;
        if (room >= limit) return false;
    }
    text.Shorten(used);
    return true;
}

bool TextLines::Next(std::string_view& line) {
    if (end_ - begin_ < kMaxLine && !at_end_) Fill();
    if (begin_ == end_) return false;
    const std::size_t most = std::min(end_ - begin_, kMaxLine);
    const void* const line_end = std::memchr(buffer_ + begin_, '\n', most);
    const std::size_t size =
        line_end
            ? static_cast<std::size_t>(static_cast<const char*>(line_end) - (buffer_ + begin_)) + 1
            : most;
    line = std::string_view(buffer_ + begin_, size);
    begin_ += size;
    return true;
}

void TextLines::Fill() {
    std::memmove(buffer_, buffer_ + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    const std::size_t read = source_.Read(buffer_ + end_, sizeof buffer_ - end_);
    at_end_ = read < sizeof buffer_ - end_;
    end_ += read;
    const std::string_view text(buffer_, end_);
    if (at_start_) begin_ = end_ - WithoutMark(text).size();
    at_start_ = false;
}

void TextLines::Rewind() {
    begin_ = end_ = 0;
    at_start_ = true;
    at_end_ = !source_.Rewind();
}

}  // namespace kiv
