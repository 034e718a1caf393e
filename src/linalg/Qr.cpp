#include "linalg/Qr.h"

#include <algorithm>
#include <cmath>

#include "base/Simd.h"

namespace kiv {
namespace {

constexpr std::size_t kStep = sizeof(Vec8) / sizeof(double);

// Columns x that become x - factor (v^T x) v.
struct Reflection {
    const double* v;
    std::size_t size;  // a multiple of kStep
    double factor;
    double* x;
    std::size_t num, stride;
};

// Vec names the instruction set alone: sums are those of eight lanes.
template <class>
KIV_INLINE void ReflectBody(const Reflection& run) {
    for (std::size_t j = 0; j < run.num; ++j) {
        double* const x = run.x + j * run.stride;
        Vec8 partial = {}, a, b;
        for (std::size_t i = 0; i < run.size; i += kStep) {
            LoadVec(a, run.v + i);
            LoadVec(b, x + i);
            partial += a * b;
        }
        const double sum = ((partial[0] + partial[4]) + (partial[2] + partial[6])) +
                           ((partial[1] + partial[5]) + (partial[3] + partial[7]));
        const double along = run.factor * sum;
        for (std::size_t i = 0; i < run.size; i += kStep) {
            LoadVec(a, run.v + i);
            LoadVec(b, x + i);
            StoreVec(x + i, b - along * a);
        }
    }
}

KIV_KERNEL(Reflect, Reflection)

std::size_t RoundedUp(std::size_t n) { return (n + kStep - 1) / kStep * kStep; }

}  // namespace

bool QrFactors::Take(const Memory& memory, std::size_t rows, std::size_t columns) {
    if (!a_.is_null() && rows == rows_ && columns == columns_) return true;
    rows_ = rows;
    columns_ = columns;
    stride_ = RoundedUp(rows) + kStep;
    const auto n = static_cast<std::int64_t>(columns);
    return a_.Take(memory, static_cast<std::int64_t>(stride_) * n) && diagonal_.Take(memory, n) &&
           factor_.Take(memory, n);
}

void QrFactors::Factorise() {
    for (std::size_t k = 0; k < columns_; ++k) {
        double* const v = Column(k) + k;
        double sum = 0.0;
        for (std::size_t i = 0; i < rows_ - k; ++i) sum += v[i] * v[i];
        const double length = std::sqrt(sum);
        diagonal_[k] = v[0] > 0.0 ? -length : length;
        const double first = std::fabs(v[0]);
        v[0] -= diagonal_[k];
        factor_[k] = sum == 0.0 ? 0.0 : 1.0 / (sum + first * length);
        Reflect({v, RoundedUp(rows_ - k), factor_[k], v + stride_, columns_ - k - 1, stride_});
    }
}

void QrFactors::MultiplyByTransposed(double* vector) const {
    for (std::size_t k = 0; k < columns_; ++k) {
        Reflect({&a_[k * stride_] + k, RoundedUp(rows_ - k), factor_[k], vector + k, 1, 0});
    }
}

void QrFactors::MultiplyByQ(double* vector, std::size_t num) const {
    for (std::size_t k = std::min(num, columns_); k-- > 0;) {
        Reflect({&a_[k * stride_] + k, RoundedUp(rows_ - k), factor_[k], vector + k, 1, 0});
    }
}

}  // namespace kiv
