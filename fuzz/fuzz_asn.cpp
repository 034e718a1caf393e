// Assignment files. The first eight bytes are the settings that limit and scale the lines.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "FuzzSupport.h"
#include "input/AsnLines.h"
#include "run/KivKey.h"
#include "run/KivRecord.h"

namespace {

void Set(ByteSource& bytes) {
    Kiv.Max_J = bytes.Byte() < 250 ? bytes.Upto(60) : bytes.Int32();
    Kiv.Asn_J_Max = bytes.Upto(30) - 1;
    Kiv.Asn_Ka_Max = bytes.Upto(30) - 1;
    Kiv.Asn_Kc_Max = bytes.Upto(30) - 1;
    const int switches = bytes.Byte();
    Kiv.QZ_Fmt = switches & 1;
    Kiv.Uniform_Unc = switches >> 1 & 1;
    Kiv.Debug_Stat[DBG_0] = switches >> 2 & 1;
    Kiv.Erg_Scale = bytes.Real();
}

void CheckKey(std::uint64_t key) {
    const int Jl = KeyJLower(key), Ju = KeyJUpper(key);
    Require(Jl <= Kiv.Max_J && Ju <= Kiv.Max_J, "J within the run");
    Require(KeyTauLower(key) <= 2 * Jl && KeyTauUpper(key) <= 2 * Ju, "level within its J");
}

void CheckLines(int status) {
    if (status == 0) return;
    const auto num = static_cast<std::size_t>(Kiv.Num_Asn_Read);
    const auto split = static_cast<std::size_t>(Kiv.Asn_Split);
    Require(Kiv.Num_Asn_Read >= 0 && split <= num, "counts");
    if (num == 0) return;
    Require(
        Kiv.AsnQN_Vector.Num >= num && Kiv.AsnErg_Vector.Num >= num && Kiv.AsnUnc_Vector.Num >= num,
        "arrays hold the lines");
    const std::uint64_t* key = Kiv.AsnQN_Vector.Data();
    for (std::size_t k = 0; k < num; ++k) CheckKey(key[k]);
    Require(std::is_sorted(key, key + split) && std::is_sorted(key + split, key + num),
            "sets are sorted");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static MemFile lines("asn");
    BeginFuzz();
    ByteSource bytes({reinterpret_cast<const char*>(data), size});
    Set(bytes);
    if (Kiv.Debug_Stat[DBG_0] == 1) {
        Kiv.Log_On = 1;
        Kiv.Log_Fp = std::fopen("/dev/null", "w");
    }
    lines.Set(bytes.Rest());
    std::strcpy(Kiv.Asn_Flnm, lines.Name());
    CheckLines(RdAsnLines());
    EndFuzz();
    return 0;
}
