// tql2: QL with implicit shifts, for several matrices side by side.
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "base/Simd.h"
#include "linalg/Eispack.h"

namespace kiv {
namespace {

// Matrices that are solved side by side, in groups of one vector each: the rotations of a sweep
// wait for each other, those of different matrices do not.
constexpr int kLanes = 8;
constexpr int kGroup = 4;
constexpr int kGroups = kLanes / kGroup;
using Lanes = Vec4[kGroups];

// Rotations kept before they are applied.
constexpr int kStretch = 256;

// Rows that go through a sweep together, and the step to which the rows of a matrix are filled up
// when there is room.
constexpr int kRows = 32;
constexpr int kRowStep = 8;

struct Rotations {
    Lanes C[kStretch];
    Lanes S[kStretch];
};

// A sweep, or a part of it, on one matrix: rotation q turns columns M-1-q and M-q, counted from 0.
struct Sweep {
    double* Z;
    int Ld;
    int num_rows;
    int M;
    int Num;
    int Reach;  // column j is zero above row j - Reach
    const double* C;
    const double* S;  // one a lane: rotation q is at q * kLanes
};

// W vectors of rows from row k on through the rotations from `first` on; the column that the next
// rotation also needs stays in registers.
template <class Vec, int W>
KIV_INLINE void SweepRows(const Sweep& sweep, int k, int first) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    const std::ptrdiff_t ld = sweep.Ld;
    Vec carry[W];
    double* col = sweep.Z + (sweep.M - first) * ld + k;
    for (int w = 0; w < W; ++w) LoadVec(carry[w], col + kWidth * w);
    for (int q = first; q < sweep.Num; ++q) {
        const double c = sweep.C[q * kLanes], s = sweep.S[q * kLanes];
        double* above = col;
        col -= ld;
        for (int w = 0; w < W; ++w) {
            Vec zi;
            LoadVec(zi, col + kWidth * w);
            StoreVec(above + kWidth * w, s * zi + c * carry[w]);
            carry[w] = c * zi - s * carry[w];
        }
    }
    for (int w = 0; w < W; ++w) StoreVec(col + kWidth * w, carry[w]);
}

KIV_INLINE void SweepRow(const Sweep& sweep, int k, int first) {
    const std::ptrdiff_t ld = sweep.Ld;
    double* col = sweep.Z + (sweep.M - first) * ld + k;
    double carry = *col;
    for (int q = first; q < sweep.Num; ++q) {
        const double c = sweep.C[q * kLanes], s = sweep.S[q * kLanes];
        double* above = col;
        col -= ld;
        *above = s * *col + c * carry;
        carry = c * *col - s * carry;
    }
    *col = carry;
}

// The rotations that turn nothing but zeros in rows above `end`, which are the first of a sweep.
KIV_INLINE int FirstRotation(const Sweep& sweep, int end) {
    return std::min(std::max(0, sweep.M - (end + sweep.Reach)), sweep.Num);
}

template <class Vec>
KIV_INLINE void ApplySweepBody(const Sweep& sweep) {
    constexpr int kSteps = kRowStep * sizeof(double) / sizeof(Vec);
    constexpr int kFull = kRows / kRowStep * kSteps;
    int k = 0;
    for (; k + kRows <= sweep.num_rows; k += kRows) {
        const int first = FirstRotation(sweep, k + kRows);
        if (first < sweep.Num) SweepRows<Vec, kFull>(sweep, k, first);
    }
    for (; k + 3 * kRowStep <= sweep.num_rows; k += 3 * kRowStep) {
        const int first = FirstRotation(sweep, k + 3 * kRowStep);
        if (first < sweep.Num) SweepRows<Vec, 3 * kSteps>(sweep, k, first);
    }
    for (; k + kRowStep <= sweep.num_rows; k += kRowStep) {
        const int first = FirstRotation(sweep, k + kRowStep);
        if (first < sweep.Num) SweepRows<Vec, kSteps>(sweep, k, first);
    }
    for (; k < sweep.num_rows; ++k) {
        const int first = FirstRotation(sweep, k + 1);
        if (first < sweep.Num) SweepRow(sweep, k, first);
    }
}

KIV_KERNEL(ApplySweep, Sweep)

// The rotations of one sweep of every lane: what goes from one to the next.
struct Chase {
    Lanes P, C, S;
};

// `Num` rotations of every lane. Element -q of the inputs belongs to rotation q, as does element
// -q of the results; a lane without a matrix reads constants and writes where nobody reads.
struct ChaseRun {
    Chase* Now;
    const double* d_in[kLanes];
    const double* e_in[kLanes];
    double* d_out[kLanes];
    double* e_out[kLanes];
    Rotations* Out;
    int First;  // place of the results
    int Num;
    int num_groups;
};

KIV_INLINE void ChaseGroup(const ChaseRun& run, int group, int q, Chase& now) {
    const int lane = group * kGroup;
    Vec4 &p = now.P[group], &c = now.C[group], &s = now.S[group];
    Vec4 e, d;
    for (int i = 0; i < kGroup; ++i) e[i] = run.e_in[lane + i][-q];
    for (int i = 0; i < kGroup; ++i) d[i] = run.d_in[lane + i][-q];
    const Vec4 g = c * e;
    const Vec4 h = c * p;
    const auto large = (p < 0.0 ? -p : p) >= (e < 0.0 ? -e : e);  // |p| >= |e|
    const Vec4 size = large ? p : e;
    const Vec4 ratio = (large ? e : p) / size;
    Vec4 r = ratio * ratio + 1.0;
    SqrtVec(r);
    const Vec4 next_e = s * size * r;
    const Vec4 inverse = 1.0 / r;
    const Vec4 other = ratio * inverse;
    s = large ? other : inverse;
    c = large ? inverse : other;
    p = c * d - s * g;
    const Vec4 next_d = h + s * (c * g + s * d);
    for (int i = 0; i < kGroup; ++i) run.e_out[lane + i][-q] = next_e[i];
    for (int i = 0; i < kGroup; ++i) run.d_out[lane + i][-q] = next_d[i];
    run.Out->C[run.First + q][group] = c;
    run.Out->S[run.First + q][group] = s;
}

template <int Groups>
KIV_INLINE void ChaseGroups(const ChaseRun& run) {
    Chase now = *run.Now;
    for (int q = 0; q < run.Num; ++q) {
        for (int group = 0; group < Groups; ++group) ChaseGroup(run, group, q, now);
    }
    *run.Now = now;
}

template <class>
KIV_INLINE void RunChaseBody(const ChaseRun& run) {
    static_assert(sizeof(Vec4) == kGroup * sizeof(double) && kGroups == 2);
    if (run.num_groups == 2) return ChaseGroups<2>(run);
    ChaseGroups<1>(run);
}

KIV_KERNEL(RunChase, ChaseRun)

// Ascending order by straight selection: the first of equal values wins.
void SortEigen(const QlMatrix& a) {
    for (int i = 0; i + 1 < a.N; ++i) {
        int k = i;
        for (int j = i + 1; j < a.N; ++j) {
            if (a.D[j] < a.D[k]) k = j;
        }
        if (k == i) continue;
        std::swap(a.D[i], a.D[k]);
        if (!a.Z) continue;
        double* const zi = a.Z + std::ptrdiff_t{i} * a.Nm;
        std::swap_ranges(zi, zi + a.N, a.Z + std::ptrdiff_t{k} * a.Nm);
    }
}

// Smallest r such that column j of z is zero above row j - r: 0 for the identity.
int FindReach(const QlMatrix& a) {
    int reach = 0;
    for (int j = a.N - 1; j > reach; --j) {
        const double* col = a.Z + std::ptrdiff_t{j} * a.Nm;
        int row = 0;
        while (row < j - reach && col[row] == 0.0) ++row;
        reach = j - row;
    }
    return reach;
}

// The QL iteration on one matrix, stopped where a sweep begins and ends; indices from 0.
struct QlLane {
    QlMatrix* A = nullptr;  // null: no matrix, or a finished one
    int L = 0;              // eigenvalue at hand
    int M = 0;              // first one from L up behind which the subdiagonal is zero
    int Next = 0;           // the next rotation turns columns Next and Next + 1
    int First = 0;          // place of the sweep's first rotation not yet applied
    int Top = 0;            // its upper column
    int Iterations = 0;
    int Reach = 0;
    double Shift = 0.0;  // sum of all shifts
    double Zero = 0.0;   // what counts as zero
    Chase* Now = nullptr;
    int Place = 0;  // of the lane in Now

    void Start(QlMatrix& a);
    void EndSweep();
    void Apply(const Rotations& rotations, int end);

    double& At(Lanes& lanes) const { return reinterpret_cast<double*>(lanes)[Place]; }

  private:
    void NextEigenvalue(int l);
    void BeginSweep();
    void Converged() { A->D[L] += Shift; }
};

void QlLane::Start(QlMatrix& a) {
    a.Error = 0;
    if (a.N <= 1) return;
    A = &a;
    if (a.Z) Reach = FindReach(a);
    std::copy(a.E + 1, a.E + a.N, a.E);
    a.E[a.N - 1] = 0.0;
    NextEigenvalue(0);
}

void QlLane::NextEigenvalue(int l) {
    const double *d = A->D, *e = A->E;
    for (L = l; L < A->N; ++L) {
        Zero = std::max(Zero, kQlTolerance * (std::fabs(d[L]) + std::fabs(e[L])));
        M = L;
        while (M + 1 < A->N && !(std::fabs(e[M]) <= Zero)) ++M;
        Iterations = 0;
        if (M != L) return BeginSweep();
        Converged();
    }
    SortEigen(*A);
    A = nullptr;
}

void QlLane::BeginSweep() {
    if (Iterations == kQlMaxIterations) {
        A->Error = L + 1;
        A = nullptr;
        return;
    }
    ++Iterations;
    double *d = A->D, *e = A->E;
    const double g = d[L];
    const double p = (d[L + 1] - g) / (2.0 * e[L]);
    d[L] = e[L] / (p + SignTransfer(std::sqrt(p * p + 1.0), p));
    const double h = g - d[L];
    for (int i = L + 1; i < A->N; ++i) d[i] -= h;
    Shift += h;
    At(Now->P) = d[M];
    At(Now->C) = 1.0;
    At(Now->S) = 0.0;
    Top = M;
    Next = M - 1;
}

void QlLane::EndSweep() {
    A->E[L] = At(Now->S) * At(Now->P);
    A->D[L] = At(Now->C) * At(Now->P);
    ++Reach;
    if (std::fabs(A->E[L]) > Zero) return BeginSweep();
    Converged();
    NextEigenvalue(L + 1);
}

void QlLane::Apply(const Rotations& rotations, int end) {
    if (!A->Z) return;
    const int filled = (A->N + kRowStep - 1) / kRowStep * kRowStep;
    const double* c = reinterpret_cast<const double*>(rotations.C[First]) + Place;
    const double* s = reinterpret_cast<const double*>(rotations.S[First]) + Place;
    ApplySweep({A->Z, A->Nm, filled <= A->Nm ? filled : A->N, Top, end - First, Reach, c, s});
    Top = Next + 1;
}

// Up to kLanes matrices side by side.
class QlBatch {
  public:
    explicit QlBatch(std::span<QlMatrix> matrices) {
        std::fill_n(Ones, kStretch + 1, 1.0);
        for (int i = 0; i < kLanes; ++i) {
            Lane[i].Now = &Now;
            Lane[i].Place = i;
            if (static_cast<std::size_t>(i) < matrices.size()) Lane[i].Start(matrices[i]);
        }
    }

    void Run() {
        for (int used = 0; IsLive();) {
            const int num = std::min(Shortest(), kStretch - used);
            ChaseOn(used, num);
            used += num;
            const bool full = used == kStretch;
            for (QlLane& lane : Lane) Advance(lane, num, used, full);
            if (full) used = 0;
        }
    }

  private:
    bool IsLive() const {
        return std::any_of(Lane, Lane + kLanes, [](const QlLane& lane) { return lane.A; });
    }

    // Rotations until the first lane ends its sweep.
    int Shortest() const {
        int num = kStretch;
        for (const QlLane& lane : Lane) {
            if (lane.A) num = std::min(num, lane.Next - lane.L + 1);
        }
        return num;
    }

    void ChaseOn(int first, int num) {
        ChaseRun run{};
        run.Now = &Now;
        run.Out = &Out;
        run.First = first;
        run.Num = num;
        run.num_groups = 1;
        for (int i = 0; i < kLanes; ++i) {
            const QlLane& lane = Lane[i];
            if (lane.A) {
                if (i >= kGroup) run.num_groups = 2;
                run.d_in[i] = lane.A->D + lane.Next;
                run.e_in[i] = lane.A->E + lane.Next;
                run.d_out[i] = lane.A->D + lane.Next + 1;
                run.e_out[i] = lane.A->E + lane.Next + 1;
            } else {
                lane.At(Now.P) = lane.At(Now.C) = 1.0;
                lane.At(Now.S) = 0.0;
                run.d_in[i] = run.e_in[i] = Ones + kStretch;
                run.d_out[i] = run.e_out[i] = Sink + kStretch;
            }
        }
        RunChase(run);
    }

    void Advance(QlLane& lane, int num, int used, bool full) {
        if (!lane.A) return;
        lane.Next -= num;
        const bool ended = lane.Next < lane.L;
        if (!ended && !full) return;
        lane.Apply(Out, used);
        if (ended) lane.EndSweep();
        lane.First = full ? 0 : used;
    }

    QlLane Lane[kLanes];
    Chase Now{};
    Rotations Out;
    double Ones[kStretch + 1];
    double Sink[kStretch + 1];
};

}  // namespace

void tql2(std::span<QlMatrix> matrices) {
    for (std::size_t i = 0; i < matrices.size(); i += kLanes) {
        QlBatch(matrices.subspan(i, std::min<std::size_t>(kLanes, matrices.size() - i))).Run();
    }
}

int tql2(int nm, int n, double* d, double* e, double* z, int* ierr) {
    QlMatrix matrix{nm, n, d, e, z, 0};
    tql2({&matrix, 1});
    *ierr = matrix.Error;
    return 0;
}

}  // namespace kiv
