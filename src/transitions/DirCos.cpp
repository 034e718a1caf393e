#include "transitions/DirCos.h"

#include <algorithm>
#include <cmath>

#include "run/KivRecord.h"
#include "run/KivTrace.h"

namespace {

// One packed number and its place in the (K'', K') matrix of the debug listing.
struct Packer {
    std::int64_t Offset = 0;
    int Jl = 0, Ju = 0;
    KivArray<double>* Mat = nullptr;  // null unless the matrix is listed

    void Put(int Kl, int Ku, double factor) {
        Kiv.cg_vec[static_cast<std::size_t>(Offset++)] = factor;
        if (!Mat || Kl < -Jl || Kl > Jl || Ku < -Ju || Ku > Ju) return;
        (*Mat)[static_cast<std::size_t>(Kl + Jl) * (2 * Ju + 1) + (Ku + Ju)] = factor;
    }
};

double Root(double product) { return std::sqrt(product); }

void PackP(Packer& pack) {
    const double J = pack.Jl;
    for (int K = -pack.Ju; K <= pack.Ju; ++K) {
        pack.Put(K - 1, K, 0.5 * Root((J - K) * (J - K + 1) / J));
        pack.Put(K, K, -Root((J - K) * (J + K) / J));
        pack.Put(K + 1, K, 0.5 * Root((J + K) * (J + K + 1) / J));
    }
}

void PackQ(Packer& pack) {
    const double J = pack.Jl;
    const double q = Root((2 * J + 1) / (J * (J + 1)));
    for (int K = -pack.Jl; K < pack.Jl; ++K) {
        const double step = 0.5 * Root((J + K + 1) * (J - K) * (2 * J + 1) / (J * (J + 1)));
        pack.Put(K, K, K * q);
        pack.Put(K, K + 1, -step);
        pack.Put(K + 1, K, step);
    }
    pack.Put(pack.Jl, pack.Jl, J * q);
}

void PackR(Packer& pack) {
    const double J = pack.Jl;
    for (int K = -pack.Jl; K <= pack.Jl; ++K) {
        pack.Put(K, K - 1, 0.5 * Root((J - K + 1) * (J - K + 2) / (J + 1)));
        pack.Put(K, K, Root((J + 1 - K) * (J + 1 + K) / (J + 1)));
        pack.Put(K, K + 1, 0.5 * Root((J + K + 1) * (J + K + 2) / (J + 1)));
    }
}

void ListBranch(const Packer& pack, std::int64_t start) {
    const char branch = pack.Ju < pack.Jl ? 'P' : pack.Ju == pack.Jl ? 'Q' : 'R';
    LogPut("CG %c BRANCH %d %d\n", branch, pack.Jl, pack.Ju);
    for (int row = 0; row <= 2 * pack.Jl; ++row) {
        for (int col = 0; col <= 2 * pack.Ju; ++col) {
            LogPut("%10.2le", (*pack.Mat)[static_cast<std::size_t>(row) * (2 * pack.Ju + 1) + col]);
        }
        LogPut("\n");
    }
    LogPut("\n");
    for (std::int64_t i = start; i < pack.Offset; ++i) {
        LogPut("%10.2le", Kiv.cg_vec[static_cast<std::size_t>(i)]);
    }
    LogPut("\n");
}

void PackBranch(int Jl, int Ju, Packer& pack) {
    pack.Jl = Jl;
    pack.Ju = Ju;
    const std::int64_t start = pack.Offset;
    if (pack.Mat) std::fill_n(pack.Mat->Data(), (2 * Jl + 1) * (2 * Ju + 1), 0.0);
    if (Ju < Jl) PackP(pack);
    if (Ju == Jl) PackQ(pack);
    if (Ju > Jl) PackR(pack);
    if (pack.Mat) ListBranch(pack, start);
}

// Triple i, whose three numbers stand at cg_vec[base + 3i].
const double* Triple(std::int64_t base, int i) {
    return &Kiv.cg_vec[static_cast<std::size_t>(base + 3 * std::int64_t{i})];
}

// The number at `level` of each triple couples K'' = K', the two others K'' = K' -+ 1.
void UnpackTriples(std::int64_t base, int num, int level, KivArray<double>& a, KivArray<double>& b,
                   KivArray<double>& c) {
    const int first = level == 0 ? 1 : 0;
    for (int i = 0; i < num; ++i) {
        const double* triple = Triple(base, i);
        a[i] = triple[level];
        b[2 * i] = c[2 * i] = triple[first];
        b[2 * i + 1] = c[2 * i + 1] = triple[2];
    }
}

}  // namespace

int CgMakeFile() {
    TraceEnter("CgMakeFile");
    const std::int64_t n = 2 * std::int64_t{Kiv.Max_J} + 1;
    KivArray<double> cg_mat;
    if (ArrAlloc(cg_mat, n * n) < 0) return CoreFailLog("CgMakeFile()/cg_mat");
    if (ArrAlloc(Kiv.cg_vec, CgLength(Kiv.Max_J)) < 0) return CoreFailLog("CgMakeFile()/cg_vec");
    Packer pack;
    if (DebugIsOn(DBG_I)) pack.Mat = &cg_mat;
    for (int Jl = 0; Jl <= Kiv.Max_J; ++Jl) {
        for (int Ju = Jl == 0 ? 1 : Jl - 1; Ju <= std::min(Jl + 1, Kiv.Max_J); ++Ju) {
            PackBranch(Jl, Ju, pack);
        }
    }
    return TraceExit("CgMakeFile");
}

void CgUnpack(int J) {
    const std::int64_t base = CgOffset(J);
    if (J == 0) {
        if (DebugIsOn(DBG_II)) LogPut("J=0 - BEFORE CG\n");
        UnpackTriples(base, 1, 1, Kiv.ar_cg_vec, Kiv.br_cg_vec, Kiv.cr_cg_vec);
        if (DebugIsOn(DBG_II)) LogPut("J=0 - AFTER CG\n");
        return;
    }
    const std::int64_t q_base = base + 6 * std::int64_t{J} - 3;
    const std::int64_t r_base = base + 12 * std::int64_t{J} - 2;
    UnpackTriples(base, 2 * J - 1, 1, Kiv.ap_cg_vec, Kiv.bp_cg_vec, Kiv.cp_cg_vec);
    UnpackTriples(q_base, 2 * J, 0, Kiv.aq_cg_vec, Kiv.bq_cg_vec, Kiv.cq_cg_vec);
    Kiv.aq_cg_vec[2 * J] = *Triple(q_base, 2 * J);
    UnpackTriples(r_base, 2 * J + 1, 1, Kiv.ar_cg_vec, Kiv.br_cg_vec, Kiv.cr_cg_vec);
    if (DebugIsOn(DBG_II)) {
        LogPut("CG LAST=%lld\n", static_cast<long long>(CgOffset(J + 1) - 1));
        LogFlush();
    }
}

void FillBranch(int Jl, int Ju, BranchFactors& f) {
    const int n = 2 * Ju + 1;
    for (KivArray<double>* arr : {&f.Level, &f.Up, &f.Down}) std::fill_n(arr->Data(), n, 0.0);
    if (Ju < Jl) {  // triples by K'
        for (int k = 0; k < n; ++k) {
            f.Level[k] = Kiv.ap_cg_vec[k];
            f.Down[k] = Kiv.bp_cg_vec[2 * k];
            f.Up[k] = Kiv.bp_cg_vec[2 * k + 1];
        }
    } else if (Ju == Jl) {  // triples by K
        for (int k = 0; k < n; ++k) f.Level[k] = Kiv.aq_cg_vec[k];
        for (int k = 0; k + 1 < n; ++k) {
            f.Down[k + 1] = Kiv.bq_cg_vec[2 * k];
            f.Up[k] = Kiv.bq_cg_vec[2 * k + 1];
        }
    } else {  // triples by K'' = K' + 1, K', K' - 1
        for (int i = 0; i + 2 < n; ++i) {
            f.Up[i] = Kiv.br_cg_vec[2 * i];
            f.Level[i + 1] = Kiv.ar_cg_vec[i];
            f.Down[i + 2] = Kiv.br_cg_vec[2 * i + 1];
        }
    }
}
