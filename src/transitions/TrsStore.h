// The transition store: parallel arrays of the run record, one entry a line.
//
// Line n has its position FI_Sim_Erg[n], intensity FI_Sim_Itn[n], amplitudes at 3n (a, b, c), band
// letter FI_BT_Lbl[n], quantum numbers at 6n (J', Ka', Kc', J'', Ka'', Kc'') and level indices
// FI_Erg_Idx. Its derivatives, by far the most numbers, follow from those of its levels and are not
// kept, see run/LineDev.h.
#pragma once

/// Mode 0 allocates the store for Trs_Max_Lines lines, mode 1 raises the capacity by 10000 and
/// grows what mode 0 had allocated. 1, or 0 with the message of the array that was refused.
int TrsOut(int mode);
