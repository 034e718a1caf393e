#include "lines/OrderedLines.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "base/Failure.h"

namespace kiv {
namespace {

// Entries of an array that a list may not have, `width` numbers a line.
template <class T>
void CopyEntries(const Array<T>& from, std::int32_t num, std::size_t width, Array<T>& to,
                 std::int32_t place) {
    if (from.is_null() || num == 0) return;
    std::memcpy(to.data() + static_cast<std::size_t>(place) * width, from.data(),
                static_cast<std::size_t>(num) * width * sizeof(T));
}

}  // namespace

OrderedLines::OrderedLines(LineList& all, const Memory& memory, SpareLists& spare,
                           std::int32_t capacity)
    : all_(all), memory_(memory), spare_(spare), capacity_(capacity) {
    all_.size = all_.matched = all_.missing = 0;
    const bool is_complex = !all_.amplitude_imag.is_null(), one_state = !all_.upper_level.is_null();
    const bool has_amplitudes = !all_.amplitude_real.is_null();
    if (spare_.is_complex != is_complex || spare_.one_state != one_state ||
        spare_.has_amplitudes != has_amplitudes) {
        spare_.lists.clear();
    }
    spare_.is_complex = is_complex;
    spare_.one_state = one_state;
    spare_.has_amplitudes = has_amplitudes;
}

Result<LineList> OrderedLines::TakeEmpty() {
    {
        const std::lock_guard lock(mutex_);
        if (!spare_.lists.empty()) {
            LineList lines = std::move(spare_.lists.back());
            spare_.lists.pop_back();
            lines.size = lines.matched = lines.missing = 0;
            return lines;
        }
    }
    LineList lines;
    KIV_TRY(lines.Reserve(memory_, capacity_, spare_.is_complex, spare_.one_state));
    if (!spare_.has_amplitudes) lines.amplitude_real.Clear();
    return lines;
}

// The next list in the order, when it is there. While room is made for one, the next ones wait.
bool OrderedLines::TakeNext(Piece& piece) {
    if (is_growing_) return false;
    const auto found = waiting_.find(next_);
    if (found == waiting_.end()) return false;
    piece.lines = std::move(found->second);
    waiting_.erase(found);
    ++next_;
    return true;
}

Status OrderedLines::Put(int n, LineList lines) {
    std::unique_lock lock(mutex_);
    waiting_.emplace(n, std::move(lines));
    for (Piece piece; status_ && TakeNext(piece);) {
        status_ = MakeRoom(std::int64_t{all_.size} + piece.lines.size, lock);
        if (!status_) break;
        piece.place = all_.size;
        all_.size += piece.lines.size;
        AddMatches(piece);
        ++num_copying_;
        lock.unlock();
        Copy(piece);
        lock.lock();
        if (--num_copying_ == 0) copied_.notify_all();
        spare_.lists.push_back(std::move(piece.lines));
    }
    return status_;
}

void OrderedLines::AddMatches(const Piece& piece) {
    all_.missing += piece.lines.missing;
    for (std::size_t k = 0; k < static_cast<std::size_t>(piece.lines.matched); ++k) {
        const auto to = static_cast<std::size_t>(all_.matched);
        if (to >= all_.match_line.size()) return;
        all_.match_line[to] = piece.place + piece.lines.match_line[k];
        all_.match_assignment[to] = piece.lines.match_assignment[k];
        ++all_.matched;
    }
}

void OrderedLines::Copy(const Piece& piece) {
    const LineList& from = piece.lines;
    const auto copy = [&](const auto& source, std::size_t width, auto& to) {
        CopyEntries(source, from.size, width, to, piece.place);
    };
    copy(from.position, 1, all_.position);
    copy(from.intensity, 1, all_.intensity);
    copy(from.amplitude_real, 3, all_.amplitude_real);
    copy(from.amplitude_imag, 3, all_.amplitude_imag);
    copy(from.band, 1, all_.band);
    copy(from.label, 6, all_.label);
    copy(from.lower_level, 1, all_.lower_level);
    copy(from.upper_level, 1, all_.upper_level);
}

// No list is being copied while the arrays move.
Status OrderedLines::MakeRoom(std::int64_t lines, std::unique_lock<std::mutex>& lock) {
    if (lines <= all_.capacity) return {};
    if (lines > std::numeric_limits<std::int32_t>::max()) return NoMemory("");
    is_growing_ = true;
    copied_.wait(lock, [this] { return num_copying_ == 0; });
    is_growing_ = false;
    const std::int64_t wanted = std::max(lines, std::int64_t{all_.capacity} * 3 / 2);
    return all_.Grow(memory_, static_cast<std::int32_t>(std::min<std::int64_t>(
                                  wanted, std::numeric_limits<std::int32_t>::max())));
}

}  // namespace kiv
