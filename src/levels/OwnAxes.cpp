#include "levels/OwnAxes.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "base/Simd.h"
#include "base/Trig.h"
#include "levels/Bands.h"
#include "levels/Derivatives.h"
#include "levels/Solution.h"
#include "model/Units.h"

namespace kiv {
namespace {

constexpr double kSqrtHalf = 0.70710678118654752440;
constexpr double kSqrtTwo = 1.41421356237309504880;
constexpr double kNothing = 1e-10;  // right angles in degrees leave direction cosines of 4e-12

constexpr Constant kRotational[] = {Constant::A, Constant::B, Constant::C};
constexpr Constant kSameInAllAxes[] = {Constant::DJ, Constant::HJ, Constant::LJ};

// The rotations by axis, in the order x, y, z of the direction cosines, and their places in the
// order a, b, c.
constexpr std::uint8_t kRotation[] = {kC2b, kC2c, kC2a};
constexpr std::size_t kPlace[] = {1, 2, 0};

bool IsSameInAllAxes(Constant c) {
    return std::find(std::begin(kSameInAllAxes), std::end(kSameInAllAxes), c) !=
           std::end(kSameInAllAxes);
}

// Cosine and sine.
struct Direction {
    double cos, sin;
};

// Of an angle in degrees; exact at right angles.
Direction DirectionOf(double angle) {
    const double c = Cos(angle * kRadPerDeg), s = Sin(angle * kRadPerDeg);
    if (std::fabs(s) < kNothing) return {std::copysign(1.0, c), 0.0};
    if (std::fabs(c) < kNothing) return {0.0, std::copysign(1.0, s)};
    return {c, s};
}

// Of half of it.
Direction HalfDirectionOf(double angle) {
    const Direction half = DirectionOf(0.5 * angle);
    if (DirectionOf(angle).cos != 0.0) return half;
    return {std::copysign(kSqrtHalf, half.cos), std::copysign(kSqrtHalf, half.sin)};
}

// Vectors of a block through the columns of a turn: y = sum over q of x[q] column q.
struct TurnRun {
    const double* x;  // of the first level
    int num_levels;
    int num_columns;  // and distance of the levels in x
    const double* columns;
    int ld;     // distance of the columns, and of the levels in y
    double* y;  // results
};

constexpr int kLevelsTogether = 4;

template <class Vec, int L>
KIV_INLINE void TurnSome(const TurnRun& run, int level) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    const double* const x = run.x + std::ptrdiff_t{level} * run.num_columns;
    double* const y = run.y + std::ptrdiff_t{level} * run.ld;
    for (int m = 0; m < run.ld; m += kWidth) {
        Vec sum[L] = {};
        for (int q = 0; q < run.num_columns; ++q) {
            Vec column;
            LoadVec(column, run.columns + std::ptrdiff_t{q} * run.ld + m);
            for (int j = 0; j < L; ++j) sum[j] += x[j * run.num_columns + q] * column;
        }
        for (int j = 0; j < L; ++j) StoreVec(y + j * run.ld + m, sum[j]);
    }
}

template <class Vec>
KIV_INLINE void TurnAllBody(const TurnRun& run) {
    int level = 0;
    for (; level + kLevelsTogether <= run.num_levels; level += kLevelsTogether) {
        TurnSome<Vec, kLevelsTogether>(run, level);
    }
    for (; level < run.num_levels; ++level) TurnSome<Vec, 1>(run, level);
}

KIV_KERNEL(TurnAll, TurnRun)

// Functions of one parity of K up to J, those of K = 0 in both signs.
int NumColumns(int J, int parity) { return (J - parity) / 2 + 1; }

}  // namespace

bool IsSolvedInOwnAxes(const Hamiltonian& H) {
    const TurnedState& state = *H.state;
    if (!state.is_turned || (!H.is_complex && (state.tilt.phi != 0.0 || state.tilt.chi != 0.0))) {
        return false;
    }
    bool is_finite = std::isfinite(state.tilt.phi) && std::isfinite(state.tilt.theta) &&
                     std::isfinite(state.tilt.chi);
    for (const double value : state.given) is_finite = is_finite && std::isfinite(value);
    if (!is_finite) return false;
    const auto terms = HamTerms();
    return std::none_of(terms.begin(), terms.end(), [&](const HamTerm& term) {
        const double value = H.value(term.constant);
        const bool acts = H.Uses(term) && value != 0.0 && !state.from_turn[term.constant];
        return acts && !(IsSameInAllAxes(term.constant) && std::isfinite(value));
    });
}

Status OwnAxes::Fit(const Memory& memory, int max_J) {
    const std::int64_t n = 2 * std::int64_t{max_J} + 1, rows = VecLd(max_J + 1);
    const std::int64_t half = rows * (max_J / 2 + 1);  // functions of one parity of K
    bool has_room =
        matrix_.Fit(memory, max_J) && no_imag_.Fit(memory, n) && records_.Fit(memory, 3 * n);
    for (int part = 0; part < 2; ++part) {
        has_room = has_room && phi_[part].Fit(memory, max_J + 1) &&
                   chi_[part].Fit(memory, max_J + 1) && turned_[part].Fit(memory, n * rows) &&
                   own_vectors_[part].Fit(memory, half);
        for (Array<double>& columns : columns_[part]) {
            has_room = has_room && columns.Fit(memory, half);
        }
    }
    return has_room ? Status() : NoMemory(array_name::kBlocks);
}

void OwnAxes::FillFactors(double angle, int max_J, Array<double>& re, Array<double>& im) {
    const Direction first = DirectionOf(angle);
    double *c = re.data(), *s = im.data();
    c[0] = 1.0;
    s[0] = 0.0;
    for (int K = 1; K <= max_J; ++K) {
        const int k = K / 2, l = K - k;
        c[K] = K == 1 ? first.cos : c[k] * c[l] - s[k] * s[l];
        s[K] = K == 1 ? first.sin : c[k] * s[l] + s[k] * c[l];
    }
}

void OwnAxes::Begin(const Hamiltonian& H, int max_J) {
    H_ = H;
    const TurnedState& state = *H.state;
    own_ = {};
    own_.reduction = state.reduction;
    own_.given = state.given;
    for (std::size_t i = 0; i < 3; ++i) {
        own_.value[kRotational[i]] = state.given[i];
        own_.on[kRotational[i]] = true;
    }
    for (const Constant c : kSameInAllAxes) {
        own_.value[c] = state.value[c];
        own_.on[c] = state.on[c];
    }
    FindKept();
    const Direction half = HalfDirectionOf(state.tilt.theta);
    matrix_.Begin(half.cos, half.sin);
    FillFactors(state.tilt.phi, max_J, phi_[0], phi_[1]);
    FillFactors(state.tilt.chi, max_J, chi_[0], chi_[1]);
    mixes_ = state.tilt.phi != 0.0;
    if (!mixes_) std::fill(turned_[1].begin(), turned_[1].end(), 0.0);
    std::fill(no_imag_.begin(), no_imag_.end(), 0.0);
}

// A rotation about an axis of the basis is kept where one of the own axes lies along it.
void OwnAxes::FindKept() {
    kept_ = 0;
    own_rotation_ = {};
    for (std::size_t i = 0; i < 3; ++i) {
        const auto& g = H_.state->axes[i];
        for (std::size_t j = 0; j < 3; ++j) {
            const double off = std::max(std::fabs(g[(j + 1) % 3]), std::fabs(g[(j + 2) % 3]));
            if (!(off < kNothing)) continue;
            kept_ |= kRotation[i];
            own_rotation_[kPlace[i]] = kRotation[j];
        }
    }
    const bool is_single = (kept_ & (kept_ - 1)) == 0;
    if (!is_single && kept_ != kAllC2) kept_ = 0;  // two alone: the third was missed by rounding
}

// Column q of a parity and sign is the turn of (|J,K> + sign |J,-K>)/sqrt(2), K = parity + 2q, or
// of |J,0>; its components m = 0..J. Those of -m are (-1)^(m - K) sign times as large.
void OwnAxes::FillColumns(int J) {
    const int ld = VecLd(J + 1);
    for (int parity = 0; parity < 2; ++parity) {
        for (int q = 0; q < NumColumns(J, parity); ++q) {
            const int K = parity + 2 * q;
            const double *up = matrix_.Column(K) + J, *down = matrix_.Column(-K) + J;
            double* const plus = columns_[parity][0].data() + std::ptrdiff_t{q} * ld;
            double* const minus = columns_[parity][1].data() + std::ptrdiff_t{q} * ld;
            for (int m = 0; m <= J; ++m) {
                plus[m] = K == 0 ? up[m] : kSqrtHalf * (up[m] + down[m]);
                minus[m] = K == 0 ? 0.0 : kSqrtHalf * (up[m] - down[m]);
            }
            std::fill(plus + J + 1, plus + ld, 0.0);
            std::fill(minus + J + 1, minus + ld, 0.0);
        }
    }
}

// exp(i phi K) makes of the function of a sign cos(phi K) times the same and i sin(phi K) times
// that of the other sign.
void OwnAxes::TurnBlock(int J, const SymBlock& block, int first, const double* vectors) {
    const int parity = block.K0 & 1, sign = block.fold_sign > 0 ? 0 : 1, ld = VecLd(J + 1);
    const int num = NumColumns(J, parity), skip = (block.K0 - parity) / 2;
    for (int part = 0; part < (mixes_ ? 2 : 1); ++part) {
        double* x = own_vectors_[part].data();
        for (int level = 0; level < block.N; ++level, x += num) {
            const double* const v = vectors + std::ptrdiff_t{level} * VecLd(block.N);
            std::fill_n(x, skip, 0.0);
            for (int m = 0; m < block.N; ++m) {
                x[skip + m] = v[m] * phi_[part][static_cast<std::size_t>(block.K(m))];
            }
        }
        TurnAll({own_vectors_[part].data(), block.N, num,
                 columns_[parity][part == 0 ? sign : 1 - sign].data(), ld,
                 turned_[part].data() + std::ptrdiff_t{first} * ld});
    }
}

// The vector at `place` of the own blocks, of which `from` is one, over the functions of `to`.
void OwnAxes::PutVector(int J, int place, const SymBlock& from, const SymBlock& to, double* re,
                        double* im) {
    const std::ptrdiff_t start = std::ptrdiff_t{place} * VecLd(J + 1);
    const double *u = turned_[0].data() + start, *w = turned_[1].data() + start;
    for (int m = 0; m < to.N; ++m) {
        const int K = to.K(m), k = std::abs(K);
        const double mirror = ((k - from.K0) & 1) != 0 ? -from.fold_sign : from.fold_sign;
        const double x = K < 0 ? mirror * u[k] : u[k], y = K < 0 ? -mirror * w[k] : w[k];
        const double c = chi_[0][static_cast<std::size_t>(k)];
        const double s = (K < 0 ? -1.0 : 1.0) * chi_[1][static_cast<std::size_t>(k)];
        const double scale = to.folded && K > 0 ? kSqrtTwo : 1.0;
        re[m] = scale * (c * x - s * y);
        im[m] = scale * (c * y + s * x);
    }
    FixPhase(re, im, to.N);
}

// Writes the vectors in the place of those of the own axes, and the characters.
void OwnAxes::PutVectors(int J, BlockScratch& s, Levels& levels) {
    const LevelBlocks own = s.blocks, blocks = BlocksOf(kept_, J);
    double* const re = VecStart(levels, levels.vectors_real, J);
    double* const im = H_.is_complex ? VecStart(levels, levels.vectors_imag, J) : nullptr;
    const std::int64_t room = VecOffset(J + 1, levels.placed_by) - VecOffset(J, levels.placed_by);
    std::fill_n(re, room, 0.0);
    if (im) std::fill_n(im, room, 0.0);
    int next[kMaxBlocks] = {}, first[kMaxBlocks] = {};
    for (int b = 1; b < blocks.num; ++b) first[b] = first[b - 1] + blocks.block[b - 1].N;
    for (int rank = 0; rank <= 2 * J; ++rank) {
        std::int32_t& place = s.rank_place[static_cast<std::size_t>(rank)];
        int from = own.num - 1, to = 0;
        while (s.first[from] > place) --from;
        const std::uint8_t odd = levels.OddInBasis(own.block[from].odd);
        while (blocks.block[to].odd != odd) ++to;
        const SymBlock& block = blocks.block[to];
        const std::int64_t vec = blocks.vec[to] + std::int64_t{next[to]} * VecLd(block.N);
        PutVector(J, place, own.block[from], block, re + vec, im ? im + vec : no_imag_.data());
        levels.odd[Levels::Index(J, rank)] = odd;
        place = first[to] + next[to]++;
    }
}

// The derivatives by A, B, C of the state's own axes stay, unless the turn is one of axes that
// change places.
void OwnAxes::TurnDerivatives(int J, BlockScratch& s, Levels& levels) {
    const auto width = static_cast<std::size_t>(levels.num_derivatives);
    const auto n = static_cast<std::size_t>(2 * J + 1);
    double* const derivatives = &levels.derivative[Levels::Index(J, 0) * width];
    for (std::size_t r = 0; r < n; ++r) {
        std::copy_n(derivatives + r * width, 3, &records_[3 * r]);
    }
    BuildBlocks(H_, kept_, J, s);
    FillDerivatives(H_, J, VecStart(levels, levels.vectors_real, J),
                    H_.is_complex ? VecStart(levels, levels.vectors_imag, J) : nullptr, s, levels);
    const auto& made = H_.state->from_turn.values;
    const bool makes_none = std::find(made.begin(), made.end(), true) == made.end();
    if (H_.exchanges_axes && makes_none) return;
    for (std::size_t r = 0; r < n; ++r) {
        std::copy_n(&records_[3 * r], 3, derivatives + r * width);
    }
}

void OwnAxes::TurnLevels(int J, BlockScratch& s, Levels& levels) {
    matrix_.Load(J);
    FillColumns(J);
    const double* const vectors = VecStart(levels, levels.vectors_real, J);
    for (int b = 0; b < s.blocks.num; ++b) {
        TurnBlock(J, s.blocks.block[b], s.first[b], vectors + s.blocks.vec[b]);
    }
    levels.kept = kept_;
    levels.own_rotation = own_rotation_;
    PutVectors(J, s, levels);
    if (levels.num_derivatives > 0) TurnDerivatives(J, s, levels);
}

}  // namespace kiv
