// The log: opened, written in numbered phases, closed. Phase titles also go to the console.
#pragma once

/// Phases of a run.
enum KivPhase : int {
    PHASE_INPUT = 0,    // sub 0: open the debug log if asked; 1: input read; 2: memory ready
    PHASE_ENERGY = 1,   // sub = state just solved
    PHASE_TRS = 2,      // sub 0: title; 1: moment; 2: moment in the rotated frame
    PHASE_LINESET = 3,  // sub unused
    PHASE_FIT = 4,      // sub -1: too few lines; 0: title; c > 0: fit cycle c
    PHASE_END = 10      // closes the log
};

/// Announces `phase` on the console and reports it in the log, as `sub` says.
///
/// Without Kiv.Log_On nothing happens; without an open log all phases but PHASE_INPUT do nothing.
/// The log is Kiv.Debug_Flnm when a debug switch other than that of phase 0 is on, else
/// Out_Base + ".log"; it is opened once. Returns 1, or 0 when it could not be created; the
/// message is then already printed.
int KivPhaseLog(int phase, int sub);
