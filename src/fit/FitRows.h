// The data of one fit cycle: observed value, uncertainty and derivatives of every accepted row.
//
// A row is an assigned line or a combination difference. Rows count from 1. The derivatives of row
// i with respect to the constants of the fit's slots 1..T lie at (T + 1) * i + slot.
#pragma once

#include <cstdint>

#include "fit/FitList.h"
#include "run/KivArray.h"

struct FitRows {
    // Matched lines of the cycle's passes, before the selection
    std::int32_t Num_Lines = 0;
    KivArray<double> Calc;         // calculated position
    KivArray<std::int32_t> Asn;    // its assignment
    KivArray<std::int16_t> Label;  // J', Ka', Kc', J'', Ka'', Kc'' a line

    // Rows of lines, then, compacted, the accepted ones
    KivArray<double> obln_vec;  // observed value
    KivArray<double> sig_vec;   // uncertainty
    KivArray<double> dvs_mat;   // derivatives
    KivArray<double> u_mat;     // room for the solver

    std::int32_t Num = 0;    // accepted rows
    double Sum_Sq = 0.0;     // their squared misfits obs - calc, unweighted
    std::int32_t Split = 0;  // rows of the first set among them
    int Width = 0;           // numbers a row of dvs_mat, T + 1

    double* Derivatives(std::int64_t row) { return dvs_mat.Data() + Width * row; }
};

/// Room for `num` rows of the constants of `list`. 0 with the message of the array refused.
int AllocRows(FitRows& rows, const FitList& list, std::int64_t num);

/// Appends the matched lines of the pass just made. `ground`: both levels of a line belong to the
/// ground state, so that the derivatives of its constants are those of both levels together.
void GatherLines(FitRows& rows, const FitList& list, bool ground);

/// Uncertainty of assignment `asn`: 1 when uncertainties are uniform.
double AsnSigma(std::int32_t asn);

/// True when a misfit obs - calc reaches the rejection level.
bool IsOutlier(double misfit);

/// Moves row `from` to the end of the accepted rows, `misfit` being its obs - calc.
void AcceptRow(FitRows& rows, std::int64_t from, double misfit);

/// Accepts the lines gathered and lists those whose misfit reaches the rejection level.
void SelectLines(FitRows& rows);
