#include "transitions/LineStore.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "run/KivRecord.h"
#include "run/Simd.h"
#include "transitions/TrsStore.h"

namespace {

// The levels of lines whose values are in the store already, in whole groups: what is written
// behind the last one is written again by the next.
struct GroupRun {
    std::int32_t Num;
    const LineBatch* From;
    const std::int32_t* Lower;        // one group
    const std::int16_t* Lower_Label;  // one group, zero where the upper level has its own
    std::int16_t* Label;
    std::int32_t* Lower_Idx;
    std::int32_t* Upper_Idx;  // null: none
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
    std::memcpy(lower, run.Lower_Label, sizeof lower);
    const LineValues& values = run.From->Values;
    for (std::ptrdiff_t n = 0; n < run.Num; n += kLineGroup) {
        FetchGroup<1>(values.Position + n);
        FetchGroup<1>(values.Intensity + n);
        FetchGroup<1>(values.Band + n);
        FetchGroup<3>(values.Real_Amp + 3 * n);
        FetchGroup<6>(run.Label + 6 * n);
        FetchGroup<1>(run.Lower_Idx + n);
        if (run.Upper_Idx) FetchGroup<1>(run.Upper_Idx + n);
        CopyGroup(run.Lower_Idx + n, run.Lower);
        if (run.Upper_Idx) CopyGroup(run.Upper_Idx + n, run.From->Upper + n);
        Labels upper[kVectors];
        std::memcpy(upper, run.From->Label + 6 * n, sizeof upper);
        for (int v = 0; v < kVectors; ++v) upper[v] |= lower[v];
        std::memcpy(run.Label + 6 * n, upper, sizeof upper);
    }
}

KIV_KERNEL(PutGroups, GroupRun)

}  // namespace

LineStore::LineStore() {
    Kiv.Num_Trs = 0;
    Attach();
}

void LineStore::Attach() {
    Begin = {Kiv.FI_Sim_Erg.Data(), Kiv.FI_Sim_Itn.Data(), Kiv.FI_BT_Lbl.Data(),
             Kiv.FI_ABC_RealAmp.Data(), Kiv.FI_ABC_ImagAmp.Data()};
    Label = Kiv.FI_JKK_Lbl.Data();
    Lower_Idx = Kiv.FI_Erg_Idx[ST_GND].Data();
    Upper_Idx = Kiv.FI_Erg_Idx[ST_EXC].Data();
    Room = Kiv.Trs_Max_Lines;
}

void LineStore::SetLower(int J, std::int32_t index) {
    const std::int16_t ka = Kiv.Ka_Vector[ST_GND][index], kc = Kiv.Kc_Vector[ST_GND][index];
    std::fill_n(Lower, kLineGroup, index);
    for (int i = 0; i < kLineGroup; ++i) {
        Lower_Label[6 * i + 3] = static_cast<std::int16_t>(J);
        Lower_Label[6 * i + 4] = ka;
        Lower_Label[6 * i + 5] = kc;
    }
}

LineValues LineStore::PlaceFor(std::int32_t num, const LineValues& elsewhere) const {
    if (Room - Num < num + kLineGroup) return elsewhere;
    const std::ptrdiff_t n = Num;
    return {Begin.Position + n, Begin.Intensity + n, Begin.Band + n, Begin.Real_Amp + 3 * n,
            Begin.Imag_Amp ? Begin.Imag_Amp + 3 * n : elsewhere.Imag_Amp};
}

int LineStore::PutAll(const LineBatch& batch, std::int32_t num) {
    if (batch.Values.Position != Begin.Position + Num) {  // calculated elsewhere
        for (std::int32_t i = 0; i < num; ++i) {
            if (!Put(batch, {&i, 1})) return 0;
        }
        return 1;
    }
    PutGroups({num, &batch, Lower, Lower_Label, Label + std::ptrdiff_t{6} * Num, Lower_Idx + Num,
               Upper_Idx ? Upper_Idx + Num : nullptr});
    Kiv.Num_Trs = Num += num;
    return 1;
}

// Entries that stand in the store move down in it.
int LineStore::Put(const LineBatch& batch, std::span<const std::int32_t> lines) {
    if (!Reserve(static_cast<std::int32_t>(lines.size()))) return 0;
    const LineValues& values = batch.Values;
    for (const std::int32_t line : lines) {
        const auto n = static_cast<std::size_t>(Num++), from = static_cast<std::size_t>(line);
        Begin.Position[n] = values.Position[from];
        Begin.Intensity[n] = values.Intensity[from];
        Begin.Band[n] = values.Band[from];
        for (std::size_t type = 0; type < 3; ++type) {
            Begin.Real_Amp[3 * n + type] = values.Real_Amp[3 * from + type];
            if (Begin.Imag_Amp) Begin.Imag_Amp[3 * n + type] = values.Imag_Amp[3 * from + type];
        }
        std::memcpy(Label + 6 * n, batch.Label + 6 * from, 3 * sizeof(std::int16_t));
        std::memcpy(Label + 6 * n + 3, Lower_Label + 3, 3 * sizeof(std::int16_t));
        Lower_Idx[n] = *Lower;
        if (Upper_Idx) Upper_Idx[n] = batch.Upper[from];
    }
    Kiv.Num_Trs = Num;
    return Num < Room ? 1 : Grow();
}

int LineStore::Reserve(std::int32_t num) {
    while (num > Room - Num) {
        if (!Grow()) return 0;
    }
    return 1;
}

int LineStore::Grow() {
    if (!TrsOut(1)) return 0;
    Attach();
    return 1;
}
