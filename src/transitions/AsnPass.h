// The lines that a least-squares cycle needs: the assigned ones, looked up instead of searched for.
//
// A key names both levels (tau is the energy rank), so no pair has to be visited and no amplitude
// formed. What the user sees is the same: the same messages in the same order, the same counts.
#pragma once

enum class AsnPass {
    Done,
    Failed,      // memory is exhausted; the message is printed
    Not_Enough,  // nothing printed or counted: the full calculation has to be run, because no
                 // assignment has a line or the debug listing of phase II wants all pairs
};

/// Stores the assigned lines of the current set and matches them.
AsnPass CalcAssigned();
