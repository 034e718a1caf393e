#include "transitions/LineMatch.h"

#include "run/KivRecord.h"
#include "run/KivTrace.h"

namespace {

bool InSecondSet() { return Kiv.Gnd_Only == 1 && Kiv.Asn_Multi_Set == 1; }

}  // namespace

LineMatch::LineMatch()
    : Begin(InSecondSet() ? Kiv.Asn_Split : 0),
      End(InSecondSet() || Kiv.Asn_Multi_Set != 1 ? Kiv.Num_Asn_Read : Kiv.Asn_Split),
      Cursor(Begin) {
    Kiv.Num_Rej = 0;
}

bool LineMatch::HasUpTo(std::uint64_t key) const {
    return Cursor < End && Kiv.AsnQN_Vector[Cursor] <= key;
}

void LineMatch::ReportBefore(std::uint64_t key) {
    while (Cursor < End && Kiv.AsnQN_Vector[Cursor] < key) ReportMissing(Cursor++);
}

bool LineMatch::MatchesNext(std::uint64_t key) {
    ReportBefore(key);
    if (Cursor >= End || Kiv.AsnQN_Vector[Cursor] != key) return false;
    ++Cursor;
    return true;
}

void LineMatch::Keep(std::int32_t line) {
    if (static_cast<std::size_t>(Num_Matched) >= Kiv.FI_AsnLn_Idx.Num) return;
    Kiv.FI_AsnLn_Idx[Num_Matched] = line;
    Kiv.FI_Asn_Idx[Num_Matched] = Cursor - 1;
    ++Num_Matched;
}

void LineMatch::Drop() { ReportMissing(Cursor - 1); }

void LineMatch::ReportMissing(std::int32_t assignment) {
    ConPut("[%d] ASSIGNED FRQ [%lf] REJECTED - SIMULATED LINE MISSING\n", assignment,
           Kiv.AsnErg_Vector[assignment]);
    ++Kiv.Num_Rej;
}

void LineMatch::Finish() {
    Kiv.Num_Rej += End - Cursor;
    Kiv.Num_Asn = Num_Matched;
}
