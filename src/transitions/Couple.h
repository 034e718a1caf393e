// The sums behind the amplitudes: a few lower levels of a class with upper levels of another.
#pragma once

constexpr int kLowers = 4;  // lower levels that go through the upper ones together

/// One part, real or imaginary, of the vectors that a run needs.
struct CouplePart {
    const double* Lower;  // component m + Shift at [m], the next level Lower_Ld further on
    const double* Rows;   // component m of the upper levels at [m Ld]
    double* Weight[kLowers];
    double* Sum[kLowers];  // results
};

/// Amplitudes of up to kLowers lower levels of a class with upper levels of one class, from the
/// first of Rows on.
struct CoupleRun {
    bool Complex, Turn;  // Turn: a factor of i
    const double* Plus;
    const double* Minus;  // null: none
    int Back;
    int Lower_Ld, Num_Lowers;
    int Num_Rows, Ld, Num;
    CouplePart Re, Im;
    double* Cross;  // scratch
};

/// Fills the sums of `run`: those of weight m, Plus[m] c(m + Shift) + Minus[m] c(m + Shift - Back)
/// with the components c of a lower level, times component m of an upper one.
void Couple(const CoupleRun& run);
