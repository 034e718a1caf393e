// Writing lines into the transition store.
#pragma once

#include <cstdint>

#include "run/KivArray.h"

/// What the store keeps of one line besides its levels.
struct LineValues {
    double Position = 0.0;
    float Intensity = 0.0F;
    char Band = 'C';
    float Real_Amp[3] = {};  // a, b, c
    float Imag_Amp[3] = {};
};

/// Appends lines to the store of the run record, growing it when it is full.
class LineStore {
  public:
    /// Starts with an empty store. 1, or 0 when memory is exhausted (message printed).
    int Init();

    /// Makes level `index` (of `J`) of the ground state the lower level of the next lines.
    void SetLower(int J, std::int32_t index);

    /// Appends the line to level `index` (of `J`) of the excited state. 1, or 0 when the store
    /// cannot grow (message printed).
    int Put(int J, std::int32_t index, const LineValues& line);

  private:
    void Attach();

    // The arrays of the run record, at hand for the inner loop
    double* Erg = nullptr;
    float* Itn = nullptr;
    float* Real_Amp = nullptr;
    float* Imag_Amp = nullptr;
    char* Band = nullptr;
    std::int16_t* Label = nullptr;
    std::int32_t* Lower_Idx = nullptr;
    std::int32_t* Upper_Idx = nullptr;
    double* Dev = nullptr;

    std::int32_t Num = 0;
    int Num_Lower_Dev = 0, Num_Upper_Dev = 0;
    std::int32_t Lower = 0;
    std::int16_t Lower_Label[3] = {};
    KivArray<double> Lower_Dev;  // negated derivatives of the lower level
};
