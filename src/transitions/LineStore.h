// Writing lines into the transition store.
#pragma once

#include <cstdint>
#include <span>

/// Entries behind the last one that can be read in the arrays of a LineBatch.
constexpr int kLineGroup = 16;

/// What is calculated for lines, one entry a line.
struct LineValues {
    double* Position = nullptr;
    float* Intensity = nullptr;
    char* Band = nullptr;
    float* Real_Amp = nullptr;  // a, b, c a line
    float* Imag_Amp = nullptr;
};

/// Lines of one lower level to upper levels of one J', one entry a line.
struct LineBatch {
    const std::int32_t* Upper = nullptr;  // index of the upper level
    const std::int16_t* Label = nullptr;  // its J', Ka', Kc', and three zeros
    LineValues Values;
};

/// Appends lines to the store of the run record, growing it when it is full.
class LineStore {
  public:
    /// Starts with an empty store.
    LineStore();

    /// Makes level `index` (of `J`) of the ground state the lower level of the next lines.
    void SetLower(int J, std::int32_t index);

    /// The place in the store of the next `num` lines, to be calculated there, or `elsewhere` when
    /// it has no room for them and some more.
    LineValues PlaceFor(std::int32_t num, const LineValues& elsewhere) const;

    /// Appends the first `num` entries of the batch. 1, or 0 when the store cannot grow (message
    /// printed).
    int PutAll(const LineBatch& batch, std::int32_t num);

    /// The same for the entries `lines`, in this order.
    int Put(const LineBatch& batch, std::span<const std::int32_t> lines);

  private:
    void Attach();
    int Reserve(std::int32_t num);
    int Grow();

    std::int32_t Room = 0, Num = 0;
    // The arrays of the run record, at hand for the inner loop
    LineValues Begin;
    std::int16_t* Label = nullptr;
    std::int32_t* Lower_Idx = nullptr;
    std::int32_t* Upper_Idx = nullptr;
    // The lower level, line after line
    std::int32_t Lower[kLineGroup] = {};
    std::int16_t Lower_Label[6 * kLineGroup] = {};
};
