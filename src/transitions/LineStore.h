// Writing lines into the transition store.
#pragma once

#include <cstdint>
#include <cstring>

#include "run/KivRecord.h"

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
    double* Dev = nullptr;
    const std::int16_t* Upper_Ka = nullptr;
    const std::int16_t* Upper_Kc = nullptr;
    const double* Upper_Dev = nullptr;
    std::int32_t Room = 0;

    std::int32_t Num = 0;
    int Num_Lower_Dev = 0, Num_Upper_Dev = 0;
    std::int32_t Lower = 0;
    std::int16_t Lower_Label[3] = {};
    KivArray<double> Lower_Dev;  // negated derivatives of the lower level
};

/// Copies a short row of doubles four at a time, without a call.
inline void CopyRow(const double* from, int n, double* to) {
    int i = 0;
    for (; i + 4 <= n; i += 4) std::memcpy(to + i, from + i, 4 * sizeof(double));
    for (; i < n; ++i) to[i] = from[i];
}

inline int LineStore::Put(int J, std::int32_t index, const LineValues& line) {
    const auto n = static_cast<std::size_t>(Num);
    Erg[n] = line.Position;
    Itn[n] = line.Intensity;
    std::memcpy(Real_Amp + 3 * n, line.Real_Amp, sizeof line.Real_Amp);
    if (Imag_Amp) std::memcpy(Imag_Amp + 3 * n, line.Imag_Amp, sizeof line.Imag_Amp);
    const std::int16_t label[6] = {static_cast<std::int16_t>(J),
                                   Upper_Ka[index],
                                   Upper_Kc[index],
                                   Lower_Label[0],
                                   Lower_Label[1],
                                   Lower_Label[2]};
    std::memcpy(Label + 6 * n, label, sizeof label);
    Lower_Idx[n] = Lower;
    if (Upper_Idx) Upper_Idx[n] = index;
    double* row = Dev + n * static_cast<std::size_t>(Num_Lower_Dev + Num_Upper_Dev);
    CopyRow(Lower_Dev.Data(), Num_Lower_Dev, row);
    CopyRow(Upper_Dev + static_cast<std::size_t>(index) * static_cast<std::size_t>(Num_Upper_Dev),
            Num_Upper_Dev, row + Num_Lower_Dev);
    Band[n] = line.Band;
    Kiv.Num_Trs = ++Num;
    return Num < Room ? 1 : Grow();
}
