#include "hamiltonian/HamBands.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "run/KivTrace.h"

namespace {

constexpr double kSqrtHalf = 0.70710678118654752440;

// The vector that keeps the factors of a term; terms without one share Term_Vec.
KivArray<double>& FactorVector(HamScratch& s, const HamTerm& term) {
    switch (term.Prm) {
        case PRM_PX:
        case PRM_PY:
            return s.pxpy_vec;
        case PRM_PXPZ:
        case PRM_PYPZ:
            return s.pxypz_vec;
        case PRM_PXPY:
            return s.pp2pm2_vec;
        case PRM_PX3:
        case PRM_PY3:
            return term.Dk == 1 ? s.pxy31_vec : s.pxy32_vec;
        case PRM_PX2PZ:
        case PRM_PY2PZ:
            return term.Dk == 0 ? s.pxy2pzd_vec : s.pxy2pzo_vec;
        case PRM_PZ2PX:
        case PRM_PZ2PY:
            return s.pz2pxy_vec;
        default:
            return s.Term_Vec;
    }
}

const double* Roots(const HamScratch& s, int d) {
    return s.Root_Vec.Data() + static_cast<std::size_t>(d) * s.Term_Vec.Num;
}

// Folded blocks need the elements from K = -dk on alone: the others mirror them.
int FirstK(const HamScratch& s, int J, int dk) {
    return s.Blocks.Block[0].Folded ? std::max(-dk, -J) : -J;
}

void FillRoots(HamScratch& s, int J, int d) {
    double* root = s.Root_Vec.Data() + static_cast<std::size_t>(d) * s.Term_Vec.Num;
    for (int K = FirstK(s, J, d); K <= J - d; ++K) root[K + J] = LadderRoot(J, K, d);
}

const double* FillFactors(HamScratch& s, int J, const HamTerm& term) {
    double* factor = FactorVector(s, term).Data();
    const double* root = Roots(s, term.Dk);
    const double X = double(J) * (J + 1);
    for (int K = FirstK(s, J, term.Dk); K <= J - term.Dk; ++K) {
        factor[K + J] = term.Factor(X, K) * root[K + J];
    }
    return factor;
}

// Weight of |J,K> in its block function, apart from 1/sqrt(2).
int FoldSign(const SymBlock& block, int K) { return block.Folded && K < 0 ? block.T(K) : 1; }

double FoldScale(const SymBlock& block, int K1, int K2) {
    if (!block.Folded) return 1.0;
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
        if (!op.Imag) op.Band[0][first + low] += dk == 0 ? element : 2.0 * element;
        return;
    }
    const int offset = std::abs(high - low);
    const bool reversed = op.Imag && high < low;
    op.Band[offset][first + std::min(low, high)] += reversed ? -element : element;
}

// Adds the elements <K+dk|Op|K> = factor[K+J] of one block to the bands of `op`, where `first` is
// the place of the block's first function. The elements between functions of K > 0 of a folded
// block come from K and -K alike.
void FoldTerm(const SymBlock& block, int first, int J, int dk, const double* factor, HamOp& op) {
    if (dk % block.Step != 0) return;  // leads to another block
    if (op.Imag && dk == 0) return;
    const int last_one = block.Folded ? std::min(0, J - dk) : -J - 1;
    for (int K = std::max(-dk, -J); K <= last_one; ++K) {
        AddElement(block, first, J, dk, K, factor, op);
    }
    const int m0 = block.Folded && block.K0 == 0 ? 1 : 0;
    const int offset = dk / block.Step;
    const double* element = factor + J + block.K(m0);
    double* band = op.Band[offset] + first + m0;
    for (int m = 0; m + m0 + offset < block.N; ++m) band[m] += element[m * block.Step];
}

void ClearOp(HamScratch& s, int place, int n, HamOp& op) {
    for (int b = 0; b < kNumOffsets; ++b) {
        op.Band[b] = s.Band_Vec.Data() +
                     (static_cast<std::size_t>(place) * kNumOffsets + b) * s.Term_Vec.Num;
        if (b <= op.Width) std::fill_n(op.Band[b], n, 0.0);
    }
}

void AddTerm(HamScratch& s, int J, int dk, const double* factor, HamOp& op) {
    for (int b = 0; b < s.Blocks.Num; ++b) {
        FoldTerm(s.Blocks.Block[b], s.First[b], J, dk, factor, op);
    }
}

void PlaceBlocks(HamScratch& s) {
    int first = 0;
    for (int b = 0; b < s.Blocks.Num; ++b) {
        s.First[b] = first;
        first += s.Blocks.Block[b].N;
    }
}

// Widest offset that a step of dk in K makes in the blocks; a step that a block does not hold
// couples other blocks.
int WidthOf(const HamScratch& s, int dk) { return s.Blocks.Block[0].Step == 2 ? dk / 2 : dk; }

void AddRigidOps(HamScratch& s, int J) {
    const int n = 2 * J + 1;
    HamOp& pz2 = s.Op[OP_PZ2];
    HamOp& diff = s.Op[OP_DIFF];
    pz2 = HamOp{};
    diff = HamOp{};
    diff.Width = WidthOf(s, 2);
    ClearOp(s, OP_PZ2, n, pz2);
    ClearOp(s, OP_DIFF, n, diff);
    for (int b = 0; b < s.Blocks.Num; ++b) {
        const SymBlock& block = s.Blocks.Block[b];
        for (int m = 0; m < block.N; ++m) {
            pz2.Band[0][s.First[b] + m] = double(block.K(m)) * block.K(m);
        }
    }
    const double* root = Roots(s, 2);
    for (int i = FirstK(s, J, 2) + J; i < n - 2; ++i) s.pp2pm2_vec[i] = 0.5 * root[i];
    AddTerm(s, J, 2, s.pp2pm2_vec.Data(), diff);
    s.Num_Ops = 2;
}

void AddTermOps(int state, HamScratch& s, int J) {
    const std::uint8_t kept = KeptRotations(state);
    for (const HamTerm& term : HamTerms()) {
        if (!IsTermUsed(state, term)) continue;
        HamOp* op = &s.Op[s.Num_Ops - 1];
        if (op->Prm != term.Prm) {
            op = &s.Op[s.Num_Ops];
            *op = HamOp{};
            op->Prm = term.Prm;
            op->Imag = term.Imag;
            op->Zero_By_Symmetry = (kept & ~term.Keeps) != 0;
            op->Width = kNumOffsets - 1;
            ClearOp(s, s.Num_Ops, 2 * J + 1, *op);
            op->Width = 0;
            ++s.Num_Ops;
        }
        if (op->Zero_By_Symmetry) continue;
        op->Width = std::max(op->Width, WidthOf(s, term.Dk));
        AddTerm(s, J, term.Dk, FillFactors(s, J, term), *op);
    }
}

// Adds constant * op to the matrix.
void AddToHam(HamOp& ham, const HamOp& op, double constant, int n) {
    for (int b = 0; b <= op.Width; ++b) {
        for (int q = 0; q < n; ++q) ham.Band[b][q] += constant * op.Band[b][q];
    }
}

void SumHam(int state, HamScratch& s, int J) {
    const int n = 2 * J + 1;
    for (int part = 0; part < 2; ++part) {
        HamOp& ham = s.Ham[part];
        ham = HamOp{};
        for (int i = 0; i < s.Num_Ops; ++i) {
            if (s.Op[i].Imag == (part == 1)) ham.Width = std::max(ham.Width, s.Op[i].Width);
        }
        ClearOp(s, kMaxOps + part, n, ham);
    }
    const double* prm = Kiv.Prm_Val[state];
    const double X = double(J) * (J + 1);
    const double P = (prm[PRM_B] + prm[PRM_C]) / 2;
    const double Q = prm[PRM_A] - P;
    const double R = (prm[PRM_B] - prm[PRM_C]) / 2;
    for (int q = 0; q < n; ++q) s.Ham[0].Band[0][q] = X * P + s.Op[OP_PZ2].Band[0][q] * Q;
    AddToHam(s.Ham[0], s.Op[OP_DIFF], R, n);
    for (int i = 2; i < s.Num_Ops; ++i) {
        const HamOp& op = s.Op[i];
        if (!op.Zero_By_Symmetry) AddToHam(s.Ham[op.Imag ? 1 : 0], op, prm[op.Prm], n);
    }
}

// The element <K+dk|H|K> of all terms of one kind; dk = 0..4.
double Element(int state, int J, int K, int dk, bool imag) {
    const double* prm = Kiv.Prm_Val[state];
    const double X = double(J) * (J + 1);
    const double P = (prm[PRM_B] + prm[PRM_C]) / 2;
    double sum = 0.0;
    if (!imag && dk == 0) sum = X * P + double(K) * K * (prm[PRM_A] - P);
    if (!imag && dk == 2) sum = 0.5 * LadderRoot(J, K, 2) * (prm[PRM_B] - prm[PRM_C]) / 2;
    for (const HamTerm& term : HamTerms()) {
        if (term.Dk != dk || term.Imag != imag || !IsTermUsed(state, term)) continue;
        sum += term.Factor(X, K) * LadderRoot(J, K, dk) * prm[term.Prm];
    }
    return sum;
}

}  // namespace

void BuildBlocks(int state, int J, HamScratch& s) {
    s.Blocks = BlocksOf(KeptRotations(state), J);
    PlaceBlocks(s);
    FillRoots(s, J, 2);
    for (const HamTerm& term : HamTerms()) {
        if (term.Dk != 2 && IsTermUsed(state, term)) FillRoots(s, J, term.Dk);
    }
    AddRigidOps(s, J);
    AddTermOps(state, s, J);
    SumHam(state, s, J);
}

void ListMatrix(int state, int J, bool imag) {
    for (int row = -J; row <= J; ++row) {
        for (int col = -J; col <= J; ++col) {
            const int dk = std::abs(row - col);
            double element = 0.0;
            if (dk <= kMaxDk) element = Element(state, J, std::min(row, col), dk, imag);
            LogPut("%15.5lf", imag && row < col ? -element : element);
        }
        LogPut("\n");
    }
}
