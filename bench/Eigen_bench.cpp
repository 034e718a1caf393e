// Levels of one state, all J: the solver alone and with everything around it, against LAPACK on
// the same symmetry blocks.
#include <algorithm>
#include <complex>
#include <vector>

#include "BenchRotor.h"
#include "hamiltonian/Eispack.h"
#include "hamiltonian/HamBands.h"
#include "hamiltonian/IHam.h"
#include "hamiltonian/RHam.h"
#include "run/KivRecord.h"

extern "C" {
void dsteqr_(const char* compz, const int* n, double* d, double* e, double* z, const int* ldz,
             double* work, int* info);
void zheevd_(const char* jobz, const char* uplo, const int* n, std::complex<double>* a,
             const int* lda, double* w, std::complex<double>* work, const int* lwork, double* rwork,
             const int* lrwork, int* iwork, const int* liwork, int* info);
}

namespace {

struct Tridiagonal {
    std::vector<double> D, E;  // E[0] is not used
};

using Blocks = std::vector<Tridiagonal>;

// The blocks of every J of the ground state, as tridiagonal matrices.
std::vector<Blocks> RealBlocks() {
    std::vector<Blocks> all;
    HamScratch scratch;
    if (!RHamInit(ST_GND, {&scratch, 1})) return all;
    for (int J = 0; J <= Kiv.Max_J; ++J) {
        BuildBlocks(ST_GND, J, scratch);
        Blocks blocks;
        for (int b = 0; b < scratch.Blocks.Num; ++b) {
            const int N = scratch.Blocks.Block[b].N, first = scratch.First[b];
            Tridiagonal t{std::vector<double>(N), std::vector<double>(N)};
            for (int m = 0; m < N; ++m) t.D[m] = scratch.Ham[0].Band[0][first + m];
            for (int m = 1; m < N; ++m) t.E[m] = scratch.Ham[0].Band[1][first + m - 1];
            blocks.push_back(std::move(t));
        }
        all.push_back(std::move(blocks));
    }
    return all;
}

// The blocks of a J together, as the program solves them.
void SolverTql2(benchmark::State& state, int max_J) {
    SetBenchRotor(max_J);
    AllocBenchRotor();
    const auto all = RealBlocks();
    const int ld = VecLd(max_J + 1);
    std::vector<double> d(kMaxBlocks * ld), e(kMaxBlocks * ld), z(kMaxBlocks * ld * ld);
    for (auto _ : state) {
        for (const Blocks& blocks : all) {
            QlMatrix a[kMaxBlocks];
            for (std::size_t b = 0; b < blocks.size(); ++b) {
                const int N = static_cast<int>(blocks[b].D.size());
                a[b] = {VecLd(N), N, &d[b * ld], &e[b * ld], &z[b * ld * ld], 0};
                std::copy(blocks[b].D.begin(), blocks[b].D.end(), a[b].D);
                std::copy(blocks[b].E.begin(), blocks[b].E.end(), a[b].E);
                std::fill_n(a[b].Z, N * a[b].Nm, 0.0);
                for (int m = 0; m < N; ++m) a[b].Z[m * a[b].Nm + m] = 1.0;
            }
            tql2({a, blocks.size()});
            benchmark::DoNotOptimize(z.data());
        }
    }
    state.counters["items"] = (max_J + 1) * (max_J + 1);
}

void SolverDsteqr(benchmark::State& state, int max_J) {
    SetBenchRotor(max_J);
    AllocBenchRotor();
    Blocks blocks;
    for (const Blocks& of_J : RealBlocks()) blocks.insert(blocks.end(), of_J.begin(), of_J.end());
    std::vector<double> d(max_J + 1), e(max_J + 1), z((max_J + 1) * (max_J + 1));
    std::vector<double> work(2 * max_J + 2);
    for (auto _ : state) {
        for (const auto& block : blocks) {
            const int N = static_cast<int>(block.D.size());
            std::copy(block.D.begin(), block.D.end(), d.begin());
            std::copy(block.E.begin() + 1, block.E.end(), e.begin());
            int info = 0;
            dsteqr_("I", &N, d.data(), e.data(), z.data(), &N, work.data(), &info);
            benchmark::DoNotOptimize(z.data());
        }
    }
}

void RealLevels(benchmark::State& state, int max_J, int dev_on) {
    SetBenchRotor(max_J);
    AllocBenchRotor();
    Kiv.Dev_On = dev_on;
    for (auto _ : state) RHamSoln(ST_GND);
    state.counters["items"] = (max_J + 1) * (max_J + 1);
}

void LevelsOnly(benchmark::State& state, int max_J) { RealLevels(state, max_J, 0); }
void LevelsAndDerivatives(benchmark::State& state, int max_J) { RealLevels(state, max_J, 1); }

// The Hermitian matrices of every J, lower triangles.
struct Hermitian {
    int N;
    std::vector<std::complex<double>> A;
};

std::vector<Hermitian> ComplexBlocks() {
    std::vector<Hermitian> blocks;
    HamScratch s;
    if (!IHamInit(ST_GND, s)) return blocks;
    for (int J = 0; J <= Kiv.Max_J; ++J) {
        BuildBlocks(ST_GND, J, s);
        for (int b = 0; b < s.Blocks.Num; ++b) {
            const int N = s.Blocks.Block[b].N, first = s.First[b];
            Hermitian h{N, std::vector<std::complex<double>>(N * N)};
            for (int col = 0; col < N; ++col) {
                for (int row = col; row < N; ++row) {
                    const int step = row - col;
                    const auto part = [&](const HamOp& op) {
                        return step <= op.Width ? op.Band[step][first + col] : 0.0;
                    };
                    h.A[col * N + row] = {part(s.Ham[0]), -part(s.Ham[1])};
                }
            }
            blocks.push_back(std::move(h));
        }
    }
    return blocks;
}

void SetTiltedRotor(int max_J) {
    SetBenchRotor(max_J);
    TiltBenchRotor();
    for (int prm : {PRM_PXPY, PRM_PXPZ, PRM_PYPZ}) {
        Kiv.Prm_Stat[ST_GND][prm] = 1;
        Kiv.Prm_Val[ST_GND][prm] = 500.0;
    }
    AllocBenchRotor();
}

void ComplexLevels(benchmark::State& state, int max_J) {
    SetTiltedRotor(max_J);
    Kiv.Dev_On = 0;
    for (auto _ : state) IHamSoln(ST_GND);
    state.counters["items"] = (max_J + 1) * (max_J + 1);
}

void ComplexZheevd(benchmark::State& state, int max_J) {
    SetTiltedRotor(max_J);
    const auto blocks = ComplexBlocks();
    const int n = 2 * max_J + 1;
    std::vector<std::complex<double>> a(n * n), work(n * n + 2 * n + 1);
    std::vector<double> w(n), rwork(1 + 5 * n + 2 * n * n);
    std::vector<int> iwork(3 + 5 * n);
    const int lwork = static_cast<int>(work.size());
    const int lrwork = static_cast<int>(rwork.size());
    const int liwork = static_cast<int>(iwork.size());
    for (auto _ : state) {
        for (const auto& block : blocks) {
            std::copy(block.A.begin(), block.A.end(), a.begin());
            int info = 0;
            zheevd_("V", "L", &block.N, a.data(), &block.N, w.data(), work.data(), &lwork,
                    rwork.data(), &lrwork, iwork.data(), &liwork, &info);
            benchmark::DoNotOptimize(a.data());
        }
    }
}

}  // namespace

void AddEigenRows() {
    for (int max_J : {20, 35, 60, 100, 150, 200}) {
        AddRow("tridiagonal blocks of all J", "kiv", max_J, SolverTql2);
        AddRow("tridiagonal blocks of all J", "dsteqr", max_J, SolverDsteqr);
        AddRow("levels of a state", "kiv", max_J, LevelsOnly);
        AddRow("levels of a state", "dsteqr", max_J, SolverDsteqr);
        AddRow("levels and 8 derivatives", "kiv", max_J, LevelsAndDerivatives);
    }
    for (int max_J : {20, 35, 60, 100}) {
        AddRow("complex levels, no symmetry", "kiv", max_J, ComplexLevels, 3);
        AddRow("complex levels, no symmetry", "zheevd", max_J, ComplexZheevd, 3);
    }
}
