// Levels of one state, all J: the solver alone and with everything around it, against LAPACK on
// the same symmetry blocks.
#include <algorithm>
#include <complex>
#include <vector>

#include "BenchRotor.h"
#include "levels/Bands.h"
#include "levels/Ranking.h"
#include "levels/Solution.h"
#include "linalg/Eispack.h"

extern "C" {
void dsteqr_(const char* compz, const int* n, double* d, double* e, double* z, const int* ldz,
             double* work, int* info);
void zheevd_(const char* jobz, const char* uplo, const int* n, std::complex<double>* a,
             const int* lda, double* w, std::complex<double>* work, const int* lwork, double* rwork,
             const int* lrwork, int* iwork, const int* liwork, int* info);
}

namespace kiv {
namespace {

// The lower state of a run, turned, with its scratch and room for its levels.
struct Solver {
    Solver(const Model& model, int highest_J)
        : max_J(highest_J), turned(Turn(model.lower())), H{&turned, NeedsComplex(model.lower())} {
        const Memory memory;
        is_ready = scratch.Fit(memory, max_J, H.is_complex, SizeFor(H)).ok() &&
                   Reserve({H, max_J, kLower}, memory, levels).ok();
    }
    Solver(const Solver&) = delete;

    int max_J;
    TurnedState turned;
    Hamiltonian H;
    LevelScratch scratch;
    Levels levels;
    bool is_ready = false;
};

struct Tridiagonal {
    std::vector<double> d, e;  // e[0] is not used
};

using Blocks = std::vector<Tridiagonal>;

// The blocks of every J, as tridiagonal matrices.
std::vector<Blocks> RealBlocks(int max_J) {
    std::vector<Blocks> all;
    Solver solver(BenchRotor(max_J).model, max_J);
    if (!solver.is_ready) return all;
    BlockScratch& s = solver.scratch.of_J[0];
    for (int J = 0; J <= max_J; ++J) {
        BuildBlocks(solver.H, J, s);
        Blocks blocks;
        for (int b = 0; b < s.blocks.num; ++b) {
            const int N = s.blocks.block[b].N, first = s.first[b];
            Tridiagonal t{std::vector<double>(N), std::vector<double>(N)};
            for (int m = 0; m < N; ++m) t.d[m] = s.ham[0].band[0][first + m];
            for (int m = 1; m < N; ++m) t.e[m] = s.ham[0].band[1][first + m - 1];
            blocks.push_back(std::move(t));
        }
        all.push_back(std::move(blocks));
    }
    return all;
}

// The blocks of a J together, as the program solves them.
void SolverTql2(benchmark::State& state, int max_J) {
    const auto all = RealBlocks(max_J);
    const int ld = VecLd(max_J + 1);
    std::vector<double> d(kMaxBlocks * ld), e(kMaxBlocks * ld), z(kMaxBlocks * ld * ld);
    for (auto _ : state) {
        for (const Blocks& blocks : all) {
            QlMatrix a[kMaxBlocks];
            for (std::size_t b = 0; b < blocks.size(); ++b) {
                const int N = static_cast<int>(blocks[b].d.size());
                a[b] = {VecLd(N), N, &d[b * ld], &e[b * ld], &z[b * ld * ld], 0};
                std::copy(blocks[b].d.begin(), blocks[b].d.end(), a[b].D);
                std::copy(blocks[b].e.begin(), blocks[b].e.end(), a[b].E);
                std::fill_n(a[b].Z, N * a[b].Nm, 0.0);
                for (int m = 0; m < N; ++m) a[b].Z[m * a[b].Nm + m] = 1.0;
            }
            tql2({a, blocks.size()});
            benchmark::DoNotOptimize(z.data());
        }
    }
    state.counters["items"] = (max_J + 1) * (max_J + 1);
}

}  // namespace

void SolverDsteqr(benchmark::State& state, int max_J) {
    Blocks blocks;
    for (const Blocks& of_J : RealBlocks(max_J)) {
        blocks.insert(blocks.end(), of_J.begin(), of_J.end());
    }
    std::vector<double> d(max_J + 1), e(max_J + 1), z((max_J + 1) * (max_J + 1));
    std::vector<double> work(2 * max_J + 2);
    for (auto _ : state) {
        for (const auto& block : blocks) {
            const int N = static_cast<int>(block.d.size());
            std::copy(block.d.begin(), block.d.end(), d.begin());
            std::copy(block.e.begin() + 1, block.e.end(), e.begin());
            int info = 0;
            dsteqr_("I", &N, d.data(), e.data(), z.data(), &N, work.data(), &info);
            benchmark::DoNotOptimize(z.data());
        }
    }
}

namespace {

// Energies, vectors and labels.
void SolveAll(Solver& s) {
    const int together = s.H.is_complex ? 1 : kTogether;
    for (int first = 0; first <= s.max_J; first += together) {
        const int last = std::min(first + together - 1, s.max_J);
        if (s.H.is_complex) {
            SolveComplex(s.H, first, s.scratch.of_J[0], s.levels);
        } else {
            VectorsOfJ wanted[kTogether];
            for (int J = first; J <= last; ++J) {
                wanted[J - first] = {J, VecStart(s.levels, s.levels.vectors_real, J)};
            }
            SolveReal(s.H, {wanted, static_cast<std::size_t>(last - first + 1)}, s.scratch);
        }
        for (int J = first; J <= last; ++J) {
            RankLevels(s.H, J, s.scratch.of_J[J - first], s.levels);
        }
    }
}

void MeasureLevels(benchmark::State& state, const Model& model, int max_J) {
    Solver solver(model, max_J);
    if (!solver.is_ready) return state.SkipWithError("no memory");
    for (auto _ : state) SolveAll(solver);
    state.counters["items"] = (max_J + 1) * (max_J + 1);
}

void LevelsOnly(benchmark::State& state, int max_J) {
    MeasureLevels(state, BenchRotor(max_J).model, max_J);
}

void LevelsAndDerivatives(benchmark::State& state, int max_J) {
    Solver solver(BenchRotor(max_J).model, max_J);
    Workspace work;
    Report silent;
    for (auto _ : state) {
        const Status solved = Solve({solver.H, max_J, kLower}, work, silent, solver.levels);
        if (!solved) return state.SkipWithError(solved.error().text.c_str());
    }
    state.counters["items"] = (max_J + 1) * (max_J + 1);
}

Model TiltedRotor(int max_J) {
    Model model = BenchRotor(max_J).model;
    TiltAxes(model);
    for (const Constant c : {Constant::PXPY, Constant::PXPZ, Constant::PYPZ}) {
        model.lower().Set(c, 500.0);
    }
    return model;
}

void ComplexLevels(benchmark::State& state, int max_J) {
    MeasureLevels(state, TiltedRotor(max_J), max_J);
}

// The Hermitian matrices of every J, lower triangles.
struct HermitianBlock {
    int N;
    std::vector<std::complex<double>> a;
};

std::vector<HermitianBlock> ComplexBlocks(int max_J) {
    std::vector<HermitianBlock> blocks;
    Solver solver(TiltedRotor(max_J), max_J);
    if (!solver.is_ready) return blocks;
    BlockScratch& s = solver.scratch.of_J[0];
    for (int J = 0; J <= max_J; ++J) {
        BuildBlocks(solver.H, J, s);
        for (int b = 0; b < s.blocks.num; ++b) {
            const int N = s.blocks.block[b].N, first = s.first[b];
            HermitianBlock h{N, std::vector<std::complex<double>>(N * N)};
            for (int col = 0; col < N; ++col) {
                for (int row = col; row < N; ++row) {
                    const int step = row - col;
                    const auto part = [&](const HamOp& op) {
                        return step <= op.width ? op.band[step][first + col] : 0.0;
                    };
                    h.a[col * N + row] = {part(s.ham[0]), -part(s.ham[1])};
                }
            }
            blocks.push_back(std::move(h));
        }
    }
    return blocks;
}

void ComplexZheevd(benchmark::State& state, int max_J) {
    const auto blocks = ComplexBlocks(max_J);
    const int n = 2 * max_J + 1;
    std::vector<std::complex<double>> a(n * n), work(n * n + 2 * n + 1);
    std::vector<double> w(n), rwork(1 + 5 * n + 2 * n * n);
    std::vector<int> iwork(3 + 5 * n);
    const int lwork = static_cast<int>(work.size());
    const int lrwork = static_cast<int>(rwork.size());
    const int liwork = static_cast<int>(iwork.size());
    for (auto _ : state) {
        for (const auto& block : blocks) {
            std::copy(block.a.begin(), block.a.end(), a.begin());
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

}  // namespace kiv
