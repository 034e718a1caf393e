#include "levels/Bands.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace kiv {
namespace {

constexpr double kSqrtHalf = 0.70710678118654752440;

double* Roots(BlockScratch& s, int d) {
    return s.roots.data() + static_cast<std::size_t>(d) * s.stride();
}

// Folded blocks need the elements from K = -dk on alone: the others mirror them.
int FirstK(const BlockScratch& s, int J, int dk) {
    return s.blocks.block[0].folded ? std::max(-dk, -J) : -J;
}

void FillRoots(BlockScratch& s, int J, int d) {
    double* root = Roots(s, d);
    for (int K = FirstK(s, J, d); K <= J - d; ++K) root[K + J] = LadderRoot(J, K, d);
}

void FillFactors(BlockScratch& s, int J, const HamTerm& term) {
    double* factor = s.factors.data();
    const double* root = Roots(s, term.dk);
    const double X = double(J) * (J + 1);
    for (int K = FirstK(s, J, term.dk); K <= J - term.dk; ++K) {
        factor[K + J] = term.factor(X, K) * root[K + J];
    }
}

// Weight of |J,K> in its block function, apart from 1/sqrt(2).
int FoldSign(const SymBlock& block, int K) { return block.folded && K < 0 ? block.T(K) : 1; }

double FoldScale(const SymBlock& block, int K1, int K2) {
    if (!block.folded) return 1.0;
    if (K1 == 0 || K2 == 0) return K1 == K2 ? 1.0 : kSqrtHalf;
    return 0.5;
}

void AddElement(const SymBlock& block, int first, int J, int dk, int K, const double* factor,
                HamOp& op) {
    const int low = block.Index(K);
    const int high = block.Index(K + dk);
    if (low < 0 || high < 0) return;
    const double element = factor[K + J] * (FoldSign(block, K) * FoldSign(block, K + dk)) *
                           FoldScale(block, K, K + dk);
    if (low == high) {
        // a diagonal element, or the coupling of K and -K, which occurs in both orders
        if (!op.imaginary) op.band[0][first + low] += dk == 0 ? element : 2.0 * element;
        return;
    }
    const int offset = std::abs(high - low);
    const bool reversed = op.imaginary && high < low;
    op.band[offset][first + std::min(low, high)] += reversed ? -element : element;
}

// Adds the elements <K+dk|Op|K> = factor[K+J] of one block to the bands of `op`, where `first` is
// the place of the block's first function. The elements between functions of K > 0 of a folded
// block come from K and -K alike.
void FoldTerm(const SymBlock& block, int first, int J, int dk, const double* factor, HamOp& op) {
    if (dk % block.step != 0) return;  // leads to another block
    if (op.imaginary && dk == 0) return;
    const int last_one = block.folded ? std::min(0, J - dk) : -J - 1;
    for (int K = std::max(-dk, -J); K <= last_one; ++K) {
        AddElement(block, first, J, dk, K, factor, op);
    }
    const int m0 = block.folded && block.K0 == 0 ? 1 : 0;
    const int offset = dk / block.step;
    const double* element = factor + J + block.K(m0);
    double* band = op.band[offset] + first + m0;
    for (int m = 0; m + m0 + offset < block.N; ++m) band[m] += element[m * block.step];
}

void ClearOp(BlockScratch& s, int place, int n, HamOp& op) {
    const int num = s.room.num_offsets;
    for (int b = 0; b < num; ++b) {
        op.band[b] = s.bands.data() + static_cast<std::size_t>(place * num + b) * s.stride();
        if (b <= op.width) std::fill_n(op.band[b], n, 0.0);
    }
}

// Widens an operator to the offset `width`.
void Widen(int width, int n, HamOp& op) {
    for (; op.width < width; ++op.width) std::fill_n(op.band[op.width + 1], n, 0.0);
}

// Adds the term whose factors were just filled.
void AddTerm(BlockScratch& s, int J, int dk, HamOp& op) {
    for (int b = 0; b < s.blocks.num; ++b) {
        FoldTerm(s.blocks.block[b], s.first[b], J, dk, s.factors.data(), op);
    }
}

void PlaceBlocks(BlockScratch& s) {
    int first = 0;
    for (int b = 0; b < s.blocks.num; ++b) {
        s.first[b] = first;
        first += s.blocks.block[b].N;
    }
}

// Widest offset that a step of dk in K makes in the blocks; a step that a block does not hold
// couples other blocks.
int WidthOf(const BlockScratch& s, int dk) { return s.blocks.block[0].step == 2 ? dk / 2 : dk; }

void AddRigidOps(BlockScratch& s, int J) {
    const int n = 2 * J + 1;
    HamOp& pz2 = s.op[kPz2];
    HamOp& difference = s.op[kDifference];
    pz2 = HamOp{};
    difference = HamOp{};
    difference.width = WidthOf(s, 2);
    ClearOp(s, kPz2, n, pz2);
    ClearOp(s, kDifference, n, difference);
    for (int b = 0; b < s.blocks.num; ++b) {
        const SymBlock& block = s.blocks.block[b];
        for (int m = 0; m < block.N; ++m) {
            pz2.band[0][s.first[b] + m] = double(block.K(m)) * block.K(m);
        }
    }
    const double* root = Roots(s, 2);
    for (int i = FirstK(s, J, 2) + J; i < n - 2; ++i) s.factors[i] = 0.5 * root[i];
    AddTerm(s, J, 2, difference);
    s.num_ops = kRigidOps;
}

void AddTermOps(const Hamiltonian& H, std::uint8_t kept, BlockScratch& s, int J) {
    for (const HamTerm& term : HamTerms()) {
        if (!H.Uses(term)) continue;
        HamOp* op = &s.op[s.num_ops - 1];
        if (s.num_ops == kRigidOps || op->constant != term.constant) {
            op = &s.op[s.num_ops];
            *op = HamOp{};
            op->constant = term.constant;
            op->imaginary = term.imaginary;
            op->zero_by_symmetry = (kept & ~term.keeps) != 0;
            ClearOp(s, s.num_ops, 2 * J + 1, *op);
            ++s.num_ops;
        }
        if (op->zero_by_symmetry) continue;
        Widen(WidthOf(s, term.dk), 2 * J + 1, *op);
        FillFactors(s, J, term);
        AddTerm(s, J, term.dk, *op);
    }
}

// Adds constant * op to the matrix.
void AddToHam(HamOp& ham, const HamOp& op, double constant, int n) {
    for (int b = 0; b <= op.width; ++b) {
        for (int q = 0; q < n; ++q) ham.band[b][q] += constant * op.band[b][q];
    }
}

void SumHam(const Hamiltonian& H, BlockScratch& s, int J) {
    const int n = 2 * J + 1;
    for (int part = 0; part < 2; ++part) {
        HamOp& ham = s.ham[part];
        ham = HamOp{};
        for (int i = 0; i < s.num_ops; ++i) {
            if (s.op[i].imaginary == (part == 1)) ham.width = std::max(ham.width, s.op[i].width);
        }
        ClearOp(s, s.room.num_ops + part, n, ham);
    }
    const double A = H.value(Constant::A), B = H.value(Constant::B), C = H.value(Constant::C);
    const double X = double(J) * (J + 1);
    const double P = (B + C) / 2;
    const double Q = A - P;
    const double R = (B - C) / 2;
    for (int q = 0; q < n; ++q) s.ham[0].band[0][q] = X * P + s.op[kPz2].band[0][q] * Q;
    AddToHam(s.ham[0], s.op[kDifference], R, n);
    for (int i = kRigidOps; i < s.num_ops; ++i) {
        const HamOp& op = s.op[i];
        if (!op.zero_by_symmetry)
            AddToHam(s.ham[op.imaginary ? 1 : 0], op, H.value(op.constant), n);
    }
}

}  // namespace

void BuildBlocks(const Hamiltonian& H, int J, BlockScratch& s) {
    BuildBlocks(H, H.KeptRotations(), J, s);
}

void BuildBlocks(const Hamiltonian& H, std::uint8_t kept, int J, BlockScratch& s) {
    s.blocks = BlocksOf(kept, J);
    PlaceBlocks(s);
    FillRoots(s, J, 2);
    for (const HamTerm& term : HamTerms()) {
        if (term.dk != 2 && H.Uses(term)) FillRoots(s, J, term.dk);
    }
    AddRigidOps(s, J);
    AddTermOps(H, kept, s, J);
    SumHam(H, s, J);
}

}  // namespace kiv
