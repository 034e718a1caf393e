// Writing lines into the transition store.
#pragma once

#include <cstdint>
#include <span>

#include "run/KivArray.h"

/// Lines of one lower level to upper levels of one J', one entry a line.
struct LineBatch {
    int J = 0;                             // J'
    const std::int32_t* Rank = nullptr;    // energy rank of the upper level
    const std::uint64_t* Label = nullptr;  // its J', Ka', Kc' as in PartnerList
    const double* Position = nullptr;
    const float* Intensity = nullptr;
    const char* Band = nullptr;
    const float* Real_Amp[3] = {};  // a, b, c
    const float* Imag_Amp[3] = {};  // complex runs only
};

/// Appends lines to the store of the run record, growing it when it is full.
class LineStore {
  public:
    /// Starts with an empty store.
    LineStore();

    /// Makes level `index` (of `J`) of the ground state the lower level of the next lines.
    void SetLower(int J, std::int32_t index);

    /// Appends the entries `lines` of the batch, in this order. 1, or 0 when the store cannot grow
    /// (message printed).
    int Put(const LineBatch& batch, std::span<const std::int32_t> lines);

  private:
    void Attach();
    int Grow();

    // The arrays of the run record, at hand for the inner loop
    double* Erg = nullptr;
    float* Itn = nullptr;
    float* Real_Amp = nullptr;
    float* Imag_Amp = nullptr;
    char* Band = nullptr;
    std::int16_t* Label = nullptr;
    std::int32_t* Lower_Idx = nullptr;
    std::int32_t* Upper_Idx = nullptr;
    std::int32_t Room = 0;

    std::int32_t Num = 0;
    std::int32_t Lower = 0;
    std::uint64_t Lower_J = 0;     // J'' where a label of 16-bit numbers has it
    std::uint32_t Lower_Rest = 0;  // Ka'', Kc''
};
