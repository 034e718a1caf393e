#include "transitions/LineStore.h"

#include <bit>
#include <cstring>

#include "run/KivRecord.h"
#include "transitions/TrsStore.h"

namespace {

static_assert(std::endian::native == std::endian::little, "labels are put together as integers");

void PutTriple(float* to, const float* const (&from)[3], std::size_t line) {
    for (int type = 0; type < 3; ++type) to[type] = from[type][line];
}

std::uint64_t Bits(std::int16_t number) { return static_cast<std::uint16_t>(number); }

}  // namespace

LineStore::LineStore() {
    Kiv.Num_Trs = 0;
    Attach();
}

void LineStore::Attach() {
    Erg = Kiv.FI_Sim_Erg.Data();
    Itn = Kiv.FI_Sim_Itn.Data();
    Real_Amp = Kiv.FI_ABC_RealAmp.Data();
    Imag_Amp = Kiv.FI_ABC_ImagAmp.Data();
    Band = Kiv.FI_BT_Lbl.Data();
    Label = Kiv.FI_JKK_Lbl.Data();
    Lower_Idx = Kiv.FI_Erg_Idx[ST_GND].Data();
    Upper_Idx = Kiv.FI_Erg_Idx[ST_EXC].Data();
    Room = Kiv.Trs_Max_Lines;
}

void LineStore::SetLower(int J, std::int32_t index) {
    Lower = index;
    Lower_J = Bits(static_cast<std::int16_t>(J)) << 48;
    Lower_Rest = static_cast<std::uint32_t>(Bits(Kiv.Ka_Vector[ST_GND][index]) |
                                            Bits(Kiv.Kc_Vector[ST_GND][index]) << 16);
}

int LineStore::Put(const LineBatch& batch, std::span<const std::int32_t> lines) {
    const auto num = static_cast<std::int32_t>(lines.size());
    while (num > Room - Num) {
        if (!Grow()) return 0;
    }
    const std::int32_t first = batch.J * batch.J;
    auto n = static_cast<std::size_t>(Num);
    for (const std::int32_t line : lines) {
        const auto at = static_cast<std::size_t>(line);
        Erg[n] = batch.Position[at];
        Itn[n] = batch.Intensity[at];
        Band[n] = batch.Band[at];
        PutTriple(Real_Amp + 3 * n, batch.Real_Amp, at);
        if (Imag_Amp) PutTriple(Imag_Amp + 3 * n, batch.Imag_Amp, at);
        const std::uint64_t label = batch.Label[at] | Lower_J;
        std::memcpy(Label + 6 * n, &label, sizeof label);
        std::memcpy(Label + 6 * n + 4, &Lower_Rest, sizeof Lower_Rest);
        Lower_Idx[n] = Lower;
        if (Upper_Idx) Upper_Idx[n] = first + batch.Rank[at];
        ++n;
    }
    Kiv.Num_Trs = Num = static_cast<std::int32_t>(n);
    while (Num >= Room) {
        if (!Grow()) return 0;
    }
    return 1;
}

int LineStore::Grow() {
    if (!TrsOut(1)) return 0;
    Attach();
    return 1;
}
