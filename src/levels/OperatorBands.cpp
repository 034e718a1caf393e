#include "levels/OperatorBands.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "base/Simd.h"
#include "levels/Symmetry.h"

namespace kiv {
namespace {

constexpr double kSqrt2 = 1.41421356237309504880;

// Px^2 - Py^2, of which the rigid rotor is made beside Pz^2.
constexpr HamTerm kRigidTerms[] = {
    {Constant{}, 0, false, false, InReduction::Any, kAllC2,
     [](double, int K) { return double(K) * K; }},
    {Constant{}, 2, false, false, InReduction::Any, kAllC2, [](double, int) { return 0.5; }}};

// In the order of BuildBlocks, the diagonals first; returns the number of bands.
int ListOps(const Hamiltonian& H, std::vector<BandedOp>& ops) {
    ops = {{Constant{}, 0, -1}, {Constant{}, 1, 0}};
    for (const HamTerm& term : HamTerms()) {
        if (!H.Uses(term) || term.keeps != kAllC2) continue;
        if (ops.size() == kRigidOps || ops.back().constant != term.constant) {
            ops.push_back({term.constant, static_cast<int>(ops.size()), -1});
        }
        if (term.dk > 0) ops.back().beside = 0;
    }
    auto num = static_cast<int>(ops.size());
    for (BandedOp& op : ops) {
        if (op.beside == 0) op.beside = num++;
    }
    return num;
}

static_assert(kPairLanes == kMaxBlocks, "the blocks of a J go side by side");

// Adds a term to its operator in a block, row m at kPairLanes * m. Functions of K and -K are folded
// there: |J,0> couples to its neighbour by sqrt(2) of an element, |J,1> and |J,-1> to each other,
// which is a part of the diagonal. Operators that keep all rotations have the same elements from K
// to K + 2 as from -K - 2 to -K.
void AddTerm(const HamTerm& term, int J, const SymBlock& block, const double* root,
             double* diagonal, double* beside) {
    const double X = double(J) * (J + 1);
    if (term.dk == 0) {
        for (int m = 0; m < block.N; ++m) {
            diagonal[std::ptrdiff_t{kPairLanes} * m] += term.factor(X, block.K(m));
        }
        return;
    }
    if (block.K0 == 1) diagonal[0] += block.fold_sign * (term.factor(X, -1) * root[1]);
    for (int m = 0; m + 1 < block.N; ++m) {
        const int K = block.K(m);
        const double element = term.factor(X, K) * root[K + 2];
        beside[std::ptrdiff_t{kPairLanes} * m] += K == 0 ? kSqrt2 * element : element;
    }
}

constexpr int kMostBands = 2 * kMaxOps;

// Sums of bands with their coefficients, `constant` + sum of c x.
struct BandSum {
    double constant;
    int num;
    const double* const* band;
    const double* coefficient;
    std::ptrdiff_t size;  // a multiple of kVecStep
    double* out;
};

template <class Vec>
KIV_INLINE void SumBandsBody(const BandSum& run) {
    constexpr std::ptrdiff_t kWidth = sizeof(Vec) / sizeof(double);
    for (std::ptrdiff_t q = 0; q < run.size; q += kWidth) {
        Vec sum = Vec{} + run.constant;
        for (int i = 0; i < run.num; ++i) {
            Vec band;
            LoadVec(band, run.band[i] + q);
            sum += run.coefficient[i] * band;
        }
        StoreVec(run.out + q, sum);
    }
}

KIV_KERNEL(SumBands, BandSum)

}  // namespace

bool OperatorBands::CanHold(const Hamiltonian& H) {
    if (H.is_complex || H.KeptRotations() != kAllC2) return false;
    const auto terms = HamTerms();
    return std::none_of(terms.begin(), terms.end(), [&](const HamTerm& term) {
        return H.Uses(term) && term.keeps == kAllC2 && term.dk > 2;
    });
}

Result<bool> OperatorBands::Build(const Hamiltonian& H, std::span<const int> J,
                                  const Memory& memory) {
    std::vector<BandedOp> ops;
    const int num_bands = ListOps(H, ops);
    if (ops == ops_ && first_.size() == J.size()) return false;
    ops_.clear();
    std::vector<std::ptrdiff_t> first;
    std::ptrdiff_t size = 0;
    for (const int of : J) {
        first.push_back(size);
        size += num_bands * Stride(of);
    }
    if (!bands_.TakeUnset(memory, size)) return NoMemory(array_name::kBlocks);
    // Cleared memory would be read before it is written, which takes two page faults a page.
    std::fill(bands_.begin(), bands_.end(), 0.0);
    std::vector<std::pair<const HamTerm*, const BandedOp*>> terms{
        {&kRigidTerms[0], &ops[kPz2]}, {&kRigidTerms[1], &ops[kDifference]}};
    const BandedOp* op = &ops[kRigidOps - 1];
    for (const HamTerm& term : HamTerms()) {
        if (!H.Uses(term) || term.keeps != kAllC2) continue;
        if (op == &ops[kRigidOps - 1] || op->constant != term.constant) ++op;
        terms.emplace_back(&term, op);
    }
    std::vector<double> root;
    for (std::size_t i = 0; i < J.size(); ++i) {
        root.clear();  // of the elements from K to K + 2, K = -2...
        for (int K = -2; K <= J[i] - 2; ++K)
            root.push_back(K < -J[i] ? 0.0 : LadderRoot(J[i], K, 2));
        const LevelBlocks blocks = BlocksOf(kAllC2, J[i]);
        const std::ptrdiff_t stride = Stride(J[i]);
        for (int b = 0; b < blocks.num; ++b) {
            double* const lane = bands_.data() + first[i] + b;
            for (const auto& [term, of] : terms) {
                AddTerm(*term, J[i], blocks.block[b], root.data(), lane + of->diagonal * stride,
                        of->beside < 0 ? nullptr : lane + of->beside * stride);
            }
        }
    }
    ops_ = std::move(ops);
    first_ = std::move(first);
    return true;
}

OperatorBands::Coefficients OperatorBands::Of(const Hamiltonian& H) const {
    const double A = H.value(Constant::A), B = H.value(Constant::B), C = H.value(Constant::C);
    Coefficients coefficients;
    coefficients.of_square = (B + C) / 2;
    for (std::size_t i = kRigidOps; i < ops_.size(); ++i) {
        coefficients.of[i] = H.value(ops_[i].constant);
    }
    coefficients.of[kPz2] = A - coefficients.of_square;
    coefficients.of[kDifference] = (B - C) / 2;
    return coefficients;
}

void OperatorBands::Sum(const Coefficients& coefficients, std::size_t place, int J, double* d,
                        double* e) const {
    std::array<const double*, kMostBands> diagonal, beside;
    std::array<double, kMostBands> of_diagonal, of_beside;
    std::size_t num_diagonal = 0, num_beside = 0;
    for (std::size_t i = 0; i < ops_.size(); ++i) {
        const BandedOp& op = ops_[i];
        diagonal[num_diagonal] = of(place) + op.diagonal * Stride(J);
        of_diagonal[num_diagonal++] = coefficients.of[i];
        if (op.beside < 0) continue;
        beside[num_beside] = of(place) + op.beside * Stride(J);
        of_beside[num_beside++] = coefficients.of[i];
    }
    const double X = double(J) * (J + 1);
    SumBands({X * coefficients.of_square, static_cast<int>(num_diagonal), diagonal.data(),
              of_diagonal.data(), Stride(J), d});
    SumBands({0.0, static_cast<int>(num_beside), beside.data(), of_beside.data(), Stride(J), e});
}

}  // namespace kiv
