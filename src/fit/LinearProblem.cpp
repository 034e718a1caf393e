#include "fit/LinearProblem.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "linalg/Svd.h"

namespace kiv {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

// Singular values below this fraction of the largest belong to combinations of constants that the
// data do not determine; fits that can be made in double precision stay above it.
constexpr double kRankTolerance = 1e-11;

// A column of this fraction of what it is a sum of is rounding.
constexpr double kCancelled = 1e-13;

// Components of a null vector, as fractions of the largest: enough to be held, to be named.
constexpr double kLargeComponent = 0.3;
constexpr double kSmallComponent = 1e-3;

}  // namespace

Status LinearProblem::Begin(const Memory& memory, std::size_t rows, std::size_t parameters) {
    const std::size_t all_rows = std::max(rows, parameters);
    size_.assign(parameters, 0.0);
    length_.assign(parameters, 0.0);
    right_.assign(all_rows, 0.0);
    // Rows that are not set must be 0.
    const bool has_room = !w_.is_null() && all_rows == rows_ && parameters == parameters_;
    if (has_room && rows == all_rows) return {};
    rows_ = all_rows;
    parameters_ = parameters;
    const auto n = static_cast<std::int64_t>(rows_), p = static_cast<std::int64_t>(parameters);
    if (!matrix_.Take(memory, n * p)) return NoMemory(array_name::kFitDerivatives);
    if (!u_.Take(memory, (p + 1) * (p + 1))) return NoMemory(array_name::kFitMatrix);
    if (!v_.Take(memory, (p + 1) * (p + 1))) return NoMemory(array_name::kFitVectors);
    if (!w_.Take(memory, p + 1)) return NoMemory(array_name::kSingularValues);
    return {};
}

void LinearProblem::SetRow(std::size_t i, const double* derivatives, const double* sizes,
                           double uncertainty) {
    for (std::size_t m = 0; m < parameters_; ++m) {
        matrix_[m * rows_ + i] = derivatives[m] / uncertainty;
        size_[m] += (sizes[m] / uncertainty) * (sizes[m] / uncertainty);
    }
}

Status LinearProblem::Decompose(std::span<const std::size_t> to_hold, const Memory& memory) {
    active_.clear();
    held_.clear();
    for (std::size_t m = 0; m < parameters_; ++m) {
        double* const column = &matrix_[m * rows_];
        double sum = 0.0;
        for (std::size_t i = 0; i < rows_; ++i) sum += column[i] * column[i];
        length_[m] = std::sqrt(sum);
        if (length_[m] <= kCancelled * std::sqrt(size_[m])) {
            held_.push_back({m, {}});
            continue;
        }
        for (std::size_t i = 0; i < rows_; ++i) column[i] /= length_[m];
        active_.push_back(m);
    }
    condition_ = 1.0;
    while (!active_.empty()) {
        KIV_TRY(DecomposeActive(memory));
        const auto least =
            static_cast<std::size_t>(std::min_element(&w_[1], &w_[1] + rank()) - &w_[1]);
        const double most = *std::max_element(&w_[1], &w_[1] + rank());
        condition_ = most / w_[least + 1];
        if (w_[least + 1] > Tolerance() * most) break;
        HoldNullVector(least, to_hold);
    }
    Project();
    return {};
}

void LinearProblem::Project() {
    const std::size_t n = rank();
    along_.assign(n, 0.0);
    if (n == 0) return;
    std::vector<double> right(factors_.stride());
    std::copy(right_.begin(), right_.end(), right.begin());
    factors_.MultiplyByTransposed(right.data());
    for (std::size_t j = 0; j < n; ++j) {
        const double* const u = &u_[(j + 1) * (n + 1) + 1];
        for (std::size_t i = 0; i < n; ++i) along_[j] += u[i] * right[i];
    }
}

Status LinearProblem::DecomposeActive(const Memory& memory) {
    const std::size_t n = rank();
    if (!factors_.Take(memory, rows_, n)) return NoMemory(array_name::kFitMatrix);
    for (std::size_t k = 0; k < n; ++k) {
        std::copy_n(&matrix_[active_[k] * rows_], rows_, factors_.Column(k));
    }
    factors_.Factorise();
    for (std::size_t k = 0; k < n; ++k) {
        double* const column = &u_[(k + 1) * (n + 1) + 1];
        for (std::size_t i = 0; i < n; ++i) column[i] = i <= k ? factors_.R(i, k) : 0.0;
    }
    return svdcmp({u_.data(), static_cast<std::ptrdiff_t>(n + 1)}, static_cast<std::int64_t>(n),
                  static_cast<int>(n), w_.data(), {v_.data(), static_cast<std::ptrdiff_t>(n + 1)},
                  memory);
}

// The rounding of a column grows with the cancellation in it.
double LinearProblem::Tolerance() const {
    double noise = 0.0;
    for (const std::size_t m : active_) noise += size_[m] / (length_[m] * length_[m]);
    return std::max(kRankTolerance, 4 * kEpsilon * std::sqrt(noise));
}

void LinearProblem::HoldNullVector(std::size_t value, std::span<const std::size_t> to_hold) {
    double largest = 0.0;
    for (std::size_t k = 0; k < rank(); ++k) largest = std::max(largest, std::fabs(V(k, value)));
    const auto component = [&](std::size_t m) {
        const auto at = std::find(active_.begin(), active_.end(), m);
        return at == active_.end()
                   ? 0.0
                   : std::fabs(V(static_cast<std::size_t>(at - active_.begin()), value)) / largest;
    };
    const std::size_t out = *std::find_if(to_hold.begin(), to_hold.end(), [&](std::size_t m) {
        return component(m) >= kLargeComponent;
    });
    Held held{out, {}};
    for (const std::size_t m : active_) {
        if (m != out && component(m) >= kSmallComponent) held.tied_to.push_back(m);
    }
    held_.push_back(std::move(held));
    active_.erase(std::find(active_.begin(), active_.end(), out));
    condition_ = 1.0;
}

LinearProblem::Step LinearProblem::Solve(double radius) const {
    const std::size_t n = rank();
    std::vector<double> s(n);
    const auto set = [&](double lambda) {
        double sum = 0.0;
        for (std::size_t j = 0; j < n; ++j) {
            const double w = w_[j + 1];
            s[j] = w * along_[j] / (w * w + lambda);
            sum += s[j] * s[j];
        }
        return std::sqrt(sum);
    };
    Step step;
    step.length = set(0.0);
    step.is_whole = step.length <= radius;
    if (!step.is_whole) {
        // |s| falls from the full length at 0 to below the radius at |U^T b| w_max / radius.
        constexpr int kBisections = 60;
        double low = kRankTolerance * kRankTolerance, high = 1.0;
        while (set(high) > radius) high *= 16.0;
        for (int i = 0; i < kBisections; ++i) {
            const double middle = std::sqrt(low * high);
            (set(middle) > radius ? low : high) = middle;
        }
        step.length = set(high);
    }
    step.change.assign(parameters_, 0.0);
    for (std::size_t j = 0; j < n; ++j) {
        const double ws = w_[j + 1] * s[j];
        step.decrease += ws * (2.0 * along_[j] - ws);
        step.effect += ws * ws;
        for (std::size_t k = 0; k < n; ++k) step.change[active_[k]] += V(k, j) * s[j];
    }
    step.effect = std::sqrt(step.effect);
    for (const std::size_t m : active_) step.change[m] /= length_[m];
    return step;
}

double LinearProblem::Root(std::size_t parameter, std::size_t value) const {
    const auto at = std::find(active_.begin(), active_.end(), parameter);
    if (at == active_.end() || value >= rank()) return 0.0;
    return V(static_cast<std::size_t>(at - active_.begin()), value) /
           (w_[value + 1] * length_[parameter]);
}

std::vector<double> LinearProblem::Leverages() const {
    std::vector<double> leverages(rows_), column(factors_.stride());
    for (std::size_t k = 0; k < rank(); ++k) {  // the squares of column k of Q
        std::fill(column.begin(), column.end(), 0.0);
        column[k] = 1.0;
        factors_.MultiplyByQ(column.data(), k + 1);
        for (std::size_t i = 0; i < rows_; ++i) leverages[i] += column[i] * column[i];
    }
    return leverages;
}

}  // namespace kiv
