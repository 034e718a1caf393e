// Householder factors A = Q R of matrices with more rows than columns.
#pragma once

#include <cstddef>

#include "kiv/array.h"

namespace kiv {

/// A matrix and, after Factorise, its factors.
/// Source: G. H. Golub, C. F. Van Loan, Matrix Computations, section 5.2.
class QrFactors {
  public:
    /// Takes room for `rows` x `columns` numbers, rows >= columns, all of which are to be set;
    /// false when it is refused.
    [[nodiscard]] bool Take(const Memory& memory, std::size_t rows, std::size_t columns);

    /// A column of the matrix before Factorise.
    double* Column(std::size_t column) { return &a_[column * stride_]; }

    void Factorise();

    /// Element of the upper triangle, row <= column.
    double R(std::size_t row, std::size_t column) const {
        return row == column ? diagonal_[row] : a_[column * stride_ + row];
    }

    /// Numbers of a vector that is multiplied: those behind the rows are 0.
    std::size_t stride() const { return stride_; }

    /// Replaces a vector by its product with Q^T, of which the first `columns` elements count.
    void MultiplyByTransposed(double* vector) const;

    /// Replaces a vector of which the first `num` elements are not 0 by its product with Q.
    void MultiplyByQ(double* vector, std::size_t num) const;

  private:
    std::size_t rows_ = 0, columns_ = 0, stride_ = 0;
    Array<double> a_;  // column by column: R above the diagonal, the reflections below and on it
    Array<double> diagonal_, factor_;  // of R; 2 / v^T v of the reflections
};

}  // namespace kiv
