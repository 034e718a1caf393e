#include "lines/LineStore.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "base/Simd.h"

namespace kiv {
namespace {

// The levels of lines of one level whose values are in the store already, in whole groups: what is
// written behind the last one is written again by the next.
struct GroupRun {
    std::int32_t num;
    const LineBatch* from;
    const std::int32_t* lower;        // one group
    const std::int16_t* lower_label;  // one group, zero where the upper level has its own
    std::int16_t* label;
    std::int32_t* lower_index;
    std::int32_t* upper_index;  // null: none
};

// Asks for the cache lines that a group some way further on will be written to: a store that has
// outgrown the cache is filled at the pace at which they come.
template <std::size_t Width, class T>
KIV_INLINE void FetchGroup(const T* at) {
    constexpr std::size_t kAhead = 1024, kLine = 64, kSize = Width * kLineGroup * sizeof(T);
    const auto byte = reinterpret_cast<std::uintptr_t>(at) + kAhead;  // may lie behind the array
    for (std::size_t i = 0; i < kSize; i += kLine) {
        __builtin_prefetch(reinterpret_cast<const void*>(byte + i), 1);
    }
}

template <class T>
KIV_INLINE void CopyGroup(T* to, const T* from) {
    std::memcpy(to, from, kLineGroup * sizeof(T));
}

template <class>
KIV_INLINE void PutGroupsBody(const GroupRun& run) {
    using Labels = std::int16_t __attribute__((vector_size(64)));
    constexpr int kVectors = 6 * kLineGroup * sizeof(std::int16_t) / sizeof(Labels);
    Labels lower[kVectors];
    std::memcpy(lower, run.lower_label, sizeof lower);
    const LineValues& values = run.from->values;
    for (std::ptrdiff_t n = 0; n < run.num; n += kLineGroup) {
        FetchGroup<1>(values.position + n);
        FetchGroup<1>(values.intensity + n);
        FetchGroup<1>(values.band + n);
        if (values.amplitude_real) FetchGroup<3>(values.amplitude_real + 3 * n);
        FetchGroup<6>(run.label + 6 * n);
        FetchGroup<1>(run.lower_index + n);
        if (run.upper_index) FetchGroup<1>(run.upper_index + n);
        CopyGroup(run.lower_index + n, run.lower);
        if (run.upper_index) CopyGroup(run.upper_index + n, run.from->upper + n);
        Labels upper[kVectors];
        std::memcpy(upper, run.from->label + 6 * n, sizeof upper);
        for (int v = 0; v < kVectors; ++v) upper[v] |= lower[v];
        std::memcpy(run.label + 6 * n, upper, sizeof upper);
    }
}

KIV_KERNEL(PutGroups, GroupRun)

// Entries of an array that a list may not have, `width` numbers each, some of which may be where
// they belong, or near it.
template <class T>
void MoveEntries(const T* from, std::int32_t first, std::int32_t num, std::ptrdiff_t width, T* to,
                 std::int32_t place) {
    if (!to || from + width * first == to + width * place) return;
    std::memmove(to + width * place, from + width * first,
                 static_cast<std::size_t>(num * width) * sizeof(T));
}

// One array of a list that grows with it, and its name when it is refused.
template <class T>
Status GrowArray(const Memory& memory, Array<T>& array, std::int64_t num, const char* name) {
    if (array.is_null() || array.Resize(memory, num)) return {};
    return NoMemory(name);
}

}  // namespace

LineStore::LineStore(LineList& list, const Memory& memory, Trace* trace)
    : list_(list), memory_(memory), trace_(trace) {
    list_.size = 0;
    Attach();
}

void LineStore::Attach() {
    begin_ = {list_.position.data(), list_.intensity.data(), list_.band.data(),
              list_.amplitude_real.data(), list_.amplitude_imag.data()};
    label_ = list_.label.data();
    lower_index_ = list_.lower_level.data();
    upper_index_ = list_.upper_level.data();
    room_ = list_.capacity;
}

void LineStore::SetLower(const LowerLevel& level) {
    std::fill_n(lower_, kLineGroup, level.index);
    for (int i = 0; i < kLineGroup; ++i) {
        lower_label_[6 * i + 3] = static_cast<std::int16_t>(level.J);
        lower_label_[6 * i + 4] = static_cast<std::int16_t>(level.ka);
        lower_label_[6 * i + 5] = static_cast<std::int16_t>(level.kc);
    }
}

LineValues LineStore::PlaceFor(std::int32_t num, const LineValues& elsewhere) const {
    if (room_ - num_ < num + kLineGroup) return elsewhere;
    const std::ptrdiff_t n = num_;
    return {begin_.position + n, begin_.intensity + n, begin_.band + n,
            begin_.amplitude_real ? begin_.amplitude_real + 3 * n : nullptr,
            begin_.amplitude_imag ? begin_.amplitude_imag + 3 * n : nullptr};
}

Status LineStore::PutAll(const LineBatch& batch, std::int32_t num) {
    if (batch.lower) {
        while (num > room_ - num_) KIV_TRY(Grow());
        PutRun(batch, 0, num);
        return num_ < room_ ? Status() : Grow();
    }
    if (batch.values.position != begin_.position + num_) {  // calculated elsewhere
        return PutEach(batch, num, [](std::int32_t i) { return i; });
    }
    PutGroups({num, &batch, lower_, lower_label_, label_ + std::ptrdiff_t{6} * num_,
               lower_index_ + num_, upper_index_ ? upper_index_ + num_ : nullptr});
    list_.size = num_ += num;
    return {};
}

Status LineStore::Put(const LineBatch& batch, std::span<const std::int32_t> lines) {
    if (batch.lower) return PutRuns(batch, lines);
    return PutEach(batch, static_cast<std::int32_t>(lines.size()),
                   [lines](std::int32_t i) { return lines[static_cast<std::size_t>(i)]; });
}

// Entries of many levels, most of which follow each other.
Status LineStore::PutRuns(const LineBatch& batch, std::span<const std::int32_t> lines) {
    while (static_cast<std::int32_t>(lines.size()) > room_ - num_) KIV_TRY(Grow());
    for (std::size_t i = 0; i < lines.size();) {
        const std::size_t begin = i++;
        while (i < lines.size() && lines[i] == lines[i - 1] + 1) ++i;
        PutRun(batch, lines[begin], static_cast<std::int32_t>(i - begin));
    }
    return num_ < room_ ? Status() : Grow();
}

void LineStore::PutRun(const LineBatch& batch, std::int32_t first, std::int32_t num) {
    const LineValues &to = begin_, &from = batch.values;
    MoveEntries(from.position, first, num, 1, to.position, num_);
    MoveEntries(from.intensity, first, num, 1, to.intensity, num_);
    MoveEntries(from.band, first, num, 1, to.band, num_);
    MoveEntries(from.amplitude_real, first, num, 3, to.amplitude_real, num_);
    MoveEntries(from.amplitude_imag, first, num, 3, to.amplitude_imag, num_);
    MoveEntries(batch.label, first, num, 6, label_, num_);
    MoveEntries(batch.lower, first, num, 1, lower_index_, num_);
    MoveEntries(batch.upper, first, num, 1, upper_index_, num_);
    list_.size = num_ += num;
}

// Entries that stand in the list move down in it.
template <class EntryOf>
Status LineStore::PutEach(const LineBatch& batch, std::int32_t num, const EntryOf& entry_of) {
    while (num > room_ - num_) KIV_TRY(Grow());
    const LineValues to = begin_, from = batch.values;
    std::int16_t* const label = label_;
    for (std::int32_t i = 0; i < num; ++i) {
        const auto n = static_cast<std::size_t>(num_ + i),
                   k = static_cast<std::size_t>(entry_of(i));
        to.position[n] = from.position[k];
        to.intensity[n] = from.intensity[k];
        to.band[n] = from.band[k];
        for (std::size_t type = 0; type < 3; ++type) {
            if (to.amplitude_real) {
                to.amplitude_real[3 * n + type] = from.amplitude_real[3 * k + type];
            }
            if (to.amplitude_imag) {
                to.amplitude_imag[3 * n + type] = from.amplitude_imag[3 * k + type];
            }
        }
        std::memcpy(label + 6 * n, batch.label + 6 * k, 3 * sizeof(std::int16_t));
        std::memcpy(label + 6 * n + 3, lower_label_ + 3, 3 * sizeof(std::int16_t));
        lower_index_[n] = *lower_;
        if (upper_index_) upper_index_[n] = batch.upper[k];
    }
    list_.size = num_ += num;
    return num_ < room_ ? Status() : Grow();
}

Status LineStore::Grow() {
    if (trace_) trace_->Enter(Step::GrowStore);
    KIV_TRY(list_.Grow(memory_, list_.capacity + kMoreLines));
    Attach();
    if (trace_) trace_->Leave(Step::GrowStore);
    return {};
}

Status LineList::Grow(const Memory& memory, std::int32_t lines) {
    capacity = lines;
    const std::int64_t n = capacity;
    KIV_TRY(GrowArray(memory, position, n, array_name::kMorePositions));
    KIV_TRY(GrowArray(memory, intensity, n, array_name::kMoreIntensities));
    KIV_TRY(GrowArray(memory, amplitude_real, 3 * n, array_name::kAmplitudes));
    KIV_TRY(GrowArray(memory, amplitude_imag, 3 * n, array_name::kImaginaryAmplitudes));
    KIV_TRY(GrowArray(memory, band, n, array_name::kBands));
    KIV_TRY(GrowArray(memory, match_line, n, array_name::kMatches));
    KIV_TRY(GrowArray(memory, match_assignment, n, array_name::kMatches));
    KIV_TRY(GrowArray(memory, label, 6 * n, array_name::kLineLabels));
    KIV_TRY(GrowArray(memory, lower_level, n, array_name::kLowerLevels));
    return GrowArray(memory, upper_level, n, array_name::kUpperLevels);
}

LineView LineList::Line(std::int32_t n) const {
    const auto at = static_cast<std::size_t>(n);
    const std::int16_t* q = &label[6 * at];
    return {position[at], intensity[at], band[at], {q[0], q[1], q[2]}, {q[3], q[4], q[5]}};
}

Status LineList::Reserve(const Memory& memory, std::int32_t lines, bool is_complex,
                         bool one_state) {
    const std::int64_t n = lines;
    size = capacity = matched = missing = 0;
    if (!position.TakeUnset(memory, n)) return NoMemory(array_name::kPositions);
    if (!intensity.TakeUnset(memory, n)) return NoMemory(array_name::kIntensities);
    if (!amplitude_real.TakeUnset(memory, 3 * n)) return NoMemory(array_name::kAmplitudes);
    amplitude_imag.Clear();
    if (is_complex && !amplitude_imag.TakeUnset(memory, 3 * n)) {
        return NoMemory(array_name::kImaginaryAmplitudes);
    }
    if (!band.TakeUnset(memory, n)) return NoMemory(array_name::kBands);
    if (!match_line.TakeUnset(memory, n) || !match_assignment.TakeUnset(memory, n)) {
        return NoMemory(array_name::kMatches);
    }
    if (!label.TakeUnset(memory, 6 * n)) return NoMemory(array_name::kLineLabels);
    if (!lower_level.TakeUnset(memory, n)) return NoMemory(array_name::kLowerLevels);
    upper_level.Clear();
    if (one_state && !upper_level.TakeUnset(memory, n)) return NoMemory(array_name::kUpperLevels);
    capacity = lines;
    return {};
}

}  // namespace kiv
