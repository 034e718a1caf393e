// The sums behind the amplitudes: a few lower levels of a class with upper levels of another.
#pragma once

namespace kiv {

constexpr int kLowers = 4;  // lower levels that go through the upper ones together

/// One part, real or imaginary, of the vectors that a run needs.
struct CouplePart {
    const double* lower;  // component m + Shift at [m], the next level lower_ld further on
    const double* rows;   // component m of the upper levels at [m ld]
    double* weight[kLowers];
    double* sum[kLowers];  // results
};

/// Amplitudes of up to kLowers lower levels of a class with upper levels of one class, from the
/// first of rows on.
struct CoupleRun {
    bool is_complex, turn;  // turn: a factor of i
    const double* plus;
    const double* minus;  // null: none
    int back;
    int lower_ld, num_lowers;
    int num_rows, ld, num;
    CouplePart re, im;
    double* cross;  // scratch
};

/// Fills the sums of `run`: those of weight m, plus[m] c(m + Shift) + minus[m] c(m + Shift - back)
/// with the components c of a lower level, times component m of an upper one.
void Couple(const CoupleRun& run);

}  // namespace kiv
