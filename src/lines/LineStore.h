// Writing lines into a list.
#pragma once

#include <cstdint>
#include <span>

#include "base/Trace.h"
#include "kiv/lines.h"
#include "lines/LineTask.h"

namespace kiv {

/// Room of a list at the start, and by how much it grows.
inline constexpr std::int32_t kFirstLines = 100000;
inline constexpr std::int32_t kMoreLines = 10000;

/// Entries behind the last one that can be read in the arrays of a LineBatch.
inline constexpr int kLineGroup = 16;

/// What is calculated for lines, one entry a line.
struct LineValues {
    double* position = nullptr;
    float* intensity = nullptr;
    char* band = nullptr;
    float* amplitude_real = nullptr;  // a, b, c a line; null: not wanted
    float* amplitude_imag = nullptr;  // null: none, or not wanted
};

/// Lines of one lower level, that of the store, or of many, one entry a line.
struct LineBatch {
    const std::int32_t* upper = nullptr;  // index of the upper level
    const std::int16_t* label =
        nullptr;  // J', Ka', Kc', J'', Ka'', Kc''; of one level: three zeros
    LineValues values;
    const std::int32_t* lower = nullptr;  // index of the lower level; null: all are of one level
};

/// Appends lines to a list, which grows when it is full.
class LineStore {
  public:
    /// Empties the list.
    LineStore(LineList& list, const Memory& memory, Trace* trace);

    /// Makes `level` the lower level of the next batches of one level.
    void SetLower(const LowerLevel& level);

    /// The place in the list of the next `num` lines, to be calculated there, or `elsewhere` when
    /// it has no room for them and some more.
    LineValues PlaceFor(std::int32_t num, const LineValues& elsewhere) const;

    /// Appends the first `num` entries of the batch. NoMemory when the list cannot grow.
    Status PutAll(const LineBatch& batch, std::int32_t num);

    /// The same for the entries `lines`, in this order.
    Status Put(const LineBatch& batch, std::span<const std::int32_t> lines);

  private:
    template <class EntryOf>
    Status PutEach(const LineBatch& batch, std::int32_t num, const EntryOf& entry_of);
    Status PutRuns(const LineBatch& batch, std::span<const std::int32_t> lines);
    void PutRun(const LineBatch& batch, std::int32_t first, std::int32_t num);
    void Attach();
    Status Grow();

    LineList& list_;
    const Memory& memory_;
    Trace* trace_;
    std::int32_t room_ = 0, num_ = 0;
    // The arrays of the list, at hand for the inner loop
    LineValues begin_;
    std::int16_t* label_ = nullptr;
    std::int32_t* lower_index_ = nullptr;
    std::int32_t* upper_index_ = nullptr;  // null: none
    // The lower level, line after line
    std::int32_t lower_[kLineGroup] = {};
    std::int16_t lower_label_[6 * kLineGroup] = {};
};

}  // namespace kiv
